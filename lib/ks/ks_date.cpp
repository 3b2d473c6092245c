#include "ks/ks_date.h"

#include "internal/ks_date_os.hpp"
#include "internal/ks_fail.hpp"
#include "ks/ks_str.h"

namespace {

constexpr const char *weekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char *months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

} // namespace

extern "C" int date_ctime(int64_t seconds, char *buffer, size_t size) noexcept {
    if (!buffer || size == 0) return ks::fail(KS_EINVAL);
    buffer[0] = '\0';
    std::tm at;
    if (!ks::os::local_time(seconds, at)) return ks::fail(KS_ERANGE);
    const size_t length =
        strutl_snprintf(buffer, size, "%s %s%3d %.2d:%.2d:%.2d %I64d\n", weekdays[at.tm_wday], months[at.tm_mon],
                        at.tm_mday, at.tm_hour, at.tm_min, at.tm_sec, int64_t{1900} + at.tm_year);
    if (length < size) return 0;
    buffer[0] = '\0';
    return ks::fail(KS_ENAMETOOLONG);
}
