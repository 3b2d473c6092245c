/*
 * nt_time.h - the time of day.
 */
#ifndef NT_TIME_H
#define NT_TIME_H

#include "nt_types.h"

KS_BEGIN_C

/**
 * Tells the time, as C's time() does.
 *
 * @param[out] seconds_out  receives it as well; may be NULL.
 * @return  seconds since 1970-01-01 00:00 UTC. Any thread.
 */
NT_API int64_t unix_nt_time(int64_t *seconds_out) KS_NOEXCEPT;

KS_END_C

#endif
