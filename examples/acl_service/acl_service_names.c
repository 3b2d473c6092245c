/*
 * acl_service_names.c - the permissions of the service's objects. Server and client read ACL files by them.
 */
#include "acl_service.h"

const tbs_acl_perm_name_t acl_service_names[ACL_SERVICE_NAME_COUNT] = {
    {"ReadData", 0x00000001},
    {"WriteData", 0x00000002},
    {"Run", 0x00000004},
    {"Label", 0x00000008},
};

/* Read, Change, Execute, Full. */
const tbs_acl_generic_map_t acl_service_map = {0x00020001, 0x0002000b, 0x00000004, 0x0007000f};
