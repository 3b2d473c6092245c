#include "internal/ks_date_os.hpp"

#include <time.h>

namespace ks::os {

bool local_time(int64_t seconds, std::tm &fields) noexcept {
    tzset(); // localtime_r() need not look at TZ again
    const time_t host = seconds;
    return localtime_r(&host, &fields) != nullptr;
}

} // namespace ks::os
