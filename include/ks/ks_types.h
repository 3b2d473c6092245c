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

/* How a library gives its functions away, and how those who use it take them. */
#if defined(_WIN32)
#define KS_EXPORT __declspec(dllexport)
#define KS_IMPORT __declspec(dllimport)
#else
#define KS_EXPORT __attribute__((visibility("default")))
#define KS_IMPORT KS_EXPORT
#endif

#ifdef ORSIK_BUILD_KS
#define KS_API KS_EXPORT
#else
#define KS_API KS_IMPORT
#endif

#ifdef __cplusplus
#define KS_NOEXCEPT noexcept
#define KS_NORETURN [[noreturn]]
#define KS_BEGIN_C extern "C" {
#define KS_END_C }
#else
#define KS_NOEXCEPT
#define KS_NORETURN _Noreturn
#define KS_BEGIN_C
#define KS_END_C
#endif

#endif
