/*
 * tbs_acl.h - access control lists: entries, texts, files, the permission check.
 *
 * A classic ACL (tbs_acl_h_t) names its identities by domain and name, a SID ACL (tbs_sid_acl_h_t) by security
 * identifier. Entries stay in the order in which they were set. All storage comes from stg_malloc() and is released
 * by the free function that belongs to it; strings that are the shared empty string are never freed.
 *
 * Threads: functions that only read an ACL may run in several threads at once on one ACL, but for
 * tbs_acl_check_permission(), which may fill the classic ACL's cache. Functions that change an ACL want it alone.
 *
 * The records are public for reading. Handles come from the functions here and from nowhere else: more stands behind
 * them than the records show. Change entries through the functions: they keep a look-up index beside the array of a
 * long list. The permission set of an entry may be changed in place; its identity may not.
 */
#ifndef TBS_ACL_H
#define TBS_ACL_H

#include "../ks/ks_acl.h"
#include "../ks/ks_cred.h"
#include "../ks/ks_imsg.h"
#include "../ks/ks_str.h"
#include "../ks/ks_xdr.h"
#include "tbs_status.h"
#include <stdio.h>

TBS_BEGIN_C

/* ---- records ------------------------------------------------------------------------------------------------- */

/** Kind of an identity. The values appear on the wire. */
typedef uint32_t tbs_acl_id_kind_t;
enum {
    TBS_ACL_ID_NONE = 0,        /**< "<id-kind-none>": never valid in an entry */
    TBS_ACL_ID_USER = 1,        /**< "User": domain and name, or SID */
    TBS_ACL_ID_GROUP = 2,       /**< "Group": domain and name, or SID */
    TBS_ACL_ID_DOMAIN = 3,      /**< "Domain": domain only; never grants in a SID ACL */
    TBS_ACL_ID_EVERYONE = 4,    /**< "Everyone" */
    TBS_ACL_ID_OWNER_USER = 5,  /**< "Owner-User" */
    TBS_ACL_ID_OWNER_GROUP = 6, /**< "Owner-Group" */
    TBS_ACL_ID_ROLE = 7         /**< "Role": role name only; never grants by itself */
};

/** Set of permissions. An entry stores the low 27 bits only. */
typedef uint32_t tbs_acl_permission_set_t;

/* clang-format off */
/** The built-in permission names in the order of search and print: X(symbol, text, value). Overlaps are meant. */
#define TBS_ACL_PERMISSION_LIST(X)                   \
    X(SPECIFIC_OTHER, "SpecificOther", 0x0780FFFFu)  \
    X(DELETE,         "Delete",        0x00010000u)  \
    X(ACL_READ,       "AclRead",       0x00020000u)  \
    X(ACL_WRITE,      "AclWrite",      0x00040000u)  \
    X(STANDARD_OTHER, "StandardOther", 0x007F0000u)  \
    X(RESERVED,       "Reserved",      0x08000000u)  \
    X(FULL,           "Full",          0x10000000u)  \
    X(EXECUTE,        "Execute",       0x20000000u)  \
    X(READ,           "Read",          0x80000000u)  \
    X(CHANGE,         "Change",        0x40000000u)  \
    X(GENERIC_OTHER,  "GenericOther",  0xF0000000u)
/* clang-format on */

#define TBS_ACL_PERM_SPECIFIC_OTHER 0x0780FFFFu /**< "SpecificOther" */
#define TBS_ACL_PERM_DELETE 0x00010000u         /**< "Delete" */
#define TBS_ACL_PERM_ACL_READ 0x00020000u       /**< "AclRead" */
#define TBS_ACL_PERM_ACL_WRITE 0x00040000u      /**< "AclWrite" */
#define TBS_ACL_PERM_STANDARD_OTHER 0x007F0000u /**< "StandardOther" */
#define TBS_ACL_PERM_RESERVED 0x08000000u       /**< "Reserved" */
#define TBS_ACL_PERM_FULL 0x10000000u           /**< "Full" */
#define TBS_ACL_PERM_EXECUTE 0x20000000u        /**< "Execute" */
#define TBS_ACL_PERM_READ 0x80000000u           /**< "Read" */
#define TBS_ACL_PERM_CHANGE 0x40000000u         /**< "Change" */
#define TBS_ACL_PERM_GENERIC_OTHER 0xF0000000u  /**< "GenericOther" */

/** The bits that an entry stores. */
#define TBS_ACL_STORED_PERMS 0x07FFFFFFu

/** What the generic permissions stand for: masks of Read, Change, Execute and Full. */
typedef struct tbs_acl_generic_map {
    tbs_acl_permission_set_t read;
    tbs_acl_permission_set_t write;
    tbs_acl_permission_set_t execute;
    tbs_acl_permission_set_t all;
} tbs_acl_generic_map_t;

/** A permission name of the caller's: name and value. */
typedef strutl_flag_t tbs_acl_perm_name_t;

/** Classic identity. */
typedef struct tbs_acl_id {
    tbs_acl_id_kind_t kind;
    char *domain; /**< owned; NULL when there is none */
    char *name;   /**< owned; NULL when there is none */
} tbs_acl_id_t;

/** Entry of a classic ACL. */
typedef struct tbs_acl_ent {
    tbs_acl_id_t id;
    tbs_acl_permission_set_t perms;
} tbs_acl_ent_t;

/** SID identity. */
typedef struct tbs_sid_acl_id {
    tbs_acl_id_kind_t kind;
    char *domain;      /**< owned or NULL; empty for users and groups */
    char *name;        /**< owned or NULL; the role's name, empty for users and groups */
    credutl_sid_t sid; /**< of users and groups; else, and when a name is unknown, CREDUTL_SID_NOBODY or all zero */
} tbs_sid_acl_id_t;

/** Entry of a SID ACL. */
typedef struct tbs_acl_cooked_ent {
    tbs_sid_acl_id_t id;
    tbs_acl_permission_set_t perms;
} tbs_acl_cooked_ent_t;

/** Stands directly before the first element of every entry array. */
typedef struct tbs_acl_array_header {
    uint32_t capacity;     /**< elements that fit */
    uint32_t element_size; /**< bytes of an element */
    uint64_t ownership;    /**< 1: the array is of the general heap and is freed when it is replaced */
} tbs_acl_array_header_t;

/** List of SID entries. */
typedef struct tbs_acl_cooked_info {
    uint32_t count;
    tbs_acl_cooked_ent_t *entries; /**< behind a #tbs_acl_array_header_t */
} tbs_acl_cooked_info_t;

/** Classic ACL. */
typedef struct tbs_acl {
    uint64_t count;
    tbs_acl_ent_t *entries;        /**< behind a #tbs_acl_array_header_t */
    tbs_acl_cooked_info_t *cooked; /**< the entries with their SIDs, once a check has needed them; else NULL */
} * tbs_acl_h_t;

/** SID ACL. */
typedef struct tbs_sid_acl {
    uint64_t id_count; /**< 0: no function fills the classic identities */
    tbs_acl_id_t *ids;
    tbs_acl_cooked_info_t *entries;
} * tbs_sid_acl_h_t;

/** One user and one group. */
typedef struct tbs_acl_sid_pair {
    credutl_sid_t user;
    credutl_sid_t group;
} tbs_acl_sid_pair_t;

/** Size in bytes of the working buffers: texts of identities and lines of ACL files are cut to one byte less. */
#define TBS_ACL_TEXT_SIZE 1024

/* ---- entries ------------------------------------------------------------------------------------------------- */

/**
 * Makes an empty classic ACL.
 *
 * @param[out] acl_out  the ACL, released with tbs_acl_free(); set to NULL on failure.
 * @retval 0               made
 * @retval TBS_ST_ENOMEM   no memory
 * @retval TBS_ST_EINVAL   @p acl_out is NULL
 */
TBS_API tbs_status_t tbs_acl_create(tbs_acl_h_t *acl_out) TBS_NOEXCEPT;

/** Makes an empty SID ACL, released with tbs_sid_acl_free(); results as tbs_acl_create(). @return the status. */
TBS_API tbs_status_t tbs_sid_acl_create(tbs_sid_acl_h_t *acl_out) TBS_NOEXCEPT;

/**
 * Copies a classic ACL: sets every entry in order, then copies the cached SIDs.
 *
 * @param acl           the source.
 * @param[out] acl_out  the copy, released with tbs_acl_free(); set to NULL on failure.
 * @return  0, TBS_ST_ENOMEM, TBS_ST_EINVAL for a NULL or for an entry that cannot be set (its message is printed),
 *          TBS_ST_ERROR for an entry whose identity is not valid (its message is printed).
 */
TBS_API tbs_status_t tbs_acl_copy(tbs_acl_h_t acl, tbs_acl_h_t *acl_out) TBS_NOEXCEPT;

/**
 * Copies a SID ACL: every entry, whatever its kind, in order.
 *
 * @param acl           the source.
 * @param[out] acl_out  the copy, released with tbs_sid_acl_free(); set to NULL on failure.
 * @return  0, TBS_ST_ENOMEM or TBS_ST_EINVAL.
 */
TBS_API tbs_status_t tbs_sid_acl_copy(tbs_sid_acl_h_t acl, tbs_sid_acl_h_t *acl_out) TBS_NOEXCEPT;

/**
 * Makes a SID ACL of the entries that concern one SID, in order: users with this SID; groups when the credentials
 * hold both the entry's SID and @p sid as groups; Domain, Everyone and Role always; Owner-User when @p sid is the
 * credentials' user; Owner-Group when the credentials hold @p sid as a group. An entry of an unknown kind ends the
 * list.
 *
 * @param acl           the source.
 * @param sid           the SID.
 * @param credentials   the credentials that say which groups belong together.
 * @param[out] acl_out  the new ACL, released with tbs_sid_acl_free(); set to NULL on failure.
 * @return  0, TBS_ST_ENOMEM or TBS_ST_EINVAL.
 */
TBS_API tbs_status_t tbs_sid_acl_filter(tbs_sid_acl_h_t acl, const credutl_sid_t *sid,
                                        const credutl_whole_credentials_t *credentials,
                                        tbs_sid_acl_h_t *acl_out) TBS_NOEXCEPT;

/**
 * Finds an identity's entry. Everyone, Owner-User and Owner-Group match by kind alone; all others by kind, domain and
 * name, compared without case (Unicode default case folding, whatever the locale); NULL matches only NULL, but for a
 * domain's name and a role's domain, where it counts as "". The identity is compared as it is given: it is not
 * normalised as by tbs_acl_set_entry().
 *
 * @param acl  the ACL.
 * @param id   the identity.
 * @return  the first matching entry, inside the ACL, valid until the ACL changes; NULL when there is none.
 */
TBS_API tbs_acl_ent_t *tbs_acl_find_entry(tbs_acl_h_t acl, const tbs_acl_id_t *id) TBS_NOEXCEPT;

/**
 * Finds an identity's entry. Users and groups match by SID, Domain by domain and Role by name (without case);
 * Everyone, Owner-User and Owner-Group by kind alone; unknown kinds never.
 *
 * @param acl  the ACL.
 * @param id   the identity.
 * @return  the first matching entry, inside the ACL, valid until the ACL changes; NULL when there is none.
 */
TBS_API tbs_acl_cooked_ent_t *tbs_sid_acl_find_entry(tbs_sid_acl_h_t acl, const tbs_sid_acl_id_t *id) TBS_NOEXCEPT;

/** Counts the entries. @return their number; 0 for NULL. */
TBS_API uint64_t tbs_acl_num_entries(tbs_acl_h_t acl) TBS_NOEXCEPT;

/** Counts the entries. @return their number; 0 for NULL. */
TBS_API uint64_t tbs_sid_acl_num_entries(tbs_sid_acl_h_t acl) TBS_NOEXCEPT;

/**
 * Walks the entries in order.
 *
 * @param acl     the ACL.
 * @param cursor  position, 0 at the start; advanced by one for each entry given.
 * @return  the entry at the cursor, inside the ACL; NULL behind the last, the cursor unchanged.
 */
TBS_API tbs_acl_ent_t *tbs_acl_next_entry(tbs_acl_h_t acl, uint32_t *cursor) TBS_NOEXCEPT;

/** Walks the entries in order; as tbs_acl_next_entry(). @return the entry, or NULL behind the last. */
TBS_API tbs_acl_cooked_ent_t *tbs_sid_acl_next_entry(tbs_sid_acl_h_t acl, uint32_t *cursor) TBS_NOEXCEPT;

/**
 * Sets an identity's permissions: replaces those of its entry, or appends an entry.
 *
 * The identity is normalised (members that its kind does not use become empty: for kinds 3 to 7) and checked: User,
 * Group and Domain need a domain; User, Group and Role a name. The cached SIDs are dropped.
 *
 * @param acl    the ACL.
 * @param id     the identity; copied.
 * @param perms  permissions; only the bits of #TBS_ACL_STORED_PERMS are stored.
 * @retval 0               set
 * @retval TBS_ST_EINVAL   unknown kind ("Unrecognized ACL identity type (N)."), no permission left ("Empty permission
 *                         set."), or @p acl is NULL
 * @retval TBS_ST_ERROR    "ACL identity's domain must not be empty." or "ACL identity's name must not be empty."
 * @retval TBS_ST_ENOMEM   no memory; the entries are as they were
 */
TBS_API tbs_status_t tbs_acl_set_entry(tbs_acl_h_t acl, tbs_acl_id_t id, tbs_acl_permission_set_t perms) TBS_NOEXCEPT;

/**
 * Sets an identity's permissions: replaces those of its entry, or appends an entry.
 *
 * The identity is normalised (members that its kind does not use become empty) and checked: Domain needs a domain,
 * Role a well-formed name (letters, digits, "_", "-", "."; no "-" first).
 *
 * @param acl    the ACL.
 * @param id     the identity; copied.
 * @param perms  permissions; only the bits of #TBS_ACL_STORED_PERMS are stored.
 * @retval 0               set
 * @retval 1               the identity is not valid: "Unrecognized ACL identity type (N).", "ACL identity's domain
 *                         must not be empty.", "ACL identity's role name must not be empty." or "Invalid role name."
 * @retval TBS_ST_EINVAL   no permission left ("Empty permission set."), or @p acl is NULL
 * @retval TBS_ST_ENOMEM   no memory; the entries are as they were
 */
TBS_API tbs_status_t tbs_sid_acl_set_entry(tbs_sid_acl_h_t acl, tbs_sid_acl_id_t id,
                                           tbs_acl_permission_set_t perms) TBS_NOEXCEPT;

/**
 * Removes an identity's entry. The last entry takes its place: the order of the others is not kept. The cached SIDs
 * are dropped.
 *
 * @param acl  the ACL.
 * @param id   the identity.
 * @retval 0                  removed
 * @retval TBS_ST_NOT_FOUND   it has no entry; nothing is printed
 * @retval TBS_ST_EINVAL      a pointer is NULL
 */
TBS_API tbs_status_t tbs_acl_remove_entry(tbs_acl_h_t acl, const tbs_acl_id_t *id) TBS_NOEXCEPT;

/** Removes an identity's entry; as tbs_acl_remove_entry(). @return the status. */
TBS_API tbs_status_t tbs_sid_acl_remove_entry(tbs_sid_acl_h_t acl, const tbs_sid_acl_id_t *id) TBS_NOEXCEPT;

/**
 * Gives an identity's entry to another identity. When that has an entry already, the permissions are merged into it
 * and the old entry is removed (the last entry takes its place); else the entry keeps its place.
 *
 * @param acl     the ACL.
 * @param old_id  the identity that has the entry.
 * @param new_id  the identity that gets it; normalised and checked as in tbs_sid_acl_set_entry().
 * @retval 0                  done; also when both are the same identity
 * @retval TBS_ST_NOT_FOUND   @p old_id has no entry; nothing is printed
 * @retval TBS_ST_EINVAL      unknown kind of @p new_id (its message is printed), or a pointer is NULL
 * @retval TBS_ST_ERROR       @p new_id is not valid; its message is printed
 * @retval TBS_ST_ENOMEM      no memory; the ACL is as it was
 */
TBS_API tbs_status_t tbs_sid_acl_replace_id(tbs_sid_acl_h_t acl, const tbs_sid_acl_id_t *old_id,
                                            const tbs_sid_acl_id_t *new_id) TBS_NOEXCEPT;

/**
 * Makes a SID ACL in which one user stands for all users and one group for all groups: first the other entries in
 * order, then an entry for the user with the permissions of all users (when there was one), then likewise the group.
 *
 * @param acl           the source.
 * @param sids          the user's SID and the group's.
 * @param[out] acl_out  the new ACL, released with tbs_sid_acl_free(); set to NULL on failure.
 * @return  0, TBS_ST_EINVAL for a NULL, TBS_ST_ENOMEM, or as tbs_sid_acl_set_entry() for the first entry that fails.
 */
TBS_API tbs_status_t tbs_sid_acl_replace_sid_ids(tbs_sid_acl_h_t acl, const tbs_acl_sid_pair_t *sids,
                                                 tbs_sid_acl_h_t *acl_out) TBS_NOEXCEPT;

/**
 * Compares two ACLs. The test is one-sided: with equal counts, each entry of the first must have an entry of the same
 * identity in the second whose permissions contain its own.
 *
 * @param a  the first ACL's variable.
 * @param b  the second ACL's variable.
 * @return  1 when equal in that sense, or both are NULL; else 0.
 */
TBS_API tbs_boolean_t tbs_acl_cmp_acl(const tbs_acl_h_t *a, const tbs_acl_h_t *b) TBS_NOEXCEPT;

/** Compares two SID ACLs; as tbs_acl_cmp_acl(). @return 1 or 0. */
TBS_API tbs_boolean_t tbs_sid_acl_cmp_acl(const tbs_sid_acl_h_t *a, const tbs_sid_acl_h_t *b) TBS_NOEXCEPT;

/**
 * Estimates the size of a SID ACL: 42 bytes an entry and the lengths of its domain and name.
 *
 * @param acl  the ACL.
 * @return  bytes; 0 for NULL.
 */
TBS_API uint64_t tbs_sid_acl_size(tbs_sid_acl_h_t acl) TBS_NOEXCEPT;

/** Releases an ACL and sets the caller's variable to NULL; NULL is ignored. */
TBS_API void tbs_acl_free(tbs_acl_h_t *acl) TBS_NOEXCEPT;

/** Releases an ACL and sets the caller's variable to NULL; NULL is ignored. */
TBS_API void tbs_sid_acl_free(tbs_sid_acl_h_t *acl) TBS_NOEXCEPT;

/** Releases the domain and name of an identity and sets both to NULL; kind stays. NULL is ignored. */
TBS_API void tbs_acl_free_id(tbs_acl_id_t *id) TBS_NOEXCEPT;

/** Releases the domain and name of an identity and sets both to NULL; kind and SID stay. NULL is ignored. */
TBS_API void tbs_sid_acl_free_id(tbs_sid_acl_id_t *id) TBS_NOEXCEPT;

/* ---- identities and permissions as text ---------------------------------------------------------------------- */

/**
 * Gives the name of a kind.
 *
 * @param kind  any kind.
 * @return  never NULL. A constant; for an unknown kind "Unrecognized ACL identity type (N).\n" in a buffer of the
 *          calling thread that its next such call overwrites.
 */
TBS_API const char *tbs_acl_utl_id_kind_to_str(tbs_acl_id_kind_t kind) TBS_NOEXCEPT;

/**
 * Reads a classic identity: kind word, ":", qualifier. The kind is found without case. The qualifier of a Role is its
 * name; that of all others is split at the first "/" or "\" into domain and name. Text beyond 1023 bytes is ignored.
 *
 * @param text         terminated text.
 * @param[out] id_out  the identity, its strings released with tbs_acl_free_id(); cleared on failure.
 * @retval 0               read
 * @retval TBS_ST_EINVAL   unknown kind word ("Unrecognized ACL identity type "word"."), or a pointer is NULL
 * @retval TBS_ST_ENOMEM   no memory
 */
TBS_API tbs_status_t tbs_acl_utl_id_from_str(const char *text, tbs_acl_id_t *id_out) TBS_NOEXCEPT;

/**
 * Reads a SID identity and resolves the names of users and groups. A SID identity is never of the kind Domain.
 * A Role has no SID: its record is all zero. Text beyond 1023 bytes is ignored.
 *
 * @param text         terminated text.
 * @param[out] id_out  the identity, its strings released with tbs_sid_acl_free_id(); on failure there is nothing to
 *                     release.
 * @retval 0               read
 * @retval TBS_ST_EINVAL   unknown kind word ("Unrecognized ACL identity type "word"."), or a pointer is NULL
 * @retval TBS_ST_ERROR    the account is not known: "Unknown ACL identity: domain\name."
 * @retval TBS_ST_ENOMEM   no memory
 */
TBS_API tbs_status_t tbs_sid_acl_utl_id_from_str(const char *text, tbs_sid_acl_id_t *id_out) TBS_NOEXCEPT;

/**
 * Writes the qualifier of an identity: "domain\name", the domain, the role's name, or nothing.
 *
 * @param id      the identity.
 * @param size    size of @p buffer in bytes.
 * @param buffer  receives the text.
 * @retval 0                    written
 * @retval TBS_ST_EINVAL        unknown kind ("Unrecognized ACL identity type (N)."), or a pointer is NULL
 * @retval TBS_ST_ENAMETOOLONG  it does not fit: "String buffer too small."
 */
TBS_API tbs_status_t tbs_acl_utl_id_qual_to_str(const tbs_acl_id_t *id, size_t size, char *buffer) TBS_NOEXCEPT;

/** Writes an identity: kind name, ":", qualifier; results as tbs_acl_utl_id_qual_to_str(). @return the status. */
TBS_API tbs_status_t tbs_acl_utl_id_to_str(const tbs_acl_id_t *id, size_t size, char *buffer) TBS_NOEXCEPT;

/**
 * Writes the qualifier of a SID identity; users and groups by account name.
 *
 * @param id      the identity.
 * @param size    size of @p buffer in bytes.
 * @param buffer  receives the text.
 * @retval 0                    written
 * @retval TBS_ST_EINVAL        Domain or unknown kind ("Unrecognized ACL identity type (N)."), or a pointer is NULL
 * @retval TBS_ST_ERROR         no account has the SID: "Unable to convert identity "SID" to an account/group name."
 * @retval TBS_ST_ENAMETOOLONG  it does not fit: "String buffer too small."
 */
TBS_API tbs_status_t tbs_sid_acl_utl_id_qual_to_str(const tbs_sid_acl_id_t *id, size_t size,
                                                    char *buffer) TBS_NOEXCEPT;

/** Writes a SID identity: kind name, ":", qualifier; results as tbs_sid_acl_utl_id_qual_to_str(). @return the status. */
TBS_API tbs_status_t tbs_sid_acl_utl_id_to_str(const tbs_sid_acl_id_t *id, size_t size, char *buffer) TBS_NOEXCEPT;

/**
 * Resolves a user's name.
 *
 * @param domain        the domain; NULL counts as "".
 * @param name          the name; NULL counts as "".
 * @param[out] sid_out  the SID; CREDUTL_SID_NOBODY on failure.
 * @retval 0              resolved
 * @retval TBS_ST_ERROR   not; traced at level 1 of module "tbs_acl"
 * @retval TBS_ST_EINVAL  @p sid_out is NULL
 */
TBS_API tbs_status_t tbs_acl_user_to_usid(const char *domain, const char *name, credutl_sid_t *sid_out) TBS_NOEXCEPT;

/** Resolves a group's name; as tbs_acl_user_to_usid(). @return the status. */
TBS_API tbs_status_t tbs_acl_group_to_gsid(const char *domain, const char *name, credutl_sid_t *sid_out) TBS_NOEXCEPT;

/**
 * Writes a permission set as names separated by ",". Bits that make up a generic permission of the map are folded
 * first (Full, Change, Read, Execute); bits without a name stand as one number "0x%.8x" at the end.
 *
 * @param perms        the set.
 * @param extra        the caller's names, searched before the built-in ones; may be NULL when @p extra_count is 0.
 * @param extra_count  their number.
 * @param map          what generic permissions stand for; NULL counts as all zero.
 * @return  the text: belongs to the calling thread, valid until its next call; NULL when there is no memory (the
 *          message is printed) or @p extra is NULL with a count.
 */
TBS_API const char *tbs_acl_utl_perm_set_to_str(tbs_acl_permission_set_t perms, const tbs_acl_perm_name_t *extra,
                                                size_t extra_count, const tbs_acl_generic_map_t *map) TBS_NOEXCEPT;

/**
 * Reads a permission set: names separated by ",", found without case; generic ones are expanded by the map. Text
 * beyond 1023 bytes is ignored.
 *
 * @param text           the names; NULL or "" is the empty set.
 * @param extra          the caller's names, searched before the built-in ones; may be NULL when @p extra_count is 0.
 * @param extra_count    their number.
 * @param map            what generic permissions stand for; NULL counts as all zero.
 * @param[out] set_out   the set; untouched on failure.
 * @retval 0               read
 * @retval TBS_ST_EINVAL   an unknown or empty name ("Unrecognized ACL permission: "name"."), or a pointer is NULL
 * @retval TBS_ST_ENOMEM   no memory
 */
TBS_API tbs_status_t tbs_acl_utl_perm_set_from_str(const char *text, const tbs_acl_perm_name_t *extra,
                                                   size_t extra_count, const tbs_acl_generic_map_t *map,
                                                   tbs_acl_permission_set_t *set_out) TBS_NOEXCEPT;

/**
 * Reads a permission set from two texts: the granted names without the excluded ones.
 *
 * @param granted   the names to add; NULL or "" adds none.
 * @param excluded  the names to take away; NULL or "" takes none.
 * Other parameters and results as tbs_acl_utl_perm_set_from_str(). @return the status.
 */
TBS_API tbs_status_t tbs_acl_utl_perm_set_from_combined_strings(const char *granted, const char *excluded,
                                                                const tbs_acl_perm_name_t *extra, size_t extra_count,
                                                                const tbs_acl_generic_map_t *map,
                                                                tbs_acl_permission_set_t *set_out) TBS_NOEXCEPT;

/* ---- ACL files ----------------------------------------------------------------------------------------------- */

/**
 * Reads a classic ACL from a text file: one entry a line, "identity_type:identity access_type"; lines that begin with
 * "#" and blank lines are skipped. The permissions are what follows the last blank or TAB. A line is read in pieces of
 * at most 1023 bytes, each of which counts as a line. A later line for the same identity replaces an earlier one.
 *
 * The first bad line ends the reading: nothing is handed over.
 *
 * @param path          product path of the file.
 * @param extra         the caller's permission names; may be NULL when @p extra_count is 0.
 * @param extra_count   their number.
 * @param map           what generic permissions stand for; NULL counts as all zero.
 * @param[out] acl_out  the ACL, released with tbs_acl_free(); untouched on failure.
 * @retval 0               read
 * @retval TBS_ST_ERROR    "Syntax error on line N." and the form of an entry, or as tbs_acl_set_entry()
 * @retval TBS_ST_EINVAL   "Problem parsing identity ...", "Problem parsing permission set ...", "Unable to set ACL
 *                         entry for line N: ...", or a pointer is NULL
 * @retval TBS_ST_ENOMEM   no memory
 * @return  else the status of the system's error: "Unable to open file ...", "Unable to read file ...".
 */
TBS_API tbs_status_t tbs_acl_utl_parse(const char *path, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                       const tbs_acl_generic_map_t *map, tbs_acl_h_t *acl_out) TBS_NOEXCEPT;

/**
 * Reads a SID ACL from a text file; as tbs_acl_utl_parse(), but a comment may be indented, users and groups must be
 * known, and the status 1 is given for an identity that cannot be set.
 *
 * @return  the status.
 */
TBS_API tbs_status_t tbs_sid_acl_utl_parse(const char *path, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                           const tbs_acl_generic_map_t *map, tbs_sid_acl_h_t *acl_out) TBS_NOEXCEPT;

/**
 * Reads one line of an ACL file into a SID ACL.
 *
 * @param line         the line, changed in place.
 * @param line_number  its number, cited in messages.
 * @param extra        the caller's permission names; may be NULL when @p extra_count is 0.
 * @param extra_count  their number.
 * @param map          what generic permissions stand for; NULL counts as all zero.
 * @param acl          the ACL to add to.
 * @return  0, for a comment or blank line too; else as tbs_sid_acl_utl_parse().
 */
TBS_API tbs_status_t tbs_sid_acl_utl_parse_str(char *line, int line_number, const tbs_acl_perm_name_t *extra,
                                               size_t extra_count, const tbs_acl_generic_map_t *map,
                                               tbs_sid_acl_h_t acl) TBS_NOEXCEPT;

/**
 * Prints a classic ACL, "    identity permissions" an entry; "# <empty acl>" for an empty one. A listing is never
 * mixed with another thread's.
 *
 * @param acl          the ACL.
 * @param extra        the caller's permission names; may be NULL when @p extra_count is 0.
 * @param extra_count  their number.
 * @param map          what generic permissions stand for; NULL counts as all zero.
 * @return  0; else of the first entry that has no text, as tbs_acl_utl_id_to_str(), TBS_ST_ENOMEM or TBS_ST_EINVAL.
 */
TBS_API tbs_status_t tbs_acl_utl_print(tbs_acl_h_t acl, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                       const tbs_acl_generic_map_t *map) TBS_NOEXCEPT;

/**
 * Appends a classic ACL to a message list, one message an entry, none for an empty ACL.
 *
 * @param list  the list. Other parameters and results as tbs_acl_utl_print(). @return the status.
 */
TBS_API tbs_status_t tbs_acl_to_imsg_list(tbs_acl_h_t acl, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                          const tbs_acl_generic_map_t *map, imsg_list_t *list) TBS_NOEXCEPT;

/** Appends a SID ACL to a message list; as tbs_acl_to_imsg_list(). @return the status. */
TBS_API tbs_status_t tbs_sid_acl_to_imsg_list(tbs_sid_acl_h_t acl, const tbs_acl_perm_name_t *extra,
                                              size_t extra_count, const tbs_acl_generic_map_t *map,
                                              imsg_list_t *list) TBS_NOEXCEPT;

/**
 * Writes a SID ACL to a stream in the form that tbs_sid_acl_utl_parse() reads; nothing for an empty one. A
 * name with a line end, which no valid entry has, is made visible as in messages.
 *
 * @param stream  the stream; errors of the stream stay in it for the caller to ask (ferror).
 * Other parameters and results as tbs_acl_utl_print(), for SID identities. @return the status.
 */
TBS_API tbs_status_t tbs_sid_acl_utl_output(FILE *stream, tbs_sid_acl_h_t acl, const tbs_acl_perm_name_t *extra,
                                            size_t extra_count, const tbs_acl_generic_map_t *map) TBS_NOEXCEPT;

/**
 * Prints a SID ACL, each line indented; "      # <empty acl>" for an empty one. Ends at an entry that has no text.
 *
 * @param indent  blanks before each entry. Other parameters as tbs_acl_utl_print().
 * @return  always 0.
 */
TBS_API tbs_status_t tbs_sid_acl_utl_print_indent(tbs_sid_acl_h_t acl, const tbs_acl_perm_name_t *extra,
                                                  size_t extra_count, const tbs_acl_generic_map_t *map,
                                                  int indent) TBS_NOEXCEPT;

/** Prints a SID ACL with an indent of 4; as tbs_sid_acl_utl_print_indent(). @return always 0. */
TBS_API tbs_status_t tbs_sid_acl_utl_print(tbs_sid_acl_h_t acl, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                           const tbs_acl_generic_map_t *map) TBS_NOEXCEPT;

/* ---- permission check ---------------------------------------------------------------------------------------- */

/**
 * Adds permissions and tells whether a request is covered now.
 *
 * @param requested  the request.
 * @param add        permissions to add.
 * @param allowed    the permissions so far; receives the union.
 * @return  1 when @p allowed now holds every bit of @p requested, else 0; 0 when @p allowed is NULL.
 */
TBS_API tbs_boolean_t tbs_acl_add_and_check_perms(tbs_acl_permission_set_t requested, tbs_acl_permission_set_t add,
                                                  tbs_acl_permission_set_t *allowed) TBS_NOEXCEPT;

/**
 * Decides a client's request by a classic ACL.
 *
 * The permissions of these identities are added in this order until they cover the request: Everyone; Owner-User and
 * Owner-Group when flagged; the client's domain; the user; the primary group; the supplementary groups. Clients with
 * SID credentials are matched by SID, others by name. At verbosity 2 the decision is traced under "tbs_acl".
 *
 * @param acl              the ACL; its cache of SIDs may be filled, so one thread at a time.
 * @param requested        permissions asked for, free of generic bits.
 * @param client           who asks.
 * @param is_owner_user    whether the client owns the object as user.
 * @param is_owner_group   whether one of the client's groups owns the object.
 * @param[out] granted_out 1 granted, 0 not; 0 whenever the status is not 0.
 * @retval 0               decided
 * @retval TBS_ST_EINVAL   a pointer is NULL
 * @retval TBS_ST_ENOMEM   no memory
 * @return  else the status of a client whose credentials cannot be had.
 */
TBS_API tbs_status_t tbs_acl_check_permission(tbs_acl_h_t acl, tbs_acl_permission_set_t requested,
                                              const credutl_client_t *client, tbs_boolean_t is_owner_user,
                                              tbs_boolean_t is_owner_group, tbs_boolean_t *granted_out) TBS_NOEXCEPT;

/**
 * Decides a client's request by a SID ACL; see tbs_sid_acl_check_permission_creds().
 *
 * @param acl              the ACL; may be shared.
 * @param requested        permissions asked for, free of generic bits.
 * @param client           who asks; names are resolved to SIDs first.
 * @param owner_user       SID of the object's owner; NULL when there is none.
 * @param owner_group      SID of the object's group; NULL when there is none.
 * @param[out] granted_out 1 granted, 0 not; 0 whenever the status is not 0.
 * @retval 0               decided
 * @retval TBS_ST_EINVAL   @p acl, @p client or @p granted_out is NULL
 * @retval TBS_ST_ENOMEM   no memory
 * @retval TBS_ST_ENOENT   the client's user or primary group is no known account
 * @return  else the status of a client whose credentials cannot be had.
 */
TBS_API tbs_status_t tbs_sid_acl_check_permission(tbs_sid_acl_h_t acl, tbs_acl_permission_set_t requested,
                                                  const credutl_client_t *client, const credutl_sid_t *owner_user,
                                                  const credutl_sid_t *owner_group,
                                                  tbs_boolean_t *granted_out) TBS_NOEXCEPT;

/**
 * Decides a request by a SID ACL and ready credentials.
 *
 * The entries are walked in order; the permissions of those that apply are added until they cover the request: User
 * with the client's SID, Group that the client holds, Everyone, Owner-User when @p owner_user is the client, and
 * Owner-Group when the client holds @p owner_group. Domain, Role and unknown kinds never apply. A request of no
 * permission is granted by the first entry that applies. At verbosity 2 the decision is traced under "tbs_acl".
 *
 * @param acl              the ACL; may be shared.
 * @param requested        permissions asked for, free of generic bits.
 * @param credentials      who asks; may be shared.
 * @param owner_user       SID of the object's owner; NULL when there is none.
 * @param owner_group      SID of the object's group; NULL when there is none.
 * @param[out] granted_out 1 granted, 0 not.
 * @retval 0               decided
 * @retval TBS_ST_EINVAL   @p acl, @p credentials or @p granted_out is NULL
 */
TBS_API tbs_status_t tbs_sid_acl_check_permission_creds(tbs_sid_acl_h_t acl, tbs_acl_permission_set_t requested,
                                                        const credutl_whole_credentials_t *credentials,
                                                        const credutl_sid_t *owner_user,
                                                        const credutl_sid_t *owner_group,
                                                        tbs_boolean_t *granted_out) TBS_NOEXCEPT;

/* ---- bytes: self-contained encodings ------------------------------------------------------------------------- */

/**
 * Encodes a classic ACL as bytes that tbs_acl_decode() reads: a format version, the entries (XDR).
 *
 * @param acl              the ACL.
 * @param[out] length_out  number of bytes.
 * @param[out] buffer_out  the bytes, released with stg_free(). Both results are untouched on failure.
 * @retval 0               encoded
 * @retval TBS_ST_ENOMEM   no memory, or the encoding needs more than 544 bytes an entry and 152 beside; printed alike
 * @retval TBS_ST_EINVAL   a pointer is NULL
 */
TBS_API tbs_status_t tbs_acl_encode(tbs_acl_h_t acl, uint32_t *length_out, void **buffer_out) TBS_NOEXCEPT;

/**
 * Encodes a SID ACL; as tbs_acl_encode(), with 652 bytes an entry. Only Domain identities carry their domain and only
 * roles their name.
 *
 * @return  the status.
 */
TBS_API tbs_status_t tbs_sid_acl_encode(tbs_sid_acl_h_t acl, uint32_t *length_out, void **buffer_out) TBS_NOEXCEPT;

/**
 * Decodes what tbs_acl_encode() has made. Every entry goes through tbs_acl_set_entry(): an identity that stands twice
 * becomes one entry with the later permissions. Bytes behind the encoding are ignored.
 *
 * @param length        number of bytes.
 * @param buffer        the bytes, from anybody.
 * @param[out] acl_out  the ACL, released with tbs_acl_free(); untouched on failure.
 * @retval 0               decoded
 * @retval TBS_ST_ERROR    not an encoding: "tbs_acl_decode: Problem decoding (possibly corrupt) ACL at or around byte
 *                         offset N", N being where decoding stopped: where the first item stands that is cut off, or
 *                         behind a refused one; or an entry's identity is not valid (its message is printed)
 * @retval TBS_ST_EINVAL   an entry cannot be set (its message is printed), or a pointer is NULL
 * @retval TBS_ST_ENOMEM   no memory
 */
TBS_API tbs_status_t tbs_acl_decode(uint32_t length, const void *buffer, tbs_acl_h_t *acl_out) TBS_NOEXCEPT;

/**
 * Decodes what tbs_sid_acl_encode() has made: the entries as they come, neither checked nor merged. Bytes behind the
 * encoding are ignored; an encoding of no list gives an empty ACL.
 *
 * @param length        number of bytes.
 * @param buffer        the bytes, from anybody.
 * @param[out] acl_out  the ACL, released with tbs_sid_acl_free(); untouched on failure.
 * @return  0, TBS_ST_ERROR with the message of tbs_acl_decode() under "tbs_sid_acl_decode", TBS_ST_EINVAL or
 *          TBS_ST_ENOMEM.
 */
TBS_API tbs_status_t tbs_sid_acl_decode(uint32_t length, const void *buffer, tbs_sid_acl_h_t *acl_out) TBS_NOEXCEPT;

/* ---- plain forms --------------------------------------------------------------------------------------------- */

/** A classic ACL as a record of the caller's. What tbs_acl_get_acl() fills has no hidden parts and no cooked list. */
typedef struct tbs_acl tbs_acl_t;

/**
 * Copies a classic ACL's entries into a plain record.
 *
 * @param acl             the ACL.
 * @param[out] plain_out  count and entries; release each identity with tbs_acl_free_id(), then the array (NULL when
 *                        empty, without a header) with stg_free(). Untouched on failure.
 * @retval 0               copied
 * @retval TBS_ST_ENOMEM   no memory
 * @retval TBS_ST_EINVAL   a pointer is NULL
 */
TBS_API tbs_status_t tbs_acl_get_acl(tbs_acl_h_t acl, tbs_acl_t *plain_out) TBS_NOEXCEPT;

/**
 * Makes a classic ACL of a plain record: its entries as they are, neither checked nor merged, without a cooked list.
 *
 * @param[out] acl_out  the ACL, released with tbs_acl_free_acl(); untouched on failure.
 * @param plain         count and entries.
 * @retval 0               made
 * @retval TBS_ST_ENOMEM   no memory
 * @retval TBS_ST_EINVAL   a pointer is NULL, or the entries are with a count
 */
TBS_API tbs_status_t tbs_acl_set_acl(tbs_acl_h_t *acl_out, const tbs_acl_t *plain) TBS_NOEXCEPT;

/** Releases an ACL of tbs_acl_set_acl() and sets the variable to NULL. */
TBS_API void tbs_acl_free_acl(tbs_acl_h_t *acl_variable) TBS_NOEXCEPT;

/**
 * Copies a SID ACL's entries into a plain list.
 *
 * @param acl             the ACL.
 * @param[out] plain_out  the list, released by xdr_tbs_acl_cooked_info_t() in the free direction and in no other way:
 *                        its array has a header and is there when it is empty. Untouched on failure.
 * @return  as tbs_acl_get_acl().
 */
TBS_API tbs_status_t tbs_sid_acl_get_acl(tbs_sid_acl_h_t acl, tbs_acl_cooked_info_t *plain_out) TBS_NOEXCEPT;

/** Makes a SID ACL of a plain list, whose array needs no header; as tbs_acl_set_acl(). @return the status. */
TBS_API tbs_status_t tbs_sid_acl_set_acl(tbs_sid_acl_h_t *acl_out, const tbs_acl_cooked_info_t *plain) TBS_NOEXCEPT;

/** Releases an ACL of tbs_sid_acl_set_acl() and sets the variable to NULL. */
TBS_API void tbs_sid_acl_free_acl(tbs_sid_acl_h_t *acl_variable) TBS_NOEXCEPT;

/* ---- XDR: see tbs_xdr.h for what the routines have in common ------------------------------------------------- */

/** An identity's kind; unknown ones pass. */
TBS_API bool_t xdr_tbs_acl_id_kind_t(XDR *stream, tbs_acl_id_kind_t *kind) TBS_NOEXCEPT;
/** A permission set. */
TBS_API bool_t xdr_tbs_acl_permission_set_t(XDR *stream, tbs_acl_permission_set_t *perms) TBS_NOEXCEPT;
/** A classic identity: kind, domain, name. */
TBS_API bool_t xdr_tbs_acl_id_t(XDR *stream, tbs_acl_id_t *id) TBS_NOEXCEPT;
/** A SID identity: kind, domain (sent by the kind Domain only), name (sent by roles only), SID. */
TBS_API bool_t xdr_tbs_sid_acl_id_t(XDR *stream, tbs_sid_acl_id_t *id) TBS_NOEXCEPT;
/** An entry of a SID ACL: identity, permissions. */
TBS_API bool_t xdr_tbs_acl_cooked_ent_t(XDR *stream, tbs_acl_cooked_ent_t *entry) TBS_NOEXCEPT;
/** A list of SID entries: count, entries. A decoded array stands behind a #tbs_acl_array_header_t. */
TBS_API bool_t xdr_tbs_acl_cooked_info_t(XDR *stream, tbs_acl_cooked_info_t *list) TBS_NOEXCEPT;
/** A generic map: read, write, execute, all. */
TBS_API bool_t xdr_tbs_acl_generic_map_t(XDR *stream, tbs_acl_generic_map_t *map) TBS_NOEXCEPT;

/**
 * A classic ACL or NULL: presence word, count, entries, an absent byte. The cooked list is not sent. A decoded ACL is
 * built with tbs_acl_set_entry(), whose messages are printed when an entry is refused. Free releases it.
 */
TBS_API bool_t xdr_tbs_acl_h_t(XDR *stream, tbs_acl_h_t *acl) TBS_NOEXCEPT;

/** A SID ACL or NULL: a word that is 1 for NULL, else 0 and the entries as they are. Free releases it. */
TBS_API bool_t xdr_tbs_sid_acl_h_t(XDR *stream, tbs_sid_acl_h_t *acl) TBS_NOEXCEPT;

/** Most entries that one call of xdr_tbs_sid_acl_fragment_t() sends. */
#define TBS_SID_ACL_FRAGMENT_ENTRIES 50

/**
 * One piece of a SID ACL that is too long for one message: a word that is 1 for NULL, else 0, the piece's number of
 * entries, the number of all, the piece's entries. Call it until the cursor is 0 again.
 *
 * @param stream  the stream.
 * @param acl     the ACL. On decode the first piece (cursor 0, or NULL) makes a new one, and later ones append to it;
 *                after a failure it holds what has arrived. Free releases it.
 * @param cursor  entries sent or received so far, 0 before the first piece; moved on by each, 0 after the last.
 * @return  FALSE too for a cursor behind the last entry, for a piece of more than #TBS_SID_ACL_FRAGMENT_ENTRIES
 *          entries, beyond the number of all, or of none before the last, and for NULL in the middle of an ACL.
 */
TBS_API bool_t xdr_tbs_sid_acl_fragment_t(XDR *stream, tbs_sid_acl_h_t *acl, uint32_t *cursor) TBS_NOEXCEPT;

/* ---- system ACL ---------------------------------------------------------------------------------------------- */

/**
 * Makes the ACL that the operating system enforces on a file kept for an object (POSIX.1e).
 *
 * An entry contributes when its permissions hold all that are required: the right to read, and to write and execute as
 * the file's mode says for its class (the owner's for the owner, the group's for other users and for groups, the
 * others' for everyone). Domain, Role and unknown kinds never do. Entries that the platform refuses, such as those of
 * SIDs without an id on this host, are left out, and traced at verbosity 3 under "tbs_acl". Owner, owning group, others
 * and mask are always there; where others may read, the owner and the owning group may too.
 *
 * @param acl           the SID ACL; may be NULL.
 * @param owners        the owner and the owning group of the object.
 * @param mode          the file's permission bits.
 * @param required      permissions that an entry must hold to contribute.
 * @param[out] acl_out  the system ACL, released with sysutl_acl_free(); NULL when the SID ACL is NULL or empty, and
 *                      whenever the result is not 0. May be NULL.
 * @retval 0                               made
 * @retval TBS_ST_SUCCESS_WITH_EXCEPTION   (1033) the platform has no ACLs
 * @retval TBS_ST_EINVAL                   @p owners is NULL though there are entries, or the ACL is not valid (a user
 *                                         or group stands in it twice)
 * @retval TBS_ST_ENOMEM                   no memory
 * @return  else the status of the platform's error, traced at verbosity 1.
 */
TBS_API tbs_status_t tbs_sid_acl_convert_to_sysutl_acl(tbs_sid_acl_h_t acl, const tbs_acl_sid_pair_t *owners,
                                                       uint32_t mode, tbs_acl_permission_set_t required,
                                                       sysutl_acl_t **acl_out) TBS_NOEXCEPT;

TBS_END_C

#endif
