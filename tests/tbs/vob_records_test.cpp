#include "tbs/vob_records.h"

#include "ezrpc/ezrpc_xdr.h"
#include "support/xdr_bytes.hpp"
#include "support/xdr_streams.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <optional>
#include <string_view>

namespace {

tbs_oid_t oid(uint8_t n) { return {0x10203040u + n, 0x5060, 0x7000, 0x81, 0x90, {0xA1, 0xB2, 0xC3, 0xD4, 0xE5, n}}; }

// The 16 bytes of oid(n).
bytes id(uint8_t n) { return words({0x10203040u + n, 0x70005060, 0x8190A1B2, 0xC3D4E500u + n}); }

template <class T> using routine_of = bool_t (*)(XDR *, T *);

template <class T> xdrproc_t as_proc(routine_of<T> routine) { return reinterpret_cast<xdrproc_t>(routine); }

template <class T> std::optional<bytes> sent(routine_of<T> routine, T value) {
    return encode(stream_kind::memory, as_proc(routine), &value);
}

// A decoded object, released at the end.
template <class T> class received {
public:
    received(routine_of<T> routine, const bytes &from)
        : routine_(routine), ok(decode(stream_kind::memory, from, as_proc(routine), &value)) {}
    ~received() { xdr_ez_free(as_proc(routine_), &value); }
    received(const received &) = delete;
    received &operator=(const received &) = delete;

private:
    routine_of<T> routine_;

public:
    T value = {};
    const bool ok;
};

char comment[] = "initial import", user[] = "mira", group[] = "tools", host[] = "atlas", name[] = "src/Makefile";

vob_event_info_t an_event() {
    vob_event_info_t event = {};
    event.kind = VOB_EVKIND_CHECKIN;
    event.time = {1700000000, 250000};
    event.comment = comment;
    event.user = user;
    event.group = group;
    event.host = host;
    event.name = name;
    event.object = 77;
    event.op = VOB_OP_CHECKIN;
    return event;
}

vob_event_legacy_info_t a_legacy_event() {
    const vob_event_info_t event = an_event();
    return {event.area,  event.kind, event.time.tv_sec, event.comment, event.user,
            event.group, event.host, event.name,        event.object,  event.op};
}

bytes event_tail() { return text(comment) + text(user) + text(group) + text(host) + text(name) + words({77, 2}); }
bytes event_bytes() { return words({0, 6, 1700000000, 250000}) + event_tail(); }
bytes legacy_event_bytes() { return words({0, 6, 1700000000}) + event_tail(); }

// ---- events

TEST(XdrVobEventInfo, SendsItsMembersInOrder) {
    EXPECT_EQ(sent(xdr_vob_event_info_t, an_event()), event_bytes());
    EXPECT_EQ(sent<struct vob_event_info_s>(xdr_vob_event_info_s, an_event()), event_bytes());
    const received back(xdr_vob_event_info_t, event_bytes());
    ASSERT_TRUE(back.ok);
    EXPECT_EQ(back.value.area, nullptr);
    EXPECT_EQ(back.value.kind, VOB_EVKIND_CHECKIN);
    EXPECT_EQ(back.value.time.tv_sec, 1700000000);
    EXPECT_EQ(back.value.time.tv_usec, 250000);
    EXPECT_STREQ(back.value.comment, comment);
    EXPECT_STREQ(back.value.user, user);
    EXPECT_STREQ(back.value.group, group);
    EXPECT_STREQ(back.value.host, host);
    EXPECT_STREQ(back.value.name, name);
    EXPECT_EQ(back.value.object, 77u);
    EXPECT_EQ(back.value.op, VOB_OP_CHECKIN);
}

TEST(XdrVobEventInfo, SendsNoAddress) {
    stg_area_t *area = stg_create_area();
    ASSERT_NE(area, nullptr);
    vob_event_info_t event = an_event();
    event.area = area;
    EXPECT_EQ(sent(xdr_vob_event_info_t, event), event_bytes());
    stg_delete_area(&area);
    bytes with_address = event_bytes();
    with_address[3] = 1;
    EXPECT_FALSE(received(xdr_vob_event_info_t, with_address).ok);
}

TEST(XdrVobEventInfo, SendsAbsentTextsAsEmptyOnes) {
    const bytes nothing = words({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(sent(xdr_vob_event_info_t, {}), nothing);
}

TEST(XdrVobEventLegacyInfo, SendsSecondsAlone) {
    EXPECT_EQ(sent(xdr_vob_event_legacy_info_t, a_legacy_event()), legacy_event_bytes());
    const received back(xdr_vob_event_legacy_info_t, legacy_event_bytes());
    ASSERT_TRUE(back.ok);
    EXPECT_EQ(back.value.time, 1700000000);
    EXPECT_EQ(back.value.op, VOB_OP_CHECKIN);
}

TEST(XdrVobEventLegacyInfo, RefusesATimeThatDoesNotFit) {
    vob_event_legacy_info_t old = a_legacy_event();
    for (const int64_t time : {int64_t{INT32_MAX}, int64_t{INT32_MIN}, int64_t{-1}}) {
        old.time = time;
        EXPECT_TRUE(sent(xdr_vob_event_legacy_info_t, old)) << time;
    }
    for (const int64_t time : {int64_t{INT32_MAX} + 1, int64_t{INT32_MIN} - 1, INT64_MAX, INT64_MIN}) {
        old.time = time;
        EXPECT_FALSE(sent(xdr_vob_event_legacy_info_t, old)) << time;
        vob_event_info_t current = an_event();
        current.time = {static_cast<int32_t>(time), 0};
        EXPECT_TRUE(sent(xdr_vob_event_info_t, current)) << time;
    }
}

TEST(XdrVobEventLongInfo, SendsItsParticularsBehindTheEvent) {
    char one[] = "moved", two[] = "", *details[] = {one, two};
    char full_name[] = "Mira Holt", type_name[] = "file", version[] = "/main/4", replica[] = "north";
    const vob_event_info_t e = an_event();
    const vob_event_long_info_t event = {e.area,
                                         e.kind,
                                         e.time,
                                         e.comment,
                                         e.user,
                                         e.group,
                                         e.host,
                                         e.name,
                                         e.object,
                                         e.op,
                                         oid(3),
                                         VOB_MTYPE_VERSION,
                                         full_name,
                                         type_name,
                                         version,
                                         replica,
                                         VOB_OBJECT_FLAGS_LOCKED,
                                         2,
                                         details};
    bytes expected =
        event_bytes() + id(3) + word(5) + text(full_name) + text(type_name) + text(version) + text(replica);
    expected += words({1, 2, 2}) + text(one) + text(two);
    EXPECT_EQ(sent(xdr_vob_event_long_info_t, event), expected);
}

// ---- the operation log

TEST(XdrVobOplogEnt, SendsTwoZeroWordsWithoutEventAndConfigurationRecord) {
    vob_oplog_ent_t entry = {};
    entry.op = 4;
    entry.object = oid(1);
    entry.entry = 9;
    entry.time = -2;
    entry.version = -3;
    entry.replay_time = 5;
    entry.origin_entry = 6;
    entry.replica = oid(2);
    bytes expected = word(4) + id(1) + words({9, 0xFFFFFFFE, 0xFFFFFFFD, 0, 0, 0, 5, 6}) + id(2) + word(0);
    EXPECT_EQ(sent(xdr_vob_oplog_ent_t, entry), expected);
    EXPECT_EQ(sent<struct vob_oplog_ent_s>(xdr_vob_oplog_ent_s, entry), expected);
}

TEST(XdrVobOplogEnt, SendsEventDataAndConfigurationRecord) {
    char data[] = {1, 2, 3, 4, 5}, packed[] = {9, 8}, part_name[] = "lib.o";
    tbs_oid_t objects[] = {oid(4), oid(5)};
    tbs_cr_dep_hash_t hashes[] = {{11, 12}};
    vob_oplog_subcr_t subcrs[] = {{2, part_name, oid(6), oid(7), 3, 4096, 1600000000}};
    tbs_cr_compressed_t cr = {};
    cr.format_version = 1;
    cr.length = sizeof packed;
    cr.data = reinterpret_cast<decltype(cr.data)>(packed);
    vob_oplog_cr_t cr_part = {&cr, 2, objects, 21, 22, 1, hashes, 1, subcrs};
    vob_event_legacy_info_t event = a_legacy_event();
    vob_oplog_ent_t entry = {VOB_OP_NONE, oid(1), 9, 100, 1, &event, sizeof data, data, 200, 8, oid(2), &cr_part};

    bytes expected =
        word(0) + id(1) + words({9, 100, 1, 1}) + legacy_event_bytes() + words({5, 5}) + padded({data, sizeof data});
    expected += words({200, 8}) + id(2) + word(1);
    expected += words({1, 1, 2, 2}) + padded({packed, sizeof packed});
    expected += words({2, 2}) + id(4) + id(5) + words({21, 22, 1, 1, 11, 12, 1, 1});
    expected += word(2) + text(part_name) + id(6) + id(7) + words({3, 4096, 1600000000});
    EXPECT_EQ(sent(xdr_vob_oplog_ent_t, entry), expected);

    const received back(xdr_vob_oplog_ent_t, expected);
    ASSERT_TRUE(back.ok);
    ASSERT_NE(back.value.cr, nullptr);
    EXPECT_EQ(back.value.cr->n_subcrs, 1);
    EXPECT_EQ(back.value.cr->subcrs[0].size, 4096u);
    EXPECT_EQ(back.value.data_size, sizeof data);
    EXPECT_EQ(std::memcmp(back.value.data, data, sizeof data), 0);
}

TEST(XdrVobOplogEnt, RefusesLengthsThatDisagree) {
    vob_oplog_ent_t entry = {};
    char data[] = "abcd";
    entry.data = data;
    entry.data_size = 4;
    bytes from = *sent(xdr_vob_oplog_ent_t, entry);
    const size_t second_length = 4 + 16 + 4 + 4 + 4 + 4 + 4;
    ASSERT_EQ(from[second_length + 3], 4);
    from[second_length + 3] = 3;
    EXPECT_FALSE(received(xdr_vob_oplog_ent_t, from).ok);
}

TEST(XdrVobOplogEnt, RefusesDataThatIsNotThereOrTooLong) {
    vob_oplog_ent_t entry = {};
    entry.data_size = 1;
    EXPECT_FALSE(sent(xdr_vob_oplog_ent_t, entry));
    char data[] = "abcd";
    entry.data = data;
    entry.data_size = uint64_t{UINT32_MAX} + 1;
    EXPECT_FALSE(sent(xdr_vob_oplog_ent_t, entry));
}

// ---- values

vob_value_t value_of_type(vob_vtype_t type) {
    vob_value_t value = {};
    value.vtype = type;
    return value;
}

TEST(XdrVobValue, SendsTheArmOfItsType) {
    vob_value_t value = value_of_type(VOB_VTYPE_INTEGER);
    value.integer = -2;
    EXPECT_EQ(sent(xdr_vob_value_t, value), words({1, 0xFFFFFFFE}));

    value = value_of_type(VOB_VTYPE_REAL);
    value.real = -1.5;
    EXPECT_EQ(sent(xdr_vob_value_t, value), words({2, 0xBFF80000, 0}));

    value = value_of_type(VOB_VTYPE_TIME);
    value.time = {-1, 999999};
    EXPECT_EQ(sent(xdr_vob_value_t, value), words({3, 0xFFFFFFFF, 999999}));

    value = value_of_type(VOB_VTYPE_TEXT);
    value.text = user;
    EXPECT_EQ(sent(xdr_vob_value_t, value), word(4) + text(user));

    tbs_byte_t few[] = {0, 0x7F, 0xFF};
    value = value_of_type(VOB_VTYPE_OPAQUE);
    value.bytes = few;
    value.size = sizeof few;
    EXPECT_EQ(sent(xdr_vob_value_t, value), words({5, 3, 3, 0, 0x7F, 0xFF}));
    EXPECT_EQ(sent<struct vob_value_s>(xdr_vob_value_s, value), words({5, 3, 3, 0, 0x7F, 0xFF}));
}

TEST(XdrVobValue, ComesBackByTheArmOfItsType) {
    EXPECT_EQ(received(xdr_vob_value_t, words({1, 0xFFFFFFFE})).value.integer, -2);
    EXPECT_EQ(received(xdr_vob_value_t, words({2, 0xBFF80000, 0})).value.real, -1.5);
    EXPECT_EQ(received(xdr_vob_value_t, words({3, 0xFFFFFFFF, 999999})).value.time.tv_usec, 999999);
    EXPECT_STREQ(received(xdr_vob_value_t, word(4) + text(user)).value.text, user);
    const received back(xdr_vob_value_t, words({5, 3, 3, 0, 0x7F, 0x1FF}));
    ASSERT_TRUE(back.ok);
    EXPECT_EQ(back.value.size, 3u);
    EXPECT_EQ(back.value.bytes[1], 0x7F);
    EXPECT_EQ(back.value.bytes[2], 0xFF) << "of a unit the low 8 bits";
}

TEST(XdrVobValue, RefusesOtherTypes) {
    for (const vob_vtype_t type : {0, 6, 7, -1, INT_MAX, INT_MIN}) {
        EXPECT_FALSE(sent(xdr_vob_value_t, value_of_type(type))) << type;
        EXPECT_FALSE(received(xdr_vob_value_t, words({static_cast<uint32_t>(type), 0, 0})).ok) << type;
    }
}

TEST(XdrVobValue, OwnsNothingOfAnotherType) {
    vob_value_t value = value_of_type(6);
    value.text = user;
    XDR stream = {};
    stream.x_op = XDR_FREE;
    EXPECT_TRUE(xdr_vob_value_t(&stream, &value));
}

TEST(XdrVobValue, RefusesLengthsThatDisagree) {
    EXPECT_FALSE(received(xdr_vob_value_t, words({5, 2, 1, 0, 0})).ok);
    EXPECT_FALSE(received(xdr_vob_value_t, words({5, 1, 2, 0, 0})).ok);
}

// A list of values is released to its end though one in the middle is of no type.
TEST(XdrVobAttypeVinfo, ReleasesWhatStandsBehindAnUnknownValue) {
    vob_attype_vinfo_t info = {};
    info.n_values = 3;
    info.values = static_cast<vob_value_t *>(stg_calloc(3, sizeof(vob_value_t)));
    for (const int i : {0, 2}) {
        info.values[i].vtype = VOB_VTYPE_TEXT;
        info.values[i].text = stg_strdup("kept");
    }
    info.values[1].vtype = 6;
    EXPECT_FALSE(sent(xdr_vob_attype_vinfo_t, info));
    xdr_ez_free(as_proc(xdr_vob_attype_vinfo_t), &info);
    EXPECT_EQ(info.values, nullptr);
    EXPECT_EQ(info.n_values, 0);
}

// ---- lists

TEST(XdrVobLockInfo, SendsTheCountTwice) {
    char *users[] = {user, host};
    const vob_lock_info_t lock = {2, users, 1};
    EXPECT_EQ(sent(xdr_vob_lock_info_t, lock), words({2, 2}) + text(user) + text(host) + word(1));
    EXPECT_EQ(sent(xdr_vob_lock_info_t, {0, nullptr, 0}), words({0, 0, 0}));
}

TEST(XdrVobLockInfo, RefusesANegativeCount) {
    char *users[] = {user};
    EXPECT_FALSE(sent(xdr_vob_lock_info_t, {-1, users, 0}));
    EXPECT_FALSE(received(xdr_vob_lock_info_t, words({0xFFFFFFFF, 0xFFFFFFFF, 0})).ok);
    EXPECT_FALSE(received(xdr_vob_lock_info_t, words({0x80000000, 0x80000000, 0})).ok);
}

TEST(XdrVobLockInfo, RefusesElementsThatAreNotThere) { EXPECT_FALSE(sent(xdr_vob_lock_info_t, {1, nullptr, 0})); }

TEST(XdrVobLockInfo, RefusesCountsThatDisagree) {
    EXPECT_FALSE(received(xdr_vob_lock_info_t, words({1, 0, 0})).ok);
    EXPECT_FALSE(received(xdr_vob_lock_info_t, words({0, 1}) + text(user) + word(0)).ok);
}

TEST(XdrVobLockInfo, LeavesThePointerNullForNone) {
    const received back(xdr_vob_lock_info_t, words({0, 0, 1}));
    ASSERT_TRUE(back.ok);
    EXPECT_EQ(back.value.users, nullptr);
    EXPECT_EQ(back.value.obsolete, 1);
}

TEST(XdrVobLockInfo, SendsATruthValueAsItStands) {
    EXPECT_EQ(sent(xdr_vob_lock_info_t, {0, nullptr, 7}), words({0, 0, 7}));
    EXPECT_EQ(received(xdr_vob_lock_info_t, words({0, 0, 7})).value.obsolete, 7);
}

// ---- others of a fixed layout

TEST(XdrVobReplicaInfo, SendsNameAndTime) {
    EXPECT_EQ(sent(xdr_vob_replica_info_t, {host, 1234567890}), text(host) + word(1234567890));
    EXPECT_EQ(sent<struct vob_replica_info_s>(xdr_vob_replica_info_s, {host, -1}), text(host) + word(UINT32_MAX));
    EXPECT_FALSE(sent(xdr_vob_replica_info_t, {host, int64_t{1} << 31}));
    EXPECT_EQ(sent(xdr_vob_replica_info_v2_t, {host}), text(host));
}

TEST(XdrVobReplicaInfoV2, SendsTextsOfAnyLengthOnAnyStream) {
    const auto routine = reinterpret_cast<xdrproc_t>(xdr_vob_replica_info_v2_t);
    for (const size_t length : {size_t{0}, size_t{1}, size_t{3}, size_t{4}, size_t{247}, size_t{248}, size_t{252},
                                size_t{253}, size_t{256}, size_t{257}, size_t{3000}}) {
        std::string text(length, 'n');
        const bytes expected = ::text(text);
        for (const stream_kind kind : all_stream_kinds) {
            vob_replica_info_v2_t sent_one = {text.data()}, back = {};
            EXPECT_EQ(encode(kind, routine, &sent_one), expected) << name_of(kind) << ' ' << length;
            EXPECT_TRUE(decode(kind, expected, routine, &back)) << name_of(kind) << ' ' << length;
            EXPECT_EQ(back.name ? back.name : "", text) << name_of(kind);
            stg_free(back.name);
        }
    }
}

TEST(XdrVobUcm, SendTheirShortForms) {
    EXPECT_EQ(sent(xdr_vob_ucm_stream_info_t, {name, 5, VOB_MTYPE_PROJECT, 1}), text(name) + words({5, 24, 1}));
    EXPECT_EQ(sent(xdr_vob_ucm_activity_info_t, {name, 5, 0x80000001, 6}), text(name) + words({5, 0x80000001, 6}));
}

TEST(XdrVobUserInfo, SendsASidInItsPlace) {
    vob_user_info_t info = {};
    info.user = 3;
    info.identity = CREDUTL_SID_NOBODY;
    const bytes expected = words({0, 3}) + opaque(info.identity) + words({0, 0, 0, 0, 0});
    EXPECT_EQ(sent(xdr_vob_user_info_t, info), expected);
}

TEST(XdrVobCltxtInfo, SendsASizeBeyond4GiB) {
    vob_cltxt_info_t info = {};
    info.size = int64_t{5} << 32 | 7;
    bytes expected = words({0, 0, 0, 0, 0, 0, 0, 0, 5, 7, 0, 0});
    EXPECT_EQ(sent(xdr_vob_cltxt_info_t, info), expected);
}

TEST(XdrVobPoolInfo, RefusesASizeBeyond32Bits) {
    vob_pool_info_t info = {};
    info.max_size = UINT32_MAX;
    EXPECT_TRUE(sent(xdr_vob_pool_info_t, info));
    info.max_size++;
    EXPECT_FALSE(sent(xdr_vob_pool_info_t, info));
}

TEST(XdrVobFree, TakesNullWhereNothingIsOwned) {
    XDR stream = {};
    stream.x_op = XDR_FREE;
    EXPECT_TRUE(xdr_vob_evkind_t(&stream, nullptr));
    EXPECT_TRUE(xdr_vob_option_t(&stream, nullptr));
    EXPECT_TRUE(xdr_vob_event_order_key_t(&stream, nullptr));
    EXPECT_FALSE(xdr_vob_event_info_t(&stream, nullptr));
    EXPECT_FALSE(xdr_vob_event_h_t(&stream, nullptr));
}

// ---- handles

TEST(XdrVobEventH, IsAPresenceWordAndTheEvent) {
    vob_event_info_t event = an_event();
    EXPECT_EQ(sent<vob_event_h_t>(xdr_vob_event_h_t, &event), word(1) + event_bytes());
    EXPECT_EQ(sent<vob_event_h_t>(xdr_vob_event_h_t, nullptr), word(0));
    const received<vob_event_h_t> back(xdr_vob_event_h_t, word(2) + event_bytes());
    ASSERT_TRUE(back.ok) << "any word but 0 says that it is there";
    EXPECT_STREQ(back.value->name, name);
    EXPECT_EQ(received<vob_event_h_t>(xdr_vob_event_h_t, word(0)).value, nullptr);
}

TEST(XdrVobHandles, AreNullAfterAFreePass) {
    XDR stream = {};
    stream.x_op = XDR_FREE;
    vob_event_h_t event = static_cast<vob_event_h_t>(stg_calloc(1, sizeof *event));
    event->comment = stg_strdup("gone");
    EXPECT_TRUE(xdr_vob_event_h_t(&stream, &event));
    EXPECT_EQ(event, nullptr);
    EXPECT_TRUE(xdr_vob_event_h_t(&stream, &event));
    vob_cr_h_t cr = static_cast<vob_cr_h_t>(stg_calloc(1, sizeof *cr));
    EXPECT_TRUE(xdr_vob_cr_h_t(&stream, &cr));
    EXPECT_EQ(cr, nullptr);
    vob_view_info_h_t view = static_cast<vob_view_info_h_t>(stg_calloc(1, sizeof *view));
    EXPECT_TRUE(xdr_vob_view_info_h_t(&stream, &view));
    EXPECT_EQ(view, nullptr);
}

} // namespace
