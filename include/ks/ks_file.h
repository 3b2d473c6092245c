/*
 * ks_file.h - product paths and host paths.
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

KS_END_C

#endif
