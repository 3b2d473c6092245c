/*
 * nt_types.h - linkage of liborsiknt.
 */
#ifndef NT_TYPES_H
#define NT_TYPES_H

#include "../ks/ks_types.h"

#ifdef ORSIK_BUILD_NT
#define NT_API KS_EXPORT
#else
/** Stands before every function of the library. */
#define NT_API KS_IMPORT
#endif

#endif
