/*
 * ks_date.h - dates as text, in English whatever the locale.
 *
 * Any thread, any time, as long as none changes the environment meanwhile.
 */
#ifndef KS_DATE_H
#define KS_DATE_H

#include "ks_types.h"
#include <time.h>

KS_BEGIN_C

/** Size in bytes of a buffer for what date_ctime() writes, terminator included. */
#define DATE_CTIME_SIZE 50

/**
 * Writes a time as the function ctime of C does: "Thu Jan  1 00:00:00 1970\n". The text has 25 characters, the line
 * end included, for the years 1000 to 9999.
 *
 * The time zone is the host's, or the one that the environment variable TZ names at that moment.
 *
 * @param seconds  seconds since 1970-01-01 00:00 UTC; negative before it.
 * @param buffer   receives the text; "" on failure when @p size is not 0.
 * @param size     its size in bytes; #DATE_CTIME_SIZE always suffices.
 * @retval 0                 written
 * @retval KS_ERANGE         the year is beyond what the host's calendar can count
 * @retval KS_ENAMETOOLONG   it does not fit
 * @retval KS_EINVAL         @p buffer is NULL or @p size is 0
 */
KS_API int date_ctime(int64_t seconds, char *buffer, size_t size) KS_NOEXCEPT;

/** Size in bytes of a buffer for a short date-time token, terminator included. */
#define DATE_TOKEN_SIZE 17

/**
 * Writes a time as a short token without blanks and dots, in UTC: "20261121T150210Z". Tokens sort as their times do.
 *
 * @param seconds  seconds since 1970-01-01 00:00 UTC, of the years 0 to 9999; may be negative.
 * @param buffer   receives the token; "" on failure when @p size is not 0.
 * @param size     size of @p buffer in bytes; #DATE_TOKEN_SIZE suffices.
 * @retval 0                 written
 * @retval KS_EINVAL         the buffer is NULL, or the year is another
 * @retval KS_ENAMETOOLONG   the token does not fit
 */
KS_API int date_fmt_token_short_date_time(int64_t seconds, char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Divides a time into the fields of the calendar, in UTC.
 *
 * @param      seconds     seconds since 1970-01-01 00:00 UTC; negative before it.
 * @param[out] fields_out  the fields, as those of C's gmtime(); untouched on failure.
 * @retval 0           divided
 * @retval KS_ERANGE   the year is outside 0 to 9999
 * @retval KS_EINVAL   @p fields_out is NULL
 */
KS_API int date_get_gmtime(int64_t seconds, struct tm *fields_out) KS_NOEXCEPT;

KS_END_C

#endif
