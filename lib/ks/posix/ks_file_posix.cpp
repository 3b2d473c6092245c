#include "internal/ks_file_os.hpp"
#include "internal/ks_os.hpp"

#include "ks/ks_errno.h"

#include <cerrno>
#include <dirent.h>
#include <sys/stat.h>

static_assert(FILEUTL_KIND == S_IFMT && FILEUTL_FIFO == S_IFIFO && FILEUTL_CHAR_DEVICE == S_IFCHR &&
              FILEUTL_DIRECTORY == S_IFDIR && FILEUTL_BLOCK_DEVICE == S_IFBLK && FILEUTL_REGULAR == S_IFREG &&
              FILEUTL_LINK == S_IFLNK && FILEUTL_SOCKET == S_IFSOCK);

namespace ks::os {

void use_host_separators(char *path) noexcept {
    for (; *path; path++) {
        if (*path == '\\') *path = '/';
    }
}

int file_status(const char *path, bool follow, fileutl_status_t &status) noexcept {
    struct stat host;
    if ((follow ? stat(path, &host) : lstat(path, &host)) != 0) return ks_errno_from_host(errno);
    status = {host.st_mode,        static_cast<uint32_t>(host.st_nlink),
              host.st_uid,         host.st_gid,
              host.st_dev,         host.st_ino,
              host.st_size,        host.st_atim.tv_sec,
              host.st_mtim.tv_sec, host.st_ctim.tv_sec};
    return 0;
}

// A listing is the host's.
namespace {
DIR *host_listing(fileutl_dir_t *dir) { return reinterpret_cast<DIR *>(dir); }
} // namespace

fileutl_dir_t *open_directory(const char *path, int &error) noexcept {
    DIR *listing = opendir(path); // close-on-exec
    if (!listing) error = ks_errno_from_host(errno);
    return reinterpret_cast<fileutl_dir_t *>(listing);
}

const char *next_entry(fileutl_dir_t *dir, int &error) noexcept {
    errno = 0; // the end is told from an error by it
    const dirent *entry = readdir(host_listing(dir));
    if (!entry && errno != 0) error = ks_errno_from_host(errno);
    return entry ? entry->d_name : nullptr;
}

int close_directory(fileutl_dir_t *dir) noexcept {
    return closedir(host_listing(dir)) == 0 ? 0 : ks_errno_from_host(errno);
}

} // namespace ks::os
