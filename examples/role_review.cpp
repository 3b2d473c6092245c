// role_review - who has which permissions once roles are resolved.
//
//   role_review POLICY ROLE-MAP
//
// Reads a policy and a role map, makes the effective list and prints it entry by entry. Handles are owned by small
// classes: what a C function made is released on every way out.
#include <cstdio>
#include <memory>
#include <tbs/tbs.h>
#include <type_traits>

namespace {

struct release {
    void operator()(tbs_sid_acl_h_t acl) const { tbs_sid_acl_free(&acl); }
    void operator()(tbs_rolemap_acl_h_t map) const { tbs_rolemap_acl_free(&map); }
};
using acl = std::unique_ptr<std::remove_pointer_t<tbs_sid_acl_h_t>, release>;
using role_map = std::unique_ptr<std::remove_pointer_t<tbs_rolemap_acl_h_t>, release>;

constexpr tbs_acl_perm_name_t names[] = {{"ReadData", 0x1}, {"Checkout", 0x2}, {"Checkin", 0x4}};
constexpr tbs_acl_generic_map_t generic = {0x00020001, 0x000201ff, 0x00000201, 0x0007ffff};

int failed(const char *what, tbs_status_t status) {
    std::fprintf(stderr, "role_review: %s: %s\n", what, tbs_strerror(status));
    return 2;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: role_review POLICY ROLE-MAP\n");
        return 2;
    }
    tbs_sid_acl_h_t policy_handle = nullptr, effective_handle = nullptr;
    tbs_rolemap_acl_h_t map_handle = nullptr;
    tbs_status_t status = tbs_sid_acl_utl_parse(argv[1], names, std::size(names), &generic, &policy_handle);
    const acl policy(policy_handle);
    if (status != 0) return failed(argv[1], status);
    status = tbs_rolemap_acl_utl_parse(argv[2], &map_handle);
    const role_map map(map_handle);
    if (status != 0) return failed(argv[2], status);
    status = tbs_rolemap_acl_generate_effective_acl(policy.get(), map.get(), &effective_handle);
    const acl effective(effective_handle);
    if (status != 0) return failed("no effective list", status);
    status = tbs_sid_acl_utl_output(stdout, effective.get(), names, std::size(names), &generic);
    return status == 0 ? 0 : failed("not printed", status);
}
