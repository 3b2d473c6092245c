#include "ks/ks_xdr.h"

#include "ks/ks_errno.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace {

constexpr uint32_t unit = BYTES_PER_XDR_UNIT;

constexpr uint32_t big_endian(uint32_t value) {
    return std::endian::native == std::endian::little ? __builtin_bswap32(value) : value;
}

// ---- streams over storage: x_base is the first byte, x_private the next one, x_handy the number of bytes behind it

char *next_byte(const XDR *stream) { return static_cast<char *>(stream->x_private); }

uint32_t position(const XDR *stream) { return static_cast<uint32_t>(next_byte(stream) - stream->x_base); }

void place(XDR *stream, char *base, uint32_t at, uint32_t size) {
    stream->x_base = base;
    stream->x_private = base ? base + at : nullptr;
    stream->x_handy = size - at;
}

// Room for these bytes more, in a buffer that at least doubles.
bool grow(XDR *stream, uint32_t more) {
    const uint32_t used = position(stream);
    const uint64_t needed = uint64_t{used} + more;
    const uint64_t doubled = 2 * (uint64_t{used} + stream->x_handy);
    constexpr uint64_t least = 256, most = std::numeric_limits<uint32_t>::max();
    if (needed > most) return false;
    const uint32_t size = static_cast<uint32_t>(std::min(std::max({needed, doubled, least}), most));
    auto *larger = static_cast<char *>(stg_malloc(size));
    if (!larger) return false;
    if (used) std::memcpy(larger, stream->x_base, used);
    stg_free(stream->x_base);
    place(stream, larger, used, size);
    return true;
}

// The next bytes of the stream, passed over; NULL when there are not so many.
char *pass(XDR *stream, uint32_t size) {
    if (stream->x_handy < size) return nullptr;
    char *bytes = next_byte(stream);
    stream->x_private = bytes + size;
    stream->x_handy -= size;
    return bytes;
}

char *pass_growing(XDR *stream, uint32_t size) {
    return stream->x_handy >= size || grow(stream, size) ? pass(stream, size) : nullptr;
}

bool_t get_long(XDR *stream, long *value) {
    const char *bytes = pass(stream, unit);
    if (!bytes) return FALSE;
    uint32_t word;
    std::memcpy(&word, bytes, unit);
    *value = big_endian(word); // without the sign, like the host's streams
    return TRUE;
}

bool_t put_long(XDR *stream, const long *value) {
    char *bytes = pass_growing(stream, unit);
    if (!bytes) return FALSE;
    const uint32_t word = big_endian(static_cast<uint32_t>(*value));
    std::memcpy(bytes, &word, unit);
    return TRUE;
}

bool_t get_bytes(XDR *stream, char *target, u_int size) {
    const char *bytes = pass(stream, size);
    if (bytes && size) std::memcpy(target, bytes, size);
    return bytes || size == 0;
}

bool_t put_bytes(XDR *stream, const char *source, u_int size) {
    char *bytes = pass_growing(stream, size);
    if (bytes && size) std::memcpy(bytes, source, size);
    return bytes || size == 0;
}

u_int get_position(XDR *stream) { return position(stream); }

bool_t set_position(XDR *stream, u_int at) {
    const uint32_t size = position(stream) + stream->x_handy;
    if (at > size) return FALSE;
    place(stream, stream->x_base, at, size);
    return TRUE;
}

// Generated code reads and writes whole words in place, so only aligned ones are given.
template <xdr_op Direction, char *(*Pass)(XDR *, uint32_t)> int32_t *in_place(XDR *stream, u_int size) {
    if (stream->x_op != Direction) return nullptr; // the caller would write what is to be read, or the reverse
    if (reinterpret_cast<uintptr_t>(stream->x_private) % alignof(int32_t) != 0) return nullptr;
    return reinterpret_cast<int32_t *>(Pass(stream, size));
}

void forget(XDR *stream) { place(stream, nullptr, 0, 0); }

void release(XDR *stream) {
    stg_free(stream->x_base);
    forget(stream);
}

template <class... Arguments> bool_t refuse(XDR *, Arguments...) { return FALSE; }

// Whose the bytes are is told by the operations and not by x_op, which a pass that releases may change: a stream with
// a buffer of its own only takes, one over bytes of the caller's only delivers.
constexpr XDR::xdr_ops taking = {
    refuse,  put_long, refuse, put_bytes, get_position, set_position, in_place<XDR_ENCODE, pass_growing>,
    release, refuse};
constexpr XDR::xdr_ops delivering = {
    get_long, refuse, get_bytes, refuse, get_position, set_position, in_place<XDR_DECODE, pass>, forget, refuse};

bool is_storage_stream(const XDR *stream) { return stream->x_ops == &taking || stream->x_ops == &delivering; }

// The host's memory streams, known by their operations: one set for aligned buffers, one for others.
struct memory_stream_kinds {
    const XDR::xdr_ops *aligned, *unaligned;

    memory_stream_kinds() : aligned(ops_at(0)), unaligned(ops_at(1)) {}

private:
    // Out of line: what is done once would else have its buffer on the stack of every walk over a record.
    [[gnu::noinline]] static const XDR::xdr_ops *ops_at(size_t offset) {
        alignas(unit) char bytes[2 * unit];
        XDR stream;
        xdrmem_create(&stream, bytes + offset, unit, XDR_DECODE);
        return stream.x_ops;
    }
};

bool is_memory_stream(const XDR *stream) {
    static const memory_stream_kinds kinds;
    return stream->x_ops == kinds.aligned || stream->x_ops == kinds.unaligned;
}

} // namespace

extern "C" int xdrstg_create(XDR *stream, enum xdr_op op, uint32_t initial_size) noexcept {
    if (!stream || (op != XDR_ENCODE && op != XDR_FREE)) return KS_EINVAL;
    if (op == XDR_FREE) initial_size = 0;
    char *buffer = initial_size ? static_cast<char *>(stg_malloc(initial_size)) : nullptr;
    if (initial_size && !buffer) return KS_ENOMEM;
    *stream = {};
    stream->x_op = op;
    stream->x_ops = &taking;
    place(stream, buffer, 0, initial_size);
    return 0;
}

extern "C" int xdrstg_create_decode_buf(XDR *stream, const void *buffer, uint32_t size) noexcept {
    if (!stream || (!buffer && size)) return KS_EINVAL;
    static char nothing[1];
    *stream = {};
    stream->x_op = XDR_DECODE;
    stream->x_ops = &delivering;
    place(stream, buffer ? static_cast<char *>(const_cast<void *>(buffer)) : nothing, 0, size);
    return 0;
}

extern "C" const void *xdrstg_buffer(const XDR *stream) noexcept {
    return stream && stream->x_ops == &taking ? stream->x_base : nullptr;
}

extern "C" void xdrstg_destroy(XDR *stream) noexcept {
    if (stream && is_storage_stream(stream)) XDR_DESTROY(stream);
}

extern "C" int xdr_ks_bytes_left(const XDR *stream, uint32_t *left_out) noexcept {
    if (!stream || !left_out) return 0;
    if (!is_storage_stream(stream) && !is_memory_stream(stream)) return 0;
    *left_out = stream->x_handy;
    return 1;
}

extern "C" bool_t xdr_ks_off32_t(XDR *stream, int32_t *offset) noexcept {
    return stream && offset && xdr_int(stream, offset);
}

extern "C" bool_t xdr_ks_off64_t(XDR *stream, int64_t *offset) noexcept {
    if (!stream || !offset) return FALSE;
    const auto value = static_cast<uint64_t>(*offset);
    auto high = static_cast<uint32_t>(value >> 32), low = static_cast<uint32_t>(value);
    if (!xdr_u_int(stream, &high) || !xdr_u_int(stream, &low)) return FALSE;
    if (stream->x_op == XDR_DECODE) *offset = static_cast<int64_t>(uint64_t{high} << 32 | low);
    return TRUE;
}

extern "C" bool_t xdr_ks_uint32_t(XDR *stream, uint32_t *number) noexcept {
    return stream && number && xdr_u_int(stream, number);
}

extern "C" bool_t xdr_timeval(XDR *stream, ks_timeval_t *time) noexcept {
    return stream && time && xdr_int(stream, &time->tv_sec) && xdr_int(stream, &time->tv_usec);
}

extern "C" bool_t xdr_credutl_sid_t(XDR *stream, credutl_sid_t *sid) noexcept {
    return stream && sid && xdr_opaque(stream, reinterpret_cast<char *>(sid), sizeof *sid);
}

extern "C" bool_t xdr_stg_area_rpc_ptr_t(XDR *stream, stg_area_rpc_ptr_t *link) noexcept {
    if (!stream || !link) return FALSE;
    if (stream->x_op == XDR_FREE) return TRUE;
    uint32_t nothing = 0;
    if (!xdr_u_int(stream, &nothing) || nothing != 0) return FALSE;
    if (stream->x_op == XDR_DECODE) *link = nullptr;
    return TRUE;
}
