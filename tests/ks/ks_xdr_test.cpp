#include "ks/ks_xdr.h"

#include "ks/ks_errno.h"
#include "support/faults.hpp"
#include "support/xdr_streams.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <climits>
#include <cstring>
#include <limits>
#include <numeric>

namespace {

constexpr auto unknown_op = static_cast<xdr_op>(3); // the last one that the type can hold

template <class Routine> xdrproc_t as_proc(Routine routine) { return reinterpret_cast<xdrproc_t>(routine); }

XDR poisoned(xdr_op op) {
    XDR stream;
    std::memset(static_cast<void *>(&stream), 0xA5, sizeof stream);
    stream.x_op = op;
    return stream;
}

bool same(const XDR &a, const XDR &b) { return std::memcmp(&a, &b, sizeof a) == 0; }

bytes counting(size_t size) {
    bytes all(size);
    std::iota(all.begin(), all.end(), uint8_t{1});
    return all;
}

const char *as_chars(const bytes &data) { return reinterpret_cast<const char *>(data.data()); }

// A stream that grows, for the length of a scope.
struct writer {
    XDR stream;

    explicit writer(uint32_t initial_size = 0) { EXPECT_EQ(xdrstg_create(&stream, XDR_ENCODE, initial_size), 0); }
    ~writer() { xdrstg_destroy(&stream); }
    writer(const writer &) = delete;
    writer &operator=(const writer &) = delete;

    bool put(const bytes &data) {
        return XDR_PUTBYTES(&stream, as_chars(data), static_cast<u_int>(data.size())) != FALSE;
    }
    bool put(long value) { return XDR_PUTLONG(&stream, &value) != FALSE; }
    bytes written() {
        const auto *start = static_cast<const uint8_t *>(xdrstg_buffer(&stream));
        return start ? bytes(start, start + XDR_GETPOS(&stream)) : bytes();
    }
};

// A stream over bytes at a distance from an aligned address.
struct reader {
    std::vector<char> room;
    XDR stream;

    explicit reader(const bytes &from, size_t shift = 0) : room(from.size() + shift) {
        if (!from.empty()) std::memcpy(room.data() + shift, from.data(), from.size());
        EXPECT_EQ(xdrstg_create_decode_buf(&stream, room.data() + shift, static_cast<uint32_t>(from.size())), 0);
    }
    ~reader() { xdrstg_destroy(&stream); }
    reader(const reader &) = delete;
    reader &operator=(const reader &) = delete;

    std::optional<bytes> get(size_t size) {
        bytes data(size);
        if (!XDR_GETBYTES(&stream, reinterpret_cast<char *>(data.data()), static_cast<u_int>(size)))
            return std::nullopt;
        return data;
    }
    std::optional<long> get_long() {
        long value = 0;
        return XDR_GETLONG(&stream, &value) ? std::optional(value) : std::nullopt;
    }
};

// ---- making streams

TEST(XdrstgCreate, RefusesNullAndWhatNeitherWritesNorReleases) {
    const XDR before = poisoned(XDR_DECODE);
    XDR stream = before;
    EXPECT_EQ(xdrstg_create(nullptr, XDR_ENCODE, 0), KS_EINVAL);
    EXPECT_EQ(xdrstg_create(&stream, XDR_DECODE, 16), KS_EINVAL);
    EXPECT_EQ(xdrstg_create(&stream, unknown_op, 16), KS_EINVAL);
    EXPECT_TRUE(same(stream, before));
}

TEST(XdrstgCreate, TakesNoMemoryBeforeSomethingIsWritten) {
    XDR stream;
    EXPECT_EQ(faults::count_allocations([&] { xdrstg_create(&stream, XDR_ENCODE, 0); }), 0);
    EXPECT_EQ(xdrstg_buffer(&stream), nullptr);
    EXPECT_EQ(XDR_GETPOS(&stream), 0u);
    EXPECT_TRUE(XDR_PUTBYTES(&stream, nullptr, 0));
    EXPECT_EQ(xdrstg_buffer(&stream), nullptr);
    xdrstg_destroy(&stream);
}

TEST(XdrstgCreate, TakesTheInitialSizeAtOnceAndNoMoreUntilItIsUsedUp) {
    XDR stream;
    EXPECT_EQ(faults::count_allocations([&] { xdrstg_create(&stream, XDR_ENCODE, 8192); }), 1);
    EXPECT_NE(xdrstg_buffer(&stream), nullptr);
    const bytes all = counting(8192);
    EXPECT_EQ(faults::count_allocations([&] { XDR_PUTBYTES(&stream, as_chars(all), 8192); }), 0);
    EXPECT_EQ(XDR_GETPOS(&stream), 8192u);
    EXPECT_EQ(faults::count_allocations([&] { XDR_PUTBYTES(&stream, as_chars(all), 1); }), 1);
    xdrstg_destroy(&stream);
}

TEST(XdrstgCreate, LeavesTheStreamUntouchedWhenThereIsNoMemory) {
    const XDR before = poisoned(XDR_ENCODE);
    XDR stream = before;
    const faults::refuse none(1, true);
    EXPECT_EQ(xdrstg_create(&stream, XDR_ENCODE, 1), KS_ENOMEM);
    EXPECT_TRUE(same(stream, before));
}

TEST(XdrstgCreate, GivesAStreamThatOnlyReleasesNoBuffer) {
    XDR stream;
    EXPECT_EQ(faults::count_allocations([&] { xdrstg_create(&stream, XDR_FREE, 8192); }), 0);
    EXPECT_EQ(stream.x_op, XDR_FREE);
    EXPECT_EQ(xdrstg_buffer(&stream), nullptr);
    char *text = stg_strdup("released");
    EXPECT_TRUE(xdr_string(&stream, &text, 100));
    EXPECT_EQ(text, nullptr);
    xdrstg_destroy(&stream);
}

TEST(XdrstgCreateDecodeBuf, RefusesNullsAndLeavesTheStreamUntouched) {
    const XDR before = poisoned(XDR_ENCODE);
    XDR stream = before;
    const char byte = 0;
    EXPECT_EQ(xdrstg_create_decode_buf(nullptr, &byte, 1), KS_EINVAL);
    EXPECT_EQ(xdrstg_create_decode_buf(&stream, nullptr, 1), KS_EINVAL);
    EXPECT_TRUE(same(stream, before));
}

TEST(XdrstgCreateDecodeBuf, TakesNoBytesAtAll) {
    XDR stream;
    ASSERT_EQ(xdrstg_create_decode_buf(&stream, nullptr, 0), 0);
    EXPECT_EQ(stream.x_op, XDR_DECODE);
    EXPECT_EQ(XDR_GETPOS(&stream), 0u);
    long value = 5;
    char byte = 6;
    EXPECT_FALSE(XDR_GETLONG(&stream, &value));
    EXPECT_FALSE(XDR_GETBYTES(&stream, &byte, 1));
    EXPECT_TRUE(XDR_GETBYTES(&stream, &byte, 0));
    EXPECT_EQ(value, 5);
    EXPECT_EQ(byte, 6);
    xdrstg_destroy(&stream);
}

// ---- writing

TEST(XdrstgStream, GrowsFromAnySize) {
    constexpr long words = 20000;
    for (const uint32_t initial_size : {0u, 1u, 3u, 4u, 255u, 8192u}) {
        SCOPED_TRACE(initial_size);
        writer out(initial_size);
        bytes expected;
        const int allocations = faults::count_allocations([&] {
            for (long i = 0; i < words; i++) EXPECT_TRUE(out.put(i));
        });
        EXPECT_LE(allocations, 17); // the buffer at least doubles
        for (long i = 0; i < words; i++) {
            expected.insert(expected.end(), {0, 0, static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)});
        }
        EXPECT_EQ(XDR_GETPOS(&out.stream), expected.size());
        EXPECT_EQ(out.written(), expected);
    }
}

TEST(XdrstgStream, KeepsWhatIsThereHoweverLittleRoomIsLeft) {
    for (uint32_t initial_size = 0; initial_size < 40; initial_size++) {
        for (size_t size = 0; size < 300; size += size < 45 ? 1 : 51) {
            writer out(initial_size);
            const bytes piece = counting(size);
            bytes expected = piece;
            expected.insert(expected.end(), piece.begin(), piece.end());
            ASSERT_TRUE(out.put(piece));
            ASSERT_TRUE(out.put(piece));
            ASSERT_EQ(out.written(), expected) << initial_size << " " << size;
        }
    }
}

TEST(XdrstgStream, IsAsItWasWhenItCannotGrow) {
    const bytes pattern = counting(4000);
    const int refused = faults::each_allocation([&](int, bool) {
        XDR stream;
        if (xdrstg_create(&stream, XDR_ENCODE, 8) != 0) return;
        size_t expected = 0;
        for (const u_int size : {4u, 300u, 1u, 700u, 2500u}) {
            if (XDR_PUTBYTES(&stream, as_chars(pattern) + expected, size)) expected += size;
            const faults::suspend quiet;
            EXPECT_EQ(XDR_GETPOS(&stream), expected);
            EXPECT_EQ(std::memcmp(xdrstg_buffer(&stream), pattern.data(), expected), 0);
        }
        xdrstg_destroy(&stream);
    });
    EXPECT_EQ(refused, 5) << "the first buffer and four larger ones";
}

// A buffer of 4 GiB is never taken for this.
TEST(XdrstgStream, RefusesToGrowBeyond32BitsOfSize) {
    writer out;
    ASSERT_TRUE(out.put(counting(4)));
    const int asked = faults::count_allocations([&] {
        EXPECT_EQ(XDR_INLINE(&out.stream, 0xFFFFFFFC), nullptr);
        EXPECT_FALSE(XDR_PUTBYTES(&out.stream, nullptr, 0xFFFFFFFF));
    });
    EXPECT_EQ(asked, 0) << "the sum is refused before memory is asked for";
    {
        const faults::refuse next(1, true);
        EXPECT_EQ(XDR_INLINE(&out.stream, 0xFFFFFFFB), nullptr);
        EXPECT_TRUE(next.happened()) << "the largest size of all is asked for";
    }
    ASSERT_TRUE(out.put(counting(4)));
    EXPECT_EQ(out.written(), (bytes{1, 2, 3, 4, 1, 2, 3, 4}));
}

TEST(XdrstgStream, GoesBackAndOverwrites) {
    writer out(64);
    ASSERT_TRUE(out.put(counting(12)));
    ASSERT_TRUE(XDR_SETPOS(&out.stream, 4));
    EXPECT_EQ(XDR_GETPOS(&out.stream), 4u);
    ASSERT_TRUE(out.put(-1L));
    ASSERT_TRUE(XDR_SETPOS(&out.stream, 12));
    EXPECT_EQ(out.written(), (bytes{1, 2, 3, 4, 255, 255, 255, 255, 9, 10, 11, 12}));
}

TEST(XdrstgStream, GrowsFromWhereItWentBackTo) {
    writer out(16);
    ASSERT_TRUE(out.put(bytes(16, 0xEE)));
    ASSERT_TRUE(XDR_SETPOS(&out.stream, 2));
    ASSERT_TRUE(out.put(counting(100)));
    bytes expected{0xEE, 0xEE};
    const bytes rest = counting(100);
    expected.insert(expected.end(), rest.begin(), rest.end());
    EXPECT_EQ(out.written(), expected);
}

TEST(XdrstgStream, StaysWhereItIsWhenThePositionIsOutside) {
    writer out(16);
    ASSERT_TRUE(out.put(counting(8)));
    EXPECT_TRUE(XDR_SETPOS(&out.stream, 16));
    EXPECT_TRUE(XDR_SETPOS(&out.stream, 8));
    EXPECT_FALSE(XDR_SETPOS(&out.stream, 17));
    EXPECT_FALSE(XDR_SETPOS(&out.stream, 0xFFFFFFFF));
    EXPECT_EQ(XDR_GETPOS(&out.stream), 8u);
    reader in(counting(8));
    EXPECT_TRUE(XDR_SETPOS(&in.stream, 8));
    EXPECT_FALSE(XDR_SETPOS(&in.stream, 9));
    EXPECT_EQ(XDR_GETPOS(&in.stream), 8u);
    EXPECT_TRUE(XDR_SETPOS(&in.stream, 3));
    EXPECT_EQ(in.get(5), (bytes{4, 5, 6, 7, 8}));
}

TEST(XdrstgStream, GivesAlignedPlacesToWriteIn) {
    writer out;
    int32_t *place = XDR_INLINE(&out.stream, 8);
    ASSERT_NE(place, nullptr);
    std::memcpy(place, counting(8).data(), 8);
    ASSERT_TRUE(out.put(counting(1)));
    EXPECT_EQ(XDR_INLINE(&out.stream, 4), nullptr) << "behind an odd byte";
    EXPECT_EQ(out.written(), (bytes{1, 2, 3, 4, 5, 6, 7, 8, 1}));
    ASSERT_TRUE(out.put(counting(3)));
    EXPECT_NE(XDR_INLINE(&out.stream, 5000), nullptr);
    EXPECT_EQ(XDR_GETPOS(&out.stream), 5012u);
}

TEST(XdrstgStream, GivesAlignedPlacesToReadFromAsFarAsTheyGo) {
    reader in(counting(12));
    const int32_t *place = XDR_INLINE(&in.stream, 8);
    ASSERT_NE(place, nullptr);
    EXPECT_EQ(std::memcmp(place, counting(8).data(), 8), 0);
    EXPECT_EQ(XDR_INLINE(&in.stream, 5), nullptr) << "more than is left";
    EXPECT_EQ(XDR_INLINE(&in.stream, 0xFFFFFFFF), nullptr);
    EXPECT_EQ(XDR_GETPOS(&in.stream), 8u) << "a refusal moves nothing";
    EXPECT_NE(XDR_INLINE(&in.stream, 4), nullptr);
    EXPECT_EQ(XDR_INLINE(&in.stream, 4), nullptr);
}

TEST(XdrstgStream, ReadsUnalignedBytesButGivesNoPlaceInThem) {
    for (size_t shift = 1; shift < 4; shift++) {
        SCOPED_TRACE(shift);
        reader in({0, 0, 0, 7, 1, 2, 3}, shift);
        EXPECT_EQ(XDR_INLINE(&in.stream, 4), nullptr);
        EXPECT_EQ(in.get_long(), 7);
        EXPECT_EQ(in.get(3), (bytes{1, 2, 3}));
        EXPECT_EQ(in.get_long(), std::nullopt);
    }
}

TEST(XdrstgStream, DeliversNothingBehindItsEnd) {
    const bytes all = counting(9);
    for (size_t size = 0; size <= all.size(); size++) {
        reader in(first(all, size));
        EXPECT_EQ(in.get(size + 1), std::nullopt);
        EXPECT_EQ(XDR_GETPOS(&in.stream), 0u);
        EXPECT_EQ(in.get_long().has_value(), size >= 4);
        EXPECT_EQ(in.get_long().has_value(), size >= 8);
        EXPECT_EQ(in.get(0), bytes());
    }
}

TEST(XdrstgStream, CutsAndWidensLongsLikeTheHostsMemoryStream) {
    for (const long value : {0L, 1L, -1L, -2L, LONG_MIN, LONG_MAX, long{INT_MIN}, long{INT_MAX}, 0x80000000L,
                             0xFFFFFFFFL, 0x100000000L, 0x123456789L, -0x123456789L}) {
        SCOPED_TRACE(value);
        char room[4];
        XDR host;
        xdrmem_create(&host, room, sizeof room, XDR_ENCODE);
        writer out;
        EXPECT_EQ(out.put(value), XDR_PUTLONG(&host, &value) != FALSE);
        EXPECT_EQ(out.written(), bytes(room, room + sizeof room));
        long by_host = 0;
        xdrmem_create(&host, room, sizeof room, XDR_DECODE);
        ASSERT_TRUE(XDR_GETLONG(&host, &by_host));
        reader in(out.written());
        EXPECT_EQ(in.get_long(), by_host);
    }
}

TEST(XdrstgStream, CarriesLongsLikeAnyOtherStream) {
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        u_long number = 0xFEDCBA98, unsigned_back = 1;
        EXPECT_EQ(encode(kind, as_proc(xdr_u_long), &number), (bytes{0xFE, 0xDC, 0xBA, 0x98}));
        ASSERT_TRUE(decode(kind, {0xFE, 0xDC, 0xBA, 0x98}, as_proc(xdr_u_long), &unsigned_back));
        EXPECT_EQ(unsigned_back, 0xFEDCBA98u);
    }
}

TEST(XdrstgStream, TakesOrDeliversButNotBoth) {
    writer out(64);
    ASSERT_TRUE(out.put(counting(8)));
    ASSERT_TRUE(XDR_SETPOS(&out.stream, 0));
    long value = 5;
    char data[4] = {9, 9, 9, 9};
    EXPECT_FALSE(XDR_GETLONG(&out.stream, &value));
    EXPECT_FALSE(XDR_GETBYTES(&out.stream, data, 4));
    EXPECT_EQ(value, 5);
    EXPECT_EQ(data[0], 9);
    reader in(counting(8));
    in.stream.x_op = XDR_ENCODE;
    EXPECT_FALSE(XDR_PUTLONG(&in.stream, &value));
    EXPECT_FALSE(XDR_PUTBYTES(&in.stream, data, 4));
    EXPECT_EQ(XDR_INLINE(&in.stream, 9), nullptr) << "bytes of the caller's do not grow";
    EXPECT_EQ(in.get(8), counting(8));
}

TEST(XdrstgStream, KnowsNoControls) {
    writer out;
    reader in(counting(4));
    int argument = 0;
    EXPECT_FALSE(out.stream.x_ops->x_control(&out.stream, 1, &argument));
    EXPECT_FALSE(in.stream.x_ops->x_control(&in.stream, 1, &argument));
}

RC_GTEST_PROP(XdrstgStream, HoldsWhatAModelHolds, ()) {
    writer out(*rc::gen::inRange<uint32_t>(0, 600));
    bytes model;
    size_t at = 0;
    const auto write = [&](const bytes &piece) {
        if (model.size() < at + piece.size()) model.resize(at + piece.size());
        std::copy(piece.begin(), piece.end(), model.begin() + static_cast<ptrdiff_t>(at));
        at += piece.size();
    };
    const int steps = *rc::gen::inRange(1, 60);
    for (int step = 0; step < steps; step++) {
        switch (*rc::gen::inRange(0, 4)) {
        case 0: {
            const auto word = *rc::gen::arbitrary<uint32_t>();
            RC_ASSERT(out.put(static_cast<long>(word)));
            write({static_cast<uint8_t>(word >> 24), static_cast<uint8_t>(word >> 16),
                   static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word)});
            break;
        }
        case 1: {
            const auto piece = *rc::gen::container<bytes>(rc::gen::arbitrary<uint8_t>());
            RC_ASSERT(out.put(piece));
            write(piece);
            break;
        }
        case 2: {
            const auto size = *rc::gen::inRange<size_t>(0, 700);
            int32_t *place = XDR_INLINE(&out.stream, static_cast<u_int>(size));
            RC_ASSERT((place != nullptr) == (at % 4 == 0 && (size || xdrstg_buffer(&out.stream))));
            if (!place) break;
            const bytes piece = counting(size);
            std::copy(piece.begin(), piece.end(), reinterpret_cast<uint8_t *>(place));
            write(piece);
            break;
        }
        default:
            at = *rc::gen::inRange<size_t>(0, model.size() + 1);
            RC_ASSERT(XDR_SETPOS(&out.stream, static_cast<u_int>(at)));
        }
        RC_ASSERT(XDR_GETPOS(&out.stream) == at);
    }
    RC_ASSERT(XDR_SETPOS(&out.stream, static_cast<u_int>(model.size())));
    RC_ASSERT(out.written() == model);
}

// ---- ending streams

TEST(XdrstgDestroy, MayBeCalledTwice) {
    XDR out, in;
    const bytes data = counting(4);
    ASSERT_EQ(xdrstg_create(&out, XDR_ENCODE, 16), 0);
    ASSERT_EQ(xdrstg_create_decode_buf(&in, data.data(), 4), 0);
    for (int i = 0; i < 2; i++) {
        xdrstg_destroy(&out);
        xdrstg_destroy(&in);
        EXPECT_EQ(xdrstg_buffer(&out), nullptr);
        EXPECT_EQ(XDR_GETPOS(&out), 0u);
        EXPECT_EQ(XDR_GETPOS(&in), 0u);
    }
    long value = 0;
    EXPECT_FALSE(XDR_GETLONG(&in, &value));
    EXPECT_EQ(data, counting(4));
}

TEST(XdrstgDestroy, IsWhatTheStreamsOwnOperationDoes) {
    XDR stream;
    ASSERT_EQ(xdrstg_create(&stream, XDR_ENCODE, 16), 0);
    XDR_DESTROY(&stream);
    EXPECT_EQ(xdrstg_buffer(&stream), nullptr);
}

TEST(XdrstgDestroy, IgnoresNullAndForeignStreams) {
    xdrstg_destroy(nullptr);
    char room[8] = {};
    XDR host;
    xdrmem_create(&host, room, sizeof room, XDR_ENCODE);
    const XDR before = host;
    xdrstg_destroy(&host);
    EXPECT_TRUE(same(host, before));
    EXPECT_EQ(xdrstg_buffer(&host), nullptr);
    EXPECT_EQ(xdrstg_buffer(nullptr), nullptr);
}

// A leak or a foreign release is what the sanitizers would see here.
TEST(XdrstgDestroy, ReleasesOnlyWhatIsTheStreamsOwnWhateverItsDirectionSays) {
    for (const xdr_op op : {XDR_ENCODE, XDR_DECODE, XDR_FREE, unknown_op}) {
        XDR stream;
        const bytes data = counting(16);
        ASSERT_EQ(xdrstg_create(&stream, XDR_ENCODE, 64), 0);
        stream.x_op = op;
        xdrstg_destroy(&stream);
        ASSERT_EQ(xdrstg_create_decode_buf(&stream, data.data(), 16), 0);
        stream.x_op = op;
        xdrstg_destroy(&stream);
    }
}

// ---- what is left

std::optional<uint32_t> left(const XDR *stream) {
    uint32_t size = 12345;
    if (xdr_ks_bytes_left(stream, &size)) return size;
    EXPECT_EQ(size, 12345u) << "untouched when it is not known";
    return std::nullopt;
}

TEST(XdrKsBytesLeft, IsKnownOfMemory) {
    alignas(4) char room[32] = {};
    for (const size_t shift : {0, 1, 2, 3}) {
        for (const xdr_op op : {XDR_ENCODE, XDR_DECODE}) {
            XDR stream;
            xdrmem_create(&stream, room + shift, 12, op);
            int value = 0;
            EXPECT_EQ(left(&stream), 12u);
            EXPECT_TRUE(xdr_int(&stream, &value));
            EXPECT_EQ(left(&stream), 8u);
            EXPECT_TRUE(XDR_SETPOS(&stream, 10));
            EXPECT_EQ(left(&stream), 2u);
        }
    }
}

TEST(XdrKsBytesLeft, IsKnownOfStorage) {
    writer out(8);
    EXPECT_EQ(left(&out.stream), 8u);
    ASSERT_TRUE(out.put(counting(5)));
    EXPECT_EQ(left(&out.stream), 3u);
    writer empty;
    EXPECT_EQ(left(&empty.stream), 0u);
    for (const size_t shift : {0, 1}) {
        reader in(counting(9), shift);
        EXPECT_EQ(left(&in.stream), 9u);
        EXPECT_TRUE(in.get(9));
        EXPECT_EQ(left(&in.stream), 0u);
    }
}

TEST(XdrKsBytesLeft, IsNotKnownOfOtherStreams) {
    xdr_streams::transport peer;
    XDR record = {};
    xdrrec_create(&record, 100, 100, &peer, xdr_streams::transport::read, xdr_streams::transport::write);
    record.x_op = XDR_DECODE;
    EXPECT_EQ(left(&record), std::nullopt);
    XDR_DESTROY(&record);
    FILE *file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    XDR stdio;
    xdrstdio_create(&stdio, file, XDR_DECODE);
    EXPECT_EQ(left(&stdio), std::nullopt);
    std::fclose(file);
}

TEST(XdrKsBytesLeft, RefusesNulls) {
    writer out(8);
    EXPECT_EQ(left(nullptr), std::nullopt);
    EXPECT_FALSE(xdr_ks_bytes_left(&out.stream, nullptr));
}

// ---- basic types

// A value travels as these bytes on every kind of stream, comes back from them, and from nothing shorter.
template <class T> void travels(bool_t (*routine)(XDR *, T *), const T &value, const bytes &golden) {
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        T sent = value, back;
        std::memset(static_cast<void *>(&back), 0x5A, sizeof back);
        EXPECT_EQ(encode(kind, as_proc(routine), &sent), golden);
        EXPECT_EQ(std::memcmp(&sent, &value, sizeof value), 0) << "sending changes nothing";
        ASSERT_TRUE(decode(kind, golden, as_proc(routine), &back));
        EXPECT_EQ(std::memcmp(&back, &value, sizeof value), 0);
        for (size_t length = 0; length < golden.size(); length++) {
            EXPECT_FALSE(decode(kind, first(golden, length), as_proc(routine), &back)) << length;
        }
    }
}

// What holds for each routine: nulls and unknown directions fail, no room fails, releasing touches nothing.
template <class T> void behaves(bool_t (*routine)(XDR *, T *)) {
    T value, before;
    std::memset(static_cast<void *>(&before), 0x5A, sizeof before);
    value = before;
    char room[64];
    XDR stream;
    xdrmem_create(&stream, room, sizeof room, XDR_ENCODE);
    EXPECT_FALSE(routine(nullptr, &value));
    EXPECT_FALSE(routine(&stream, nullptr));
    EXPECT_EQ(XDR_GETPOS(&stream), 0u);
    EXPECT_TRUE(routine(&stream, &value));
    const u_int size = XDR_GETPOS(&stream);
    for (u_int length = 0; length < size; length++) {
        xdrmem_create(&stream, room, length, XDR_ENCODE);
        EXPECT_FALSE(routine(&stream, &value)) << "in " << length << " bytes";
    }
    XDR releasing = poisoned(XDR_FREE);
    const XDR untouched = releasing;
    EXPECT_TRUE(routine(&releasing, &value));
    EXPECT_TRUE(same(releasing, untouched));
    EXPECT_FALSE(routine(&releasing, nullptr));
    EXPECT_EQ(std::memcmp(&value, &before, sizeof value), 0) << "releasing changes nothing";
    xdrmem_create(&stream, room, sizeof room, unknown_op);
    EXPECT_FALSE(routine(&stream, &value));
}

TEST(XdrKsOff32, IsOneSignedUnit) {
    travels<int32_t>(xdr_ks_off32_t, 0x01020304, {1, 2, 3, 4});
    travels<int32_t>(xdr_ks_off32_t, -2, {0xFF, 0xFF, 0xFF, 0xFE});
    travels<int32_t>(xdr_ks_off32_t, std::numeric_limits<int32_t>::min(), {0x80, 0, 0, 0});
    behaves(xdr_ks_off32_t);
}

TEST(XdrKsOff64, IsTwoUnitsTheHighOneFirst) {
    travels<int64_t>(xdr_ks_off64_t, 0x0102030405060708, {1, 2, 3, 4, 5, 6, 7, 8});
    travels<int64_t>(xdr_ks_off64_t, -2, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE});
    travels<int64_t>(xdr_ks_off64_t, 0x80000000, {0, 0, 0, 0, 0x80, 0, 0, 0});
    travels<int64_t>(xdr_ks_off64_t, std::numeric_limits<int64_t>::min(), {0x80, 0, 0, 0, 0, 0, 0, 0});
    travels<int64_t>(xdr_ks_off64_t, std::numeric_limits<int64_t>::max(),
                     {0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    behaves(xdr_ks_off64_t);
}

TEST(XdrKsOff64, TravelsLikeTheHostsHyper) {
    for (const stream_kind kind : all_stream_kinds) {
        int64_t offset = -0x0102030405060708, back = 0;
        const auto sent = encode(kind, as_proc(xdr_int64_t), &offset);
        ASSERT_TRUE(sent);
        EXPECT_EQ(encode(kind, as_proc(xdr_ks_off64_t), &offset), sent);
        ASSERT_TRUE(decode(kind, *sent, as_proc(xdr_ks_off64_t), &back));
        EXPECT_EQ(back, offset);
    }
}

TEST(XdrKsOff64, IsUntouchedWhenOnlyHalfOfItArrives) {
    int64_t offset = 77;
    EXPECT_FALSE(decode(stream_kind::storage, {0, 0, 0, 1, 0, 0, 0}, as_proc(xdr_ks_off64_t), &offset));
    EXPECT_EQ(offset, 77);
}

TEST(XdrKsUint32, IsOneUnit) {
    travels<uint32_t>(xdr_ks_uint32_t, 0x01020304, {1, 2, 3, 4});
    travels<uint32_t>(xdr_ks_uint32_t, 0xFFFFFFFF, {0xFF, 0xFF, 0xFF, 0xFF});
    behaves(xdr_ks_uint32_t);
}

TEST(XdrTimeval, IsSecondsAndMicroseconds) {
    travels<ks_timeval_t>(xdr_timeval, {0x01020304, 999999}, {1, 2, 3, 4, 0, 0x0F, 0x42, 0x3F});
    travels<ks_timeval_t>(xdr_timeval, {-1, std::numeric_limits<int32_t>::min()},
                          {0xFF, 0xFF, 0xFF, 0xFF, 0x80, 0, 0, 0});
    behaves(xdr_timeval);
}

credutl_sid_t sid_of(const bytes &all) {
    credutl_sid_t sid;
    static_assert(sizeof sid == 34);
    std::memcpy(&sid, all.data(), sizeof sid);
    return sid;
}

TEST(XdrCredutlSid, IsItsBytesAndPadding) {
    bytes golden = counting(34);
    const credutl_sid_t sid = sid_of(golden);
    golden.insert(golden.end(), {0, 0});
    travels(xdr_credutl_sid_t, sid, golden);
    travels(xdr_credutl_sid_t, sid_of(bytes(34, 0)), bytes(36, 0));
    travels(xdr_credutl_sid_t, CREDUTL_SID_NOBODY,
            *encode(stream_kind::file, as_proc(xdr_credutl_sid_t), const_cast<credutl_sid_t *>(&CREDUTL_SID_NOBODY)));
    behaves(xdr_credutl_sid_t);
}

RC_GTEST_PROP(XdrCredutlSid, LetsAnyBytesThrough, ()) {
    const bytes all = *rc::gen::container<bytes>(34, rc::gen::arbitrary<uint8_t>());
    bytes wire = all;
    wire.insert(wire.end(), {0, 0});
    credutl_sid_t sid = sid_of(bytes(34, 0x5A));
    RC_ASSERT(decode(stream_kind::unaligned, wire, as_proc(xdr_credutl_sid_t), &sid));
    RC_ASSERT(std::memcmp(&sid, all.data(), sizeof sid) == 0);
    RC_ASSERT(encode(stream_kind::storage, as_proc(xdr_credutl_sid_t), &sid) == wire);
}

TEST(XdrStgAreaRpcPtr, IsAZeroWordAndNullBehind) {
    stg_area_t *area = stg_create_area();
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        for (stg_area_t *value : {area, static_cast<stg_area_t *>(nullptr)}) {
            stg_area_rpc_ptr_t link = value;
            EXPECT_EQ(encode(kind, as_proc(xdr_stg_area_rpc_ptr_t), &link), (bytes{0, 0, 0, 0}));
            EXPECT_EQ(link, value);
        }
        stg_area_rpc_ptr_t link = area;
        ASSERT_TRUE(decode(kind, {0, 0, 0, 0}, as_proc(xdr_stg_area_rpc_ptr_t), &link));
        EXPECT_EQ(link, nullptr);
        for (size_t length = 0; length < 4; length++) {
            EXPECT_FALSE(decode(kind, bytes(length), as_proc(xdr_stg_area_rpc_ptr_t), &link));
        }
    }
    EXPECT_NE(stg_alloc(area, 10), nullptr) << "the area itself lives on";
    stg_delete_area(&area);
}

TEST(XdrStgAreaRpcPtr, IsNotTakenFromAPeer) {
    stg_area_t *area = stg_create_area();
    for (size_t i = 0; i < 4; i++) {
        bytes wire(4);
        wire[i] = 1;
        stg_area_rpc_ptr_t link = area;
        EXPECT_FALSE(decode(stream_kind::memory, wire, as_proc(xdr_stg_area_rpc_ptr_t), &link));
        EXPECT_EQ(link, area);
    }
    stg_delete_area(&area);
}

TEST(XdrStgAreaRpcPtr, ReleasesNoArea) {
    behaves(xdr_stg_area_rpc_ptr_t);
    stg_area_t *area = stg_create_area();
    stg_area_rpc_ptr_t link = area;
    xdr_free(as_proc(xdr_stg_area_rpc_ptr_t), &link);
    EXPECT_EQ(link, area);
    EXPECT_NE(stg_alloc(area, 10), nullptr);
    stg_delete_area(&area);
}

TEST(XdrstgInline, GivesNoPlaceInTheOtherDirection) {
    uint32_t given = 0x01020304;
    XDR delivering;
    ASSERT_EQ(xdrstg_create_decode_buf(&delivering, &given, sizeof given), 0);
    delivering.x_op = XDR_ENCODE;
    EXPECT_EQ(XDR_INLINE(&delivering, 4), nullptr);
    delivering.x_op = XDR_FREE;
    EXPECT_EQ(XDR_INLINE(&delivering, 4), nullptr);
    delivering.x_op = XDR_DECODE;
    EXPECT_NE(XDR_INLINE(&delivering, 4), nullptr);
    xdrstg_destroy(&delivering);
    XDR taking;
    ASSERT_EQ(xdrstg_create(&taking, XDR_ENCODE, 16), 0);
    taking.x_op = XDR_DECODE;
    EXPECT_EQ(XDR_INLINE(&taking, 4), nullptr);
    taking.x_op = XDR_ENCODE;
    EXPECT_NE(XDR_INLINE(&taking, 4), nullptr);
    xdrstg_destroy(&taking);
}

} // namespace
