/*
 * ezrpc_types.h - what every header of libezrpc shares: linkage.
 */
#ifndef EZRPC_TYPES_H
#define EZRPC_TYPES_H

#include "../ks/ks_types.h"

#ifdef ORSIK_BUILD_EZRPC
#define EZRPC_API KS_EXPORT
#else
/** Stands before every function of the library. */
#define EZRPC_API KS_IMPORT
#endif

#endif
