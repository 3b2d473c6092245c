/*
 * ks_sys.h - system services: names of users and groups, the host, the process.
 *
 * Every function may be called from any thread.
 */
#ifndef KS_SYS_H
#define KS_SYS_H

#include "ks_cred.h"

KS_BEGIN_C

/** Forms in which an account is named. */
enum {
    SYSUTL_FORM_SID = 1, /**< from a SID: the SID's text; from a name: a plain look-up */
    SYSUTL_FORM_NAME = 2 /**< "DOMAIN\name", which resolves to the same SID */
};

/**
 * Resolves a user's name.
 *
 * @param name          "DOMAIN\name".
 * @param form          #SYSUTL_FORM_SID or #SYSUTL_FORM_NAME: both look the name up.
 * @param[out] sid_out  the SID; untouched on failure.
 * @return  0, or as credutl_account_by_name().
 */
KS_API int sysutl_user_to_usid(const char *name, int form, credutl_sid_t *sid_out) KS_NOEXCEPT;

/** Resolves a group's name; as sysutl_user_to_usid(). */
KS_API int sysutl_group_to_gsid(const char *name, int form, credutl_sid_t *sid_out) KS_NOEXCEPT;

/**
 * Names a user.
 *
 * @param sid     the user's SID.
 * @param form    #SYSUTL_FORM_SID: the SID's text; #SYSUTL_FORM_NAME: "DOMAIN\name".
 * @param buffer  receives the text; "" on failure.
 * @param size    its size in bytes.
 * @return  0, KS_ENAMETOOLONG when the buffer is too small, or as credutl_account_by_sid().
 */
KS_API int sysutl_usid_to_user(const credutl_sid_t *sid, int form, char *buffer, size_t size) KS_NOEXCEPT;

/** Names a group; as sysutl_usid_to_user(). */
KS_API int sysutl_gsid_to_group(const credutl_sid_t *sid, int form, char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Gives the host's name, without its domain.
 *
 * @param buffer  receives the name; cut to fit, always terminated.
 * @param size    its size in bytes.
 * @return  0, KS_EINVAL, or the host's error translated.
 */
KS_API int sysutl_myhostname(char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Gives the login name of the user that the process belongs to (the real user), without a domain.
 *
 * @param buffer  receives the name; "" on failure when @p size is not 0.
 * @param size    its size in bytes.
 * @return  0; KS_ENOENT for a user without a name, KS_ENAMETOOLONG, KS_EINVAL, KS_ENOMEM, or KS_EIO when the host's
 *          account database cannot be read.
 */
KS_API int sysutl_myloginname(char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Gives the home directory of a user of this host. For the user that the process belongs to HOME is honoured when it
 * is an absolute path, but not in a program that runs with raised privileges.
 *
 * @param login   login name, as sysutl_myloginname() gives it.
 * @param buffer  receives the directory; "" on failure when @p size is not 0.
 * @param size    its size in bytes.
 * @return  0; KS_ENOENT for an unknown user, else as sysutl_myloginname().
 */
KS_API int sysutl_get_homedir(const char *login, char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Gives the file mode creation mask of the calling thread, which all threads of a process share unless one has left
 * the others. The mask is read, not set and restored: files that other threads make meanwhile are safe.
 *
 * @param[out] mask_out  permission bits that new files do not get, at most 0777; untouched on failure.
 * @return  0; KS_EINVAL for a NULL, KS_ENOSYS when the host does not tell it (Linux before 4.7), or the host's error
 *          translated (no descriptor is left, /proc is not mounted).
 */
KS_API int sysutl_get_umask(uint32_t *mask_out) KS_NOEXCEPT;

KS_END_C

#endif
