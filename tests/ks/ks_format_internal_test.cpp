#include "internal/ks_format.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

namespace {

std::string format_list(unsigned flags, const char *fmt, va_list arguments) {
    const size_t length = ks::format(nullptr, 0, fmt, arguments, flags);
    // Of exactly the size that is needed: a byte too many is seen by AddressSanitizer.
    const std::unique_ptr<char[]> buffer(new char[length + 1]);
    EXPECT_EQ(ks::format(buffer.get(), length + 1, fmt, arguments, flags), length);
    EXPECT_EQ(buffer[length], '\0');
    return {buffer.get(), length};
}

std::string ours(const char *fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    std::string text = format_list(ks::plain, fmt, arguments);
    va_end(arguments);
    return text;
}

std::string guarded(const char *fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    std::string text = format_list(ks::guard_insertions, fmt, arguments);
    va_end(arguments);
    return text;
}

size_t into(char *buffer, size_t size, const char *fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    const size_t length = ks::format(buffer, size, fmt, arguments, ks::plain);
    va_end(arguments);
    return length;
}

template <class... A> std::string libc(const char *fmt, A... arguments) {
    const int length = std::snprintf(nullptr, 0, fmt, arguments...);
    std::string text(static_cast<size_t>(length), '\0');
    std::snprintf(text.data(), text.size() + 1, fmt, arguments...);
    return text;
}

// ---- beside the C library

const std::vector<std::string> flag_sets = {"",   "-",  "+",  " ",  "#",  "0",  "-+",
                                            "+0", " 0", "#0", "-#", "+ ", "-0", "+-#0"};
const std::vector<std::string> widths = {"", "3", "30"};
const std::vector<std::string> precisions = {"", ".", ".0", ".1", ".5", ".25"};

// Each combination of flags, width and precision with one length and conversion.
template <class T> void expect_as_libc(const std::string &length_and_type, const std::vector<T> &values) {
    for (const std::string &flags : flag_sets) {
        for (const std::string &width : widths) {
            for (const std::string &precision : precisions) {
                std::string conversion("%");
                conversion.append(flags).append(width).append(precision).append(length_and_type);
                const std::string fmt = "<" + conversion + ">";
                for (const T value : values) {
                    ASSERT_EQ(ours(fmt.c_str(), value), libc(fmt.c_str(), value)) << fmt;
                }
            }
        }
    }
}

template <class T> std::vector<T> numbers() {
    using limits = std::numeric_limits<T>;
    return {
        0, 1, 7, 8, 9, 10, 99, limits::max(), limits::min(), static_cast<T>(-1), static_cast<T>(limits::min() + 1)};
}

TEST(Format, SignedNumbersAreThoseOfTheCLibrary) {
    for (const char *type : {"d", "i", "hhd", "hd"}) expect_as_libc(type, numbers<int>());
    expect_as_libc("ld", numbers<long>());
    expect_as_libc("lld", numbers<long long>());
    expect_as_libc("zd", numbers<ssize_t>());
    expect_as_libc("ji", numbers<intmax_t>());
    expect_as_libc("td", numbers<ptrdiff_t>());
}

TEST(Format, UnsignedNumbersAreThoseOfTheCLibrary) {
    for (const std::string type : {"u", "o", "x", "X"}) {
        for (const char *length : {"", "h", "hh"}) expect_as_libc(length + type, numbers<unsigned>());
        expect_as_libc("l" + type, numbers<unsigned long>());
        expect_as_libc("ll" + type, numbers<unsigned long long>());
        expect_as_libc("z" + type, numbers<size_t>());
        expect_as_libc("j" + type, numbers<uintmax_t>());
        expect_as_libc("t" + type, numbers<ptrdiff_t>());
    }
}

TEST(Format, TextsAndCharactersAreThoseOfTheCLibrary) {
    for (const std::string flags : {"", "-"}) {
        for (const std::string &width : widths) {
            for (const std::string &precision : precisions) {
                const std::string fmt = "%" + flags + width + precision + "s";
                for (const char *text : {"", "x", "hello", "a text that is longer than any width", "\xff\n"}) {
                    ASSERT_EQ(ours(fmt.c_str(), text), libc(fmt.c_str(), text)) << fmt;
                }
            }
            const std::string fmt = "%" + flags + width + "c";
            for (const int c : {120, 10, 0, 200}) ASSERT_EQ(ours(fmt.c_str(), c), libc(fmt.c_str(), c)) << fmt;
        }
    }
}

TEST(Format, PointersAreThoseOfTheCLibrary) {
    int object = 0;
    for (const char *fmt : {"%p", "%20p", "%-20p|", "%24p"}) {
        EXPECT_EQ(ours(fmt, static_cast<void *>(&object)), libc(fmt, static_cast<void *>(&object)));
        EXPECT_EQ(ours(fmt, static_cast<void *>(nullptr)), libc(fmt, static_cast<void *>(nullptr)));
    }
}

TEST(Format, StarsTakeArgumentsInOrder) {
    for (const int width : {0, 5, -5, 20, -20}) {
        for (const int precision : {-1, -100, 0, 2, 9}) {
            EXPECT_EQ(ours("%*.*d|", width, precision, 42), libc("%*.*d|", width, precision, 42));
            EXPECT_EQ(ours("%*.*s|", width, precision, "text"), libc("%*.*s|", width, precision, "text"));
        }
    }
    EXPECT_EQ(ours("%*s%s", 4, "", "x"), "    x");
}

RC_GTEST_PROP(Format, MixedFormatsAreThoseOfTheCLibrary, ()) {
    const auto piece = [] {
        return *rc::gen::element<std::string>("", " ", "text ", "%%", "a longer run of plain text, with a %% in it ");
    };
    const std::string fmt = piece() + "%s" + piece() + "%*d" + piece() + "%.8x" + piece() + "%lld" + piece() +
                            "%-7s" + piece() + "%zu" + piece() + "%c" + piece();
    const auto a = *rc::gen::string<std::string>(), b = *rc::gen::string<std::string>();
    const int width = *rc::gen::inRange(-40, 40), number = *rc::gen::arbitrary<int>();
    const auto u = *rc::gen::arbitrary<unsigned>();
    const auto wide = *rc::gen::arbitrary<long long>();
    const auto size = *rc::gen::arbitrary<size_t>();
    RC_ASSERT(ours(fmt.c_str(), a.c_str(), width, number, u, wide, b.c_str(), size, 'c') ==
              libc(fmt.c_str(), a.c_str(), width, number, u, wide, b.c_str(), size, 'c'));
}

// ---- what the C library does not know, or leaves open

TEST(Format, KnowsTheLengthsOfWindows) {
    EXPECT_EQ(ours("%I64d %I64u %I64x", INT64_MIN, UINT64_MAX, UINT64_MAX),
              "-9223372036854775808 18446744073709551615 ffffffffffffffff");
    EXPECT_EQ(ours("%I32d %I32u %10I32X", -1, 0xFFFFFFFFu, 0xABCu), "-1 4294967295        ABC");
}

TEST(Format, ANullTextIsShownAsSuch) {
    const char *const none = nullptr;
    EXPECT_EQ(ours("[%s] [%8s] [%-8s] [%.3s]", none, none, none, none), "[(null)] [  (null)] [(null)  ] [(nu]");
}

TEST(Format, AnUnknownConversionEndsTheReadingOfArguments) {
    EXPECT_EQ(ours("%d %y %d %% %s", 1), "1 %y %d % %s");
    EXPECT_EQ(ours("%1$s %%", "x"), "%1$s %");
    EXPECT_EQ(ours("%f%%"), "%f%");
    EXPECT_EQ(ours("%*n %s", 3), "%*n %s");
    for (const char *fmt : {"%n", "%ls", "%lc",  "%hs", "%I64s", "%lp", "%Ld", "%I16d", "%I",  "%'d",  "%e", "%a",
                            "%C", "%",   "100%", "%5",  "%-",    "%.",  "%*",  "%l",    "%I6", "%hhh", "%.*"}) {
        EXPECT_EQ(ours(fmt, "x"), fmt);
    }
}

TEST(Format, APrecisionBoundsWhatIsReadOfAText) {
    const std::unique_ptr<char[]> unterminated(new char[3]{'a', 'b', 'c'});
    EXPECT_EQ(ours("%.3s|%.2s|%.0s|%.*s", unterminated.get(), unterminated.get(), unterminated.get(), 1,
                   unterminated.get()),
              "abc|ab||a");
    EXPECT_EQ(guarded("%.3s", unterminated.get()), "abc");
}

TEST(Format, WidthsAndPrecisionsAreBounded) {
    const size_t most = ks::max_padding;
    EXPECT_EQ(into(nullptr, 0, "%2147483648d", 1), most);
    EXPECT_EQ(into(nullptr, 0, "%99999999999999999999s", ""), most);
    EXPECT_EQ(into(nullptr, 0, "%.2147483647d", 1), most);
    EXPECT_EQ(into(nullptr, 0, "%0*d", INT_MAX, 1), most);
    EXPECT_EQ(into(nullptr, 0, "%*d", INT_MIN, 1), most);
    EXPECT_EQ(into(nullptr, 0, "%1048576d", 1), most);
    EXPECT_EQ(ours("%.2147483648s", "text"), "text");
    EXPECT_EQ(ours("%.*s", INT_MAX, "text"), "text");
    char buffer[8];
    EXPECT_EQ(into(buffer, sizeof buffer, "%2147483647d", 1), most);
    EXPECT_STREQ(buffer, "       ");
}

TEST(Format, CutsToTheBufferAndGivesTheWholeLength) {
    const std::string whole = "name: 12345 [end     ] 0x00ff";
    for (size_t size = 0; size <= whole.size() + 1; size++) {
        const std::unique_ptr<char[]> buffer(new char[size]);
        EXPECT_EQ(into(buffer.get(), size, "%s: %d [%-8s] %#06x", "name", 12345, "end", 255u), whole.size());
        if (size != 0) {
            EXPECT_EQ(std::string(buffer.get()), whole.substr(0, size - 1));
        }
    }
}

TEST(Format, WritesNothingIntoNoBuffer) {
    EXPECT_EQ(into(nullptr, 0, "%s", "text"), 4u);
    EXPECT_EQ(into(nullptr, 100, "%s", "text"), 4u);
    char untouched = 'x';
    EXPECT_EQ(into(&untouched, 0, "%s", "text"), 4u);
    EXPECT_EQ(untouched, 'x');
}

TEST(TextOutput, LengthSaturates) {
    ks::text_output out(nullptr, 0);
    out.fill('x', SIZE_MAX - 1);
    out.put("abc");
    EXPECT_EQ(out.length(), SIZE_MAX);
    out.put('d');
    EXPECT_EQ(out.finish(), SIZE_MAX);
}

// ---- guarding

struct guard_case {
    std::string_view text, shown;
};

// Texts that stay as they are stand without `shown`.
const guard_case guard_cases[] = {
    {"", ""},
    {"plain ASCII ~!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}", ""},
    {"a TAB\tstays", ""},
    {"Grüße, привет, 日本語, 😀", ""},
    {"one\ntwo\r", "one^Jtwo^M"},
    {std::string_view("\0", 1), "^@"},
    {"\x01\x02\x1b[31m\x1f", "^A^B^[[31m^_"},
    {"\x7f", "^?"},
    {"\xC2\x80|\xC2\x9B|\xC2\x9F", "\\xc2\\x80|\\xc2\\x9b|\\xc2\\x9f"},
    {"\xC2\xA0", ""},                                               // no-break space
    {"\xD8\x9C", "\\xd8\\x9c"},                                     // U+061C
    {"\xE2\x80\x8E\xE2\x80\x8F", "\\xe2\\x80\\x8e\\xe2\\x80\\x8f"}, // U+200E, U+200F
    {"\xE2\x80\x8D", ""},                                           // U+200D joins emoji
    {"\xE2\x80\xA8\xE2\x80\xA9", "\\xe2\\x80\\xa8\\xe2\\x80\\xa9"}, // U+2028, U+2029
    {"\xE2\x80\xAA\xE2\x80\xAE", "\\xe2\\x80\\xaa\\xe2\\x80\\xae"}, // U+202A, U+202E
    {"\xE2\x80\xAF", ""},                                           // U+202F
    {"\xE2\x81\xA5\xE2\x81\xA6\xE2\x81\xA9\xE2\x81\xAA", "\xE2\x81\xA5\\xe2\\x81\\xa6\\xe2\\x81\\xa9\xE2\x81\xAA"},
    {"\x80|\xBF|\xFF|\xFE", "\\x80|\\xbf|\\xff|\\xfe"},               // no lead bytes
    {"\xC0\x8A", "\\xc0\\x8a"},                                       // overlong line break
    {"\xC1\xBF", "\\xc1\\xbf"},                                       // overlong
    {"\xE0\x80\x8A", "\\xe0\\x80\\x8a"},                              // overlong
    {"\xE0\x9F\xBF|\xE0\xA0\x80", "\\xe0\\x9f\\xbf|\xE0\xA0\x80"},    // last overlong, first right one
    {"\xF0\x80\x80\x8A", "\\xf0\\x80\\x80\\x8a"},                     // overlong
    {"\xED\xA0\x80|\xED\xBF\xBF", "\\xed\\xa0\\x80|\\xed\\xbf\\xbf"}, // surrogates
    {"\xED\x9F\xBF\xEE\x80\x80", ""},                                 // beside them
    {"\xF4\x8F\xBF\xBF", ""},                                         // U+10FFFF
    {"\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},                     // beyond
    {"\xF8\x88\x80\x80\x80", "\\xf8\\x88\\x80\\x80\\x80"},            // five bytes
    {"\xC3", "\\xc3"},                                                // cut
    {"\xE2\x82", "\\xe2\\x82"},                                       // cut
    {"\xC3|\xE2\x82|", "\\xc3|\\xe2\\x82|"},                          // cut by another character
    {"\001\0011B", "^A^A1B"},                                         // no emphasis
};

TEST(FormatGuard, ShowsWhatCouldForgeALine) {
    for (const guard_case &c : guard_cases) {
        const std::string text(c.text), expected(c.shown.empty() ? c.text : c.shown);
        const int size = static_cast<int>(text.size());
        if (text.find('\0') == text.npos) {
            EXPECT_EQ(guarded("%s", text.c_str()), expected);
            EXPECT_EQ(guarded("<%.*s>", size, text.c_str()), "<" + expected + ">");
            EXPECT_EQ(ours("%s", text.c_str()), text);
        }
        std::string shown(text.size() * 4 + 1, '?');
        ks::text_output out(shown.data(), shown.size());
        out.put_guarded(text);
        EXPECT_EQ(shown.substr(0, out.finish()), expected);
    }
}

TEST(FormatGuard, CharactersAreGuardedToo) { EXPECT_EQ(guarded("%c%c%c%c", 'a', '\n', 0, 0xC3), "a^J^@\\xc3"); }

TEST(FormatGuard, FormatsThemselvesAreNot) {
    EXPECT_EQ(guarded("a\n\t\001\0011B\x1b%s", "\n"), "a\n\t\001\0011B\x1b^J");
}

TEST(FormatGuard, WidthAndPrecisionCountTheOriginalBytes) {
    EXPECT_EQ(guarded("[%4s]", "\n"), "[   ^J]");
    EXPECT_EQ(guarded("[%-4s]", "\n"), "[^J   ]");
    EXPECT_EQ(guarded("[%.1s]", "ü"), "[\\xc3]");
}

RC_GTEST_PROP(FormatGuard, NeverLetsAControlThrough, (const std::string &text)) {
    std::string shown(text.size() * 4 + 1, '?');
    ks::text_output out(shown.data(), shown.size());
    out.put_guarded(text);
    shown.resize(out.finish());
    for (const char c : shown) RC_ASSERT(c == '\t' || (static_cast<unsigned char>(c) >= 0x20 && c != 0x7f));
    // What is safe stays as it is.
    std::string again(shown.size() + 1, '?');
    ks::text_output second(again.data(), again.size());
    second.put_guarded(shown);
    again.resize(std::min(second.finish(), again.size()));
    RC_ASSERT(again == shown);
}

// ---- formats beside each other

TEST(SameConversions, ComparesKindLengthPrecisionStarsAndOrder) {
    for (const auto &[a, b] : std::vector<std::pair<const char *, const char *>>{
             {"", ""},
             {"text", "Text"},
             {"%s is %d", "%s ist %d"},
             {"%%", "none"},
             {"%5s", "%-20s"},
             {"%*s", "%-*s"},
             {"%08x%%%s", "0x%x %s"},
             {"%.8s", "%.8s"},
             {"%I64d", "%I64d"},
         }) {
        EXPECT_TRUE(ks::same_conversions(a, b)) << a << " | " << b;
        EXPECT_TRUE(ks::same_conversions(b, a)) << a << " | " << b;
    }
    for (const auto &[a, b] : std::vector<std::pair<const char *, const char *>>{
             {"", "%s"},         {"%s", "%d"},     {"%s %d", "%d %s"},     {"%d", "%ld"},   {"%ld", "%lld"},
             {"%I64d", "%I32d"}, {"%s", "%.8s"},   {"%.8s", "%.9s"},       {"%*s", "%s"},   {"%.*s", "%s"},
             {"%.*s", "%*s"},    {"%s", "%s%s"},   {"%s %s", "%2$s %1$s"}, {"%s", "%1$s"},  {"%d", "%x"},
             {"%s", "%"},        {"text", "100%"}, {"text", "%n"},         {"%s", "%s %n"}, {"%d", "%i"},
             {"%c", "%d"},       {"%p", "%s"},     {"%hhd", "%hd"},        {"%s", "%s%"},
         }) {
        EXPECT_FALSE(ks::same_conversions(a, b)) << a << " | " << b;
        EXPECT_FALSE(ks::same_conversions(b, a)) << a << " | " << b;
    }
    EXPECT_FALSE(ks::same_conversions("%n", "%n"));
    EXPECT_FALSE(ks::same_conversions("%1$s", "%1$s"));
}

TEST(Emphasis, IsBalancedWhenItsMarksAlternate) {
    for (const char *text : {"", "plain", "\001\0011Bbold\001\0010B", "\001\0011B\001\0010B\001\0011Bx\001\0010By"}) {
        EXPECT_TRUE(ks::emphasis_is_balanced(text)) << text;
    }
    for (const char *text :
         {"\001\0011Bbold", "\001\0010B", "\001\0010B\001\0011B", "\001\0011B\001\0011B\001\0010B\001\0010B", "\001",
          "\001\001", "\001\0012B", "\0011B", "x\001\0011"}) {
        EXPECT_FALSE(ks::emphasis_is_balanced(text)) << text;
    }
}

TEST(Emphasis, IsStrippedAndNothingElse) {
    const auto stripped = [](std::string text) {
        text.resize(ks::strip_emphasis(text.data(), text.size()));
        return text;
    };
    EXPECT_EQ(stripped(""), "");
    EXPECT_EQ(stripped("plain"), "plain");
    EXPECT_EQ(stripped("\001\0011BINTERNAL ERROR\001\0010B detected"), "INTERNAL ERROR detected");
    EXPECT_EQ(stripped("a\001\0011B\001\0010Bb"), "ab");
    EXPECT_EQ(stripped("\001\001\0011B"), "\001");
    EXPECT_EQ(stripped("\001\0012B \001 \001\001"), "\001\0012B \001 \001\001");
    EXPECT_EQ(stripped("\001\0011"), "\001\0011");
}

} // namespace
