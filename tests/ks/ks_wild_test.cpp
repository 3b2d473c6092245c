#include "ks/ks_wild.h"

#include <fnmatch.h>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

// 1, 0, or the negative result of compiling.
int matches(const std::string &pattern, const std::string &text) {
    char compiled[513];
    const int length = wild_compile_pattern(pattern.c_str(), compiled, sizeof compiled);
    if (length == WILD_PLAIN) return pattern == text;
    return length < 0 ? length : wild_match(compiled, text.c_str(), 0);
}

TEST(WildMatch, KnowsTheWildcards) {
    EXPECT_EQ(matches("*.c", "main.c"), 1);
    EXPECT_EQ(matches("*.c", ".c"), 1);
    EXPECT_EQ(matches("*.c", "main.cc"), 0);
    EXPECT_EQ(matches("*.C", "main.c"), 0);
    EXPECT_EQ(matches("?", "x"), 1);
    EXPECT_EQ(matches("?", ""), 0);
    EXPECT_EQ(matches("?", "xy"), 0);
    EXPECT_EQ(matches("*", ""), 1);
    EXPECT_EQ(matches("a**b", "ab"), 1);
    EXPECT_EQ(matches("*a*b*", "xaxxbx"), 1);
    EXPECT_EQ(matches("*a*b*", "xbxxax"), 0);
    EXPECT_EQ(matches("*/x", "a/b/x"), 1);
    EXPECT_EQ(matches("*", ".hidden"), 1);
}

TEST(WildMatch, KnowsSets) {
    EXPECT_EQ(matches("[abc]", "b"), 1);
    EXPECT_EQ(matches("[abc]", "d"), 0);
    EXPECT_EQ(matches("[!abc]", "d"), 1);
    EXPECT_EQ(matches("[!abc]", "a"), 0);
    EXPECT_EQ(matches("[a-cx-z]", "y"), 1);
    EXPECT_EQ(matches("[a-cx-z]", "m"), 0);
    EXPECT_EQ(matches("[]a]", "]"), 1);
    EXPECT_EQ(matches("[!]a]", "]"), 0);
    EXPECT_EQ(matches("[a-]", "-"), 1);
    EXPECT_EQ(matches("[-a]", "-"), 1);
    EXPECT_EQ(matches("[\\]]", "]"), 1);
    EXPECT_EQ(matches("[a\\-z]", "m"), 0);
    EXPECT_EQ(matches("*.[Mm][Aa][Gg][Ii][Cc]", "x.MaGiC"), 1);
    EXPECT_EQ(matches("[!a]", ""), 0);
}

TEST(WildMatch, TakesQuotedCharactersAsTheyAre) {
    EXPECT_EQ(matches("a\\*b", "a*b"), 1);
    EXPECT_EQ(matches("a\\*b", "axb"), 0);
    EXPECT_EQ(matches("\\a", "a"), 1);
    EXPECT_EQ(matches("\\\\", "\\"), 1);
    EXPECT_EQ(matches("*\x01\x05", "x\x01\x05"), 1);
    EXPECT_EQ(matches("*\x01", "x\x02"), 0);
}

TEST(WildMatch, CountsCharactersAndNotBytes) {
    EXPECT_EQ(matches("?", "é"), 1);
    EXPECT_EQ(matches("??", "é"), 0);
    EXPECT_EQ(matches("[à-ü]x", "éx"), 1);
    EXPECT_EQ(matches("[!à-ü]", "é"), 0);
    EXPECT_EQ(matches("*é", "caf\xC3\xA9"), 1);
    EXPECT_EQ(matches("?", "\xFF"), 1); // a byte that is no character
    EXPECT_EQ(matches("[!a]", "\xFF"), 1);
}

TEST(WildCompilePattern, TellsPlainTextsAndWhatIsNoPattern) {
    char compiled[513];
    for (const char *plain : {"", "Makefile", "a.b]", "!x"})
        EXPECT_EQ(wild_compile_pattern(plain, compiled, sizeof compiled), WILD_PLAIN) << plain;
    for (const char *bad : {"[", "[a", "[!", "[]", "[!]", "[z-a]", "a\\", "[\\"})
        EXPECT_EQ(wild_compile_pattern(bad, compiled, sizeof compiled), WILD_BAD) << bad;
    EXPECT_EQ(wild_compile_pattern(nullptr, compiled, sizeof compiled), WILD_BAD);
    EXPECT_EQ(wild_compile_pattern("*", nullptr, 9), WILD_BAD);
    EXPECT_EQ(wild_match(nullptr, "x", 0), 0);
}

TEST(WildCompilePattern, RefusesWhatDoesNotFit) {
    char compiled[513];
    const std::string longest = '*' + std::string(511, 'x');
    EXPECT_EQ(wild_compile_pattern(longest.c_str(), compiled, sizeof compiled), 512);
    EXPECT_EQ(wild_compile_pattern((longest + 'x').c_str(), compiled, sizeof compiled), WILD_BAD);
    EXPECT_EQ(wild_compile_pattern("*", compiled, 1), WILD_BAD);
    EXPECT_EQ(wild_compile_pattern("*", compiled, 0), WILD_BAD);
    for (size_t size = 0; size < 20; size++) {
        std::string exact(size, '#');
        EXPECT_EQ(wild_compile_pattern("a[b-c]d*\x01", exact.data(), size) > 0, size >= 14) << size;
    }
}

TEST(WildMatch, AgreesWithTheHost) {
    std::mt19937 random(6);
    const std::string pattern_letters = "aab**??[]!-b", text_letters = "aabb]!-";
    int compared = 0;
    for (int round = 0; round < 200000; round++) {
        std::string pattern, text;
        for (unsigned i = random() % 8; i-- > 0;) pattern += pattern_letters[random() % pattern_letters.size()];
        for (unsigned i = random() % 8; i-- > 0;) text += text_letters[random() % text_letters.size()];
        const int ours = matches(pattern, text);
        if (ours == WILD_BAD) continue; // the host takes such a bracket as it is
        ASSERT_EQ(ours, fnmatch(pattern.c_str(), text.c_str(), 0) == 0) << pattern << " on " << text;
        compared++;
    }
    EXPECT_GT(compared, 100000);
}

TEST(WildMatch, EndsSoonForPatternsOfManyStars) {
    std::string pattern;
    for (int i = 0; i < 200; i++) pattern += "*a";
    EXPECT_EQ(matches(pattern + "b", std::string(100000, 'a')), 0);
}

} // namespace
