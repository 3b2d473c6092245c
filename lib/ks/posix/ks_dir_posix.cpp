#include "internal/ks_os.hpp"

#include "ks/ks_dir.h"
#include "ks/ks_str.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t directory_mode = 0755;

// Cuts the last part off an absolute path; the root stays.
void leave_directory(char *path) {
    char *slash = std::strrchr(path, '/');
    if (slash) slash[slash == path ? 1 : 0] = '\0';
}

bool may_write(const char *directory) {
    // The effective user counts: files are made as that user.
    return faccessat(AT_FDCWD, directory, W_OK | X_OK, AT_EACCESS) == 0;
}

} // namespace

namespace ks::os {

constexpr char hostdata_path[] = "/var/lib/tessivane";
const char *const hostdata_directory = hostdata_path;
const char *const config_directory = "/etc/tessivane";

const char *trusted_getenv(const char *name) noexcept {
    const char *value = secure_getenv(name);
    return value && *value ? value : nullptr;
}

void directory_above_library(char *buffer, size_t size) noexcept {
    *buffer = '\0';
    Dl_info library;
    char path[PATH_MAX];
    const bool known = dladdr(reinterpret_cast<const void *>(&ks_product_dir), &library) != 0 && library.dli_fname;
    // In a program that holds the library's code the name is argv[0], which need not be a path.
    if (!known || !realpath(library.dli_fname, path)) {
        if (!realpath("/proc/self/exe", path)) return;
    }
    leave_directory(path);
    leave_directory(path);
    strutl_cpy_buf(buffer, size, path);
}

bool can_fill_directory(const char *path) noexcept {
    if (may_write(path)) return true;
    if (errno != ENOENT) return false;
    char parent[PATH_MAX];
    if (strutl_cpy_buf(parent, sizeof parent, path) < std::strlen(path)) return false;
    leave_directory(parent);
    return may_write(parent);
}

bool is_directory(const char *path) noexcept {
    struct stat status;
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

bool is_shared(const char *path) noexcept {
    struct stat status;
    return stat(path, &status) == 0 && (!S_ISDIR(status.st_mode) || may_write(path));
}

bool make_directories(const char *path) noexcept {
    char prefix[PATH_MAX];
    if (*path != '/' || strutl_cpy_buf(prefix, sizeof prefix, path) < std::strlen(path)) return false;
    for (char *slash = std::strchr(prefix + 1, '/');; slash = std::strchr(slash + 1, '/')) {
        if (slash) *slash = '\0';
        if (mkdir(prefix, directory_mode) != 0 && errno != EEXIST) return false;
        if (!slash) return true;
        *slash = '/';
    }
}

bool user_state_directory(char *buffer, size_t size) noexcept {
    // A relative path would depend on the working directory; the base directory rules say to ignore it.
    const char *state = trusted_getenv("XDG_STATE_HOME");
    if (state && *state == '/') return strutl_cpy_buf(buffer, size, state) == std::strlen(state);
    const char *home = trusted_getenv("HOME");
    if (!home || *home != '/') return false;
    return strutl_snprintf(buffer, size, "%s/.local/state", home) < size;
}

} // namespace ks::os
