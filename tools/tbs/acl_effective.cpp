// tbs acl effective: the ACL that a policy and a role map make together.
#include "effective.hpp"
#include "output_file.hpp"

#include <nlohmann/json.hpp>

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

void add_acl_effective(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command effective_command = parent.add("effective", "Put those who hold a policy's roles in their place");
    effective_command.positional("policy", o->policy, "POLICY", "ACL file that names roles").required();
    effective_command.positional("rolemap", o->role_map, "ROLEMAP", "Role map file").required();
    effective_command.option("-o,--out,--output", o->output, "FILE", "Write the ACL into a file, in one step");
    effective_command.option("--permissions", o->permissions, "FILE", "Permission names and generic map");
    effective_command.flag("--json", o->as_json, "Answer in JSON");
    effective_command.runs([o] { return effective(*o); }, chosen);
}

} // namespace tool
