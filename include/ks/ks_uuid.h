/*
 * ks_uuid.h - new identifiers from the system.
 */
#ifndef KS_UUID_H
#define KS_UUID_H

#include "ks_types.h"

KS_BEGIN_C

/** Identifier in the layout of RFC 4122, section 4.1.2, integer fields in host byte order. */
typedef struct ks_uuid {
    uint32_t time_low;
    uint16_t time_mid;
    uint16_t time_hi_and_version;
    uint8_t clock_seq_hi_and_reserved;
    uint8_t clock_seq_low;
    uint8_t node[6];
} ks_uuid_t;

/**
 * Makes a new identifier: random, version 4, variant 10 (RFC 4122, section 4.4). Each call asks the system, so parent
 * and child of a fork never get the same. Any thread.
 *
 * @param[out] uuid_out  the identifier; untouched on failure.
 * @retval 0           made
 * @retval KS_EINVAL   @p uuid_out is NULL
 * @return  else the system's error, translated.
 */
KS_API int UuidCreate(ks_uuid_t *uuid_out) KS_NOEXCEPT;

KS_END_C

#endif
