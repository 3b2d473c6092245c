#include "tbs/tbs_xdr.h"

#include "ezrpc/ezrpc_xdr.h"
#include "support/faults.hpp"
#include "support/memory_meter.hpp"
#include "support/sink.hpp"
#include "support/xdr_streams.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cstring>
#include <limits>

extern "C" {
#include <peers/records.h>
}

namespace {

template <class Routine> xdrproc_t as_proc(Routine routine) { return reinterpret_cast<xdrproc_t>(routine); }

template <class Routine, class T> std::optional<bytes> sent(Routine routine, T value) {
    return encode(stream_kind::memory, as_proc(routine), &value);
}

// ---- one unit

template <class T> struct unit_routine {
    const char *name;
    bool_t (*routine)(XDR *, T *);
};

constexpr unit_routine<int32_t> signed_units[] = {
    {"xdr_tbs_status_t", xdr_tbs_status_t},
    {"xdr_tbs_boolean_t", xdr_tbs_boolean_t},
    {"xdr_pid_t", xdr_pid_t},
    {"xdr_tbs_text_mode_t", xdr_tbs_text_mode_t},
    {"xdr_vob_mtype_t", xdr_vob_mtype_t},
    {"xdr_tbs_program_null_V1_back", xdr_tbs_program_null_V1_back},
    {"xdr_server_exit_reply", xdr_server_exit_reply},
};

constexpr unit_routine<uint32_t> unsigned_units[] = {
    {"xdr_xid_t", xdr_xid_t},
    {"xdr_tbs_dbid_t", xdr_tbs_dbid_t},
    {"xdr_tbs_ftype_t", xdr_tbs_ftype_t},
    {"xdr_tbs_fmode_t", xdr_tbs_fmode_t},
    {"xdr_tbs_notify_delivery_mask_t", xdr_tbs_notify_delivery_mask_t},
    {"xdr_vob_gen_num_t", xdr_vob_gen_num_t},
    {"xdr_in_addr", xdr_in_addr},
};

// A value, the bytes it travels as, and a witness of the host's library.
template <class T, class Witness>
void travels(const unit_routine<T> &unit, T value, const bytes &golden, Witness witness) {
    SCOPED_TRACE(unit.name);
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        T copy = value, back = static_cast<T>(~value);
        EXPECT_EQ(encode(kind, as_proc(unit.routine), &copy), golden);
        EXPECT_EQ(encode(kind, as_proc(witness), &copy), golden);
        ASSERT_TRUE(decode(kind, golden, as_proc(unit.routine), &back));
        EXPECT_EQ(back, value);
        for (size_t length = 0; length < golden.size(); length++) {
            EXPECT_FALSE(decode(kind, first(golden, length), as_proc(unit.routine), &back));
        }
    }
}

TEST(XdrUnits, TravelInOneBigEndianUnit) {
    for (const auto &unit : signed_units) {
        travels<int32_t>(unit, 0x01020304, {1, 2, 3, 4}, xdr_int);
        travels<int32_t>(unit, -2, {0xFF, 0xFF, 0xFF, 0xFE}, xdr_int);
        travels<int32_t>(unit, std::numeric_limits<int32_t>::min(), {0x80, 0, 0, 0}, xdr_int);
    }
    for (const auto &unit : unsigned_units) {
        travels<uint32_t>(unit, 0x01020304, {1, 2, 3, 4}, xdr_u_int);
        travels<uint32_t>(unit, 0xFFFFFFFF, {0xFF, 0xFF, 0xFF, 0xFF}, xdr_u_int);
    }
}

TEST(XdrTbsByte, TakesAWholeUnit) {
    travels<uint8_t>({"xdr_tbs_byte_t", xdr_tbs_byte_t}, 0xA7, {0, 0, 0, 0xA7}, xdr_u_char);
    uint8_t byte = 0;
    EXPECT_TRUE(decode(stream_kind::memory, {1, 2, 3, 4}, as_proc(xdr_tbs_byte_t), &byte));
    EXPECT_EQ(byte, 4);
}

template <class T> void refuses_what_no_routine_takes(bool_t (*routine)(XDR *, T *)) {
    T value{};
    XDR stream;
    char room[4];
    xdrmem_create(&stream, room, sizeof room, XDR_ENCODE);
    EXPECT_FALSE(routine(nullptr, &value));
    EXPECT_FALSE(routine(&stream, nullptr));
    stream.x_op = static_cast<xdr_op>(7);
    EXPECT_FALSE(routine(&stream, &value));
    XDR poison;
    std::memset(static_cast<void *>(&poison), 0xA5, sizeof poison);
    poison.x_op = XDR_FREE;
    EXPECT_TRUE(routine(&poison, &value));
    EXPECT_TRUE(routine(&poison, nullptr));
}

TEST(XdrUnits, RefuseNullsAndUnknownDirectionsAndReleaseNothing) {
    for (const auto &unit : signed_units) refuses_what_no_routine_takes(unit.routine);
    for (const auto &unit : unsigned_units) refuses_what_no_routine_takes(unit.routine);
    refuses_what_no_routine_takes(xdr_tbs_byte_t);
    refuses_what_no_routine_takes(xdr_size_t);
    refuses_what_no_routine_takes(orsik_xdr_uint64);
    refuses_what_no_routine_takes(xdr_time_t);
    refuses_what_no_routine_takes(orsik_xdr_int64);
    refuses_what_no_routine_takes(xdr_tbs_uuid_t);
    refuses_what_no_routine_takes(xdr_tbs_oid_t);
    refuses_what_no_routine_takes(xdr_tbs_fstat_t);
    refuses_what_no_routine_takes(xdr_tbs_fstat_db_t);
    refuses_what_no_routine_takes(xdr_tbs_program_null_V1_over);
}

// ---- 64 bits in one unit

TEST(XdrWideIntegers, FitOneUnitOrFail) {
    for (const auto routine : {xdr_size_t, orsik_xdr_uint64}) {
        EXPECT_EQ(sent(routine, uint64_t{0}), (bytes{0, 0, 0, 0}));
        EXPECT_EQ(sent(routine, uint64_t{4294967295}), (bytes{0xFF, 0xFF, 0xFF, 0xFF}));
        EXPECT_FALSE(sent(routine, uint64_t{4294967296}));
        EXPECT_FALSE(sent(routine, std::numeric_limits<uint64_t>::max()));
        uint64_t back = 0;
        EXPECT_TRUE(decode(stream_kind::memory, {0x80, 0, 0, 1}, as_proc(routine), &back));
        EXPECT_EQ(back, 0x80000001u);
        EXPECT_FALSE(decode(stream_kind::memory, {0x80, 0, 0}, as_proc(routine), &back));
    }
    for (const auto routine : {xdr_time_t, orsik_xdr_int64}) {
        EXPECT_EQ(sent(routine, int64_t{-1}), (bytes{0xFF, 0xFF, 0xFF, 0xFF}));
        EXPECT_EQ(sent(routine, int64_t{2147483647}), (bytes{0x7F, 0xFF, 0xFF, 0xFF}));
        EXPECT_EQ(sent(routine, int64_t{-2147483648}), (bytes{0x80, 0, 0, 0}));
        EXPECT_FALSE(sent(routine, int64_t{2147483648}));
        EXPECT_FALSE(sent(routine, int64_t{-2147483649}));
        int64_t back = 0;
        EXPECT_TRUE(decode(stream_kind::memory, {0xFF, 0xFF, 0xFF, 0xFF}, as_proc(routine), &back));
        EXPECT_EQ(back, -1);
        EXPECT_TRUE(decode(stream_kind::memory, {0x7F, 0xFF, 0xFF, 0xFF}, as_proc(routine), &back));
        EXPECT_EQ(back, 2147483647);
    }
}

TEST(XdrWideIntegers, FailOnEveryStream) {
    for (const stream_kind kind : all_stream_kinds) {
        uint64_t size = uint64_t{1} << 32;
        int64_t time = int64_t{1} << 31;
        EXPECT_FALSE(encode(kind, as_proc(xdr_size_t), &size));
        EXPECT_FALSE(encode(kind, as_proc(xdr_time_t), &time));
        size--;
        time--;
        EXPECT_EQ(encode(kind, as_proc(xdr_size_t), &size), (bytes{0xFF, 0xFF, 0xFF, 0xFF}));
        EXPECT_EQ(encode(kind, as_proc(xdr_time_t), &time), (bytes{0x7F, 0xFF, 0xFF, 0xFF}));
    }
}

// ---- texts

struct held_text {
    const char *name;
    bool_t (*routine)(XDR *, char *);
    size_t max;
    xdrproc_t witness;
};
const held_text held_texts[] = {
    {"xdr_tbs_hostname_t", xdr_tbs_hostname_t, 63, as_proc(xdr_peer_hostname)},
    {"xdr_tbs_name_t", xdr_tbs_name_t, 255, as_proc(xdr_peer_name)},
    {"xdr_tbs_pname_t", xdr_tbs_pname_t, 1023, as_proc(xdr_peer_pname)},
};

TEST(XdrHeldTexts, AreDecodedIntoTheirArray) {
    for (const held_text &type : held_texts) {
        for (const size_t length : {size_t{0}, size_t{1}, size_t{4}, type.max}) {
            std::string text(length, 'x');
            std::vector<char> array(text.begin(), text.end());
            array.resize(type.max + 1);
            char *shown = text.data();
            const auto golden = encode(stream_kind::memory, type.witness, &shown);
            for (const stream_kind kind : all_stream_kinds) {
                SCOPED_TRACE(std::string(type.name) + " " + name_of(kind));
                EXPECT_EQ(encode(kind, as_proc(type.routine), array.data()), golden);
                std::vector<char> back(type.max + 1, '?');
                ASSERT_TRUE(decode(kind, *golden, as_proc(type.routine), back.data()));
                EXPECT_STREQ(back.data(), text.c_str());
            }
        }
    }
}

TEST(XdrHeldTexts, AreNoLongerThanTheirArray) {
    for (const held_text &type : held_texts) {
        SCOPED_TRACE(type.name);
        const std::vector<char> full(type.max + 1, 'x'); // no terminator
        EXPECT_FALSE(encode(stream_kind::memory, as_proc(type.routine), const_cast<char *>(full.data())));
        std::string longer(type.max + 1, 'x');
        char *shown = longer.data();
        const auto whole = encode(stream_kind::memory, as_proc(xdr_tbs_string_p_t), &shown);
        std::vector<char> back(type.max + 1, '?');
        EXPECT_FALSE(decode(stream_kind::memory, *whole, as_proc(type.routine), back.data()));
    }
}

TEST(XdrHeldTexts, ReleaseNothingAndRefuseNulls) {
    XDR poison;
    std::memset(static_cast<void *>(&poison), 0xA5, sizeof poison);
    poison.x_op = XDR_FREE;
    char array[] = "text";
    XDR stream;
    char room[64];
    for (const auto routine : {xdr_tbs_hostname_t, xdr_tbs_name_t, xdr_tbs_pname_t, xdr_tbs_string_t}) {
        EXPECT_TRUE(routine(&poison, array));
        EXPECT_TRUE(routine(&poison, nullptr));
        for (const xdr_op op : {XDR_ENCODE, XDR_DECODE}) {
            xdrmem_create(&stream, room, sizeof room, op);
            EXPECT_FALSE(routine(&stream, nullptr));
        }
        EXPECT_FALSE(routine(nullptr, array));
    }
    EXPECT_STREQ(array, "text");
}

TEST(XdrTbsString, UsesTheCallersBuffer) {
    char text[] = "Hello", back[] = "......................";
    const bytes golden = {0, 0, 0, 5, 'H', 'e', 'l', 'l', 'o', 0, 0, 0};
    EXPECT_EQ(encode(stream_kind::memory, as_proc(xdr_tbs_string_t), text), golden);
    EXPECT_TRUE(decode(stream_kind::memory, golden, as_proc(xdr_tbs_string_t), back));
    EXPECT_STREQ(back, "Hello");
}

TEST(XdrTbsStringP, OwnsItsStorage) {
    char text[] = "Hello";
    const bytes golden = {0, 0, 0, 5, 'H', 'e', 'l', 'l', 'o', 0, 0, 0};
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        tbs_string_p_t shown = text, back = nullptr;
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_string_p_t), &shown), golden);
        ASSERT_TRUE(decode(kind, golden, as_proc(xdr_tbs_string_p_t), &back));
        EXPECT_STREQ(back, "Hello");
        xdr_ez_free(as_proc(xdr_tbs_string_p_t), &back);
        EXPECT_EQ(back, nullptr);
        for (size_t length = 0; length < golden.size(); length++) {
            EXPECT_FALSE(decode(kind, first(golden, length), as_proc(xdr_tbs_string_p_t), &back)) << length;
            xdr_ez_free(as_proc(xdr_tbs_string_p_t), &back);
        }
    }
    char storage[16] = "???????";
    tbs_string_p_t own = storage;
    ASSERT_TRUE(decode(stream_kind::memory, golden, as_proc(xdr_tbs_string_p_t), &own));
    EXPECT_EQ(own, storage);
    EXPECT_STREQ(storage, "Hello");
}

TEST(XdrTbsStringP, TakesNoMemoryForMereClaims) {
    for (const stream_kind kind : all_stream_kinds) {
        for (const bytes &from :
             {bytes{0x7F, 0xFF, 0xFF, 0xFF, 'x', 0, 0, 0}, bytes{0x80, 0, 0, 0}, bytes{0xFF, 0xFF, 0xFF, 0xFF}}) {
            tbs_string_p_t back = nullptr;
            const memory_meter meter;
            EXPECT_FALSE(decode(kind, from, as_proc(xdr_tbs_string_p_t), &back));
            EXPECT_LE(meter.peak(), 64 * 1024 + 8 * from.size()) << name_of(kind);
        }
    }
}

TEST(XdrTbsStringP, ReportsMissingMemory) {
    const recording_sink printed;
    const bytes golden = {0, 0, 0, 5, 'H', 'e', 'l', 'l', 'o', 0, 0, 0};
    XDR stream;
    ASSERT_EQ(xdrstg_create_decode_buf(&stream, golden.data(), static_cast<uint32_t>(golden.size())), 0);
    tbs_string_p_t back = nullptr;
    {
        const faults::refuse none(1, true);
        EXPECT_FALSE(xdr_tbs_string_p_t(&stream, &back));
    }
    EXPECT_EQ(back, nullptr);
    ASSERT_EQ(printed.count(), 1u);
    EXPECT_EQ(printed.messages()[0].index, 46u);
}

// ---- identifiers

constexpr tbs_uuid_t sample_id = {0x12345678, 0x9abc, 0x1def, 0x8a, 0x12, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};
const bytes sample_id_bytes = {0x12, 0x34, 0x56, 0x78, 0x1d, 0xef, 0x9a, 0xbc,
                               0x8a, 0x12, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55};

TEST(XdrTbsUuid, SendsTheGoldenBytesOnEveryStream) {
    for (const auto routine : {xdr_tbs_uuid_t, xdr_tbs_oid_t}) {
        for (const stream_kind kind : all_stream_kinds) {
            SCOPED_TRACE(name_of(kind));
            tbs_uuid_t id = sample_id, back{};
            EXPECT_EQ(encode(kind, as_proc(routine), &id), sample_id_bytes);
            ASSERT_TRUE(decode(kind, sample_id_bytes, as_proc(routine), &back));
            EXPECT_TRUE(tbs_uuid_eq(&id, &back));
            for (size_t length = 0; length < 16; length++) {
                EXPECT_FALSE(decode(kind, first(sample_id_bytes, length), as_proc(routine), &back));
            }
        }
    }
}

TEST(XdrTbsUuid, EveryBitTravels) {
    for (size_t bit = 0; bit < 128; bit++) {
        bytes from(16);
        from[bit / 8] = static_cast<uint8_t>(1u << bit % 8);
        tbs_uuid_t id{};
        ASSERT_TRUE(decode(stream_kind::memory, from, as_proc(xdr_tbs_uuid_t), &id));
        EXPECT_EQ(sent(xdr_tbs_uuid_t, id), from);
    }
}

// ---- directory entries

TEST(XdrTbsDirent, SendsNumberIdAndName) {
    char name[] = "main.c", storage[256];
    tbs_dirent_t entry{7, 0x01020304, name};
    const bytes golden = {0, 0, 0, 7, 1, 2, 3, 4, 0, 0, 0, 6, 'm', 'a', 'i', 'n', '.', 'c', 0, 0};
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_dirent_t), &entry), golden);
        tbs_dirent_t back{0, 0, storage};
        ASSERT_TRUE(decode(kind, golden, as_proc(xdr_tbs_dirent_t), &back));
        EXPECT_EQ(back.number, 7u);
        EXPECT_EQ(back.dbid, 0x01020304u);
        EXPECT_EQ(back.name, storage);
        EXPECT_STREQ(storage, "main.c");
        for (size_t length = 0; length < golden.size(); length++) {
            EXPECT_FALSE(decode(kind, first(golden, length), as_proc(xdr_tbs_dirent_t), &back));
        }
    }
    peer_dirent witness{7, 0x01020304, name};
    EXPECT_EQ(sent(xdr_peer_dirent, witness), golden);
}

TEST(XdrTbsDirent, HoldsANameOf255Characters) {
    std::string longest(255, 'n'), longer(256, 'n');
    EXPECT_TRUE(sent(xdr_tbs_dirent_t, tbs_dirent_t{1, 2, longest.data()}));
    EXPECT_FALSE(sent(xdr_tbs_dirent_t, tbs_dirent_t{1, 2, longer.data()}));
    const auto from = sent(xdr_peer_string, longer.data());
    bytes whole(8);
    whole.insert(whole.end(), from->begin(), from->end());
    char storage[300];
    tbs_dirent_t back{0, 0, storage};
    EXPECT_FALSE(decode(stream_kind::memory, whole, as_proc(xdr_tbs_dirent_t), &back));
    tbs_dirent_t nameless{1, 2, nullptr};
    EXPECT_FALSE(encode(stream_kind::memory, as_proc(xdr_tbs_dirent_t), &nameless));
    EXPECT_FALSE(decode(stream_kind::memory, bytes(16), as_proc(xdr_tbs_dirent_t), &nameless));
}

TEST(XdrTbsDirent, FreeLeavesTheName) {
    XDR stream = {};
    stream.x_op = XDR_FREE;
    char name[] = "name";
    tbs_dirent_t entry{1, 2, name};
    EXPECT_TRUE(xdr_tbs_dirent_t(&stream, &entry));
    EXPECT_EQ(entry.name, name);
    entry.name = nullptr;
    EXPECT_TRUE(xdr_tbs_dirent_t(&stream, &entry));
    EXPECT_TRUE(xdr_tbs_dirent_t(&stream, nullptr));
}

class listing : public testing::Test {
protected:
    char pool[16] = "a\0bb\0ccc";
    std::vector<tbs_dirent_t> entries = {{1, 10, pool}, {2, 20, pool + 2}, {3, 30, pool + 5}};
    const bytes golden = {0, 0, 0, 3,  0, 0, 0, 1, 0, 0, 0, 10, 0, 0, 0, 0,  0, 0, 0, 2,
                          0, 0, 0, 20, 0, 0, 0, 2, 0, 0, 0, 3,  0, 0, 0, 30, 0, 0, 0, 5};

    static bool pass(XDR *stream, void *self) {
        auto *test = static_cast<listing *>(self);
        return xdr_tbs_dirent_array(stream, &test->array, test->base, &test->count, test->max);
    }
    std::optional<bytes> send(stream_kind kind) {
        return encode(
            kind,
            as_proc(static_cast<bool_t (*)(XDR *, void *)>([](XDR *s, void *o) -> bool_t { return pass(s, o); })),
            this);
    }
    bool receive(stream_kind kind, const bytes &from) {
        return decode(
            kind, from,
            as_proc(static_cast<bool_t (*)(XDR *, void *)>([](XDR *s, void *o) -> bool_t { return pass(s, o); })),
            this);
    }
    void release() {
        XDR stream = {};
        stream.x_op = XDR_FREE;
        EXPECT_TRUE(pass(&stream, this));
        EXPECT_EQ(array, nullptr);
    }

    tbs_dirent_t *array = nullptr;
    char *base = pool;
    uint32_t count = 0, max = 100;
};

TEST_F(listing, TravelsWithOffsetsIntoThePool) {
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        array = entries.data();
        count = 3;
        EXPECT_EQ(send(kind), golden);
        array = nullptr;
        count = 0;
        ASSERT_TRUE(receive(kind, golden));
        ASSERT_EQ(count, 3u);
        EXPECT_STREQ(array[2].name, "ccc");
        EXPECT_EQ(array[2].name, pool + 5);
        EXPECT_EQ(array[1].dbid, 20u);
        release();
    }
    peer_listed listed[] = {{1, 10, 0}, {2, 20, 2}, {3, 30, 5}};
    EXPECT_EQ(sent(xdr_peer_listing, peer_listing{3, listed}), golden);
}

TEST_F(listing, IsDecodedIntoAnArrayThatIsThere) {
    tbs_dirent_t own[100] = {};
    array = own;
    ASSERT_TRUE(receive(stream_kind::memory, golden));
    EXPECT_EQ(array, own);
    EXPECT_EQ(count, 3u);
    EXPECT_STREQ(own[1].name, "bb");
}

TEST_F(listing, OfNoEntryTouchesNoArray) {
    EXPECT_EQ(send(stream_kind::memory), bytes(4));
    base = nullptr;
    EXPECT_TRUE(receive(stream_kind::memory, bytes(4)));
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(count, 0u);
    tbs_dirent_t own = {7, 70, pool};
    array = &own;
    EXPECT_TRUE(receive(stream_kind::memory, bytes(4)));
    EXPECT_EQ(array, &own);
    EXPECT_EQ(own.number, 7u);
}

TEST_F(listing, IsReleasedWhateverTheMaximum) {
    ASSERT_TRUE(receive(stream_kind::memory, golden));
    max = 0;
    release();
}

TEST_F(listing, IsRefusedAboveTheMaximumBeforeMemoryIsTaken) {
    max = 2;
    const memory_meter meter;
    EXPECT_FALSE(receive(stream_kind::storage, golden));
    EXPECT_EQ(meter.peak(), 0u);
    EXPECT_EQ(array, nullptr);
    array = entries.data();
    count = 3;
    EXPECT_FALSE(send(stream_kind::memory));
    max = 3;
    EXPECT_TRUE(send(stream_kind::memory));
    array = nullptr;
    release();
}

TEST_F(listing, TakesNoMemoryForMereClaims) {
    max = 0xFFFFFFFF;
    for (const stream_kind kind : all_stream_kinds) {
        for (const uint8_t high : {0x7F, 0x80, 0xFF}) {
            bytes from = golden;
            from[0] = high;
            const memory_meter meter;
            EXPECT_FALSE(receive(kind, from));
            EXPECT_LE(meter.peak(), 64 * 1024 + 8 * from.size()) << name_of(kind);
            release();
        }
    }
}

TEST_F(listing, IsCutOffAtEveryByte) {
    for (const stream_kind kind : all_stream_kinds) {
        for (size_t length = 0; length < golden.size(); length++) {
            EXPECT_FALSE(receive(kind, first(golden, length)));
            release();
        }
    }
}

TEST_F(listing, RefusesNamesOutsideThePoolsReach) {
    array = entries.data();
    count = 1;
    base = pool + 1;
    EXPECT_FALSE(send(stream_kind::memory)); // before the pool
    entries[0].name = reinterpret_cast<char *>(uintptr_t{0x200000000});
    base = reinterpret_cast<char *>(uintptr_t{0x100000000});
    EXPECT_FALSE(send(stream_kind::memory)); // 4 GiB behind its beginning
    entries[0].name--;
    EXPECT_TRUE(send(stream_kind::memory));
}

TEST_F(listing, RefusesNulls) {
    XDR stream;
    char room[64] = {};
    xdrmem_create(&stream, room, sizeof room, XDR_ENCODE);
    count = 1;
    EXPECT_FALSE(xdr_tbs_dirent_array(&stream, &array, pool, &count, 10));
    EXPECT_FALSE(xdr_tbs_dirent_array(&stream, nullptr, pool, &count, 10));
    EXPECT_FALSE(xdr_tbs_dirent_array(&stream, &array, pool, nullptr, 10));
    EXPECT_FALSE(xdr_tbs_dirent_array(nullptr, &array, pool, &count, 10));
    base = nullptr;
    EXPECT_FALSE(receive(stream_kind::memory, golden));
}

TEST_F(listing, EveryAllocationMayFail) {
    const recording_sink printed;
    const int refused = faults::each_allocation([&](int, bool) {
        const bool whole = receive(stream_kind::record, golden);
        const faults::suspend unrefused;
        EXPECT_TRUE(whole || array == nullptr || count <= 3);
        release();
    });
    EXPECT_GE(refused, 1);
}

// ---- file status records

tbs_fstat_t sample_status() {
    tbs_fstat_t status{};
    auto *words = reinterpret_cast<uint32_t *>(&status);
    for (uint32_t i = 0; i < 17; i++) words[i] = 0x01010101 * (i + 1);
    return status;
}

TEST(XdrTbsFstat, Is17UnitsInOrder) {
    bytes golden;
    for (uint8_t i = 1; i <= 17; i++) golden.insert(golden.end(), 4, i);
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        tbs_fstat_t status = sample_status(), back{};
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_fstat_t), &status), golden);
        ASSERT_TRUE(decode(kind, golden, as_proc(xdr_tbs_fstat_t), &back));
        EXPECT_EQ(std::memcmp(&status, &back, sizeof back), 0);
        for (size_t length = 0; length < golden.size(); length++) {
            EXPECT_FALSE(decode(kind, first(golden, length), as_proc(xdr_tbs_fstat_t), &back));
        }
    }
}

TEST(XdrTbsFstat, IsWhatThePeerSends) {
    const tbs_fstat_t status = sample_status();
    peer_fstat witness{};
    static_assert(sizeof witness == sizeof status);
    std::memcpy(&witness, &status, sizeof witness);
    EXPECT_EQ(sent(xdr_peer_fstat, witness), sent(xdr_tbs_fstat_t, status));
}

tbs_fstat_db_t sample_db_status() {
    tbs_fstat_db_t status{};
    status.type = TBS_FTYPE_FILE;
    status.mode = 0644;
    status.nlink = 3;
    status.reserved = 4;
    std::memset(&status.usid, 0x55, sizeof status.usid);
    std::memset(&status.gsid, 0x66, sizeof status.gsid);
    status.size = 0x0102030405060708;
    status.ino = 8;
    status.xtime = {9, 10};
    status.atime = {-11, 12};
    status.mtime = {13, 999999};
    status.ctime = {15, 16};
    return status;
}

TEST(XdrTbsFstatDb, SendsTheLowHalfOfTheSizeFirst) {
    bytes golden = {0, 0, 0, 1, 0, 0, 1, 0xA4, 0, 0, 0, 3, 0, 0, 0, 4};
    golden.insert(golden.end(), 34, 0x55);
    golden.insert(golden.end(), 2, 0);
    golden.insert(golden.end(), 34, 0x66);
    golden.insert(golden.end(), 2, 0);
    const bytes rest = {5,    6,    7, 8, 1, 2,  3, 4, 0, 0,  0, 8,   0,    0,    0, 9, 0, 0,  0, 10, 0xFF, 0xFF,
                        0xFF, 0xF5, 0, 0, 0, 12, 0, 0, 0, 13, 0, 0xF, 0x42, 0x3F, 0, 0, 0, 15, 0, 0,  0,    16};
    golden.insert(golden.end(), rest.begin(), rest.end());
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        tbs_fstat_db_t status = sample_db_status(), back{};
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_fstat_db_t), &status), golden);
        ASSERT_TRUE(decode(kind, golden, as_proc(xdr_tbs_fstat_db_t), &back));
        EXPECT_EQ(back.size, status.size);
        EXPECT_EQ(back.atime.tv_sec, -11);
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_fstat_db_t), &back), golden);
        for (size_t length = 0; length < golden.size(); length++) {
            EXPECT_FALSE(decode(kind, first(golden, length), as_proc(xdr_tbs_fstat_db_t), &back));
        }
    }
    peer_fstat_db witness{};
    ASSERT_TRUE(decode(stream_kind::memory, golden, as_proc(xdr_peer_fstat_db), &witness));
    EXPECT_EQ(witness.size_low, 0x05060708u);
    EXPECT_EQ(witness.mtime.usec, 999999);
    EXPECT_EQ(sent(xdr_peer_fstat_db, witness), golden);
}

// ---- remote procedures

TEST(XdrTbsProgramNullV1Over, RefusesAValueWithALowByte) {
    int32_t number = 0;
    const auto routine = as_proc(xdr_tbs_program_null_V1_over);
    EXPECT_FALSE(decode(stream_kind::memory, {0, 0, 0, 1}, routine, &number));
    EXPECT_TRUE(decode(stream_kind::memory, {0, 0, 1, 0}, routine, &number));
    EXPECT_EQ(number, 256);
    EXPECT_FALSE(decode(stream_kind::memory, {0xFF, 0xFF, 0xFF, 0xFF}, routine, &number));
    EXPECT_TRUE(decode(stream_kind::memory, {0xFF, 0xFF, 0xFF, 0x00}, routine, &number));
    EXPECT_TRUE(decode(stream_kind::memory, {0, 0, 0, 0}, routine, &number));
    number = 1;
    EXPECT_EQ(encode(stream_kind::memory, routine, &number), (bytes{0, 0, 0, 1}));
}

TEST(XdrServerExitReq, IsNothing) {
    EXPECT_TRUE(xdr_server_exit_req(nullptr, nullptr));
    for (const stream_kind kind : all_stream_kinds) {
        int nothing = 0;
        EXPECT_EQ(encode(kind, as_proc(xdr_server_exit_req), &nothing), bytes{});
        EXPECT_TRUE(decode(kind, {}, as_proc(xdr_server_exit_req), &nothing));
    }
}

// ---- a stream that counts what is asked of it

struct counting_stream {
    XDR stream;
    XDR::xdr_ops ops;
    const XDR::xdr_ops *real;
    char room[256] = {};
    bool refuses = false;
    std::vector<u_int> asked;

    explicit counting_stream(xdr_op op) {
        xdrmem_create(&stream, room, sizeof room, op);
        real = stream.x_ops;
        ops = *real;
        ops.x_inline = [](XDR *s, u_int size) -> int32_t * {
            auto *self = reinterpret_cast<counting_stream *>(s->x_public);
            self->asked.push_back(size);
            return self->refuses ? nullptr : self->real->x_inline(s, size);
        };
        stream.x_ops = &ops;
        stream.x_public = reinterpret_cast<char *>(this);
    }
};

TEST(XdrInline, IsAskedForJustTheBytesOfARecord) {
    tbs_uuid_t id = sample_id;
    tbs_fstat_t status = sample_status();
    for (const bool refuses : {false, true}) {
        counting_stream out(XDR_ENCODE);
        out.refuses = refuses;
        EXPECT_TRUE(xdr_tbs_uuid_t(&out.stream, &id));
        EXPECT_TRUE(xdr_tbs_fstat_t(&out.stream, &status));
        EXPECT_EQ(out.asked, (std::vector<u_int>{16, 68}));
        EXPECT_EQ(std::memcmp(out.room, sample_id_bytes.data(), 16), 0);
        EXPECT_EQ(out.room[16], 1);
        EXPECT_EQ(out.room[83], 17);
        EXPECT_EQ(XDR_GETPOS(&out.stream), 84u);
    }
}

// A stream of single units and nothing else, as some transports are.
struct unit_stream {
    explicit unit_stream(xdr_op op) {
        stream.x_op = op;
        stream.x_ops = &operations;
        stream.x_public = reinterpret_cast<char *>(this);
    }
    static unit_stream &of(XDR *stream) { return *reinterpret_cast<unit_stream *>(stream->x_public); }
    static bool_t get(XDR *stream, long *word) {
        unit_stream &mine = of(stream);
        if (mine.next == mine.words.size()) return FALSE;
        *word = static_cast<long>(mine.words[mine.next++]);
        return TRUE;
    }
    static bool_t put(XDR *stream, const long *word) {
        of(stream).words.push_back(static_cast<uint32_t>(*word));
        return TRUE;
    }
    static int32_t *no_place(XDR *, u_int) { return nullptr; }

    static constexpr XDR::xdr_ops operations = {get,     put,      nullptr, nullptr, nullptr,
                                                nullptr, no_place, nullptr, nullptr};
    std::vector<uint32_t> words;
    size_t next = 0;
    XDR stream = {};
};

TEST(XdrFixedRecords, TravelUnitByUnitWhereNoPlaceIsGiven) {
    tbs_uuid_t uuid = {0x12345678, 0x9abc, 0x1def, 0x8a, 0x12, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}}, again = {};
    unit_stream out(XDR_ENCODE);
    EXPECT_TRUE(xdr_tbs_uuid_t(&out.stream, &uuid));
    EXPECT_EQ(out.words, (std::vector<uint32_t>{0x12345678, 0x1def9abc, 0x8a120011, 0x22334455}));
    out.stream.x_op = XDR_DECODE;
    EXPECT_TRUE(xdr_tbs_uuid_t(&out.stream, &again));
    EXPECT_TRUE(tbs_uuid_eq(&uuid, &again));
    EXPECT_FALSE(xdr_tbs_uuid_t(&out.stream, &again));
    tbs_status_t status = -1;
    unit_stream one(XDR_ENCODE);
    EXPECT_TRUE(xdr_tbs_status_t(&one.stream, &status));
    EXPECT_EQ(one.words, (std::vector<uint32_t>{0xFFFFFFFF}));
    one.stream.x_op = XDR_DECODE;
    status = 0;
    EXPECT_TRUE(xdr_tbs_status_t(&one.stream, &status));
    EXPECT_EQ(status, -1);
}

TEST(XdrTbsStringPT, RefusesToSendNothing) {
    tbs_string_p_t none = nullptr;
    unit_stream out(XDR_ENCODE);
    EXPECT_FALSE(xdr_tbs_string_p_t(&out.stream, &none));
    EXPECT_TRUE(out.words.empty());
}

} // namespace
