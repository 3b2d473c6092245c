/*
 * ks_acl.h - access control lists of the operating system (POSIX.1e draft 17), with SIDs as qualifiers.
 *
 * Functions give 0 or an error number of the Windows run-time library. An ACL belongs to one thread at a time.
 */
#ifndef KS_ACL_H
#define KS_ACL_H

#include "ks_cred.h"

KS_BEGIN_C

/** A system ACL. */
typedef struct sysutl_acl sysutl_acl_t;
/** An entry of it; valid until it is deleted or the ACL is freed. */
typedef struct sysutl_acl_entry sysutl_acl_entry_t;
/** The permissions of an entry; valid as long as the entry. */
typedef struct sysutl_acl_permset sysutl_acl_permset_t;

/** Whom an entry concerns. */
enum {
    SYSUTL_ACL_USER_OBJ = 1,  /**< the owner */
    SYSUTL_ACL_USER = 2,      /**< a named user */
    SYSUTL_ACL_GROUP_OBJ = 4, /**< the owning group */
    SYSUTL_ACL_GROUP = 8,     /**< a named group */
    SYSUTL_ACL_MASK = 16,     /**< the most that entries but those of the owner and of others grant */
    SYSUTL_ACL_OTHER = 32     /**< all others */
};

/** Permissions. */
enum { SYSUTL_ACL_EXECUTE = 1, SYSUTL_ACL_WRITE = 2, SYSUTL_ACL_READ = 4 };

/**
 * Makes an empty ACL.
 *
 * @param count         entries expected.
 * @param[out] acl_out  the ACL, released with sysutl_acl_free(); untouched on failure.
 * @return  0; KS_ENOSYS where the system has no ACLs; KS_ENOMEM; KS_EINVAL.
 */
KS_API int sysutl_acl_init(int count, sysutl_acl_t **acl_out) KS_NOEXCEPT;

/** Releases an ACL with its entries and sets the caller's variable to NULL; NULLs are ignored. */
KS_API void sysutl_acl_free(sysutl_acl_t **acl_variable) KS_NOEXCEPT;

/** Adds an entry without tag and permissions. @return 0, KS_ENOMEM or KS_EINVAL. */
KS_API int sysutl_acl_create_entry(sysutl_acl_t *acl, sysutl_acl_entry_t **entry_out) KS_NOEXCEPT;

/** Takes an entry out. @return 0 or KS_EINVAL. */
KS_API int sysutl_acl_delete_entry(sysutl_acl_t *acl, sysutl_acl_entry_t *entry) KS_NOEXCEPT;

/** Says whom an entry concerns. @return 0 or KS_EINVAL. */
KS_API int sysutl_acl_set_tag_type(sysutl_acl_entry_t *entry, int tag) KS_NOEXCEPT;

/**
 * Names the user or group of an entry whose tag is set.
 *
 * @param entry  the entry.
 * @param sid    user or group; accepted and not kept for #SYSUTL_ACL_USER_OBJ and #SYSUTL_ACL_GROUP_OBJ.
 * @return  0; KS_EINVAL for a SID that has no id on this host, for another tag, or for a NULL; KS_ENOMEM.
 */
KS_API int sysutl_acl_set_qualifier(sysutl_acl_entry_t *entry, const credutl_sid_t *sid) KS_NOEXCEPT;

/** Gives an entry's permissions, to be changed there. @return 0 or KS_EINVAL. */
KS_API int sysutl_acl_get_permset(sysutl_acl_entry_t *entry, sysutl_acl_permset_t **permset_out) KS_NOEXCEPT;

/** Takes all permissions away. @return 0 or KS_EINVAL. */
KS_API int sysutl_acl_clear_perms(sysutl_acl_permset_t *permset) KS_NOEXCEPT;

/** Adds permissions (SYSUTL_ACL_READ and the like, or'ed). @return 0 or KS_EINVAL. */
KS_API int sysutl_acl_add_perm(sysutl_acl_permset_t *permset, int perms) KS_NOEXCEPT;

/**
 * Adds the permissions of a mode to the entries of the owner (bits 0700) and of the owning group (bits 0070).
 *
 * @param acl    the ACL.
 * @param which  0.
 * @param mode   the permissions, as in chmod.
 * @return  0; KS_EINVAL for another @p which, a NULL, or an ACL that lacks one of the two entries.
 */
KS_API int sysutl_acl_modify_perms(sysutl_acl_t *acl, int which, uint32_t mode) KS_NOEXCEPT;

/** Sets the mask to the union of what it limits, adding it when it is missing. @return 0, KS_ENOMEM or KS_EINVAL. */
KS_API int sysutl_acl_calc_mask(sysutl_acl_t *acl) KS_NOEXCEPT;

/** Tells whether an ACL has all the entries that it needs, none twice. @return 0 when it has, else KS_EINVAL. */
KS_API int sysutl_acl_valid(const sysutl_acl_t *acl) KS_NOEXCEPT;

/**
 * Writes an ACL as text, an entry a line.
 *
 * @param acl            the ACL.
 * @param[out] text_out  the text, released with stg_free(); untouched on failure.
 * @return  0, KS_ENOMEM or KS_EINVAL.
 */
KS_API int sysutl_acl_to_text(const sysutl_acl_t *acl, char **text_out) KS_NOEXCEPT;

/**
 * Puts an ACL on a file in one step; links are followed.
 *
 * @param path  product path.
 * @param acl   a valid ACL.
 * @return  0; KS_ENOSYS where the file system has no ACLs; else the host's error, translated.
 */
KS_API int sysutl_acl_set_file(const char *path, const sysutl_acl_t *acl) KS_NOEXCEPT;

/** Reads a file's ACL, released with sysutl_acl_free(); results as sysutl_acl_set_file(). */
KS_API int sysutl_acl_get_file(const char *path, sysutl_acl_t **acl_out) KS_NOEXCEPT;

/** Tells whether two ACLs hold the same entries. @return 1 or 0; 0 for a NULL. */
KS_API int sysutl_acl_equal(const sysutl_acl_t *a, const sysutl_acl_t *b) KS_NOEXCEPT;

/**
 * Is told in tests of every operation above but sysutl_acl_free() and sysutl_acl_equal(), before it is done.
 *
 * @param operation  its name.
 * @param context    the pointer given to sysutl_acl_set_recorder().
 * @return  0 to let it happen; else the error number that it fails with.
 */
typedef int (*sysutl_acl_recorder_t)(const char *operation, void *context);

/** Installs the recorder; NULL removes it. Only while no other thread uses the functions above. */
KS_API void sysutl_acl_set_recorder(sysutl_acl_recorder_t recorder, void *context) KS_NOEXCEPT;

KS_END_C

#endif
