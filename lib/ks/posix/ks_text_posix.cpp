#include "internal/ks_text_os.hpp"

#include "ks/ks_errno.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ks::os {

FILE *open_for_reading(const char *path, int &error) noexcept {
    int fd;
    do {
        fd = open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY);
    } while (fd < 0 && errno == EINTR); // waiting for a FIFO's other end
    struct stat status;
    FILE *stream = nullptr;
    if (fd < 0 || fstat(fd, &status) != 0) {
        error = ks_errno_from_host(errno);
    } else if (S_ISDIR(status.st_mode)) {
        error = KS_EISDIR;
    } else if (stream = fdopen(fd, "r"); !stream) {
        error = ks_errno_from_host(errno);
    }
    if (!stream && fd >= 0) close(fd);
    return stream;
}

int last_read_error() noexcept {
    const int error = ks_errno_from_host(errno);
    return error != 0 ? error : KS_EIO;
}

} // namespace ks::os
