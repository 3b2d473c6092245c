// Configuration records: formats, the wire, the compressed form, copies.

#include "tbs/tbs_cr.h"

#include "ezrpc/ezrpc_xdr.h"
#include "ks/ks_compress.h"
#include "support/faults.hpp"
#include "support/memory_meter.hpp"
#include "support/sink.hpp"
#include "support/xdr_streams.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <climits>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

extern "C" {
#include <peers/records.h>
}

namespace {

using testing::HasSubstr;

template <class Routine> xdrproc_t as_proc(Routine routine) { return reinterpret_cast<xdrproc_t>(routine); }

const xdrproc_t record_routine = as_proc(xdr_tbs_cr_t);

// ---- records of the tests

tbs_oid_t oid_of(uint8_t seed) {
    tbs_oid_t oid = {};
    oid.time_low = 0x01020300u + seed;
    oid.time_mid = 0x0405;
    oid.time_hi_and_version = 0x1607;
    oid.clock_seq_hi_and_reserved = 0x88;
    oid.clock_seq_low = seed;
    for (uint8_t i = 0; i < 6; i++) oid.node[i] = static_cast<uint8_t>(0xa0 + i);
    return oid;
}

char *text(const char *characters) { return stg_strdup(characters); }

template <class T> T **list(const std::vector<T> &values) {
    auto **all = static_cast<T **>(stg_calloc(values.size(), sizeof(T *)));
    for (size_t i = 0; i < values.size(); i++) {
        all[i] = static_cast<T *>(stg_malloc(sizeof(T)));
        *all[i] = values[i];
    }
    return all;
}
char **texts(const std::vector<std::string> &values) {
    auto **all = static_cast<char **>(stg_calloc(values.size(), sizeof(char *)));
    for (size_t i = 0; i < values.size(); i++) all[i] = text(values[i].c_str());
    return all;
}

// What a record holds: released with it.
struct held {
    held() = default;
    explicit held(const tbs_cr_t &taken) : cr(taken) {}
    held(const held &) = delete;
    held &operator=(const held &) = delete;
    ~held() { tbs_cr_free_cr_xdr(&cr); }
    tbs_cr_t cr = {};
};

tbs_cr_vob_desc_t sample_vob() { return {text("/vobs"), oid_of(3), oid_of(4)}; }
tbs_cr_mfs_predef_t sample_mfs_predef() { return {text("gauge.h"), text("/main/7"), 9}; }
tbs_cr_slinktext_rec_t sample_slinktext() { return {text("../gauge.h"), 2}; }
tbs_cr_fs_predef_t sample_fs_predef(int64_t size) {
    return {text("/usr/include/stdio.h"), text("8a41"), 0xfffe, 7, 1, size, 0644, 1600000000, -1};
}
tbs_cr_mfs_obj_desc_t sample_mfs_object() {
    return {oid_of(5), 1650000000, oid_of(6), 0xfffd, 0x1234, 2, 3, 0xfffc, oid_of(7), text("gauge.c@@/main/3")};
}

// A record with everything, put together on the general heap.
struct sample : held {
    explicit sample(int64_t file_size = 4096) {
        cr.build_time = 1700000000;
        cr.elapsed = 12;
        cr.exit_status = 3;
        cr.user = text("BRACKWATER\\dov");
        cr.group = text("BRACKWATER\\staff");
        cr.host = text("ebb");
        cr.host_type = text("linux x64");
        cr.directory = text("/vobs/gauge");
        cr.target_oid = oid_of(1);
        cr.view_uuid = oid_of(2);
        cr.target = text("gauge.o");
        cr.began = {1699999988, 250000};
        cr.command = text("cc -c gauge.c");
        cr.flags = 0x80000001;
        cr.variable_count = 2;
        cr.variables = texts({"CC=cc", "CFLAGS="});
        cr.mfs_predef_count = 1;
        cr.mfs_predefs = list<tbs_cr_mfs_predef_t>({sample_mfs_predef()});
        cr.fs_predef_count = 1;
        cr.fs_predefs = list<tbs_cr_fs_predef_t>({sample_fs_predef(file_size)});
        cr.option_count = 1;
        cr.options = texts({"-k"});
        cr.vob_count = 1;
        cr.vobs = list<tbs_cr_vob_desc_t>({sample_vob()});
        cr.mfs_object_count = 1;
        cr.mfs_objects = list<tbs_cr_mfs_obj_desc_t>({sample_mfs_object()});
        cr.slinktext_count = 1;
        cr.slinktexts = list<tbs_cr_slinktext_rec_t>({sample_slinktext()});
    }
};

constexpr int64_t large = 0x123456789A; // a size that 32 bits do not hold

// ---- the same in text: every member

class shown_record {
public:
    explicit shown_record(const tbs_cr_t &cr) {
        put(cr.format_version, cr.build_time, cr.elapsed, cr.exit_status);
        for (const char *one : {cr.user, cr.group, cr.host, cr.host_type, cr.directory}) put(one);
        put(cr.target_oid, cr.view_uuid, cr.target, cr.began.tv_sec, cr.began.tv_usec, cr.command, cr.flags);
        each(cr.variables, cr.variable_count, [&](const char *one) { put(one); });
        each(cr.mfs_predefs, cr.mfs_predef_count, [&](auto *o) { put(o->pathname, o->version, o->flags); });
        each(cr.fs_predefs, cr.fs_predef_count, [&](auto *o) {
            put(o->pathname, o->checksum, o->result_obj_flags, o->ftype, o->host_kind, o->size, o->mode, o->mtime,
                o->ctime);
        });
        each(cr.options, cr.option_count, [&](const char *one) { put(one); });
        each(cr.vobs, cr.vob_count, [&](auto *o) { put(o->pathname, o->family_oid, o->replica_oid); });
        each(cr.mfs_objects, cr.mfs_object_count, [&](auto *o) {
            put(o->oid, o->mtime, o->element_oid, o->vob, o->result_obj_flags, o->ftype, o->mtype, o->parent,
                o->branch_oid, o->name);
        });
        each(cr.slinktexts, cr.slinktext_count, [&](auto *o) { put(o->text, o->object); });
    }
    std::string str() const { return out_.str(); }

private:
    void one(const char *characters) { out_ << '"' << (characters ? characters : "") << "\" "; }
    void one(const tbs_uuid_t &id) {
        const auto *byte = reinterpret_cast<const uint8_t *>(&id);
        for (size_t i = 0; i < sizeof id; i++) out_ << std::hex << int{byte[i]} << '.' << std::dec;
    }
    void one(int64_t number) { out_ << number << ' '; }
    template <class... T> void put(const T &...member) { (one(member), ...); }
    template <class T, class F> void each(T *const *objects, uint32_t count, F show) {
        out_ << '\n' << count << ": ";
        for (uint32_t i = 0; i < count; i++) show(objects[i]);
    }
    std::ostringstream out_;
};
std::string shown(const tbs_cr_t &cr) { return shown_record(cr).str(); }

// ---- bytes of the tests

// Pairs of hexadecimal digits, and texts between quotes.
bytes coded(std::string_view notation) {
    bytes all;
    for (size_t i = 0; i < notation.size(); i++) {
        if (notation[i] == ' ' || notation[i] == '\n') continue;
        if (notation[i] == '\'') {
            for (i++; notation[i] != '\''; i++) all.push_back(static_cast<uint8_t>(notation[i]));
            continue;
        }
        all.push_back(static_cast<uint8_t>(std::stoi(std::string(notation.substr(i++, 2)), nullptr, 16)));
    }
    return all;
}
bytes operator+(bytes left, const bytes &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}
bytes word(uint32_t value) {
    return {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8),
            static_cast<uint8_t>(value)};
}

// The members in front of the arrays.
bytes golden_head(const char *format) {
    return coded(format) + coded("6553f100 0000000c 00000003"
                                 "0000000e 'BRACKWATER\\dov' 0000"
                                 "00000010 'BRACKWATER\\staff'"
                                 "00000003 'ebb' 00"
                                 "00000009 'linux x64' 000000"
                                 "0000000b '/vobs/gauge' 00"
                                 "01020301 16070405 8801a0a1 a2a3a4a5"
                                 "01020302 16070405 8802a0a1 a2a3a4a5"
                                 "00000007 'gauge.o' 00"
                                 "6553f0f4 0003d090"
                                 "0000000d 'cc -c gauge.c' 000000"
                                 "80000001");
}
const char golden_mfs_predef[] = "00000007 'gauge.h' 00 00000007 '/main/7' 00 00000009";
const char golden_vob[] = "00000005 '/vobs' 000000"
                          "01020303 16070405 8803a0a1 a2a3a4a5 01020304 16070405 8804a0a1 a2a3a4a5";
const char golden_slinktext[] = "0000000a '../gauge.h' 0000 00000002";
const char golden_narrow_fs_predef[] = "00000014 '/usr/include/stdio.h' 00000004 '8a41'"
                                       "0000fffe 00000007 00000001 00001000 000001a4 5f5e1000 ffffffff";
const char golden_wide_fs_predef[] = "00000014 '/usr/include/stdio.h' 00000004 '8a41' 0000fffe 00000007 00000001"
                                     "00000012 3456789a 000001a4 5f5e1000 ffffffff";
const char golden_mfs_object[] = "01020305 16070405 8805a0a1 a2a3a4a5 62590080 01020306 16070405 8806a0a1 a2a3a4a5"
                                 "0000fffd 00001234 00000002 00000003 0000fffc 01020307 16070405 8807a0a1 a2a3a4a5"
                                 "00000010 'gauge.c@@/main/3'";

bytes golden(const char *format, const char *fs_predef) {
    return golden_head(format) + coded("00000002 00000002 00000005 'CC=cc' 000000 00000007 'CFLAGS=' 00") +
           coded("00000001 00000001") + coded(golden_mfs_predef) + coded("00000001 00000001") + coded(fs_predef) +
           coded("00000001 00000001 00000002 '-k' 0000") + coded("00000001 00000001") + coded(golden_vob) +
           coded("00000001 00000001") + coded(golden_mfs_object) + coded("00000001 00000001") +
           coded(golden_slinktext);
}
bytes golden_narrow() { return golden("00000005", golden_narrow_fs_predef); }
bytes golden_wide() { return golden("00000006", golden_wide_fs_predef); }

constexpr size_t array_count = 7;

// A record of nothing: 21 units in front of the arrays, two for each.
bytes empty_head(uint32_t format) { return word(format) + bytes(21 * 4, 0); }
bytes empty_record(uint32_t format) { return empty_head(format) + bytes(array_count * 8, 0); }

std::optional<bytes> sent(tbs_cr_t &cr) { return encode(stream_kind::memory, record_routine, &cr); }

// ---- formats

int32_t format_for(int64_t file_size) {
    const sample of(file_size);
    return tbs_cr_get_fmt_vers(&of.cr);
}

TEST(TbsCrGetFmtVers, IsFiveForSmallFiles) {
    tbs_cr_t empty = {};
    EXPECT_EQ(tbs_cr_get_fmt_vers(&empty), 5);
    EXPECT_EQ(tbs_cr_get_fmt_vers(nullptr), 5);
    EXPECT_EQ(format_for(0), 5);
    EXPECT_EQ(format_for(2147483647), 5);
}

TEST(TbsCrGetFmtVers, IsSixForALargeFile) {
    EXPECT_EQ(format_for(2147483648), 6);
    EXPECT_EQ(format_for(INT64_MAX), 6);
    EXPECT_EQ(format_for(-1), 6);
    EXPECT_EQ(format_for(large), 6);
}

TEST(TbsCrGetFmtVers, LooksAtNothingBehindTheFirstLargeFile) {
    held of;
    of.cr.fs_predef_count = 3;
    of.cr.fs_predefs =
        list<tbs_cr_fs_predef_t>({sample_fs_predef(1), sample_fs_predef(large), sample_fs_predef(large)});
    of.cr.fs_predefs[2]->result_obj_flags = 0x10000;
    of.cr.mfs_object_count = 1;
    of.cr.mfs_objects = list<tbs_cr_mfs_obj_desc_t>({sample_mfs_object()});
    of.cr.mfs_objects[0]->result_obj_flags = 0xffffffff;
    EXPECT_EQ(tbs_cr_get_fmt_vers(&of.cr), 6);
}

TEST(TbsCrGetFmtVers, LeavesTheRecordAsItIs) {
    sample of(large);
    of.cr.format_version = 77;
    EXPECT_EQ(tbs_cr_get_fmt_vers(&of.cr), 6);
    EXPECT_EQ(of.cr.format_version, 77);
}

TEST(TbsCrIsSupportedFmt, KnowsThreeFormats) {
    for (const int32_t format : {4, 5, 6}) EXPECT_EQ(tbs_cr_is_supported_fmt(&format), 1) << format;
    for (const int32_t format : {INT_MIN, -1, 0, 1, 3, 7, 8, INT_MAX}) {
        EXPECT_EQ(tbs_cr_is_supported_fmt(&format), 0) << format;
    }
    EXPECT_EQ(tbs_cr_is_supported_fmt(nullptr), 0);
}

const char wide_file_flags[] = "Assertion failed: !(non_mvfs_p->result_obj_flags & 0xffff0000) (lib/tbs/tbs_cr:421)";
const char wide_object_flags[] = "Assertion failed: !(mvfs_p->result_obj_flags & 0xffff0000) (lib/tbs/tbs_cr:438)";

TEST(TbsCrGetFmtVersDeathTest, EndsTheProcessForFlagsOfAFileBeyondSixteenBits) {
    for (const int64_t size : {int64_t{1}, large}) {
        sample of(size);
        for (const uint32_t flags : {0x10000u, 0x80000000u, 0xffffffffu}) {
            of.cr.fs_predefs[0]->result_obj_flags = flags;
            EXPECT_DEATH(tbs_cr_get_fmt_vers(&of.cr), HasSubstr(wide_file_flags));
        }
        EXPECT_DEATH(sent(of.cr), HasSubstr(wide_file_flags));
        tbs_cr_compressed_t *compressed = nullptr;
        EXPECT_DEATH(tbs_cr_to_compressed(&of.cr, &compressed), HasSubstr(wide_file_flags));
    }
}

TEST(TbsCrGetFmtVersDeathTest, EndsTheProcessForFlagsOfAnObjectBeyondSixteenBits) {
    sample of;
    of.cr.mfs_objects[0]->result_obj_flags = 0x10000;
    EXPECT_DEATH(tbs_cr_get_fmt_vers(&of.cr), HasSubstr(wide_object_flags));
    EXPECT_DEATH(sent(of.cr), HasSubstr(wide_object_flags));
    tbs_cr_compressed_t *compressed = nullptr;
    EXPECT_DEATH(tbs_cr_to_compressed(&of.cr, &compressed), HasSubstr(wide_object_flags));
}

// ---- a whole record on the wire

void travels(const sample &from, const bytes &golden) {
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        tbs_cr_t cr = from.cr;
        cr.format_version = -1; // set while it is encoded
        EXPECT_EQ(encode(kind, record_routine, &cr), golden);
        held back;
        ASSERT_TRUE(decode(kind, golden, record_routine, &back.cr));
        EXPECT_EQ(shown(back.cr), shown(cr));
        EXPECT_EQ(encode(kind, record_routine, &back.cr), golden);
    }
}

TEST(XdrTbsCr, TravelsInFormatFive) { travels(sample(), golden_narrow()); }
TEST(XdrTbsCr, TravelsInFormatSix) { travels(sample(large), golden_wide()); }

TEST(XdrTbsCr, SetsTheFormatItIsEncodedIn) {
    sample narrow, wide(large);
    wide.cr.format_version = 5;
    ASSERT_TRUE(sent(narrow.cr));
    ASSERT_TRUE(sent(wide.cr));
    EXPECT_EQ(narrow.cr.format_version, 5);
    EXPECT_EQ(wide.cr.format_version, 6);
}

TEST(XdrTbsCr, TravelsWithNothingInIt) {
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        held of, back;
        EXPECT_EQ(encode(kind, record_routine, &of.cr), empty_record(5));
        ASSERT_TRUE(decode(kind, empty_record(5), record_routine, &back.cr));
        EXPECT_EQ(shown(back.cr), shown(of.cr));
        EXPECT_STREQ(back.cr.user, "");
        EXPECT_EQ(back.cr.variables, nullptr);
    }
}

TEST(XdrTbsCr, ReadsFormatSixWithoutALargeFileAndWritesFive) {
    held back;
    ASSERT_TRUE(decode(stream_kind::memory, empty_record(6), record_routine, &back.cr));
    EXPECT_EQ(back.cr.format_version, 6);
    EXPECT_EQ(sent(back.cr), empty_record(5));
}

TEST(XdrTbsCr, RefusesOtherFormats) {
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        for (const uint32_t format : {0u, 1u, 3u, 4u, 7u, 0x80000005u, 0xffffffffu}) {
            for (const bytes &rest : {empty_record(5), golden_narrow()}) {
                held back;
                EXPECT_FALSE(
                    decode(kind, word(format) + bytes(rest.begin() + 4, rest.end()), record_routine, &back.cr))
                    << format;
                EXPECT_EQ(back.cr.fs_predefs, nullptr);
                EXPECT_EQ(back.cr.fs_predef_count, 0u);
            }
        }
    }
}

// Cuts a record at each byte: refused, and released by one free pass.
template <class T> void refuses_each_prefix(const bytes &whole, xdrproc_t routine) {
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        for (size_t length = 0; length < whole.size(); length++) {
            T back = {};
            EXPECT_FALSE(decode(kind, first(whole, length), routine, &back)) << length;
            xdr_ez_free(routine, reinterpret_cast<char *>(&back));
        }
    }
}

TEST(XdrTbsCr, RefusesEveryPrefixAndReleasesWhatItRead) {
    refuses_each_prefix<tbs_cr_t>(golden_narrow(), record_routine);
    refuses_each_prefix<tbs_cr_t>(golden_wide(), record_routine);
}

TEST(XdrTbsCr, ReleasesTwice) {
    tbs_cr_t back = {};
    ASSERT_TRUE(decode(stream_kind::memory, golden_wide(), record_routine, &back));
    for (int i = 0; i < 2; i++) {
        xdr_ez_free(record_routine, reinterpret_cast<char *>(&back));
        EXPECT_EQ(back.user, nullptr);
        EXPECT_EQ(back.variables, nullptr);
        EXPECT_EQ(back.mfs_objects, nullptr);
        EXPECT_EQ(back.mfs_object_count, 0u);
        EXPECT_EQ(back.slinktexts, nullptr);
    }
}

TEST(XdrTbsCr, RefusesUnequalCounts) {
    for (size_t i = 0; i < array_count; i++) {
        for (const auto &[count, again] : {std::pair{0u, 1u}, {1u, 0u}, {1u, 2u}, {2u, 1u}}) {
            const bytes from = empty_head(5) + bytes(i * 8, 0) + word(count) + word(again) + bytes(400, 0);
            for (const stream_kind kind : all_stream_kinds) {
                held back;
                EXPECT_FALSE(decode(kind, from, record_routine, &back.cr))
                    << name_of(kind) << ", array " << i << ": " << count << ", " << again;
            }
        }
    }
}

constexpr uint32_t hostile_counts[] = {1u << 20, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
size_t allowed(size_t received) { return 64 * 1024 + 8 * received; }

TEST(XdrTbsCr, TakesNoMemoryForMereClaims) {
    for (const stream_kind kind : all_stream_kinds) {
        for (const uint32_t count : hostile_counts) {
            for (size_t i = 0; i < array_count; i++) {
                for (const size_t more : {0, 3, 4000}) {
                    const bytes from =
                        empty_head(i % 2 ? 5 : 6) + bytes(i * 8, 0) + word(count) + word(count) + bytes(more, 0);
                    held back;
                    const memory_meter meter;
                    EXPECT_FALSE(decode(kind, from, record_routine, &back.cr));
                    EXPECT_LE(meter.peak(), allowed(from.size())) << name_of(kind) << ' ' << i << ' ' << more;
                }
            }
        }
    }
}

TEST(XdrTbsCr, TakesNoMemoryForTheClaimsOfTexts) {
    const size_t text_at[] = {16, 20, 24, 28, 32, 68, 80};
    for (const stream_kind kind : all_stream_kinds) {
        for (const uint32_t length : hostile_counts) {
            for (const size_t at : text_at) {
                const bytes from = first(empty_head(5), at) + word(length) + coded("'only so much'");
                held back;
                const memory_meter meter;
                EXPECT_FALSE(decode(kind, from, record_routine, &back.cr)) << name_of(kind) << ' ' << at;
                EXPECT_LE(meter.peak(), allowed(from.size())) << name_of(kind) << ' ' << at;
            }
        }
    }
}

TEST(XdrTbsCr, TakesMemoryInProportionToTheBytes) {
    constexpr uint32_t count = 20'000;
    const size_t least[array_count] = {4, 12, 36, 4, 36, 76, 8};
    for (const stream_kind kind : all_stream_kinds) {
        for (size_t i = 0; i < array_count; i++) {
            const bytes from = empty_head(5) + bytes(i * 8, 0) + word(count) + word(count) +
                               bytes(count * least[i] + (array_count - 1 - i) * 8, 0);
            held back;
            const memory_meter meter;
            EXPECT_TRUE(decode(kind, from, record_routine, &back.cr)) << name_of(kind) << ' ' << i;
            EXPECT_LE(meter.peak(), allowed(from.size())) << name_of(kind) << ' ' << i;
        }
    }
}

// What no record may be when it is encoded.
void is_not_sent(tbs_cr_t &cr) {
    for (const stream_kind kind : all_stream_kinds) EXPECT_FALSE(encode(kind, record_routine, &cr)) << name_of(kind);
    tbs_cr_compressed_t *compressed = nullptr;
    EXPECT_EQ(tbs_cr_to_compressed(&cr, &compressed), TBS_ST_ERROR);
    EXPECT_EQ(compressed, nullptr);
}

TEST(XdrTbsCr, RefusesToSendCountsWithoutArrays) {
    uint32_t tbs_cr_t::*const counts[] = {
        &tbs_cr_t::variable_count, &tbs_cr_t::mfs_predef_count, &tbs_cr_t::fs_predef_count, &tbs_cr_t::option_count,
        &tbs_cr_t::vob_count,      &tbs_cr_t::mfs_object_count, &tbs_cr_t::slinktext_count};
    for (const auto count : counts) {
        tbs_cr_t cr = {};
        cr.*count = 1;
        is_not_sent(cr);
    }
}

TEST(XdrTbsCr, RefusesToSendMissingObjectsButSendsMissingTexts) {
    void *nothing[1] = {nullptr};
    tbs_cr_t cr = {};
    const auto with = [&](auto &array, uint32_t &count) {
        array = reinterpret_cast<std::remove_reference_t<decltype(array)>>(nothing);
        count = 1;
        is_not_sent(cr);
        cr = {};
    };
    with(cr.mfs_predefs, cr.mfs_predef_count);
    with(cr.fs_predefs, cr.fs_predef_count);
    with(cr.vobs, cr.vob_count);
    with(cr.mfs_objects, cr.mfs_object_count);
    with(cr.slinktexts, cr.slinktext_count);
    char *no_text[1] = {nullptr};
    cr.variables = no_text;
    cr.variable_count = 1;
    EXPECT_EQ(sent(cr), empty_head(5) + word(1) + word(1) + word(0) + bytes((array_count - 1) * 8, 0));
}

TEST(XdrTbsCr, RefusesToSendTimesBeyondOneUnit) {
    for (const int64_t time : {int64_t{1} << 31, -(int64_t{1} << 31) - 1}) {
        sample of;
        const int64_t good = std::exchange(of.cr.build_time, time);
        is_not_sent(of.cr);
        of.cr.build_time = good;
        of.cr.fs_predefs[0]->mtime = time;
        is_not_sent(of.cr);
        of.cr.fs_predefs[0]->mtime = 0;
        of.cr.fs_predefs[0]->ctime = time;
        is_not_sent(of.cr);
        of.cr.fs_predefs[0]->ctime = 0;
        of.cr.mfs_objects[0]->mtime = time;
        is_not_sent(of.cr);
        of.cr.mfs_objects[0]->mtime = 0;
        EXPECT_TRUE(sent(of.cr));
    }
}

TEST(XdrTbsCr, SurvivesEveryFlippedBit) {
    for (const bytes &whole : {golden_narrow(), golden_wide()}) {
        for (size_t bit = 0; bit < whole.size() * 8; bit++) {
            bytes flipped = whole;
            flipped[bit / 8] ^= static_cast<uint8_t>(1u << bit % 8);
            held back;
            decode(stream_kind::memory, flipped, record_routine, &back.cr);
        }
    }
}

TEST(XdrTbsCr, SurvivesEveryRefusedAllocation) {
    const bytes golden = golden_wide();
    const recording_sink printed;
    for (const stream_kind kind : {stream_kind::memory, stream_kind::unaligned, stream_kind::storage}) {
        SCOPED_TRACE(name_of(kind));
        const auto refused = faults::each_allocation([&](int, bool) {
            tbs_cr_t back = {};
            const bool received = decode(kind, golden, record_routine, &back);
            const faults::suspend unrefused;
            EXPECT_TRUE(!received || sent(back) == golden);
            tbs_cr_free_cr_xdr(&back);
        });
        EXPECT_EQ(refused, 29); // 17 texts, 7 arrays, 5 objects
    }
    EXPECT_FALSE(printed.empty());
}

TEST(XdrTbsCr, EncodesThroughEveryRefusedAllocation) {
    sample of;
    const auto refused = faults::each_allocation([&](int, bool) {
        XDR stream;
        if (xdrstg_create(&stream, XDR_ENCODE, 16) != 0) return;
        const bool is_sent = xdr_tbs_cr_t(&stream, &of.cr);
        const faults::suspend unrefused;
        EXPECT_TRUE(!is_sent || XDR_GETPOS(&stream) == golden_narrow().size());
        xdrstg_destroy(&stream);
    });
    EXPECT_GE(refused, 2);
}

// ---- the records in a record

template <class T> using routine_of = bool_t (*)(XDR *, T *);

// An element by both its names, over all kinds of stream; released by the caller.
template <class T>
void element_travels(T element, const char *notation, std::initializer_list<routine_of<T>> routines) {
    const bytes golden = coded(notation);
    for (const auto routine : routines) {
        for (const stream_kind kind : all_stream_kinds) {
            SCOPED_TRACE(name_of(kind));
            T back = {};
            EXPECT_EQ(encode(kind, as_proc(routine), &element), golden);
            EXPECT_TRUE(decode(kind, golden, as_proc(routine), &back));
            EXPECT_EQ(encode(kind, as_proc(routine), &back), golden);
            xdr_ez_free(as_proc(routine), reinterpret_cast<char *>(&back));
        }
        refuses_each_prefix<T>(golden, as_proc(routine));
        EXPECT_FALSE(routine(nullptr, &element));
        XDR stream;
        std::vector<char> room(golden.size());
        xdrmem_create(&stream, room.data(), static_cast<u_int>(golden.size() - 4), XDR_ENCODE);
        EXPECT_FALSE(routine(&stream, nullptr));
        EXPECT_FALSE(routine(&stream, &element)); // no room for the last unit
    }
}

// A pointer to it, which may be NULL.
template <class T> void pointer_travels(T element, const char *notation, routine_of<T *> routine) {
    const bytes golden = word(1) + coded(notation);
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        T *one = &element, *none = nullptr, *back = nullptr;
        EXPECT_EQ(encode(kind, as_proc(routine), &one), golden);
        EXPECT_EQ(encode(kind, as_proc(routine), &none), word(0));
        ASSERT_TRUE(decode(kind, golden, as_proc(routine), &back));
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(encode(kind, as_proc(routine), &back), golden);
        xdr_ez_free(as_proc(routine), reinterpret_cast<char *>(&back));
        EXPECT_EQ(back, nullptr);
        xdr_ez_free(as_proc(routine), reinterpret_cast<char *>(&back));
        ASSERT_TRUE(decode(kind, word(0), as_proc(routine), &back));
        EXPECT_EQ(back, nullptr);
    }
    refuses_each_prefix<T *>(golden, as_proc(routine));
    refuses_each_prefix<T *>(word(0), as_proc(routine));
    T *back = nullptr;
    const recording_sink printed;
    faults::each_allocation([&](int, bool) {
        const bool received = decode(stream_kind::memory, golden, as_proc(routine), &back);
        const faults::suspend unrefused;
        EXPECT_TRUE(!received || encode(stream_kind::memory, as_proc(routine), &back) == golden);
        xdr_ez_free(as_proc(routine), reinterpret_cast<char *>(&back));
        EXPECT_EQ(back, nullptr);
    });
}

// The texts of a sample, released at its end.
template <class T> struct own {
    T value;
    routine_of<T> routine;
    own(const T &taken, routine_of<T> r) : value(taken), routine(r) {}
    own(const own &) = delete;
    own &operator=(const own &) = delete;
    ~own() { xdr_ez_free(as_proc(routine), reinterpret_cast<char *>(&value)); }
};

TEST(XdrTbsCrVobDesc, Travels) {
    const own vob(sample_vob(), xdr_tbs_cr_vob_desc_t);
    element_travels(vob.value, golden_vob, {xdr_tbs_cr_vob_desc_t, xdr__tbs_cr_vob_desc_t});
    pointer_travels(vob.value, golden_vob, xdr_tbs_cr_vob_desc_p_t);
}

TEST(XdrTbsCrMfsPredef, Travels) {
    const own object(sample_mfs_predef(), xdr_tbs_cr_mfs_predef_t);
    element_travels(object.value, golden_mfs_predef, {xdr_tbs_cr_mfs_predef_t, xdr__tbs_cr_mfs_predef_t});
    pointer_travels(object.value, golden_mfs_predef, xdr_tbs_cr_mfs_predef_p_t);
}

TEST(XdrTbsCrSlinktextRec, Travels) {
    const own link(sample_slinktext(), xdr_tbs_cr_slinktext_rec_t);
    element_travels(link.value, golden_slinktext, {xdr_tbs_cr_slinktext_rec_t, xdr__tbs_cr_slinktext_rec_t});
    pointer_travels(link.value, golden_slinktext, xdr_tbs_cr_slinktext_rec_p_t);
}

TEST(XdrTbsCrFsPredef, TravelsAsInFormatSix) {
    const own file(sample_fs_predef(large), xdr_tbs_cr_fs_predef_t);
    element_travels(file.value, golden_wide_fs_predef, {xdr_tbs_cr_fs_predef_t, xdr__tbs_cr_fs_predef_t});
    pointer_travels(file.value, golden_wide_fs_predef, xdr_tbs_cr_fs_predef_p_t);
}

TEST(XdrTbsCrFsPredefV6, TravelsAsInFormatFive) {
    const own file(sample_fs_predef(4096), xdr_tbs_cr_fs_predef_t);
    element_travels(file.value, golden_narrow_fs_predef, {xdr_tbs_cr_fs_predef_v6_t});
}

TEST(XdrTbsCrMfsObjDesc, TravelsAlikeInBothFormatsWhenItsFlagsAreSmall) {
    const own object(sample_mfs_object(), xdr_tbs_cr_mfs_obj_desc_t);
    element_travels(object.value, golden_mfs_object,
                    {xdr_tbs_cr_mfs_obj_desc_t, xdr__tbs_cr_mfs_obj_desc_t, xdr_tbs_cr_mfs_obj_desc_v6_t});
    pointer_travels(object.value, golden_mfs_object, xdr_tbs_cr_mfs_obj_desc_p_t);
}

TEST(XdrTbsCrFsPredef, KeepsAllBitsOfTheFlagsAndOfTheSize) {
    tbs_cr_fs_predef_t file = {}, back = {};
    file.result_obj_flags = 0x89abcdef;
    file.size = INT64_MIN + 1;
    const bytes golden = coded("00000000 00000000 89abcdef 00000000 00000000 80000000 00000001") + bytes(12, 0);
    EXPECT_EQ(encode(stream_kind::memory, as_proc(xdr_tbs_cr_fs_predef_t), &file), golden);
    ASSERT_TRUE(decode(stream_kind::memory, golden, as_proc(xdr_tbs_cr_fs_predef_t), &back));
    EXPECT_EQ(back.result_obj_flags, 0x89abcdefu);
    EXPECT_EQ(back.size, INT64_MIN + 1);
}

TEST(XdrTbsCrFsPredefV6, NarrowsTheFlagsAndTheSize) {
    const xdrproc_t routine = as_proc(xdr_tbs_cr_fs_predef_v6_t);
    tbs_cr_fs_predef_t file = {}, back = {};
    file.result_obj_flags = 0x89abcdef;
    file.size = INT32_MIN;
    const bytes golden = coded("00000000 00000000 0000cdef 00000000 00000000 80000000") + bytes(12, 0);
    EXPECT_EQ(encode(stream_kind::memory, routine, &file), golden);
    ASSERT_TRUE(decode(stream_kind::memory, golden, routine, &back));
    EXPECT_EQ(back.result_obj_flags, 0xcdefu);
    EXPECT_EQ(back.size, INT32_MIN);
    // Of the size too only the low half travels.
    for (const int64_t size : {large, int64_t{0xF} << 32 | 0x3456789A, int64_t{0x3456789A}}) {
        file.size = size;
        const bytes low = coded("00000000 00000000 0000cdef 00000000 00000000 3456789a") + bytes(12, 0);
        for (const stream_kind kind : all_stream_kinds) EXPECT_EQ(encode(kind, routine, &file), low) << size;
    }
}

TEST(XdrTbsCrMfsObjDescV6, NarrowsTheFlags) {
    tbs_cr_mfs_obj_desc_t object = {}, back = {};
    object.result_obj_flags = 0x89abcdef;
    const bytes wide = bytes(40, 0) + coded("89abcdef") + bytes(32, 0);
    const bytes narrow = bytes(40, 0) + coded("0000cdef") + bytes(32, 0);
    EXPECT_EQ(encode(stream_kind::memory, as_proc(xdr_tbs_cr_mfs_obj_desc_t), &object), wide);
    EXPECT_EQ(encode(stream_kind::memory, as_proc(xdr_tbs_cr_mfs_obj_desc_v6_t), &object), narrow);
    // Of a unit that holds more, the low half is taken.
    ASSERT_TRUE(decode(stream_kind::memory, wide, as_proc(xdr_tbs_cr_mfs_obj_desc_v6_t), &back));
    EXPECT_EQ(back.result_obj_flags, 0xcdefu);
}

TEST(XdrTbsCrScalars, TravelInOneUnit) {
    tbs_cr_flags_t flags = 0x01020304;
    tbs_cr_obj_flags_t obj_flags = 0xfffefdfc;
    tbs_cr_ftype_t ftype = 0xa7;
    tbs_cr_mtype_t mtype = 0x7a;
    tbs_cr_dep_hash_t hash = {0x01020304, 0xfffefdfc};
    element_travels(flags, "01020304", {xdr_tbs_cr_flags_t});
    element_travels(obj_flags, "fffefdfc", {xdr_tbs_cr_obj_flags_t});
    element_travels(ftype, "000000a7", {xdr_tbs_cr_ftype_t});
    element_travels(mtype, "0000007a", {xdr_tbs_cr_mtype_t});
    element_travels(hash, "01020304 fffefdfc", {xdr_tbs_cr_dep_hash_t});
    for (const auto routine : {xdr_tbs_cr_ftype_t, xdr_tbs_cr_mtype_t}) {
        uint8_t kind = 0;
        EXPECT_TRUE(decode(stream_kind::memory, {1, 2, 3, 4}, as_proc(routine), &kind));
        EXPECT_EQ(kind, 4);
    }
}

// ---- another reader and writer of the same layouts

template <class T> void agrees(const bytes &golden, routine_of<T> routine) {
    T witness{};
    ASSERT_TRUE(decode(stream_kind::memory, golden, as_proc(routine), &witness));
    EXPECT_EQ(encode(stream_kind::memory, as_proc(routine), &witness), golden);
    xdr_free(as_proc(routine), reinterpret_cast<char *>(&witness));
}

TEST(TbsCrLayouts, AreThoseOfTheWitness) {
    agrees(golden_narrow(), xdr_peer_cr_narrow);
    agrees(golden_wide(), xdr_peer_cr_wide);
    agrees(coded(golden_mfs_predef), xdr_peer_cr_mfs_predef);
    agrees(coded(golden_narrow_fs_predef), xdr_peer_cr_narrow_fs_predef);
    agrees(coded(golden_wide_fs_predef), xdr_peer_cr_wide_fs_predef);
    agrees(coded(golden_vob), xdr_peer_cr_vob);
    agrees(coded(golden_mfs_object), xdr_peer_cr_mfs_object);
    agrees(coded(golden_slinktext), xdr_peer_cr_slinktext);
    agrees(coded("00000001 00000005 00000005 'gauge' 000000"), xdr_peer_cr_compressed);
    peer_cr_wide witness{};
    ASSERT_TRUE(decode(stream_kind::memory, golden_wide(), as_proc(xdr_peer_cr_wide), &witness));
    EXPECT_EQ(witness.format_version, 6);
    EXPECT_STREQ(witness.head.command, "cc -c gauge.c");
    EXPECT_EQ(witness.fs_predefs.fs_predefs_val[0].size, large);
    EXPECT_STREQ(witness.tail.slinktexts.slinktexts_val[0].text, "../gauge.h");
    xdr_free(as_proc(xdr_peer_cr_wide), reinterpret_cast<char *>(&witness));
}

// ---- the compressed record on the wire

const xdrproc_t compressed_routine = as_proc(xdr_tbs_cr_compressed_t);

TEST(XdrTbsCrCompressed, TravelsWithItsLengthTwice) {
    for (const char *data : {"", "g", "gaug", "gauge"}) {
        const size_t length = std::strlen(data);
        const bytes golden = word(1) + word(static_cast<uint32_t>(length)) + word(static_cast<uint32_t>(length)) +
                             bytes(data, data + length) + bytes((4 - length % 4) % 4, 0);
        tbs_cr_compressed_t value = {1, length, reinterpret_cast<uint8_t *>(const_cast<char *>(data))};
        for (const stream_kind kind : all_stream_kinds) {
            SCOPED_TRACE(name_of(kind));
            tbs_cr_compressed_t back = {};
            EXPECT_EQ(encode(kind, compressed_routine, &value), golden);
            ASSERT_TRUE(decode(kind, golden, compressed_routine, &back));
            EXPECT_EQ(back.format_version, 1);
            ASSERT_EQ(back.length, length);
            EXPECT_EQ(std::string(data), std::string(back.data, back.data + length));
            xdr_ez_free(compressed_routine, reinterpret_cast<char *>(&back));
            EXPECT_EQ(back.data, nullptr);
            EXPECT_EQ(back.length, 0u);
        }
        refuses_each_prefix<tbs_cr_compressed_t>(golden, compressed_routine);
    }
}

TEST(XdrTbsCrCompressed, TravelsWhenItIsLong) {
    bytes data(100'001);
    for (size_t i = 0; i < data.size(); i++) data[i] = static_cast<uint8_t>(i * 31 >> 3);
    const bytes golden = word(1) + word(100'001) + word(100'001) + data + bytes(3, 0);
    tbs_cr_compressed_t value = {1, data.size(), data.data()};
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        EXPECT_TRUE(encode(kind, compressed_routine, &value) == golden);
        tbs_cr_compressed_t back = {};
        const memory_meter meter;
        ASSERT_TRUE(decode(kind, golden, compressed_routine, &back));
        EXPECT_LE(meter.peak(), allowed(golden.size()));
        EXPECT_TRUE(bytes(back.data, back.data + back.length) == data);
        xdr_ez_free(compressed_routine, reinterpret_cast<char *>(&back));
    }
}

TEST(XdrTbsCrCompressed, TravelsWithAnyFormatVersion) {
    uint8_t data[] = {7};
    tbs_cr_compressed_t value = {-2, 1, data}, back = {};
    const bytes golden = coded("fffffffe 00000001 00000001 07000000");
    EXPECT_EQ(encode(stream_kind::memory, compressed_routine, &value), golden);
    ASSERT_TRUE(decode(stream_kind::memory, golden, compressed_routine, &back));
    EXPECT_EQ(back.format_version, -2);
    xdr_ez_free(compressed_routine, reinterpret_cast<char *>(&back));
}

TEST(XdrTbsCrCompressed, RefusesUnequalAndHostileLengths) {
    for (const stream_kind kind : all_stream_kinds) {
        for (const auto &[length, again] : {std::pair{4u, 5u}, {5u, 4u}, {0u, 4u}, {4u, 0u}}) {
            tbs_cr_compressed_t back = {};
            EXPECT_FALSE(decode(kind, word(1) + word(length) + word(again) + bytes(8, 1), compressed_routine, &back));
            xdr_ez_free(compressed_routine, reinterpret_cast<char *>(&back));
        }
        for (const uint32_t length : hostile_counts) {
            for (const size_t more : {0, 1, 5000}) {
                const bytes from = word(1) + word(length) + word(length) + bytes(more, 1);
                tbs_cr_compressed_t back = {};
                const memory_meter meter;
                EXPECT_FALSE(decode(kind, from, compressed_routine, &back)) << name_of(kind);
                EXPECT_LE(meter.peak(), allowed(from.size())) << name_of(kind);
                xdr_ez_free(compressed_routine, reinterpret_cast<char *>(&back));
            }
        }
    }
}

TEST(XdrTbsCrCompressed, RefusesToSendWhatIsNotThereOrTooLong) {
    uint8_t data[] = {7};
    tbs_cr_compressed_t missing = {1, 1, nullptr}, empty = {1, 0, nullptr}, too_long = {1, uint64_t{1} << 32, data};
    for (const stream_kind kind : all_stream_kinds) {
        EXPECT_FALSE(encode(kind, compressed_routine, &missing));
        EXPECT_FALSE(encode(kind, compressed_routine, &too_long));
        EXPECT_EQ(encode(kind, compressed_routine, &empty), coded("00000001 00000000 00000000"));
    }
}

TEST(XdrTbsCrCompressed, SurvivesEveryRefusedAllocation) {
    const bytes golden = word(1) + word(10'000) + word(10'000) + bytes(10'000, 0x5a);
    const recording_sink printed;
    for (const stream_kind kind : {stream_kind::memory, stream_kind::unaligned}) {
        const auto refused = faults::each_allocation([&](int, bool) {
            tbs_cr_compressed_t back = {};
            const bool received = decode(kind, golden, compressed_routine, &back);
            const faults::suspend unrefused;
            EXPECT_EQ(received, back.length == 10'000);
            xdr_ez_free(compressed_routine, reinterpret_cast<char *>(&back));
        });
        EXPECT_GE(refused, 1);
    }
}

// ---- the compressed form

struct owned_compressed {
    tbs_cr_compressed_t *value = nullptr;
    owned_compressed() = default;
    owned_compressed(const owned_compressed &) = delete;
    owned_compressed &operator=(const owned_compressed &) = delete;
    ~owned_compressed() { tbs_cr_free_compressed_stg(value); }
};

// A frame of these bytes, whatever they are.
bytes frame_of(const bytes &content) {
    size_t size = 0;
    void *made = compress_compress(content.data(), content.size(), &size);
    const auto *first_byte = static_cast<const uint8_t *>(made);
    bytes frame(first_byte, first_byte + size);
    stg_free(made);
    return frame;
}

// Its status; the record is released.
tbs_status_t expanded(bytes data) {
    held back;
    const tbs_cr_compressed_t from = {1, data.size(), data.data()};
    return tbs_cr_compressed_to_cr(&from, &back.cr);
}

TEST(TbsCrToCompressed, IsUndoneByTbsCrCompressedToCr) {
    for (const int64_t size : {int64_t{4096}, large}) {
        sample of(size);
        owned_compressed made;
        ASSERT_EQ(tbs_cr_to_compressed(&of.cr, &made.value), 0);
        EXPECT_EQ(made.value->format_version, TBS_CR_COMPRESSED_CURR_FORMAT);
        EXPECT_EQ(of.cr.format_version, size == large ? 6 : 5);
        held back;
        ASSERT_EQ(tbs_cr_compressed_to_cr(made.value, &back.cr), 0);
        EXPECT_EQ(shown(back.cr), shown(of.cr));
        EXPECT_EQ(back.cr.fs_predefs[0]->size, size);
    }
}

TEST(TbsCrToCompressed, HoldsOneFrameOfTheEncodedRecord) {
    sample of;
    owned_compressed made;
    ASSERT_EQ(tbs_cr_to_compressed(&of.cr, &made.value), 0);
    size_t size = 0;
    void *content = compress_uncompress(made.value->data, made.value->length, &size);
    ASSERT_NE(content, nullptr);
    const auto *start = static_cast<const uint8_t *>(content);
    EXPECT_EQ(bytes(start, start + size), golden_narrow());
    stg_free(content);
}

TEST(TbsCrToCompressed, TakesARecordOfNothingAndALongOne) {
    held empty;
    owned_compressed made;
    ASSERT_EQ(tbs_cr_to_compressed(&empty.cr, &made.value), 0);
    held back;
    ASSERT_EQ(tbs_cr_compressed_to_cr(made.value, &back.cr), 0);
    EXPECT_EQ(shown(back.cr), shown(empty.cr));

    std::vector<std::string> names;
    for (int i = 0; i < 20'000; i++) names.push_back("NAME" + std::to_string(i * 7919) + "=value");
    held of;
    of.cr.variable_count = 20'000;
    of.cr.variables = texts(names);
    owned_compressed long_one;
    ASSERT_EQ(tbs_cr_to_compressed(&of.cr, &long_one.value), 0);
    held long_back;
    ASSERT_EQ(tbs_cr_compressed_to_cr(long_one.value, &long_back.cr), 0);
    EXPECT_TRUE(shown(long_back.cr) == shown(of.cr));
}

TEST(TbsCrToCompressed, TakesRecordsThatAreAllAlike) {
    held of;
    of.cr.option_count = 50'000;
    of.cr.options = texts(std::vector<std::string>(50'000, "-k"));
    owned_compressed made;
    ASSERT_EQ(tbs_cr_to_compressed(&of.cr, &made.value), 0);
    held back;
    EXPECT_EQ(tbs_cr_compressed_to_cr(made.value, &back.cr), 0) << made.value->length;
    EXPECT_EQ(back.cr.option_count, 50'000u);

    held even;
    const std::string command(COMPRESS_MOST_FROM_LITTLE, 'x');
    even.cr.command = text(command.c_str());
    owned_compressed even_made;
    ASSERT_EQ(tbs_cr_to_compressed(&even.cr, &even_made.value), 0);
    held even_back;
    ASSERT_EQ(tbs_cr_compressed_to_cr(even_made.value, &even_back.cr), 0) << even_made.value->length;
    EXPECT_TRUE(even_back.cr.command == command);
}

TEST(TbsCrToCompressed, RefusesNulls) {
    sample of;
    owned_compressed made;
    EXPECT_EQ(tbs_cr_to_compressed(nullptr, &made.value), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_cr_to_compressed(&of.cr, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(made.value, nullptr);
}

TEST(TbsCrToCompressed, LeavesTheResultAloneOnEveryRefusedAllocation) {
    const recording_sink printed;
    sample of;
    const auto refused = faults::each_allocation([&](int n, bool) {
        tbs_cr_compressed_t untouched = {}, *made = &untouched;
        const tbs_status_t status = tbs_cr_to_compressed(&of.cr, &made);
        const faults::suspend unrefused;
        if (status == 0) {
            EXPECT_EQ(expanded(bytes(made->data, made->data + made->length)), 0);
            tbs_cr_free_compressed_stg(made);
        } else {
            EXPECT_EQ(status, n == 1 ? TBS_ST_ENOMEM : TBS_ST_ERROR) << n; // the first is the stream's
            EXPECT_EQ(made, &untouched);
        }
    });
    EXPECT_GE(refused, 3); // the encoding, the record, the frame
}

// A record of 0xA5 in each byte, which nothing but a clearing makes fit to be released.
tbs_cr_t unclear() {
    tbs_cr_t cr;
    std::memset(static_cast<void *>(&cr), 0xA5, sizeof cr);
    return cr;
}

TEST(TbsCrCompressedToCr, OverwritesWhatTheRecordHeld) {
    const bytes data = frame_of(golden_wide());
    const tbs_cr_compressed_t from = {1, data.size(), const_cast<uint8_t *>(data.data())};
    tbs_cr_t cr = unclear();
    ASSERT_EQ(tbs_cr_compressed_to_cr(&from, &cr), 0);
    EXPECT_EQ(sent(cr), golden_wide());
    tbs_cr_free_cr_xdr(&cr);
}

TEST(TbsCrCompressedToCr, LeavesTheRecordAloneUntilTheDataIsWhole) {
    for (const bytes &data : {bytes{}, bytes{0x28}, first(frame_of(golden_narrow()), 40), bytes(100, 0x5A)}) {
        const tbs_cr_compressed_t from = {1, data.size(), const_cast<uint8_t *>(data.data())};
        const tbs_cr_t before = unclear();
        tbs_cr_t cr = before;
        EXPECT_EQ(tbs_cr_compressed_to_cr(&from, &cr), TBS_ST_ERROR);
        EXPECT_EQ(std::memcmp(&cr, &before, sizeof cr), 0) << data.size() << " bytes";
    }
}

TEST(TbsCrCompressedToCr, LeavesARecordThatCanBeReleasedOnceItIsBegun) {
    for (const bytes &content : {bytes{}, first(golden_narrow(), 3), first(golden_narrow(), 200), empty_record(4)}) {
        const bytes data = frame_of(content);
        const tbs_cr_compressed_t from = {1, data.size(), const_cast<uint8_t *>(data.data())};
        tbs_cr_t cr = unclear();
        EXPECT_EQ(tbs_cr_compressed_to_cr(&from, &cr), TBS_ST_ERROR);
        ASSERT_NE(cr.slinktext_count, 0xA5A5A5A5) << content.size() << " bytes";
        tbs_cr_free_cr_xdr(&cr);
        EXPECT_EQ(cr.slinktexts, nullptr);
    }
}

TEST(TbsCrCompressedToCr, RefusesDamagedCutAndForeignData) {
    const bytes whole = frame_of(golden_narrow());
    ASSERT_EQ(expanded(whole), 0);
    for (size_t length = 0; length < whole.size(); length++) {
        EXPECT_EQ(expanded(first(whole, length)), TBS_ST_ERROR) << length;
    }
    EXPECT_EQ(expanded(whole + bytes{0}), TBS_ST_ERROR);
    EXPECT_EQ(expanded(whole + whole), TBS_ST_ERROR);
    EXPECT_EQ(expanded(golden_narrow()), TBS_ST_ERROR);
    EXPECT_EQ(expanded(frame_of(whole)), TBS_ST_ERROR);
    EXPECT_EQ(expanded(bytes(1000, 0xA5)), TBS_ST_ERROR);
    for (size_t bit = 0; bit < whole.size() * 8; bit++) {
        bytes flipped = whole;
        flipped[bit / 8] ^= static_cast<uint8_t>(1u << bit % 8);
        const tbs_status_t status = expanded(flipped);
        EXPECT_TRUE(status == 0 || status == TBS_ST_ERROR) << bit << ": " << status;
    }
}

TEST(TbsCrCompressedToCr, RefusesFramesOfWhatIsNoRecord) {
    const bytes record = golden_wide();
    for (size_t length = 0; length < record.size(); length++) {
        EXPECT_EQ(expanded(frame_of(first(record, length))), TBS_ST_ERROR) << length;
    }
    for (const uint32_t format : {4u, 7u, 0u}) EXPECT_EQ(expanded(frame_of(empty_record(format))), TBS_ST_ERROR);
    EXPECT_EQ(expanded(frame_of(empty_record(5))), 0);
    EXPECT_EQ(expanded(frame_of(empty_head(5) + word(0xffffffff) + word(0xffffffff))), TBS_ST_ERROR);
}

TEST(TbsCrCompressedToCr, RefusesABombInBoundedMemory) {
    // 1 GiB of zeros in blocks of 128 KiB, each of four bytes.
    bytes bomb = coded("28b52ffd 0038");
    for (int i = 0; i < 8192; i++)
        bomb = std::move(bomb) + bytes{static_cast<uint8_t>(i == 8191 ? 3 : 2), 0, 0x10, 0};
    const bytes small = first(bomb, 1024);
    for (const bytes &data : {small, bomb}) {
        const tbs_cr_compressed_t from = {1, data.size(), const_cast<uint8_t *>(data.data())};
        held back;
        const memory_meter meter;
        EXPECT_EQ(tbs_cr_compressed_to_cr(&from, &back.cr), TBS_ST_ERROR);
        EXPECT_LE(meter.peak(), 2 * std::max<size_t>(COMPRESS_MOST_FROM_LITTLE, 1000 * data.size()) + (4u << 20));
    }
}

TEST(TbsCrCompressedToCr, RefusesNulls) {
    const bytes data = frame_of(golden_wide());
    const tbs_cr_compressed_t from = {1, data.size(), const_cast<uint8_t *>(data.data())};
    const tbs_cr_compressed_t nothing = {1, 10, nullptr}, empty = {1, 0, nullptr};
    held back;
    EXPECT_EQ(tbs_cr_compressed_to_cr(nullptr, &back.cr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_cr_compressed_to_cr(&from, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_cr_compressed_to_cr(&nothing, &back.cr), TBS_ST_ERROR);
    EXPECT_EQ(tbs_cr_compressed_to_cr(&empty, &back.cr), TBS_ST_ERROR);
}

TEST(TbsCrCompressedToCrDeathTest, EndsTheProcessForAnotherFormat) {
    const bytes data = frame_of(golden_wide());
    for (const int32_t format : {2, 0, -1}) {
        const tbs_cr_compressed_t from = {format, data.size(), const_cast<uint8_t *>(data.data())};
        held back;
        EXPECT_DEATH(tbs_cr_compressed_to_cr(&from, &back.cr),
                     HasSubstr("Assertion failed: (ccr_p->format_version == TBS_CR_COMPRESSED_CURR_FORMAT) "
                               "(lib/tbs/tbs_cr:193)"));
    }
}

TEST(TbsCrCompressedToCr, SurvivesEveryRefusedAllocation) {
    const recording_sink printed;
    const bytes data = frame_of(golden_wide());
    const tbs_cr_compressed_t from = {1, data.size(), const_cast<uint8_t *>(data.data())};
    const auto refused = faults::each_allocation([&](int n, bool) {
        tbs_cr_t back = {};
        const tbs_status_t status = tbs_cr_compressed_to_cr(&from, &back);
        const faults::suspend unrefused;
        if (status == 0) {
            EXPECT_EQ(sent(back), golden_wide());
        } else {
            EXPECT_EQ(status, TBS_ST_ERROR) << n;
        }
        tbs_cr_free_cr_xdr(&back);
    });
    EXPECT_GE(refused, 28);
}

// ---- a compressed record from a transfer

TEST(TbsCrVxToCrCompressed, CopiesARecord) {
    uint8_t data[] = {1, 2, 3, 4, 5};
    const tbs_cr_compressed_t transfer = {1, sizeof data, data};
    owned_compressed copy;
    ASSERT_EQ(tbs_cr_vx_to_cr_compressed(&transfer, &copy.value), 0);
    EXPECT_EQ(copy.value->format_version, 1);
    ASSERT_EQ(copy.value->length, sizeof data);
    EXPECT_NE(copy.value->data, data);
    EXPECT_EQ(std::memcmp(copy.value->data, data, sizeof data), 0);
    const tbs_cr_compressed_t nothing = {1, 0, nullptr};
    owned_compressed empty;
    ASSERT_EQ(tbs_cr_vx_to_cr_compressed(&nothing, &empty.value), 0);
    EXPECT_EQ(empty.value->length, 0u);
}

TEST(TbsCrVxToCrCompressed, RefusesOtherFormatsAndNulls) {
    uint8_t data[] = {1, 2, 3, 4, 5};
    tbs_cr_compressed_t untouched = {}, *copy = &untouched;
    for (const int32_t format : {2, 0, -1, 5}) {
        const tbs_cr_compressed_t transfer = {format, sizeof data, data};
        EXPECT_EQ(tbs_cr_vx_to_cr_compressed(&transfer, &copy), TBS_ST_ERROR);
    }
    const tbs_cr_compressed_t good = {1, sizeof data, data}, missing = {1, 1, nullptr};
    EXPECT_EQ(tbs_cr_vx_to_cr_compressed(nullptr, &copy), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_cr_vx_to_cr_compressed(&good, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_cr_vx_to_cr_compressed(&missing, &copy), TBS_ST_ERROR);
    EXPECT_EQ(copy, &untouched);
    const auto refused = faults::each_allocation([&](int, bool) {
        copy = &untouched;
        const tbs_status_t status = tbs_cr_vx_to_cr_compressed(&good, &copy);
        const faults::suspend unrefused;
        EXPECT_EQ(status, copy == &untouched ? TBS_ST_ERROR : 0);
        if (copy != &untouched) tbs_cr_free_compressed_stg(copy);
    });
    EXPECT_EQ(refused, 2);
}

// ---- copies

// No pointer of one is one of the other.
void shares_nothing(const tbs_cr_t &one, const tbs_cr_t &other) {
    EXPECT_NE(one.user, other.user);
    EXPECT_NE(one.command, other.command);
    EXPECT_NE(one.variables, other.variables);
    EXPECT_NE(one.variables[1], other.variables[1]);
    EXPECT_NE(one.mfs_predefs[0], other.mfs_predefs[0]);
    EXPECT_NE(one.mfs_predefs[0]->version, other.mfs_predefs[0]->version);
    EXPECT_NE(one.fs_predefs[0]->pathname, other.fs_predefs[0]->pathname);
    EXPECT_NE(one.fs_predefs[0]->checksum, other.fs_predefs[0]->checksum);
    EXPECT_NE(one.options[0], other.options[0]);
    EXPECT_NE(one.vobs[0]->pathname, other.vobs[0]->pathname);
    EXPECT_NE(one.mfs_objects[0]->name, other.mfs_objects[0]->name);
    EXPECT_NE(one.slinktexts[0], other.slinktexts[0]);
    EXPECT_NE(one.slinktexts[0]->text, other.slinktexts[0]->text);
}

TEST(TbsCrCopyCr, CopiesIntoAnAreaAllThatItPointsTo) {
    stg_area_t *area = stg_create_area();
    tbs_cr_t copy;
    std::memset(static_cast<void *>(&copy), 0xA5, sizeof copy);
    std::string before;
    {
        sample of(large);
        of.cr.format_version = 6;
        before = shown(of.cr);
        ASSERT_EQ(tbs_cr_copy_cr(&of.cr, area, &copy), 0);
        EXPECT_EQ(shown(of.cr), before);
        shares_nothing(copy, of.cr);
    }
    EXPECT_EQ(shown(copy), before);
    EXPECT_EQ(sent(copy), golden_wide());
    stg_delete_area(&area);
}

TEST(TbsCrCopyCr, CopiesOntoTheHeap) {
    held copy;
    std::string before;
    {
        sample of;
        before = shown(of.cr);
        ASSERT_EQ(tbs_cr_copy_cr(&of.cr, nullptr, &copy.cr), 0);
        shares_nothing(copy.cr, of.cr);
    }
    EXPECT_EQ(shown(copy.cr), before);
}

TEST(TbsCrCopyCr, KeepsWhatIsMissing) {
    held of, copy;
    of.cr.vob_count = 2;
    of.cr.vobs = static_cast<tbs_cr_vob_desc_t **>(stg_calloc(2, sizeof(void *)));
    of.cr.option_count = 1;
    of.cr.options = static_cast<char **>(stg_calloc(1, sizeof(char *)));
    ASSERT_EQ(tbs_cr_copy_cr(&of.cr, nullptr, &copy.cr), 0);
    EXPECT_EQ(copy.cr.user, nullptr);
    EXPECT_EQ(copy.cr.variables, nullptr);
    ASSERT_EQ(copy.cr.vob_count, 2u);
    EXPECT_EQ(copy.cr.vobs[1], nullptr);
    ASSERT_EQ(copy.cr.option_count, 1u);
    EXPECT_EQ(copy.cr.options[0], nullptr);
}

TEST(TbsCrCopyCr, RefusesNulls) {
    const recording_sink printed;
    sample of;
    tbs_cr_t copy = {};
    EXPECT_EQ(tbs_cr_copy_cr(nullptr, nullptr, &copy), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_cr_copy_cr(&of.cr, nullptr, nullptr), TBS_ST_EINVAL);
    tbs_cr_t without = {};
    without.slinktext_count = 1;
    EXPECT_EQ(tbs_cr_copy_cr(&without, nullptr, &copy), TBS_ST_EINVAL);
    EXPECT_TRUE(printed.empty());
}

TEST(TbsCrCopyCr, ReportsEveryRefusedAllocation) {
    recording_sink printed;
    sample of(large);
    const std::string before = shown(of.cr);
    for (const bool in_area : {false, true}) {
        SCOPED_TRACE(in_area);
        const auto refused = faults::each_allocation([&](int n, bool) {
            stg_area_t *area = nullptr;
            tbs_cr_t copy = {}, untouched = {};
            copy.elapsed = untouched.elapsed = 77;
            {
                const faults::suspend unrefused;
                if (in_area) area = stg_create_area();
                printed.clear();
            }
            const tbs_status_t status = tbs_cr_copy_cr(&of.cr, area, &copy);
            const faults::suspend unrefused;
            if (status == 0) {
                EXPECT_EQ(shown(copy), before);
                EXPECT_TRUE(printed.empty());
                if (!area) tbs_cr_free_cr_xdr(&copy);
            } else {
                EXPECT_EQ(status, TBS_ST_ENOMEM) << n;
                EXPECT_EQ(std::memcmp(&copy, &untouched, sizeof copy), 0) << n;
                const auto messages = printed.messages();
                EXPECT_EQ(messages.size(), 1u);
                if (!messages.empty()) {
                    EXPECT_EQ(messages[0].module, "tbs_cr");
                    EXPECT_EQ(messages[0].severity, 6);
                }
            }
            if (area) stg_delete_area(&area);
        });
        if (in_area) {
            EXPECT_GE(refused, 1); // it takes pieces, into which many fit
        } else {
            EXPECT_EQ(refused, 29); // 17 texts, 7 arrays, 5 objects
        }
    }
    EXPECT_EQ(shown(of.cr), before);
}

// ---- the end of records

TEST(TbsCrFreeCrXdr, ReleasesADecodedRecord) {
    tbs_cr_t back = {};
    ASSERT_TRUE(decode(stream_kind::storage, golden_wide(), record_routine, &back));
    tbs_cr_free_cr_xdr(&back);
    EXPECT_EQ(back.user, nullptr);
    EXPECT_EQ(back.slinktexts, nullptr);
    EXPECT_EQ(back.slinktext_count, 0u);
    tbs_cr_free_cr_xdr(&back);
    tbs_cr_free_cr_xdr(nullptr);
}

TEST(TbsCrFreeCrXdr, NeedsNoMemory) {
    tbs_cr_t back = {};
    ASSERT_TRUE(decode(stream_kind::storage, golden_wide(), record_routine, &back));
    {
        const faults::refuse all(1, true);
        tbs_cr_free_cr_xdr(&back);
    }
    EXPECT_EQ(back.user, nullptr);
}

TEST(TbsCrFreeCrStg, LeavesChecksumsAndSymbolicLinks) {
    sample of; // its end releases what is left of the links
    char *const checksum = of.cr.fs_predefs[0]->checksum;
    tbs_cr_slinktext_rec_t **const links = of.cr.slinktexts;
    tbs_cr_free_cr_stg(&of.cr);
    EXPECT_STREQ(checksum, "8a41");
    stg_free(checksum);
    EXPECT_EQ(of.cr.slinktexts, links);
    ASSERT_EQ(of.cr.slinktext_count, 1u);
    EXPECT_STREQ(of.cr.slinktexts[0]->text, "../gauge.h");
    for (const char *one :
         {of.cr.user, of.cr.group, of.cr.host, of.cr.host_type, of.cr.directory, of.cr.target, of.cr.command}) {
        EXPECT_EQ(one, nullptr);
    }
    EXPECT_EQ(of.cr.variables, nullptr);
    EXPECT_EQ(of.cr.mfs_predefs, nullptr);
    EXPECT_EQ(of.cr.fs_predefs, nullptr);
    EXPECT_EQ(of.cr.options, nullptr);
    EXPECT_EQ(of.cr.vobs, nullptr);
    EXPECT_EQ(of.cr.mfs_objects, nullptr);
    EXPECT_EQ(of.cr.variable_count + of.cr.mfs_predef_count + of.cr.fs_predef_count + of.cr.option_count +
                  of.cr.vob_count + of.cr.mfs_object_count,
              0u);
    tbs_cr_free_cr_stg(&of.cr);
    EXPECT_EQ(of.cr.slinktexts, links);
}

TEST(TbsCrFreeCrStg, TakesMissingObjectsAndNull) {
    tbs_cr_t cr = {};
    cr.fs_predef_count = 2;
    cr.fs_predefs = static_cast<tbs_cr_fs_predef_t **>(stg_calloc(2, sizeof(void *)));
    cr.vob_count = 9; // and no array
    tbs_cr_free_cr_stg(&cr);
    EXPECT_EQ(cr.fs_predefs, nullptr);
    EXPECT_EQ(cr.vob_count, 0u);
    tbs_cr_free_cr_stg(nullptr);
}

TEST(TbsCrFreeCompressedStg, TakesNull) {
    tbs_cr_free_compressed_stg(nullptr);
    auto *empty = static_cast<tbs_cr_compressed_t *>(stg_calloc(1, sizeof(tbs_cr_compressed_t)));
    tbs_cr_free_compressed_stg(empty);
}

// ---- any record

std::string any_text() {
    return *rc::gen::container<std::string>(rc::gen::map(rc::gen::inRange(1, 256), [](int c) { return char(c); }));
}
char *any_owned() { return text(any_text().c_str()); }
tbs_uuid_t any_id() {
    const auto made = *rc::gen::container<std::vector<uint8_t>>(sizeof(tbs_uuid_t), rc::gen::arbitrary<uint8_t>());
    tbs_uuid_t id;
    std::memcpy(&id, made.data(), sizeof id);
    return id;
}
template <class T> T any() { return *rc::gen::arbitrary<T>(); }

template <class T, class F> void any_objects(T **&objects, uint32_t &count, F make) {
    std::vector<T> values(static_cast<size_t>(*rc::gen::inRange(0, 4)));
    for (T &value : values) value = make();
    count = static_cast<uint32_t>(values.size());
    objects = values.empty() ? nullptr : list(values);
}
void any_texts(char **&all, uint32_t &count) {
    std::vector<std::string> values(static_cast<size_t>(*rc::gen::inRange(0, 4)));
    for (std::string &value : values) value = any_text();
    count = static_cast<uint32_t>(values.size());
    all = values.empty() ? nullptr : texts(values);
}

void make_any(tbs_cr_t &cr) {
    cr.build_time = any<int32_t>();
    cr.elapsed = any<uint32_t>();
    cr.exit_status = any<uint32_t>();
    for (char **one : {&cr.user, &cr.group, &cr.host, &cr.host_type, &cr.directory, &cr.target, &cr.command}) {
        *one = any_owned();
    }
    cr.target_oid = any_id();
    cr.view_uuid = any_id();
    cr.began = {any<int32_t>(), any<int32_t>()};
    cr.flags = any<uint32_t>();
    any_texts(cr.variables, cr.variable_count);
    any_texts(cr.options, cr.option_count);
    any_objects(cr.mfs_predefs, cr.mfs_predef_count, [] {
        return tbs_cr_mfs_predef_t{any_owned(), any_owned(), any<uint32_t>()};
    });
    any_objects(cr.fs_predefs, cr.fs_predef_count, [] {
        return tbs_cr_fs_predef_t{
            any_owned(),     any_owned(),    any<uint16_t>(),
            any<uint8_t>(),  any<uint8_t>(), *rc::gen::inRange<int64_t>(-4, 8) * (int64_t{1} << 30),
            any<uint32_t>(), any<int32_t>(), any<int32_t>()};
    });
    any_objects(cr.vobs, cr.vob_count, [] { return tbs_cr_vob_desc_t{any_owned(), any_id(), any_id()}; });
    any_objects(cr.mfs_objects, cr.mfs_object_count, [] {
        return tbs_cr_mfs_obj_desc_t{any_id(),        any<int32_t>(), any_id(),       any<uint16_t>(),
                                     any<uint16_t>(), any<uint8_t>(), any<uint8_t>(), any<uint16_t>(),
                                     any_id(),        any_owned()};
    });
    any_objects(cr.slinktexts, cr.slinktext_count, [] {
        return tbs_cr_slinktext_rec_t{any_owned(), any<uint32_t>()};
    });
}

RC_GTEST_PROP(TbsCrProperties, AnyRecordSurvivesEveryStreamAndTheCompressedForm, ()) {
    held of;
    make_any(of.cr);
    const auto encoded = sent(of.cr);
    RC_ASSERT(encoded.has_value());
    const std::string before = shown(of.cr);
    for (const stream_kind kind : all_stream_kinds) {
        held back;
        RC_ASSERT(encode(kind, record_routine, &of.cr) == encoded);
        RC_ASSERT(decode(kind, *encoded, record_routine, &back.cr));
        RC_ASSERT(shown(back.cr) == before);
    }
    owned_compressed compressed;
    held back, copy;
    RC_ASSERT(tbs_cr_to_compressed(&of.cr, &compressed.value) == 0);
    RC_ASSERT(tbs_cr_compressed_to_cr(compressed.value, &back.cr) == 0);
    RC_ASSERT(shown(back.cr) == before);
    RC_ASSERT(tbs_cr_copy_cr(&back.cr, nullptr, &copy.cr) == 0);
    RC_ASSERT(shown(copy.cr) == before);
}

} // namespace
