#include "internal/ks_account_os.hpp"

#include "internal/ks_os.hpp"
#include "ks/ks_errno.h"
#include "posix/ks_account_database.hpp"
#include "posix/ks_account_sources.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace ks::os {
namespace {

class descriptor {
public:
    explicit descriptor(int fd) noexcept : fd_(fd) {}
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    ~descriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    [[nodiscard]] int get() const noexcept { return fd_; }

private:
    int fd_;
};

std::string host_path(std::string path) {
    use_host_separators(path.data());
    return path;
}

int64_t nanoseconds(const timespec &time) noexcept { return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec; }

file_identity identity_of(const struct stat &status) noexcept {
    return {status.st_dev, status.st_ino, static_cast<uint64_t>(status.st_size), nanoseconds(status.st_mtim),
            nanoseconds(status.st_ctim)};
}

// ENOTDIR too says that there is no such file.
int error_of_open() noexcept { return errno == ENOTDIR ? KS_ENOENT : ks_errno_from_host(errno); }

// Appends all that the descriptor gives.
int read_all(int fd, size_t limit, std::string &bytes) {
    size_t used = 0;
    bytes.resize(std::max<size_t>(bytes.size(), 4096));
    for (;;) {
        if (used == bytes.size()) {
            if (used > limit) {
                return KS_EFBIG;
            }
            bytes.resize(std::min(2 * used, limit + 1));
        }
        const ssize_t got = read(fd, bytes.data() + used, bytes.size() - used);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            return ks_errno_from_host(errno);
        }
        if (got == 0) {
            bytes.resize(used);
            return used > limit ? KS_EFBIG : 0;
        }
        used += static_cast<size_t>(got);
    }
}

} // namespace

int identify_file(const std::string &path, file_identity &identity) {
    struct stat status;
    if (stat(host_path(path).c_str(), &status) != 0) {
        return error_of_open();
    }
    identity = identity_of(status);
    return 0;
}

int read_file(const std::string &path, size_t limit, file_content &content) {
    // Not to hang on a pipe, and not to become the terminal of a daemon.
    const descriptor file(open(host_path(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status;
    if (file.get() < 0) {
        return error_of_open();
    }
    if (fstat(file.get(), &status) != 0) {
        return ks_errno_from_host(errno);
    }
    if (S_ISDIR(status.st_mode)) {
        return KS_EISDIR;
    }
    if (status.st_size > 0 && static_cast<uint64_t>(status.st_size) > limit) {
        return KS_EFBIG;
    }
    content.identity = identity_of(status);
    content.writable_by_others = S_ISREG(status.st_mode) && (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    content.bytes.resize(static_cast<size_t>(std::max<off_t>(status.st_size, 0)) + 1);
    return read_all(file.get(), limit, content.bytes);
}

int64_t milliseconds() noexcept {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

std::span<const domain_source> domain_sources() noexcept {
    static constexpr domain_source sources[] = {
        {"sssd", sssd_by_name, sssd_by_sid, sssd_sid_of_id, sssd_domain_sid},
        {"winbind", winbind_by_name, winbind_by_sid, winbind_sid_of_id, winbind_domain_sid},
    };
    return sources;
}

int local_by_name(credutl_account_kind_t kind, const std::string &name, uint32_t &id) {
    std::vector<char> buffer;
    if (kind == CREDUTL_USER) {
        passwd record;
        passwd *entry;
        const int error = ask_database(buffer, entry, [&](char *at, size_t size, passwd **found) {
            return getpwnam_r(name.c_str(), &record, at, size, found);
        });
        if (error == 0) {
            id = record.pw_uid;
        }
        return error;
    }
    group record;
    group *entry;
    const int error = ask_database(buffer, entry, [&](char *at, size_t size, group **found) {
        return getgrnam_r(name.c_str(), &record, at, size, found);
    });
    if (error == 0) {
        id = record.gr_gid;
    }
    return error;
}

int local_by_id(credutl_account_kind_t kind, uint32_t id, std::string &name) {
    std::vector<char> buffer;
    if (kind == CREDUTL_USER) {
        passwd record;
        passwd *entry;
        const int error = ask_database(buffer, entry, [&](char *at, size_t size, passwd **found) {
            return getpwuid_r(id, &record, at, size, found);
        });
        if (error == 0) {
            name = record.pw_name;
        }
        return error;
    }
    group record;
    group *entry;
    const int error = ask_database(buffer, entry, [&](char *at, size_t size, group **found) {
        return getgrgid_r(id, &record, at, size, found);
    });
    if (error == 0) {
        name = record.gr_name;
    }
    return error;
}

int local_groups(uint32_t uid, std::vector<uint32_t> &gids) {
    std::vector<char> buffer;
    passwd record;
    passwd *entry;
    const int error = ask_database(buffer, entry, [&](char *at, size_t size, passwd **found) {
        return getpwuid_r(uid, &record, at, size, found);
    });
    if (error != 0) {
        return error;
    }
    static_assert(sizeof(gid_t) == sizeof(uint32_t));
    std::vector<gid_t> groups(64);
    for (;;) {
        int count = static_cast<int>(groups.size());
        if (getgrouplist(record.pw_name, record.pw_gid, groups.data(), &count) >= 0) {
            groups.resize(static_cast<size_t>(count));
            break;
        }
        if (groups.size() > size_t{CREDUTL_MAX_GROUPS}) {
            return KS_EIO;
        }
        groups.resize(
            std::min(std::max(static_cast<size_t>(count), 2 * groups.size()), size_t{CREDUTL_MAX_GROUPS} + 1));
    }
    // The list holds the primary group at any place.
    gids.assign(1, record.pw_gid);
    std::copy_if(groups.begin(), groups.end(), std::back_inserter(gids),
                 [&](gid_t gid) { return gid != record.pw_gid; });
    return 0;
}

} // namespace ks::os
