#include "ks/ks_thread.h"

#include <pthread.h>

namespace {

// Zero bytes are an unlocked mutex (PTHREAD_MUTEX_INITIALIZER); a test holds the system to that.
static_assert(sizeof(pthread_mutex_t) <= sizeof(tvthread_mutex_t));
static_assert(alignof(pthread_mutex_t) <= alignof(tvthread_mutex_t));

pthread_mutex_t *system_mutex(tvthread_mutex_t *mutex) { return reinterpret_cast<pthread_mutex_t *>(mutex->opaque); }

} // namespace

extern "C" void tvthread_mutex_lock(tvthread_mutex_t *mutex) noexcept {
    if (mutex) pthread_mutex_lock(system_mutex(mutex));
}

extern "C" void tvthread_mutex_unlock(tvthread_mutex_t *mutex) noexcept {
    if (mutex) pthread_mutex_unlock(system_mutex(mutex));
}
