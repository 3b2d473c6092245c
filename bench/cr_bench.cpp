// Configuration records on the wire, compressed and copied, beside routines that rpcgen makes of the same layout.

#include "ks/ks_stg.h"
#include "tbs/tbs_cr.h"
#include "xdr_rows.hpp"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <random>
#include <string>
#include <vector>
#include <zlib.h>
#include <zstd.h>

extern "C" {
#include <peers/records.h>
}

namespace {

using namespace bench;

constexpr uint32_t object_count = 1000;

// A record of a build: a program linked of many sources, 136 KB on the wire.
class build_record {
public:
    build_record() {
        for (uint32_t i = 0; i < object_count; i++) add_object(i);
        for (uint32_t i = 0; i < vobs_.size(); i++) {
            vobs_[i] = {text("/vobs/product_" + std::to_string(i)), id(), id()};
            vob_pointers_[i] = &vobs_[i];
        }
        for (uint32_t i = 0; i < variables_.size(); i++) {
            variables_[i] = text("BUILD_SETTING_" + std::to_string(i) + "=-O2 -I/vobs/product_0/include");
        }
        cr.build_time = 1795276800;
        cr.elapsed = 41;
        cr.user = text("fumiko");
        cr.group = text("developers");
        cr.host = text("build07");
        cr.host_type = text("Linux x86_64");
        cr.directory = text("/vobs/product_0/src");
        cr.target_oid = id();
        tbs_uuid_gen(&cr.view_uuid);
        cr.target = text("gauge");
        cr.began = {1795276759, 120000};
        cr.command = text("cc -o gauge $(OBJECTS) -lproduct");
        cr.variable_count = static_cast<uint32_t>(variables_.size());
        cr.variables = variables_.data();
        cr.vob_count = static_cast<uint32_t>(vobs_.size());
        cr.vobs = vob_pointers_.data();
        cr.mfs_object_count = object_count;
        cr.mfs_objects = object_pointers_.data();
    }
    build_record(const build_record &) = delete;
    build_record &operator=(const build_record &) = delete;

    // Bytes in memory: structures, arrays, texts.
    [[nodiscard]] size_t size() const {
        size_t all = sizeof cr + sizeof objects_ + sizeof object_pointers_ + sizeof vobs_ + sizeof vob_pointers_ +
                     sizeof variables_;
        for (const std::string &one : texts_) all += one.size() + 1;
        return all;
    }

    tbs_cr_t cr = {};

private:
    char *text(std::string characters) { return texts_.emplace_back(std::move(characters)).data(); }
    tbs_oid_t id() {
        std::array<uint8_t, sizeof(tbs_oid_t)> bytes;
        for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random_());
        tbs_oid_t made;
        std::memcpy(&made, bytes.data(), sizeof made);
        return made;
    }
    void add_object(uint32_t i) {
        char name[80];
        std::snprintf(name, sizeof name, "/product/src/component_%02u/unit_%03u.cpp@@/main/rel_11.0/%u", i / 40, i,
                      1 + i % 17);
        objects_[i] = {.oid = id(),
                       .mtime = 1795000000 + static_cast<int64_t>(random_() % 200'000),
                       .element_oid = id(),
                       .vob = static_cast<uint16_t>(i / 250),
                       .result_obj_flags = 1,
                       .ftype = 1,
                       .mtype = 2,
                       .parent = static_cast<uint16_t>(i / 40 * 40),
                       .branch_oid = id(),
                       .name = text(name)};
        object_pointers_[i] = &objects_[i];
    }

    std::minstd_rand random_{11};
    std::deque<std::string> texts_;
    std::array<tbs_cr_mfs_obj_desc_t, object_count> objects_;
    std::array<tbs_cr_mfs_obj_desc_t *, object_count> object_pointers_;
    std::array<tbs_cr_vob_desc_t, 4> vobs_;
    std::array<tbs_cr_vob_desc_t *, 4> vob_pointers_;
    std::array<char *, 24> variables_;
};

// The same record as the peer has it.
class peer_record {
public:
    explicit peer_record(tbs_cr_t *cr) {
        bytes wire;
        if (!wire.encode(xdr_tbs_cr_t, cr) || !wire.decode(xdr_peer_cr_narrow, &record)) std::abort();
    }
    ~peer_record() { bytes::release(xdr_peer_cr_narrow, &record); }
    peer_record(const peer_record &) = delete;
    peer_record &operator=(const peer_record &) = delete;

    peer_cr_narrow record = {};
};

build_record &ours() {
    static build_record made;
    return made;
}
peer_cr_narrow *theirs() {
    static peer_record made(&ours().cr);
    return &made.record;
}

// ---- on the wire

void encode_ours(benchmark::State &state) { encode_rows(state, xdr_tbs_cr_t, &ours().cr); }
void encode_peer(benchmark::State &state) { encode_rows(state, xdr_peer_cr_narrow, theirs()); }
void decode_ours(benchmark::State &state) { decode_rows(state, xdr_tbs_cr_t, &ours().cr); }
void decode_peer(benchmark::State &state) { decode_rows(state, xdr_peer_cr_narrow, theirs()); }

// What no decoding into objects of their own can do without: the array, each object, its name.
void decode_allocations(benchmark::State &state) {
    const size_t name_size = std::strlen(ours().cr.mfs_objects[0]->name) + 1;
    std::array<void *, object_count> names;
    for (auto _ : state) {
        auto **objects = static_cast<void **>(std::calloc(object_count, sizeof(void *)));
        for (uint32_t i = 0; i < object_count; i++) {
            objects[i] = std::malloc(sizeof(tbs_cr_mfs_obj_desc_t));
            names[i] = std::malloc(name_size);
        }
        benchmark::ClobberMemory();
        for (uint32_t i = 0; i < object_count; i++) {
            std::free(names[i]);
            std::free(objects[i]);
        }
        std::free(objects);
    }
}

// ---- compressed

void compress_ours(benchmark::State &state) {
    uint64_t length = 0;
    for (auto _ : state) {
        tbs_cr_compressed_t *compressed = nullptr;
        if (tbs_cr_to_compressed(&ours().cr, &compressed) != 0) return state.SkipWithError("not compressed");
        length = compressed->length;
        tbs_cr_free_compressed_stg(compressed);
    }
    state.counters["bytes"] = static_cast<double>(length);
}

// Encodes into memory that is there, compresses into memory that is there.
template <class Routine, class T, class Compress>
void compress_rows(benchmark::State &state, Routine routine, T *record, Compress compress) {
    bytes wire;
    std::vector<char> out(512 * 1024);
    size_t length = 0;
    for (auto _ : state) {
        if (!wire.encode(routine, record)) return state.SkipWithError("not encoded");
        length = compress(out, wire.room.data(), wire.used);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.counters["bytes"] = static_cast<double>(length);
}
void compress_zstd(benchmark::State &state) {
    compress_rows(state, xdr_tbs_cr_t, &ours().cr, [](std::vector<char> &out, const char *content, size_t size) {
        return ZSTD_compress(out.data(), out.size(), content, size, 1);
    });
}
void compress_zlib(benchmark::State &state) {
    compress_rows(state, xdr_peer_cr_narrow, theirs(), [](std::vector<char> &out, const char *content, size_t size) {
        uLongf length = out.size();
        compress2(reinterpret_cast<Bytef *>(out.data()), &length, reinterpret_cast<const Bytef *>(content), size, 6);
        return size_t{length};
    });
}

void uncompress_ours(benchmark::State &state) {
    tbs_cr_compressed_t *compressed = nullptr;
    if (tbs_cr_to_compressed(&ours().cr, &compressed) != 0) return state.SkipWithError("not compressed");
    for (auto _ : state) {
        tbs_cr_t decoded = {};
        if (tbs_cr_compressed_to_cr(compressed, &decoded) != 0) state.SkipWithError("not read");
        tbs_cr_free_cr_xdr(&decoded);
    }
    tbs_cr_free_compressed_stg(compressed);
}

// ---- copied

void copy_ours(benchmark::State &state) {
    for (auto _ : state) {
        stg_area_t *area = stg_create_area();
        tbs_cr_t copy;
        if (tbs_cr_copy_cr(&ours().cr, area, &copy) != 0) state.SkipWithError("not copied");
        benchmark::DoNotOptimize(copy);
        stg_delete_area(&area);
    }
    state.counters["bytes"] = static_cast<double>(ours().size());
}

// What no copy can do without: the bytes, and an allocation for each page of them.
void copy_pages(benchmark::State &state) {
    constexpr size_t page = 4096;
    const std::vector<char> from(ours().size(), 'x');
    std::vector<void *> pages((from.size() + page - 1) / page);
    for (auto _ : state) {
        for (size_t i = 0; i < pages.size(); i++) {
            pages[i] = std::malloc(page);
            std::memcpy(pages[i], from.data() + i * page, std::min(page, from.size() - i * page));
        }
        benchmark::ClobberMemory();
        for (void *one : pages) std::free(one);
    }
}

BENCHMARK(encode_ours)->Name("cr_encode/ours");
BENCHMARK(encode_peer)->Name("cr_encode/peer:rpcgen");
BENCHMARK(decode_ours)->Name("cr_decode/ours");
BENCHMARK(decode_peer)->Name("cr_decode/peer:rpcgen");
BENCHMARK(decode_allocations)->Name("cr_decode/peer:malloc");
BENCHMARK(compress_ours)->Name("cr_compress/ours");
BENCHMARK(compress_zstd)->Name("cr_compress/peer:encode_zstd");
BENCHMARK(compress_zlib)->Name("cr_compress/peer:rpcgen_zlib");
BENCHMARK(uncompress_ours)->Name("cr_uncompress/ours");
BENCHMARK(copy_ours)->Name("cr_copy/ours");
BENCHMARK(copy_pages)->Name("cr_copy/peer:memcpy_pages");

} // namespace
