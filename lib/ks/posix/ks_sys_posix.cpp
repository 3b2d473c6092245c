#include "internal/ks_sys_os.hpp"

#include "internal/ks_os.hpp"
#include "ks/ks_errno.h"
#include "ks_account_database.hpp"

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <pwd.h>
#include <span>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace ks::os {

int host_name(char *buffer, size_t size) noexcept {
    // It cuts with or without an error, and need not terminate then.
    if (gethostname(buffer, size) != 0 && errno != ENAMETOOLONG) {
        return ks_errno_from_host(errno);
    }
    buffer[size - 1] = '\0';
    return 0;
}

int login_name(std::string &name) {
    std::vector<char> buffer;
    passwd record, *found = nullptr;
    const int error = ask_database(buffer, found, [&](char *at, size_t size, passwd **entry) {
        return getpwuid_r(getuid(), &record, at, size, entry);
    });
    if (error == 0) name = found->pw_name;
    return error;
}

int home_directory(const char *login, std::string &directory) {
    std::vector<char> buffer;
    passwd record, *found = nullptr;
    const int error = ask_database(buffer, found, [&](char *at, size_t size, passwd **entry) {
        return getpwnam_r(login, &record, at, size, entry);
    });
    if (error != 0) return error;
    const char *chosen = found->pw_uid == getuid() ? trusted_getenv("HOME") : nullptr;
    directory = chosen && *chosen == '/' ? chosen : found->pw_dir;
    return 0;
}

namespace {

// Reads the beginning of a file, as much as fits, and gives what is there; -1 with errno on failure.
ssize_t read_beginning(const char *path, std::span<char> buffer) noexcept {
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return -1;
    size_t length = 0;
    ssize_t got = 0;
    do {
        got = read(file, buffer.data() + length, buffer.size() - length);
        if (got > 0) length += static_cast<size_t>(got);
    } while (got > 0 || (got < 0 && errno == EINTR));
    const int error = errno;
    close(file);
    errno = error;
    return got < 0 ? -1 : static_cast<ssize_t>(length);
}

} // namespace

int creation_mask(uint32_t &mask) noexcept {
    // umask() tells the mask only by changing it. The line stands near the beginning, behind the thread's name, in
    // which a line end is escaped.
    constexpr std::string_view label = "\nUmask:\t";
    char status[512];
    const ssize_t length = read_beginning("/proc/thread-self/status", status);
    if (length < 0) return ks_errno_from_host(errno);
    const std::string_view text(status, static_cast<size_t>(length));
    const size_t at = text.find(label);
    if (at == text.npos) return KS_ENOSYS;
    uint32_t value = 0;
    const char *digits = text.data() + at + label.size(), *end = text.data() + text.size();
    const auto [behind, error] = std::from_chars(digits, end, value, 8);
    if (error != std::errc{} || behind == end || *behind != '\n') return KS_ENOSYS;
    mask = value;
    return 0;
}

} // namespace ks::os
