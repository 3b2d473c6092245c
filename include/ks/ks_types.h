/*
 * ks_types.h - what every header of liborsikks shares: linkage, and what a function promises.
 *
 * The kernel-services library lies below all others: it knows the system, and nothing of ours. Functions that
 * can fail return 0 or an error number of the Windows run-time library (see ks_errno.h) unless they say otherwise.
 */
#ifndef KS_TYPES_H
#define KS_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define KS_EXPORT __declspec(dllexport)
#define KS_IMPORT __declspec(dllimport)
#else
/** How a library gives its functions away. */
#define KS_EXPORT __attribute__((visibility("default")))
/** How those who use a library take them. */
#define KS_IMPORT KS_EXPORT
#endif

#ifdef ORSIK_BUILD_KS
#define KS_API KS_EXPORT
#else
/** Stands before every function of the library. */
#define KS_API KS_IMPORT
#endif

#ifdef __cplusplus
#define KS_NOEXCEPT noexcept
#define KS_NORETURN [[noreturn]]
#define KS_BEGIN_C extern "C" {
#define KS_END_C }
#else
/** Stands behind every function: none lets an exception out. */
#define KS_NOEXCEPT
/** Stands before a function that does not return. */
#define KS_NORETURN _Noreturn
/** What stands between this and #KS_END_C has the linkage of C. */
#define KS_BEGIN_C
/** Ends #KS_BEGIN_C. */
#define KS_END_C
#endif

#endif
