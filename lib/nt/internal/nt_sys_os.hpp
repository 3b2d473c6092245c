// nt_sys_os.hpp - what a system must supply for nt_sys.h and for questions about files by path.
//
// Paths are the host's. Failures are error numbers of the common space.
#ifndef NT_INTERNAL_NT_SYS_OS_HPP
#define NT_INTERNAL_NT_SYS_OS_HPP

#include "nt/nt_sys.h"

#include <cstddef>
#include <cstdio>

namespace nt::os {

[[nodiscard]] int version(nt_version_t &version) noexcept;

void system_info(nt_system_info_t &info) noexcept;

// Tests whether a file is there and may be read and written as asked, by the effective user.
[[nodiscard]] int test_access(const char *path, bool read, bool write) noexcept;

// Opens a regular file for reading, close-on-exec, without waiting for anybody, and tells whether others than its
// owner and group may write to it. Gives null, and the error, for anything else.
FILE *open_settings(const char *path, bool &others_may_write, int &error) noexcept;

// Reads from the beginning of a regular file, by path or, with fd >= 0, by descriptor, whose position does not change.
[[nodiscard]] int read_content(const char *path, int fd, void *buffer, size_t size, size_t &got) noexcept;

} // namespace nt::os

#endif
