// tbs profile: a user's defaults for the product's commands.
#include "tbs/tbs_profile.h"

#include "output.hpp"

#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    std::string command;
    std::vector<std::string> names;
    bool as_json = false;
};

// A profile with a wrong line answers nothing, and is read again by each look-up, which says so each time.
void require_syntax(const options &o) {
    constexpr int syntax_error = 14;
    const char *value = nullptr;
    const auto messages = messages_of([&] { tbs_check_profile(o.command.c_str(), o.names[0].c_str(), &value); });
    if (!has_message(messages, "tbs", syntax_error)) return;
    throw failure("the profile was not read, see the message before",
                  "Write \"COMMAND NAME VALUE\" on each line; \"#\" begins a comment.");
}

int get(const options &o) {
    std::vector<const char *> names;
    for (const std::string &name : o.names) names.push_back(name.c_str());
    const char *value = nullptr;
    const int position =
        tbs_multi_check_profile(o.command.c_str(), names.data(), static_cast<int>(names.size()), &value);
    if (position < 0) require_syntax(o);
    const int status = position < 0 ? exit_negative : exit_done;
    if (o.as_json) {
        print_json({{"command", o.command},
                    {"name", position < 0 ? json(nullptr) : json(names[position])},
                    {"value", value ? json(value) : json(nullptr)},
                    {"exit_status", status}});
    } else if (position >= 0) {
        if (names.size() > 1) print(std::string(names[position]) + ' ');
        print(value ? value : "");
        end_line();
    }
    return status;
}

} // namespace

void add_profile(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command profile = parent.add_group("profile", "Look up a user's defaults");
    const command get_command = profile.add("get", "Show the first default of a command that has one of the names");
    get_command.positional("command", o->command, "COMMAND", "Command").required();
    get_command.positional("names", o->names, "NAME", "What is set").required();
    get_command.flag("--json", o->as_json, "Answer in JSON");
    get_command.footer("The file is TESSIVANE_PROFILE, else .tessivane_profile in the home directory.\n"
                       "Exit status: 0 found, 1 not found or no profile, 2 bad input or profile.");
    get_command.runs([o] { return get(*o); }, chosen);
}

} // namespace tool
