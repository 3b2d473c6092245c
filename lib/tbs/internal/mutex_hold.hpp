// mutex_hold.hpp - a mutex that is held for a scope.
#ifndef TBS_INTERNAL_MUTEX_HOLD_HPP
#define TBS_INTERNAL_MUTEX_HOLD_HPP

#include "ks/ks_thread.h"

namespace tbs {

class mutex_hold {
public:
    explicit mutex_hold(tvthread_mutex_t &mutex) : mutex_(mutex) { tvthread_mutex_lock(&mutex_); }
    ~mutex_hold() { tvthread_mutex_unlock(&mutex_); }
    mutex_hold(const mutex_hold &) = delete;
    mutex_hold &operator=(const mutex_hold &) = delete;

private:
    tvthread_mutex_t &mutex_;
};

} // namespace tbs

#endif
