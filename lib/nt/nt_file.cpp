#include "nt/nt_file.h"

#include "internal/nt_os.hpp"
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
