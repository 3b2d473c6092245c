// The inspection tool of liborsiktbs: decides requests by ACL files, names the types of files, and shows what the
// library's records and messages mean.
#include "output.hpp"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
#include <string_view>

namespace tool {
namespace {

constexpr char version[] = "tbs 11.0.0.1";

// What stands behind "--" is meant for another program.
bool wants_json(int argc, char **argv) {
    char **const end = std::find(argv + 1, argv + argc, std::string_view("--"));
    return std::find(argv + 1, end, std::string_view("--json")) != end;
}

// Runs what the command line says; the message of a failure goes where answers go.
class program {
public:
    program() : line_("tbs", "Inspect access control lists, types of files, statuses and messages.", version) {
        const command top = line_.top();
        const command acl = top.add_group("acl", "Show, check, compare, encode and apply ACL files");
        add_acl_show(acl, chosen_);
        add_acl_check(acl, chosen_);
        add_acl_diff(acl, chosen_);
        add_acl_encode(acl, chosen_);
        add_acl_decode(acl, chosen_);
        add_acl_effective(acl, chosen_);
        add_acl_matrix(acl, chosen_);
        add_acl_apply(acl, chosen_);
        const command rolemap = top.add_group("rolemap", "Show, check and change role map files");
        add_rolemap_show(rolemap, chosen_);
        add_rolemap_graph(rolemap, chosen_);
        add_rolemap_check(rolemap, chosen_);
        add_rolemap_edits(rolemap, chosen_);
        const command cr = top.add_group("cr", "Record builds; show, compare, draw and convert the records");
        add_cr_capture(cr, chosen_);
        add_cr_show(cr, chosen_);
        add_cr_diff(cr, chosen_);
        add_cr_graph(cr, chosen_);
        add_cr_convert(cr, chosen_);
        const command xdr = top.add_group("xdr", "Show, make and describe records as they cross the wire");
        add_xdr_types(xdr, chosen_);
        add_xdr_show(xdr, chosen_);
        add_xdr_make(xdr, chosen_);
        add_xdr_sample(xdr, chosen_);
        add_xdr_describe(xdr, chosen_);
        add_uuid(top, chosen_);
        add_fstat(top, chosen_);
        add_name(top, chosen_);
        add_viewroot(top, chosen_);
        add_product(top, chosen_);
        add_profile(top, chosen_);
        add_mgr(top, chosen_);
        add_registry(top, chosen_);
        add_type(top, chosen_);
        const command magic = top.add_group("magic", "Check and show the rules of file types");
        add_magic_check(magic, chosen_);
        add_magic_dump(magic, chosen_);
        add_notify(top, chosen_);
        add_help_topic(top, chosen_);
        add_whoami(top, chosen_);
        add_status(top, chosen_);
        add_msg(top, chosen_);
        add_completion(top, chosen_);
        add_man(top, chosen_);
        top.footer("Exit status: 0 granted or done, 1 denied or not found, 2 usage or bad input.\n"
                   "\"tbs COMMAND --help\" describes a command.");
    }

    int run(int argc, char **argv) {
        if (const std::optional<int> shown = line_.parse(argc, argv)) return *shown;
        return chosen_();
    }

private:
    command_line line_;
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
    if (!terminal_has_escapes()) setenv("NO_COLOR", "1", 1); // which the messages of the libraries heed too
    if (!wants_json(argc, argv)) return guarded(argc, argv, report_text);
    const message_collector collected;
    return guarded(argc, argv, [&](const failure &error) { report_json(error, collected.messages()); });
}

} // namespace
} // namespace tool

int main(int argc, char **argv) try { return tool::run(argc, argv); } catch (...) {
    return tool::exit_bad_input; // not even the report could be made
}
