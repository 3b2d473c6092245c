// tbs viewroot: the view roots of this host and the naming symbol, and the settings that they come from.
#include "client.hpp"
#include "ks/ks_errno.h"
#include "mvfs/mvfs_view_root.h"
#include "nt/nt_regy.h"
#include "output.hpp"
#include "tbs/tbs_mfs.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

namespace tool {
namespace {

constexpr uint32_t naming_symbol_param = 52;

struct type_row {
    const char *name, *key;
    mvfs_view_root_type_t type;
};
constexpr type_row types[] = {{"dynamic", "Dynamic", DYVWROOT}, {"automatic", "Automatic", AUVWROOT}};

struct flag_row {
    const char *name;
    uint32_t flag;
};
constexpr flag_row flag_names[] = {
    {"no_mvfs", TBS_MVFS_WS_NO_MVFS}, {"disabled", TBS_MVFS_WS_DISABLED}, {"no_dynamic", TBS_MVFS_WS_NO_DYNAMIC}};

// ---- what the registry says

std::optional<std::string> setting(const std::string &below, const std::string &name) {
    char key[NTREGY_KEY_SIZE], value[TBS_PATH_SIZE];
    require(ntregy_get_common_key(key, sizeof key), "the product's key");
    const int error =
        ntregy_get_string(NTREGY_LOCAL_MACHINE, (key + below).c_str(), name.c_str(), value, sizeof value);
    if (error == KS_ENOENT) return std::nullopt;
    require(error, "the value \"" + name + "\" of the registry");
    return value;
}

std::optional<std::string> registered_symbol() {
    char name[NTREGY_KEY_SIZE];
    require(ntregy_param_name(naming_symbol_param, name, sizeof name), "the name of parameter 52");
    return setting("", name);
}

// ---- what the libraries make of it

struct view_root {
    const type_row *row;
    std::optional<std::string> path, why_not; // one of them, or neither when the registry names none
    std::optional<std::string> named, symbol; // by the registry
};

view_root look_at(const type_row &row) {
    const std::string key = std::string("\\ViewRoots\\") + row.key;
    view_root found{&row, {}, {}, setting(key, "Path"), setting(key, "NamingSymbol")};
    char path[TBS_PATH_SIZE];
    const tbs_status_t status = tbs_view_root_type(row.type, path, nullptr);
    if (status == 0) {
        found.path = path;
    } else if (found.named && !found.named->empty()) {
        mvfs_view_root_t *root = nullptr;
        const int error = mvfs_view_root_open_sil_type(row.type, &root, true);
        mvfs_view_root_close_type(row.type, &root);
        found.why_not = error != 0 ? error_text(error) : tbs_strerror(status);
    }
    return found;
}

struct findings {
    std::string symbol, prefix;
    std::vector<view_root> roots;
    std::optional<std::string> parameter;
    uint32_t flags;
};

// The reasons stand in the answer: messages would say them twice.
findings find_all() {
    const message_collector silence;
    char symbol[TBS_PATH_SIZE], prefix[TBS_PATH_SIZE];
    if (tbs_version_ext_pname_sil(symbol, nullptr, nullptr, true) != 0 ||
        tbs_version_prefix_pname_sil(prefix, nullptr, nullptr, true) != 0) {
        throw std::bad_alloc();
    }
    findings all{symbol, prefix, {}, registered_symbol(), tbs_mvfs_ws_flags() | tbs_mvfs_ws_dyn_flags()};
    for (const type_row &row : types) all.roots.push_back(look_at(row));
    return all;
}

// ---- the answer

json or_null(const std::optional<std::string> &text) { return text ? json(*text) : json(nullptr); }

int print_as_json(const findings &all, int status) {
    json roots = json::object(), flags = json::object();
    for (const view_root &root : all.roots) {
        roots[root.row->name] = {
            {"path", or_null(root.path)},
            {"error", or_null(root.why_not)},
            {"registry", {{"Path", or_null(root.named)}, {"NamingSymbol", or_null(root.symbol)}}}};
    }
    for (const flag_row &row : flag_names) flags[row.name] = (all.flags & row.flag) != 0;
    print_json({{"naming_symbol", all.symbol},
                {"version_prefix", all.prefix},
                {"view_roots", std::move(roots)},
                {"parameter_52", or_null(all.parameter)},
                {"flags", std::move(flags)},
                {"exit_status", status}});
    return status;
}

void print_row(std::string_view name, std::string_view value) {
    constexpr size_t column = 18;
    print_padded(name, column);
    print(value);
    end_line();
}

int print_as_text(const findings &all, int status) {
    print_row("naming symbol", all.symbol);
    print_row("version prefix", all.prefix);
    for (const view_root &root : all.roots) {
        print_row(root.row->name, root.path      ? *root.path
                                  : root.why_not ? *root.named + " (" + *root.why_not + ")"
                                                 : "(none)");
        if (root.symbol) print_row("", "naming symbol " + *root.symbol);
    }
    print_row("parameter 52", all.parameter.value_or("(not set)"));
    if (all.flags & TBS_MVFS_WS_DISABLED) print_row("workspaces", "disabled by ORSIK_NO_WS");
    return status;
}

int show(bool as_json) {
    const findings all = find_all();
    const bool any = std::any_of(all.roots.begin(), all.roots.end(), [](const view_root &root) { return root.path; });
    const int status = any ? exit_done : exit_negative;
    return as_json ? print_as_json(all, status) : print_as_text(all, status);
}

} // namespace

void add_viewroot(command parent, action &chosen) {
    const auto as_json = std::make_shared<bool>(false);
    const command viewroot_command = parent.add("viewroot", "Show the view roots of this host and the naming symbol");
    viewroot_command.flag("--json", *as_json, "Answer in JSON");
    viewroot_command.footer("Exit status: 0 there is a view root, 1 there is none, 2 bad input.");
    viewroot_command.runs([as_json] { return show(*as_json); }, chosen);
}

} // namespace tool
