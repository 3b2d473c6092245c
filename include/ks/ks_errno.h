/*
 * ks_errno.h - one space of error numbers on every system.
 *
 * Error numbers that cross the platform interface are those of the Windows run-time library and of Windows
 * Sockets, whatever the host: peers and status codes are built on them. A platform function that fails leaves
 * the number in the calling thread's ks_errno; a function that succeeds does not touch it. Any thread, any time.
 */
#ifndef KS_ERRNO_H
#define KS_ERRNO_H

#include "ks_types.h"

KS_BEGIN_C

/** Error numbers that the libraries name; the full set is translated by ks_errno_from_host(). */
enum {
    KS_EPERM = 1,
    KS_ENOENT = 2,
    KS_ESRCH = 3,
    KS_EINTR = 4,
    KS_EIO = 5,
    KS_ENXIO = 6,
    KS_E2BIG = 7,
    KS_ENOEXEC = 8,
    KS_EBADF = 9,
    KS_ECHILD = 10,
    KS_EAGAIN = 11,
    KS_ENOMEM = 12,
    KS_EACCES = 13,
    KS_EBUSY = 16,
    KS_EEXIST = 17,
    KS_EXDEV = 18,
    KS_ENODEV = 19,
    KS_ENOTDIR = 20,
    KS_EISDIR = 21,
    KS_EINVAL = 22,
    KS_ENFILE = 23,
    KS_EMFILE = 24,
    KS_EFBIG = 27,
    KS_ENOSPC = 28,
    KS_EROFS = 30,
    KS_EMLINK = 31,
    KS_ERANGE = 34,
    KS_ENAMETOOLONG = 38,
    KS_ENOSYS = 40,
    KS_ENOTEMPTY = 41,
    KS_EILSEQ = 42,
    KS_ECANCELED = 105,
    KS_ECONNRESET = 108,
    KS_ELOOP = 114,
    KS_ENOTSUP = 129,
    KS_ETIMEDOUT = 138,
    KS_WSAEPFNOSUPPORT = 10046,
    KS_WSAELOOP = 10062,
    KS_WSAESTALE = 10070
};

/**
 * Gives the address of the calling thread's error number; use it through the macro #ks_errno.
 *
 * @return  the address, valid for the life of the thread; never NULL.
 */
KS_API int *ks_errno_location(void) KS_NOEXCEPT;

/** The calling thread's last error number of a platform function: an lvalue, as errno is. */
#define ks_errno (*ks_errno_location())

/**
 * Translates an error number of the host into the common space.
 *
 * @param host_error  a value of the host's errno.
 * @return  the Windows number; 0 for 0; KS_EIO for a number that has no counterpart there.
 */
KS_API int ks_errno_from_host(int host_error) KS_NOEXCEPT;

/**
 * Translates an error number of the common space into the host's.
 *
 * @param error  a Windows run-time or Windows Sockets number.
 * @return  the host's number; 0 for 0; -1 for a number that the host does not have.
 */
KS_API int ks_errno_to_host(int error) KS_NOEXCEPT;

KS_END_C

#endif
