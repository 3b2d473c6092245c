// The type manager packed_copy: a container is one zstd frame that tells the size of the contents and ends with their
// checksum. Frame format: RFC 8878.
#include "common/failure.hpp"
#include "common/operations.hpp"

#include <algorithm>
#include <memory>
#include <new>
#include <zstd.h>

namespace {

using namespace mgrs;

constexpr int window_log = 21;    // so much of the contents, as a power of two, is kept in memory
constexpr size_t max_header = 18; // of a frame, magic number included
constexpr std::byte magic[] = {std::byte{0x28}, std::byte{0xB5}, std::byte{0x2F}, std::byte{0xFD}};
constexpr std::byte has_checksum{0x04}; // in the byte behind the magic number

struct free_context {
    void operator()(ZSTD_CCtx *context) const { ZSTD_freeCCtx(context); }
    void operator()(ZSTD_DCtx *context) const { ZSTD_freeDCtx(context); }
};
using packer = std::unique_ptr<ZSTD_CCtx, free_context>;
using unpacker = std::unique_ptr<ZSTD_DCtx, free_context>;

// Room for a block, the same for both directions.
class block {
public:
    [[nodiscard]] std::byte *data() const { return data_.get(); }
    [[nodiscard]] std::span<std::byte> all() const { return {data(), block_size}; }

private:
    std::unique_ptr<std::byte[]> data_ = std::make_unique<std::byte[]>(block_size);
};

[[noreturn]] void damaged(const input_file &container, const std::string &how) {
    throw failure(message::cannot_read, container.path(), "the container is damaged: " + how,
                  "Bring it back from a backup of the version store.");
}

[[noreturn]] void foreign(const input_file &container, const std::string &why) {
    throw failure(message::cannot_read, container.path(), "it is no container of packed_copy: " + why,
                  "Name a container that packed_copy made.");
}

// ---- packing

packer make_packer(uint64_t size) {
    packer made(ZSTD_createCCtx());
    if (!made) throw std::bad_alloc();
    ZSTD_CCtx_setParameter(made.get(), ZSTD_c_windowLog, window_log);
    ZSTD_CCtx_setParameter(made.get(), ZSTD_c_contentSizeFlag, 1);
    ZSTD_CCtx_setParameter(made.get(), ZSTD_c_checksumFlag, 1);
    ZSTD_CCtx_setPledgedSrcSize(made.get(), size);
    return made;
}

void store(input_file &contents, output_file &container) {
    const packer context = make_packer(contents.size().value());
    const block plain, packed;
    ZSTD_EndDirective step = ZSTD_e_continue;
    while (step != ZSTD_e_end) {
        ZSTD_inBuffer in{plain.data(), contents.read(plain.all()), 0};
        if (in.size < block_size) step = ZSTD_e_end;
        bool finished;
        do {
            ZSTD_outBuffer out{packed.data(), block_size, 0};
            const size_t left = ZSTD_compressStream2(context.get(), &out, &in, step);
            if (ZSTD_isError(left)) {
                throw failure(message::cannot_write, container.where().path(), ZSTD_getErrorName(left),
                              "Nothing is left behind. Try again.");
            }
            container.write({packed.data(), out.pos});
            finished = step == ZSTD_e_end ? left == 0 : in.pos == in.size;
        } while (!finished);
    }
}

// ---- unpacking

// Tells how many bytes the frame holds, by its header. Only what store() makes is let through.
uint64_t claimed_size(const input_file &container, bytes header) {
    for (size_t i = 0; i < std::min(header.size(), sizeof magic); i++) {
        if (header[i] != magic[i]) foreign(container, "it does not begin like one");
    }
    const auto size = ZSTD_getFrameContentSize(header.data(), header.size());
    if (size == ZSTD_CONTENTSIZE_ERROR) damaged(container, "its header is cut or wrong");
    if (size == ZSTD_CONTENTSIZE_UNKNOWN) foreign(container, "it does not tell the size of its contents");
    if ((header[sizeof magic] & has_checksum) == std::byte{0}) foreign(container, "it has no checksum");
    if (ZSTD_getDictID_fromFrame(header.data(), header.size()) != 0) foreign(container, "it needs a dictionary");
    return size;
}

void restore(input_file &container, const sink &deliver) {
    const unpacker context(ZSTD_createDCtx());
    if (!context) throw std::bad_alloc();
    ZSTD_DCtx_setParameter(context.get(), ZSTD_d_windowLogMax, window_log);
    const block packed, plain;
    ZSTD_inBuffer in{packed.data(), container.read(packed.all()), 0};
    uint64_t left = claimed_size(container, {packed.data(), std::min(in.size, max_header)});
    for (size_t hint = 1; hint != 0;) {
        ZSTD_outBuffer out{plain.data(), block_size, 0};
        hint = ZSTD_decompressStream(context.get(), &out, &in);
        if (ZSTD_isError(hint)) damaged(container, ZSTD_getErrorName(hint));
        if (out.pos > left) damaged(container, "it holds more than it tells");
        left -= out.pos;
        deliver({plain.data(), out.pos});
        if (in.pos < in.size || out.pos == block_size || hint == 0) continue;
        in = {packed.data(), container.read(packed.all()), 0};
        if (in.size == 0) damaged(container, "it is cut");
    }
    if (left != 0) damaged(container, "it holds less than it tells");
    if (in.pos < in.size || container.read(packed.all()) != 0) damaged(container, "something follows its end");
}

} // namespace

int main(int argc, char **argv) {
    return run_manager({"packed_copy", "each version is a file of its own, compressed.", store, restore}, argc, argv);
}
