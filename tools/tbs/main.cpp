// The inspection tool of liborsiktbs: decides requests by ACL files and shows statuses and messages.
#include "output.hpp"

#include <algorithm>
#include <new>
#include <optional>

namespace tool {
namespace {

constexpr char version[] = "tbs 11.0.0.1";

bool wants_json(int argc, char **argv) {
    return std::any_of(argv + 1, argv + argc, [](const char *word) { return std::string_view(word) == "--json"; });
}

CLI::App &add_acl(CLI::App &app) {
    CLI::App &acl = *app.add_subcommand("acl", "Show, check, compare, encode and apply ACL files");
    acl.require_subcommand(1);
    return acl;
}

CLI::App &add_rolemap(CLI::App &app) {
    CLI::App &rolemap = *app.add_subcommand("rolemap", "Show, check and change role map files");
    rolemap.require_subcommand(1);
    return rolemap;
}

// Runs what the command line says; the message of a failure goes where answers go.
class program {
public:
    program() : app_("Inspect access control lists, statuses and messages.", "tbs") {
        app_.set_version_flag("--version", version, "Show the version and end");
        app_.require_subcommand(1);
        app_.get_formatter()->column_width(28);
        CLI::App &acl = add_acl(app_);
        add_acl_show(acl, chosen_);
        add_acl_check(acl, chosen_);
        add_acl_diff(acl, chosen_);
        add_acl_encode(acl, chosen_);
        add_acl_decode(acl, chosen_);
        add_acl_effective(acl, chosen_);
        add_acl_matrix(acl, chosen_);
        add_acl_apply(acl, chosen_);
        CLI::App &rolemap = add_rolemap(app_);
        add_rolemap_show(rolemap, chosen_);
        add_rolemap_graph(rolemap, chosen_);
        add_rolemap_check(rolemap, chosen_);
        add_rolemap_edits(rolemap, chosen_);
        add_uuid(app_, chosen_);
        add_product(app_, chosen_);
        add_profile(app_, chosen_);
        add_mgr(app_, chosen_);
        add_registry(app_, chosen_);
        add_help_topic(app_, chosen_);
        add_whoami(app_, chosen_);
        add_status(app_, chosen_);
        add_msg(app_, chosen_);
        app_.footer("Exit status: 0 granted or done, 1 denied or not found, 2 usage or bad input.\n"
                    "\"tbs COMMAND --help\" describes a command.");
    }

    int run(int argc, char **argv) {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::Success &asked) { // help or version
            return app_.exit(asked);
        } catch (const CLI::ParseError &error) {
            std::string text = error.what();
            std::replace(text.begin(), text.end(), '\n', ' ');
            while (text.ends_with('.') || text.ends_with(' ')) text.pop_back();
            throw failure(text, "Run \"tbs --help\", or --help behind the command.");
        }
        return chosen_();
    }

private:
    CLI::App app_;
    action chosen_;
};

// Reports what ends a run without an answer.
template <class Report> int guarded(int argc, char **argv, Report &&report) {
    try {
        return program().run(argc, argv);
    } catch (const failure &error) {
        report(error);
    } catch (const std::bad_alloc &) {
        report(failure("out of memory", "Give the tool more memory, or a smaller file."));
    } catch (const std::exception &error) {
        report(failure(std::string("internal error: ") + error.what(), "Report the command line and its files."));
    }
    return exit_bad_input;
}

int run(int argc, char **argv) {
    if (!wants_json(argc, argv)) return guarded(argc, argv, report_text);
    const message_collector collected;
    return guarded(argc, argv, [&](const failure &error) { report_json(error, collected.messages()); });
}

} // namespace
} // namespace tool

int main(int argc, char **argv) try { return tool::run(argc, argv); } catch (...) {
    return tool::exit_bad_input; // not even the report could be made
}
