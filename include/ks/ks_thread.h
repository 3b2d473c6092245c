/*
 * ks_thread.h - mutexes that need no creation.
 */
#ifndef KS_THREAD_H
#define KS_THREAD_H

#include "ks_types.h"

KS_BEGIN_C

/** A mutex. Static storage set to #TVTHREAD_MUTEX_INIT is ready for use; it is never destroyed. */
typedef struct tvthread_mutex {
    uint64_t opaque[8];
} tvthread_mutex_t;

/* clang-format off */
/** Initial value of a mutex. */
#define TVTHREAD_MUTEX_INIT {{0, 0, 0, 0, 0, 0, 0, 0}}
/* clang-format on */

/**
 * Takes a mutex, waiting for it. Not recursive.
 *
 * @param mutex  the mutex.
 */
KS_API void tvthread_mutex_lock(tvthread_mutex_t *mutex) KS_NOEXCEPT;

/**
 * Releases a mutex that the calling thread holds.
 *
 * @param mutex  the mutex.
 */
KS_API void tvthread_mutex_unlock(tvthread_mutex_t *mutex) KS_NOEXCEPT;

KS_END_C

#endif
