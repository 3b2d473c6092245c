// Records on the wire: ours beside routines that rpcgen makes of the same layouts.

#include "bench_support.hpp"
#include "ezrpc/ezrpc_xdr.h"
#include "lib/tbs/internal/wire.hpp"
#include "tbs/tbs_xdr.h"
#include "xdr_rows.hpp"

#include <bit>
#include <cstdint>
#include <cstring>

extern "C" {
#include <peers/records.h>
}

namespace bench {
struct id_list {
    int32_t n_ids;
    tbs_oid_t *ids;
};
} // namespace bench

namespace tbs::wire {
template <> struct record<bench::id_list> : rows<array<&bench::id_list::n_ids, &bench::id_list::ids>> {};
} // namespace tbs::wire

namespace {

using namespace bench;

constexpr size_t count = 1000;

extern "C" bool_t xdr_id_list(XDR *stream, id_list *list) { return tbs::wire::run("bench", stream, list); }

std::vector<tbs_oid_t> &ids() {
    static std::vector<tbs_oid_t> all = [] {
        std::vector<tbs_oid_t> made(count);
        for (tbs_oid_t &one : made) tbs_uuid_gen(&one);
        return made;
    }();
    return all;
}

id_list our_ids() { return {static_cast<int32_t>(count), ids().data()}; }

peer_ids their_ids() { return {count, {count, reinterpret_cast<peer_id *>(ids().data())}}; }

// The same through the public routines, an element at a time.
struct public_ids {
    char *ids;
    u_int count;
};
extern "C" bool_t xdr_public_ids(XDR *stream, public_ids *list) {
    return xdr_ez_array(stream, &list->ids, &list->count, UINT32_MAX, sizeof(tbs_oid_t),
                        reinterpret_cast<xdrproc_t>(xdr_tbs_oid_t));
}

void ids_encode_ours(benchmark::State &state) {
    id_list list = our_ids();
    encode_rows(state, xdr_id_list, &list);
}
void ids_encode_peer(benchmark::State &state) {
    peer_ids list = their_ids();
    encode_rows(state, xdr_peer_ids, &list);
}
void ids_encode_array(benchmark::State &state) {
    public_ids list = {reinterpret_cast<char *>(ids().data()), count};
    encode_rows(state, xdr_public_ids, &list);
}
void ids_decode_ours(benchmark::State &state) {
    id_list list = our_ids();
    decode_rows(state, xdr_id_list, &list);
}
void ids_decode_peer(benchmark::State &state) {
    peer_ids list = their_ids();
    decode_rows(state, xdr_peer_ids, &list);
}
void ids_decode_array(benchmark::State &state) {
    public_ids list = {reinterpret_cast<char *>(ids().data()), count};
    decode_rows(state, xdr_public_ids, &list);
}

// ---- a SID ACL of users

// The same entries for the peer.
struct peer_list {
    explicit peer_list(tbs_sid_acl_h_t acl) {
        uint32_t cursor = 0;
        static char nothing[1];
        while (const tbs_acl_cooked_ent_t *from = tbs_sid_acl_next_entry(acl, &cursor)) {
            peer_sid_acl_entry entry = {};
            entry.id.kind = static_cast<int>(from->id.kind);
            entry.id.domain = entry.id.name = nothing;
            std::memcpy(entry.id.sid, &from->id.sid, sizeof from->id.sid);
            entry.perms = from->perms;
            entries.push_back(entry);
        }
        handle.is_null = FALSE;
        handle.peer_sid_acl_handle_u.acl.entries = {static_cast<u_int>(entries.size()), entries.data()};
    }
    std::vector<peer_sid_acl_entry> entries;
    peer_sid_acl_handle handle = {};
};

void sid_acl_encode_ours(benchmark::State &state) {
    tbs_sid_acl_h_t acl = sid_acl(count);
    encode_rows(state, xdr_tbs_sid_acl_h_t, &acl);
    tbs_sid_acl_free(&acl);
}
void sid_acl_encode_peer(benchmark::State &state) {
    tbs_sid_acl_h_t acl = sid_acl(count);
    peer_list list(acl);
    encode_rows(state, xdr_peer_sid_acl_handle, &list.handle);
    tbs_sid_acl_free(&acl);
}
void sid_acl_decode_ours(benchmark::State &state) {
    tbs_sid_acl_h_t acl = sid_acl(count);
    decode_rows(state, xdr_tbs_sid_acl_h_t, &acl);
    tbs_sid_acl_free(&acl);
}
void sid_acl_decode_peer(benchmark::State &state) {
    tbs_sid_acl_h_t acl = sid_acl(count);
    peer_list list(acl);
    decode_rows(state, xdr_peer_sid_acl_handle, &list.handle);
    tbs_sid_acl_free(&acl);
}

// As stored bytes, memory included.
void sid_acl_bytes_encode(benchmark::State &state) {
    tbs_sid_acl_h_t acl = sid_acl(count);
    for (auto _ : state) {
        uint32_t length = 0;
        void *buffer = nullptr;
        if (tbs_sid_acl_encode(acl, &length, &buffer) != 0) state.SkipWithError("not encoded");
        benchmark::DoNotOptimize(buffer);
        stg_free(buffer);
    }
    tbs_sid_acl_free(&acl);
}

// What no encoder can do without: each word of the same length swapped into place.
[[gnu::noinline]] void swap_words(const uint32_t *from, uint32_t *to, size_t words) {
    for (size_t i = 0; i < words; i++) to[i] = __builtin_bswap32(from[i]);
}
void sid_acl_encode_swap(benchmark::State &state) {
    constexpr size_t words = count * 52 / 4;
    std::vector<uint32_t> from(words, 0x01020304), to(words);
    for (auto _ : state) {
        swap_words(from.data(), to.data(), words);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(ids_encode_ours)->Name("ids_encode/ours");
BENCHMARK(ids_encode_array)->Name("ids_encode/ours:ez_array");
BENCHMARK(ids_encode_peer)->Name("ids_encode/peer:rpcgen");
BENCHMARK(ids_decode_ours)->Name("ids_decode/ours");
BENCHMARK(ids_decode_array)->Name("ids_decode/ours:ez_array");
BENCHMARK(ids_decode_peer)->Name("ids_decode/peer:rpcgen");
BENCHMARK(sid_acl_encode_ours)->Name("sid_acl_encode/ours");
BENCHMARK(sid_acl_bytes_encode)->Name("sid_acl_encode/ours:bytes");
BENCHMARK(sid_acl_encode_peer)->Name("sid_acl_encode/peer:rpcgen");
BENCHMARK(sid_acl_encode_swap)->Name("sid_acl_encode/peer:byte_swap");
BENCHMARK(sid_acl_decode_ours)->Name("sid_acl_decode/ours");
BENCHMARK(sid_acl_decode_peer)->Name("sid_acl_decode/peer:rpcgen");

} // namespace
