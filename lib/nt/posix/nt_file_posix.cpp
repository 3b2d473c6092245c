#include "internal/nt_os.hpp"

#include "ks/ks_errno.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using nt::os::open_mode;

int open_flags(open_mode mode) {
    int flags = O_CLOEXEC | O_NOCTTY;
    flags |= mode.update ? O_RDWR : mode.kind == 'r' ? O_RDONLY : O_WRONLY;
    if (mode.kind != 'r') flags |= O_CREAT | (mode.kind == 'w' ? O_TRUNC : O_APPEND);
    if (mode.exclusive) flags |= O_EXCL;
    return flags;
}

const char *stream_mode(open_mode mode) {
    switch (mode.kind) {
    case 'r': return mode.update ? "r+" : "r";
    case 'w': return mode.update ? "w+" : "w";
    default: return mode.update ? "a+" : "a";
    }
}

int open_again(const char *path, int flags) {
    int fd;
    do {
        fd = open(path, flags, 0666);
    } while (fd < 0 && errno == EINTR); // waiting for a FIFO's other end
    return fd;
}

bool is_directory(int fd) {
    struct stat status;
    return fstat(fd, &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

namespace nt::os {

FILE *open_stream(const char *path, open_mode mode, int &error) noexcept {
    const int fd = open_again(path, open_flags(mode));
    if (fd < 0) {
        error = ks_errno_from_host(errno);
        return nullptr;
    }
    FILE *stream = nullptr;
    if (is_directory(fd)) {
        error = KS_EISDIR;
    } else if (stream = fdopen(fd, stream_mode(mode)); !stream) {
        error = ks_errno_from_host(errno);
    }
    if (!stream) close(fd);
    return stream;
}

void clear_error() noexcept { errno = 0; }

int last_error() noexcept { return ks_errno_from_host(errno); }

} // namespace nt::os
