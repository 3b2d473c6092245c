#include "internal/ks_os.hpp"

namespace ks::os {

void use_host_separators(char *path) noexcept {
    for (; *path; path++) {
        if (*path == '\\') *path = '/';
    }
}

} // namespace ks::os
