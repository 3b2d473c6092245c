// ks_date_os.hpp - what a system must supply for dates.
#ifndef KS_INTERNAL_KS_DATE_OS_HPP
#define KS_INTERNAL_KS_DATE_OS_HPP

#include <cstdint>
#include <ctime>

namespace ks::os {

// Divides a time into the fields of a calendar in the zone that TZ names now. False when the year does not fit.
[[nodiscard]] bool local_time(int64_t seconds, std::tm &fields) noexcept;

} // namespace ks::os

#endif
