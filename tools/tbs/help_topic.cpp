// tbs help-topic: opens the product's graphical help.
#include "tbs/tbs_help.h"

#include "lib/tbs/internal/help_command.hpp"
#include "output.hpp"

#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    std::string topic;
    bool script = false;
    bool dry_run = false;
    bool as_json = false;
};

std::string command_of(const options &o, int mode) {
    char command[tbs::help::command_size];
    if (tbs::help::build_command(o.topic.c_str(), tbs::help::viewers[mode], command) != tbs::help::building::done) {
        throw failure("the command would be longer than 1024 characters", "Shorten the topic.");
    }
    return command;
}

int open(const options &o) {
    const int mode = o.script ? TBS_HELP_TOPIC_SCRIPT : TBS_HELP_VIEWER;
    const std::string command = command_of(o, mode);
    if (!o.dry_run && tbs_show_graphical_help_util(o.topic.c_str(), mode) != 0) {
        throw failure("the viewer was not started: " + command,
                      "Install the product's help, or name the product with ORSIK_PRODUCT_DIR.");
    }
    if (o.as_json) {
        print_json({{"topic", o.topic},
                    {"document", tbs::help::document_of(o.topic.c_str())},
                    {"command", command},
                    {"started", !o.dry_run},
                    {"exit_status", exit_done}});
    } else if (o.dry_run) {
        print(command);
        end_line();
    }
    return exit_done;
}

} // namespace

void add_help_topic(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command help_topic_command = parent.add("help-topic", "Open the graphical help at a topic");
    help_topic_command.positional("topic", o->topic, "TOPIC", "Keyword, or path of a document").required();
    help_topic_command.flag("--script", o->script, "Start the topic script instead of the viewer");
    help_topic_command.flag("--dry-run", o->dry_run, "Show the command, start nothing");
    help_topic_command.flag("--json", o->as_json, "Answer in JSON");
    help_topic_command.footer(
        "Keywords: CONTENTS, TUTORIAL, ABOUT_VOBS, ABOUT_VIEWS, ABOUT_PROJECTS, ABOUT_BASECC, ABOUT_UCM.");
    help_topic_command.runs([o] { return open(*o); }, chosen);
}

} // namespace tool
