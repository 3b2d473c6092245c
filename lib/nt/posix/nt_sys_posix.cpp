#include "internal/nt_sys_os.hpp"

#include "ks/ks_errno.h"
#include "ks/ks_str.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace {

// The numbers at the front of a release such as "6.1.0-18-amd64".
void set_numbers(const char *release, nt_version_t &version) {
    uint32_t *const numbers[] = {&version.major_version, &version.minor_version, &version.build_number};
    for (uint32_t *number : numbers) {
        char *end = nullptr;
        *number = static_cast<uint32_t>(std::strtoul(release, &end, 10));
        if (end == release || *end != '.') return;
        release = end + 1;
    }
}

constexpr uint16_t architecture() {
#if defined(__x86_64__)
    return NT_ARCHITECTURE_X64;
#elif defined(__aarch64__)
    return NT_ARCHITECTURE_ARM64;
#elif defined(__i386__)
    return NT_ARCHITECTURE_X86;
#elif defined(__arm__)
    return NT_ARCHITECTURE_ARM;
#elif defined(__ia64__)
    return NT_ARCHITECTURE_IA64;
#else
    return NT_ARCHITECTURE_UNKNOWN;
#endif
}

uint32_t system_number(int which, uint32_t least) {
    const long number = sysconf(which);
    return number > static_cast<long>(least) ? static_cast<uint32_t>(number) : least;
}

} // namespace

namespace nt::os {

int version(nt_version_t &version) noexcept {
    utsname host;
    if (uname(&host) != 0) return ks_errno_from_host(errno);
    set_numbers(host.release, version);
    version.platform_id = NT_PLATFORM_POSIX;
    char text[sizeof version.service_pack / sizeof(uint16_t)];
    strutl_snprintf(text, sizeof text, "%s %s", host.sysname, host.release);
    for (size_t i = 0; text[i]; i++) version.service_pack[i] = static_cast<unsigned char>(text[i]);
    return 0;
}

void system_info(nt_system_info_t &info) noexcept {
    constexpr bool is_x86 = architecture() == NT_ARCHITECTURE_X86;
    info = {architecture(), static_cast<uint16_t>(is_x86 ? 6 : 0), system_number(_SC_PAGESIZE, 4096),
            system_number(_SC_NPROCESSORS_ONLN, 1)};
}

int test_access(const char *path, bool read, bool write) noexcept {
    const int mode = (read ? R_OK : F_OK) | (write ? W_OK : F_OK);
    return faccessat(AT_FDCWD, path, mode, AT_EACCESS) == 0 ? 0 : ks_errno_from_host(errno);
}

FILE *open_settings(const char *path, bool &others_may_write, int &error) noexcept {
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); // a FIFO is refused, not waited for
    struct stat status;
    FILE *stream = nullptr;
    if (fd < 0 || fstat(fd, &status) != 0) {
        error = ks_errno_from_host(errno);
    } else if (!S_ISREG(status.st_mode)) {
        error = S_ISDIR(status.st_mode) ? KS_EISDIR : KS_EINVAL;
    } else if (stream = fdopen(fd, "r"); !stream) {
        error = ks_errno_from_host(errno);
    }
    if (!stream && fd >= 0) close(fd);
    if (stream) others_may_write = status.st_mode & S_IWOTH;
    return stream;
}

namespace {

// Reads until the buffer is full or the file ends.
int read_at_start(int fd, char *buffer, size_t size, size_t &got) {
    got = 0;
    while (got < size) {
        const ssize_t more = pread(fd, buffer + got, size - got, static_cast<off_t>(got));
        if (more == 0) break;
        if (more > 0) {
            got += static_cast<size_t>(more);
        } else if (errno != EINTR) {
            return ks_errno_from_host(errno);
        }
    }
    return 0;
}

} // namespace

int read_content(const char *path, int fd, void *buffer, size_t size, size_t &got) noexcept {
    const int opened = fd >= 0 ? -1 : open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    const int used = fd >= 0 ? fd : opened;
    struct stat status;
    int error = 0;
    if (used < 0 || fstat(used, &status) != 0) {
        error = ks_errno_from_host(errno);
    } else if (!S_ISREG(status.st_mode)) {
        error = KS_EINVAL;
    } else {
        error = read_at_start(used, static_cast<char *>(buffer), size, got);
    }
    if (opened >= 0) close(opened);
    return error;
}

} // namespace nt::os
