// ks_text_os.hpp - what a system must supply for reading texts.
#ifndef KS_INTERNAL_KS_TEXT_OS_HPP
#define KS_INTERNAL_KS_TEXT_OS_HPP

#include <cstdio>

namespace ks::os {

// Opens what a host path names for reading; null with the error. A directory is refused.
FILE *open_for_reading(const char *path, int &error) noexcept;

// The error of the calling thread's last call of the C library, never 0.
[[nodiscard]] int last_read_error() noexcept;

} // namespace ks::os

#endif
