#include "vocabulary.hpp"

#include "hexadecimal.hpp"
#include "ks/ks_str.h"
#include "text_file.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <new>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

// What the generic names stand for when no permissions file is given; data/permissions.conf says the same.
constexpr tbs_acl_generic_map_t default_map = {0x00020001, 0x00030003, 0x00020004, 0x0007FFFF};

struct generic {
    const char *name;
    tbs_acl_permission_set_t tbs_acl_generic_map_t::*mask;
};
constexpr std::array<generic, 4> generics = {{{"read", &tbs_acl_generic_map_t::read},
                                              {"write", &tbs_acl_generic_map_t::write},
                                              {"execute", &tbs_acl_generic_map_t::execute},
                                              {"all", &tbs_acl_generic_map_t::all}}};

struct builtin {
    const char *name;
    tbs_acl_permission_set_t value;
};
constexpr builtin builtins[] = {
#define TOOL_BUILTIN(symbol, text, value) {text, value},
    TBS_ACL_PERMISSION_LIST(TOOL_BUILTIN)
#undef TOOL_BUILTIN
};

bool same(std::string_view a, const char *b) { return strutl_stricoll(std::string(a).c_str(), b) == 0; }

// Parts between separators, without blanks around them; an empty text has one empty part.
std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (;;) {
        const size_t at = text.find(separator);
        parts.push_back(trimmed(text.substr(0, at)));
        if (at == std::string_view::npos) return parts;
        text.remove_prefix(at + 1);
    }
}

bool number(std::string_view text, tbs_acl_permission_set_t &value_out) {
    if (!text.starts_with("0x") && !text.starts_with("0X")) return false;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + 2, end, value_out, 16);
    return error == std::errc() && stop == end;
}

std::string bits_text(tbs_acl_permission_set_t value) { return "0x" + hex_number(value, 8); }

} // namespace

bool vocabulary::find(std::string_view name, tbs_acl_permission_set_t &value_out) const {
    for (const tbs_acl_perm_name_t &own : names_) {
        if (same(name, own.name)) return value_out = own.value, true;
    }
    for (const builtin &known : builtins) {
        if (same(name, known.name)) return value_out = known.value, true;
    }
    return false;
}

// Reads a permissions file.
class vocabulary::reader {
public:
    reader(vocabulary &words, const std::string &path) : words_(words), path_(path) {}

    void read() {
        words_.map_ = {};
        for (const text_line &line : read_text_file(path_)) {
            if (line.text == "[generic]" && !in_generic_) {
                in_generic_ = true;
            } else {
                read_assignment(line);
            }
        }
        const auto missing = std::find(given_.begin(), given_.end(), false);
        if (missing == given_.end()) return;
        const std::string name = generics[static_cast<size_t>(missing - given_.begin())].name;
        refuse(0, "the generic permission \"" + name + "\" is missing",
               "Add a line \"" + name + " = ...\" below \"[generic]\"; 0x0 if it stands for none.");
    }

private:
    [[noreturn]] void refuse(size_t line, const std::string &text, const std::string &remedy) const {
        throw failure(path_, line, text, remedy);
    }

    void read_assignment(const text_line &line) {
        const std::string_view text = line.text;
        const size_t equals = text.find('=');
        if (equals == std::string_view::npos) {
            refuse(line.number, "the line is neither \"name = value\" nor the one \"[generic]\"",
                   "Write a permission as \"name = 0x00000001\".");
        }
        const std::string name(trimmed(text.substr(0, equals)));
        const tbs_acl_permission_set_t value = value_of(line.number, text.substr(equals + 1));
        in_generic_ ? set_generic(line.number, name, value) : add_name(line.number, name, value);
    }

    [[nodiscard]] tbs_acl_permission_set_t value_of(size_t line, std::string_view text) const {
        tbs_acl_permission_set_t all = 0;
        for (const std::string_view term : split(text, ',')) {
            tbs_acl_permission_set_t value = 0;
            if (!number(term, value) && !words_.find(term, value)) {
                refuse(line, "\"" + std::string(term) + "\" is no permission",
                       "Write 0x and at most 8 hexadecimal digits, or a name that a line above gives.");
            }
            all |= value;
        }
        if (all & ~TBS_ACL_STORED_PERMS) {
            refuse(line, "the value " + bits_text(all) + " has bits that no entry stores",
                   "Use only bits of " + bits_text(TBS_ACL_STORED_PERMS) + ".");
        }
        return all;
    }

    void set_generic(size_t line, const std::string &name, tbs_acl_permission_set_t value) {
        const auto at =
            std::find_if(generics.begin(), generics.end(), [&](const generic &g) { return same(name, g.name); });
        if (at == generics.end()) {
            refuse(line, "\"" + name + "\" is no generic permission", "Use read, write, execute and all, each once.");
        }
        bool &seen = given_[static_cast<size_t>(at - generics.begin())];
        if (seen) refuse_twice(line, name);
        seen = true;
        words_.map_.*at->mask = value;
    }

    void add_name(size_t line, const std::string &name, tbs_acl_permission_set_t value) {
        if (!strutl_is_ok_name(name.c_str(), "0123456789-._", "_-.")) {
            refuse(line, "\"" + name + "\" is no name for a permission",
                   "Use letters, digits, \"_\", \"-\" and \".\"; begin with a letter.");
        }
        if (value == 0) refuse(line, "\"" + name + "\" stands for no permission", "Give it at least one bit.");
        const auto is_same = [&](const tbs_acl_perm_name_t &own) { return same(name, own.name); };
        if (std::any_of(words_.names_.begin(), words_.names_.end(), is_same)) refuse_twice(line, name);
        words_.storage_.push_back(name);
        words_.names_.push_back({words_.storage_.back().c_str(), value});
    }

    [[noreturn]] void refuse_twice(size_t line, const std::string &name) const {
        refuse(line, "\"" + name + "\" is given twice", "Keep one of the lines.");
    }

    vocabulary &words_;
    const std::string &path_;
    bool in_generic_ = false;
    std::array<bool, generics.size()> given_{};
};

vocabulary::vocabulary(const std::optional<std::string> &path) : map_(default_map) {
    if (path) reader(*this, *path).read();
}

std::string vocabulary::text(tbs_acl_permission_set_t perms) const {
    if (perms == 0) return "(none)";
    const char *text = tbs_acl_utl_perm_set_to_str(perms, names(), count(), map());
    if (!text) throw std::bad_alloc();
    return text;
}

json vocabulary::as_json(tbs_acl_permission_set_t perms) const {
    json list = json::array();
    if (perms) {
        const std::string all = text(perms);
        for (const std::string_view name : split(all, ',')) list.push_back(name);
    }
    return {{"names", std::move(list)}, {"bits", bits_text(perms)}};
}

tbs_acl_permission_set_t vocabulary::request(const std::string &text) const {
    tbs_acl_permission_set_t perms = 0;
    if (tbs_acl_utl_perm_set_from_str(text.c_str(), names(), count(), map(), &perms) != 0) {
        throw failure("the request \"" + text + "\" is no list of permissions",
                      "Write names with \",\" between them and no blanks; --permissions FILE adds names.");
    }
    if (perms == 0) {
        throw failure("the request \"" + text + "\" asks for no permission",
                      "Name at least one that stands for something in this vocabulary.");
    }
    return perms;
}

} // namespace tool
