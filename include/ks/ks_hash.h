/*
 * ks_hash.h - hash tables with text keys.
 *
 * A table maps texts, compared byte by byte, to 64-bit values. Keys are copied. A table belongs to one thread at a
 * time; several threads may look up at once while none changes it.
 */
#ifndef KS_HASH_H
#define KS_HASH_H

#include "ks_types.h"

KS_BEGIN_C

/** A hash table. */
typedef struct hash hash_t;

/**
 * Makes an empty table.
 *
 * @param capacity    expected number of keys; the table grows beyond it by itself.
 * @param[out] table  the table, released with hash_str_delete(); untouched on failure.
 * @retval 0           made
 * @retval KS_ENOMEM   no memory
 * @retval KS_EINVAL   @p table is NULL
 */
KS_API int hash_str_create(size_t capacity, hash_t **table) KS_NOEXCEPT;

/**
 * Stores a value under a key, replacing an earlier one.
 *
 * @param table  the table.
 * @param key    terminated text.
 * @param value  any value, 0 too.
 * @retval 0           stored
 * @retval KS_ENOMEM   no memory; the table is as it was
 * @retval KS_EINVAL   a pointer is NULL
 */
KS_API int hash_str_put(hash_t *table, const char *key, uint64_t value) KS_NOEXCEPT;

/**
 * Looks a key up.
 *
 * @param table           the table.
 * @param key             terminated text.
 * @param[out] value_out  the value; untouched when the key is absent. May be NULL.
 * @return  1 when the key is there, else 0.
 */
KS_API int hash_str_get(const hash_t *table, const char *key, uint64_t *value_out) KS_NOEXCEPT;

/**
 * Removes a key.
 *
 * @return  1 when the key was there, else 0.
 */
KS_API int hash_str_remove(hash_t *table, const char *key) KS_NOEXCEPT;

/**
 * Counts the keys.
 *
 * @param table  the table; NULL counts as empty.
 * @return  the number of keys.
 */
KS_API size_t hash_str_count(const hash_t *table) KS_NOEXCEPT;

/**
 * Releases a table.
 *
 * @param table  the caller's variable, set to NULL; NULL or a variable that holds NULL is ignored.
 */
KS_API void hash_str_delete(hash_t **table) KS_NOEXCEPT;

KS_END_C

#endif
