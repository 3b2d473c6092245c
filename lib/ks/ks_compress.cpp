#include "ks/ks_compress.h"

#include "ks/ks_errno.h"
#include "ks/ks_stg.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <zstd.h>
#include <zstd_errors.h>

namespace {

constexpr int level = 1;           // records of builds are mostly identifiers, of which higher ones gain nothing
constexpr int largest_window = 23; // 8 MiB, taken as soon as a frame asks for it; frames of ours ask for less
constexpr size_t first_piece = 64 * 1024;

struct release {
    void operator()(void *memory) const { stg_free(memory); }
    void operator()(ZSTD_CCtx *context) const { ZSTD_freeCCtx(context); }
    void operator()(ZSTD_DCtx *context) const { ZSTD_freeDCtx(context); }
};
template <class T> using owned = std::unique_ptr<T, release>;

void *fail(int error) {
    ks_errno = error;
    return nullptr;
}

int error_of(size_t result) {
    switch (ZSTD_getErrorCode(result)) {
    case ZSTD_error_memory_allocation: return KS_ENOMEM;
    case ZSTD_error_frameParameter_windowTooLarge: return KS_EFBIG;
    default: return KS_EINVAL;
    }
}

// Content that grows as it arrives.
class growing {
public:
    explicit growing(size_t most) : most_(most) {}

    // Makes room for more; 0 or an error.
    int grow() {
        if (capacity_ == most_) return KS_EFBIG;
        const size_t capacity = std::min(std::max(2 * capacity_, first_piece), most_);
        owned<char> larger(static_cast<char *>(stg_malloc(capacity)));
        if (!larger) return KS_ENOMEM;
        if (used_) std::memcpy(larger.get(), memory_.get(), used_);
        memory_ = std::move(larger);
        capacity_ = capacity;
        return 0;
    }
    ZSTD_outBuffer room() { return {memory_.get() + used_, capacity_ - used_, 0}; }
    void took(const ZSTD_outBuffer &room) { used_ += room.pos; }
    [[nodiscard]] bool is_full() const { return used_ == capacity_; }
    [[nodiscard]] size_t size() const { return used_; }
    [[nodiscard]] void *release_memory() { return memory_.release(); }

private:
    size_t most_, used_ = 0, capacity_ = 0;
    owned<char> memory_;
};

// What so many compressed bytes may become.
size_t most_content(size_t compressed) {
    if (compressed >= COMPRESS_MOST_CONTENT / COMPRESS_MOST_RATIO) return COMPRESS_MOST_CONTENT;
    return std::max<size_t>(compressed * COMPRESS_MOST_RATIO, COMPRESS_MOST_FROM_LITTLE);
}

// Compresses content that is so even that one frame of full blocks would be refused as too small for it: in blocks of
// less. Gives the bytes of the frame, or an error of zstd; there is room for blocks that hold the bytes as they are.
size_t compress_even(ZSTD_CCtx *context, void *frame, size_t capacity, const void *content, size_t size) {
    constexpr size_t least_block = 4, piece = least_block * COMPRESS_MOST_RATIO;
    ZSTD_CCtx_setParameter(context, ZSTD_c_compressionLevel, level);
    ZSTD_CCtx_setPledgedSrcSize(context, size);
    ZSTD_outBuffer to = {frame, capacity, 0};
    ZSTD_inBuffer from = {content, 0, 0};
    size_t left = 0;
    while (left == 0 && from.size < size) {
        from.size = std::min(from.size + piece, size);
        left = ZSTD_compressStream2(context, &to, &from, from.size == size ? ZSTD_e_end : ZSTD_e_flush);
    }
    return left == 0 ? to.pos : left;
}

// Other frames hold nothing, and are to be skipped.
bool is_frame(const void *compressed, size_t size) {
    constexpr uint8_t magic[] = {ZSTD_MAGICNUMBER & 0xff, ZSTD_MAGICNUMBER >> 8 & 0xff, ZSTD_MAGICNUMBER >> 16 & 0xff,
                                 ZSTD_MAGICNUMBER >> 24};
    return size >= sizeof magic && std::memcmp(compressed, magic, sizeof magic) == 0;
}

// Reads one frame to its end; 0 or an error.
int expand(ZSTD_DCtx *context, ZSTD_inBuffer &from, growing &content) {
    for (;;) {
        if (content.is_full()) {
            // One byte tells whether there is more than may be.
            if (const int error = content.grow()) return error;
        }
        ZSTD_outBuffer to = content.room();
        const size_t before = from.pos;
        const size_t left = ZSTD_decompressStream(context, &to, &from);
        content.took(to);
        if (ZSTD_isError(left)) return error_of(left);
        if (left == 0) return from.pos == from.size ? 0 : KS_EINVAL;
        if (from.pos == before && to.pos == 0) return KS_EINVAL; // cut off
    }
}

} // namespace

extern "C" void *compress_compress(const void *content, size_t size, size_t *size_out) noexcept {
    if ((!content && size) || !size_out) return fail(KS_EINVAL);
    if (size > COMPRESS_MOST_CONTENT) return fail(KS_EFBIG);
    const size_t capacity = ZSTD_compressBound(size);
    owned<void> compressed(stg_malloc(capacity));
    const owned<ZSTD_CCtx> context(ZSTD_createCCtx());
    if (!compressed || !context) return fail(KS_ENOMEM);
    size_t result = ZSTD_compressCCtx(context.get(), compressed.get(), capacity, content, size, level);
    if (!ZSTD_isError(result) && size > most_content(result)) {
        result = compress_even(context.get(), compressed.get(), capacity, content, size);
    }
    if (ZSTD_isError(result)) return fail(error_of(result));
    *size_out = result;
    return compressed.release();
}

extern "C" void *compress_uncompress(const void *compressed, size_t size, size_t *size_out) noexcept {
    if (!compressed || !size_out || !is_frame(compressed, size)) return fail(KS_EINVAL);
    const owned<ZSTD_DCtx> context(ZSTD_createDCtx());
    if (!context) return fail(KS_ENOMEM);
    ZSTD_DCtx_setParameter(context.get(), ZSTD_d_windowLogMax, largest_window);
    growing content(most_content(size));
    ZSTD_inBuffer from = {compressed, size, 0};
    if (const int error = expand(context.get(), from, content)) return fail(error);
    *size_out = content.size();
    return content.release_memory();
}
