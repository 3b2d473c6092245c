// tbs registry: settings of the host.
#include "hexadecimal.hpp"
#include "ks/ks_imsg.h"
#include "nt/nt_regy.h"
#include "output.hpp"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>

namespace tool {
namespace {

struct options {
    std::string key, name, type = "sz", file;
    std::vector<std::string> values;
    bool whole_key = false;
    bool as_json = false;
};

constexpr ntregy_root_t root = NTREGY_LOCAL_MACHINE;

struct type_row {
    std::string_view name;
    ntregy_type_t type;
};
constexpr type_row types[] = {{"none", NTREGY_NONE},     {"sz", NTREGY_SZ},       {"expand", NTREGY_EXPAND_SZ},
                              {"binary", NTREGY_BINARY}, {"dword", NTREGY_DWORD}, {"multi", NTREGY_MULTI_SZ},
                              {"qword", NTREGY_QWORD}};

std::string name_of(ntregy_type_t type) {
    const auto found =
        std::find_if(std::begin(types), std::end(types), [type](const type_row &row) { return row.type == type; });
    return found == std::end(types) ? std::to_string(type) : std::string(found->name);
}

[[noreturn]] void refuse(const options &o, const char *what, int error) {
    throw failure("\"" + o.key + "\" cannot be " + what + ": " + imsg_strerror(error),
                  "A key is a path as SOFTWARE\\Tessivane; the registry lies in the host data directory.");
}

// ---- values

template <class T> std::optional<T> number_in(std::string_view data) {
    T number;
    if (data.size() != sizeof number) return std::nullopt;
    std::memcpy(&number, data.data(), sizeof number);
    return number;
}

json value_of(ntregy_type_t type, std::string_view data) {
    switch (type) {
    case NTREGY_SZ:
    case NTREGY_EXPAND_SZ: return std::string(data.substr(0, data.find('\0')));
    case NTREGY_DWORD:
        if (const auto number = number_in<uint32_t>(data)) return *number;
        break;
    case NTREGY_QWORD:
        if (const auto number = number_in<uint64_t>(data)) return *number;
        break;
    case NTREGY_MULTI_SZ: {
        json texts = json::array();
        for (size_t at = 0; at < data.size() && data[at];) {
            const std::string text(data.substr(at, data.find('\0', at) - at));
            at += text.size() + 1;
            texts.push_back(text);
        }
        return texts;
    }
    default: break;
    }
    return hex_digits(data);
}

// As one line for people; a list of texts has them in quotes.
std::string line_of(const json &value) { return value.is_string() ? value.get<std::string>() : value.dump(); }

template <class T> std::string bytes_of_number(const std::string &text) {
    T number = 0;
    const bool is_hex = text.starts_with("0x");
    const char *begin = text.data() + (is_hex ? 2 : 0), *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(begin, end, number, is_hex ? 16 : 10);
    if (error != std::errc() || stop != end) {
        throw failure("\"" + text + "\" is no number of this type",
                      "Give a decimal number, or 0x and hexadecimal digits.");
    }
    return {reinterpret_cast<const char *>(&number), sizeof number};
}

// The data of a value that is to be set.
std::string data_of(ntregy_type_t type, const std::vector<std::string> &values) {
    if (type == NTREGY_MULTI_SZ) {
        std::string data;
        for (const std::string &text : values) data += text + '\0';
        return data + '\0';
    }
    if (values.size() != 1) throw failure("one value is set at a time", "Several values make a list: --type multi.");
    const std::string &text = values.front();
    if (type == NTREGY_DWORD) return bytes_of_number<uint32_t>(text);
    if (type == NTREGY_QWORD) return bytes_of_number<uint64_t>(text);
    if (type == NTREGY_SZ || type == NTREGY_EXPAND_SZ) return text + '\0';
    if (auto data = bytes_of_hex(text)) return std::move(*data);
    throw failure("\"" + text + "\" are no bytes", "Give two hexadecimal digits for each byte.");
}

// ---- the commands

void print_line(std::string_view text) {
    print(text);
    end_line();
}

int done(const options &o, json answer) {
    if (o.as_json) {
        answer["exit_status"] = exit_done;
        print_json(answer);
    }
    return exit_done;
}

bool has_key(const options &o) {
    const auto nothing = [](void *, const char *, size_t) noexcept { return 0; };
    return ntregy_enum_subkeys(root, o.key.c_str(), nothing, nullptr) == 0;
}

int report_missing(const options &o) {
    if (o.as_json) {
        print_json({{"key", o.key}, {"name", o.name}, {"value", nullptr}, {"exit_status", exit_negative}});
    } else if (has_key(o)) {
        const std::string what = o.name.empty() ? "no default value" : "no value \"" + o.name + '"';
        report_text(failure("the key \"" + o.key + "\" has " + what, "\"tbs registry list KEY\" shows what it has."));
    } else {
        report_text(failure("there is no key \"" + o.key + '"', "\"tbs registry list [KEY]\" shows what there is."));
    }
    return exit_negative;
}

int get(const options &o) {
    std::string data(NTREGY_MAX_DATA, '\0');
    size_t size = data.size();
    ntregy_type_t type = NTREGY_NONE;
    const int error = ntregy_get_value(root, o.key.c_str(), o.name.c_str(), &type, data.data(), &size);
    if (error == 2) return report_missing(o);
    if (error) refuse(o, "read", error);
    data.resize(size);
    const json value = value_of(type, data);
    if (!o.as_json) print_line(line_of(value));
    return done(o, {{"key", o.key}, {"name", o.name}, {"type", name_of(type)}, {"value", value}});
}

int set(const options &o) {
    const auto type = std::find_if(std::begin(types), std::end(types), [&](const type_row &row) {
                          return row.name == o.type;
                      })->type;
    const std::string data = data_of(type, o.values);
    const int error = ntregy_set_value(root, o.key.c_str(), o.name.c_str(), type, data.data(), data.size());
    if (error) refuse(o, "written", error);
    return done(o, {{"key", o.key}, {"name", o.name}, {"type", o.type}, {"value", value_of(type, data)}});
}

// What a key holds, gathered through C.
struct listing {
    json keys = json::array(), values = json::array();
    bool complete = true; // there was memory for all
};
template <class F> int gather(listing &all, F &&add) noexcept {
    try {
        add();
        return 0;
    } catch (...) {
        all.complete = false;
        return 1;
    }
}
int add_key(void *context, const char *name, size_t values) noexcept {
    auto &all = *static_cast<listing *>(context);
    return gather(all, [&] { all.keys.push_back({{"name", name}, {"values", values}}); });
}
int add_value(void *context, const char *name, ntregy_type_t type, const void *data, size_t size) noexcept {
    auto &all = *static_cast<listing *>(context);
    return gather(all, [&] {
        const std::string_view bytes(static_cast<const char *>(data), size);
        all.values.push_back({{"name", name}, {"type", name_of(type)}, {"value", value_of(type, bytes)}});
    });
}

int list(const options &o) {
    listing all;
    int error = ntregy_enum_subkeys(root, o.key.c_str(), add_key, &all);
    if (!error && !o.key.empty()) error = ntregy_enum_values(root, o.key.c_str(), add_value, &all);
    if (!all.complete) throw std::bad_alloc();
    if (error == 2 && o.key.empty()) error = 0; // no registry is an empty one
    if (error) refuse(o, "listed", error);
    if (!o.as_json) {
        for (const json &key : all.keys) print_line(key["name"].get<std::string>() + '\\');
        for (const json &value : all.values) {
            const std::string name = value["name"];
            print_padded(name.empty() ? "(default)" : name, 24);
            print_padded(value["type"].get<std::string>(), 8);
            print_line(line_of(value["value"]));
        }
    }
    return done(o, {{"key", o.key}, {"keys", all.keys}, {"values", all.values}});
}

int remove(const options &o) {
    const int error = o.whole_key ? ntregy_delete_key(root, o.key.c_str())
                                  : ntregy_delete_value(root, o.key.c_str(), o.name.c_str());
    if (error) refuse(o, "deleted", error);
    return done(o, {{"key", o.key}, {"name", o.whole_key ? json(nullptr) : json(o.name)}});
}

int import(const options &o) {
    uint32_t line = 0, skipped = 0;
    const int error = ntregy_import(o.file.c_str(), &line, &skipped);
    if (error && line) {
        throw failure(o.file, line, "the line is no setting",
                      "Nothing was imported; correct the line, or export again.");
    }
    if (error) {
        throw failure(o.file, 0, std::string("nothing was imported: ") + imsg_strerror(error),
                      "Name a file of exported settings.");
    }
    if (!o.as_json && skipped) print_line(std::to_string(skipped) + " keys of other roots were left alone");
    return done(o, {{"file", o.file}, {"skipped", skipped}});
}

int export_settings(const options &o) {
    const int error = ntregy_export(root, o.key.c_str(), o.file.c_str());
    if (error) refuse(o, "exported", error);
    return done(o, {{"key", o.key}, {"file", o.file}});
}

// ---- the command line

command add_command(command registry, const char *name, const char *purpose, options &o) {
    const command added = registry.add(name, purpose);
    added.flag("--json", o.as_json, "Answer in JSON");
    return added;
}
void add_key_option(command target, options &o, bool required) {
    target.positional("key", o.key, "KEY", "Key below HKEY_LOCAL_MACHINE, as SOFTWARE\\Tessivane").required(required);
}
void add_name_option(command target, options &o, bool required) {
    target.positional("name", o.name, "NAME", "Value; without one the key's default value").required(required);
}

} // namespace

void add_registry(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command registry = parent.add_group("registry", "Read and change the settings of this host");
    const auto run = [o, &chosen](command target, int (*function)(const options &)) {
        target.runs([o, function] { return function(*o); }, chosen);
    };

    const command get_command = add_command(registry, "get", "Show a value", *o);
    add_key_option(get_command, *o, true);
    add_name_option(get_command, *o, false);
    get_command.footer("Exit status: 0 shown, 1 there is none, 2 bad input or registry.");
    run(get_command, get);

    const command set_command = add_command(registry, "set", "Set a value", *o);
    add_key_option(set_command, *o, true);
    add_name_option(set_command, *o, true);
    set_command
        .positional("value", o->values, "VALUE", "Text, number, bytes as hexadecimal digits, or texts of a list")
        .required();
    set_command.option("--type", o->type, "TYPE", "sz, expand, dword, qword, binary, none or multi")
        .one_of({"none", "sz", "expand", "binary", "dword", "multi", "qword"});
    run(set_command, set);

    const command list_command = add_command(registry, "list", "List the keys and values of a key", *o);
    add_key_option(list_command, *o, false);
    run(list_command, list);

    const command delete_command = add_command(registry, "delete", "Delete a value, or a key with all below it", *o);
    add_key_option(delete_command, *o, true);
    add_name_option(delete_command, *o, false);
    delete_command.flag("--key", o->whole_key, "Delete the key itself");
    run(delete_command, remove);

    const command import_command =
        add_command(registry, "import", "Take over exported settings, all of a file or nothing", *o);
    import_command.positional("file", o->file, "FILE", "File of exported settings (.reg)").required();
    run(import_command, import);

    const command export_command = add_command(registry, "export", "Write settings as other hosts read them", *o);
    export_command.positional("file", o->file, "FILE", "File to write, replaced as a whole").required();
    add_key_option(export_command, *o, false);
    run(export_command, export_settings);
}

} // namespace tool
