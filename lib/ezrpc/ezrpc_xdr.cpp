#include "ezrpc/ezrpc_xdr.h"

#include "ks/ks_stg.h"
#include "ks/ks_xdr.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace {

constexpr uint32_t unit = BYTES_PER_XDR_UNIT;
constexpr uint32_t first_piece = 4096; // bytes taken before anything has arrived
constexpr u_int no_maximum = std::numeric_limits<u_int>::max();

// One level of objects within objects.
class level {
public:
    level() : ok(depth < EZRPC_NESTING_LIMIT) { depth++; }
    ~level() { depth--; }
    level(const level &) = delete;
    level &operator=(const level &) = delete;
    const bool ok;

private:
    static constinit thread_local unsigned depth;
};
constinit thread_local unsigned level::depth = 0;

bool releases(const XDR *stream) { return stream->x_op == XDR_FREE; }

// Calls the routine of an element or object. What it says when it releases does not matter: the rest must go too.
bool call(xdrproc_t proc, XDR *stream, char *object) {
    return proc(stream, object, no_maximum) != FALSE || releases(stream);
}

// ---- texts

constexpr uint32_t padding(uint32_t length) { return (unit - length % unit) % unit; }

bool skip_padding(XDR *stream, uint32_t length) {
    char ignored[unit];
    const uint32_t size = padding(length);
    return size == 0 || XDR_GETBYTES(stream, ignored, size);
}

bool send_text(XDR *stream, const char *text, u_int max) {
    const size_t length = text ? std::strlen(text) : 0;
    if (length > max) return false;
    auto sent = static_cast<uint32_t>(length);
    return xdr_u_int(stream, &sent) && xdr_opaque(stream, const_cast<char *>(text), sent);
}

// Reads characters into memory that grows as they arrive, with a terminator. NULL when they do not, or for no memory.
char *arriving_text(XDR *stream, uint32_t length) {
    uint32_t left = 0;
    const bool known = xdr_ks_bytes_left(stream, &left);
    if (known && left < length) return nullptr;
    size_t capacity = known ? length : std::min(length, first_piece);
    auto *text = static_cast<char *>(stg_malloc(capacity + 1));
    for (size_t got = 0; text;) {
        if (!XDR_GETBYTES(stream, text + got, static_cast<u_int>(capacity - got))) break;
        text[got = capacity] = '\0';
        if (got == length) return text;
        capacity = std::min<size_t>(length, 2 * capacity);
        auto *larger = static_cast<char *>(stg_malloc(capacity + 1));
        if (!larger) break;
        std::memcpy(larger, text, got);
        stg_free(std::exchange(text, larger));
    }
    stg_free(text);
    return nullptr;
}

// A failure leaves an empty text in the caller's storage.
bool receive_into(XDR *stream, char *text, uint32_t length) {
    const bool received =
        XDR_GETBYTES(stream, text, length) && !std::memchr(text, '\0', length) && skip_padding(stream, length);
    text[received ? length : 0] = '\0';
    return received;
}

bool receive_text(XDR *stream, char **text, u_int max) {
    uint32_t length = 0;
    if (!xdr_u_int(stream, &length) || length > max) return false;
    if (*text && *text != stg_empty_string) return receive_into(stream, *text, length);
    if (length == 0) {
        *text = const_cast<char *>(stg_empty_string);
        return true;
    }
    char *fresh = arriving_text(stream, length);
    if (!fresh) return false;
    if (std::memchr(fresh, '\0', length) || !skip_padding(stream, length)) {
        stg_free(fresh);
        return false;
    }
    *text = fresh;
    return true;
}

// ---- arrays

// Passes elements one by one; "one" takes the address of an element.
template <class One> bool each(char *elements, u_int first, u_int last, u_int size, One one) {
    for (u_int i = first; i < last; i++) {
        if (!one(elements + size_t{i} * size)) return false;
    }
    return true;
}

// Elements for which memory is taken before they arrive: no more bytes than the stream can hold, when it can tell.
u_int first_capacity(const XDR *stream, u_int wanted, u_int size) {
    uint32_t left = 0;
    xdr_ks_bytes_left(stream, &left);
    return std::min(wanted, std::max(std::max(first_piece, left) / std::max(size, 1u), 1u));
}

// Decodes into an array that grows as the elements arrive; array and count agree at every moment.
template <class One>
bool receive_growing(XDR *stream, char *&elements, u_int &count, u_int wanted, u_int size, One one) {
    count = 0;
    uint32_t left = 0;
    if (xdr_ks_bytes_left(stream, &left) && left / unit < wanted) return false;
    u_int capacity = first_capacity(stream, wanted, size);
    for (u_int done = 0; done < wanted;) {
        auto *larger = static_cast<char *>(stg_calloc(capacity, size));
        if (!larger) return false;
        if (done) std::memcpy(larger, elements, size_t{done} * size);
        stg_free(std::exchange(elements, larger));
        count = capacity;
        if (!each(elements, done, capacity, size, one)) return false;
        done = capacity;
        capacity = capacity > wanted / 2 ? wanted : 2 * capacity;
    }
    return true;
}

template <class One> bool_t pass_array(XDR *stream, char **elements, u_int *count, u_int max, u_int size, One one) {
    if (!stream || !elements || !count) return FALSE;
    if (releases(stream)) {
        if (*elements) each(*elements, 0, *count, size, one);
        stg_free(std::exchange(*elements, nullptr));
        *count = 0;
        return TRUE;
    }
    u_int number = *count;
    if (!xdr_u_int(stream, &number) || number > max) return FALSE;
    const level nesting;
    if (number && !nesting.ok) return FALSE;
    if (stream->x_op == XDR_DECODE && !*elements)
        return receive_growing(stream, *elements, *count, number, size, one);
    if (number && !*elements) return FALSE;
    *count = number;
    return each(*elements, 0, number, size, one);
}

// One element that is a pointer to an object.
bool pass_pointed(XDR *stream, char *&object, u_int size, xdrproc_t proc) {
    if (stream->x_op == XDR_DECODE && !object) object = static_cast<char *>(stg_calloc(1, size));
    if (!object) return releases(stream);
    const bool passed = call(proc, stream, object);
    if (releases(stream)) stg_free(std::exchange(object, nullptr));
    return passed;
}

} // namespace

extern "C" bool_t xdr_ez_string8(XDR *stream, char **text, u_int max) noexcept {
    if (!stream || !text) return FALSE;
    switch (stream->x_op) {
    case XDR_ENCODE: return send_text(stream, *text, max);
    case XDR_DECODE: return receive_text(stream, text, max);
    case XDR_FREE: stg_free(std::exchange(*text, nullptr)); return TRUE;
    }
    return FALSE;
}

extern "C" bool_t xdr_ez_array(XDR *stream, char **elements, u_int *count, u_int max, u_int size,
                               xdrproc_t element) noexcept {
    if (!element) return FALSE;
    return pass_array(stream, elements, count, max, size, [=](char *at) { return call(element, stream, at); });
}

extern "C" bool_t xdr_ez_parray(XDR *stream, char **objects, u_int *count, u_int max, u_int size,
                                xdrproc_t object) noexcept {
    if (!object) return FALSE;
    return pass_array(stream, objects, count, max, sizeof(char *),
                      [=](char *at) { return pass_pointed(stream, *reinterpret_cast<char **>(at), size, object); });
}

extern "C" bool_t xdr_ez_pointer(XDR *stream, char **object, u_int size, xdrproc_t proc) noexcept {
    if (!stream || !object || !proc) return FALSE;
    if (releases(stream)) return pass_pointed(stream, *object, size, proc);
    bool_t present = *object != nullptr;
    if (!xdr_bool(stream, &present)) return FALSE;
    const level nesting;
    if (present) return nesting.ok && pass_pointed(stream, *object, size, proc);
    *object = nullptr;
    return TRUE;
}

extern "C" bool_t xdr_ez_vector(XDR *stream, char *elements, u_int count, u_int size, xdrproc_t element) noexcept {
    if (!stream || (!elements && count) || !element) return FALSE;
    return each(elements, 0, count, size, [=](char *at) { return call(element, stream, at); });
}

extern "C" void xdr_ez_free(xdrproc_t proc, void *object) noexcept {
    if (!proc || !object) return;
    XDR stream = {};
    stream.x_op = XDR_FREE;
    proc(&stream, object, no_maximum);
}
