#include "ks/ks_date.h"

#include "internal/ks_date_os.hpp"
#include "internal/ks_fail.hpp"
#include "ks/ks_str.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstring>
#include <iterator>

namespace {

using std::chrono::days, std::chrono::hh_mm_ss, std::chrono::sys_days, std::chrono::sys_seconds, std::chrono::year,
    std::chrono::year_month_day;

constexpr const char *weekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char *months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The years of four digits.
constexpr int64_t first_second = sys_seconds(sys_days(year(0) / 1 / 1)).time_since_epoch().count();
constexpr int64_t end_second = sys_seconds(sys_days(year(10000) / 1 / 1)).time_since_epoch().count();

// A name of three letters and a blank.
char *put_name(char *to, const char *name) noexcept {
    to = std::copy_n(name, 3, to);
    *to++ = ' ';
    return to;
}

// A number below 100 and what stands behind it.
char *put_two_digits(char *to, int number, char fill, char behind) noexcept {
    *to++ = number < 10 ? fill : static_cast<char>('0' + number / 10);
    *to++ = static_cast<char>('0' + number % 10);
    *to++ = behind;
    return to;
}

} // namespace

extern "C" int date_ctime(int64_t seconds, char *buffer, size_t size) noexcept {
    if (!buffer || size == 0) return ks::fail(KS_EINVAL);
    buffer[0] = '\0';
    std::tm at;
    if (!ks::os::local_time(seconds, at)) return ks::fail(KS_ERANGE);
    char text[DATE_CTIME_SIZE];
    char *end = put_name(text, weekdays[at.tm_wday]);
    end = put_name(end, months[at.tm_mon]);
    end = put_two_digits(end, at.tm_mday, ' ', ' ');
    end = put_two_digits(end, at.tm_hour, '0', ':');
    end = put_two_digits(end, at.tm_min, '0', ':');
    end = put_two_digits(end, at.tm_sec, '0', ' ');
    end = std::to_chars(end, std::end(text), int64_t{1900} + at.tm_year).ptr;
    *end++ = '\n';
    const auto length = static_cast<size_t>(end - text);
    if (length >= size) return ks::fail(KS_ENAMETOOLONG);
    std::memcpy(buffer, text, length);
    buffer[length] = '\0';
    return 0;
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

extern "C" int date_get_gmtime(int64_t seconds, std::tm *fields_out) noexcept {
    if (!fields_out) return ks::fail(KS_EINVAL);
    if (seconds < first_second || seconds >= end_second) return ks::fail(KS_ERANGE);
    const sys_seconds moment{std::chrono::seconds(seconds)};
    const auto midnight = std::chrono::floor<days>(moment);
    const year_month_day date(midnight);
    const hh_mm_ss time(moment - midnight);
    std::tm fields{};
    fields.tm_year = static_cast<int>(date.year()) - 1900;
    fields.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    fields.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    fields.tm_hour = static_cast<int>(time.hours().count());
    fields.tm_min = static_cast<int>(time.minutes().count());
    fields.tm_sec = static_cast<int>(time.seconds().count());
    fields.tm_wday = static_cast<int>(std::chrono::weekday(midnight).c_encoding());
    fields.tm_yday = static_cast<int>((midnight - sys_days(date.year() / 1 / 1)).count());
    *fields_out = fields;
    return 0;
}
