/*
 * check_access - decides a request by an ACL file.
 *
 *   check_access FILE DOMAIN\user Permission,Permission...
 *
 * Ends with 0 when the request is granted, 1 when it is denied, 2 when there is no decision. What is wrong with the
 * file or the names is printed by the library itself.
 */
#include <stdio.h>
#include <tbs/tbs.h>

/* The permissions of this program's objects, and what the four generic names stand for. */
static const tbs_acl_perm_name_t names[] = {
    {"ReadData", 0x00000001},      {"Checkout", 0x00000002},  {"Checkin", 0x00000004},
    {"CreateElement", 0x00000008}, {"Branch", 0x00000010},    {"Label", 0x00000020},
    {"Attribute", 0x00000040},     {"Hyperlink", 0x00000080}, {"Rename", 0x00000100},
    {"RunTrigger", 0x00000200},    {"MakeType", 0x00000400},  {"Lock", 0x00000800},
    {"RemoveVersion", 0x00001000}, {"Replicate", 0x00002000}, {"Obsolete", 0x00004000},
    {"Audit", 0x00008000},         {"Edit", 0x00000007},      {"Describe", 0x000000e0},
};
static const size_t name_count = sizeof names / sizeof *names;
static const tbs_acl_generic_map_t map = {0x00020001, 0x000201ff, 0x00000201, 0x0007ffff};

static int report(const char *what, tbs_status_t status) {
    fprintf(stderr, "check_access: %s: %s\n", what, tbs_strerror(status));
    return 2;
}

/* Decides; the result is 0, 1 or 2 as above. */
static int decide(tbs_sid_acl_h_t acl, const char *user, tbs_acl_permission_set_t wanted) {
    credutl_client_t *client = NULL;
    int error = credutl_client_from_account(user, &client);
    if (error != 0) return report("the account is not known", tbs_errno2status(error));

    tbs_boolean_t granted = 0;
    tbs_status_t status = tbs_sid_acl_check_permission(acl, wanted, client, NULL, NULL, &granted);
    credutl_client_free(&client);
    if (status != 0) return report("no decision", status);

    printf("%s: %s\n", user, granted ? "granted" : "denied");
    return granted ? 0 : 1;
}

int main(int argc, char **argv) {
    if (argc != 4) {
        fprintf(stderr, "usage: check_access FILE DOMAIN\\user Permission,Permission...\n");
        return 2;
    }
    tbs_acl_permission_set_t wanted = 0;
    tbs_status_t status = tbs_acl_utl_perm_set_from_str(argv[3], names, name_count, &map, &wanted);
    if (status != 0 || wanted == 0) return 2;

    tbs_sid_acl_h_t acl = NULL;
    status = tbs_sid_acl_utl_parse(argv[1], names, name_count, &map, &acl);
    if (status != 0) return report("the ACL was not read", status);

    int result = decide(acl, argv[2], wanted);
    tbs_sid_acl_free(&acl);
    return result;
}
