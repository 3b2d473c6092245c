#include "i18n/i18n_mime.h"

#include "ks/ks_errno.h"
#include "support/all_threads.hpp"
#include "support/faults.hpp"
#include "support/memory_meter.hpp"
#include "support/temp_dir.hpp"

#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr double usual_ratio = 0.8;
const std::string replacement = "\xEF\xBF\xBD";

std::string header(const std::string &text, const char *charset = nullptr, int kind = 0, double ratio = usual_ratio) {
    char *made = i18n_mime_encode_header(text.c_str(), charset, kind, ratio);
    EXPECT_TRUE(made);
    std::string value = made ? made : "(failed)";
    i18n_mime_free(&made);
    return value;
}

struct encoded {
    int kind;
    std::string charset, bytes;
    bool operator==(const encoded &) const = default;
};
std::ostream &operator<<(std::ostream &out, const encoded &what) {
    return out << what.kind << " " << what.charset << " " << what.bytes.substr(0, 200);
}
encoded body(const std::string &text, const char *charset = nullptr, int kind = 0, double ratio = usual_ratio) {
    i18n_mime_kind_t used = -1;
    const char *name = nullptr;
    char *made = i18n_mime_encode(text.c_str(), charset, kind, ratio, &used, &name);
    EXPECT_TRUE(made);
    encoded all{used, name ? name : "", made ? made : "(failed)"};
    i18n_mime_free(&made);
    return all;
}

std::string repeated(const std::string &part, size_t count) {
    std::string text;
    while (count-- > 0) text += part;
    return text;
}

TEST(MimeHeader, StaysAsItIsWhenItIsPlainAndShort) {
    for (const char *text :
         {"", "x", "Merge of branch \"main\" (3 files): done.", "tabs\tand  two blanks", "1=1? _yes_"}) {
        EXPECT_EQ(header(text), text);
        EXPECT_EQ(header(text, "ISO-2022-JP"), text);
    }
    EXPECT_EQ(header(std::string(67, 'x')), std::string(67, 'x'));
}

TEST(MimeHeader, IsFoldedBeforeBlanks) {
    const std::string word(20, 'w');
    const std::string text = word + " " + word + " " + word + "  " + word + " " + word + " " + word;
    EXPECT_EQ(header(text), word + " " + word + " " + word + "\r\n  " + word + " " + word + " " + word);
    // The first line leaves room for the name, the others go up to 76.
    EXPECT_EQ(header(std::string(67, 'a') + " " + std::string(75, 'b')),
              std::string(67, 'a') + "\r\n " + std::string(75, 'b'));
}

TEST(MimeHeader, IsEncodedWhereAWordIsTooLongForALine) {
    EXPECT_THAT(header(std::string(68, 'a')), StartsWith("=?US-ASCII?Q?aaa"));
    EXPECT_THAT(header("short " + std::string(76, 'b')), StartsWith("=?US-ASCII?Q?short_bbb"));
    EXPECT_THAT(header("a" + std::string(80, ' ') + "b"), StartsWith("=?US-ASCII?Q?a___"));
}

TEST(MimeHeader, IsEncodedWhereItWouldBeMisread) {
    EXPECT_EQ(header("a forged word: =?UTF-8?Q?yes?="), "=?US-ASCII?Q?a_forged_word:_=3D=3FUTF-8=3FQ=3Fyes=3F=3D?=");
    EXPECT_EQ(header(" led by a blank"), "=?US-ASCII?Q?_led_by_a_blank?=");
    EXPECT_EQ(header("followed by a tab\t"), "=?US-ASCII?Q?followed_by_a_tab=09?=");
}

TEST(MimeHeader, TakesTheEncodingThatSuitsItOrTheOneAskedFor) {
    EXPECT_EQ(header("Änderung geprüft, übernommen"), "=?UTF-8?Q?=C3=84nderung_gepr=C3=BCft,_=C3=BCbernommen?=");
    EXPECT_EQ(header("Änderung"), "=?UTF-8?B?w4RuZGVydW5n?=");
    EXPECT_EQ(header("変更"), "=?UTF-8?B?5aSJ5pu0?=");
    EXPECT_EQ(header("変更", nullptr, I18N_MIME_QUOTED_PRINTABLE), "=?UTF-8?Q?=E5=A4=89=E6=9B=B4?=");
    EXPECT_EQ(header("plain", nullptr, I18N_MIME_BASE64), "=?US-ASCII?B?cGxhaW4=?=");
    EXPECT_EQ(header("plain", nullptr, I18N_MIME_QUOTED_PRINTABLE), "=?US-ASCII?Q?plain?=");
    EXPECT_THAT(header("変更", nullptr, 0, 0), HasSubstr("?Q?"));
    EXPECT_THAT(header("Änderung geprüft, übernommen", nullptr, 0, 1.1), HasSubstr("?B?"));
    EXPECT_THAT(header("変更", nullptr, 0, std::nan("")), HasSubstr("?B?"));
}

TEST(MimeHeader, CannotStartAnotherHeader) {
    EXPECT_EQ(header("a\r\nBcc: x@example.com"), "a Bcc: x@example.com");
    EXPECT_EQ(header("a\rb\nc\x01"
                     "d\x7F"
                     "e\x1B"
                     "f"),
              "a b c d e f");
    EXPECT_EQ(header("line\r\n\r\n"), "line");
    EXPECT_EQ(header("\n"), "");
    // The line separators of Unicode as well: a reader may take them for one.
    EXPECT_EQ(header("ä\u0085ä\u2028ä\u2029ä", nullptr, I18N_MIME_QUOTED_PRINTABLE),
              "=?UTF-8?Q?=C3=A4_=C3=A4_=C3=A4_=C3=A4?=");
}

TEST(MimeHeader, GoesInTheCharacterSetAskedFor) {
    EXPECT_EQ(header("Änderung geprüft", "iso-8859-1"), "=?ISO-8859-1?B?xG5kZXJ1bmcgZ2VwcvxmdA==?=");
    EXPECT_EQ(header("\xC4nderung geprueft, uebernommen", "latin1"),
              "=?ISO-8859-1?Q?=C4nderung_geprueft,_uebernommen?=");
    EXPECT_EQ(header("日本語", "ISO-2022-JP"), "=?ISO-2022-JP?B?GyRCRnxLXDhsGyhC?=");
    EXPECT_EQ(header("\x1B$BF|K\\8l\x1B(B", "ISO-2022-JP"), "=?ISO-2022-JP?B?GyRCRnxLXDhsGyhC?=");
}

TEST(MimeHeader, GoesInUtf8WhereTheCharacterSetCannotHoldIt) {
    const std::string text = "10 € für 変更";
    EXPECT_EQ(header(text, "ISO-8859-1"), header(text));
    for (const char *name : {"", "no-such-set", "UTF-16", "UTF-7", "ibm-37", "US-ASCII", "utf8", "../../etc/passwd",
                             "ISO-8859-1,swaplfnl", "a-name-that-is-far-too-long-for-any-character-set-of-all"}) {
        EXPECT_EQ(header(text, name), header(text)) << name;
    }
    // Characters that are seldom shown count as well.
    EXPECT_THAT(header("so\u00ADft", "ISO-8859-1"), HasSubstr("ISO-8859-1"));
    EXPECT_THAT(header("zero\u200Bwidth ä", "ISO-8859-1"), HasSubstr("UTF-8"));
}

TEST(MimeBody, StaysAsItIsWhenItIsPlain) {
    EXPECT_EQ(body(""), (encoded{0, "US-ASCII", ""}));
    EXPECT_EQ(body("one = 1\n\ttwo \n"), (encoded{0, "US-ASCII", "one = 1\r\n\ttwo "}));
    EXPECT_EQ(body("no end"), (encoded{0, "US-ASCII", "no end"}));
    EXPECT_EQ(body("a\n\n", "ISO-2022-JP"), (encoded{0, "US-ASCII", "a\r\n"}));
    EXPECT_EQ(body(std::string(998, 'x') + "\n"), (encoded{0, "US-ASCII", std::string(998, 'x')}));
}

TEST(MimeBody, EndsItsLinesInOneWay) {
    EXPECT_EQ(body("a\nb\r\nc\rd\n\re\r\r\nf").bytes, "a\r\nb\r\nc\r\nd\r\n\r\ne\r\n\r\nf");
    EXPECT_EQ(body("ä\rb\n", nullptr, I18N_MIME_BASE64).bytes, "w6QNCmINCg==");
}

TEST(MimeBody, GuardsWhatServersAndReadersWouldChange) {
    EXPECT_EQ(body("a\n.\nb\n"), (encoded{1, "US-ASCII", "a\r\n=2E\r\nb"}));
    EXPECT_EQ(body(".hidden = 1"), (encoded{1, "US-ASCII", "=2Ehidden =3D 1"}));
    EXPECT_EQ(body("größer als vorher. \nals\t\n").bytes, "gr=C3=B6=C3=9Fer als vorher.=20\r\nals=09");
    EXPECT_EQ(body("form\ffeed, escape\x1B[0m").kind, 1);
    EXPECT_EQ(body("form\ffeed").bytes, "form=0Cfeed");
}

TEST(MimeBody, BreaksLongLines) {
    // 76 characters fit, of more the first 75.
    const auto of = [](const std::string &text) { return body(text, nullptr, I18N_MIME_QUOTED_PRINTABLE).bytes; };
    EXPECT_EQ(of(std::string(76, 'x')), std::string(76, 'x'));
    EXPECT_EQ(of(std::string(77, 'x')), std::string(75, 'x') + "=\r\nxx");
    EXPECT_EQ(of(std::string(73, 'x') + "="), std::string(73, 'x') + "=3D");
    EXPECT_EQ(of(std::string(74, 'x') + "="), std::string(74, 'x') + "=\r\n=3D");
    EXPECT_EQ(of(std::string(75, 'x') + ".x"), std::string(75, 'x') + "=\r\n=2Ex");
    EXPECT_EQ(of(std::string(75, 'x') + " "), std::string(75, 'x') + "=\r\n=20");
    EXPECT_EQ(of(std::string(73, 'x') + " \n"), std::string(73, 'x') + "=20");
    EXPECT_EQ(body(std::string(999, 'x')).kind, 1);
}

TEST(MimeBody, TakesTheEncodingThatSuitsIt) {
    EXPECT_EQ(body("zehn Änderungen").kind, I18N_MIME_QUOTED_PRINTABLE);
    EXPECT_EQ(body("変更"), (encoded{2, "UTF-8", "5aSJ5pu0"}));
    // 8 of 10 bytes are plain: just enough.
    EXPECT_EQ(body("12345678ä").kind, I18N_MIME_QUOTED_PRINTABLE);
    EXPECT_EQ(body("1234567ä").kind, I18N_MIME_BASE64);
    EXPECT_EQ(body("1234567ä", nullptr, 0, 0.7).kind, I18N_MIME_QUOTED_PRINTABLE);
    EXPECT_EQ(body("12345678ä", nullptr, 0, std::numeric_limits<double>::infinity()).kind, I18N_MIME_BASE64);
    EXPECT_EQ(body("plain", nullptr, I18N_MIME_BASE64), (encoded{2, "US-ASCII", "cGxhaW4="}));
    EXPECT_EQ(body("", nullptr, I18N_MIME_BASE64), (encoded{2, "US-ASCII", ""}));
}

TEST(MimeBody, GoesInTheCharacterSetAskedFor) {
    EXPECT_EQ(body("geprüft", "latin1"), (encoded{2, "ISO-8859-1", "Z2VwcvxmdA=="}));
    EXPECT_EQ(body("gepr\xFC"
                   "ft",
                   "ISO-8859-1"),
              body("geprüft", "latin1"));
    EXPECT_EQ(body("日本語\n", "iso-2022-jp"), (encoded{0, "ISO-2022-JP", "\x1B$BF|K\\8l\x1B(B"}));
    EXPECT_EQ(body("日\n.本\n語", "Shift_JIS", I18N_MIME_BASE64).charset, "Shift_JIS");
    EXPECT_EQ(body("日本語 😀", "ISO-2022-JP").charset, "UTF-8");
    EXPECT_EQ(body("Ж", "nothing").charset, "UTF-8");
}

TEST(MimeBody, ReplacesWhatIsNoCharacter) {
    const auto of = [](const std::string &text, const char *charset) {
        return body(text, charset, I18N_MIME_BASE64);
    };
    // UTF-8: one for each longest part that could begin a character (Unicode, table 3-8 and its neighbours).
    const struct {
        std::string bytes, text;
    } cases[] = {
        {"a\xFF", "a" + replacement},
        {"\xC3", replacement},
        {"\xC0\xAF", repeated(replacement, 2)},
        {"\xE0\x80\xAF", repeated(replacement, 3)},
        {"\xED\xA0\x80", repeated(replacement, 3)},
        {"\xF4\x90\x80\x80", repeated(replacement, 4)},
        {"\xF0\x9F\x98", replacement},
        {"\xE5\xA4z", replacement + "z"},
        {"変更変更変更\xE5\xA4", "変更変更変更" + replacement},
    };
    for (const auto &[bytes, text] : cases) EXPECT_EQ(of(bytes, nullptr), of(text, nullptr)) << text;
    // U+FFFD is no character of these, so that the text goes in UTF-8.
    EXPECT_EQ(of("\x1B$B\xFF\xFF", "ISO-2022-JP").charset, "UTF-8");
    EXPECT_EQ(of("\x82", "Shift_JIS"), of(replacement, nullptr));
    EXPECT_EQ(of("ok \xFE", "US-ASCII"), of("ok " + replacement, nullptr));
}

TEST(Mime, RefusesWhatIsNotThere) {
    i18n_mime_kind_t kind = 7;
    const char *charset = "untouched";
    const auto refused = [](const char *made) {
        EXPECT_EQ(made, nullptr);
        EXPECT_EQ(ks_errno, KS_EINVAL);
        ks_errno = 0;
    };
    refused(i18n_mime_encode_header(nullptr, "UTF-8", 0, usual_ratio));
    refused(i18n_mime_encode_header("x", "UTF-8", 3, usual_ratio));
    refused(i18n_mime_encode_header("x", "UTF-8", -1, usual_ratio));
    refused(i18n_mime_encode(nullptr, nullptr, 0, usual_ratio, &kind, &charset));
    refused(i18n_mime_encode("x", nullptr, 3, usual_ratio, &kind, &charset));
    refused(i18n_mime_encode("x", nullptr, 0, usual_ratio, nullptr, &charset));
    refused(i18n_mime_encode("x", nullptr, 0, usual_ratio, &kind, nullptr));
    EXPECT_EQ(kind, 7);
    EXPECT_STREQ(charset, "untouched");
    i18n_mime_free(nullptr);
    char *none = nullptr;
    i18n_mime_free(&none);
}

TEST(Mime, SaysThatThereIsNoMemory) {
    const std::string text = "Änderung\x01 変更\r\n\xFF" + std::string(100, 'x');
    for (const char *charset : {"UTF-8", "GB18030"}) {
        const int refused = faults::each_allocation([&](int, bool) {
            i18n_mime_kind_t kind = 7;
            const char *name = "untouched";
            char *value = i18n_mime_encode_header(text.c_str(), charset, 0, usual_ratio);
            const int header_error = value ? 0 : ks_errno;
            char *made = i18n_mime_encode(text.c_str(), charset, 0, usual_ratio, &kind, &name);
            const int body_error = made ? 0 : ks_errno;
            const faults::suspend pause;
            EXPECT_TRUE(value || header_error == KS_ENOMEM);
            EXPECT_TRUE(made || (body_error == KS_ENOMEM && kind == 7 && std::strcmp(name, "untouched") == 0));
            i18n_mime_free(&value);
            i18n_mime_free(&made);
        });
        EXPECT_GT(refused, 5) << charset;
    }
}

TEST(Mime, HoldsAFewTimesTheTextInMemory) {
    const std::string text = repeated("geändert.\r\n", 100'000);
    for (const char *charset : {"UTF-8", "ISO-8859-1"}) {
        const memory_meter meter;
        EXPECT_EQ(body(text, charset).kind, I18N_MIME_QUOTED_PRINTABLE);
        EXPECT_LT(meter.peak(), 6 * text.size()) << charset;
    }
}

TEST(Mime, EncodesTenMegabytesLineByLine) {
    constexpr size_t count = 10'000'000 / 57;
    const std::string line = "Diese Zeile hat mit ihrem Zeilenende 57 Byte: geprüft.";
    ASSERT_EQ(line.size(), 55U);
    const std::string text = repeated(line + "\n", count);
    // The last line goes without its end, and 57 bytes are one line of base64.
    const encoded printed = body(text);
    EXPECT_EQ(printed.kind, I18N_MIME_QUOTED_PRINTABLE);
    EXPECT_TRUE(printed.bytes + "\r\n" == repeated(body(line).bytes + "\r\n", count));
    const std::string in_base64 = body(text, nullptr, I18N_MIME_BASE64).bytes;
    EXPECT_TRUE(in_base64 + "\r\n" == repeated(body(line + "\n", nullptr, I18N_MIME_BASE64).bytes + "\r\n", count));
}

TEST(Mime, ServesManyThreads) {
    const std::string text = "日本語 geprüft";
    const std::string value = header(text, "GB18030");
    const encoded made = body(text, "EUC-JP");
    std::atomic<int> wrong = 0;
    on_all_threads(4, [&](int) {
        for (int i = 0; i < 50; i++) wrong += header(text, "GB18030") != value || body(text, "EUC-JP") != made;
    });
    EXPECT_EQ(wrong, 0);
}

// Python's email package as the reader.
class witness {
public:
    void expect_header(const std::string &text, const char *charset, int kind, const std::string &expected) {
        add("header " + hex(header(text, charset, kind)) + " " + hex(expected));
    }
    void expect_body(const std::string &text, const char *charset, int kind, const std::string &expected) {
        const encoded made = body(text, charset, kind);
        add("body " + std::to_string(made.kind) + " " + made.charset + " " + hex(made.bytes) + " " + hex(expected));
    }
    void ask() const {
        const std::string file = dir.write("cases", cases);
        FILE *answer =
            popen(("python3 '" ORSIK_SOURCE_DIR "/tests/i18n/mime_witness.py' '" + file + "' 2>&1").c_str(), "r");
        ASSERT_TRUE(answer);
        std::string said;
        std::array<char, 4096> part;
        while (std::fgets(part.data(), part.size(), answer)) said += part.data();
        EXPECT_EQ(pclose(answer), 0);
        EXPECT_EQ(said, std::to_string(count) + " cases agree\n");
    }

private:
    void add(const std::string &line) {
        cases += line + "\n";
        count++;
    }
    static std::string hex(const std::string &bytes) {
        std::string text;
        for (const unsigned char byte : bytes) {
            text += "0123456789abcdef"[byte >> 4];
            text += "0123456789abcdef"[byte & 15];
        }
        return text;
    }

    temp_dir dir;
    std::string cases;
    int count = 0;
};

const std::vector<std::string> &texts() {
    static const std::vector<std::string> all = {
        "a",
        "Merge of branch main: 3 files, (1 conflict), \"done\"; see <http://example.com/?a=b&c=d_e>",
        "Änderung geprüft und übernommen: größer als vorher, außer im Zweig „Prüfung“",
        "ファイルの変更が確認されました。マージできます。ファイルの変更が確認されました。マージできます。",
        "שלום עולם: הקובץ שונה \u200Fמאוד\u200E ונבדק. مرحبا بالعالم، تم تغيير الملف",
        "👩‍👩‍👧‍👦 🏳️‍🌈 𝔘𝔫𝔦𝔠𝔬𝔡𝔢 e\u0301 \U0010FFFF " +
            repeated("😀", 60),
        "=?utf-8?q?not_encoded?= and =?x?= and ?= and = and _under_score_",
        "a" + std::string(200, ' ') + "b",
        repeated("word and another  word ", 100) + "end",
        "tab\tand\ttab ä\tö",
        "...",
    };
    return all;
}

void add_headers(witness &reader) {
    for (const std::string &text : texts()) {
        for (const char *charset : {static_cast<const char *>(nullptr), "UTF-8", "ISO-8859-1", "ISO-2022-JP",
                                    "ISO-2022-JP-2", "Shift_JIS", "GB18030", "ISO-8859-8", "koi8-r", "unknown"}) {
            for (const int kind : {0, 1, 2}) reader.expect_header(text, charset, kind, text);
        }
    }
    for (const char *part : {"x", "ö", "変"})
        reader.expect_header(repeated(part, 5'000), "UTF-8", 0, repeated(part, 5'000));
    reader.expect_header("ends\r\nwith\x01ä\u0085 \u2028lines\r\n\n", "UTF-8", 0, "ends with ä   lines");
    reader.expect_header("\xC4nderung", "ISO-8859-1", 0, "Änderung");
    reader.expect_header("\x1B$BF|K\\8l\x1B(B text", "ISO-2022-JP", 0, "日本語 text");
    reader.expect_header("bad \xFF\xC3", "UTF-8", 0, "bad " + repeated(replacement, 2));
}

void add_words_of_every_length(witness &reader) {
    for (size_t length = 1; length < 80; length++) {
        reader.expect_header(repeated("xö", length), "UTF-8", 0, repeated("xö", length));
        reader.expect_header(repeated("x日", length), "ISO-2022-JP", 1, repeated("x日", length));
        reader.expect_header(repeated("日", length), "ISO-2022-JP", 2, repeated("日", length));
        reader.expect_header(repeated("wo ", length) + "rd", "UTF-8", 0, repeated("wo ", length) + "rd");
    }
}

void add_bodies(witness &reader) {
    std::string all;
    for (const std::string &text : texts()) all += text + "\n";
    std::vector<std::string> bodies = texts();
    bodies.insert(bodies.end(), {"", "\n", "\n\n", ".", ".\n", "..\n.\n", " ", " \n\t\n", "a\rb\nc\r\nd\r\r\n",
                                 "no end", "control \x01\x7F\f", all, repeated(all, 2)});
    for (const char *part : {"x", "ö", "変"}) bodies.push_back(repeated(part, 5'000) + "\n");
    for (const std::string &text : bodies) {
        for (const char *charset :
             {static_cast<const char *>(nullptr), "ISO-8859-1", "ISO-2022-JP", "EUC-JP", "GB18030"}) {
            for (const int kind : {0, 1, 2}) reader.expect_body(text, charset, kind, text);
        }
    }
}

void add_lines_of_every_length(witness &reader) {
    for (const char *part : {"x", "ö", ".", " "}) {
        for (size_t length = 1; length < 80; length++) {
            const std::string line = repeated(part, length);
            reader.expect_body(line + "\n" + line, "UTF-8", I18N_MIME_QUOTED_PRINTABLE, line + "\n" + line);
            reader.expect_body(line, "UTF-8", I18N_MIME_BASE64, line);
        }
    }
}

TEST(MimeWitness, ReadsEverythingBack) {
    witness reader;
    add_headers(reader);
    add_words_of_every_length(reader);
    add_bodies(reader);
    add_lines_of_every_length(reader);
    reader.ask();
}

} // namespace
