#include "internal/mvfs_os.hpp"

#include "ks/ks_errno.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#ifndef O_PATH
#define O_PATH O_RDONLY
#endif

namespace mvfs::os {

directory::~directory() {
    if (handle_ >= 0) close(static_cast<int>(handle_));
}

int directory::open(const char *path) noexcept {
    handle_ = ::open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
    return handle_ >= 0 ? 0 : ks_errno_from_host(errno);
}

} // namespace mvfs::os
