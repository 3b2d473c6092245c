// Comparison and hash without case. On the internals only because they bring ICU, the second opinion here.
#include "ks/ks_str.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>
#include <unicode/casemap.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <clocale>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

int sign(int order) { return (order > 0) - (order < 0); }
int compare(const std::string &a, const std::string &b) { return sign(strutl_stricoll(a.c_str(), b.c_str())); }
uint64_t hash_of(const std::string &text, uint64_t seed = 0) { return strutl_fold_hash(text.c_str(), seed); }

std::string utf8(char32_t c) {
    std::string text;
    if (c < 0x80) return {static_cast<char>(c)};
    if (c < 0x800) {
        text += static_cast<char>(0xC0 | c >> 6);
    } else if (c < 0x10000) {
        text += static_cast<char>(0xE0 | c >> 12);
        text += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    } else {
        text += static_cast<char>(0xF0 | c >> 18);
        text += static_cast<char>(0x80 | (c >> 12 & 0x3F));
        text += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    }
    text += static_cast<char>(0x80 | (c & 0x3F));
    return text;
}

// How many bytes the character at the start of the text has by RFC 3629, section 4; 0 when there is none.
size_t character_length(std::string_view text) {
    const auto byte = [&](size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
    const unsigned c = byte(0);
    if (c < 0x80) return 1;
    if (c < 0xC2 || c > 0xF4) return 0;
    const size_t length = c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
    const unsigned low = c == 0xE0 ? 0xA0 : c == 0xF0 ? 0x90 : 0x80;
    const unsigned high = c == 0xED ? 0x9F : c == 0xF4 ? 0x8F : 0xBF;
    if (byte(1) < low || byte(1) > high) return 0;
    for (size_t i = 2; i < length; i++) {
        if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
    }
    return length;
}

// A second opinion: folds each character with ICU's mapper of UTF-8 texts.
std::vector<uint32_t> units_of(std::string_view text) {
    std::vector<uint32_t> units;
    for (size_t i = 0; i < text.size();) {
        const size_t length = character_length(text.substr(i));
        if (length == 0) {
            units.push_back(0x110000 + static_cast<unsigned char>(text[i]));
            i++;
            continue;
        }
        char folded[32];
        UErrorCode status = U_ZERO_ERROR;
        const int32_t size = icu::CaseMap::utf8Fold(0, text.data() + i, static_cast<int32_t>(length), folded,
                                                    sizeof folded, nullptr, status);
        for (int32_t at = 0; at < size;) {
            UChar32 unit;
            U8_NEXT(folded, at, size, unit);
            units.push_back(static_cast<uint32_t>(unit));
        }
        i += length;
    }
    return units;
}

int expected_order(const std::string &a, const std::string &b) {
    const auto x = units_of(a), y = units_of(b);
    return x < y ? -1 : x > y;
}

TEST(StrutlStricoll, IsZeroOnlyForTextsEqualButForCase) {
    EXPECT_EQ(compare("Administrator", "ADMINISTRATOR"), 0);
    EXPECT_EQ(compare("", ""), 0);
    EXPECT_EQ(compare("abc", "abd"), -1);
    EXPECT_EQ(compare("ABD", "abc"), 1);
    EXPECT_EQ(compare("abc", "ab"), 1);
    EXPECT_EQ(compare("", "a"), -1);
    EXPECT_EQ(compare("a@", "a`"), -1); // 0x20 apart, but no letters
    EXPECT_EQ(compare("a[", "a{"), -1);
}

TEST(StrutlStricoll, FoldsAsciiByAsciiAlone) {
    for (int a = 1; a < 128; a++) {
        for (int b = 1; b < 128; b++) {
            const auto lower = [](int c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
            ASSERT_EQ(compare({static_cast<char>(a)}, {static_cast<char>(b)}), sign(lower(a) - lower(b)))
                << a << ' ' << b;
        }
    }
}

TEST(StrutlStricoll, FoldsFully) {
    EXPECT_EQ(compare("stra\xC3\x9F"
                      "e",
                      "STRASSE"),
              0);
    EXPECT_EQ(compare("\xC3\x9F", "ss"), 0);
    EXPECT_EQ(compare("\xE1\xBA\x9E", "Ss"), 0);     // capital sharp s
    EXPECT_EQ(compare("s\xC3\x9F", "\xC3\x9Fs"), 0); // "sss", cut in two ways
    EXPECT_EQ(compare("\xC3\x9F", "s"), 1);
    EXPECT_EQ(compare("\xC3\x9F", "st"), -1);
    EXPECT_EQ(compare("\xE2\x84\xAA"
                      "elvin",
                      "kelvin"),
              0);                           // KELVIN SIGN
    EXPECT_EQ(compare("\xC5\xBF", "S"), 0); // long s
    EXPECT_EQ(compare("\xC3\x84pfel", "\xC3\xA4PFEL"), 0);
    EXPECT_EQ(compare("\xEF\xAC\x83", "FFI"), 0);                  // ligature of three
    EXPECT_EQ(compare("\xCE\xA3", "\xCF\x82"), 0);                 // sigma, final sigma
    EXPECT_EQ(compare("\xF0\x90\x90\x80", "\xF0\x90\x90\xA8"), 0); // beyond the first plane
    EXPECT_NE(compare("\xC3\xA4", "a"), 0);
    EXPECT_NE(compare("\xC3\xA4", "a\xCC\x88"), 0); // not normalised
}

TEST(StrutlStricoll, IsIndependentOfTheLocale) {
    const std::string dotted_capital = "\xC4\xB0", dotless = "\xC4\xB1";
    std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char *locale : {"C", "tr_TR.UTF-8", "tr_TR.utf8", "C.UTF-8"}) {
        if (!std::setlocale(LC_ALL, locale)) continue;
        EXPECT_EQ(compare("TITLE", "title"), 0) << locale;
        EXPECT_NE(compare(dotted_capital, "i"), 0) << locale;
        EXPECT_EQ(compare(dotted_capital, "i\xCC\x87"), 0) << locale;
        EXPECT_NE(compare(dotless, "I"), 0) << locale;
    }
    std::setlocale(LC_ALL, before.c_str());
}

TEST(StrutlStricoll, PutsBytesThatAreNotUtf8BehindAllCharacters) {
    EXPECT_EQ(compare("\xFF", "\xF4\x8F\xBF\xBF"), 1);
    EXPECT_EQ(compare("\x80", "\x81"), -1);
    EXPECT_EQ(compare("\xC3", "\xC3\xA4"), 1); // cut character behind the whole one
    EXPECT_EQ(compare("\xC3"
                      "A",
                      "\xC3\xA4"),
              1);
    EXPECT_EQ(compare("\xC3"
                      "A",
                      "\xC3"
                      "a"),
              0);
    EXPECT_EQ(compare("\xC0\x80", "\xC0\x81"), -1);        // overlong: two bytes, each for itself
    EXPECT_EQ(compare("\xED\xA0\x80", "\xEE\x80\x80"), 1); // a surrogate is none
    EXPECT_EQ(compare("a\x80", "A\x80"), 0);
    EXPECT_EQ(compare("\xE2\x84\xAA", "\xE2\x84"), -1);
}

TEST(StrutlStricoll, GivesEveryCharacterItsFullFolding) {
    for (char32_t c = 1; c <= 0x10FFFF; c++) {
        if (c >= 0xD800 && c <= 0xDFFF) continue;
        const std::string text = utf8(c);
        UChar original[3] = {}, folded[16] = {};
        int32_t size = 0;
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8(original, 3, &size, text.c_str(), -1, &status);
        const int32_t length = u_strFoldCase(folded, 16, original, size, U_FOLD_CASE_DEFAULT, &status);
        char folded_text[64];
        u_strToUTF8(folded_text, sizeof folded_text, nullptr, folded, length, &status);
        ASSERT_TRUE(U_SUCCESS(status));
        if (text == folded_text) continue;
        ASSERT_EQ(strutl_stricoll(text.c_str(), folded_text), 0) << std::hex << static_cast<uint32_t>(c);
        ASSERT_EQ(hash_of(text), hash_of(folded_text)) << std::hex << static_cast<uint32_t>(c);
    }
}

TEST(StrutlStricoll, SortsNullFirst) {
    EXPECT_EQ(strutl_stricoll(nullptr, nullptr), 0);
    EXPECT_LT(strutl_stricoll(nullptr, ""), 0);
    EXPECT_GT(strutl_stricoll("", nullptr), 0);
}

// Pieces of characters and bytes that lie near each other, so that texts share beginnings.
rc::Gen<std::string> any_text() {
    const auto piece = rc::gen::element<std::string>(
        "a", "A", "s", "S", "k", "K", "i", "I", "z", "[", "@", "abcdefgh", "ABCDEFGH", "\xC3\x9F", "\xE1\xBA\x9E",
        "\xE2\x84\xAA", "\xC4\xB0", "\xC4\xB1", "\xC5\xBF", "\xEF\xAC\x83", "\xF0\x90\x90\x80", "\xF0\x90\x90\xA8",
        "\xCC\x87", "\xC3", "\xA4", "\x84", "\xE2", "\xF0\x90", "\xFF", "\xED\xA0\x80", "\xC0\xAF");
    return rc::gen::map(rc::gen::container<std::vector<std::string>>(piece),
                        [](const std::vector<std::string> &pieces) {
                            std::string text;
                            for (const std::string &p : pieces) text += p;
                            return text;
                        });
}

RC_GTEST_PROP(StrutlStricoll, OrdersByFoldedUnits, ()) {
    const auto prefix = *any_text();
    const auto a = prefix + *any_text(), b = prefix + *any_text();
    RC_ASSERT(compare(a, b) == expected_order(a, b));
}

RC_GTEST_PROP(StrutlStricoll, IsATotalOrder, ()) {
    const auto a = *any_text(), b = *any_text(), c = *any_text();
    RC_ASSERT(compare(a, a) == 0);
    RC_ASSERT(compare(a, b) == -compare(b, a));
    if (compare(a, b) <= 0 && compare(b, c) <= 0) RC_ASSERT(compare(a, c) <= 0);
    if (compare(a, b) == 0) RC_ASSERT(compare(a, c) == compare(b, c));
}

RC_GTEST_PROP(StrutlStricoll, StandsAnyBytes, ()) {
    const auto bytes = rc::gen::container<std::string>(
        rc::gen::map(rc::gen::inRange(1, 256), [](int b) { return static_cast<char>(b); }));
    const auto a = *bytes, b = *bytes;
    RC_ASSERT(compare(a, b) == expected_order(a, b));
    RC_ASSERT(compare(a + b, a + a) == expected_order(a + b, a + a));
}

RC_GTEST_PROP(StrutlFoldHash, IsEqualForTextsThatCompareEqual, ()) {
    const auto text = *any_text();
    const auto seed = *rc::gen::arbitrary<uint64_t>();
    std::string other;
    for (uint32_t unit : units_of(text)) {
        if (unit >= 0x110000) {
            other += static_cast<char>(unit - 0x110000);
        } else {
            const auto upper = static_cast<char32_t>(u_toupper(static_cast<UChar32>(unit)));
            other += utf8(units_of(utf8(upper)) == std::vector{unit} && *rc::gen::arbitrary<bool>() ? upper : unit);
        }
    }
    if (compare(text, other) == 0) RC_ASSERT(hash_of(text, seed) == hash_of(other, seed));
}

RC_GTEST_PROP(StrutlFoldHash, DiffersForTextsThatDiffer, ()) {
    const auto a = *any_text(), b = *any_text();
    RC_ASSERT((hash_of(a) == hash_of(b)) == (compare(a, b) == 0)); // 64 bits: a chance collision would be news
}

TEST(StrutlFoldHash, DependsOnEveryByteAndTheLength) {
    std::vector<uint64_t> hashes;
    for (size_t length = 0; length < 40; length++) {
        const std::string text(length, 'x');
        hashes.push_back(hash_of(text));
        for (size_t i = 0; i < length; i++) {
            std::string changed = text;
            changed[i] = 'y';
            hashes.push_back(hash_of(changed));
            changed[i] = 'X';
            EXPECT_EQ(hash_of(changed), hash_of(text));
        }
    }
    std::sort(hashes.begin(), hashes.end());
    EXPECT_EQ(std::adjacent_find(hashes.begin(), hashes.end()), hashes.end());
}

TEST(StrutlFoldHash, ChainsBySeed) {
    EXPECT_EQ(hash_of("name", hash_of("DOMAIN")), hash_of("NAME", hash_of("domain")));
    EXPECT_NE(hash_of("b", hash_of("a")), hash_of("a", hash_of("b")));
    EXPECT_NE(hash_of("c", hash_of("ab")), hash_of("bc", hash_of("a")));
    EXPECT_NE(hash_of("x", 0), hash_of("x", 1));
}

TEST(StrutlFoldHash, CountsNullAsEmpty) { EXPECT_EQ(strutl_fold_hash(nullptr, 3), hash_of("", 3)); }

TEST(StrutlFoldHash, HasOneSaltForAllThreads) {
    std::vector<uint64_t> hashes(8, 0);
    std::vector<std::thread> threads;
    for (uint64_t &hash : hashes) threads.emplace_back([&hash] { hash = hash_of("text"); });
    for (std::thread &thread : threads) thread.join();
    for (uint64_t hash : hashes) EXPECT_EQ(hash, hash_of("text"));
}

} // namespace
