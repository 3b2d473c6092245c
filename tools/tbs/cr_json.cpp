#include "cr_json.hpp"

#include "cr_members.hpp"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

constexpr size_t most_json = 64 * 1024 * 1024; // bytes
constexpr int most_depth = 5;                  // record, list, object, text, its bytes
constexpr char remedy[] = "\"tbs cr convert --to json\" shows how a record is written.";

// ---- writing

class json_writer {
public:
    void number(const char *name, auto value) { all_[name] = value; }
    void time(const char *name, int64_t value) { all_[name] = value; }
    void text(const char *name, const char *value) { all_[name] = text_as_json(text_or_empty(value)); }
    void id(const char *name, const tbs_uuid_t &value) { all_[name] = id_text(value); }
    void time_pair(const char *name, const ks_timeval_t &value) {
        all_[name] = {{"tv_sec", value.tv_sec}, {"tv_usec", value.tv_usec}};
    }
    void texts(const char *name, uint32_t count, char *const *values) {
        json &list = all_[name] = json::array();
        for (uint32_t i = 0; i < count; i++) list.push_back(text_as_json(text_or_empty(values[i])));
    }
    template <class T> void objects(const char *name, uint32_t count, T *const *values) {
        json &list = all_[name] = json::array();
        for (uint32_t i = 0; i < count; i++) {
            json_writer one;
            visit_members(static_cast<const T &>(*values[i]), one);
            list.push_back(one.take());
        }
    }
    json take() { return std::move(all_); }

private:
    json all_ = json::object();
};

// ---- reading

class json_reader {
public:
    // `where` is how messages call the object.
    json_reader(const std::string &path, const json &object, std::string where)
        : path_(path), object_(object), where_(std::move(where)) {
        if (!object_.is_object()) refuse(where_, "is no object");
    }

    template <class T> void number(const char *name, T &to) { to = number_of<T>(member(name), called(name)); }
    void time(const char *name, int64_t &to) { to = number_of<int32_t>(member(name), called(name)); }
    void text(const char *name, char *&to) { to = text_of(member(name), called(name)); }
    void id(const char *name, tbs_uuid_t &to) {
        const json &value = member(name);
        const auto *text = value.get_ptr<const std::string *>();
        tbs_uuid_t id;
        if (!text || tbs_str_to_uuid(text->c_str(), &id) != 0 || id_text(id) != *text)
            refuse(called(name), "is no identifier like \"12345678.9abc1def.8a12.00:11:22:33:44:55\"");
        to = id;
    }
    void time_pair(const char *name, ks_timeval_t &to) {
        json_reader inner(path_, member(name), called(name));
        inner.number("tv_sec", to.tv_sec);
        inner.number("tv_usec", to.tv_usec);
        inner.end();
    }
    void texts(const char *name, uint32_t &to_count, char **&to) {
        const json &list = list_of(name);
        make_list(to_count, to, list.size());
        for (size_t i = 0; i < list.size(); i++) to[i] = text_of(list[i], called(name, i));
    }
    template <class T> void objects(const char *name, uint32_t &to_count, T **&to) {
        const json &list = list_of(name);
        make_list(to_count, to, list.size());
        for (uint32_t i = 0; i < to_count; i++) to[i] = make_object<T>();
        for (size_t i = 0; i < list.size(); i++) {
            json_reader one(path_, list[i], called(name, i));
            visit_members(*to[i], one);
            one.end();
        }
    }
    // No member may be there that is not known.
    void end() const {
        if (object_.size() == known_.size()) return;
        for (const auto &[name, value] : object_.items()) {
            if (std::find(known_.begin(), known_.end(), name) == known_.end())
                refuse(called(name.c_str()), "is no member of a record");
        }
    }

private:
    [[noreturn]] void refuse(const std::string &what, const char *why) const {
        throw failure(path_, 0, what + ' ' + why, remedy);
    }
    [[nodiscard]] std::string called(const char *name) const { return where_.empty() ? name : where_ + '.' + name; }
    [[nodiscard]] std::string called(const char *name, size_t i) const {
        return called(name) + '[' + std::to_string(i) + ']';
    }
    const json &member(const char *name) {
        const auto found = object_.find(name);
        if (found == object_.end()) refuse(called(name), "is missing");
        known_.emplace_back(name);
        return *found;
    }
    const json &list_of(const char *name) {
        const json &list = member(name);
        if (!list.is_array()) refuse(called(name), "is no list");
        if (list.size() > UINT32_MAX) refuse(called(name), "is too long");
        return list;
    }
    template <class T> T number_of(const json &value, const std::string &name) const {
        if (!value.is_number_integer()) refuse(name, "is no whole number");
        const bool fits = value.is_number_unsigned() ? std::in_range<T>(value.get<uint64_t>())
                                                     : std::in_range<T>(value.get<int64_t>());
        if (!fits) refuse(name, "is a number that the record has no room for");
        return value.get<T>();
    }
    [[nodiscard]] char *text_of(const json &value, const std::string &name) const {
        std::string from_bytes;
        const auto *text = value.get_ptr<const std::string *>();
        if (!text) {
            if (!bytes_of(value, from_bytes)) refuse(name, "is no text");
            text = &from_bytes;
        }
        if (text->find('\0') != std::string::npos) refuse(name, "holds a NUL");
        return copy_text(*text);
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

    const std::string &path_;
    const json &object_;
    std::string where_;
    std::vector<std::string> known_;
};

json parse(const std::string &path, std::string_view text) {
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

json cr_as_json(const tbs_cr_t &record) {
    json_writer writer;
    visit_members(record, writer);
    return writer.take();
}

cr_record cr_from_json(const std::string &path, std::string_view text) {
    const json value = parse(path, text);
    cr_record record;
    json_reader reader(path, value, "");
    visit_members(record.get(), reader);
    reader.end();
    if (!tbs_cr_is_supported_fmt(&record->format_version) || record->format_version < 5) {
        throw failure(path, 0, "format_version is neither 5 nor 6", remedy);
    }
    return record;
}

} // namespace tool
