// tbs name: version-extended pathnames and names of derived objects, taken apart and put together.
#include "output.hpp"
#include "tbs/tbs_mfs.h"

#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>

namespace tool {
namespace {

struct options {
    std::vector<std::string> names;
    std::string suffix;
    bool prefixed = false;
    bool as_json = false;
};

void require(tbs_status_t status, const std::string &name) {
    if (status != 0) {
        throw failure("\"" + name + "\" cannot be extended: " + tbs_strerror(status),
                      "A directory has at most 1023 bytes, what is behind it at most 255.");
    }
}

std::string symbol() {
    char text[TBS_PATH_SIZE];
    require(tbs_version_ext_pname_sil(text, nullptr, nullptr, true), "");
    return text;
}

void print_line(std::string_view text) {
    print(text);
    end_line();
}

// ---- one name

// A line for people, and the same as members; without the line there is no such thing in the name.
struct answer {
    std::optional<std::string> line;
    json members;
};

answer split(const options &, const std::string &name) {
    size_t index = 0;
    if (!tbs_pname_contains_version_suffix_at_index(name.c_str(), &index)) {
        return {std::nullopt, {{"element", nullptr}, {"version", nullptr}, {"index", nullptr}}};
    }
    const std::string element = name.substr(0, index), version = name.substr(index + symbol().size());
    return {"element " + element + ", version " + (version.empty() ? "(none)" : version),
            {{"element", element}, {"version", version}, {"index", index}}};
}

answer strip(const options &, const std::string &name) {
    std::string stripped = name;
    tbs_strip_ver_ext_chars(stripped.data());
    stripped.resize(std::strlen(stripped.c_str()));
    return {stripped, {{"stripped", stripped}}};
}

answer extend(const options &o, const std::string &name) {
    char extended[TBS_PATH_SIZE];
    require(o.prefixed ? tbs_version_prefix_pname(extended, name.c_str(), o.suffix.c_str())
                       : tbs_version_ext_pname(extended, name.c_str(), o.suffix.c_str()),
            name);
    if (std::strlen(extended) == sizeof extended - 1) { // perhaps cut
        throw failure("the extended name of \"" + name + "\" is too long",
                      "Extended names have fewer than 1023 bytes.");
    }
    return {extended, {{"extended", extended}}};
}

answer decode(const options &, const std::string &name) {
    size_t index = 0;
    uint32_t number = 0;
    const tbs_status_t status = tbs_decode_do_pname(name.c_str(), &index, &number);
    if (status == TBS_ST_ERROR) {
        return {std::nullopt,
                {{"object", nullptr}, {"identifier", nullptr}, {"number", nullptr}, {"index", nullptr}}};
    }
    require(status, name);
    const std::string object = name.substr(0, index), identifier = name.substr(index + symbol().size());
    return {"object " + object + ", identifier " + identifier + ", number " + std::to_string(number),
            {{"object", object}, {"identifier", identifier}, {"number", number}, {"index", index}}};
}

// ---- the commands

struct command_row {
    const char *name, *purpose;
    answer (*of)(const options &, const std::string &name);
    bool is_told_of_name; // the line says something of the name, which stands before it
    const char *footer;
};
constexpr command_row commands[] = {
    {"split", "Tell element and version of version-extended names", split, true,
     "Exit status: 0 told, 1 a name has no version, 2 bad input."},
    {"strip", "Cut the naming symbol off the ends of names", strip, false, ""},
    {"extend", "Make version-extended names", extend, false, ""},
    {"do", "Tell what names of derived objects say", decode, true,
     "Exit status: 0 told, 1 a name is none of a derived object, 2 bad input."},
};

int run(const options &o, const command_row &row) {
    json list = json::array();
    int status = exit_done;
    for (const std::string &name : o.names) {
        answer one = row.of(o, name);
        if (!one.line) status = exit_negative;
        json members = {{"name", name}};
        members.update(one.members);
        list.push_back(std::move(members));
        if (!o.as_json) print_line((row.is_told_of_name ? name + ": " : "") + one.line.value_or("-"));
    }
    if (o.as_json) {
        print_json({{"naming_symbol", symbol()}, {"names", std::move(list)}, {"exit_status", status}});
    }
    return status;
}

} // namespace

void add_name(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command name_command = parent.add_group("name", "Take names of versions and of derived objects apart");
    for (const command_row &row : commands) {
        const command one = name_command.add(row.name, row.purpose);
        one.positional("names", o->names, "NAME", "Names; they need not be there").required();
        if (row.of == extend) {
            one.option("--suffix", o->suffix, "TEXT", "What follows: a path of versions, as \\main\\3");
            one.flag("--prefix", o->prefixed, "Put \"^\" and the symbol before the last part instead");
        }
        one.flag("--json", o->as_json, "Answer in JSON");
        if (*row.footer) one.footer(row.footer);
        one.runs([o, &row] { return run(*o, row); }, chosen);
    }
}

} // namespace tool
