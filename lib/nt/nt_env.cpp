#include "nt/nt_env.h"

#include "ks/ks_errno.h"
#include "ks/ks_thread.h"

#include <cstdlib>
#include <cstring>

namespace {

constinit tvthread_mutex_t environment_mutex = TVTHREAD_MUTEX_INIT;
constinit thread_local unsigned held = 0; // how often the calling thread holds it

struct environment_hold {
    environment_hold() { nt_environment_lock(); }
    ~environment_hold() { nt_environment_unlock(); }
    environment_hold(const environment_hold &) = delete;
    environment_hold &operator=(const environment_hold &) = delete;
};

bool is_variable_name(const char *name) { return name && *name && !std::strchr(name, '='); }

int copy_value(const char *name, char *buffer, size_t size) {
    const environment_hold hold;
    const char *value = std::getenv(name);
    if (!value) return KS_ENOENT;
    const size_t length = std::strlen(value);
    if (length >= size) return KS_ENAMETOOLONG;
    std::memcpy(buffer, value, length + 1);
    return 0;
}

} // namespace

extern "C" int nt_getenv_safe(const char *name, char *buffer, size_t size) noexcept {
    if (buffer && size != 0) *buffer = '\0';
    const bool usable = is_variable_name(name) && buffer && size != 0;
    const int error = usable ? copy_value(name, buffer, size) : KS_EINVAL;
    if (error != 0) ks_errno = error;
    return error;
}

extern "C" void nt_environment_lock(void) noexcept {
    if (held++ == 0) tvthread_mutex_lock(&environment_mutex);
}

extern "C" void nt_environment_unlock(void) noexcept {
    if (held != 0 && --held == 0) tvthread_mutex_unlock(&environment_mutex);
}
