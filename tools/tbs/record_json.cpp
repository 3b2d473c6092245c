#include "record_json.hpp"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

namespace wire = tbs::wire;
using wire::field;
using wire::layout;
using wire::unit;

constexpr size_t most_json = 64 * 1024 * 1024; // bytes
constexpr int most_depth = 64;

json bytes_as_json(std::span<const uint8_t> of) { return {{"bytes", hex_digits(of)}}; }

// An element of a list or a value by itself, not an object with members.
bool is_bare(const layout &record) { return record.fields.size() == 1 && record.fields[0].name == "value"; }

// ---- writing JSON

class reader {
public:
    explicit reader(std::span<const uint8_t> encoded) : rest_(encoded) {}

    json value(const layout &record) {
        json members = json::object();
        for (const field &one : record.fields) add(one, members);
        return is_bare(record) ? std::move(members["value"]) : members;
    }

private:
    void add(const field &f, json &to) {
        static constexpr void (reader::*by_form[])(const field &, json &) = {
            &reader::add_number,     &reader::add_hyper,  &reader::add_low_hyper, &reader::add_real,
            &reader::add_identifier, &reader::add_sid,    &reader::add_time,      &reader::add_text,
            &reader::add_data,       &reader::add_record, &reader::add_list,      &reader::add_entries,
            &reader::add_optional,   &reader::pass_unit,  &reader::pass_unit,     &reader::add_number,
            &reader::add_choice,     &reader::pass_byte};
        static_assert(std::size(by_form) == wire::number_of_forms);
        (this->*by_form[static_cast<size_t>(f.kind)])(f, to);
    }

    std::span<const uint8_t> take(size_t size) {
        const auto taken = rest_.first(size);
        rest_ = rest_.subspan(size);
        return taken;
    }
    std::span<const uint8_t> take_padded(size_t size) { return take(wire::padded(size)).first(size); }
    uint32_t word() { return wire::load(take(unit).data()); }
    uint64_t two_words() {
        const uint64_t first = word();
        return first << 32 | word();
    }

    static json named(const wire::names_of_values &names, int64_t value) {
        if (names.are_flags) {
            json list = json::array();
            for (const wire::value_name &one : names.values) {
                if (value & one.value) list.push_back(one.name);
                value &= ~one.value;
            }
            if (value) list.push_back(value);
            return list;
        }
        for (const wire::value_name &one : names.values) {
            if (one.value == value) return one.name;
        }
        return value;
    }
    void add_number(const field &f, json &to) {
        const uint32_t sent = word();
        const uint32_t kept = f.bits < 32 ? sent & ((uint32_t{1} << f.bits) - 1) : sent;
        const int64_t value = f.is_signed ? static_cast<int32_t>(kept) : int64_t{kept};
        if (f.name == wire::format_member) format_ = kept;
        to[std::string(f.name)] = f.names ? named(*f.names, value) : json(value);
    }
    static json signed_or_not(const field &f, uint64_t value) {
        return f.is_signed ? json(static_cast<int64_t>(value)) : json(value);
    }
    void add_hyper(const field &f, json &to) { to[std::string(f.name)] = signed_or_not(f, two_words()); }
    void add_low_hyper(const field &f, json &to) {
        to[std::string(f.name)] = signed_or_not(f, std::rotl(two_words(), 32));
    }
    void add_real(const field &f, json &to) {
        const auto eight = take(2 * unit);
        const auto value = std::bit_cast<double>(uint64_t{wire::load(eight.data())} << 32 | wire::load(&eight[unit]));
        to[std::string(f.name)] = std::isfinite(value) ? json(value) : bytes_as_json(eight); // JSON has no others
    }
    void add_identifier(const field &f, json &to) {
        struct only {
            tbs_uuid_t id;
        } one;
        wire::id<&only::id>::get(take(sizeof(tbs_uuid_t)).data(), one);
        char text[TBS_UUID_STR_SIZE];
        to[std::string(f.name)] = tbs_uuid_to_str(&one.id, text);
    }
    void add_sid(const field &f, json &to) {
        credutl_sid_t sid, again;
        char text[CREDUTL_SID_STR_SIZE];
        const auto sent = take_padded(sizeof sid);
        std::memcpy(&sid, sent.data(), sizeof sid);
        const bool has_text = credutl_sid_to_str(&sid, text, sizeof text) == 0 &&
                              credutl_str_to_sid(text, &again) == 0 && std::memcmp(&sid, &again, sizeof sid) == 0;
        to[std::string(f.name)] = has_text ? json(text) : bytes_as_json(sent);
    }
    void add_time(const field &f, json &to) {
        const auto seconds = static_cast<int32_t>(word()), microseconds = static_cast<int32_t>(word());
        to[std::string(f.name)] = {{"tv_sec", seconds}, {"tv_usec", microseconds}};
    }
    void add_text(const field &f, json &to) {
        const auto characters = take_padded(word());
        to[std::string(f.name)] =
            text_as_json({reinterpret_cast<const char *>(characters.data()), characters.size()});
    }
    void add_data(const field &f, json &to) {
        word();
        const uint32_t size = word();
        to[std::string(f.name)] = bytes_as_json(take_padded(size));
    }
    void add_record(const field &f, json &to) { to[std::string(f.name)] = value(*f.inner); }
    void add_list(const field &f, json &to) {
        word();
        add_entries(f, to);
    }
    void add_entries(const field &f, json &to) {
        json list = json::array();
        for (uint32_t left = word(); left > 0; left--) list.push_back(value(f.inner_in(format_)));
        to[std::string(f.name)] = std::move(list);
    }
    void add_optional(const field &f, json &to) {
        to[std::string(f.name)] = word() ? value(*f.inner) : json(nullptr);
    }
    void add_choice(const field &f, json &to) {
        const auto kind = static_cast<int32_t>(word());
        to[std::string(f.name)] = named(*f.names, kind);
        for (const field &arm : f.inner->fields) {
            if (arm.value == kind) add(arm, to);
        }
    }
    void pass_unit(const field &, json &) { word(); }
    void pass_byte(const field &, json &) {
        if (word()) word();
    }

    std::span<const uint8_t> rest_;
    uint32_t format_ = 0;
};

// ---- reading JSON

class writer {
public:
    writer(const std::string &path, const std::string &remedy) : path_(path), remedy_(remedy) {}

    void put(const layout &record, const json &value, const std::string &where) {
        if (is_bare(record)) return put(record.fields[0], value, where);
        if (!value.is_object()) refuse(where.empty() ? "the text" : where, "is no object");
        size_t known = 0;
        for (const field &one : record.fields) known += put_member(one, value, where);
        if (known != value.size()) refuse_unknown(record, value, where);
    }
    bytes take() { return std::move(sent_); }

private:
    [[noreturn]] void refuse(const std::string &what, const char *why) const {
        throw failure(path_, 0, what + ' ' + why, remedy_);
    }
    static std::string called(const std::string &where, std::string_view name) {
        return where.empty() ? std::string(name) : where + '.' + std::string(name);
    }
    const json &member(const json &object, std::string_view name, const std::string &where) const {
        const auto found = object.find(std::string(name));
        if (found == object.end()) refuse(called(where, name), "is missing");
        return *found;
    }
    void refuse_unknown(const layout &record, const json &object, const std::string &where) const {
        for (const auto &[name, value] : object.items()) {
            const auto is_called = [&](const field &f) { return f.name == name; };
            const auto has_arm = [&](const field &f) {
                return f.kind == wire::form::choice && std::ranges::any_of(f.inner->fields, is_called);
            };
            if (std::ranges::none_of(record.fields, is_called) && std::ranges::none_of(record.fields, has_arm))
                refuse(called(where, name), "is no member of the record");
        }
        refuse(where.empty() ? "the text" : where, "holds a member that its type does not have");
    }

    // Gives how many members of the object that took.
    size_t put_member(const field &f, const json &object, const std::string &where) {
        if (f.kind == wire::form::constant) return put_word(static_cast<uint32_t>(f.value)), 0;
        if (f.kind == wire::form::link || f.kind == wire::form::absent_byte) return put_word(0), 0;
        if (f.kind == wire::form::choice) return put_choice(f, object, where);
        put(f, member(object, f.name, where), called(where, f.name));
        return 1;
    }
    size_t put_choice(const field &f, const json &object, const std::string &where) {
        const int64_t kind = number_of<int32_t>(f, member(object, f.name, where), called(where, f.name));
        put_word(static_cast<uint32_t>(kind));
        for (const field &arm : f.inner->fields) {
            if (arm.value == kind) return 1 + put_member(arm, object, where);
        }
        refuse(called(where, f.name), "is no type of a value");
    }
    void put(const field &f, const json &value, const std::string &where) {
        static constexpr void (writer::*by_form[])(const field &, const json &,
                                                   const std::string &) = {&writer::put_number,
                                                                           &writer::put_hyper,
                                                                           &writer::put_low_hyper,
                                                                           &writer::put_real,
                                                                           &writer::put_identifier,
                                                                           &writer::put_sid,
                                                                           &writer::put_time,
                                                                           &writer::put_text,
                                                                           &writer::put_data,
                                                                           &writer::put_record,
                                                                           &writer::put_list,
                                                                           &writer::put_entries,
                                                                           &writer::put_optional,
                                                                           nullptr,
                                                                           nullptr,
                                                                           &writer::put_number};
        (this->*by_form[static_cast<size_t>(f.kind)])(f, value, where);
    }

    void put_word(uint32_t value) {
        sent_.resize(sent_.size() + unit);
        wire::store(&sent_[sent_.size() - unit], value);
    }
    void put_two_words(uint64_t value) {
        put_word(static_cast<uint32_t>(value >> 32));
        put_word(static_cast<uint32_t>(value));
    }
    void put_padded(std::string_view of) {
        sent_.insert(sent_.end(), of.begin(), of.end());
        sent_.resize(sent_.size() + wire::padded(of.size()) - of.size());
    }
    void put_count(size_t count, const field &f, const std::string &where) {
        if (count > f.limit) refuse(where, "is too long");
        put_word(static_cast<uint32_t>(count));
    }

    template <class T> T whole_number(const json &value, const std::string &where) const {
        if (!value.is_number_integer()) refuse(where, "is no whole number");
        const bool fits = value.is_number_unsigned() ? std::in_range<T>(value.get<uint64_t>())
                                                     : std::in_range<T>(value.get<int64_t>());
        if (!fits) refuse(where, "is a number that the record has no room for");
        return value.get<T>();
    }
    // A number, the name of one, or a list of names of flags.
    template <class T> T number_of(const field &f, const json &value, const std::string &where) const {
        if (!f.names || value.is_number()) return whole_number<T>(value, where);
        if (const auto *text = value.get_ptr<const std::string *>()) {
            for (const wire::value_name &one : f.names->values) {
                if (*text == one.name) return static_cast<T>(one.value);
            }
            refuse(where, "is no value that has a name");
        }
        if (!f.names->are_flags || !value.is_array()) refuse(where, "is neither a number nor a name");
        T all = 0;
        for (size_t i = 0; i < value.size(); i++)
            all |= number_of<T>(f, value[i], where + '[' + std::to_string(i) + ']');
        return all;
    }
    void put_number(const field &f, const json &value, const std::string &where) {
        const auto sent = f.is_signed ? static_cast<uint32_t>(number_of<int32_t>(f, value, where))
                                      : number_of<uint32_t>(f, value, where);
        if (f.bits < 32 && sent >> f.bits) refuse(where, "is a number that the record has no room for");
        if (f.name == wire::format_member) format_ = sent;
        put_word(sent);
    }
    uint64_t wide_number(const field &f, const json &value, const std::string &where) const {
        return f.is_signed ? static_cast<uint64_t>(whole_number<int64_t>(value, where))
                           : whole_number<uint64_t>(value, where);
    }
    void put_hyper(const field &f, const json &value, const std::string &where) {
        put_two_words(wide_number(f, value, where));
    }
    void put_low_hyper(const field &f, const json &value, const std::string &where) {
        put_two_words(std::rotl(wide_number(f, value, where), 32));
    }
    void put_real(const field &, const json &value, const std::string &where) {
        if (value.is_number()) return put_two_words(std::bit_cast<uint64_t>(value.get<double>()));
        std::string eight;
        if (!bytes_of(value, eight) || eight.size() != 2 * unit) refuse(where, "is no number");
        put_padded(eight);
    }
    void put_identifier(const field &, const json &value, const std::string &where) {
        struct only {
            tbs_uuid_t id;
        } one;
        char again[TBS_UUID_STR_SIZE];
        const auto *text = value.get_ptr<const std::string *>();
        if (!text || tbs_str_to_uuid(text->c_str(), &one.id) != 0 || tbs_uuid_to_str(&one.id, again) != *text)
            refuse(where, "is no identifier like \"12345678.9abc1def.8a12.00:11:22:33:44:55\"");
        sent_.resize(sent_.size() + sizeof one);
        wire::id<&only::id>::put(&sent_[sent_.size() - sizeof one], one);
    }
    void put_sid(const field &, const json &value, const std::string &where) {
        credutl_sid_t sid;
        std::string raw;
        const auto *text = value.get_ptr<const std::string *>();
        if (text && credutl_str_to_sid(text->c_str(), &sid) == 0) {
            raw.assign(reinterpret_cast<const char *>(&sid), sizeof sid);
        } else if (!bytes_of(value, raw) || raw.size() != sizeof sid) {
            refuse(where, "is no SID like \"S-1-5-32-544\"");
        }
        put_padded(raw);
    }
    void put_time(const field &, const json &value, const std::string &where) {
        if (!value.is_object() || value.size() != 2) refuse(where, "is no {\"tv_sec\", \"tv_usec\"}");
        for (const char *name : {"tv_sec", "tv_usec"})
            put_word(static_cast<uint32_t>(whole_number<int32_t>(member(value, name, where), called(where, name))));
    }
    void put_text(const field &f, const json &value, const std::string &where) {
        std::string from_bytes;
        const auto *text = value.get_ptr<const std::string *>();
        if (!text) {
            if (!bytes_of(value, from_bytes)) refuse(where, "is no text");
            text = &from_bytes;
        }
        if (text->find('\0') != std::string::npos) refuse(where, "holds a NUL");
        put_count(text->size(), f, where);
        put_padded(*text);
    }
    void put_data(const field &f, const json &value, const std::string &where) {
        std::string data;
        if (!bytes_of(value, data)) refuse(where, "is no {\"bytes\": \"hexadecimal digits\"}");
        put_count(data.size(), f, where);
        put_count(data.size(), f, where);
        put_padded(data);
    }
    void put_record(const field &f, const json &value, const std::string &where) { put(*f.inner, value, where); }
    void put_list(const field &f, const json &value, const std::string &where) {
        if (!value.is_array()) refuse(where, "is no list");
        put_count(value.size(), f, where);
        put_entries(f, value, where);
    }
    void put_entries(const field &f, const json &value, const std::string &where) {
        if (!value.is_array()) refuse(where, "is no list");
        put_count(value.size(), f, where);
        for (size_t i = 0; i < value.size(); i++)
            put(f.inner_in(format_), value[i], where + '[' + std::to_string(i) + ']');
    }
    void put_optional(const field &f, const json &value, const std::string &where) {
        put_word(!value.is_null());
        if (!value.is_null()) put(*f.inner, value, where);
    }

    static bool bytes_of(const json &value, std::string &to) {
        if (!value.is_object() || value.size() != 1 || !value.contains("bytes")) return false;
        const auto *digits = value["bytes"].get_ptr<const std::string *>();
        if (!digits || digits->size() % 2 != 0) return false;
        for (size_t i = 0; i < digits->size(); i += 2) {
            unsigned byte = 0;
            const char *from = digits->data() + i;
            if (std::from_chars(from, from + 2, byte, 16).ptr != from + 2) return false;
            to += static_cast<char>(byte);
        }
        return true;
    }

    const std::string &path_, &remedy_;
    bytes sent_;
    uint32_t format_ = 0;
};

json parse(const std::string &path, std::string_view text, const std::string &remedy) {
    if (text.size() > most_json) throw failure(path, 0, "the text is larger than 64 MiB", "Name the right file.");
    const auto refuse_depth = [&](int depth, json::parse_event_t, json &) {
        if (depth > most_depth) throw failure(path, 0, "the text is nested deeper than a record", remedy);
        return true;
    };
    try {
        return json::parse(text, refuse_depth);
    } catch (const json::parse_error &error) {
        const auto before = text.substr(0, std::min(error.byte, text.size()));
        const auto line = 1 + std::count(before.begin(), before.end(), '\n');
        throw failure(path, static_cast<size_t>(line), "the text is no JSON", remedy);
    }
}

} // namespace

std::string hex_digits(std::span<const uint8_t> of) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : of) text += {digits[byte >> 4], digits[byte & 15]};
    return text;
}

json record_as_json(const layout &record, std::span<const uint8_t> encoded) { return reader(encoded).value(record); }

bytes record_from_json(const layout &record, const std::string &path, std::string_view text,
                       const std::string &remedy) {
    writer made(path, remedy);
    made.put(record, parse(path, text, remedy), "");
    return made.take();
}

} // namespace tool
