#include "nt/nt_file.h"

#include "internal/nt_os.hpp"
#include "internal/nt_sys_os.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_file.h"

#include <optional>

namespace {

// C's grammar: the kind, then "+", "b" and "x", each at most once.
std::optional<nt::os::open_mode> parse_mode(const char *text) {
    nt::os::open_mode mode{*text, false, false};
    if (mode.kind != 'r' && mode.kind != 'w' && mode.kind != 'a') return std::nullopt;
    bool binary = false; // the same as text here
    while (*++text) {
        bool *seen = *text == '+' ? &mode.update : *text == 'b' ? &binary : *text == 'x' ? &mode.exclusive : nullptr;
        if (!seen || *seen) return std::nullopt;
        *seen = true;
    }
    if (mode.exclusive && mode.kind != 'w') return std::nullopt;
    return mode;
}

FILE *fail(int error) {
    ks_errno = error;
    return nullptr;
}

} // namespace

extern "C" FILE *unix_nt_fopen(const char *path, const char *mode) noexcept {
    const auto parsed = mode ? parse_mode(mode) : std::nullopt;
    if (!path || !parsed) return fail(KS_EINVAL);
    char host_path[KS_PATH_SIZE];
    if (fileutl_host_path(path, host_path, sizeof host_path) != 0) return nullptr;
    int error = 0;
    FILE *stream = nt::os::open_stream(host_path, *parsed, error);
    return stream ? stream : fail(error);
}

extern "C" size_t unix_nt_fread(void *buffer, size_t size, FILE *stream) noexcept {
    if (!buffer || !stream) {
        ks_errno = KS_EINVAL;
        return 0;
    }
    nt::os::clear_error();
    const size_t count = std::fread(buffer, 1, size, stream);
    if (count < size && std::ferror(stream)) {
        const int error = nt::os::last_error();
        ks_errno = error != 0 ? error : KS_EIO; // the flag may be older than this call
    }
    return count;
}

extern "C" int unix_nt_access(const char *path, int mode) noexcept {
    constexpr int may_write = 2, may_read = 4;
    char host_path[KS_PATH_SIZE];
    int error = (mode & ~(may_write | may_read)) == 0 ? 0 : KS_EINVAL;
    if (error == 0) error = fileutl_host_path(path, host_path, sizeof host_path);
    if (error == 0) error = nt::os::test_access(host_path, mode & may_read, mode & may_write);
    if (error == 0) return 0;
    ks_errno = error;
    return -1;
}

extern "C" FILE *unix_nt_fopen_settings(const char *path, int *others_may_write_out) noexcept {
    char host_path[2 * KS_PATH_SIZE]; // users name such files themselves
    if (fileutl_host_path(path, host_path, sizeof host_path) != 0) return nullptr;
    int error = 0;
    bool others_may_write = false;
    FILE *stream = nt::os::open_settings(host_path, others_may_write, error);
    if (!stream) return fail(error);
    if (others_may_write_out) *others_may_write_out = others_may_write;
    return stream;
}

extern "C" int unix_nt_read_content(const char *path, int fd, void *buffer, size_t size, size_t *size_out) noexcept {
    char host_path[KS_PATH_SIZE] = "";
    int error = buffer && size_out && (fd >= 0 || fd == UNIX_NT_NOT_OPEN) ? 0 : KS_EINVAL;
    if (error == 0 && fd < 0) error = fileutl_host_path(path, host_path, sizeof host_path);
    size_t got = 0;
    if (error == 0) error = nt::os::read_content(host_path, fd, buffer, size, got);
    if (error != 0) return ks_errno = error;
    *size_out = got;
    return 0;
}
