#include "internal/ks_sys_os.hpp"

#include "ks/ks_errno.h"

#include <cerrno>

#include <unistd.h>

namespace ks::os {

int host_name(char *buffer, size_t size) noexcept {
    // It cuts with or without an error, and need not terminate then.
    if (gethostname(buffer, size) != 0 && errno != ENAMETOOLONG) {
        return ks_errno_from_host(errno);
    }
    buffer[size - 1] = '\0';
    return 0;
}

} // namespace ks::os
