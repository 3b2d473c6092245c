/*
 * decide - a plain C11 program on liborsiktbs: decides two requests by an ACL file.
 *
 *   decide FILE PRODUCT-DIRECTORY
 *
 * Ends with 0 when BRACKWATER\dov may check in and may not remove versions, and the library says that it lies in that product.
 */
#include <stdio.h>
#include <string.h>
#include <tbs/tbs.h>

static const tbs_acl_perm_name_t names[] = {
    {"ReadData", 0x00000001},      {"Checkout", 0x00000002},  {"Checkin", 0x00000004},
    {"CreateElement", 0x00000008}, {"Branch", 0x00000010},    {"Label", 0x00000020},
    {"Attribute", 0x00000040},     {"Hyperlink", 0x00000080}, {"Rename", 0x00000100},
    {"RunTrigger", 0x00000200},    {"MakeType", 0x00000400},  {"Lock", 0x00000800},
    {"RemoveVersion", 0x00001000}, {"Replicate", 0x00002000}, {"Obsolete", 0x00004000},
    {"Audit", 0x00008000},         {"Edit", 0x00000007},      {"Describe", 0x000000e0},
};
static const tbs_acl_generic_map_t map = {0x00020001, 0x000201ff, 0x00000201, 0x0007ffff};

static tbs_boolean_t is_granted(tbs_sid_acl_h_t acl, const credutl_client_t *client,
                                tbs_acl_permission_set_t wanted) {
    tbs_boolean_t granted = 0;
    tbs_status_t status = tbs_sid_acl_check_permission(acl, wanted, client, NULL, NULL, &granted);
    return status == 0 && granted;
}

static int lies_in(const char *directory) {
    char found[TBS_PATH_SIZE];
    if (strcmp(tbs_product_dir(found, NULL), directory) == 0) return 1;
    fprintf(stderr, "decide: the product is \"%s\", not \"%s\"\n", found, directory);
    return 0;
}

int main(int argc, char **argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: decide FILE PRODUCT-DIRECTORY\n");
        return 2;
    }
    tbs_sid_acl_h_t acl = NULL;
    credutl_client_t *client = NULL;
    tbs_status_t status = tbs_sid_acl_utl_parse(argv[1], names, sizeof names / sizeof *names, &map, &acl);
    if (status != 0) fprintf(stderr, "decide: %s\n", tbs_strerror(status));
    int error = credutl_client_from_account("BRACKWATER\\dov", &client);
    if (error != 0) fprintf(stderr, "decide: %s\n", tbs_strerror(tbs_errno2status(error)));

    int right = status == 0 && error == 0 && is_granted(acl, client, 0x4) && !is_granted(acl, client, 0x1000) &&
                lies_in(argv[2]);
    credutl_client_free(&client);
    tbs_sid_acl_free(&acl);
    printf("%s: %s\n", tbs_product_version(), right ? "as expected" : "wrong");
    return right ? 0 : 1;
}
