#include "record_json.hpp"

#include "hexadecimal.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

namespace wire = tbs::wire;
using wire::field;
using wire::form;
using wire::layout;
using wire::unit;

constexpr size_t most_json = 64 * 1024 * 1024; // bytes
constexpr int most_depth = 64;

json bytes_as_json(std::span<const uint8_t> of) { return {{"bytes", hex_digits(of)}}; }

// ---- writing JSON

class reader {
public:
    explicit reader(std::span<const uint8_t> encoded) : rest_(encoded) {}

    json value(const layout &record) {
        json members = json::object();
        for (const field &one : record.fields) add(one, members);
        return record.is_bare() ? std::move(members[std::string(wire::bare_name)]) : members;
    }

private:
    void add(const field &f, json &to) {
        static constexpr wire::form_table<void (reader::*)(const field &, json &)> add_of({
            {form::number, &reader::add_number},
            {form::hyper, &reader::add_hyper},
            {form::low_hyper, &reader::add_low_hyper},
            {form::real, &reader::add_real},
            {form::identifier, &reader::add_identifier},
            {form::sid, &reader::add_sid},
            {form::time, &reader::add_time},
            {form::text, &reader::add_text},
            {form::data, &reader::add_data},
            {form::record, &reader::add_record},
            {form::list, &reader::add_list},
            {form::entries, &reader::add_entries},
            {form::optional, &reader::add_optional},
            {form::constant, &reader::pass_unit},
            {form::link, &reader::pass_unit},
            {form::offset, &reader::add_number},
            {form::choice, &reader::add_choice},
            {form::absent_byte, &reader::pass_byte},
        });
        (this->*add_of[f.kind])(f, to);
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
        const uint32_t kept = f.kept(word());
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
        to[std::string(f.name)] = text_as_json(as_text(characters));
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
        if (record.is_bare()) return put(record.fields[0], value, where);
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
        for (const auto &one : object.items()) {
            const std::string &name = one.key();
            const auto is_called = [&](const field &f) { return f.name == name; };
            const auto has_arm = [&](const field &f) {
                return f.kind == form::choice && std::ranges::any_of(f.inner->fields, is_called);
            };
            if (std::ranges::none_of(record.fields, is_called) && std::ranges::none_of(record.fields, has_arm))
                refuse(called(where, name), "is no member of the record");
        }
        refuse(where.empty() ? "the text" : where, "holds a member that its type does not have");
    }

    // Gives how many members of the object that took.
    size_t put_member(const field &f, const json &object, const std::string &where) {
        if (f.kind == form::constant) return put_word(static_cast<uint32_t>(f.value)), 0;
        if (f.kind == form::link || f.kind == form::absent_byte) return put_word(0), 0;
        if (f.kind == form::choice) return put_choice(f, object, where);
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
        using put_value = void (writer::*)(const field &, const json &, const std::string &);
        static constexpr wire::form_table<put_value> put_of({
            {form::number, &writer::put_number},
            {form::hyper, &writer::put_hyper},
            {form::low_hyper, &writer::put_low_hyper},
            {form::real, &writer::put_real},
            {form::identifier, &writer::put_identifier},
            {form::sid, &writer::put_sid},
            {form::time, &writer::put_time},
            {form::text, &writer::put_text},
            {form::data, &writer::put_data},
            {form::record, &writer::put_record},
            {form::list, &writer::put_list},
            {form::entries, &writer::put_entries},
            {form::optional, &writer::put_optional},
            {form::offset, &writer::put_number},
            // What is no value of one member: put_member() knows them.
            {form::constant, nullptr},
            {form::link, nullptr},
            {form::choice, nullptr},
            {form::absent_byte, nullptr},
        });
        (this->*put_of[f.kind])(f, value, where);
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
        if (f.kept(sent) != sent) refuse(where, "is a number that the record has no room for");
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
        if (!f.is_in(format_)) refuse(std::string(wire::format_member), "is neither 5 nor 6");
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
        auto all = digits ? bytes_of_hex(*digits) : std::nullopt;
        if (all) to = std::move(*all);
        return all.has_value();
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

json record_as_json(const layout &record, std::span<const uint8_t> encoded) { return reader(encoded).value(record); }

bytes record_from_json(const layout &record, const std::string &path, std::string_view text,
                       const std::string &remedy) {
    writer made(path, remedy);
    made.put(record, parse(path, text, remedy), "");
    return made.take();
}

} // namespace tool
