// tbs acl effective: the ACL that a policy and a role map make together.
#include "effective.hpp"
#include "output_file.hpp"

namespace tool {
namespace {

struct options {
    std::string policy, role_map;
    std::optional<std::string> permissions, output;
    bool as_json = false;
};

void print_as_json(const options &o, const std::vector<acl_entry> &entries, const vocabulary &words) {
    json list = json::array();
    for (const acl_entry &entry : entries) {
        list.push_back({{"kind", tbs_acl_utl_id_kind_to_str(entry.kind)},
                        {"identity", entry.identity},
                        {"permissions", words.as_json(entry.perms)}});
    }
    print_json({{"policy", o.policy},
                {"role_map", o.role_map},
                {"output", o.output ? json(*o.output) : json(nullptr)},
                {"form", "sid"},
                {"entries", std::move(list)},
                {"exit_status", exit_done}});
}

void print_text(const std::vector<acl_entry> &entries, const vocabulary &words) {
    for (const acl_entry &entry : entries) {
        print_padded(entry.identity, 40);
        print(words.text(entry.perms));
        end_line();
    }
    if (entries.empty()) {
        print("# <empty acl>");
        end_line();
    }
}

int effective(const options &o) {
    const vocabulary words(o.permissions);
    const owned_sid_acl acl = effective_acl(o.policy, o.role_map, words);
    if (o.output) replace_file(*o.output, acl_text(acl.get(), words));
    if (o.as_json) {
        print_as_json(o, entries_of(acl.get()), words);
    } else if (!o.output) {
        print_text(entries_of(acl.get()), words);
    }
    return exit_done;
}

} // namespace

void add_acl_effective(CLI::App &parent, action &chosen) {
    const auto o = std::make_shared<options>();
    CLI::App &command = *parent.add_subcommand("effective", "Put those who hold a policy's roles in their place");
    command.add_option("policy", o->policy, "ACL file that names roles")->required()->type_name("POLICY");
    command.add_option("rolemap", o->role_map, "Role map file")->required()->type_name("ROLEMAP");
    command.add_option("-o,--output", o->output, "Write the ACL into a file, in one step")->type_name("FILE");
    command.add_option("--permissions", o->permissions, "Permission names and generic map")->type_name("FILE");
    command.add_flag("--json", o->as_json, "Answer in JSON");
    command.callback([o, &chosen] { chosen = [o] { return effective(*o); }; });
}

} // namespace tool
