// ks_file_os.hpp - what a system must supply for files and directories.
//
// Paths are the host's. Failures are error numbers of the common space.
#ifndef KS_INTERNAL_KS_FILE_OS_HPP
#define KS_INTERNAL_KS_FILE_OS_HPP

#include "ks/ks_file.h"

namespace ks::os {

// Fills the status; untouched on failure.
[[nodiscard]] int file_status(const char *path, bool follow, fileutl_status_t &status) noexcept;

// The listing of a directory, or null with the error.
fileutl_dir_t *open_directory(const char *path, int &error) noexcept;

// The next name, which lives until the next call; null at the end, or with an error that is not 0.
const char *next_entry(fileutl_dir_t *dir, int &error) noexcept;

[[nodiscard]] int close_directory(fileutl_dir_t *dir) noexcept;

} // namespace ks::os

#endif
