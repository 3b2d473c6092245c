// ks_sys_os.hpp - what a system must supply for ks_sys.h. Failures are error numbers of the common space.
#ifndef KS_INTERNAL_KS_SYS_OS_HPP
#define KS_INTERNAL_KS_SYS_OS_HPP

#include <cstddef>
#include <cstdint>
#include <string>

namespace ks::os {

// Writes the host's name as the system has it, cut to fit and terminated; size is at least 1.
[[nodiscard]] int host_name(char *buffer, size_t size) noexcept;

// Login name of the real user. May throw bad_alloc.
[[nodiscard]] int login_name(std::string &name);

// Home directory of a user; for the real user what HOME says, when it is trusted and absolute. May throw bad_alloc.
[[nodiscard]] int home_directory(const char *login, std::string &directory);

// File mode creation mask of the calling thread; untouched on failure. KS_ENOSYS: the system does not tell it.
[[nodiscard]] int creation_mask(uint32_t &mask) noexcept;

} // namespace ks::os

#endif
