#include "internal/nt_os.hpp"

#include "ks/ks_errno.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using nt::os::file_facts;

constexpr mode_t others_write = S_IWGRP | S_IWOTH; // with an access control list the group's bits are its mask
constexpr mode_t registry_mode = 0644, directory_mode = 0755;

file_facts facts_of(const struct stat &status) {
    return {{status.st_dev, status.st_ino},
            static_cast<uint64_t>(status.st_size),
            S_ISREG(status.st_mode),
            (status.st_mode & others_write) != 0};
}

int look_error(int host_error) { return host_error == ENOENT ? KS_ENOENT : nt::os::data_base_error(host_error); }

class descriptor {
public:
    explicit descriptor(int fd) : fd_(fd) {}
    ~descriptor() {
        if (fd_ >= 0) close(fd_);
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    explicit operator bool() const { return fd_ >= 0; }
    [[nodiscard]] int get() const { return fd_; }

private:
    int fd_;
};

// The directory of a file, with the separator behind it; "" is the working directory.
std::string_view directory_of(const char *path) {
    const char *slash = std::strrchr(path, '/');
    return {path, slash ? static_cast<size_t>(slash - path) + 1 : 0};
}

bool copy_directory(const char *path, char (&directory)[PATH_MAX]) {
    std::string_view name = directory_of(path);
    if (name.empty()) name = ".";
    if (name.size() >= sizeof directory) return false;
    std::memcpy(directory, name.data(), name.size());
    directory[name.size()] = '\0';
    return true;
}

void sync_directory_of(const char *path) {
    char directory[PATH_MAX];
    if (!copy_directory(path, directory)) return;
    const descriptor opened(open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened) fsync(opened.get()); // one that may not be read is left to the system
}

// Makes the directories that a path goes through. False, with errno, when that fails.
bool make_directories_of(const char *path) {
    char prefix[PATH_MAX];
    const std::string_view all = directory_of(path);
    if (all.size() >= sizeof prefix) return false;
    for (size_t at = all.find('/', 1); at != std::string_view::npos; at = all.find('/', at + 1)) {
        std::memcpy(prefix, all.data(), at);
        prefix[at] = '\0';
        if (mkdir(prefix, directory_mode) == 0) {
            sync_directory_of(prefix);
        } else if (const int error = errno; error != EEXIST && error != EROFS && access(prefix, F_OK) != 0) {
            errno = error; // why it cannot be made
            return false;
        }
    }
    return true;
}

int open_new(const char *path) { return open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, registry_mode); }

bool write_all(int fd, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(fd, content.data(), content.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        content.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

// The mode that a new file would have got from open(): umask() alone could only be asked by changing it.
mode_t mode_for(const char *path) {
    struct stat status;
    return stat(path, &status) == 0 ? status.st_mode & 07777 : registry_mode;
}

} // namespace

namespace nt::os {

int look_at(const char *path, file_facts &facts) noexcept {
    struct stat status;
    if (lstat(path, &status) != 0) return look_error(errno);
    facts = facts_of(status);
    return 0;
}

int held_file::hold(const char *path, file_facts &facts) noexcept {
    // Closing any other descriptor would drop the locks of the whole process on the file.
    const int fd = open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return look_error(errno);
    handle_ = fd;
    struct stat status;
    if (fstat(fd, &status) != 0) return look_error(errno);
    facts = facts_of(status);
    return 0;
}

held_file::~held_file() {
    if (handle_ >= 0) close(static_cast<int>(handle_));
}

bool others_may_fill_directory_of(const char *path) noexcept {
    char directory[PATH_MAX];
    struct stat status;
    // The sticky bit does not help: a new file beside the registry may be taken for its journal.
    return !copy_directory(path, directory) || stat(directory, &status) != 0 || (status.st_mode & others_write) != 0;
}

int make_readable_file(const char *path) noexcept {
    int fd = open_new(path);
    if (fd < 0 && errno == ENOENT && make_directories_of(path)) fd = open_new(path);
    if (fd < 0) return errno == EEXIST ? 0 : data_base_error(errno);
    const descriptor made(fd);
    return fchmod(fd, registry_mode) == 0 ? 0 : data_base_error(errno);
}

int data_base_error(int system_error) noexcept {
    switch (system_error) {
    case EACCES:
    case EPERM:
    case EROFS: return KS_EACCES;
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return KS_ENOSPC;
    case ENOMEM: return KS_ENOMEM;
    default: return KS_EIO;
    }
}

int replace_file(const char *path, std::string_view content) noexcept {
    constexpr char suffix[] = ".XXXXXX";
    char name[PATH_MAX];
    const size_t length = std::strlen(path);
    struct stat status;
    if (length + sizeof suffix > sizeof name) return KS_ENAMETOOLONG;
    if (stat(path, &status) == 0 && S_ISDIR(status.st_mode)) return KS_EISDIR;
    std::memcpy(name, path, length);
    std::memcpy(name + length, suffix, sizeof suffix);
    const descriptor file(mkostemp(name, O_CLOEXEC));
    if (!file) return ks_errno_from_host(errno);
    const bool written =
        write_all(file.get(), content) && fchmod(file.get(), mode_for(path)) == 0 && fsync(file.get()) == 0;
    if (!written || rename(name, path) != 0) {
        const int error = ks_errno_from_host(errno);
        unlink(name);
        return error;
    }
    sync_directory_of(path);
    return 0;
}

bool around_fork(void (*before)(), void (*behind)()) noexcept { return pthread_atfork(before, behind, behind) == 0; }

} // namespace nt::os
