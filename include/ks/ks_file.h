/*
 * ks_file.h - product paths and host paths, status of files, directories.
 *
 * A product path separates its parts with "\" or "/"; joins made by the libraries use "\". Every platform function
 * that takes a path turns it into a host path first. Any thread, any time.
 */
#ifndef KS_FILE_H
#define KS_FILE_H

#include "ks_types.h"

KS_BEGIN_C

/** Size in bytes of a buffer for any product path that the libraries build, terminator included. */
#define KS_PATH_SIZE 1024

/**
 * Turns a product path into a path of the host: on Linux each "\" becomes "/".
 *
 * @param path    product path.
 * @param buffer  receives the host path.
 * @param size    size of @p buffer in bytes.
 * @retval 0                  written
 * @retval KS_ENAMETOOLONG    it does not fit; the buffer holds ""
 * @retval KS_EINVAL          a pointer is NULL or @p size is 0
 */
KS_API int fileutl_host_path(const char *path, char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Tells whether a path begins at a root: with a drive letter and ":", or with exactly one separator.
 *
 * @param path  product path; NULL is none.
 * @return  1 or 0.
 */
KS_API int fileutl_is_drive_style(const char *path) KS_NOEXCEPT;

/**
 * Tells whether a path names a share of the network: it begins with two separators.
 *
 * @param path  product path; NULL is none.
 * @return  1 or 0.
 */
KS_API int fileutl_is_unc_pn(const char *path) KS_NOEXCEPT;

/**
 * Turns a path on a mapped drive into its full network form. Hosts without mapped drives give the path as it is.
 *
 * @param path    product path.
 * @param buffer  receives the path.
 * @param size    size of @p buffer in bytes.
 * @retval 0                  written
 * @retval KS_ENAMETOOLONG    it does not fit; the buffer holds ""
 * @retval KS_EINVAL          a pointer is NULL or @p size is 0
 */
KS_API int fileutl_expand_mapped_pn(const char *path, char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Splits a path at its last separator. Without one the directory is empty; after a trailing one the leaf is.
 *
 * @param path       product path.
 * @param directory  receives the part before the separator.
 * @param directory_size  its size in bytes.
 * @param leaf       receives the part behind it.
 * @param leaf_size  its size in bytes.
 * @retval 0                  split
 * @retval KS_ENAMETOOLONG    a part does not fit; the buffers are untouched
 * @retval KS_EINVAL          a pointer is NULL
 */
KS_API int fileutl_strip_leaf(const char *path, char *directory, size_t directory_size, char *leaf,
                              size_t leaf_size) KS_NOEXCEPT;

/* ---- status -------------------------------------------------------------------------------------------------- */

/** Kinds of files, in the bits FILEUTL_KIND of a mode; numbered as POSIX systems do. */
enum {
    FILEUTL_KIND = 0170000,
    FILEUTL_FIFO = 0010000,
    FILEUTL_CHAR_DEVICE = 0020000,
    FILEUTL_DIRECTORY = 0040000,
    FILEUTL_BLOCK_DEVICE = 0060000,
    FILEUTL_REGULAR = 0100000,
    FILEUTL_LINK = 0120000,
    FILEUTL_SOCKET = 0140000
};

/** What a host knows of a file. */
typedef struct fileutl_status {
    uint32_t mode;   /**< kind and permission bits, 07777 */
    uint32_t nlink;  /**< names of the file */
    uint32_t uid;    /**< owner, the host's number */
    uint32_t gid;    /**< group, the host's number */
    uint64_t device; /**< where the file is */
    uint64_t ino;    /**< its number there */
    int64_t size;    /**< bytes */
    int64_t atime;   /**< last read, seconds since 1970 */
    int64_t mtime;   /**< last write */
    int64_t ctime;   /**< last change of the status */
} fileutl_status_t;

/**
 * Tells what a file is.
 *
 * @param      path        product path.
 * @param      follow      non-zero: of a symbolic link its target is meant.
 * @param[out] status_out  the status; untouched on failure.
 * @return  0; -1 with ks_errno set: KS_ENOENT, KS_EACCES, KS_ENOTDIR, KS_ENAMETOOLONG, KS_EINVAL for a NULL, or
 *          what else the host says, translated.
 */
KS_API int fileutl_stat(const char *path, int follow, fileutl_status_t *status_out) KS_NOEXCEPT;

/**
 * Tells whether a file is too large for the narrow forms of records, whose offsets are signed 32-bit numbers.
 *
 * @param offset  bytes up to a place in the file; its size when @p length is 0.
 * @param length  bytes from there to the end.
 * @return  1 when the end lies beyond 2147483647, else 0.
 */
KS_API int fileutl_chk_large_file_overflow(uint64_t offset, uint64_t length) KS_NOEXCEPT;

/* ---- directories --------------------------------------------------------------------------------------------- */

/**
 * Finds the files that match a pattern in one directory of a search path. Directories that are not there, or may not
 * be read, are passed over.
 *
 * @param      path_list   product paths of directories, separated by ";"; empty ones do not count.
 * @param      pattern     pattern of the leaf (see ks_wild.h); "." and ".." never match.
 * @param      index       position in the list at which the search begins, from 0.
 * @param[out] index_out   position of the directory that was searched; untouched unless the result is 0.
 * @param[out] names_out   product paths of the files, sorted by their bytes, released with strutl_free_str_list(); may
 *                         be none. Untouched unless the result is 0.
 * @param[out] count_out   their number; untouched unless the result is 0.
 * @retval 0                 searched
 * @retval KS_ENOENT         there is no directory at @p index or behind it (the number is 2)
 * @retval KS_EINVAL         a pointer is NULL, or the pattern is none
 * @retval KS_ENAMETOOLONG   a path does not fit
 * @retval KS_ENOMEM         no memory
 * @return  or why a directory that is there cannot be listed now: KS_EMFILE, KS_ENFILE, KS_EIO and what else the host
 *          says, translated.
 */
KS_API int fileutl_resolve_pattern_index(const char *path_list, const char *pattern, uint32_t index,
                                         uint32_t *index_out, char ***names_out, uint32_t *count_out) KS_NOEXCEPT;

/** A directory that is being listed; one thread at a time. */
typedef struct fileutl_dir fileutl_dir_t;

/**
 * Opens a directory for listing.
 *
 * @param path  product path.
 * @return  the listing, closed with fileutl_closedir(); NULL with ks_errno set: KS_ENOENT, KS_ENOTDIR, KS_EACCES,
 *          KS_ENAMETOOLONG, KS_ENOMEM, KS_EINVAL for a NULL, or what else the host says, translated.
 */
KS_API fileutl_dir_t *fileutl_opendir(const char *path) KS_NOEXCEPT;

/**
 * Gives the next name, in the order of the directory; "." and ".." are among them.
 *
 * @param dir     the listing.
 * @param buffer  receives the name; untouched unless the result is 1.
 * @param size    size of @p buffer in bytes; 256 always suffices.
 * @return  1 for a name; 0 at the end; -1 with ks_errno set: KS_ENAMETOOLONG, KS_EINVAL, or what the host says.
 */
KS_API int fileutl_readdir_r(fileutl_dir_t *dir, char *buffer, size_t size) KS_NOEXCEPT;

/** Closes a listing. @return 0; else the error, also in ks_errno; the listing is gone in either case. */
KS_API int fileutl_closedir(fileutl_dir_t *dir) KS_NOEXCEPT;

KS_END_C

#endif
