/*
 * tbs_types.h - what every header of liborsiktbs shares: linkage, truth values.
 *
 * Conventions of all headers, stated once: inputs are borrowed for the call and deep-copied where they are kept;
 * results come last, through pointers, and are written only on success; a free function takes the address of the
 * caller's variable, accepts NULL and sets the variable to NULL; a NULL where the function does not allow it gives
 * TBS_ST_EINVAL (1072) or the function's failure value. A failure for lack of memory is TBS_ST_ENOMEM (1062), after
 * the message "Operation "%s" failed: %s.". Handles may be shared for reading, not while one thread changes them.
 */
#ifndef TBS_TYPES_H
#define TBS_TYPES_H

#include "../ks/ks_types.h"

#define TBS_API KS_API           /**< stands before every function of the library */
#define TBS_NOEXCEPT KS_NOEXCEPT /**< stands behind every function: none lets an exception out */
#define TBS_BEGIN_C KS_BEGIN_C   /**< what stands between this and #TBS_END_C has the linkage of C */
#define TBS_END_C KS_END_C       /**< ends #TBS_BEGIN_C */

/** Truth value: 0 or 1. */
typedef int32_t tbs_boolean_t;

/** One byte. On the wire it takes a whole 32-bit unit. */
typedef uint8_t tbs_byte_t;

/** Number of an object in its database. */
typedef uint32_t tbs_dbid_t;

/** Generation number of a repository object. */
typedef uint32_t vob_gen_num_t;

/** Kind of a repository object. */
typedef int32_t vob_mtype_t;

/** Set of deliveries to be notified of. */
typedef uint32_t tbs_notify_delivery_mask_t;

#endif
