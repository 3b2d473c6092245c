"""What the binding uses of the public C headers, word for word; a test compares it with them."""

CDEF = """
/* The system's: time_t on every system that the library runs on. */
typedef int64_t time_t;

/* ks_cred.h */
typedef struct credutl_sid {
    uint8_t type;
    uint8_t length;
    uint8_t value[32];
} credutl_sid_t;

int credutl_sid_to_str(const credutl_sid_t *sid, char *buffer, size_t size);
int credutl_str_to_sid(const char *text, credutl_sid_t *sid_out);

typedef enum credutl_account_kind { CREDUTL_USER = 1, CREDUTL_GROUP = 2 } credutl_account_kind_t;

typedef struct credutl_account {
    credutl_account_kind_t kind;
    credutl_sid_t sid;
    uint32_t id;
    char name[514];
    const char *source;
} credutl_account_t;

int credutl_account_by_name(credutl_account_kind_t kind, const char *name, credutl_account_t *account_out);
int credutl_account_by_sid(credutl_account_kind_t kind, const credutl_sid_t *sid, credutl_account_t *account_out);
void credutl_flush_accounts(void);

typedef struct credutl_string_credentials {
    char *user;
    char *group;
    uint32_t group_count;
    char **groups;
} credutl_string_credentials_t;

typedef struct credutl_sid_credentials {
    credutl_sid_t user;
    credutl_sid_t group;
    uint32_t group_count;
    credutl_sid_t *groups;
} credutl_sid_credentials_t;

void credutl_free_sid_credentials(credutl_sid_credentials_t **credentials);
int credutl_string_credentials_to_sid_credentials(const credutl_string_credentials_t *strings,
                                                  credutl_sid_credentials_t **sids_out);

typedef struct credutl_client credutl_client_t;
typedef enum credutl_credentials_form { CREDUTL_FORM_STRING = 1, CREDUTL_FORM_SID = 2 } credutl_credentials_form_t;

typedef struct credutl_cracked {
    credutl_credentials_form_t form;
    credutl_string_credentials_t *strings;
    credutl_sid_credentials_t *sids;
} credutl_cracked_t;

int credutl_client_from_process(credutl_client_t **client_out);
int credutl_client_from_sids(const char *domain, const credutl_sid_credentials_t *sids, credutl_client_t **client_out);
int credutl_client_from_account(const char *name, credutl_client_t **client_out);
void credutl_client_free(credutl_client_t **client);
int credutl_crack_client(const credutl_client_t *client, char *domain, size_t domain_size,
                         credutl_cracked_t *cracked_out);
void credutl_free_cracked(credutl_cracked_t *cracked);

/* ks_xdr.h */
typedef struct ks_timeval {
    int32_t tv_sec;
    int32_t tv_usec;
} ks_timeval_t;

/* ks_imsg.h */
typedef struct imsg_table {
    const char *catalogue;
    const char *module;
    uint16_t module_number;
    uint16_t count;
    const char *const *texts;
    const uint16_t *numbers;
} imsg_table_t;

const char *imsg_text(const imsg_table_t *table, uint32_t index);
int imsg_get_desired_verbosity(void);
void imsg_set_desired_verbosity(int verbosity);
int imsg_set_trace(const char *list);

typedef void (*imsg_sink_t)(void *context, int severity, const char *module, const imsg_table_t *table,
                            uint32_t index, const char *text);

void imsg_set_sink(imsg_sink_t sink, void *context);

typedef struct imsg_list imsg_list_t;

imsg_list_t *imsg_list_create(void);
size_t imsg_list_count(const imsg_list_t *list);
const char *imsg_list_text(const imsg_list_t *list, size_t position);
void imsg_list_free(imsg_list_t **list);

/* ks_stg.h */
void stg_free(void *memory);

/* ks_str.h */
typedef struct strutl_flag {
    const char *name;
    uint32_t value;
} strutl_flag_t;

int strutl_stricoll(const char *a, const char *b);
int strutl_is_ok_name(const char *name, const char *not_first, const char *allowed);

/* ks_file.h */
typedef struct fileutl_status fileutl_status_t;

/* tbs_types.h */
typedef int32_t tbs_boolean_t;

/* tbs_status.h */
typedef int32_t tbs_status_t;

int tbs_status2errno(tbs_status_t status);
tbs_status_t tbs_errno2status(int err);
const char *tbs_strerror(tbs_status_t status);

/* tbs_msg.h */
const imsg_table_t *tbs_tbs_msg_table_adr(void);
const imsg_table_t *tbs_acl_tbs_msg_table_adr(void);
const imsg_table_t *tbs_cmsg_tbs_msg_table_adr(void);
const imsg_table_t *tbs_notify_tbs_msg_table_adr(void);

/* tbs_uuid.h */
typedef struct tbs_uuid {
    uint32_t time_low;
    uint16_t time_mid;
    uint16_t time_hi_and_version;
    uint8_t clock_seq_hi_and_reserved;
    uint8_t clock_seq_low;
    uint8_t node[6];
} tbs_uuid_t;

typedef tbs_uuid_t tbs_oid_t;

tbs_status_t tbs_uuid_gen(tbs_uuid_t *uuid_out);
char *tbs_uuid_to_str(const tbs_uuid_t *uuid, char *text);
char *tbs_uuid_to_dstr(const tbs_uuid_t *uuid, char *text);
tbs_status_t tbs_str_to_uuid(const char *text, tbs_uuid_t *uuid_out);
int tbs_uuid_cmp(const tbs_uuid_t *a, const tbs_uuid_t *b);
uint32_t tbs_uuid_to_hash32(const tbs_uuid_t *uuid);
tbs_status_t tbs_uuid_to_time(const tbs_uuid_t *uuid, time_t *time_out);

/* tbs_acl.h */
typedef uint32_t tbs_acl_id_kind_t;
typedef uint32_t tbs_acl_permission_set_t;

typedef struct tbs_acl_generic_map {
    tbs_acl_permission_set_t read;
    tbs_acl_permission_set_t write;
    tbs_acl_permission_set_t execute;
    tbs_acl_permission_set_t all;
} tbs_acl_generic_map_t;

typedef strutl_flag_t tbs_acl_perm_name_t;

typedef struct tbs_acl_id {
    tbs_acl_id_kind_t kind;
    char *domain;
    char *name;
} tbs_acl_id_t;

typedef struct tbs_acl_ent {
    tbs_acl_id_t id;
    tbs_acl_permission_set_t perms;
} tbs_acl_ent_t;

typedef struct tbs_sid_acl_id {
    tbs_acl_id_kind_t kind;
    char *domain;
    char *name;
    credutl_sid_t sid;
} tbs_sid_acl_id_t;

typedef struct tbs_acl_cooked_ent {
    tbs_sid_acl_id_t id;
    tbs_acl_permission_set_t perms;
} tbs_acl_cooked_ent_t;

typedef struct tbs_acl_cooked_info {
    uint32_t count;
    tbs_acl_cooked_ent_t *entries;
} tbs_acl_cooked_info_t;

typedef struct tbs_acl {
    uint64_t count;
    tbs_acl_ent_t *entries;
    tbs_acl_cooked_info_t *cooked;
} *tbs_acl_h_t;

typedef struct tbs_sid_acl {
    uint64_t id_count;
    tbs_acl_id_t *ids;
    tbs_acl_cooked_info_t *entries;
} *tbs_sid_acl_h_t;

tbs_status_t tbs_acl_create(tbs_acl_h_t *acl_out);
tbs_status_t tbs_sid_acl_create(tbs_sid_acl_h_t *acl_out);
tbs_status_t tbs_acl_copy(tbs_acl_h_t acl, tbs_acl_h_t *acl_out);
tbs_status_t tbs_sid_acl_copy(tbs_sid_acl_h_t acl, tbs_sid_acl_h_t *acl_out);
tbs_acl_ent_t *tbs_acl_find_entry(tbs_acl_h_t acl, const tbs_acl_id_t *id);
tbs_acl_cooked_ent_t *tbs_sid_acl_find_entry(tbs_sid_acl_h_t acl, const tbs_sid_acl_id_t *id);
uint64_t tbs_acl_num_entries(tbs_acl_h_t acl);
uint64_t tbs_sid_acl_num_entries(tbs_sid_acl_h_t acl);
tbs_acl_ent_t *tbs_acl_next_entry(tbs_acl_h_t acl, uint32_t *cursor);
tbs_acl_cooked_ent_t *tbs_sid_acl_next_entry(tbs_sid_acl_h_t acl, uint32_t *cursor);
tbs_status_t tbs_acl_set_entry(tbs_acl_h_t acl, tbs_acl_id_t id, tbs_acl_permission_set_t perms);
tbs_status_t tbs_sid_acl_set_entry(tbs_sid_acl_h_t acl, tbs_sid_acl_id_t id, tbs_acl_permission_set_t perms);
tbs_status_t tbs_acl_remove_entry(tbs_acl_h_t acl, const tbs_acl_id_t *id);
tbs_status_t tbs_sid_acl_remove_entry(tbs_sid_acl_h_t acl, const tbs_sid_acl_id_t *id);
tbs_boolean_t tbs_acl_cmp_acl(const tbs_acl_h_t *a, const tbs_acl_h_t *b);
tbs_boolean_t tbs_sid_acl_cmp_acl(const tbs_sid_acl_h_t *a, const tbs_sid_acl_h_t *b);
void tbs_acl_free(tbs_acl_h_t *acl);
void tbs_sid_acl_free(tbs_sid_acl_h_t *acl);
void tbs_acl_free_id(tbs_acl_id_t *id);
void tbs_sid_acl_free_id(tbs_sid_acl_id_t *id);
tbs_status_t tbs_acl_utl_id_from_str(const char *text, tbs_acl_id_t *id_out);
tbs_status_t tbs_sid_acl_utl_id_from_str(const char *text, tbs_sid_acl_id_t *id_out);
tbs_status_t tbs_acl_utl_id_to_str(const tbs_acl_id_t *id, size_t size, char *buffer);
tbs_status_t tbs_sid_acl_utl_id_to_str(const tbs_sid_acl_id_t *id, size_t size, char *buffer);
const char *tbs_acl_utl_perm_set_to_str(tbs_acl_permission_set_t perms, const tbs_acl_perm_name_t *extra,
                                        size_t extra_count, const tbs_acl_generic_map_t *map);
tbs_status_t tbs_acl_utl_perm_set_from_str(const char *text, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                           const tbs_acl_generic_map_t *map, tbs_acl_permission_set_t *set_out);
tbs_status_t tbs_acl_utl_parse(const char *path, const tbs_acl_perm_name_t *extra, size_t extra_count,
                               const tbs_acl_generic_map_t *map, tbs_acl_h_t *acl_out);
tbs_status_t tbs_sid_acl_utl_parse(const char *path, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                   const tbs_acl_generic_map_t *map, tbs_sid_acl_h_t *acl_out);
tbs_status_t tbs_acl_to_imsg_list(tbs_acl_h_t acl, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                  const tbs_acl_generic_map_t *map, imsg_list_t *list);
tbs_status_t tbs_sid_acl_to_imsg_list(tbs_sid_acl_h_t acl, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                      const tbs_acl_generic_map_t *map, imsg_list_t *list);
tbs_status_t tbs_acl_check_permission(tbs_acl_h_t acl, tbs_acl_permission_set_t requested,
                                      const credutl_client_t *client, tbs_boolean_t is_owner_user,
                                      tbs_boolean_t is_owner_group, tbs_boolean_t *granted_out);
tbs_status_t tbs_sid_acl_check_permission(tbs_sid_acl_h_t acl, tbs_acl_permission_set_t requested,
                                          const credutl_client_t *client, const credutl_sid_t *owner_user,
                                          const credutl_sid_t *owner_group, tbs_boolean_t *granted_out);
tbs_status_t tbs_acl_encode(tbs_acl_h_t acl, uint32_t *length_out, void **buffer_out);
tbs_status_t tbs_sid_acl_encode(tbs_sid_acl_h_t acl, uint32_t *length_out, void **buffer_out);
tbs_status_t tbs_acl_decode(uint32_t length, const void *buffer, tbs_acl_h_t *acl_out);
tbs_status_t tbs_sid_acl_decode(uint32_t length, const void *buffer, tbs_sid_acl_h_t *acl_out);

/* tbs_rolemap.h */
typedef struct tbs_role_binding {
    tbs_sid_acl_id_t role;
    uint64_t id_count;
    tbs_sid_acl_id_t *ids;
} tbs_role_binding_t;

typedef struct tbs_rolemap_acl {
    uint64_t count;
    tbs_role_binding_t *bindings;
} *tbs_rolemap_acl_h_t;

tbs_status_t tbs_rolemap_acl_create(tbs_rolemap_acl_h_t *map_out);
tbs_status_t tbs_rolemap_acl_copy(tbs_rolemap_acl_h_t map, tbs_rolemap_acl_h_t *map_out);
void tbs_rolemap_acl_free(tbs_rolemap_acl_h_t *map_variable);
uint64_t tbs_rolemap_acl_num_role_bindings(tbs_rolemap_acl_h_t map);
tbs_role_binding_t *tbs_rolemap_acl_next_role_binding(tbs_rolemap_acl_h_t map, uint32_t *cursor);
tbs_status_t tbs_rolemap_acl_add_role_binding(tbs_rolemap_acl_h_t map, const tbs_sid_acl_id_t *role,
                                              const tbs_sid_acl_id_t *id);
tbs_status_t tbs_rolemap_acl_remove_role_binding(tbs_rolemap_acl_h_t map, const tbs_sid_acl_id_t *role,
                                                 const tbs_sid_acl_id_t *id);
tbs_boolean_t tbs_rolemap_acl_cmp(const tbs_rolemap_acl_h_t *a, const tbs_rolemap_acl_h_t *b);
tbs_boolean_t tbs_acl_id_in_role(tbs_rolemap_acl_h_t map, const tbs_sid_acl_id_t *role, const tbs_sid_acl_id_t *id);
tbs_status_t tbs_rolemap_acl_utl_parse(const char *path, tbs_rolemap_acl_h_t *map_out);
tbs_status_t tbs_rolemap_acl_generate_effective_acl(tbs_sid_acl_h_t policy, tbs_rolemap_acl_h_t map,
                                                    tbs_sid_acl_h_t *acl_out);

/* tbs_cr.h */
typedef uint32_t tbs_cr_flags_t;
typedef uint32_t tbs_cr_obj_flags_t;
typedef uint8_t tbs_cr_ftype_t;
typedef uint8_t tbs_cr_mtype_t;

typedef struct tbs_cr_vob_desc {
    char *pathname;
    tbs_oid_t family_oid;
    tbs_oid_t replica_oid;
} tbs_cr_vob_desc_t;

typedef struct tbs_cr_mfs_predef {
    char *pathname;
    char *version;
    uint32_t flags;
} tbs_cr_mfs_predef_t;

typedef struct tbs_cr_slinktext_rec {
    char *text;
    uint32_t object;
} tbs_cr_slinktext_rec_t;

typedef struct tbs_cr_fs_predef {
    char *pathname;
    char *checksum;
    tbs_cr_obj_flags_t result_obj_flags;
    tbs_cr_ftype_t ftype;
    uint8_t host_kind;
    int64_t size;
    uint32_t mode;
    int64_t mtime;
    int64_t ctime;
} tbs_cr_fs_predef_t;

typedef struct tbs_cr_mfs_obj_desc {
    tbs_oid_t oid;
    int64_t mtime;
    tbs_oid_t element_oid;
    uint16_t vob;
    tbs_cr_obj_flags_t result_obj_flags;
    tbs_cr_ftype_t ftype;
    tbs_cr_mtype_t mtype;
    uint16_t parent;
    tbs_oid_t branch_oid;
    char *name;
} tbs_cr_mfs_obj_desc_t;

typedef struct tbs_cr {
    int32_t format_version;
    int64_t build_time;
    uint32_t elapsed;
    uint32_t exit_status;
    char *user;
    char *group;
    char *host;
    char *host_type;
    char *directory;
    tbs_oid_t target_oid;
    tbs_uuid_t view_uuid;
    char *target;
    ks_timeval_t began;
    char *command;
    tbs_cr_flags_t flags;
    uint32_t variable_count;
    char **variables;
    uint32_t mfs_predef_count;
    tbs_cr_mfs_predef_t **mfs_predefs;
    uint32_t fs_predef_count;
    tbs_cr_fs_predef_t **fs_predefs;
    uint32_t option_count;
    char **options;
    uint32_t vob_count;
    tbs_cr_vob_desc_t **vobs;
    uint32_t mfs_object_count;
    tbs_cr_mfs_obj_desc_t **mfs_objects;
    uint32_t slinktext_count;
    tbs_cr_slinktext_rec_t **slinktexts;
} tbs_cr_t;

typedef struct tbs_cr_compressed {
    int32_t format_version;
    uint64_t length;
    uint8_t *data;
} tbs_cr_compressed_t;

tbs_status_t tbs_cr_to_compressed(tbs_cr_t *cr, tbs_cr_compressed_t **compressed_out);
tbs_status_t tbs_cr_compressed_to_cr(const tbs_cr_compressed_t *compressed, tbs_cr_t *cr_out);
void tbs_cr_free_cr_xdr(tbs_cr_t *cr);
void tbs_cr_free_compressed_stg(tbs_cr_compressed_t *compressed);

/* tbs_ft.h */
int tbs_file_type_opt(const char *path, int fd, const fileutl_status_t *status, uint32_t options,
                      const char *const **names_out);
const char *tbs_file_type_path(void);
"""
