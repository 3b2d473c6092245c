// xdr_streams.hpp - the five kinds of XDR stream that a routine meets, for tests that run it over all of them.
#ifndef TESTS_SUPPORT_XDR_STREAMS_HPP
#define TESTS_SUPPORT_XDR_STREAMS_HPP

#include "ks/ks_xdr.h"
#include "support/faults.hpp"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

extern "C" {
// Of the host's RPC library; its header wants a socket's types.
extern void xdrrec_create(XDR *, u_int, u_int, void *, int (*)(void *, void *, int), int (*)(void *, void *, int));
extern bool_t xdrrec_endofrecord(XDR *, bool_t);
extern bool_t xdrrec_skiprecord(XDR *);
}

using bytes = std::vector<uint8_t>;

enum class stream_kind {
    memory,    // xdrmem_create(), aligned: gives its bytes in place
    unaligned, // xdrmem_create(), unaligned: does not
    storage,   // xdrstg_create() and xdrstg_create_decode_buf()
    record,    // xdrrec_create() over a transport that delivers one byte at a time
    file,      // xdrstdio_create()
};

inline constexpr stream_kind all_stream_kinds[] = {stream_kind::memory, stream_kind::unaligned, stream_kind::storage,
                                                   stream_kind::record, stream_kind::file};

inline const char *name_of(stream_kind kind) {
    constexpr const char *names[] = {"memory", "unaligned", "storage", "record", "file"};
    return names[static_cast<size_t>(kind)];
}

inline bytes first(const bytes &all, size_t count) {
    return bytes(all.begin(), all.begin() + static_cast<ptrdiff_t>(count));
}

namespace xdr_streams {

// Bytes that a record stream writes or reads. Everything that arrives is one record.
struct transport {
    bytes wire;
    size_t at = 0;

    static int write(void *self, void *from, int size) {
        auto &wire = static_cast<transport *>(self)->wire;
        const auto *data = static_cast<const uint8_t *>(from);
        wire.insert(wire.end(), data, data + size);
        return size;
    }
    static int read(void *self, void *to, int) {
        auto *from = static_cast<transport *>(self);
        if (from->at == from->wire.size()) return -1;
        *static_cast<uint8_t *>(to) = from->wire[from->at++];
        return 1;
    }
    static transport delivering(const bytes &payload) {
        const size_t size = payload.size();
        transport peer;
        peer.wire = {static_cast<uint8_t>(0x80 | size >> 24), static_cast<uint8_t>(size >> 16),
                     static_cast<uint8_t>(size >> 8), static_cast<uint8_t>(size)};
        peer.wire.insert(peer.wire.end(), payload.begin(), payload.end());
        return peer;
    }
    // What was written, without the headers of the fragments.
    bytes payload() const {
        bytes all;
        for (size_t i = 0; i + 4 <= wire.size();) {
            const size_t size =
                (size_t{wire[i]} & 0x7F) << 24 | size_t{wire[i + 1]} << 16 | size_t{wire[i + 2]} << 8 | wire[i + 3];
            all.insert(all.end(), wire.begin() + static_cast<ptrdiff_t>(i + 4),
                       wire.begin() + static_cast<ptrdiff_t>(i + 4 + size));
            i += 4 + size;
        }
        return all;
    }
};

// Memory of the test's own, which no test wants to be refused.
template <class F> auto unrefused(F &&make) {
    const faults::suspend quiet;
    return make();
}

inline constexpr size_t room_size = 1 << 20;

// A routine that takes a stream and an object. Extra arguments of some routines are the largest maximum.
inline bool run(XDR *stream, xdrproc_t routine, void *object) { return routine(stream, object, UINT32_MAX); }

inline std::optional<bytes> encode_in_memory(size_t shift, xdrproc_t routine, void *object) {
    std::vector<char> room(room_size + shift);
    XDR stream;
    xdrmem_create(&stream, room.data() + shift, room_size, XDR_ENCODE);
    if (!run(&stream, routine, object)) return std::nullopt;
    const auto *start = reinterpret_cast<const uint8_t *>(room.data()) + shift;
    return bytes(start, start + XDR_GETPOS(&stream));
}

inline std::optional<bytes> encode_in_storage(xdrproc_t routine, void *object) {
    XDR stream;
    if (xdrstg_create(&stream, XDR_ENCODE, 0) != 0) return std::nullopt;
    std::optional<bytes> sent;
    if (run(&stream, routine, object)) {
        const auto *start = static_cast<const uint8_t *>(xdrstg_buffer(&stream));
        sent = start ? bytes(start, start + XDR_GETPOS(&stream)) : bytes();
    }
    xdrstg_destroy(&stream);
    return sent;
}

inline std::optional<bytes> encode_as_record(xdrproc_t routine, void *object) {
    transport peer;
    XDR stream = {};
    stream.x_op = XDR_ENCODE;
    xdrrec_create(&stream, 100, 100, &peer, transport::read, transport::write);
    stream.x_op = XDR_ENCODE;
    const bool sent = run(&stream, routine, object) && xdrrec_endofrecord(&stream, TRUE);
    XDR_DESTROY(&stream);
    return sent ? std::optional(peer.payload()) : std::nullopt;
}

inline std::optional<bytes> encode_to_file(xdrproc_t routine, void *object) {
    FILE *file = std::tmpfile();
    if (!file) return std::nullopt;
    XDR stream;
    xdrstdio_create(&stream, file, XDR_ENCODE);
    std::optional<bytes> sent;
    if (run(&stream, routine, object)) {
        sent.emplace(static_cast<size_t>(std::ftell(file)));
        std::rewind(file);
        if (std::fread(sent->data(), 1, sent->size(), file) != sent->size()) sent.reset();
    }
    std::fclose(file);
    return sent;
}

inline bool decode_in_memory(size_t shift, const bytes &from, xdrproc_t routine, void *object) {
    // On the heap and just as large, so that a byte read too many is seen.
    std::vector<char> room = unrefused([&] { return std::vector<char>(from.size() + shift); });
    if (!from.empty()) std::memcpy(room.data() + shift, from.data(), from.size());
    static char nothing[4];
    char *start = room.empty() ? nothing : room.data() + shift;
    XDR stream;
    xdrmem_create(&stream, start, static_cast<u_int>(from.size()), XDR_DECODE);
    return run(&stream, routine, object);
}

inline bool decode_in_storage(const bytes &from, xdrproc_t routine, void *object) {
    XDR stream;
    if (xdrstg_create_decode_buf(&stream, from.data(), static_cast<uint32_t>(from.size())) != 0) return false;
    const bool received = run(&stream, routine, object);
    xdrstg_destroy(&stream);
    return received;
}

inline bool decode_as_record(const bytes &from, xdrproc_t routine, void *object) {
    transport peer = unrefused([&] { return transport::delivering(from); });
    XDR stream = {};
    xdrrec_create(&stream, 100, 100, &peer, transport::read, transport::write);
    stream.x_op = XDR_DECODE;
    xdrrec_skiprecord(&stream);
    const bool received = run(&stream, routine, object);
    XDR_DESTROY(&stream);
    return received;
}

inline bool decode_from_file(const bytes &from, xdrproc_t routine, void *object) {
    FILE *file = std::tmpfile();
    if (!file) return false;
    XDR stream;
    bool received = from.empty() || std::fwrite(from.data(), 1, from.size(), file) == from.size();
    std::rewind(file);
    xdrstdio_create(&stream, file, XDR_DECODE);
    received = received && run(&stream, routine, object);
    std::fclose(file);
    return received;
}

} // namespace xdr_streams

// What a routine makes of an object on one kind of stream; nothing when it fails.
inline std::optional<bytes> encode(stream_kind kind, xdrproc_t routine, void *object) {
    using namespace xdr_streams;
    switch (kind) {
    case stream_kind::memory: return encode_in_memory(0, routine, object);
    case stream_kind::unaligned: return encode_in_memory(1, routine, object);
    case stream_kind::storage: return encode_in_storage(routine, object);
    case stream_kind::record: return encode_as_record(routine, object);
    case stream_kind::file: return encode_to_file(routine, object);
    }
    return std::nullopt;
}

// Decodes an object from one kind of stream. What was built stays in the object, whatever the result.
inline bool decode(stream_kind kind, const bytes &from, xdrproc_t routine, void *object) {
    using namespace xdr_streams;
    switch (kind) {
    case stream_kind::memory: return decode_in_memory(0, from, routine, object);
    case stream_kind::unaligned: return decode_in_memory(1, from, routine, object);
    case stream_kind::storage: return decode_in_storage(from, routine, object);
    case stream_kind::record: return decode_as_record(from, routine, object);
    case stream_kind::file: return decode_from_file(from, routine, object);
    }
    return false;
}

#endif
