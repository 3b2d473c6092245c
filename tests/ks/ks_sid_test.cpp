#include "ks/ks_cred.h"
#include "ks/ks_errno.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <string>
#include <vector>

namespace {

credutl_sid_t sid(const char *text) {
    credutl_sid_t out{};
    EXPECT_EQ(credutl_str_to_sid(text, &out), 0) << text;
    return out;
}

std::string text_of(const credutl_sid_t &value) {
    char text[CREDUTL_SID_STR_SIZE];
    EXPECT_EQ(credutl_sid_to_str(&value, text, sizeof text), 0);
    return text;
}

TEST(CredutlSid, TextBecomesTheGoldenBytes) {
    const credutl_sid_t expected = {1, 28, {1,    5,    0,    0,    0, 0, 0, 5, // revision, count, authority
                                            21,   0,    0,    0,                // sub-authorities, low byte first
                                            1,    2,    3,    4,                //
                                            0xFF, 0xFF, 0xFF, 0xFF,             //
                                            0,    0,    0,    0,                //
                                            0xE9, 3,    0,    0}};
    const credutl_sid_t read = sid("S-1-5-21-67305985-4294967295-0-1001");
    EXPECT_EQ(std::memcmp(&read, &expected, sizeof read), 0);
    EXPECT_EQ(text_of(expected), "S-1-5-21-67305985-4294967295-0-1001");
}

TEST(CredutlSid, AuthorityIsBigEndianAndOf48Bits) {
    const credutl_sid_t read = sid("S-1-281474976710655-1");
    EXPECT_EQ(std::count(read.value + 2, read.value + 8, 0xFF), 6);
    EXPECT_EQ(text_of(sid("S-1-1108152157446-1")), "S-1-1108152157446-1");
    EXPECT_EQ(sid("S-1-1108152157446-1").value[2], 1);
    EXPECT_EQ(sid("S-1-1108152157446-1").value[7], 6);
}

TEST(CredutlSid, NobodyIsS100) {
    EXPECT_EQ(text_of(CREDUTL_SID_NOBODY), "S-1-0-0");
    const credutl_sid_t read = sid("S-1-0-0");
    EXPECT_TRUE(credutl_sid_eq(&read, &CREDUTL_SID_NOBODY));
}

TEST(CredutlSidIsValid, HoldsForRecordsThatHaveAText) {
    const credutl_sid_t good = sid("S-1-5-21-1-2-3-1001"), shortest = sid("S-1-0-0"),
                        longest = sid("S-1-5-1-2-3-4-5-6");
    EXPECT_EQ(credutl_sid_is_valid(&good), 1);
    EXPECT_EQ(credutl_sid_is_valid(&shortest), 1);
    EXPECT_EQ(credutl_sid_is_valid(&longest), 1);
    EXPECT_EQ(credutl_sid_is_valid(&CREDUTL_SID_NOBODY), 1);
    EXPECT_EQ(credutl_sid_is_valid(nullptr), 0);
    const credutl_sid_t none{};
    EXPECT_EQ(credutl_sid_is_valid(&none), 0);
}

// Any byte of the record may be damaged: the two functions agree on what is left.
TEST(CredutlSidIsValid, AgreesWithTheText) {
    const credutl_sid_t good = sid("S-1-5-21-1-2-3-1001");
    const auto agree = [](const credutl_sid_t &value) {
        char text[CREDUTL_SID_STR_SIZE];
        const bool valid = credutl_sid_is_valid(&value);
        EXPECT_EQ(valid, credutl_sid_to_str(&value, text, sizeof text) == 0);
        return valid;
    };
    constexpr size_t fixed[] = {0, 1, 2, 3}, used = 30; // type, length, revision, count; what the length covers
    for (size_t at = 0; at < sizeof good; at++) {
        for (int wrong = 1; wrong < 256; wrong++) {
            credutl_sid_t damaged = good;
            reinterpret_cast<uint8_t *>(&damaged)[at] ^= static_cast<uint8_t>(wrong);
            const bool must_hold = std::find(std::begin(fixed), std::end(fixed), at) != std::end(fixed) || at >= used;
            EXPECT_EQ(agree(damaged), !must_hold) << at << ' ' << wrong;
        }
    }
}

TEST(CredutlStrToSid, RefusesAllButTheStrictForm) {
    for (const char *text : {"",
                             "S",
                             "S-",
                             "S-1",
                             "S-1-",
                             "S-1-5",
                             "S-1-5-",
                             "S-1--5",
                             "s-1-5-21",
                             "S-2-5-21",
                             "S-01-5-21",
                             "S-1-05-21",
                             "S-1-5-021",
                             "S-1-5-00",
                             "S-1-5-4294967296",
                             "S-1-281474976710656-1",
                             "S-1-5-21 ",
                             " S-1-5-21",
                             "S-1-5-21\n",
                             "S-1-5-+21",
                             "S-1-5--21",
                             "S-1-5-0x15",
                             "S-1-0x5-21",
                             "S-1-5-21-",
                             "S-1-5-1-2-3-4-5-6-7",
                             "S-1-5-99999999999999999999999",
                             "S-1-5-2l",
                             "S-1-5-21-1.5"}) {
        credutl_sid_t out;
        std::memset(&out, 0x5A, sizeof out);
        EXPECT_EQ(credutl_str_to_sid(text, &out), KS_EINVAL) << text;
        EXPECT_EQ(out.type, 0x5A) << text;
        EXPECT_EQ(out.value[31], 0x5A) << text;
    }
}

TEST(CredutlStrToSid, LeavesTheErrorNumberBehind) {
    credutl_sid_t out;
    ks_errno = 0;
    EXPECT_EQ(credutl_str_to_sid(nullptr, &out), KS_EINVAL);
    EXPECT_EQ(ks_errno, KS_EINVAL);
    EXPECT_EQ(credutl_str_to_sid("S-1-5-21", nullptr), KS_EINVAL);
}

TEST(CredutlSidToStr, RefusesRecordsThatAreNoSid) {
    const credutl_sid_t good = sid("S-1-5-21-1");
    char text[CREDUTL_SID_STR_SIZE];
    const auto error_of = [&](auto change) {
        credutl_sid_t bad = good;
        change(bad);
        text[0] = 'x';
        const int error = credutl_sid_to_str(&bad, text, sizeof text);
        EXPECT_STREQ(text, "");
        return error;
    };
    EXPECT_EQ(error_of([](auto &s) { s.type = 0; }), KS_EINVAL);
    EXPECT_EQ(error_of([](auto &s) { s.type = 2; }), KS_EINVAL);
    EXPECT_EQ(error_of([](auto &s) { s.length++; }), KS_EINVAL);
    EXPECT_EQ(error_of([](auto &s) { s.length = 0; }), KS_EINVAL);
    EXPECT_EQ(error_of([](auto &s) { s.value[0] = 2; }), KS_EINVAL);
    EXPECT_EQ(error_of([](auto &s) { s.value[1] = 7, s.length = 36; }), KS_EINVAL);
    EXPECT_EQ(error_of([](auto &s) { s.value[1] = 0, s.length = 8; }), KS_EINVAL);
    EXPECT_EQ(error_of([](auto &s) { s.value[31] = 1; }), KS_EINVAL);
    EXPECT_EQ(error_of([](auto &s) { s = credutl_sid_t{}; }), KS_EINVAL);
    EXPECT_EQ(credutl_sid_to_str(nullptr, text, sizeof text), KS_EINVAL);
    EXPECT_EQ(credutl_sid_to_str(&good, nullptr, 10), KS_EINVAL);
}

TEST(CredutlSidToStr, NeedsRoomForTheTerminator) {
    const credutl_sid_t value = sid("S-1-5-21-1");
    char text[] = "xxxxxxxxxxx";
    EXPECT_EQ(credutl_sid_to_str(&value, text, 10), KS_ENAMETOOLONG);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(text[10], 'x');
    EXPECT_EQ(credutl_sid_to_str(&value, text, 0), KS_ENAMETOOLONG);
    EXPECT_EQ(credutl_sid_to_str(&value, text, 11), 0);
    EXPECT_STREQ(text, "S-1-5-21-1");
}

TEST(CredutlSidToStr, LongestTextFitsTheStatedSize) {
    const std::string longest =
        "S-1-281474976710655-4294967295-4294967295-4294967295-4294967295-4294967295-4294967295";
    EXPECT_LT(longest.size(), size_t{CREDUTL_SID_STR_SIZE});
    EXPECT_EQ(text_of(sid(longest.c_str())), longest);
}

RC_GTEST_PROP(CredutlSid, TextAndRecordAreTwoFormsOfOne, ()) {
    const auto authority = *rc::gen::inRange<uint64_t>(0, uint64_t{1} << 48);
    const auto parts = *rc::gen::resize(
        6, rc::gen::nonEmpty(rc::gen::container<std::vector<uint32_t>>(rc::gen::arbitrary<uint32_t>())));
    RC_PRE(parts.size() <= 6);
    std::string text = "S-1-" + std::to_string(authority);
    for (const uint32_t part : parts) {
        text += '-' + std::to_string(part);
    }
    credutl_sid_t read;
    RC_ASSERT(credutl_str_to_sid(text.c_str(), &read) == 0);
    char back[CREDUTL_SID_STR_SIZE];
    RC_ASSERT(credutl_sid_to_str(&read, back, sizeof back) == 0);
    RC_ASSERT(back == text);
}

TEST(CredutlSidEq, ComparesAllBytes) {
    const credutl_sid_t one = sid("S-1-5-21-1-2-3-1001");
    for (size_t i = 0; i < sizeof one; i++) {
        credutl_sid_t other = one;
        reinterpret_cast<uint8_t *>(&other)[i] ^= 0x80;
        EXPECT_EQ(credutl_sid_eq(&one, &other), 0) << i;
        EXPECT_NE(credutl_sid_hash(&one), credutl_sid_hash(&other)) << i;
    }
    const credutl_sid_t same = one;
    EXPECT_EQ(credutl_sid_eq(&one, &same), 1);
    EXPECT_EQ(credutl_sid_hash(&one), credutl_sid_hash(&same));
    EXPECT_EQ(credutl_sid_eq(nullptr, &one), 0);
    EXPECT_EQ(credutl_sid_eq(&one, nullptr), 0);
    EXPECT_EQ(credutl_sid_eq(nullptr, nullptr), 0);
    EXPECT_EQ(credutl_sid_hash(nullptr), 0u);
}

// 65,536 neighbours thrown into as many buckets: with a fair hash the fullest holds about 8, and 37 % stay empty.
void expect_fair(int shift) {
    constexpr size_t count = 65536;
    std::vector<int> buckets(count);
    for (uint32_t rid = 0; rid < count; rid++) {
        const credutl_sid_t value = sid(("S-1-5-21-1-2-3-" + std::to_string(rid)).c_str());
        buckets[credutl_sid_hash(&value) >> shift & (count - 1)]++;
    }
    EXPECT_LE(*std::max_element(buckets.begin(), buckets.end()), 14);
    EXPECT_NEAR(static_cast<double>(std::count(buckets.begin(), buckets.end(), 0)) / count, 0.368, 0.02);
}

TEST(CredutlSidHash, LowAndHighBitsAreFair) {
    expect_fair(0);
    expect_fair(48);
}

TEST(CredutlCrackFqName, SplitsAtTheFirstSeparator) {
    struct row {
        const char *text, *domain, *name;
    };
    for (const row &each :
         {row{"CORP\\alice", "CORP", "alice"}, row{"CORP/alice", "CORP", "alice"}, row{"alice", "", "alice"},
          row{"", "", ""}, row{"\\alice", "", "alice"}, row{"CORP\\", "CORP", ""}, row{"A/b\\c", "A", "b\\c"},
          row{"A\\b/c", "A", "b/c"}, row{"CORP\\Domain Users", "CORP", "Domain Users"}}) {
        char domain[16];
        char name[16];
        EXPECT_EQ(credutl_crack_fq_name(each.text, domain, sizeof domain, name, sizeof name), 0);
        EXPECT_STREQ(domain, each.domain) << each.text;
        EXPECT_STREQ(name, each.name) << each.text;
    }
}

TEST(CredutlCrackFqName, LeavesTheBuffersWhenAPartDoesNotFit) {
    char domain[8] = "old";
    char name[8] = "old";
    EXPECT_EQ(credutl_crack_fq_name("CORP\\alice", domain, 4, name, sizeof name), KS_ENAMETOOLONG);
    EXPECT_EQ(credutl_crack_fq_name("CORP\\alice", domain, sizeof domain, name, 5), KS_ENAMETOOLONG);
    EXPECT_EQ(credutl_crack_fq_name("alice", domain, 0, name, sizeof name), KS_ENAMETOOLONG);
    EXPECT_STREQ(domain, "old");
    EXPECT_STREQ(name, "old");
    EXPECT_EQ(credutl_crack_fq_name("CORP\\alice", domain, 5, name, 6), 0);
    EXPECT_EQ(credutl_crack_fq_name(nullptr, domain, 5, name, 6), KS_EINVAL);
    EXPECT_EQ(credutl_crack_fq_name("a", nullptr, 5, name, 6), KS_EINVAL);
    EXPECT_EQ(credutl_crack_fq_name("a", domain, 5, nullptr, 6), KS_EINVAL);
}

TEST(CredutlNameHash, IgnoresCaseAndKeepsThePartsApart) {
    EXPECT_EQ(credutl_name_hash("CORP", "Alice"), credutl_name_hash("corp", "ALICE"));
    EXPECT_EQ(credutl_name_hash("", "Stra\xC3\x9F"
                                    "e"),
              credutl_name_hash(nullptr, "STRASSE"));
    EXPECT_NE(credutl_name_hash("CORP", "alice"), credutl_name_hash("COR", "Palice"));
    EXPECT_NE(credutl_name_hash("CORP", "alice"), credutl_name_hash("alice", "CORP"));
    EXPECT_EQ(credutl_name_hash(nullptr, nullptr), credutl_name_hash("", ""));
}

} // namespace
