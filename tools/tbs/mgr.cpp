// tbs mgr: type managers and their operations.
#include "tbs/tbs_mgr.h"

#include "output.hpp"
#include "tbs/tbs_status.h"

#include <memory>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    std::string manager, operation;
    std::vector<std::string> arguments;
    bool as_json = false;
};

failure not_resolved(const options &o, tbs_status_t status) {
    return {"the program of \"" + o.operation + "\" was not found: " + tbs_strerror(status),
            "Shorten the names of manager and operation, or the location that is set for them."};
}

std::vector<std::string> managers() {
    uint32_t count = 0;
    char **names = nullptr;
    const tbs_status_t status = tbs_mgr_get_mgr_list(nullptr, &count, &names);
    if (status != 0) throw failure(std::string("no list: ") + tbs_strerror(status), "Try again.");
    const auto release = [&](char **) { tbs_mgr_free_mgr_list(&count, &names); };
    const std::unique_ptr<char *, decltype(release)> owner(names, release);
    return {names, names + count};
}

int list(const options &o) {
    const std::vector<std::string> names = managers();
    if (o.as_json) {
        print_json({{"managers", names}, {"exit_status", exit_done}});
        return exit_done;
    }
    for (const std::string &name : names) {
        print(name);
        end_line();
    }
    return exit_done;
}

int supports(const options &o) {
    tbs_boolean_t supported = 0;
    const tbs_status_t status = tbs_mgr_is_supported_op(o.manager.c_str(), o.operation.c_str(), &supported);
    if (status != 0) throw not_resolved(o, status);
    const int result = supported ? exit_done : exit_negative;
    if (o.as_json) {
        print_json({{"manager", o.manager},
                    {"operation", o.operation},
                    {"supported", supported != 0},
                    {"exit_status", result}});
    } else {
        print(o.manager + (supported ? " has " : " has no ") + o.operation);
        end_line();
    }
    return result;
}

// `remaining` are arguments of the operation that the tool itself did not take.
int invoke(options o, const std::vector<std::string> &remaining) {
    o.arguments.insert(o.arguments.end(), remaining.begin(), remaining.end());
    std::vector<char *> vector = {nullptr};
    for (std::string &argument : o.arguments) vector.push_back(argument.data());
    vector.push_back(nullptr);
    int exit_status = 0;
    const tbs_status_t status =
        tbs_mgr_invoke_op(o.manager.c_str(), o.operation.c_str(), vector.data(), &exit_status);
    if (status == TBS_ST_ERROR) {
        throw failure("the operation was not run, see the message before",
                      "\"tbs mgr list\" shows the managers, \"tbs mgr supports\" whether one has an operation.");
    }
    if (status != 0) throw not_resolved(o, status);
    return exit_status;
}

void add_names(command target, options &o) {
    target.positional("manager", o.manager, "MANAGER", "Type manager").required();
    target.positional("operation", o.operation, "OPERATION", "Operation, as create_version").required();
}

} // namespace

void add_mgr(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command mgr = parent.add_group("mgr", "List type managers, run their operations");

    const command list_command = mgr.add("list", "List the managers of this host");
    list_command.flag("--json", o->as_json, "Answer in JSON");
    list_command.runs([o] { return list(*o); }, chosen);

    const command supports_command = mgr.add("supports", "Tell whether a manager has an operation");
    add_names(supports_command, *o);
    supports_command.flag("--json", o->as_json, "Answer in JSON");
    supports_command.footer("Exit status: 0 it has, 1 it has not, 2 bad input.");
    supports_command.runs([o] { return supports(*o); }, chosen);

    const command invoke_command = mgr.add("invoke", "Run an operation of a manager");
    add_names(invoke_command, *o);
    invoke_command.positional("arguments", o->arguments, "ARGUMENT", "Arguments of the operation");
    invoke_command.keep_remaining();
    invoke_command.footer(
        "What follows the operation is its own. Exit status: the operation's; 2 when it was not run.");
    invoke_command.runs([o, invoke_command] { return invoke(*o, invoke_command.remaining()); }, chosen);
}

} // namespace tool
