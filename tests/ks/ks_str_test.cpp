#include "ks/ks_str.h"

#include "ks/ks_errno.h"
#include "support/faults.hpp"

#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>
#include <string>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr strutl_flag_t permissions[] = {
    {"Full", 0xF},    {"Change", 0x7}, {"Read", 0x1}, {"Write", 0x2},
    {"Execute", 0x4}, {"Delete", 0x8}, {"None", 0},   {"Nothing", 0},
};

std::string names(uint32_t flags, std::vector<strutl_flag_t> table, const char *separator = ",") {
    return strutl_flags_to_str(flags, table.data(), table.size(), separator);
}
std::string permission_names(uint32_t flags) {
    return names(flags, {std::begin(permissions), std::end(permissions)});
}

TEST(StrutlFlagsToStr, TakesRowsInOrderWhileTheyNameMore) {
    EXPECT_EQ(permission_names(0xF), "Full");
    EXPECT_EQ(permission_names(0x7), "Change");
    EXPECT_EQ(permission_names(0x9), "Read,Delete");
    EXPECT_EQ(permission_names(0x3), "Read,Write");
    EXPECT_EQ(names(7, {{"a", 3}, {"b", 6}, {"c", 1}}), "a,b"); // rows may overlap
}

TEST(StrutlFlagsToStr, NamesTheEmptySetOnce) {
    EXPECT_EQ(permission_names(0), "None");
    EXPECT_EQ(names(0, {{"Read", 1}}), "");
    EXPECT_EQ(names(0, {}), "");
    EXPECT_EQ(names(1, {{"None", 0}, {"Read", 1}}), "Read");
}

TEST(StrutlFlagsToStr, AppendsWhatNoRowNames) {
    EXPECT_EQ(permission_names(0x80000011), "Read,0x80000010");
    EXPECT_EQ(permission_names(0xFFFFFFFF), "Full,0xfffffff0");
    EXPECT_EQ(names(0x10, {}), "0x00000010");
    EXPECT_EQ(names(1, {{"Both", 3}}), "0x00000001"); // a row is taken whole or not at all
}

TEST(StrutlFlagsToStr, HeedsOnlyTheFirstRowOfAName) {
    EXPECT_EQ(names(1, {{"Read", 3}, {"READ", 1}}), "0x00000001"); // reading "READ" back would give 3
    EXPECT_EQ(names(3, {{"Read", 1}, {"read", 2}}), "Read,0x00000002");
    EXPECT_EQ(names(3, {{"x", 4}, {"\xC3\x9F", 1}, {"SS", 2}}), "\xC3\x9F,0x00000002");
    EXPECT_EQ(names(3, {{"ss", 1}, {"\xC3\x9F", 2}}), "ss,0x00000002");
    EXPECT_EQ(names(3, {{"\xE2\x84\xAA", 1}, {"k", 2}}), "\xE2\x84\xAA,0x00000002");
    EXPECT_EQ(names(3, {{"Read", 1}, {"Readx", 2}}), "Read,Readx");
}

TEST(StrutlFlagsToStr, PassesOverRowsWithoutAName) {
    EXPECT_EQ(names(3, {{nullptr, 1}, {"Write", 2}}), "Write,0x00000001");
}

TEST(StrutlFlagsToStr, JoinsWithAnySeparator) {
    EXPECT_EQ(names(3, {{"a", 1}, {"b", 2}}, " | "), "a | b");
    EXPECT_EQ(names(3, {{"a", 1}, {"b", 2}}, ""), "ab");
}

TEST(StrutlFlagsToStr, NamesNullArguments) {
    ks_errno = 0;
    EXPECT_EQ(strutl_flags_to_str(1, nullptr, 1, ","), nullptr);
    EXPECT_EQ(ks_errno, KS_EINVAL);
    EXPECT_EQ(strutl_flags_to_str(1, permissions, 1, nullptr), nullptr);
    EXPECT_STREQ(strutl_flags_to_str(1, nullptr, 0, ","), "0x00000001");
}

TEST(StrutlFlagsToStr, GrowsAndIsOfTheThread) {
    const std::string long_name(3000, 'n'), longer_name(5000, 'm');
    const std::vector<strutl_flag_t> table = {{long_name.c_str(), 1}, {longer_name.c_str(), 2}};
    const std::string both = long_name + "," + longer_name;
    std::string others;
    const char *own = strutl_flags_to_str(3, table.data(), table.size(), ",");
    std::thread([&] { others = permission_names(1); }).join();
    EXPECT_EQ(own, both);
    EXPECT_EQ(others, "Read");
}

TEST(StrutlFlagsToStr, GivesNullWhenThereIsNoMemory) {
    const std::string long_name(400, 'n'), longer_name(4000, 'm');
    const std::vector<strutl_flag_t> table = {{long_name.c_str(), 1}, {longer_name.c_str(), 2}};
    int refused = 0;
    // A thread of its own starts without a buffer.
    const auto one_run = [&](int nth, bool lasting) {
        bool happened = false;
        std::thread([&] {
            const char *text = nullptr;
            {
                const faults::refuse refusal(nth, lasting);
                ks_errno = 0;
                text = strutl_flags_to_str(3, table.data(), table.size(), ",");
                happened = refusal.happened();
            }
            if (!happened) {
                EXPECT_EQ(text, long_name + "," + longer_name);
                return;
            }
            EXPECT_EQ(text, nullptr);
            EXPECT_EQ(ks_errno, KS_ENOMEM);
            EXPECT_STREQ(strutl_flags_to_str(0, nullptr, 0, ","), "");
        }).join();
        return happened;
    };
    for (int nth = 1; one_run(nth, false); nth++) {
        EXPECT_TRUE(one_run(nth, true));
        refused++;
    }
    EXPECT_EQ(refused, 3); // 256 bytes, then each name
}

// What a reader makes of the text: the first row of each name, numbers as they stand.
uint32_t read_back(const std::string &text, const std::vector<strutl_flag_t> &table) {
    uint32_t flags = 0;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(',', at), text.size());
        const std::string token = text.substr(at, end - at);
        const auto row = std::find_if(table.begin(), table.end(), [&](const strutl_flag_t &r) {
            return strutl_stricoll(r.name, token.c_str()) == 0;
        });
        flags |= row != table.end() ? row->value : static_cast<uint32_t>(std::stoul(token, nullptr, 16));
        at = end + 1;
    }
    return flags;
}

RC_GTEST_PROP(StrutlFlagsToStr, IsReadBackAsTheSameSet, ()) {
    const auto rows = *rc::gen::container<std::vector<std::pair<std::string, uint32_t>>>(rc::gen::pair(
        rc::gen::element<std::string>("a", "A", "b", "ss", "SS", "\xC3\x9F", "k", "\xE2\x84\xAA", "name"),
        rc::gen::map(rc::gen::inRange<uint32_t>(0, 64), [](uint32_t v) { return v; })));
    std::vector<strutl_flag_t> table;
    for (const auto &[name, value] : rows) table.push_back({name.c_str(), value});
    const auto flags = *rc::gen::inRange<uint32_t>(0, 128);
    RC_ASSERT(read_back(names(flags, table), table) == flags);
}

TEST(StrutlCpyBuf, CopiesOrCuts) {
    char buffer[4] = "###";
    EXPECT_EQ(strutl_cpy_buf(buffer, sizeof buffer, "abc"), 3u);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(strutl_cpy_buf(buffer, sizeof buffer, "defgh"), 3u);
    EXPECT_STREQ(buffer, "def");
    EXPECT_EQ(strutl_cpy_buf(buffer, 1, "x"), 0u);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(strutl_cpy_buf(buffer, sizeof buffer, nullptr), 0u);
    EXPECT_STREQ(buffer, "");
}

TEST(StrutlCpyBuf, WritesNothingWithoutRoom) {
    char buffer[1] = {'#'};
    EXPECT_EQ(strutl_cpy_buf(buffer, 0, "x"), 0u);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(strutl_cpy_buf(nullptr, 5, "x"), 0u);
}

TEST(StrutlConcat, JoinsAndGivesTheWholeLength) {
    char buffer[8] = "#######";
    const char *const texts[] = {"ab", nullptr, "", "cde"};
    EXPECT_EQ(strutl_concat(buffer, sizeof buffer, texts, 4), 5u);
    EXPECT_STREQ(buffer, "abcde");
    EXPECT_EQ(strutl_concat(buffer, sizeof buffer, texts, 0), 0u);
    EXPECT_STREQ(buffer, "");
    for (size_t size = 1; size <= 6; size++) {
        char exact[7] = "######";
        EXPECT_EQ(strutl_concat(exact, size, texts, 4), 5u);
        EXPECT_EQ(std::string(exact), std::string("abcde").substr(0, size - 1));
        EXPECT_EQ(exact[size], size == 6 ? '\0' : '#');
    }
}

TEST(StrutlConcat, WritesNothingWithoutRoom) {
    char buffer[2] = "#";
    const char *const texts[] = {"ab"};
    EXPECT_EQ(strutl_concat(buffer, 0, texts, 1), 2u);
    EXPECT_STREQ(buffer, "#");
    EXPECT_EQ(strutl_concat(nullptr, 2, texts, 1), 0u);
    EXPECT_EQ(strutl_concat(buffer, 2, nullptr, 1), 0u);
}

TEST(StrutlIsOkName, TakesLettersDigitsHighBytesAndWhatIsAllowed) {
    for (const char *name : {"a", "Z9", "role-name", "a.b_c", "9", "\xC3\xA4", "_x"}) {
        EXPECT_EQ(strutl_is_ok_name(name, "-", "_-."), 1) << name;
    }
    for (const char *name : {"", "-a", "a b", "a/b", "a\n", "a\x7F", "@", "[", "`", "{", "/", ":", "\x01"}) {
        EXPECT_EQ(strutl_is_ok_name(name, "-", "_-."), 0) << name;
    }
    EXPECT_EQ(strutl_is_ok_name("a-b", nullptr, nullptr), 0);
    EXPECT_EQ(strutl_is_ok_name("-", nullptr, "-"), 1);
    EXPECT_EQ(strutl_is_ok_name("ab", "a", nullptr), 0);
    EXPECT_EQ(strutl_is_ok_name(nullptr, "-", "-"), 0);
}

TEST(StrutlConcat, JoinsAndTellsTheWholeLength) {
    const char *const texts[] = {"ab", nullptr, "", "cde"};
    char buffer[8] = "#######";
    EXPECT_EQ(strutl_concat(buffer, sizeof buffer, texts, 4), 5u);
    EXPECT_STREQ(buffer, "abcde");
    EXPECT_EQ(strutl_concat(buffer, 6, texts, 4), 5u);
    EXPECT_STREQ(buffer, "abcde");
    EXPECT_EQ(strutl_concat(buffer, 5, texts, 4), 5u);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(strutl_concat(buffer, 1, texts, 4), 5u);
    EXPECT_STREQ(buffer, "");
}

TEST(StrutlConcat, WritesNothingWithoutRoomOrTexts) {
    const char *const texts[] = {"ab"};
    char buffer[4] = "###";
    EXPECT_EQ(strutl_concat(buffer, 0, texts, 1), 2u);
    EXPECT_STREQ(buffer, "###");
    EXPECT_EQ(strutl_concat(buffer, sizeof buffer, texts, 0), 0u);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(strutl_concat(buffer, sizeof buffer, nullptr, 1), 0u);
    EXPECT_EQ(strutl_concat(nullptr, 4, texts, 1), 0u);
}

TEST(StrutlVisible, ShowsWhatCouldForgeALine) {
    char buffer[64];
    EXPECT_EQ(strutl_visible(buffer, sizeof buffer, "a\tb\nc\x1b[0m\x7F\xC3\xA9\xC2\x9B\xFF"), 27u);
    EXPECT_STREQ(buffer, "a\tb^Jc^[[0m^?\xC3\xA9\\xc2\\x9b\\xff");
    EXPECT_EQ(strutl_visible(buffer, 3, "abcd"), 4u);
    EXPECT_STREQ(buffer, "ab");
    EXPECT_EQ(strutl_visible(buffer, sizeof buffer, nullptr), 0u);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(strutl_visible(nullptr, 0, "ab"), 2u);
}

TEST(StrutlSnprintf, GivesTheWholeLengthAndCuts) {
    char buffer[8];
    EXPECT_EQ(strutl_snprintf(buffer, sizeof buffer, "%s-%d", "abc", 42), 6u);
    EXPECT_STREQ(buffer, "abc-42");
    EXPECT_EQ(strutl_snprintf(buffer, sizeof buffer, "%s", "longer text"), 11u);
    EXPECT_STREQ(buffer, "longer ");
    EXPECT_EQ(strutl_snprintf(nullptr, 0, "%05d", 7), 5u);
    EXPECT_EQ(strutl_snprintf(nullptr, 10, "%d", 7), 1u);
}

TEST(StrutlSnprintf, CountsANullFormatAsEmpty) {
    char buffer[4] = "###";
    const char *none = nullptr;
    EXPECT_EQ(strutl_snprintf(buffer, sizeof buffer, none), 0u);
    EXPECT_STREQ(buffer, "");
}

TEST(StrutlStrip, RemovesBlanksAtBothEnds) {
    char text[] = " \t\n\v\f\rone two \r\n";
    EXPECT_STREQ(strutl_strip(text), "one two");
    char blanks[] = "  \t ";
    EXPECT_STREQ(strutl_strip(blanks), "");
    char empty[] = "";
    EXPECT_EQ(strutl_strip(empty), empty);
    char high[] = "\xA0x\x85"; // neither is a blank in UTF-8
    EXPECT_STREQ(strutl_strip(high), "\xA0x\x85");
    EXPECT_EQ(strutl_strip(nullptr), nullptr);
}

TEST(StrutlCvtWideStrToStr, ConvertsUtf16) {
    const uint16_t wide[] = {'L', 0xE9, 0x20AC, 0xD83D, 0xDE00, 0};
    char buffer[32];
    EXPECT_EQ(strutl_cvt_wide_str_to_str(buffer, sizeof buffer, wide), 10u);
    EXPECT_STREQ(buffer, "Lé€\U0001F600");
}

TEST(StrutlCvtWideStrToStr, CutsBetweenCharacters) {
    const uint16_t wide[] = {'a', 0x20AC, 'b', 0};
    char buffer[8];
    for (const auto &[size, expected] : {std::pair{1, ""}, {2, "a"}, {4, "a"}, {5, "a€"}, {6, "a€b"}}) {
        EXPECT_EQ(strutl_cvt_wide_str_to_str(buffer, static_cast<size_t>(size), wide), std::strlen(expected));
        EXPECT_STREQ(buffer, expected) << size;
    }
}

TEST(StrutlCvtWideStrToStr, ReplacesWhatIsNoCharacter) {
    const uint16_t lone_high[] = {0xD83D, 'x', 0}, lone_low[] = {0xDE00, 0}, at_end[] = {'x', 0xD83D, 0};
    char buffer[16];
    strutl_cvt_wide_str_to_str(buffer, sizeof buffer, lone_high);
    EXPECT_STREQ(buffer, "\uFFFDx");
    strutl_cvt_wide_str_to_str(buffer, sizeof buffer, lone_low);
    EXPECT_STREQ(buffer, "\uFFFD");
    strutl_cvt_wide_str_to_str(buffer, sizeof buffer, at_end);
    EXPECT_STREQ(buffer, "x\uFFFD");
}

TEST(StrutlCvtWideStrToStr, StandsNulls) {
    char buffer[4] = "###";
    const uint16_t wide[] = {'a', 0};
    EXPECT_EQ(strutl_cvt_wide_str_to_str(buffer, sizeof buffer, nullptr), 0u);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(strutl_cvt_wide_str_to_str(nullptr, 4, wide), 0u);
    EXPECT_EQ(strutl_cvt_wide_str_to_str(buffer, 0, wide), 0u);
}

// ---- lists of names

TEST(StrutlFlagsToStrList, GivesTheNamesOfStrutlFlagsToStr) {
    const strutl_flag_t table[] = {{"Full", 7}, {"read", 1}, {"READ", 2}, {nullptr, 2}, {"Write", 2}, {"Zero", 0}};
    for (uint32_t flags = 0; flags < 32; flags++) {
        char **names = nullptr;
        uint32_t count = 99;
        ASSERT_EQ(strutl_flags_to_str_list(flags, table, std::size(table), &names, &count), 0);
        std::string joined;
        for (uint32_t i = 0; i < count; i++) joined += (i ? "," : "") + std::string(names[i]);
        EXPECT_EQ(joined, strutl_flags_to_str(flags, table, std::size(table), ","));
        strutl_free_str_list(&names, count);
        EXPECT_EQ(names, nullptr);
    }
}

TEST(StrutlFlagsToStrList, HasRoomForEveryBitAndForNone) {
    std::vector<std::string> texts;
    for (int bit = 0; bit < 32; bit++) texts.push_back("bit" + std::to_string(bit));
    std::vector<strutl_flag_t> table;
    for (size_t bit = 0; bit < 32; bit++) table.push_back({texts[bit].c_str(), uint32_t{1} << bit});
    char **names = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(strutl_flags_to_str_list(0xFFFFFFFF, table.data(), table.size(), &names, &count), 0);
    EXPECT_EQ(std::vector<std::string>(names, names + count), texts);
    strutl_free_str_list(&names, count);
    ASSERT_EQ(strutl_flags_to_str_list(0xFFFFFFFF, table.data(), 31, &names, &count), 0);
    ASSERT_EQ(count, 32u);
    EXPECT_STREQ(names[31], "0x80000000");
    strutl_free_str_list(&names, count);
    ASSERT_EQ(strutl_flags_to_str_list(0, nullptr, 0, &names, &count), 0);
    EXPECT_EQ(count, 0u);
    strutl_free_str_list(&names, count);
    EXPECT_EQ(names, nullptr);
}

TEST(StrutlFlagsToStrList, RefusesNullsAndReportsMissingMemory) {
    const strutl_flag_t table[] = {{"read", 1}, {"write", 2}};
    char **names = nullptr;
    uint32_t count = 7;
    EXPECT_EQ(strutl_flags_to_str_list(3, nullptr, 2, &names, &count), KS_EINVAL);
    EXPECT_EQ(strutl_flags_to_str_list(3, table, 2, nullptr, &count), KS_EINVAL);
    EXPECT_EQ(strutl_flags_to_str_list(3, table, 2, &names, nullptr), KS_EINVAL);
    int refused = 0;
    const int points = faults::each_allocation([&](int, bool) {
        const int error = strutl_flags_to_str_list(7, table, 2, &names, &count);
        if (error) {
            EXPECT_EQ(error, KS_ENOMEM);
            EXPECT_EQ(count, 7u);
            refused++;
        } else {
            strutl_free_str_list(&names, count);
            count = 7;
        }
    });
    EXPECT_GT(points, 2);
    EXPECT_GE(refused, points);
    EXPECT_EQ(names, nullptr);
    strutl_free_str_list(nullptr, 3);
    strutl_free_str_list(&names, 3);
}

TEST(StrutlCvtCaseString, FoldsWithoutTheLocale) {
    char buffer[32];
    const auto folded = [&](const char *text) {
        EXPECT_EQ(strutl_cvt_case_string(text, STRUTL_CASE_FOLD, buffer, sizeof buffer), 0);
        return std::string(buffer);
    };
    EXPECT_EQ(folded("MiXeD 123_-"), "mixed 123_-");
    EXPECT_EQ(folded("STRASSE"), "strasse");
    EXPECT_EQ(folded("Straße"), "strasse");
    EXPECT_EQ(folded("ÄÖÜ"), "äöü");
    EXPECT_EQ(folded("I"), "i");
    EXPECT_EQ(folded("\xFFX"), "\xFFx");
    EXPECT_EQ(folded(""), "");
}

RC_GTEST_PROP(StrutlCvtCaseString, MakesTheSameOfTextsThatAreEqual, ()) {
    const auto any =
        rc::gen::container<std::string>(rc::gen::elementOf(std::string("aAbBsSkKiI\xC3\x9F\x84\xA4\xE2\xAA\xFF")));
    const auto fold = [](const std::string &text) {
        char buffer[1024];
        RC_ASSERT(strutl_cvt_case_string(text.c_str(), STRUTL_CASE_FOLD, buffer, sizeof buffer) == 0);
        return std::string(buffer);
    };
    const std::string a = *any, b = *any;
    RC_ASSERT((fold(a) == fold(b)) == (strutl_stricoll(a.c_str(), b.c_str()) == 0));
    RC_ASSERT(fold(fold(a)) == fold(a));
    RC_ASSERT(strutl_stricoll(fold(a).c_str(), a.c_str()) == 0);
}

TEST(StrutlCvtCaseString, SaysWhatDoesNotFit) {
    char buffer[7];
    EXPECT_EQ(strutl_cvt_case_string("ABCDEF", STRUTL_CASE_FOLD, buffer, sizeof buffer), 0);
    EXPECT_EQ(strutl_cvt_case_string("ABCDEFG", STRUTL_CASE_FOLD, buffer, sizeof buffer), KS_ENAMETOOLONG);
    EXPECT_STREQ(buffer, "abcdef");
    EXPECT_EQ(strutl_cvt_case_string("ABCDEß", STRUTL_CASE_FOLD, buffer, sizeof buffer), KS_ENAMETOOLONG);
    EXPECT_EQ(strutl_cvt_case_string(nullptr, STRUTL_CASE_FOLD, buffer, sizeof buffer), KS_EINVAL);
    EXPECT_EQ(strutl_cvt_case_string("a", 1, buffer, sizeof buffer), KS_EINVAL);
    EXPECT_EQ(strutl_cvt_case_string("a", STRUTL_CASE_FOLD, nullptr, 4), KS_EINVAL);
    EXPECT_EQ(strutl_cvt_case_string("a", STRUTL_CASE_FOLD, buffer, 0), KS_EINVAL);
}

TEST(StrutlIsPrintable, GoesByUnicode) {
    for (const uint32_t character : {0x20u, 0x41u, 0xE9u, 0x4E2Du, 0x1F600u})
        EXPECT_EQ(strutl_is_printable(character), 1);
    for (const uint32_t character : {0x00u, 0x0Au, 0x7Fu, 0x85u, 0xD800u, 0x10FFFFu, 0x110000u, 0xFFFFFFFFu})
        EXPECT_EQ(strutl_is_printable(character), 0) << character;
}

TEST(StrutlFindStr, GivesTheFirstPlace) {
    const char text[] = "a@@b@@@c";
    EXPECT_EQ(strutl_find_str(text, "@@"), text + 1);
    EXPECT_EQ(strutl_find_str(text + 2, "@@"), text + 4);
    EXPECT_EQ(strutl_find_str(text + 5, "@@"), text + 5);
    EXPECT_EQ(strutl_find_str(text + 6, "@@"), nullptr);
    EXPECT_EQ(strutl_find_str(text, ""), text);
    EXPECT_EQ(strutl_find_str("", "@@"), nullptr);
    EXPECT_EQ(strutl_find_str(nullptr, "@@"), nullptr);
    EXPECT_EQ(strutl_find_str(text, nullptr), nullptr);
}

// "error N" when it is refused.
std::string number_of(const char *text, int base) {
    uint32_t number = 4711;
    ks_errno = 0;
    const int error = strutl_strtoul(text, base, &number);
    EXPECT_EQ(ks_errno, error);
    if (error == 0) return std::to_string(number);
    EXPECT_EQ(number, 4711u) << text;
    return "error " + std::to_string(error);
}

TEST(StrutlStrtoul, ReadsTheBaseFromTheText) {
    EXPECT_EQ(number_of("0", 0), "0");
    EXPECT_EQ(number_of("1207", 0), "1207");
    EXPECT_EQ(number_of("0x1fA", 0), "506");
    EXPECT_EQ(number_of("0XFF", 0), "255");
    EXPECT_EQ(number_of("017", 0), "15");
    EXPECT_EQ(number_of("0000", 0), "0");
    EXPECT_EQ(number_of("08", 0), "error 22");
    EXPECT_EQ(number_of("1f", 0), "error 22");
}

TEST(StrutlStrtoul, TakesAGivenBase) {
    EXPECT_EQ(number_of("010", 10), "10");
    EXPECT_EQ(number_of("ff", 16), "255");
    EXPECT_EQ(number_of("0xff", 16), "255");
    EXPECT_EQ(number_of("0x10", 10), "error 22");
    EXPECT_EQ(number_of("102", 2), "error 22");
    EXPECT_EQ(number_of("Zz", 36), "1295");
    for (const int base : {-1, 1, 37}) EXPECT_EQ(number_of("1", base), "error 22") << base;
}

TEST(StrutlStrtoul, ReadsNothingButThirtyTwoBits) {
    EXPECT_EQ(number_of("4294967295", 0), "4294967295");
    EXPECT_EQ(number_of("4294967296", 0), "error 34");
    EXPECT_EQ(number_of("0xFFFFFFFF", 0), "4294967295");
    EXPECT_EQ(number_of("0x100000000", 0), "error 34");
    EXPECT_EQ(number_of("99999999999999999999999999", 0), "error 34");
    EXPECT_EQ(number_of("4294967296x", 0), "error 22");
}

TEST(StrutlStrtoul, WantsTheWholeTextToBeTheNumber) {
    for (const char *text : {"", " 1", "1 ", "+1", "-1", "0x", "0x-1", "0x 1", "0x0x1", "1.", "one"}) {
        EXPECT_EQ(number_of(text, 0), "error 22") << '"' << text << '"';
    }
    EXPECT_EQ(number_of(nullptr, 0), "error 22");
    EXPECT_EQ(strutl_strtoul("1", 0, nullptr), KS_EINVAL);
}

} // namespace
