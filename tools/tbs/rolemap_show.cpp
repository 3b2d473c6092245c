// tbs rolemap show: who holds which role.
#include "acl_list.hpp"
#include "role_map.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    std::string file;
    bool as_json = false;
};

// Hands each role and each of its identities to a consumer, in the order of the map.
template <class Consumer> void each_binding(tbs_rolemap_acl_h_t map, Consumer &&consume) {
    uint32_t cursor = 0;
    while (const tbs_role_binding_t *binding = tbs_rolemap_acl_next_role_binding(map, &cursor)) consume(*binding);
}

void print_as_json(const options &o, tbs_rolemap_acl_h_t map) {
    json roles = json::array();
    each_binding(map, [&](const tbs_role_binding_t &binding) {
        json identities = json::array();
        for (uint64_t i = 0; i < tbs_rolemap_acl_num_role_binding_ids(&binding); i++) {
            identities.push_back({{"kind", tbs_acl_utl_id_kind_to_str(binding.ids[i].kind)},
                                  {"identity", identity_text(binding.ids[i])}});
        }
        roles.push_back({{"role", identity_text(binding.role)}, {"identities", std::move(identities)}});
    });
    print_json({{"file", o.file}, {"roles", std::move(roles)}, {"exit_status", exit_done}});
}

// In the form that is read, the arrows below each other.
void print_text(tbs_rolemap_acl_h_t map) {
    size_t width = 0;
    each_binding(map, [&](const auto &binding) { width = std::max(width, width_of(identity_text(binding.role))); });
    width = std::min<size_t>(width, 40) + 1;
    each_binding(map, [&](const tbs_role_binding_t &binding) {
        for (uint64_t i = 0; i < tbs_rolemap_acl_num_role_binding_ids(&binding); i++) {
            print_padded(identity_text(binding.role), width);
            print("--> " + identity_text(binding.ids[i]));
            end_line();
        }
    });
    if (tbs_rolemap_acl_num_role_bindings(map) == 0) {
        print("# <empty rolemap>");
        end_line();
    }
}

int show(const options &o) {
    const owned_role_map map = read_role_map(o.file);
    o.as_json ? print_as_json(o, map.get()) : print_text(map.get());
    return exit_done;
}

} // namespace

void add_rolemap_show(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command show_command = parent.add("show", "Show who holds which role");
    show_command.positional("file", o->file, "FILE", "Role map file").required();
    show_command.flag("--json", o->as_json, "Answer in JSON");
    show_command.runs([o] { return show(*o); }, chosen);
}

} // namespace tool
