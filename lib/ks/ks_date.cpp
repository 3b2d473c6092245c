#include "ks/ks_date.h"

#include "internal/ks_date_os.hpp"
#include "internal/ks_fail.hpp"
#include "ks/ks_str.h"

#include <chrono>

namespace {

using std::chrono::days, std::chrono::hh_mm_ss, std::chrono::sys_days, std::chrono::sys_seconds, std::chrono::year,
    std::chrono::year_month_day;

constexpr const char *weekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char *months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The years of four digits.
constexpr int64_t first_second = sys_seconds(sys_days(year(0) / 1 / 1)).time_since_epoch().count();
constexpr int64_t end_second = sys_seconds(sys_days(year(10000) / 1 / 1)).time_since_epoch().count();

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

extern "C" int date_fmt_token_short_date_time(int64_t seconds, char *buffer, size_t size) noexcept {
    if (buffer && size != 0) *buffer = '\0';
    if (!buffer || seconds < first_second || seconds >= end_second) return ks::fail(KS_EINVAL);
    if (size < DATE_TOKEN_SIZE) return ks::fail(KS_ENAMETOOLONG);
    const sys_seconds moment{std::chrono::seconds(seconds)};
    const auto midnight = std::chrono::floor<days>(moment);
    const year_month_day date(midnight);
    const hh_mm_ss time(moment - midnight);
    strutl_snprintf(buffer, size, "%04d%02u%02uT%02d%02d%02dZ", static_cast<int>(date.year()),
                    static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                    static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                    static_cast<int>(time.seconds().count()));
    return 0;
}
