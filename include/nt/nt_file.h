/*
 * nt_file.h - files by product path, with the behaviour that the system's programs expect.
 */
#ifndef NT_FILE_H
#define NT_FILE_H

#include "nt_types.h"
#include <stdio.h>

KS_BEGIN_C

/**
 * Opens a file as C's fopen does, by product path, close-on-exec.
 *
 * A directory is refused at once, not at the first read.
 *
 * @param path  product path ("\" and "/" both separate).
 * @param mode  "r", "w", "a", with "+", "b" or "x" as in C.
 * @return  the stream, closed with fclose(); NULL with ks_errno set: KS_EISDIR for a directory, KS_ENAMETOOLONG,
 *          KS_EINVAL for a NULL or a bad mode, else what the host says, translated. Prints nothing. Any thread.
 */
NT_API FILE *unix_nt_fopen(const char *path, const char *mode) KS_NOEXCEPT;

/**
 * Reads from a stream as C's fread does, and tells an error in the common space.
 *
 * @param buffer  receives the bytes.
 * @param size    bytes wanted.
 * @param stream  the stream.
 * @return  bytes read; fewer than @p size at the end of the file or on an error: then ferror() is set and ks_errno
 *          says why. 0 for a NULL pointer.
 */
NT_API size_t unix_nt_fread(void *buffer, size_t size, FILE *stream) KS_NOEXCEPT;

/**
 * Tests whether a file is there and may be used, as C's access does, for the effective user.
 *
 * @param path  product path.
 * @param mode  0: it is there; 2: it may be written; 4: read; 6: both.
 * @return  0; -1 with ks_errno set: KS_ENOENT, KS_EACCES, KS_ENAMETOOLONG, KS_EINVAL for a NULL or another mode, or
 *          what else the host says, translated. Prints nothing. Any thread.
 */
NT_API int unix_nt_access(const char *path, int mode) KS_NOEXCEPT;

/**
 * Opens a file of settings for reading, close-on-exec. Only a regular file is opened, and nothing is waited for; what
 * is asked about the file is asked of the open one.
 *
 * @param      path                  product path.
 * @param[out] others_may_write_out  1 when others than the file's owner and group may write to it, else 0: the
 *                                   caller says so to the user; may be NULL, untouched on failure.
 * @return  the stream, closed with fclose(); NULL with ks_errno set: KS_ENOENT, KS_EACCES, KS_EISDIR, KS_ENAMETOOLONG,
 *          KS_EINVAL for a NULL or what is no file, or what else the host says. Prints nothing. Any thread.
 */
NT_API FILE *unix_nt_fopen_settings(const char *path, int *others_may_write_out) KS_NOEXCEPT;

/** What unix_nt_read_content() is given when the caller has no descriptor of the file. */
#define UNIX_NT_NOT_OPEN (-2)

/**
 * Reads the beginning of a regular file. Nothing is waited for, and a descriptor of the caller's stays where it is.
 *
 * @param      path      product path; not used with a descriptor.
 * @param      fd        descriptor of the file, open for reading; #UNIX_NT_NOT_OPEN to open it by @p path meanwhile.
 * @param      buffer    receives the bytes.
 * @param      size      most bytes.
 * @param[out] size_out  bytes read, fewer than @p size at the end of the file; untouched on failure.
 * @return  0; KS_EINVAL for what is no regular file or a NULL; KS_ENOENT, KS_EACCES, KS_EBADF, or what else the host
 *          says, translated. Prints nothing. Any thread.
 */
NT_API int unix_nt_read_content(const char *path, int fd, void *buffer, size_t size, size_t *size_out) KS_NOEXCEPT;

KS_END_C

#endif
