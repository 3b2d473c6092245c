/*
 * tbs_uuid.h - identifiers of objects: making them, comparing them, their two text forms.
 *
 * An identifier is 16 plain bytes: copy it by assignment. tbs_uuid_t is what is generated, tbs_oid_t names an object:
 * the same layout (RFC 4122, section 4.1.2, integer fields in host byte order) under two names.
 * Every function may be called from any thread at any time, and none keeps a pointer that it was given.
 *
 * The dotted form is "12345678.9abc1def.8a12.00:11:22:33:44:55", the dense form "123456789abc1def8a12001122334455".
 */
#ifndef TBS_UUID_H
#define TBS_UUID_H

#include "tbs_status.h"
#include <stdio.h>
#include <time.h>

TBS_BEGIN_C

/** Identifier. */
typedef struct tbs_uuid {
    uint32_t time_low;                 /**< low 32 bits of the 60-bit timestamp */
    uint16_t time_mid;                 /**< middle 16 bits */
    uint16_t time_hi_and_version;      /**< top 12 bits in bits 0-11, version in bits 12-15 */
    uint8_t clock_seq_hi_and_reserved; /**< variant in the top two bits, high clock-sequence bits */
    uint8_t clock_seq_low;
    uint8_t node[6];
} tbs_uuid_t;

/** Identifier of an object: the same layout, the same text forms. */
typedef tbs_uuid_t tbs_oid_t;

/** Size in bytes of a buffer that holds either text form, terminator included. */
#define TBS_UUID_STR_SIZE 41

/** Size in bytes of a buffer for tbs_fscanf_uuid(); a smaller one is refused. */
#define TBS_UUID_SCAN_SIZE 51

/** The identifier of nothing: 16 zero bytes. */
TBS_API extern const tbs_uuid_t TBS_UUID_NULL;
/** The object identifier of nothing: 16 zero bytes. */
TBS_API extern const tbs_oid_t TBS_OID_NULL;

/**
 * Makes a new identifier (random, version 4).
 *
 * @param[out] uuid_out  the identifier; what the system left there unless the result is 0.
 * @retval 0               made
 * @retval TBS_ST_ERROR    the system has no randomness to give: "Can't generate a UUID (possible network/adapter
 *                         configuration problem) - UuidCreate error N"
 * @retval TBS_ST_EINVAL   @p uuid_out is NULL
 */
TBS_API tbs_status_t tbs_uuid_gen(tbs_uuid_t *uuid_out) TBS_NOEXCEPT;

/**
 * Writes the dotted form, lower case.
 *
 * @param uuid  the identifier; NULL is written as "(NULL)".
 * @param text  buffer of at least #TBS_UUID_STR_SIZE bytes; always terminated.
 * @return  @p text, so that the call can stand in an argument list. Cannot fail, prints nothing.
 */
TBS_API char *tbs_uuid_to_str(const tbs_uuid_t *uuid, char *text) TBS_NOEXCEPT;

/** Writes the dense form; as tbs_uuid_to_str(). @return @p text. */
TBS_API char *tbs_uuid_to_dstr(const tbs_uuid_t *uuid, char *text) TBS_NOEXCEPT;

/**
 * Reads an identifier in the dotted or the dense form, as the C scanner reads hexadecimal numbers: white space before
 * a number, a sign and "0x" count towards its width, text behind the last field is ignored.
 *
 * @param      text      terminated text.
 * @param[out] uuid_out  the identifier; unspecified unless the result is 0.
 * @retval 0               read
 * @retval TBS_ST_ERROR    neither form; nothing is printed, the caller knows where the text came from
 * @retval TBS_ST_EINVAL   a pointer is NULL
 */
TBS_API tbs_status_t tbs_str_to_uuid(const char *text, tbs_uuid_t *uuid_out) TBS_NOEXCEPT;

/** Reads an identifier in either form; the same as tbs_str_to_uuid(). @return the status. */
TBS_API tbs_status_t tbs_dstr_to_uuid(const char *text, tbs_uuid_t *uuid_out) TBS_NOEXCEPT;

/**
 * Tells whether two identifiers are equal in all 16 bytes.
 *
 * @return  1 or 0; two NULLs are equal, NULL and an identifier are not.
 */
TBS_API tbs_boolean_t tbs_uuid_eq(const tbs_uuid_t *a, const tbs_uuid_t *b) TBS_NOEXCEPT;

/**
 * Orders identifiers by their timestamp (version bits aside), equal ones by their bytes in memory: a total order.
 *
 * @return  negative, 0 or positive. NULL comes before every identifier.
 */
TBS_API int tbs_uuid_cmp(const tbs_uuid_t *a, const tbs_uuid_t *b) TBS_NOEXCEPT;

/**
 * Hashes an identifier for hash tables. The mixing is fixed: the hashes of peers agree.
 *
 * @return  the hash; 0 for the null identifier and for NULL.
 */
TBS_API uint32_t tbs_uuid_to_hash32(const tbs_uuid_t *uuid) TBS_NOEXCEPT;

/**
 * Tells when a time-based identifier was made.
 *
 * The epoch lies 2^32 ticks of 100 ns, about 429.5 seconds, behind the true one, as it does for all times stored so
 * far; and only the low 32 bits of the seconds are kept.
 *
 * @param      uuid      the identifier.
 * @param[out] time_out  seconds since 1970; untouched unless the result is 0.
 * @retval 0                  told
 * @retval TBS_ST_NOT_FOUND   the identifier is not of the standard variant, version 1; nothing is printed
 * @retval TBS_ST_EINVAL      a pointer is NULL
 */
TBS_API tbs_status_t tbs_uuid_to_time(const tbs_uuid_t *uuid, time_t *time_out) TBS_NOEXCEPT;

/**
 * Reads one word of at most 50 characters from a stream; tbs_str_to_uuid() makes an identifier of it.
 *
 * @param stream        the stream.
 * @param buffer_size   size of @p buffer in bytes; with less than #TBS_UUID_SCAN_SIZE nothing is read.
 * @param skip_newline  non-zero: the white space behind the word is read too.
 * @param buffer        receives the word; "" when there is none, whatever its size: it has at least one byte.
 * @return  1 when a word was read, 0 when nothing was, EOF at the end of the stream.
 */
TBS_API int tbs_fscanf_uuid(FILE *stream, size_t buffer_size, tbs_boolean_t skip_newline, char *buffer) TBS_NOEXCEPT;

/** Makes an identifier of an object identifier: the same bytes. The arguments may overlap; NULLs do nothing. */
TBS_API void tbs_oid_to_uuid(const tbs_oid_t *oid, tbs_uuid_t *uuid_out) TBS_NOEXCEPT;

/** Makes an object identifier of an identifier: the same bytes. The arguments may overlap; NULLs do nothing. */
TBS_API void tbs_uuid_to_oid(const tbs_uuid_t *uuid, tbs_oid_t *oid_out) TBS_NOEXCEPT;

/** As tbs_uuid_to_str(). @return @p text. */
TBS_API char *tbs_oid_to_str(const tbs_oid_t *oid, char *text) TBS_NOEXCEPT;

/** As tbs_uuid_to_dstr(). @return @p text. */
TBS_API char *tbs_oid_to_dstr(const tbs_oid_t *oid, char *text) TBS_NOEXCEPT;

/** As tbs_str_to_uuid(). @return the status. */
TBS_API tbs_status_t tbs_str_to_oid(const char *text, tbs_oid_t *oid_out) TBS_NOEXCEPT;

/** As tbs_str_to_uuid(). @return the status. */
TBS_API tbs_status_t tbs_dstr_to_oid(const char *text, tbs_oid_t *oid_out) TBS_NOEXCEPT;

/** As tbs_uuid_eq(). @return 1 or 0. */
TBS_API tbs_boolean_t tbs_oid_eq(const tbs_oid_t *a, const tbs_oid_t *b) TBS_NOEXCEPT;

/** As tbs_uuid_cmp(). @return negative, 0 or positive. */
TBS_API int tbs_oid_cmp(const tbs_oid_t *a, const tbs_oid_t *b) TBS_NOEXCEPT;

/** As tbs_uuid_to_hash32(). @return the hash. */
TBS_API uint32_t tbs_oid_to_hash32(const tbs_oid_t *oid) TBS_NOEXCEPT;

/** As tbs_fscanf_uuid(). @return 1, 0 or EOF. */
TBS_API int tbs_fscanf_oid(FILE *stream, size_t buffer_size, tbs_boolean_t skip_newline, char *buffer) TBS_NOEXCEPT;

TBS_END_C

#endif
