// tbs product: where the product is, what it is called, what it runs on.
#include "tbs/tbs_product.h"

#include "output.hpp"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>

namespace tool {
namespace {

struct options {
    std::optional<std::string> directory;
    bool as_json = false;
};

struct place {
    const char *name;
    char *(*path)(char *buffer, const char *leaf);
};

char *log_file(char *buffer, const char *) { return tbs_product_logfile_pn(buffer); }

constexpr place places[] = {
    {"product", tbs_product_dir},
    {"script", tbs_product_script_dir},
    {"tool", tbs_product_tool_dir},
    {"server", tbs_product_server_dir},
    {"etc", tbs_product_etc_dir},
    {"utils", tbs_product_utils_dir},
    {"sql", tbs_product_sql_dir},
    {"library", tbs_product_library_dir},
    {"config", tbs_product_config_dir},
    {"common", tbs_product_common_dir},
    {"ui_config", tbs_product_ui_config_dir},
    {"ui_uid", tbs_product_ui_uid_dir},
    {"mgrs", tbs_product_mgrs_dir},
    {"host", tbs_product_host_priv_dir},
    {"log", tbs_product_log_dir},
    {"log_file", log_file},
    {"cache", tbs_product_cache_dir},
    {"host_config", tbs_product_host_config_dir},
    {"rgy", tbs_product_rgy_dir},
};

std::string path_of(const place &one) {
    char buffer[TBS_PATH_SIZE];
    return one.path(buffer, nullptr);
}

void print_row(std::string_view name, std::string_view value) {
    constexpr size_t column = 18;
    print_padded(name, column);
    print(value);
    end_line();
}

int show_directory(const options &o) {
    const auto found = std::find_if(std::begin(places), std::end(places),
                                    [&](const place &one) { return *o.directory == one.name; });
    if (found == std::end(places)) {
        throw failure("\"" + *o.directory + "\" is no directory of the product",
                      "\"tbs product\" lists those that there are.");
    }
    if (o.as_json) {
        print_json({{"directory", found->name}, {"path", path_of(*found)}, {"exit_status", exit_done}});
    } else {
        print(path_of(*found));
        end_line();
    }
    return exit_done;
}

int show_all(const options &o) {
    const char *system = "", *version = "", *processor = "";
    if (!tbs_platform_info(&system, &version, &processor)) {
        throw failure("the system does not tell its version", "Try again.");
    }
    if (o.as_json) {
        json directories = json::object();
        for (const place &one : places) directories[one.name] = path_of(one);
        print_json({{"name", tbs_product_name()},
                    {"version", tbs_product_version()},
                    {"system", system},
                    {"system_version", version},
                    {"processor", processor},
                    {"view_interop", tbs_product_view_interop() != 0},
                    {"native_interface", tbs_product_use_native() != 0},
                    {"directories", std::move(directories)},
                    {"exit_status", exit_done}});
        return exit_done;
    }
    print_bold(std::string(tbs_product_name()) + ' ' + tbs_product_version());
    end_line();
    print_row("system", std::string(system) + ", " + version + ", " + processor);
    print_row("view interop", tbs_product_view_interop() ? "on" : "off");
    print_row("native interface", tbs_product_use_native() ? "yes" : "no");
    for (const place &one : places) print_row(one.name, path_of(one));
    tbs_product_list_hotfixes();
    return exit_done;
}

} // namespace

void add_product(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command product_command = parent.add("product", "Show the product's version and directories");
    product_command.positional("directory", o->directory, "NAME", "Show this directory only");
    product_command.flag("--json", o->as_json, "Answer in JSON");
    product_command.runs([o] { return o->directory ? show_directory(*o) : show_all(*o); }, chosen);
}

} // namespace tool
