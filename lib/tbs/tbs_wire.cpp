#include "internal/wire.hpp"

#include "ezrpc/ezrpc_xdr.h"
#include "ks/ks_errno.h"

#include <algorithm>

namespace tbs::wire {
namespace {

constexpr size_t first_piece = 4096; // bytes taken for elements of which none has arrived

char *as_chars(const uint8_t *bytes) { return reinterpret_cast<char *>(const_cast<uint8_t *>(bytes)); }

// A larger array with the elements so far; throws when there is no memory, the array as it was. malloc() keeps small
// pieces at hand, which calloc() does not look for.
void grow(void *&array, size_t used, size_t capacity, size_t size) {
    auto *larger = static_cast<uint8_t *>(stg_malloc(capacity * size)); // both have 32 bits
    if (!larger) throw std::bad_alloc();
    if (used) std::memcpy(larger, array, used * size);
    std::memset(larger + used * size, 0, (capacity - used) * size);
    stg_free(std::exchange(array, larger));
}

// How many elements to make room for when so many have arrived: with those that move, within the limit on memory.
uint32_t grown(uint32_t capacity, uint32_t wanted, const shape &kind) {
    const uint32_t more = kind.size > 2 * kind.least ? std::max<uint32_t>(capacity / 2, 1) : capacity;
    return more < wanted - capacity ? capacity + more : wanted;
}

} // namespace

bool pass_text(XDR *xdrs, char **text, uint32_t max) {
    ks_errno = 0;
    if (xdr_ez_string8(xdrs, text, max)) return true;
    if (ks_errno == KS_ENOMEM) throw std::bad_alloc();
    return false;
}

bool put_units(XDR *xdrs, const uint8_t *from, size_t size) {
    for (const uint8_t *at = from; at < from + size; at += unit) {
        const long word = static_cast<int32_t>(load(at));
        if (!XDR_PUTLONG(xdrs, &word)) return false;
    }
    return true;
}

bool get_units(XDR *xdrs, uint8_t *to, size_t size) {
    for (uint8_t *at = to; at < to + size; at += unit) {
        long word = 0;
        if (!XDR_GETLONG(xdrs, &word)) return false;
        store(at, static_cast<uint32_t>(word));
    }
    return true;
}

[[gnu::always_inline]] inline bool window::open(size_t size) {
    if (size > std::numeric_limits<u_int>::max()) return false;
    position_ = XDR_GETPOS(xdrs_);
    auto *bytes = reinterpret_cast<cursor>(XDR_INLINE(xdrs_, static_cast<u_int>(size)));
    if (!bytes) return false;
    start_ = bytes;
    end_ = bytes + size;
    return in_place_ = can_go_back_ = true;
}

bool window::close(const uint8_t *at) {
    return at == end_ || XDR_SETPOS(xdrs_, position_ + static_cast<uint32_t>(at - start_));
}

// ---- encoding

bool sink::settle(const uint8_t *at) {
    if (in_place_) return close(at);
    return at == start_ || XDR_PUTBYTES(xdrs_, as_chars(start_), static_cast<u_int>(at - start_));
}

cursor sink::more(cursor at, size_t size) {
    if (start_ != end_ && !settle(at)) return nullptr; // the window of a walk that begins is empty
    uint32_t left = 0;
    xdr_ks_bytes_left(xdrs_, &left);
    if (open(std::max<size_t>(left, size))) return start_;
    restart();
    end_ = staging_ + staging_size;
    return start_;
}

cursor sink::rare_text(cursor at, const char *characters) { return text(at, characters, no_maximum); }

cursor sink::text_in_window(cursor at, const char *characters, size_t length, uint32_t max) {
    const size_t size = unit + padded(length);
    at = more(at, size);
    if (!at) return nullptr;
    if (ahead(at) >= size) return copied(at, characters, length);
    restart(); // too long to be staged
    return pass_text(xdrs_, const_cast<char **>(&characters), max) ? begin() : nullptr;
}

cursor sink::bytes(cursor at, const void *first, uint32_t size) {
    const auto *from = static_cast<const uint8_t *>(first);
    for (size_t left = size; left > 0;) {
        at = room(at, unit);
        if (!at) return nullptr;
        const size_t piece = std::min(left, ahead(at) / unit * unit);
        std::memset(at + padded(piece) - unit, 0, unit);
        std::memcpy(at, from, piece);
        at += padded(piece);
        from += piece;
        left -= piece;
    }
    return at;
}

cursor sink::elements(cursor at, const void *first, size_t count, const shape &kind) {
    const level nested(*this);
    return nested.ok() ? kind.put(*this, at, first, count) : nullptr;
}

// ---- decoding

bool source::settle(const uint8_t *at) { return !can_go_back_ || close(at); }

cursor source::look(cursor at) {
    uint32_t left = 0;
    if (start_ != end_ && !settle(at)) return nullptr;
    restart();
    return xdr_ks_bytes_left(xdrs_, &left) && left >= unit && open(left) ? start_ : begin();
}

cursor source::more(cursor at, size_t size) {
    at = look(at);
    if (!at || ahead(at) >= size) return at;
    if (in_place_) return refuse(at); // all that is left is in the window
    if (open(size)) return start_;
    uint32_t left = 0;
    can_go_back_ = xdr_ks_bytes_left(xdrs_, &left);
    position_ = XDR_GETPOS(xdrs_);
    const size_t there = can_go_back_ ? std::min<size_t>(left, size) : size;
    if (!XDR_GETBYTES(xdrs_, as_chars(staging_), static_cast<u_int>(there))) return nullptr;
    end_ = staging_ + there;
    return there == size ? start_ : refuse(start_);
}

cursor source::cut(std::initializer_list<size_t> widths) {
    if (!stopped_) return nullptr;
    for (const size_t width : widths) {
        if (ahead(stopped_) < width) break;
        stopped_ += width;
    }
    return nullptr;
}

cursor source::longer_text(cursor at, char *&characters, uint32_t max) {
    if (ahead(at) < unit) {
        if (in_place_) return refuse(at);
        at = look(at);
        if (!at || !in_place_) return at && pass_text(xdrs_, &characters, max) ? at : nullptr;
    }
    const size_t length = load(at);
    at += unit;
    if (length > max || ahead(at) < length) return refuse(at);
    if (ahead(at) < padded(length)) return refuse(at + length);
    auto *memory = static_cast<char *>(stg_malloc(length + 1));
    if (!memory) throw std::bad_alloc();
    std::memcpy(memory, at, length);
    memory[length] = '\0';
    characters = memory;
    return std::memchr(memory, '\0', length) ? refuse(at + length) : at + padded(length);
}

uint32_t source::expected(const uint8_t *at, uint32_t wanted, size_t size, size_t least) const {
    const size_t capacity = in_place_ ? ahead(at) / least + 1 : std::max<size_t>(first_piece / size, 1);
    return static_cast<uint32_t>(std::min<size_t>(wanted, capacity));
}

cursor source::bytes(cursor at, uint32_t wanted, void *&memory, uint32_t &size) {
    if (wanted && ahead(at) < unit && !(at = look(at))) return nullptr;
    if (wanted && in_place_) {
        if (ahead(at) < padded(wanted)) return refuse(at);
        memory = stg_malloc(wanted);
        if (!memory) throw std::bad_alloc();
        std::memcpy(memory, at, size = wanted);
        return at + padded(wanted);
    }
    for (uint32_t capacity = 0; size < wanted;) {
        if (size == capacity) {
            capacity = capacity ? size > wanted / 2 ? wanted : 2 * size : std::min<uint32_t>(wanted, first_piece);
            grow(memory, size, capacity, 1);
        }
        const size_t piece = std::min<size_t>(capacity - size, staging_size);
        at = room(at, padded(piece));
        if (!at) return nullptr;
        std::memcpy(static_cast<uint8_t *>(memory) + size, at, piece);
        at += padded(piece);
        size += static_cast<uint32_t>(piece);
    }
    return at;
}

cursor source::elements(cursor at, uint32_t wanted, void *&array, uint32_t &count, const shape &kind) {
    const level nested(*this);
    if (!nested.ok()) return refuse(at);
    if (wanted && ahead(at) < unit && !(at = look(at))) return nullptr;
    uint32_t capacity = expected(at, wanted, kind.size, kind.least);
    for (uint32_t done = 0; done < wanted;) {
        grow(array, done, capacity, kind.size);
        count = capacity;
        at = kind.get(*this, at, static_cast<char *>(array) + done * kind.size, capacity - done);
        if (!at) return nullptr;
        done = capacity;
        capacity = grown(capacity, wanted, kind);
    }
    return at;
}

} // namespace tbs::wire
