// tbs acl show: the entries of an ACL file as the library understands them.
#include "acl_list.hpp"

#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    acl_options acl;
    std::string file;
};

int show(const options &o) {
    const vocabulary words(o.acl.permissions);
    const acl_list acl(o.file, o.acl, words);
    if (o.acl.as_json) {
        json entries = json::array();
        for (const acl_entry &entry : acl.entries()) {
            entries.push_back({{"kind", tbs_acl_utl_id_kind_to_str(entry.kind)},
                               {"identity", entry.identity},
                               {"permissions", words.as_json(entry.perms)}});
        }
        print_json({{"file", acl.path()},
                    {"form", acl.form()},
                    {"entries", std::move(entries)},
                    {"exit_status", exit_done}});
        return exit_done;
    }
    if (acl.entries().empty()) {
        print("# <empty acl>");
        end_line();
    }
    for (const acl_entry &entry : acl.entries()) {
        print_padded(entry.identity, 40);
        print(words.text(entry.perms));
        end_line();
    }
    return exit_done;
}

} // namespace

void add_acl_show(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command show_command = parent.add("show", "Show the entries of an ACL file");
    show_command.positional("file", o->file, "FILE", "ACL file; - for standard input").required();
    o->acl.add_to(show_command);
    o->acl.add_encoded_to(show_command);
    show_command.runs([o] { return show(*o); }, chosen);
}

} // namespace tool
