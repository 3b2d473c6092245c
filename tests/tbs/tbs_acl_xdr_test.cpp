#include "acl_test_support.hpp"
#include "ezrpc/ezrpc_xdr.h"
#include "support/memory_meter.hpp"
#include "support/xdr_bytes.hpp"
#include "support/xdr_streams.hpp"

#include <rapidcheck/gtest.h>

#include <cstring>
#include <numeric>

extern "C" {
#include <peers/records.h>
}

namespace {

using namespace acl_test;

// ---- bytes

bytes sid_entry(tbs_acl_id_kind_t kind, const credutl_sid_t &value, uint32_t perms) {
    return word(kind) + text("") + text("") + opaque(value) + word(perms);
}

bytes owned_bytes(uint32_t length, void *buffer) {
    const auto *first = static_cast<uint8_t *>(buffer);
    bytes all(first, first + length);
    stg_free(buffer);
    return all;
}

bytes encoded(const sid_ptr &acl) {
    uint32_t length = 0;
    void *buffer = nullptr;
    EXPECT_EQ(tbs_sid_acl_encode(acl.get(), &length, &buffer), 0);
    return owned_bytes(length, buffer);
}
bytes encoded(const classic_ptr &acl) {
    uint32_t length = 0;
    void *buffer = nullptr;
    EXPECT_EQ(tbs_acl_encode(acl.get(), &length, &buffer), 0);
    return owned_bytes(length, buffer);
}

// What decoding gives: a status and an ACL.
template <class Ptr> struct outcome {
    tbs_status_t status;
    Ptr acl;
};
outcome<sid_ptr> decode_sid(const bytes &from) {
    tbs_sid_acl_h_t acl = nullptr;
    const tbs_status_t status = tbs_sid_acl_decode(static_cast<uint32_t>(from.size()), from.data(), &acl);
    return {status, sid_ptr(acl)};
}
outcome<classic_ptr> decode_classic(const bytes &from) {
    tbs_acl_h_t acl = nullptr;
    const tbs_status_t status = tbs_acl_decode(static_cast<uint32_t>(from.size()), from.data(), &acl);
    return {status, classic_ptr(acl)};
}

// What a decoder is given: bytes in memory of their own, so that one that is read too many is seen, at every alignment.
template <class F> void at_every_alignment(const bytes &content, F &&decode) {
    for (size_t shift = 0; shift < 4; shift++) {
        SCOPED_TRACE("shifted by " + std::to_string(shift));
        bytes memory(shift, 0);
        memory.insert(memory.end(), content.begin(), content.end());
        memory.reserve(1);
        decode(static_cast<uint32_t>(content.size()), static_cast<const void *>(memory.data() + shift));
    }
}

// The decoders say that the bytes are damaged at an offset, wherever they lie.
void expect_damage(const bytes &content, const char *decoder, size_t offset);

std::string corrupt(const char *operation, size_t offset) {
    return error(5, std::string(operation) + ": Problem decoding (possibly corrupt) ACL at or around byte offset " +
                        std::to_string(offset) + "\n");
}

// ---- samples

sid_ptr sample_sid() {
    sid_ptr acl = make_sid();
    EXPECT_EQ(set(acl, TBS_ACL_ID_USER, sid(fred), 0x11), 0);
    EXPECT_EQ(tbs_sid_acl_set_entry(acl.get(), sid_id(TBS_ACL_ID_DOMAIN, CREDUTL_SID_NOBODY, "CORP"), 0x22), 0);
    EXPECT_EQ(set(acl, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 0x33), 0);
    EXPECT_EQ(set_role(acl, "admin", 0x44), 0);
    return acl;
}

bytes sample_sid_list() {
    return word(4) + sid_entry(TBS_ACL_ID_USER, sid(fred), 0x11) +
           (word(TBS_ACL_ID_DOMAIN) + text("CORP") + text("") + opaque(CREDUTL_SID_NOBODY) + word(0x22)) +
           sid_entry(TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 0x33) +
           (word(TBS_ACL_ID_ROLE) + text("") + text("admin") + opaque(CREDUTL_SID_NOBODY) + word(0x44));
}

classic_ptr sample_classic() {
    classic_ptr acl = make_classic();
    EXPECT_EQ(set(acl, TBS_ACL_ID_USER, "CORP", "fred", 0x11), 0);
    EXPECT_EQ(set(acl, TBS_ACL_ID_EVERYONE, nullptr, nullptr, 0x22), 0);
    return acl;
}

bytes sample_classic_array() {
    return word(2) + word(2) + (word(TBS_ACL_ID_USER) + text("CORP") + text("fred") + word(0x11)) +
           (word(TBS_ACL_ID_EVERYONE) + text("") + text("") + word(0x22));
}

// Where the items of an encoding begin: a text is a length and characters.
struct item_starts {
    std::vector<size_t> starts;
    size_t at = 0;
    item_starts &item(size_t size) {
        if (size) starts.push_back(at);
        at += size;
        return *this;
    }
    item_starts &words(int count) {
        while (count-- > 0) item(4);
        return *this;
    }
    item_starts &text(size_t length) { return words(1).item(length).item((4 - length % 4) % 4); }
    item_starts &sid() { return item(36); }
    // The start of the item that a prefix of this length cuts off.
    size_t cut(size_t length) const {
        size_t last = 0;
        for (const size_t start : starts) {
            if (start <= length) last = start;
        }
        return last;
    }
};

template <class Routine> xdrproc_t as_proc(Routine routine) { return reinterpret_cast<xdrproc_t>(routine); }

sid_ptr numbered(uint32_t count) {
    sid_ptr acl = make_sid();
    for (uint32_t i = 0; i < count; i++) EXPECT_EQ(set(acl, TBS_ACL_ID_USER, sid(5000 + i), i + 1), 0);
    return acl;
}

// ---- self-contained bytes

TEST(TbsSidAclEncode, GivesTheGoldenBytes) {
    EXPECT_EQ(encoded(sample_sid()), word(1) + word(1) + sample_sid_list());
}

TEST(TbsAclEncode, GivesTheGoldenBytes) { EXPECT_EQ(encoded(sample_classic()), word(1) + sample_classic_array()); }

TEST(TbsAclEncode, WritesAnEmptyAclAsAVersionAndTwoZeroCounts) {
    const bytes empty = word(1) + word(0) + word(0);
    EXPECT_EQ(encoded(make_classic()), empty);
    const auto decoded = decode_classic(empty);
    ASSERT_EQ(decoded.status, 0);
    EXPECT_EQ(tbs_acl_num_entries(decoded.acl.get()), 0u);
}

TEST(TbsSidAclEncode, WritesAnEmptyAclAsAnEmptyList) {
    const bytes empty = word(1) + word(1) + word(0);
    EXPECT_EQ(encoded(make_sid()), empty);
    const auto decoded = decode_sid(empty);
    ASSERT_EQ(decoded.status, 0);
    EXPECT_EQ(tbs_sid_acl_num_entries(decoded.acl.get()), 0u);
    EXPECT_EQ(set(decoded.acl, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 1), 0);
}

TEST(TbsSidAclEncode, SendsEmptyTextsForKindsThatHaveNone) {
    sid_ptr acl = numbered(1);
    tbs_acl_cooked_ent_t &entry = acl->entries->entries[0];
    entry.id.domain = stg_strdup("DOMAIN");
    entry.id.name = stg_strdup("name");
    for (tbs_acl_id_kind_t kind = 0; kind <= 9; kind++) {
        entry.id.kind = kind;
        const bytes expected = word(1) + word(1) + word(1) + word(kind) +
                               text(kind == TBS_ACL_ID_DOMAIN ? "DOMAIN" : "") +
                               text(kind == TBS_ACL_ID_ROLE ? "name" : "") + opaque(entry.id.sid) + word(1);
        EXPECT_EQ(encoded(acl), expected) << kind;
    }
}

TEST(TbsSidAclEncode, SendsNullTextsAsEmptyOnes) {
    sid_ptr acl = make_sid();
    tbs_acl_cooked_info_t plain{1, nullptr};
    tbs_acl_cooked_ent_t entry{sid_id(TBS_ACL_ID_ROLE), 7};
    plain.entries = &entry;
    tbs_sid_acl_h_t made = nullptr;
    ASSERT_EQ(tbs_sid_acl_set_acl(&made, &plain), 0);
    acl.reset(made);
    EXPECT_EQ(encoded(acl), word(1) + word(1) + word(1) + sid_entry(TBS_ACL_ID_ROLE, CREDUTL_SID_NOBODY, 7));
}

// An entry may take 544 or 652 bytes, with 152 beside for all: what is longer is refused like memory that is not there.
TEST(TbsAclEncode, RefusesWhatOutgrowsItsBound) {
    recorder printed;
    constexpr size_t bound = 544 + 152;
    constexpr size_t beside =
        3 * 4 + 4 + 4 + 4 + 4 + 4; // version, counts, kind, two lengths, "DOM" padded, permissions
    const std::string longest(bound - beside, 'n'), longer = longest + "n";
    classic_ptr fits = make_classic(), outgrows = make_classic();
    ASSERT_EQ(set(fits, TBS_ACL_ID_USER, "DOM", longest.c_str(), 1), 0);
    ASSERT_EQ(set(outgrows, TBS_ACL_ID_USER, "DOM", longer.c_str(), 1), 0);
    EXPECT_EQ(encoded(fits).size(), bound);

    uint32_t length = 77;
    void *buffer = &length;
    EXPECT_EQ(tbs_acl_encode(outgrows.get(), &length, &buffer), TBS_ST_ENOMEM);
    EXPECT_EQ(printed.take(), lines{no_memory()});
    EXPECT_EQ(length, 77u);
    EXPECT_EQ(buffer, &length);
}

TEST(TbsSidAclEncode, RefusesWhatOutgrowsItsBound) {
    recorder printed;
    constexpr size_t bound = 652 + 152;
    const std::string longest(bound - (3 * 4 + 4 + 4 + 4 + 36 + 4), 'n'), longer = longest + "n";
    sid_ptr fits = make_sid(), outgrows = make_sid();
    ASSERT_EQ(set_role(fits, longest.c_str(), 1), 0);
    ASSERT_EQ(set_role(outgrows, longer.c_str(), 1), 0);
    EXPECT_EQ(encoded(fits).size(), bound);

    uint32_t length = 77;
    void *buffer = &length;
    EXPECT_EQ(tbs_sid_acl_encode(outgrows.get(), &length, &buffer), TBS_ST_ENOMEM);
    EXPECT_EQ(printed.take(), lines{no_memory()});
    EXPECT_EQ(length, 77u);
}

TEST(TbsSidAclDecode, GivesTheEntriesBack) {
    const sid_ptr acl = sample_sid();
    const auto decoded = decode_sid(encoded(acl));
    ASSERT_EQ(decoded.status, 0);
    EXPECT_EQ(encoded(decoded.acl), encoded(acl));
    const tbs_sid_acl_h_t a = acl.get(), b = decoded.acl.get();
    EXPECT_TRUE(tbs_sid_acl_cmp_acl(&a, &b));
}

TEST(TbsAclDecode, GivesTheEntriesBack) {
    const classic_ptr acl = sample_classic();
    const auto decoded = decode_classic(encoded(acl));
    ASSERT_EQ(decoded.status, 0);
    EXPECT_EQ(encoded(decoded.acl), encoded(acl));
    const tbs_acl_h_t a = acl.get(), b = decoded.acl.get();
    EXPECT_TRUE(tbs_acl_cmp_acl(&a, &b));
}

TEST(TbsSidAclDecode, KeepsEntriesAsTheyCome) {
    const bytes raw = word(1) + word(1) + word(3) +
                      (word(TBS_ACL_ID_USER) + text("D") + text("N") + opaque(sid(fred)) + word(0)) +
                      sid_entry(TBS_ACL_ID_USER, sid(fred), 0xFFFFFFFF) + sid_entry(99, sid(fred), 5);
    recorder printed;
    const auto decoded = decode_sid(raw);
    ASSERT_EQ(decoded.status, 0);
    EXPECT_TRUE(printed.take().empty());
    const std::span entries(decoded.acl->entries->entries, decoded.acl->entries->count);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_STREQ(entries[0].id.domain, "D");
    EXPECT_STREQ(entries[0].id.name, "N");
    EXPECT_EQ(entries[0].perms, 0u);
    EXPECT_EQ(entries[1].perms, 0xFFFFFFFFu);
    EXPECT_EQ(entries[2].id.kind, 99u);
    // Empty texts are the shared one, as in all ACLs.
    EXPECT_EQ(entries[2].id.domain, stg_empty_string);
    // The first of two entries of one identity is the one that is found.
    const tbs_sid_acl_id_t fred_id = sid_id(TBS_ACL_ID_USER, sid(fred));
    EXPECT_EQ(tbs_sid_acl_find_entry(decoded.acl.get(), &fred_id), &entries[0]);
}

TEST(TbsSidAclDecode, GivesAnAclThatCanBeChanged) {
    auto decoded = decode_sid(encoded(numbered(20)));
    ASSERT_EQ(decoded.status, 0);
    for (unsigned i = 0; i < 40; i++) EXPECT_EQ(set(decoded.acl, TBS_ACL_ID_USER, sid(5000 + i), 0x700 + i), 0);
    ASSERT_EQ(tbs_sid_acl_num_entries(decoded.acl.get()), 40u);
    for (unsigned i = 0; i < 40; i++) {
        const tbs_sid_acl_id_t id = sid_id(TBS_ACL_ID_USER, sid(5000 + i));
        const tbs_acl_cooked_ent_t *entry = tbs_sid_acl_find_entry(decoded.acl.get(), &id);
        ASSERT_TRUE(entry);
        EXPECT_EQ(entry->perms, 0x700 + i);
        EXPECT_EQ(tbs_sid_acl_remove_entry(decoded.acl.get(), &id), 0);
    }
    EXPECT_EQ(tbs_sid_acl_num_entries(decoded.acl.get()), 0u);
}

TEST(TbsSidAclDecode, MakesAnEmptyAclOfNoList) {
    const auto decoded = decode_sid(word(1) + word(0));
    ASSERT_EQ(decoded.status, 0);
    EXPECT_EQ(tbs_sid_acl_num_entries(decoded.acl.get()), 0u);
}

TEST(TbsAclDecode, SetsEveryEntry) {
    const bytes twice = word(1) + word(3) + word(3) +
                        (word(TBS_ACL_ID_USER) + text("CORP") + text("fred") + word(1)) +
                        (word(TBS_ACL_ID_EVERYONE) + text("x") + text("y") + word(0xFFFFFFFF)) +
                        (word(TBS_ACL_ID_USER) + text("corp") + text("FRED") + word(6));
    const auto decoded = decode_classic(twice);
    ASSERT_EQ(decoded.status, 0);
    ASSERT_EQ(decoded.acl->count, 2u);
    EXPECT_EQ(decoded.acl->entries[0].perms, 6u);
    EXPECT_EQ(decoded.acl->entries[1].perms, TBS_ACL_STORED_PERMS);
    EXPECT_STREQ(decoded.acl->entries[1].id.name, "");
    EXPECT_EQ(decoded.acl->cooked, nullptr);
}

TEST(TbsAclDecode, GivesTheStatusOfAnEntryThatCannotBeSet) {
    const auto one = [](const bytes &entry) { return word(1) + word(1) + word(1) + entry; };
    struct {
        bytes entry;
        tbs_status_t status;
        std::string message;
    } const cases[] = {
        {word(TBS_ACL_ID_USER) + text("CORP") + text("fred") + word(0), TBS_ST_EINVAL,
         error(11, "Empty permission set.\n")},
        {word(0) + text("") + text("") + word(1), TBS_ST_EINVAL, error(1, "Unrecognized ACL identity type \"0\".\n")},
        {word(TBS_ACL_ID_USER) + text("") + text("fred") + word(1), TBS_ST_ERROR,
         error(4, "ACL identity's domain must not be empty.\n")},
        {word(TBS_ACL_ID_USER) + text("CORP") + text("") + word(1), TBS_ST_ERROR,
         error(5, "ACL identity's name must not be empty.\n")},
    };
    recorder printed;
    for (const auto &[entry, status, message] : cases) {
        const auto decoded = decode_classic(one(entry));
        EXPECT_EQ(decoded.status, status);
        EXPECT_FALSE(decoded.acl);
        const lines all = printed.take();
        ASSERT_EQ(all.size(), 1u) << message;
        EXPECT_EQ(all[0].substr(0, 6), message.substr(0, 6));
    }
}

void expect_damage(const bytes &content, const char *decoder, size_t offset) {
    recorder printed;
    at_every_alignment(content, [&](uint32_t length, const void *first) {
        tbs_sid_acl_h_t by_sid = nullptr;
        tbs_acl_h_t classic = nullptr;
        const bool is_sid = std::strcmp(decoder, "tbs_sid_acl_decode") == 0;
        EXPECT_EQ(is_sid ? tbs_sid_acl_decode(length, first, &by_sid) : tbs_acl_decode(length, first, &classic),
                  TBS_ST_ERROR);
        EXPECT_EQ(by_sid, nullptr);
        EXPECT_EQ(classic, nullptr);
        EXPECT_EQ(printed.take(), lines{corrupt(decoder, offset)});
    });
}

void expect_damage_wherever_it_is_cut(const bytes &whole, const char *decoder, const item_starts &items) {
    ASSERT_EQ(items.at, whole.size());
    for (size_t length = 0; length < whole.size(); length++) {
        SCOPED_TRACE(length);
        expect_damage({whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)}, decoder, items.cut(length));
    }
}

TEST(TbsSidAclDecode, SaysWhereACutOffEncodingEnds) {
    item_starts items;
    items.words(3);
    items.words(1).text(0).text(0).sid().words(1);
    items.words(1).text(4).text(0).sid().words(1);
    items.words(1).text(0).text(0).sid().words(1);
    items.words(1).text(0).text(5).sid().words(1);
    expect_damage_wherever_it_is_cut(encoded(sample_sid()), "tbs_sid_acl_decode", items);
}

TEST(TbsAclDecode, SaysWhereACutOffEncodingEnds) {
    item_starts items;
    items.words(3).words(1).text(4).text(4).words(1).words(1).text(0).text(0).words(1);
    expect_damage_wherever_it_is_cut(encoded(sample_classic()), "tbs_acl_decode", items);
}

// What was read and refused lies before the offset.
TEST(TbsAclDecode, RefusesOtherVersionsAndUnequalCounts) {
    for (const uint32_t version : {0u, 2u, 0x01000000u, 0xFFFFFFFFu}) {
        expect_damage(word(version) + sample_classic_array(), "tbs_acl_decode", 4);
        expect_damage(word(version) + word(1) + sample_sid_list(), "tbs_sid_acl_decode", 4);
    }
    expect_damage(word(1) + word(2) + word(1), "tbs_acl_decode", 12);
    expect_damage(word(1) + word(0xFFFFFFFF) + word(0xFFFFFFFF), "tbs_acl_decode", 12);
}

TEST(TbsAclDecode, RefusesATextWithANulInside) {
    using namespace std::string_view_literals;
    const auto with_domain = [](std::string_view domain) {
        return word(1) + word(1) + word(1) + word(TBS_ACL_ID_USER) + text(domain) + text("fred") + word(1);
    };
    expect_damage(with_domain("CO\0P"sv), "tbs_acl_decode", 24);
    expect_damage(with_domain("CO\0PX"sv), "tbs_acl_decode", 25);
}

TEST(TbsSidAclDecode, IgnoresWhatStandsBehindTheEncoding) {
    EXPECT_EQ(decode_sid(encoded(sample_sid()) + bytes{1, 2, 3}).status, 0);
    EXPECT_EQ(decode_classic(encoded(sample_classic()) + bytes{1, 2, 3}).status, 0);
}

TEST(TbsSidAclDecode, ReadsBytesOfAnyAlignment) {
    const bytes whole = encoded(sample_sid());
    for (size_t shift = 0; shift < 4; shift++) {
        bytes shifted(shift + whole.size());
        std::memcpy(shifted.data() + shift, whole.data(), whole.size());
        tbs_sid_acl_h_t acl = nullptr;
        EXPECT_EQ(tbs_sid_acl_decode(static_cast<uint32_t>(whole.size()), shifted.data() + shift, &acl), 0);
        EXPECT_EQ(encoded(sid_ptr(acl)), whole);
    }
}

// Flips each bit of each byte: whatever comes of it, nothing is lost and nothing is read beyond the end.
template <class Ptr, class Decode> void flip_every_bit(const bytes &whole, Decode decode) {
    recorder printed;
    for (size_t bit = 0; bit < whole.size() * 8; bit++) {
        bytes flipped = whole;
        flipped[bit / 8] ^= static_cast<uint8_t>(1u << bit % 8);
        const outcome<Ptr> result = decode(flipped);
        EXPECT_EQ(result.acl != nullptr, result.status == 0) << bit;
        if (result.acl) encoded(result.acl);
    }
}

TEST(TbsSidAclDecode, SurvivesEveryFlippedBit) { flip_every_bit<sid_ptr>(encoded(sample_sid()), decode_sid); }
TEST(TbsAclDecode, SurvivesEveryFlippedBit) {
    flip_every_bit<classic_ptr>(encoded(sample_classic()), decode_classic);
}

// ---- memory

constexpr uint32_t hostile[] = {0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 1u << 20};

size_t allowed(size_t received) { return 64 * 1024 + 8 * received; }

TEST(TbsSidAclDecode, TakesNoMemoryForMereClaims) {
    recorder printed;
    const bytes some = sid_entry(TBS_ACL_ID_USER, sid(fred), 1);
    for (const uint32_t claim : hostile) {
        for (const bytes &from : {word(1) + word(1) + word(claim), word(1) + word(1) + word(claim) + some + some,
                                  word(1) + word(1) + word(1) + word(7) + word(claim),
                                  word(1) + word(1) + word(1) + word(7) + text("") + word(claim)}) {
            const memory_meter meter;
            EXPECT_EQ(decode_sid(from).status, TBS_ST_ERROR);
            EXPECT_LE(meter.peak(), allowed(from.size()));
        }
        const bytes from = word(1) + word(claim) + word(claim) + (word(4) + text("") + text("") + word(1));
        const memory_meter meter;
        EXPECT_EQ(decode_classic(from).status, TBS_ST_ERROR);
        EXPECT_LE(meter.peak(), allowed(from.size()));
    }
}

TEST(TbsAclDecode, TakesMemoryInProportionToTheBytes) {
    constexpr uint32_t count = 20'000;
    bytes from = word(1) + word(count) + word(count);
    for (uint32_t i = 0; i < count; i++)
        from = std::move(from) + (word(TBS_ACL_ID_ROLE) + text("") + word(4) + word(i | 0x01010101) + word(1));
    const memory_meter meter;
    const auto decoded = decode_classic(from);
    EXPECT_LE(meter.peak(), allowed(from.size()));
    EXPECT_TRUE(decoded.status == 0 || decoded.status == TBS_ST_ERROR || decoded.status == TBS_ST_EINVAL);
}

TEST(TbsSidAclDecode, TakesMemoryInProportionToTheBytes) {
    const bytes from = encoded(numbered(20'000));
    const memory_meter meter;
    EXPECT_EQ(decode_sid(from).status, 0);
    EXPECT_LE(meter.peak(), allowed(from.size()));
}

TEST(TbsAclBytes, EveryAllocationMayFail) {
    recorder printed;
    const bytes sid_whole = encoded(sample_sid()), classic_whole = encoded(sample_classic());
    const sid_ptr acl = sample_sid();
    const classic_ptr named = sample_classic();
    const auto refused = faults::each_allocation([&](int, bool) {
        uint32_t length = 0;
        void *buffer = nullptr;
        tbs_sid_acl_h_t by_sid = nullptr;
        tbs_acl_h_t classic = nullptr;
        const tbs_status_t results[] = {
            tbs_sid_acl_encode(acl.get(), &length, &buffer),
            tbs_sid_acl_decode(static_cast<uint32_t>(sid_whole.size()), sid_whole.data(), &by_sid),
            tbs_acl_decode(static_cast<uint32_t>(classic_whole.size()), classic_whole.data(), &classic),
        };
        const faults::suspend unrefused;
        EXPECT_EQ(buffer != nullptr, results[0] == 0);
        EXPECT_EQ(by_sid != nullptr, results[1] == 0);
        EXPECT_EQ(classic != nullptr, results[2] == 0);
        for (const tbs_status_t status : results) EXPECT_TRUE(status == 0 || status == TBS_ST_ENOMEM) << status;
        for (const std::string &line : printed.take()) EXPECT_EQ(line, no_memory());
        stg_free(buffer);
        tbs_sid_acl_free(&by_sid);
        tbs_acl_free(&classic);
    });
    EXPECT_GT(refused, 10);
}

// ---- handles over streams

TEST(XdrTbsSidAclH, SendsTheSameBytesOnEveryStream) {
    const sid_ptr acl = sample_sid();
    tbs_sid_acl_h_t handle = acl.get();
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_sid_acl_h_t), &handle), word(0) + sample_sid_list());
        tbs_sid_acl_h_t none = nullptr;
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_sid_acl_h_t), &none), word(1));
    }
}

TEST(XdrTbsAclH, SendsTheSameBytesOnEveryStream) {
    const classic_ptr acl = sample_classic();
    tbs_acl_h_t handle = acl.get();
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_acl_h_t), &handle), word(1) + sample_classic_array() + word(0));
        tbs_acl_h_t none = nullptr;
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_acl_h_t), &none), word(0));
    }
}

TEST(XdrTbsSidAclH, IsDecodedFromEveryStream) {
    const bytes whole = word(0) + sample_sid_list();
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        tbs_sid_acl_h_t handle = nullptr;
        ASSERT_TRUE(decode(kind, whole, as_proc(xdr_tbs_sid_acl_h_t), &handle));
        EXPECT_EQ(encoded(sid_ptr(handle)), encoded(sample_sid()));
        handle = reinterpret_cast<tbs_sid_acl_h_t>(8); // overwritten
        ASSERT_TRUE(decode(kind, word(1), as_proc(xdr_tbs_sid_acl_h_t), &handle));
        EXPECT_EQ(handle, nullptr);
    }
}

TEST(XdrTbsAclH, IsDecodedFromEveryStream) {
    const bytes array = word(1) + sample_classic_array();
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        for (const bytes &tail : {word(0), word(1) + word('x'), word(9) + word(0)}) {
            tbs_acl_h_t handle = nullptr;
            ASSERT_TRUE(decode(kind, array + tail, as_proc(xdr_tbs_acl_h_t), &handle));
            EXPECT_EQ(encoded(classic_ptr(handle)), encoded(sample_classic()));
        }
        tbs_acl_h_t handle = reinterpret_cast<tbs_acl_h_t>(8); // overwritten
        ASSERT_TRUE(decode(kind, word(0), as_proc(xdr_tbs_acl_h_t), &handle));
        EXPECT_EQ(handle, nullptr);
    }
}

TEST(XdrTbsAclH, RefusesAnEntryThatCannotBeSet) {
    recorder printed;
    tbs_acl_h_t handle = nullptr;
    const bytes bad =
        word(1) + word(1) + word(1) + (word(TBS_ACL_ID_EVERYONE) + text("") + text("") + word(0)) + word(0);
    EXPECT_FALSE(decode(stream_kind::memory, bad, as_proc(xdr_tbs_acl_h_t), &handle));
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(printed.take(), lines{error(11, "Empty permission set.\n")});
}

TEST(XdrTbsAclH, PassesOverAByteBehindTheEntries) {
    const bytes entry = word(TBS_ACL_ID_EVERYONE) + text("") + text("") + word(5);
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        tbs_acl_h_t handle = nullptr;
        EXPECT_TRUE(decode(kind, words({1, 1, 1}) + entry + words({1, 'x'}), as_proc(xdr_tbs_acl_h_t), &handle));
        const classic_ptr owner(handle);
        EXPECT_EQ(tbs_acl_num_entries(handle), 1u);
        EXPECT_FALSE(decode(kind, words({1, 1, 1}) + entry + word(1), as_proc(xdr_tbs_acl_h_t), &handle));
    }
}

TEST(XdrTbsAclH, NeverSendsTheCookedList) {
    const accounts known;
    classic_ptr acl = sample_classic();
    const bytes before = encoded(acl);
    tbs_boolean_t granted = 0;
    credutl_sid_credentials_t sids{sid(fred), CREDUTL_SID_NOBODY, 0, nullptr};
    credutl_client_t *client = nullptr;
    ASSERT_EQ(credutl_client_from_sids("CORP", &sids, &client), 0);
    const client_ptr owner(client);
    ASSERT_EQ(tbs_acl_check_permission(acl.get(), 1, client, 0, 0, &granted), 0);
    ASSERT_TRUE(acl->cooked);
    EXPECT_EQ(encoded(acl), before);
    tbs_acl_h_t handle = acl.get();
    EXPECT_EQ(encode(stream_kind::memory, as_proc(xdr_tbs_acl_h_t), &handle),
              word(1) + sample_classic_array() + word(0));
}

TEST(XdrHandles, EveryPrefixIsRefusedAndOneFreePassReleasesIt) {
    recorder printed;
    const bytes by_sid = word(0) + sample_sid_list(), classic = word(1) + sample_classic_array() + word(0);
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        for (size_t length = 0; length < by_sid.size(); length++) {
            tbs_sid_acl_h_t handle = nullptr;
            EXPECT_FALSE(decode(kind, first(by_sid, length), as_proc(xdr_tbs_sid_acl_h_t), &handle)) << length;
            xdr_ez_free(as_proc(xdr_tbs_sid_acl_h_t), &handle);
            EXPECT_EQ(handle, nullptr);
        }
        for (size_t length = 0; length < classic.size(); length++) {
            tbs_acl_h_t handle = nullptr;
            EXPECT_FALSE(decode(kind, first(classic, length), as_proc(xdr_tbs_acl_h_t), &handle)) << length;
            xdr_ez_free(as_proc(xdr_tbs_acl_h_t), &handle);
            EXPECT_EQ(handle, nullptr);
        }
    }
    EXPECT_TRUE(printed.take().empty());
}

TEST(XdrHandles, EveryAllocationMayFail) {
    recorder printed;
    const bytes by_sid = word(0) + sample_sid_list(), classic = word(1) + sample_classic_array() + word(0);
    for (const stream_kind kind : {stream_kind::memory, stream_kind::record}) {
        const int refused = faults::each_allocation([&](int, bool) {
            tbs_sid_acl_h_t a = nullptr;
            tbs_acl_h_t b = nullptr;
            decode(kind, by_sid, as_proc(xdr_tbs_sid_acl_h_t), &a);
            decode(kind, classic, as_proc(xdr_tbs_acl_h_t), &b);
            const faults::suspend unrefused;
            xdr_ez_free(as_proc(xdr_tbs_sid_acl_h_t), &a);
            xdr_ez_free(as_proc(xdr_tbs_acl_h_t), &b);
            for (const std::string &line : printed.take()) EXPECT_EQ(line, no_memory());
        });
        EXPECT_GT(refused, 10);
    }
}

TEST(XdrHandles, FreeTouchesNothingOfTheStreamButItsDirection) {
    XDR poison;
    std::memset(static_cast<void *>(&poison), 0xA5, sizeof poison);
    poison.x_op = XDR_FREE;
    tbs_sid_acl_h_t by_sid = sample_sid().release();
    tbs_acl_h_t classic = sample_classic().release();
    EXPECT_TRUE(xdr_tbs_sid_acl_h_t(&poison, &by_sid));
    EXPECT_TRUE(xdr_tbs_acl_h_t(&poison, &classic));
    EXPECT_EQ(by_sid, nullptr);
    EXPECT_EQ(classic, nullptr);
    EXPECT_TRUE(xdr_tbs_sid_acl_h_t(&poison, &by_sid));
    tbs_sid_acl_h_t pieces = sample_sid().release();
    uint32_t cursor = 17;
    EXPECT_TRUE(xdr_tbs_sid_acl_fragment_t(&poison, &pieces, &cursor));
    EXPECT_EQ(pieces, nullptr);
}

// ---- the parts

TEST(XdrTbsAclIdKind, AndPermissionSetsAreOneUnit) {
    for (uint32_t value : {0u, 1u, 7u, 99u, 0x80000000u, 0xFFFFFFFFu}) {
        for (const xdrproc_t routine : {as_proc(xdr_tbs_acl_id_kind_t), as_proc(xdr_tbs_acl_permission_set_t)}) {
            EXPECT_EQ(encode(stream_kind::memory, routine, &value), word(value));
            uint32_t back = ~value;
            EXPECT_TRUE(decode(stream_kind::memory, word(value), routine, &back));
            EXPECT_EQ(back, value);
        }
    }
}

TEST(XdrTbsAclGenericMap, IsFourUnits) {
    tbs_acl_generic_map_t map{1, 2, 3, 0xFFFFFFFF}, back{};
    const bytes golden = word(1) + word(2) + word(3) + word(0xFFFFFFFF);
    for (const stream_kind kind : all_stream_kinds) {
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_acl_generic_map_t), &map), golden);
        EXPECT_TRUE(decode(kind, golden, as_proc(xdr_tbs_acl_generic_map_t), &back));
        EXPECT_EQ(std::memcmp(&map, &back, sizeof map), 0);
    }
}

TEST(XdrTbsAclId, GoesThereAndBack) {
    tbs_acl_id_t id = classic_id(TBS_ACL_ID_USER, "CORP", "fred"), none = classic_id(TBS_ACL_ID_GROUP), back{};
    const bytes golden = word(1) + text("CORP") + text("fred");
    for (const stream_kind kind : all_stream_kinds) {
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_acl_id_t), &id), golden);
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_acl_id_t), &none), word(2) + text("") + text(""));
        ASSERT_TRUE(decode(kind, golden, as_proc(xdr_tbs_acl_id_t), &back));
        EXPECT_EQ(back.kind, 1u);
        EXPECT_STREQ(back.domain, "CORP");
        EXPECT_STREQ(back.name, "fred");
        xdr_ez_free(as_proc(xdr_tbs_acl_id_t), &back);
        EXPECT_EQ(back.domain, nullptr);
        EXPECT_EQ(back.name, nullptr);
    }
}

TEST(XdrTbsAclCookedEnt, GoesThereAndBack) {
    const bytes golden = word(TBS_ACL_ID_ROLE) + text("") + text("admin") + opaque(sid(fred)) + word(3);
    for (const stream_kind kind : all_stream_kinds) {
        tbs_acl_cooked_ent_t back{};
        ASSERT_TRUE(decode(kind, golden, as_proc(xdr_tbs_acl_cooked_ent_t), &back));
        EXPECT_STREQ(back.id.name, "admin");
        EXPECT_EQ(back.perms, 3u);
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_acl_cooked_ent_t), &back), golden);
        xdr_ez_free(as_proc(xdr_tbs_acl_cooked_ent_t), &back);

        tbs_sid_acl_id_t id{};
        ASSERT_TRUE(decode(kind, golden, as_proc(xdr_tbs_sid_acl_id_t), &id));
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_sid_acl_id_t), &id), first(golden, golden.size() - 4));
        xdr_ez_free(as_proc(xdr_tbs_sid_acl_id_t), &id);
    }
}

TEST(XdrTbsAclCookedInfo, GoesThereAndBack) {
    for (const stream_kind kind : all_stream_kinds) {
        tbs_acl_cooked_info_t list{};
        ASSERT_TRUE(decode(kind, sample_sid_list(), as_proc(xdr_tbs_acl_cooked_info_t), &list));
        EXPECT_EQ(list.count, 4u);
        EXPECT_EQ(encode(kind, as_proc(xdr_tbs_acl_cooked_info_t), &list), sample_sid_list());
        xdr_ez_free(as_proc(xdr_tbs_acl_cooked_info_t), &list);
        EXPECT_EQ(list.count, 0u);
        EXPECT_EQ(list.entries, nullptr);
    }
    tbs_acl_cooked_info_t missing{1, nullptr};
    EXPECT_FALSE(encode(stream_kind::memory, as_proc(xdr_tbs_acl_cooked_info_t), &missing));
}

TEST(XdrAclRoutines, RefuseNullsAndUnknownDirections) {
    XDR stream;
    char room[8];
    uint32_t number = 0;
    tbs_sid_acl_h_t handle = nullptr;
    xdrmem_create(&stream, room, sizeof room, XDR_ENCODE);
    EXPECT_FALSE(xdr_tbs_sid_acl_h_t(&stream, nullptr));
    EXPECT_FALSE(xdr_tbs_acl_h_t(&stream, nullptr));
    EXPECT_FALSE(xdr_tbs_acl_id_t(&stream, nullptr));
    EXPECT_FALSE(xdr_tbs_acl_id_kind_t(nullptr, &number));
    EXPECT_FALSE(xdr_tbs_sid_acl_h_t(nullptr, &handle));
    EXPECT_FALSE(xdr_tbs_sid_acl_fragment_t(&stream, &handle, nullptr));
    EXPECT_FALSE(xdr_tbs_sid_acl_fragment_t(nullptr, &handle, &number));
    stream.x_op = static_cast<xdr_op>(3);
    EXPECT_FALSE(xdr_tbs_sid_acl_h_t(&stream, &handle));
    EXPECT_FALSE(xdr_tbs_acl_id_kind_t(&stream, &number));
}

// ---- fragments

struct piece_result {
    bool passed;
    bytes sent;
};

piece_result send_piece(tbs_sid_acl_h_t acl, uint32_t &cursor) {
    std::vector<char> room(16 * 1024);
    XDR stream;
    xdrmem_create(&stream, room.data(), static_cast<u_int>(room.size()), XDR_ENCODE);
    const bool passed = xdr_tbs_sid_acl_fragment_t(&stream, &acl, &cursor);
    return {passed, bytes(room.begin(), room.begin() + XDR_GETPOS(&stream))};
}

bool receive_piece(const bytes &from, tbs_sid_acl_h_t &acl, uint32_t &cursor) {
    XDR stream;
    EXPECT_EQ(xdrstg_create_decode_buf(&stream, from.data(), static_cast<uint32_t>(from.size())), 0);
    return xdr_tbs_sid_acl_fragment_t(&stream, &acl, &cursor);
}

TEST(XdrTbsSidAclFragment, SendsA120EntryAclInThreePieces) {
    const sid_ptr acl = numbered(120);
    uint32_t sending = 0, receiving = 0;
    tbs_sid_acl_h_t received = nullptr;
    const uint32_t pieces[] = {50, 50, 20};
    for (size_t i = 0; i < 3; i++) {
        const uint32_t before = sending;
        const auto [passed, sent] = send_piece(acl.get(), sending);
        ASSERT_TRUE(passed);
        EXPECT_EQ(sent.size(), 12 + 52 * pieces[i]);
        EXPECT_EQ(first(sent, 12), word(0) + word(pieces[i]) + word(120));
        EXPECT_EQ(sending, i == 2 ? 0 : before + pieces[i]);
        ASSERT_TRUE(receive_piece(sent, received, receiving));
        EXPECT_EQ(receiving, sending);
    }
    EXPECT_EQ(encoded(sid_ptr(received)), encoded(acl));
}

TEST(XdrTbsSidAclFragment, SendsAnyNumberOfEntries) {
    for (const uint32_t count : {0u, 1u, 49u, 50u, 51u, 99u, 100u, 101u}) {
        SCOPED_TRACE(count);
        const sid_ptr acl = numbered(count);
        uint32_t sending = 0, receiving = 0, pieces = 0;
        tbs_sid_acl_h_t received = nullptr;
        do {
            const auto [passed, sent] = send_piece(acl.get(), sending);
            ASSERT_TRUE(passed);
            ASSERT_TRUE(receive_piece(sent, received, receiving));
            pieces++;
        } while (sending != 0);
        EXPECT_EQ(receiving, 0u);
        EXPECT_EQ(pieces, std::max(1u, (count + 49) / 50));
        EXPECT_EQ(encoded(sid_ptr(received)), encoded(acl));
    }
}

TEST(XdrTbsSidAclFragment, SendsNull) {
    uint32_t cursor = 0;
    const auto [passed, sent] = send_piece(nullptr, cursor);
    EXPECT_TRUE(passed);
    EXPECT_EQ(sent, word(1));
    tbs_sid_acl_h_t received = reinterpret_cast<tbs_sid_acl_h_t>(8); // overwritten
    EXPECT_TRUE(receive_piece(sent, received, cursor));
    EXPECT_EQ(received, nullptr);
    EXPECT_EQ(cursor, 0u);
}

TEST(XdrTbsSidAclFragment, RefusesACursorBehindTheEntries) {
    const sid_ptr acl = numbered(3);
    uint32_t cursor = 4;
    EXPECT_FALSE(send_piece(acl.get(), cursor).passed);
    EXPECT_EQ(cursor, 4u);
    cursor = 3;
    EXPECT_TRUE(send_piece(acl.get(), cursor).passed);
    EXPECT_EQ(cursor, 0u);
}

TEST(XdrTbsSidAclFragment, GrowsTheArrayByItsRule) {
    const sid_ptr acl = numbered(120);
    uint32_t sending = 0, receiving = 0;
    tbs_sid_acl_h_t received = nullptr;
    ASSERT_TRUE(receive_piece(send_piece(acl.get(), sending).sent, received, receiving));
    const sid_ptr owner(received);
    const auto capacity = [&] {
        return reinterpret_cast<tbs_acl_array_header_t *>(received->entries->entries)[-1].capacity;
    };
    EXPECT_EQ(capacity(), 50u);
    ASSERT_TRUE(receive_piece(send_piece(acl.get(), sending).sent, received, receiving));
    EXPECT_EQ(capacity(), 101u); // one more than is needed
    ASSERT_TRUE(receive_piece(send_piece(acl.get(), sending).sent, received, receiving));
    EXPECT_EQ(capacity(), 202u); // twice what there was
}

TEST(XdrTbsSidAclFragment, RefusesPiecesThatCannotBe) {
    const bytes entry = sid_entry(TBS_ACL_ID_USER, sid(fred), 1);
    bytes many;
    for (int i = 0; i < 51; i++) many = std::move(many) + entry;
    for (const bytes &bad : {word(0) + word(51) + word(51) + many, word(0) + word(2) + word(1) + entry + entry,
                             word(0) + word(0) + word(1), word(0) + word(1), word(0), bytes{}}) {
        uint32_t cursor = 0;
        tbs_sid_acl_h_t received = nullptr;
        EXPECT_FALSE(receive_piece(bad, received, cursor));
        EXPECT_EQ(cursor, 0u);
        tbs_sid_acl_free(&received);
    }
    // In the middle: NULL, more than are left, a total that has been passed.
    for (const bytes &bad : {word(1), word(0) + word(2) + word(2) + entry + entry, word(0) + word(0) + word(0)}) {
        uint32_t cursor = 0;
        tbs_sid_acl_h_t received = nullptr;
        ASSERT_TRUE(receive_piece(word(0) + word(1) + word(2) + entry, received, cursor));
        EXPECT_EQ(cursor, 1u);
        EXPECT_FALSE(receive_piece(bad, received, cursor));
        EXPECT_EQ(cursor, 1u);
        EXPECT_EQ(tbs_sid_acl_num_entries(received), 1u);
        tbs_sid_acl_free(&received);
    }
}

TEST(XdrTbsSidAclFragment, EveryPrefixIsRefusedAndLeavesTheCursor) {
    const sid_ptr acl = sample_sid();
    uint32_t sending = 0;
    const bytes whole = send_piece(acl.get(), sending).sent;
    for (size_t length = 0; length < whole.size(); length++) {
        uint32_t cursor = 0;
        tbs_sid_acl_h_t received = nullptr;
        EXPECT_FALSE(receive_piece(first(whole, length), received, cursor)) << length;
        EXPECT_EQ(cursor, 0u);
        tbs_sid_acl_free(&received);
    }
}

TEST(XdrTbsSidAclFragment, EveryAllocationMayFail) {
    recorder printed;
    const sid_ptr acl = numbered(60);
    uint32_t sending = 0;
    const bytes one = send_piece(acl.get(), sending).sent, two = send_piece(acl.get(), sending).sent;
    const int refused = faults::each_allocation([&](int, bool) {
        uint32_t cursor = 0;
        tbs_sid_acl_h_t received = nullptr;
        const bool whole = receive_piece(one, received, cursor) && receive_piece(two, received, cursor);
        const faults::suspend unrefused;
        EXPECT_EQ(printed.take(), whole ? lines{} : lines{no_memory()});
        tbs_sid_acl_free(&received);
    });
    EXPECT_GE(refused, 4);
}

// ---- plain forms

TEST(TbsAclPlain, IsACopyWithItsOwnTexts) {
    const classic_ptr acl = sample_classic();
    tbs_acl_t plain{};
    ASSERT_EQ(tbs_acl_get_acl(acl.get(), &plain), 0);
    ASSERT_EQ(plain.count, 2u);
    EXPECT_EQ(plain.cooked, nullptr);
    EXPECT_STREQ(plain.entries[0].id.name, "fred");
    EXPECT_NE(plain.entries[0].id.name, acl->entries[0].id.name);

    tbs_acl_h_t made = nullptr;
    ASSERT_EQ(tbs_acl_set_acl(&made, &plain), 0);
    EXPECT_EQ(reinterpret_cast<tbs_acl_array_header_t *>(made->entries)[-1].capacity, 2u);
    EXPECT_NE(made->entries[0].id.name, plain.entries[0].id.name);
    tbs_acl_h_t original = acl.get();
    EXPECT_TRUE(tbs_acl_cmp_acl(&made, &original));
    EXPECT_EQ(tbs_acl_set_entry(made, classic_id(TBS_ACL_ID_ROLE, nullptr, "r"), 1), 0);
    tbs_acl_free_acl(&made);
    EXPECT_EQ(made, nullptr);
    tbs_acl_free_acl(&made);
    tbs_acl_free_acl(nullptr);

    for (uint64_t i = 0; i < plain.count; i++) tbs_acl_free_id(&plain.entries[i].id);
    stg_free(plain.entries);
}

TEST(TbsAclPlain, IsNeitherCheckedNorMerged) {
    tbs_acl_ent_t entries[] = {{classic_id(77, nullptr, "x"), 0}, {classic_id(77, nullptr, "x"), 0xFFFFFFFF}};
    const tbs_acl_t plain{2, entries, nullptr};
    tbs_acl_h_t made = nullptr;
    ASSERT_EQ(tbs_acl_set_acl(&made, &plain), 0);
    const classic_ptr owner(made);
    ASSERT_EQ(made->count, 2u);
    EXPECT_EQ(made->entries[0].id.kind, 77u);
    EXPECT_EQ(made->entries[0].id.domain, nullptr);
    EXPECT_EQ(made->entries[1].perms, 0xFFFFFFFFu);
    EXPECT_EQ(made->cooked, nullptr);
}

TEST(TbsAclPlain, OfAnEmptyAclIsEmpty) {
    const classic_ptr acl = make_classic();
    tbs_acl_t plain{9, nullptr, nullptr};
    ASSERT_EQ(tbs_acl_get_acl(acl.get(), &plain), 0);
    EXPECT_EQ(plain.count, 0u);
    EXPECT_EQ(plain.entries, nullptr);
    tbs_acl_h_t made = nullptr;
    ASSERT_EQ(tbs_acl_set_acl(&made, &plain), 0);
    EXPECT_EQ(tbs_acl_set_entry(made, classic_id(TBS_ACL_ID_EVERYONE), 1), 0);
    tbs_acl_free_acl(&made);
}

TEST(TbsSidAclPlain, IsACopyWithItsOwnTexts) {
    const sid_ptr acl = sample_sid();
    tbs_acl_cooked_info_t plain{};
    ASSERT_EQ(tbs_sid_acl_get_acl(acl.get(), &plain), 0);
    ASSERT_EQ(plain.count, 4u);
    EXPECT_STREQ(plain.entries[3].id.name, "admin");
    tbs_sid_acl_h_t made = nullptr;
    ASSERT_EQ(tbs_sid_acl_set_acl(&made, &plain), 0);
    EXPECT_EQ(reinterpret_cast<tbs_acl_array_header_t *>(made->entries->entries)[-1].capacity, 4u);
    xdr_ez_free(as_proc(xdr_tbs_acl_cooked_info_t), &plain);
    EXPECT_EQ(encoded(sid_ptr(made)), encoded(acl));
    tbs_sid_acl_h_t none = nullptr;
    tbs_sid_acl_free_acl(&none);
}

TEST(TbsAclPlain, EveryAllocationMayFail) {
    recorder printed;
    const classic_ptr named = sample_classic();
    const sid_ptr by_sid = sample_sid();
    const int refused = faults::each_allocation([&](int, bool) {
        tbs_acl_t plain{};
        tbs_acl_cooked_info_t list{};
        tbs_acl_h_t classic = nullptr;
        tbs_sid_acl_h_t sids = nullptr;
        const tbs_status_t results[] = {
            tbs_acl_get_acl(named.get(), &plain),
            tbs_acl_set_acl(&classic, named.get()),
            tbs_sid_acl_get_acl(by_sid.get(), &list),
            tbs_sid_acl_set_acl(&sids, by_sid->entries),
        };
        const faults::suspend unrefused;
        EXPECT_EQ(classic != nullptr, results[1] == 0);
        EXPECT_EQ(sids != nullptr, results[3] == 0);
        const auto failures = std::count(std::begin(results), std::end(results), TBS_ST_ENOMEM);
        EXPECT_EQ(printed.take(), lines(static_cast<size_t>(failures), no_memory()));
        for (uint64_t i = 0; i < plain.count; i++) tbs_acl_free_id(&plain.entries[i].id);
        stg_free(plain.entries);
        xdr_ez_free(as_proc(xdr_tbs_acl_cooked_info_t), &list);
        tbs_acl_free_acl(&classic);
        tbs_sid_acl_free_acl(&sids);
    });
    EXPECT_GT(refused, 15);
}

TEST(TbsAclBytes, RefuseNulls) {
    const classic_ptr classic = make_classic();
    const sid_ptr sids = make_sid();
    uint32_t length = 0;
    void *buffer = nullptr;
    tbs_acl_h_t c = nullptr;
    tbs_sid_acl_h_t s = nullptr;
    tbs_acl_t plain{1, nullptr, nullptr};
    tbs_acl_cooked_info_t list{1, nullptr};
    EXPECT_EQ(tbs_acl_encode(nullptr, &length, &buffer), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_encode(classic.get(), nullptr, &buffer), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_encode(classic.get(), &length, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_encode(nullptr, &length, &buffer), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_encode(sids.get(), nullptr, &buffer), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_encode(sids.get(), &length, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_decode(4, nullptr, &c), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_decode(4, "abcd", nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_decode(4, nullptr, &s), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_decode(4, "abcd", nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_get_acl(nullptr, &plain), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_get_acl(classic.get(), nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_set_acl(nullptr, &plain), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_set_acl(&c, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_set_acl(&c, &plain), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_get_acl(nullptr, &list), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_get_acl(sids.get(), nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_set_acl(nullptr, &list), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_set_acl(&s, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_set_acl(&s, &list), TBS_ST_EINVAL);
}

// ---- another pair of eyes: routines that rpcgen makes

template <class T> T decoded_by_peer(const bytes &from, bool_t (*routine)(XDR *, T *)) {
    T value{};
    EXPECT_TRUE(decode(stream_kind::memory, from, as_proc(routine), &value));
    return value;
}

TEST(AclPeers, ReadAndWriteTheSameBytes) {
    const auto agrees = [](const bytes &golden, auto routine, auto value) {
        ASSERT_TRUE(decode(stream_kind::memory, golden, as_proc(routine), &value));
        EXPECT_EQ(encode(stream_kind::memory, as_proc(routine), &value), golden);
        xdr_free(as_proc(routine), &value);
    };
    sid_ptr by_sid = sample_sid();
    classic_ptr classic = sample_classic();
    tbs_sid_acl_h_t sid_handle = by_sid.get();
    tbs_acl_h_t classic_handle = classic.get();
    uint32_t cursor = 0;
    agrees(encoded(by_sid), xdr_peer_sid_acl_bytes, peer_sid_acl_bytes{});
    agrees(encoded(classic), xdr_peer_acl_bytes, peer_acl_bytes{});
    agrees(*encode(stream_kind::memory, as_proc(xdr_tbs_sid_acl_h_t), &sid_handle), xdr_peer_sid_acl_handle,
           peer_sid_acl_handle{});
    agrees(*encode(stream_kind::memory, as_proc(xdr_tbs_acl_h_t), &classic_handle), xdr_peer_acl_handle,
           peer_acl_handle{});
    const sid_ptr fifty = numbered(50);
    const bytes piece = send_piece(fifty.get(), cursor).sent;
    agrees(bytes(piece.begin() + 4, piece.end()), xdr_peer_piece, peer_piece{});
}

// ---- properties

RC_GTEST_PROP(TbsSidAclBytes, AreReadBackWhateverTheEntries, ()) {
    sid_ptr acl = make_sid();
    const auto count = *rc::gen::inRange<unsigned>(0, 200);
    for (unsigned i = 0; i < count; i++) {
        const auto kind = *rc::gen::inRange<uint32_t>(1, 8);
        const std::string name = "n" + std::to_string(*rc::gen::inRange<unsigned>(0, 1000));
        tbs_sid_acl_set_entry(acl.get(), sid_id(kind, sid(1000 + i), name.c_str(), name.c_str()), 1 + i);
    }
    const bytes whole = encoded(acl);
    const auto decoded = decode_sid(whole);
    RC_ASSERT(decoded.status == 0);
    RC_ASSERT(encoded(decoded.acl) == whole);
    const tbs_sid_acl_h_t a = acl.get(), b = decoded.acl.get();
    RC_ASSERT(tbs_sid_acl_cmp_acl(&a, &b));
}

RC_GTEST_PROP(TbsSidAclDecode, GivesEqualBytesForWhateverItAccepts, (const bytes &noise)) {
    const recording_sink quiet;
    const bytes from = word(1) + word(1) + noise;
    const auto decoded = decode_sid(from);
    if (decoded.status) return;
    const bytes again = encoded(decoded.acl);
    const auto twice = decode_sid(again);
    RC_ASSERT(twice.status == 0);
    RC_ASSERT(encoded(twice.acl) == again);
}

// ---- what is decoded into

TEST(XdrTbsAclIdT, ReleasesAfterAFailureWhateverTheObjectHeldBefore) {
    const bytes cut = word(TBS_ACL_ID_ROLE);
    for (size_t size = 0; size <= cut.size(); size++) {
        tbs_acl_id_t id;
        std::memset(static_cast<void *>(&id), 0xAA, sizeof id);
        XDR stream;
        xdrmem_create(&stream, reinterpret_cast<char *>(const_cast<uint8_t *>(cut.data())), static_cast<u_int>(size),
                      XDR_DECODE);
        EXPECT_FALSE(xdr_tbs_acl_id_t(&stream, &id));
        stream.x_op = XDR_FREE;
        EXPECT_TRUE(xdr_tbs_acl_id_t(&stream, &id));
        EXPECT_EQ(id.name, nullptr);
    }
}

} // namespace
