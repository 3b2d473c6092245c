// ks_sys_os.hpp - what a system must supply for ks_sys.h. Failures are error numbers of the common space.
#ifndef KS_INTERNAL_KS_SYS_OS_HPP
#define KS_INTERNAL_KS_SYS_OS_HPP

#include <cstddef>

namespace ks::os {

// Writes the host's name as the system has it, cut to fit and terminated; size is at least 1.
[[nodiscard]] int host_name(char *buffer, size_t size) noexcept;

} // namespace ks::os

#endif
