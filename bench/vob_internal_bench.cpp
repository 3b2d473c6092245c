// Repository records on the wire: ours beside the routines that rpcgen makes of the same layouts, every type with the
// same made-up records.
#include "ezrpc/ezrpc_xdr.h"
#include "lib/tbs/internal/vob_types.hpp"
#include "lib/tbs/internal/wire_sample.hpp"
#include "peers/vob_peers.hpp"

#include <benchmark/benchmark.h>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using tbs::wire::sampler;
using tbs::wire::vob_types;
using tbs::wire::wire_type;
using bytes = std::vector<uint8_t>;
using object = std::vector<uint64_t>; // memory of one

constexpr int samples_a_type = 32;
constexpr double seconds_a_row = 0.02;

struct routine {
    xdrproc_t pass;
    size_t size;
    object make() const { return object(size / sizeof(uint64_t) + 1); }
};

bool decode(const routine &r, const bytes &from, object &to) {
    XDR stream;
    xdrmem_create(&stream, reinterpret_cast<char *>(const_cast<uint8_t *>(from.data())),
                  static_cast<u_int>(from.size()), XDR_DECODE);
    return r.pass(&stream, to.data());
}

void release(const routine &r, object &of) {
    XDR stream = {};
    stream.x_op = XDR_FREE;
    r.pass(&stream, of.data());
}

void encode_rows(benchmark::State &state, routine r, const std::vector<bytes> &encoded) {
    std::vector<object> objects;
    for (const bytes &one : encoded) {
        objects.push_back(r.make());
        if (!decode(r, one, objects.back())) return state.SkipWithError("not decoded");
    }
    std::vector<char> room(65536);
    for (auto _ : state) {
        for (object &one : objects) {
            XDR stream;
            xdrmem_create(&stream, room.data(), static_cast<u_int>(room.size()), XDR_ENCODE);
            if (!r.pass(&stream, one.data())) return state.SkipWithError("not encoded");
            benchmark::ClobberMemory();
        }
    }
    for (object &one : objects) release(r, one);
}

void decode_rows(benchmark::State &state, routine r, const std::vector<bytes> &encoded) {
    object one = r.make();
    for (auto _ : state) {
        for (const bytes &from : encoded) {
            std::memset(one.data(), 0, r.size);
            if (!decode(r, from, one)) return state.SkipWithError("not decoded");
            benchmark::DoNotOptimize(one.data());
            release(r, one);
        }
    }
}

void add_rows(const std::string &name, const wire_type &type, std::vector<bytes> encoded) {
    const std::string stem(type.name, std::strlen(type.name) - 2);
    const vob_peer *peer = find_vob_peer(stem);
    if (!peer) throw std::logic_error("no peer of " + stem);
    const auto shared = std::make_shared<std::vector<bytes>>(std::move(encoded));
    const auto add = [&](const std::string &row, auto measure, routine r) {
        benchmark::RegisterBenchmark(row.c_str(), [=](benchmark::State &state) {
            measure(state, r, *shared);
        })->MinTime(seconds_a_row);
    };
    const routine ours = {type.pass, type.size}, theirs = {peer->pass, peer->size};
    add("vob_encode/" + name + "/ours", encode_rows, ours);
    add("vob_encode/" + name + "/peer:rpcgen", encode_rows, theirs);
    add("vob_decode/" + name + "/ours", decode_rows, ours);
    add("vob_decode/" + name + "/peer:rpcgen", decode_rows, theirs);
}

const wire_type &type_named(const std::string &name) {
    for (const wire_type &type : vob_types()) {
        if (name == type.name) return type;
    }
    throw std::logic_error(name);
}

// What a routine of ours encodes.
template <class T> bytes encoded(bool_t (*pass)(XDR *, T *), T value) {
    bytes room(65536);
    XDR stream;
    xdrmem_create(&stream, reinterpret_cast<char *>(room.data()), static_cast<u_int>(room.size()), XDR_ENCODE);
    if (!pass(&stream, &value)) throw std::logic_error("not encoded");
    room.resize(XDR_GETPOS(&stream));
    return room;
}

char comment[] = "merge the release branch into main", user[] = "mira", group[] = "tools", host[] = "atlas",
     name[] = "src/scanner/scanner.c", data[1024];

bytes event() {
    return encoded(
        xdr_vob_event_info_t,
        {nullptr, VOB_EVKIND_CHECKIN, {1700000000, 250000}, comment, user, group, host, name, 77, VOB_OP_CHECKIN});
}

bytes log_entry() {
    vob_event_legacy_info_t of = {nullptr, VOB_EVKIND_CHECKIN, 1700000000, comment, user, group, host, name,
                                  77,      VOB_OP_CHECKIN};
    vob_oplog_ent_t entry = {};
    entry.op = VOB_OPLOG_OP_CHECKIN;
    entry.event = &of;
    entry.data = data;
    entry.data_size = sizeof data;
    return encoded(xdr_vob_oplog_ent_t, entry);
}

void add_all_rows() {
    add_rows("event", type_named("vob_event_info_t"), {event()});
    add_rows("log_entry", type_named("vob_oplog_ent_t"), {log_entry()});
    for (const wire_type &type : vob_types()) {
        if (std::string_view(type.name).ends_with("_s")) continue; // a twin is the same routine
        sampler samples(1);
        std::vector<bytes> some;
        for (int i = 0; i < samples_a_type; i++) some.push_back(samples.make(*type.wire));
        add_rows(std::string("type:") + type.name, type, std::move(some));
    }
}

const bool rows_are_there = (add_all_rows(), true);

} // namespace
