/*
 * ks_stg.h - storage: the general heap, storage areas that are released as a whole, refused allocations for tests.
 *
 * All memory that the libraries hand to callers comes from here. The general heap is the C heap, so memory made by
 * the host's XDR library can be released with stg_free() and the reverse. Heap functions may be called from any
 * thread; an area belongs to one thread at a time. A function that gives NULL for lack of memory sets ks_errno to
 * KS_ENOMEM.
 */
#ifndef KS_STG_H
#define KS_STG_H

#include "ks_types.h"

KS_BEGIN_C

/** A storage area: memory taken piece by piece and released as a whole. */
typedef struct stg_area stg_area_t;

/** The shared empty string. stg_strdup() gives it for "", and stg_free() ignores it: compare by address. */
KS_API extern const char stg_empty_string[1];

/**
 * Takes memory from the general heap.
 *
 * @param size  bytes; 0 gives a pointer that may be freed.
 * @return  memory aligned for any object, contents undefined, released with stg_free(); NULL when there is none.
 */
KS_API void *stg_malloc(size_t size) KS_NOEXCEPT;

/**
 * Takes zero-filled memory for an array from the general heap.
 *
 * @param count  number of elements.
 * @param size   bytes of an element.
 * @return  memory released with stg_free(); NULL when there is none or the product overflows.
 */
KS_API void *stg_calloc(size_t count, size_t size) KS_NOEXCEPT;

/**
 * Takes memory from an area.
 *
 * @param area  the area; NULL is the general heap, whose memory is released with stg_free().
 * @param size  bytes.
 * @return  memory aligned for any object, contents undefined; NULL when there is none.
 */
KS_API void *stg_alloc(stg_area_t *area, size_t size) KS_NOEXCEPT;

/**
 * Copies a text onto the general heap.
 *
 * @param text  terminated text; NULL gives NULL.
 * @return  the copy, released with stg_free(), or #stg_empty_string for ""; NULL when there is no memory.
 */
KS_API char *stg_strdup(const char *text) KS_NOEXCEPT;

/**
 * Copies a text into an area.
 *
 * @param area  the area; NULL is the general heap.
 * @param text  terminated text; NULL gives NULL.
 * @return  the copy, which lives as long as the area; NULL when there is no memory.
 */
KS_API char *stg_area_strdup(stg_area_t *area, const char *text) KS_NOEXCEPT;

/**
 * Releases memory of the general heap.
 *
 * @param memory  memory of stg_malloc(), stg_calloc(), stg_strdup() or the C heap; NULL and #stg_empty_string are
 *                ignored.
 */
KS_API void stg_free(void *memory) KS_NOEXCEPT;

/**
 * Makes an empty storage area.
 *
 * @return  the area, released with stg_delete_area(); NULL when there is no memory.
 */
KS_API stg_area_t *stg_create_area(void) KS_NOEXCEPT;

/**
 * Releases an area and all memory taken from it.
 *
 * @param area  the caller's variable, set to NULL; NULL or a variable that holds NULL is ignored.
 */
KS_API void stg_delete_area(stg_area_t **area) KS_NOEXCEPT;

/**
 * Decides about one allocation in a test: non-zero refuses it.
 *
 * @param context  the pointer given to stg_set_failure_hook().
 */
typedef int (*stg_failure_hook_t)(void *context);

/**
 * Installs the hook that tests use to refuse allocations. Every function of this header that takes memory asks it.
 *
 * @param hook     the hook, called from any thread; NULL removes it.
 * @param context  handed to the hook.
 */
KS_API void stg_set_failure_hook(stg_failure_hook_t hook, void *context) KS_NOEXCEPT;

/**
 * Asks the hook about an allocation that is made elsewhere, so that a test can refuse those of C++ too.
 *
 * @return  non-zero when the allocation is to fail; 0 when there is no hook.
 */
KS_API int stg_must_fail(void) KS_NOEXCEPT;

KS_END_C

#endif
