#include "internal/ks_os.hpp"

#include <sys/random.h>
#include <time.h>
#include <unistd.h>

namespace ks::os {

uint64_t entropy() noexcept {
    uint64_t bits;
    if (getrandom(&bits, sizeof bits, GRND_NONBLOCK) == sizeof bits) return bits;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    bits = reinterpret_cast<uintptr_t>(&bits); // the place of the stack is random
    bits ^= static_cast<uint64_t>(now.tv_nsec) << 32 ^ static_cast<uint64_t>(now.tv_sec);
    return bits * 0x9E3779B97F4A7C15u ^ static_cast<uint64_t>(getpid()) << 40;
}

} // namespace ks::os
