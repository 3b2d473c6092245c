// nt_os.hpp - what a system must supply for files.
#ifndef NT_INTERNAL_NT_OS_HPP
#define NT_INTERNAL_NT_OS_HPP

#include <cstdio>

namespace nt::os {

// A mode of fopen, taken apart.
struct open_mode {
    char kind;      // 'r', 'w' or 'a'
    bool update;    // "+": reading and writing
    bool exclusive; // "x": the file must not exist; only with 'w'
};

// Opens a file by host path, close-on-exec, without making it the controlling terminal. Refuses a directory.
// Gives null, and the error in the common space through `error`.
FILE *open_stream(const char *path, open_mode mode, int &error) noexcept;

// The host's last error of the calling thread, in the common space; 0 when there was none since clear_error().
void clear_error() noexcept;
int last_error() noexcept;

} // namespace nt::os

#endif
