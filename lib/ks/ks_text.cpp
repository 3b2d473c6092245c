#include "ks/ks_str.h"

#include "internal/ks_call.hpp"
#include "internal/ks_text_os.hpp"
#include "ks/ks_file.h"
#include "ks/ks_stg.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

using namespace ks;

namespace {

struct close_file {
    void operator()(FILE *stream) const { std::fclose(stream); }
};
struct free_memory {
    void operator()(char *memory) const { stg_free(memory); }
};
using owned_bytes = std::unique_ptr<char, free_memory>;

// Makes room for `size` bytes, of which `used` are kept.
bool grow(owned_bytes &bytes, size_t used, size_t size) {
    owned_bytes larger(static_cast<char *>(stg_malloc(size)));
    if (!larger) return false;
    if (used != 0) std::memcpy(larger.get(), bytes.get(), used);
    bytes = std::move(larger);
    return true;
}

// Reads to the end; at least one byte of room is left for the terminator.
int read_all(FILE *stream, char **text_out) {
    owned_bytes text;
    size_t used = 0;
    for (size_t size = 4096;; size = std::min(2 * size, STRUTL_READ_MAX + 2)) {
        if (!grow(text, used, size)) return KS_ENOMEM;
        char *const from = text.get() + used;
        const size_t got = std::fread(from, 1, size - 1 - used, stream);
        used += got;
        if (std::memchr(from, '\0', got)) return KS_EILSEQ;
        if (std::ferror(stream)) return os::last_read_error();
        if (used > STRUTL_READ_MAX) return KS_EFBIG;
        if (used < size - 1) break;
    }
    text.get()[used] = '\0';
    *text_out = text.release();
    return 0;
}

} // namespace

extern "C" int strutl_read(const char *path, char **text_out) noexcept {
    return call([&]() -> int {
        if (!path || !text_out) return KS_EINVAL;
        char host_path[KS_PATH_SIZE];
        if (const int error = fileutl_host_path(path, host_path, sizeof host_path)) return error;
        int error = 0;
        const std::unique_ptr<FILE, close_file> stream(os::open_for_reading(host_path, error));
        return stream ? read_all(stream.get(), text_out) : error;
    });
}

extern "C" int strutl_read_fp(FILE *stream, char **text_out) noexcept {
    return call([&]() -> int { return stream && text_out ? read_all(stream, text_out) : KS_EINVAL; });
}
