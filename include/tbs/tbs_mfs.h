/*
 * tbs_mfs.h - version-extended pathnames, view roots, and who the user and the domain are.
 *
 * A version-extended pathname names one version of an element: the name, the extended naming symbol ("@@" unless the
 * host is set up otherwise), a path of versions, as in "src\main.c@@\main\3". The symbol is what the first view root
 * that has one says, else the registry's parameter 52, else "@@".
 *
 * Results written to a caller's buffer take at most #TBS_PATH_SIZE bytes, which the buffer must have; what is longer is
 * cut, and always terminated. A buffer may hold one of the texts that the result is made of. In paths "\" and "/"
 * both separate, and the module itself joins with "\".
 *
 * Every function may be called from any thread at any time. What concerns the host and the process (the symbol, the
 * paths of the view roots, both words of flags, the domain's and the user's identity) is found out at the first need,
 * by one thread while the others wait, and then stays for the life of the process; a failure for lack of memory is
 * not kept, except where a function says so. While it is found out messages may be printed: a sink of messages does
 * not call this module.
 *
 * A failure to open a view root that the registry names is reported as an error of module "mvfs" (see
 * mvfs_view_root.h); the silent functions report none. Beside that, and message "Operation "%s" failed: %s." for lack
 * of memory, the module prints nothing.
 */
#ifndef TBS_MFS_H
#define TBS_MFS_H

#include "../mvfs/mvfs_view_root.h"
#include "tbs_fstat.h"
#include "tbs_product.h"
#include "tbs_status.h"

TBS_BEGIN_C

/* ---- version-extended names ---------------------------------------------------------------------------------- */

/**
 * Writes a name with the extended naming symbol: prefix, symbol, suffix. With neither part it is the symbol alone.
 *
 * @param buffer  receives the name, #TBS_PATH_SIZE bytes; untouched on failure.
 * @param prefix  what stands before the symbol; NULL counts as "".
 * @param suffix  what stands behind it; NULL counts as "".
 * @retval 0              written, cut when it is longer than the buffer
 * @retval TBS_ST_EINVAL  (1072) @p buffer is NULL
 * @retval TBS_ST_ENOMEM  (1062) no memory
 */
TBS_API tbs_status_t tbs_version_ext_pname(char *buffer, const char *prefix, const char *suffix) TBS_NOEXCEPT;

/**
 * As tbs_version_ext_pname().
 *
 * @param silent  non-zero: view roots that cannot be opened are not reported.
 */
TBS_API tbs_status_t tbs_version_ext_pname_sil(char *buffer, const char *prefix, const char *suffix,
                                               tbs_boolean_t silent) TBS_NOEXCEPT;

/** As tbs_version_prefix_pname_sil(), not silent. */
TBS_API tbs_status_t tbs_version_prefix_pname(char *buffer, const char *pathname, const char *suffix) TBS_NOEXCEPT;

/**
 * Writes a pathname with the version prefix, "^" and the symbol, as a part of its own before the leaf:
 * "src\main.c" becomes "src\^@@\main.c". An empty directory or leaf brings no separator. Without a pathname the name
 * is the version prefix and the suffix.
 *
 * @param buffer    receives the name, #TBS_PATH_SIZE bytes; untouched on failure.
 * @param pathname  the pathname, split at its last separator; may be NULL.
 * @param suffix    stands at the end; NULL counts as "".
 * @param silent    non-zero: view roots that cannot be opened are not reported.
 * @retval 0              written, cut when it is longer than the buffer
 * @retval TBS_ST_ERROR   (1001) the pathname cannot be split: its directory takes more than #TBS_PATH_SIZE bytes or
 *                        its leaf more than 256, terminators included
 * @retval TBS_ST_EINVAL  (1072) @p buffer is NULL
 * @retval TBS_ST_ENOMEM  (1062) no memory
 */
TBS_API tbs_status_t tbs_version_prefix_pname_sil(char *buffer, const char *pathname, const char *suffix,
                                                  tbs_boolean_t silent) TBS_NOEXCEPT;

/**
 * Tells whether a pathname, or a directory on it, ends in the symbol. Silent.
 *
 * @param pathname  the pathname, of any length.
 * @return  1 or 0; 0 for a NULL and without memory.
 */
TBS_API tbs_boolean_t tbs_pname_contains_version_suffix(const char *pathname) TBS_NOEXCEPT;

/**
 * Tells whether a pathname, or a directory on it, ends in the symbol, and where. The longest such part counts:
 * "d@@\main\3" has it at 1, "d@@\main@@" at 8. Silent.
 *
 * @param      pathname   the pathname, of any length.
 * @param[out] index_out  index of the symbol's first byte in @p pathname; untouched unless the result is 1.
 * @return  1 or 0; 0 for a NULL and without memory.
 */
TBS_API tbs_boolean_t tbs_pname_contains_version_suffix_at_index(const char *pathname,
                                                                 size_t *index_out) TBS_NOEXCEPT;

/**
 * Cuts one symbol off the end of a pathname. A symbol elsewhere stays.
 *
 * @param pathname  the pathname, of any length, changed in place; NULL is ignored, and nothing is changed without
 *                  memory.
 */
TBS_API void tbs_strip_ver_ext_chars(char *pathname) TBS_NOEXCEPT;

/* ---- derived objects ----------------------------------------------------------------------------------------- */

/**
 * Takes the name of a derived object apart: name, symbol, an identifier that ends in "." and a number, as in
 * "hello.o@@20261121T150210Z.4711". The last symbol of the name counts; behind it there is no separator.
 *
 * @param      pathname    the name, of any length.
 * @param[out] index_out   index of the symbol's first byte; may be NULL, untouched on failure.
 * @param[out] number_out  the number: decimal, hexadecimal behind "0x", octal behind "0"; may be NULL, untouched on
 *                         failure.
 * @retval 0              taken apart
 * @retval TBS_ST_ERROR   (1001) the name has another form, or the number more than 32 bits
 * @retval TBS_ST_EINVAL  (1072) @p pathname is NULL
 * @retval TBS_ST_ENOMEM  (1062) no memory
 */
TBS_API tbs_status_t tbs_decode_do_pname(const char *pathname, size_t *index_out, uint32_t *number_out) TBS_NOEXCEPT;

/**
 * Writes the identifier of a derived object: the time of its last change as date_fmt_token_short_date_time() writes it,
 * ".", the number.
 *
 * @param buffer   receives the identifier, #TBS_PATH_SIZE bytes; untouched on failure.
 * @param ignored  not looked at.
 * @param status   file status; the seconds of its @c mtime count.
 * @param number   the number, written in decimal.
 * @retval 0              written
 * @retval TBS_ST_ERROR   (1001) the time cannot be written
 * @retval TBS_ST_EINVAL  (1072) @p buffer or @p status is NULL
 */
TBS_API tbs_status_t tbs_format_do_idstr(char *buffer, const void *ignored, const tbs_fstat_db_t *status,
                                         uint32_t number) TBS_NOEXCEPT;

/* ---- view roots ---------------------------------------------------------------------------------------------- */

/** As tbs_view_root_type(), for dynamic views. */
TBS_API tbs_status_t tbs_view_root(char *buffer, const char *leaf) TBS_NOEXCEPT;

/**
 * Gives the path of a view root, or of something in it. On a host without view roots, or while one cannot be opened,
 * its path is empty: a leaf then follows the "\" alone. A view root that cannot be opened is tried again by the next
 * call, as long as the host has one of the other type. Silent, but for the first look at the host's view roots.
 *
 * @param type    DYVWROOT or AUVWROOT; another type is an assertion failure, which ends the process.
 * @param buffer  receives the path, and behind a "\" the leaf, if any; #TBS_PATH_SIZE bytes, untouched on failure.
 * @param leaf    may be NULL or "".
 * @retval 0                    written, cut when it is longer than the buffer
 * @retval TBS_ST_ERROR         (1001) there is no such view root, and no leaf either
 * @retval TBS_ST_NOT_FOUND     (1002) the view root does not tell its path, or one of 256 bytes and more
 * @retval TBS_ST_EINVAL        (1072) @p buffer is NULL
 * @retval TBS_ST_ENOMEM        (1062) no memory
 */
TBS_API tbs_status_t tbs_view_root_type(mvfs_view_root_type_t type, char *buffer, const char *leaf) TBS_NOEXCEPT;

/** Flags of a process. The two functions below keep them apart. */
enum {
    TBS_MVFS_WS_NO_MVFS = 0x1,   /**< no view root of either type can be opened */
    TBS_MVFS_WS_DISABLED = 0x2,  /**< the environment variable ORSIK_NO_WS is "TRUE", in just these letters */
    TBS_MVFS_WS_NO_DYNAMIC = 0x4 /**< the dynamic view root cannot be opened */
};

/**
 * Tells what the process can expect of view roots.
 *
 * @return  #TBS_MVFS_WS_NO_MVFS and #TBS_MVFS_WS_DISABLED, as they were found first; without memory to find out,
 *          #TBS_MVFS_WS_NO_MVFS.
 */
TBS_API uint32_t tbs_mvfs_ws_flags(void) TBS_NOEXCEPT;

/**
 * Tells whether there are dynamic views.
 *
 * @return  #TBS_MVFS_WS_NO_DYNAMIC or 0, as it was found first; without memory to find out, the flag.
 */
TBS_API uint32_t tbs_mvfs_ws_dyn_flags(void) TBS_NOEXCEPT;

/* ---- identities ---------------------------------------------------------------------------------------------- */

/**
 * Gives the id of the host's domain: the text of its SID, or "UnknownDomain" when that cannot be found out.
 *
 * @param[out] id_out  the id; constant for the life of the process, never freed.
 * @retval 0              always, but for
 * @retval TBS_ST_EINVAL  (1072) a NULL
 */
TBS_API tbs_status_t tbs_get_my_domain_id(const char **id_out) TBS_NOEXCEPT;

/**
 * Gives the identity of the user whose rights the process has: the text of the user's SID.
 *
 * @param[out] identity_out  the identity; constant for the life of the process, never freed. Untouched on failure.
 * @retval 0              given
 * @retval TBS_ST_ERROR   (1001) it cannot be found out. This is final for the process: nobody is asked again.
 * @retval TBS_ST_EINVAL  (1072) a NULL
 */
TBS_API tbs_status_t tbs_get_my_user_identity(const char **identity_out) TBS_NOEXCEPT;

/**
 * Gives the identity of a user: the text of the SID. Nothing of it is kept.
 *
 * @param      login         "DOMAIN\name", or a plain name of the host's own domain.
 * @param[out] identity_out  the identity, released with stg_free(); untouched on failure.
 * @retval 0              given
 * @retval TBS_ST_ERROR   (1001) there is no such user, or the sources of accounts could not be asked
 * @retval TBS_ST_EINVAL  (1072) a pointer is NULL
 * @retval TBS_ST_ENOMEM  (1062) no memory
 */
TBS_API tbs_status_t tbs_login_to_user_identity(const char *login, char **identity_out) TBS_NOEXCEPT;

TBS_END_C

#endif
