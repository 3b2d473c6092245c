// All types of the xdr_vob_ family, by their layouts.
#include "ezrpc/ezrpc_xdr.h"
#include "lib/tbs/internal/vob_types.hpp"
#include "lib/tbs/internal/wire_sample.hpp"
#include "lib/tbs/internal/wire_view.hpp"
#include "support/faults.hpp"
#include "support/memory_meter.hpp"
#include "support/sink.hpp"
#include "support/under_sanitizer.hpp"
#include "support/xdr_streams.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using tbs::wire::item;
using tbs::wire::load;
using tbs::wire::names_of_values;
using tbs::wire::sampler;
using tbs::wire::store;
using tbs::wire::type_kind;
using tbs::wire::unit;
using tbs::wire::value_name;
using tbs::wire::view_result;
using tbs::wire::vob_types;
using tbs::wire::wire_type;

// An object of a type, zero-filled, released as its routine does.
class object {
public:
    explicit object(const wire_type &type) : type_(type), memory_(type.size / sizeof(uint64_t) + 1) {}
    ~object() { xdr_ez_free(type_.pass, get()); }
    object(const object &) = delete;
    object &operator=(const object &) = delete;
    void *get() { return memory_.data(); }

private:
    const wire_type &type_;
    std::vector<uint64_t> memory_;
};

// Tells nobody.
struct deaf : tbs::wire::listener {
    void member(const item &) override {}
    void enter_record(std::string_view) override {}
    void enter_list(std::string_view, uint32_t) override {}
    void leave() override {}
};

const wire_type &type_named(std::string_view name) {
    for (const wire_type &type : vob_types()) {
        if (name == type.name) return type;
    }
    throw std::invalid_argument(std::string(name));
}

// The longest of some samples: one in which lists hold elements and optional records are there.
bytes rich_sample(const wire_type &type) {
    sampler samples(1);
    bytes longest;
    for (int i = 0; i < 40; i++) {
        bytes one = samples.make(*type.wire);
        if (one.size() > longest.size() && one.size() < 600) longest = std::move(one);
    }
    return longest;
}

size_t allowed(size_t received) { return 64 * 1024 + 8 * received; }

TEST(VobTypes, AreTheWholeFamily) {
    std::string before;
    size_t by_kind[6] = {}, twins = 0;
    for (const wire_type &type : vob_types()) {
        EXPECT_LT(before, type.name);
        before = type.name;
        by_kind[static_cast<size_t>(type.kind)]++;
        twins += before.ends_with("_s");
    }
    EXPECT_EQ(vob_types().size(), 128u);
    EXPECT_EQ(by_kind[static_cast<size_t>(type_kind::record)], 79u);
    EXPECT_EQ(by_kind[static_cast<size_t>(type_kind::enumeration)], 35u);
    EXPECT_EQ(by_kind[static_cast<size_t>(type_kind::scalar)] + by_kind[static_cast<size_t>(type_kind::flags)], 9u);
    EXPECT_EQ(by_kind[static_cast<size_t>(type_kind::choice)], 2u);
    EXPECT_EQ(by_kind[static_cast<size_t>(type_kind::handle)], 3u);
    EXPECT_EQ(twins, 23u);
}

TEST(VobTypes, ComeBackFromTheirBytes) {
    constexpr int rounds = under_thread_sanitizer ? 100 : under_address_sanitizer ? 500 : 10'000;
    XDR sent;
    ASSERT_EQ(xdrstg_create(&sent, XDR_ENCODE, 65536), 0);
    for (const wire_type &type : vob_types()) {
        sampler samples(42);
        for (int i = 0; i < rounds; i++) {
            const bytes from = samples.make(*type.wire);
            object one(type);
            XDR received;
            ASSERT_EQ(xdrstg_create_decode_buf(&received, from.data(), static_cast<uint32_t>(from.size())), 0);
            ASSERT_TRUE(type.pass(&received, one.get())) << type.name << ' ' << i;
            ASSERT_EQ(XDR_GETPOS(&received), from.size()) << type.name << ' ' << i;
            XDR_SETPOS(&sent, 0);
            ASSERT_TRUE(type.pass(&sent, one.get())) << type.name << ' ' << i;
            ASSERT_EQ(XDR_GETPOS(&sent), from.size()) << type.name << ' ' << i;
            ASSERT_EQ(std::memcmp(xdrstg_buffer(&sent), from.data(), from.size()), 0) << type.name << ' ' << i;
        }
    }
    xdrstg_destroy(&sent);
}

// The file says beside the bytes what they mean.
TEST(VobTypes, HaveTheBytesThatPeersKnow) {
    std::ifstream file(ORSIK_TEST_DATA_DIR "/vob_records.json");
    const auto known = nlohmann::json::parse(file);
    for (const wire_type &type : vob_types()) {
        std::string name = type.name;
        name.back() = 't';
        ASSERT_TRUE(known.contains(name)) << name;
        const auto digits = known[name]["bytes"].get<std::string>();
        bytes from;
        for (size_t i = 0; i < digits.size(); i += 2)
            from.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
        object one(type);
        EXPECT_TRUE(decode(stream_kind::storage, from, type.pass, one.get())) << type.name;
        EXPECT_EQ(encode(stream_kind::storage, type.pass, one.get()), from) << type.name;
    }
}

TEST(VobTypes, AreTheSameOnAllKindsOfStream) {
    for (const wire_type &type : vob_types()) {
        sampler samples(3);
        for (int i = 0; i < 5; i++) {
            const bytes from = samples.make(*type.wire);
            for (const stream_kind kind : all_stream_kinds) {
                object one(type);
                ASSERT_TRUE(decode(kind, from, type.pass, one.get())) << type.name << ' ' << name_of(kind);
                for (const stream_kind to : all_stream_kinds) {
                    ASSERT_EQ(encode(to, type.pass, one.get()), from) << type.name << ' ' << name_of(to);
                }
            }
        }
    }
}

TEST(VobTypes, AreTheSameUnderBothTheirNames) {
    for (const wire_type &twin : vob_types()) {
        std::string name = twin.name;
        if (!name.ends_with("_s")) continue;
        name.back() = 't';
        const wire_type &type = type_named(name);
        const bytes from = rich_sample(type);
        object one(type), other(twin);
        EXPECT_EQ(type.size, twin.size);
        EXPECT_NE(type.pass, twin.pass) << name;
        ASSERT_TRUE(decode(stream_kind::memory, from, type.pass, one.get())) << name;
        ASSERT_TRUE(decode(stream_kind::memory, from, twin.pass, other.get())) << name;
        EXPECT_EQ(encode(stream_kind::memory, twin.pass, one.get()), from) << name;
        EXPECT_EQ(encode(stream_kind::memory, type.pass, other.get()), from) << name;
    }
}

TEST(VobTypes, AreRefusedWhenAnyByteIsMissing) {
    for (const wire_type &type : vob_types()) {
        const bytes whole = rich_sample(type);
        for (size_t length = 0; length < whole.size(); length++) {
            for (const stream_kind kind : {stream_kind::memory, stream_kind::storage, stream_kind::record}) {
                object one(type);
                ASSERT_FALSE(decode(kind, first(whole, length), type.pass, one.get()))
                    << type.name << ' ' << name_of(kind) << ' ' << length;
            }
        }
    }
}

TEST(VobTypes, TakeNoMemoryForClaims) {
    for (const wire_type &type : vob_types()) {
        const bytes whole = rich_sample(type);
        for (size_t at = 0; at + unit <= whole.size(); at += unit) {
            for (const uint32_t claim : {UINT32_MAX, uint32_t{INT32_MAX}, uint32_t{0x10000000}, uint32_t{100'000}}) {
                bytes from = whole;
                store(&from[at], claim);
                if (at + 2 * unit <= from.size() && load(&whole[at]) == load(&whole[at + unit])) {
                    store(&from[at + unit], claim); // a count that travels twice
                }
                for (const stream_kind kind : {stream_kind::storage, stream_kind::record}) {
                    object one(type);
                    const memory_meter meter;
                    decode(kind, from, type.pass, one.get());
                    ASSERT_LE(meter.peak(), allowed(from.size())) << type.name << ' ' << name_of(kind) << ' ' << at;
                }
            }
        }
    }
}

TEST(VobTypes, StandEveryRefusedAllocation) {
    const recording_sink printed;
    int all_refused = 0;
    for (const wire_type &type : vob_types()) {
        const bytes whole = rich_sample(type);
        const int refused = faults::each_allocation([&](int, bool) {
            const wire_type &same = type;
            auto one = xdr_streams::unrefused([&] { return std::make_unique<object>(same); });
            XDR stream;
            xdrstg_create_decode_buf(&stream, whole.data(), static_cast<uint32_t>(whole.size()));
            const bool received = same.pass(&stream, one->get());
            const faults::suspend quiet;
            if (received) {
                EXPECT_EQ(encode(stream_kind::storage, same.pass, one->get()), whole) << same.name;
            }
            one.reset();
        });
        object whole_one(type);
        const int taken = faults::count_allocations([&] {
            XDR stream;
            xdrstg_create_decode_buf(&stream, whole.data(), static_cast<uint32_t>(whole.size()));
            static_cast<void>(type.pass(&stream, whole_one.get()));
        });
        EXPECT_EQ(refused, taken) << type.name;
        all_refused += refused;
    }
    EXPECT_GT(all_refused, 300);
    EXPECT_FALSE(printed.empty());
}

TEST(VobTypes, RefuseNullAndUnknownDirections) {
    for (const wire_type &type : vob_types()) {
        XDR stream;
        ASSERT_EQ(xdrstg_create(&stream, XDR_ENCODE, 0), 0);
        EXPECT_FALSE(type.pass(&stream, nullptr)) << type.name;
        object one(type);
        EXPECT_FALSE(type.pass(nullptr, one.get())) << type.name;
        stream.x_op = static_cast<xdr_op>(7);
        EXPECT_FALSE(type.pass(&stream, one.get())) << type.name;
        xdrstg_destroy(&stream);
    }
}

TEST(VobTypes, AreShownWholeByTheirLayouts) {
    for (const wire_type &type : vob_types()) {
        sampler samples(5);
        for (int i = 0; i < 20; i++) {
            const bytes from = samples.make(*type.wire);
            deaf nobody;
            const view_result seen = tbs::wire::view(*type.wire, from, nobody);
            ASSERT_TRUE(seen.whole) << type.name << ' ' << seen.why;
            ASSERT_EQ(seen.end, from.size()) << type.name;
        }
    }
}

TEST(VobTypes, AreShownUpToWhereDecodingStops) {
    std::mt19937 random(6);
    for (const wire_type &type : vob_types()) {
        sampler samples(8);
        for (int i = 0; i < 30; i++) {
            bytes from = samples.make(*type.wire);
            from[random() % from.size()] ^= static_cast<uint8_t>(1 << random() % 8);
            deaf nobody;
            const view_result seen = tbs::wire::view(*type.wire, from, nobody);
            object one(type);
            XDR stream;
            ASSERT_EQ(xdrstg_create_decode_buf(&stream, from.data(), static_cast<uint32_t>(from.size())), 0);
            ASSERT_EQ(type.pass(&stream, one.get()), seen.whole) << type.name << ' ' << i;
            ASSERT_EQ(XDR_GETPOS(&stream), seen.end) << type.name << ' ' << i << ' ' << (seen.why ? seen.why : "");
        }
    }
}

// A peer may know values that we have no name for.
TEST(VobTypes, LetUnknownEnumeratorsAndFlagsPass) {
    for (const wire_type &type : vob_types()) {
        if (type.kind != type_kind::enumeration && type.kind != type_kind::flags) continue;
        const bytes from = {0xFE, 0xDC, 0xBA, 0x98};
        object one(type);
        EXPECT_TRUE(decode(stream_kind::memory, from, type.pass, one.get())) << type.name;
        EXPECT_EQ(encode(stream_kind::memory, type.pass, one.get()), from) << type.name;
    }
}

TEST(VobTypes, HaveOneNameForAValueAndOneValueForAName) {
    for (const wire_type &type : vob_types()) {
        if (type.kind != type_kind::enumeration && type.kind != type_kind::flags) continue;
        const names_of_values &names = *type.wire->fields[0].names;
        EXPECT_EQ(names.type, std::string_view(type.name));
        EXPECT_EQ(names.are_flags, type.kind == type_kind::flags) << type.name;
        for (const value_name &one : names.values) {
            for (const value_name &other : names.values) {
                EXPECT_EQ(one.value == other.value, std::string_view(one.name) == other.name) << type.name;
            }
            if (names.are_flags) {
                EXPECT_EQ(one.value & (one.value - 1), 0) << type.name << ' ' << one.name;
            }
        }
    }
}

} // namespace
