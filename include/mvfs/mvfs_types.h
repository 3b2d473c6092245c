/*
 * mvfs_types.h - linkage of liborsikmvfs.
 */
#ifndef MVFS_TYPES_H
#define MVFS_TYPES_H

#include "../ks/ks_types.h"

#ifdef ORSIK_BUILD_MVFS
#define MVFS_API KS_EXPORT
#else
/** Stands before every function of the library. */
#define MVFS_API KS_IMPORT
#endif

#endif
