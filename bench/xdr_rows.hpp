// xdr_rows.hpp - rows that encode and decode a record by an XDR routine, ours or a peer's.
#ifndef BENCH_XDR_ROWS_HPP
#define BENCH_XDR_ROWS_HPP

#include "ks/ks_xdr.h"

#include <benchmark/benchmark.h>
#include <vector>

namespace bench {

// Bytes for an encoded record of any kind.
struct bytes {
    std::vector<char> room = std::vector<char>(256 * 1024);
    u_int used = 0;

    template <class Routine, class T> bool encode(Routine routine, T *value) {
        XDR stream;
        xdrmem_create(&stream, room.data(), static_cast<u_int>(room.size()), XDR_ENCODE);
        const bool encoded = routine(&stream, value);
        used = XDR_GETPOS(&stream);
        return encoded;
    }
    template <class Routine, class T> bool decode(Routine routine, T *value) {
        XDR stream;
        xdrmem_create(&stream, room.data(), used, XDR_DECODE);
        return routine(&stream, value);
    }
    template <class Routine, class T> static void release(Routine routine, T *value) {
        XDR stream = {};
        stream.x_op = XDR_FREE;
        routine(&stream, value);
    }
};

template <class T, class Routine> void encode_rows(benchmark::State &state, Routine routine, T *value) {
    bytes wire;
    for (auto _ : state) {
        if (!wire.encode(routine, value)) return state.SkipWithError("not encoded");
        benchmark::DoNotOptimize(wire.room.data());
        benchmark::ClobberMemory();
    }
    state.counters["bytes"] = wire.used;
}

template <class T, class Routine> void decode_rows(benchmark::State &state, Routine routine, T *value) {
    bytes wire;
    if (!wire.encode(routine, value)) return state.SkipWithError("not encoded");
    for (auto _ : state) {
        T decoded = {};
        if (!wire.decode(routine, &decoded)) return state.SkipWithError("not decoded");
        benchmark::DoNotOptimize(decoded);
        wire.release(routine, &decoded);
    }
}

} // namespace bench

#endif
