// Role map files of any content: what is accepted is printed, written, read again, copied, and expanded in a policy.

#include "acl_fuzz_support.hpp"
#include "tbs/tbs_rolemap.h"

using namespace acl_fuzz;

namespace {

std::string output_of(tbs_rolemap_acl_h_t roles) {
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    demand(tbs_rolemap_acl_utl_output(stream, roles) == 0, "a parsed map has a text");
    std::fclose(stream);
    std::string result(text, size);
    std::free(text);
    return result;
}

// Whether all bound roles are well named: others are made visible where they would break the file.
bool is_well_named(tbs_rolemap_acl_h_t roles) {
    uint32_t cursor = 0;
    while (const tbs_role_binding_t *binding = tbs_rolemap_acl_next_role_binding(roles, &cursor)) {
        for (uint64_t i = 0; i < binding->id_count; i++) {
            const tbs_sid_acl_id_t &id = binding->ids[i];
            if (id.kind == TBS_ACL_ID_ROLE && !strutl_is_ok_name(id.name, "-", "_-.")) return false;
        }
    }
    return true;
}

void expand(tbs_rolemap_acl_h_t roles) {
    tbs_sid_acl_h_t policy = nullptr, effective = nullptr;
    demand(tbs_sid_acl_create(&policy) == 0, "a policy");
    uint32_t cursor = 0;
    while (const tbs_role_binding_t *binding = tbs_rolemap_acl_next_role_binding(roles, &cursor)) {
        if (cursor > 1000) break;
        demand(tbs_sid_acl_set_entry(policy, binding->role, cursor) == 0, "roles of a map may stand in a policy");
        for (uint64_t i = 0; i < binding->id_count; i++) {
            tbs_acl_id_in_role(roles, &binding->role, &binding->ids[i]);
            demand(tbs_rolemap_contains_id(roles, &binding->ids[i]) == 1, "a map holds what is bound");
        }
    }
    if (tbs_rolemap_acl_generate_effective_acl(policy, roles, &effective) == 0) tbs_sid_acl_free(&effective);
    tbs_sid_acl_free(&policy);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    prepare();
    const memory_file file;
    file.hold(data, size);
    tbs_rolemap_acl_h_t roles = nullptr, copy = nullptr, back = nullptr;
    const tbs_status_t status = tbs_rolemap_acl_utl_parse(file.path().c_str(), &roles);
    demand((status == 0) == (roles != nullptr), "a map exactly for success");
    if (status != 0) return 0;
    demand(tbs_rolemap_acl_utl_print(roles) == 0, "a map is printed");
    // In another order of adding, a pair may close a circle that did not stand in its way before.
    const bool copied = tbs_rolemap_acl_copy(roles, &copy) == 0;
    demand(copied == (copy != nullptr) && (!copied || tbs_rolemap_acl_cmp(&roles, &copy) == 1), "a copy is the same");
    const std::string text = output_of(roles);
    const memory_file written;
    written.hold(text.data(), text.size());
    if (tbs_rolemap_acl_utl_parse(written.path().c_str(), &back) == 0) {
        demand(!is_well_named(roles) || output_of(back) == text, "what is read again is written the same");
        tbs_rolemap_acl_free(&back);
    }
    expand(roles);
    tbs_rolemap_acl_free(&copy);
    tbs_rolemap_acl_free(&roles);
    return 0;
}
