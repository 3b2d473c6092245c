// mvfs_os.hpp - what a system must supply for view roots.
#ifndef MVFS_INTERNAL_MVFS_OS_HPP
#define MVFS_INTERNAL_MVFS_OS_HPP

#include <cstdint>

namespace mvfs::os {

// An open directory. Close-on-exec.
class directory {
public:
    directory() = default;
    ~directory();
    directory(const directory &) = delete;
    directory &operator=(const directory &) = delete;

    // Opens a directory by host path, links followed; it need not be readable. Called once. 0, KS_ENOENT, KS_ENOTDIR,
    // KS_EACCES, or what else the host says, in the common space.
    [[nodiscard]] int open(const char *path) noexcept;

private:
    std::intptr_t handle_ = -1;
};

} // namespace mvfs::os

#endif
