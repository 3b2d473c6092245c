// Identifiers: their texts and new ones.

#include "tbs/tbs_uuid.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <sys/random.h>
#include <vector>

namespace {

constexpr size_t count = 256;

const std::vector<tbs_uuid_t> &ids() {
    static const std::vector<tbs_uuid_t> made = [] {
        std::vector<tbs_uuid_t> all(count);
        for (tbs_uuid_t &one : all) tbs_uuid_gen(&one);
        return all;
    }();
    return made;
}

using text = std::array<char, TBS_UUID_STR_SIZE>;

const std::vector<text> &texts() {
    static const std::vector<text> made = [] {
        std::vector<text> all(count);
        for (size_t i = 0; i < count; i++) tbs_uuid_to_str(&ids()[i], all[i].data());
        return all;
    }();
    return made;
}

// The least that a coder does: 16 bytes to 32 digits by tables, and back; no separators, no byte order.
constexpr auto pairs = [] {
    std::array<std::array<char, 2>, 256> all{};
    for (unsigned i = 0; i < 256; i++) all[i] = {"0123456789abcdef"[i >> 4], "0123456789abcdef"[i & 15]};
    return all;
}();
constexpr auto digits = [] {
    std::array<uint8_t, 256> all{};
    all.fill(0xFF);
    for (unsigned i = 0; i < 16; i++) {
        all[static_cast<unsigned char>("0123456789abcdef"[i])] = static_cast<uint8_t>(i);
        all[static_cast<unsigned char>("0123456789ABCDEF"[i])] = static_cast<uint8_t>(i);
    }
    return all;
}();
[[gnu::noinline]] char *hex_encode(const void *from, char *to) {
    const auto *bytes = static_cast<const uint8_t *>(from);
    for (size_t i = 0; i < 16; i++) std::memcpy(to + 2 * i, pairs[bytes[i]].data(), 2);
    to[32] = '\0';
    return to;
}
[[gnu::noinline]] bool hex_decode(const char *from, void *to) {
    auto *bytes = static_cast<uint8_t *>(to);
    unsigned bad = 0;
    for (size_t i = 0; i < 16; i++) {
        const unsigned high = digits[static_cast<unsigned char>(from[2 * i])];
        const unsigned low = digits[static_cast<unsigned char>(from[2 * i + 1])];
        bad |= high | low;
        bytes[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return bad < 16;
}

template <class F> void each(benchmark::State &state, F &&one) {
    size_t i = 0;
    for (auto _ : state) {
        one(i);
        i = (i + 1) % count;
    }
}

void to_text(benchmark::State &state) {
    text out;
    each(state, [&](size_t i) { benchmark::DoNotOptimize(tbs_uuid_to_str(&ids()[i], out.data())); });
}
void to_text_hex(benchmark::State &state) {
    text out;
    each(state, [&](size_t i) { benchmark::DoNotOptimize(hex_encode(&ids()[i], out.data())); });
}
void to_text_snprintf(benchmark::State &state) {
    text out;
    each(state, [&](size_t i) {
        const tbs_uuid_t &u = ids()[i];
        std::snprintf(out.data(), out.size(), "%08x.%04hx%04hx.%02x%02x.%02x:%02x:%02x:%02x:%02x:%02x", u.time_low,
                      u.time_mid, u.time_hi_and_version, u.clock_seq_hi_and_reserved, u.clock_seq_low, u.node[0],
                      u.node[1], u.node[2], u.node[3], u.node[4], u.node[5]);
        benchmark::DoNotOptimize(out);
    });
}
void from_text(benchmark::State &state) {
    tbs_uuid_t out;
    each(state, [&](size_t i) {
        benchmark::DoNotOptimize(tbs_str_to_uuid(texts()[i].data(), &out));
        benchmark::DoNotOptimize(out);
    });
}
void from_text_hex(benchmark::State &state) {
    std::vector<text> dense(count);
    for (size_t i = 0; i < count; i++) hex_encode(&ids()[i], dense[i].data());
    tbs_uuid_t out;
    each(state, [&](size_t i) {
        benchmark::DoNotOptimize(hex_decode(dense[i].data(), &out));
        benchmark::DoNotOptimize(out);
    });
}
void from_text_sscanf(benchmark::State &state) {
    each(state, [&](size_t i) {
        unsigned low = 0;
        unsigned short v[9];
        benchmark::DoNotOptimize(std::sscanf(texts()[i].data(),
                                             "%08x.%04hx%04hx.%04hx.%02hx:%02hx:%02hx:%02hx:%02hx:%02hx", &low, &v[0],
                                             &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7], &v[8]));
    });
}

void make(benchmark::State &state) {
    tbs_uuid_t out;
    for (auto _ : state) benchmark::DoNotOptimize(tbs_uuid_gen(&out));
}
void make_getrandom(benchmark::State &state) {
    tbs_uuid_t out;
    for (auto _ : state) benchmark::DoNotOptimize(getrandom(&out, sizeof out, 0));
}

BENCHMARK(to_text)->Name("uuid_to_text/ours");
BENCHMARK(to_text_hex)->Name("uuid_to_text/peer:hex");
BENCHMARK(to_text_snprintf)->Name("uuid_to_text/peer:snprintf");
BENCHMARK(from_text)->Name("uuid_from_text/ours");
BENCHMARK(from_text_hex)->Name("uuid_from_text/peer:hex");
BENCHMARK(from_text_sscanf)->Name("uuid_from_text/peer:sscanf");
BENCHMARK(make)->Name("uuid_make/ours");
BENCHMARK(make_getrandom)->Name("uuid_make/peer:getrandom");

} // namespace
