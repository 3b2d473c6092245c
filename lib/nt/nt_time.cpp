#include "nt/nt_time.h"

#include <chrono>

extern "C" int64_t unix_nt_time(int64_t *seconds_out) noexcept {
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    const int64_t seconds = now.time_since_epoch().count();
    if (seconds_out) *seconds_out = seconds;
    return seconds;
}
