// Exported settings: what this host writes, and what it reads of other hosts.
#include "nt/nt_regy.h"

#include "nt/registry_support.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using namespace registry_test;
using testing::ElementsAre;
using testing::IsEmpty;

// ASCII, Latin letters of two bytes and characters of three as UTF-16; enough for the texts here.
std::string wide(std::string_view text, bool big = false) {
    std::string bytes;
    for (size_t i = 0; i < text.size(); i++) {
        const auto byte = [&](size_t at) { return unsigned{static_cast<unsigned char>(text[at])}; };
        unsigned c = byte(i);
        if (c >= 0xE0) {
            c = (c & 15) << 12 | (byte(i + 1) & 63) << 6 | (byte(i + 2) & 63);
            i += 2;
        } else if (c >= 0xC0) {
            c = (c & 31) << 6 | (byte(i + 1) & 63);
            i++;
        }
        const char low = static_cast<char>(c & 0xFF), high = static_cast<char>(c >> 8);
        bytes += big ? high : low;
        bytes += big ? low : high;
    }
    return bytes;
}

const std::string little_mark = "\xFF\xFE", big_mark = "\xFE\xFF", utf8_mark = "\xEF\xBB\xBF";
const std::string version_5 = "Windows Registry Editor Version 5.00\r\n\r\n";

struct imported {
    int error;
    uint32_t line, skipped;
    bool operator==(const imported &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const imported &one) {
        return out << "{error " << one.error << ", line " << one.line << ", skipped " << one.skipped << "}";
    }
};

imported import(const registry &own, std::string_view content) {
    imported result{-1, 99, 99};
    const std::string file = own.dir.write("in.reg", content);
    result.error = ntregy_import(file.c_str(), &result.line, &result.skipped);
    return result;
}

// Settings in UTF-8 behind the version's line and an empty one: what is given begins on line 3.
imported import_5(const registry &own, std::string_view lines) { return import(own, version_5 + std::string(lines)); }

constexpr imported all_well{0, 0, 0};

imported wrong(uint32_t line, int error = KS_EINVAL) { return {error, line, 0}; }

// ---- writing

const std::string golden = "\xEF\xBB\xBFWindows Registry Editor Version 5.00\r\n"
                           "\r\n"
                           "[HKEY_LOCAL_MACHINE\\Software\\Tessivane]\r\n"
                           "@=\"default \\\"quoted\\\" C:\\\\bin\"\r\n"
                           "\"a \\\\ \\\"name\\\"\"=\"\xC3\xA4\xE2\x82\xAC\"\r\n"
                           "\"bytes\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\r\n"
                           "  16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27,28,29,2a,2b,2c,2d,2e,\\\r\n"
                           "  2f,30,31\r\n"
                           "\"empty\"=hex:\r\n"
                           "\"expand\"=hex(2):25,00,41,00,25,00,00,00\r\n"
                           "\"lines\"=hex(1):61,00,0d,00,0a,00,62,00,00,00\r\n"
                           "\"list\"=hex(7):61,00,00,00,e4,00,00,00,00,00\r\n"
                           "\"none\"=hex(0):ff\r\n"
                           "\"number\"=dword:0000001a\r\n"
                           "\"other\"=hex(ffff0012):01\r\n"
                           "\"wide\"=hex(b):f0,de,bc,9a,78,56,34,12\r\n"
                           "\r\n"
                           "[HKEY_LOCAL_MACHINE\\Software\\Tessivane\\Empty]\r\n"
                           "\r\n"
                           "[HKEY_LOCAL_MACHINE\\Software\\Tessivane\\TypeManagers]\r\n"
                           "\r\n"
                           "[HKEY_LOCAL_MACHINE\\Software\\Tessivane\\TypeManagers\\Text ; ]x]\r\n"
                           "\"compare\"=\"cmp\"\r\n";

void write_golden() {
    const std::string key = "Software\\Tessivane";
    std::string bytes;
    for (int i = 0; i <= 0x31; i++) bytes += static_cast<char>(i);
    EXPECT_EQ(ntregy_set_string(hklm, key.c_str(), "", "default \"quoted\" C:\\bin"), 0);
    EXPECT_EQ(ntregy_set_string(hklm, key.c_str(), "a \\ \"name\"", "\xC3\xA4\xE2\x82\xAC"), 0);
    EXPECT_EQ(set(key, "bytes", NTREGY_BINARY, bytes), 0);
    EXPECT_EQ(set(key, "empty", NTREGY_BINARY, ""), 0);
    EXPECT_EQ(set(key, "expand", NTREGY_EXPAND_SZ, "%A%\0"sv), 0);
    EXPECT_EQ(set(key, "lines", NTREGY_SZ, "a\r\nb\0"sv), 0);
    EXPECT_EQ(set(key, "list", NTREGY_MULTI_SZ, "a\0\xC3\xA4\0\0"sv), 0);
    EXPECT_EQ(set(key, "none", NTREGY_NONE, "\xFF"), 0);
    EXPECT_EQ(set(key, "number", NTREGY_DWORD, bytes_of(uint32_t{26})), 0);
    EXPECT_EQ(set(key, "other", 0xFFFF0012, "\1"), 0);
    EXPECT_EQ(set(key, "wide", NTREGY_QWORD, bytes_of(uint64_t{0x123456789ABCDEF0})), 0);
    EXPECT_EQ(ntregy_create_key(hklm, "software\\tessivane\\Empty"), 0);
    EXPECT_EQ(ntregy_set_string(hklm, "SOFTWARE\\tessivane\\TypeManagers\\Text ; ]x", "compare", "cmp"), 0);
}

TEST(NtregyExport, WritesTheGoldenText) {
    const registry own;
    write_golden();
    EXPECT_EQ(ntregy_set_string(hklm, "Software\\Tessivane2", "beside", "x"), 0);
    EXPECT_EQ(ntregy_export(hklm, "SOFTWARE\\TESSIVANE", (own.dir / "out.reg").c_str()), 0);
    EXPECT_EQ(own.dir.read("out.reg"), wide(golden));
}

TEST(NtregyExport, ReadsBackAsItWas) {
    const registry own;
    write_golden();
    EXPECT_EQ(ntregy_export(hklm, "", (own.dir / "all.reg").c_str()), 0);
    const auto before = values("software\\tessivane");
    ASSERT_EQ(before.size(), 11u);
    EXPECT_EQ(ntregy_delete_key(hklm, "Software"), 0);
    EXPECT_EQ(ntregy_import((own.dir / "all.reg").c_str(), nullptr, nullptr), 0);
    EXPECT_EQ(values("software\\tessivane"), before);
    EXPECT_EQ(ntregy_export(hklm, "", (own.dir / "again.reg").c_str()), 0);
    EXPECT_EQ(own.dir.read("again.reg"), own.dir.read("all.reg"));
}

TEST(NtregyExport, BeginsWithTheRootWhenAllIsAsked) {
    const registry own;
    EXPECT_EQ(ntregy_export(hklm, "", (own.dir / "all.reg").c_str()), 0);
    const std::string empty = utf8_mark + "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE]\r\n";
    EXPECT_EQ(own.dir.read("all.reg"), wide(empty));
    EXPECT_EQ(ntregy_create_key(hklm, "A\\B"), 0);
    EXPECT_EQ(ntregy_export(hklm, "", (own.dir / "all.reg").c_str()), 0);
    EXPECT_EQ(own.dir.read("all.reg"),
              wide(empty + "\r\n[HKEY_LOCAL_MACHINE\\A]\r\n\r\n[HKEY_LOCAL_MACHINE\\A\\B]\r\n"));
}

TEST(NtregyExport, ReplacesTheFileAsAWholeOrLeavesIt) {
    const registry own;
    EXPECT_EQ(ntregy_create_key(hklm, "A"), 0);
    const std::string file = own.dir.write("out.reg", "old");
    EXPECT_EQ(ntregy_export(hklm, "None", file.c_str()), KS_ENOENT);
    EXPECT_EQ(own.dir.read("out.reg"), "old");
    chmod(file.c_str(), 0600);
    std::string product_path = file;
    std::replace(product_path.begin(), product_path.end(), '/', '\\');
    EXPECT_EQ(ntregy_export(hklm, "A", product_path.c_str()), 0);
    EXPECT_EQ(own.dir.read("out.reg").size() % 2, 0u);
    struct stat status {};
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(ntregy_export(hklm, "A", own.dir.str().c_str()), KS_EISDIR);
    EXPECT_EQ(ntregy_export(hklm, "A", (own.dir / "none/out.reg").c_str()), KS_ENOENT);
    EXPECT_EQ(ntregy_export(hklm, "A", nullptr), KS_EINVAL);
    EXPECT_EQ(ntregy_export(hklm, "A", ""), KS_EINVAL);
    EXPECT_EQ(ntregy_export(hklm, "A\\", file.c_str()), KS_EINVAL);
    EXPECT_EQ(ntregy_export(1, "A", file.c_str()), KS_EINVAL);
    EXPECT_EQ(ntregy_export(hklm, "A", std::string(2000, 'p').c_str()), KS_ENAMETOOLONG);
    size_t files = 0;
    for ([[maybe_unused]] const auto &one : std::filesystem::directory_iterator(own.dir.path())) files++;
    EXPECT_EQ(files, 2u); // the registry and the export: nothing is left behind
}

// ---- reading

TEST(NtregyImport, ReadsAFileAsAWindowsHostWritesIt) {
    const registry own;
    const std::string text = utf8_mark + version_5 +
                             "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Tessivane]\r\n"
                             "\"SmtpServer\"=\"mail.bracken.example\"\r\n"
                             "\"ViewInterop\"=dword:00000001\r\n"
                             "\"Cache\"=hex(2):25,00,54,00,45,00,4d,00,50,00,25,00,5c,00,74,00,65,00,73,00,73,\\\r\n"
                             "  00,69,00,00,00\r\n"
                             "\"Hosts\"=hex(7):6f,00,6e,00,65,00,00,00,74,00,77,00,6f,00,00,00,00,00\r\n"
                             "\"Size\"=hex(b):00,00,00,40,00,00,00,00\r\n"
                             "\"Notice\"=\"first line\r\nsecond line\"\r\n"
                             "\r\n"
                             "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Tessivane\\TypeManagers\\ms_word]\r\n"
                             "@=\"C:\\\\Program Files\\\\Tessivane\\\\bin\\\\word.exe\"\r\n"
                             "\r\n"
                             "[HKEY_CURRENT_USER\\Software\\Tessivane]\r\n"
                             "\"Colour\"=dword:00ff8000\r\n"
                             "\r\n";
    EXPECT_EQ(import(own, wide(text)), (imported{0, 0, 1}));
    const std::string key = "SOFTWARE\\Tessivane";
    EXPECT_EQ(text_of(key, "SmtpServer"), "mail.bracken.example");
    uint32_t interop = 0;
    EXPECT_EQ(ntregy_get_param(26, &interop, sizeof interop), 0);
    EXPECT_EQ(interop, 1u);
    EXPECT_EQ(get(key, "cache"), (value{NTREGY_EXPAND_SZ, "%TEMP%\\tessi\0"s}));
    EXPECT_EQ(get(key, "hosts"), (value{NTREGY_MULTI_SZ, "one\0two\0\0"s}));
    EXPECT_EQ(get(key, "size"), (value{NTREGY_QWORD, bytes_of(uint64_t{1} << 30)}));
    EXPECT_EQ(text_of(key, "notice"), "first line\r\nsecond line");
    EXPECT_EQ(text_of(key + "\\TypeManagers\\ms_word", ""), "C:\\Program Files\\Tessivane\\bin\\word.exe");
    EXPECT_THAT(subkeys(""), ElementsAre("SOFTWARE:0"));
}

TEST(NtregyImport, ReadsEveryEncoding) {
    const std::string text = version_5 + "[HKEY_LOCAL_MACHINE\\\xC3\x84]\r\n\"\xE2\x82\xAC\"=\"\xC3\xA4\"\r\n";
    const std::string all[] = {
        text, utf8_mark + text, wide(text), little_mark + wide(text), wide(text, true), big_mark + wide(text, true)};
    for (const std::string &content : all) {
        const registry own;
        EXPECT_EQ(import(own, content), all_well);
        EXPECT_EQ(text_of("\xC3\x84", "\xE2\x82\xAC"), "\xC3\xA4");
    }
    std::string lines = text;
    lines.erase(std::remove(lines.begin(), lines.end(), '\r'), lines.end());
    const registry own;
    EXPECT_EQ(import(own, lines), all_well);
    lines.pop_back();
    EXPECT_EQ(import(own, lines), all_well);
    // A character beyond the basic plane is two units.
    EXPECT_EQ(import_5(own, "[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex(1):3d,d8,00,de,00,00\n"), all_well);
    EXPECT_EQ(text_of("A", "v"), "\xF0\x9F\x98\x80");
    EXPECT_EQ(ntregy_export(hklm, "A", (own.dir / "out.reg").c_str()), 0);
    EXPECT_EQ(ntregy_import((own.dir / "out.reg").c_str(), nullptr, nullptr), 0);
    EXPECT_EQ(text_of("A", "v"), "\xF0\x9F\x98\x80");
}

TEST(NtregyImport, TakesBytesOfTextsForCharactersInTheOldForm) {
    const registry own;
    EXPECT_EQ(import(own,
                     "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\A]\n\"e\"=hex(2):25,41,25,00\n\"m\"=hex(7):61,00,62,00,00\n"
                     "\"s\"=\"text\"\n"),
              all_well);
    EXPECT_EQ(get("A", "e"), (value{NTREGY_EXPAND_SZ, "%A%\0"s}));
    EXPECT_EQ(get("A", "m"), (value{NTREGY_MULTI_SZ, "a\0b\0\0"s}));
    EXPECT_EQ(text_of("A", "s"), "text");
}

TEST(NtregyImport, EndsTextsThatOtherHostsLeftOpen) {
    const registry own;
    EXPECT_EQ(import_5(own, "[HKEY_LOCAL_MACHINE\\A]\n"
                            "\"open\"=hex(1):61,00\n"
                            "\"none\"=hex(2):\n"
                            "\"behind\"=hex(1):61,00,00,00,62,00\n"
                            "\"list\"=hex(7):61,00,00,00,62,00\n"
                            "\"one end\"=hex(7):61,00,00,00\n"
                            "\"no list\"=hex(7):\n"
                            "\"two ends\"=hex(7):00,00,00,00\n"),
              all_well);
    EXPECT_EQ(get("A", "open"), (value{NTREGY_SZ, "a\0"s}));
    EXPECT_EQ(get("A", "none"), (value{NTREGY_EXPAND_SZ, "\0"s}));
    EXPECT_EQ(get("A", "behind"), (value{NTREGY_SZ, "a\0"s}));
    EXPECT_EQ(get("A", "list"), (value{NTREGY_MULTI_SZ, "a\0b\0\0"s}));
    EXPECT_EQ(get("A", "one end"), (value{NTREGY_MULTI_SZ, "a\0\0"s}));
    EXPECT_EQ(get("A", "no list"), (value{NTREGY_MULTI_SZ, "\0"s}));
    EXPECT_EQ(get("A", "two ends"), (value{NTREGY_MULTI_SZ, "\0"s}));
}

TEST(NtregyImport, AllowsBlanksCommentsAndEitherCase) {
    const registry own;
    EXPECT_EQ(import_5(own, "; a comment\n"
                            " \t\n"
                            "  [hkey_local_machine\\A] ; behind a key\n"
                            "  \"a\" = \"x;y\" ; behind a value\n"
                            "\"b\"=DWORD:1F\n"
                            "\"c\"=HEX(3): 1, 02 ,\\  \n"
                            "\t0A ; behind bytes\n"
                            "\"d\"=hex:01,\n"
                            "\"e\"=hex:\\\n"
                            "  ff\n"
                            "\"x\"=\"]\"\n"
                            "[HKEY_LOCAL_MACHINE\\B]x]\n"
                            "@=\"in brackets\""),
              all_well);
    EXPECT_EQ(text_of("A", "a"), "x;y");
    EXPECT_EQ(get("A", "b"), (value{NTREGY_DWORD, bytes_of(uint32_t{31})}));
    EXPECT_EQ(get("A", "c"), (value{NTREGY_BINARY, "\x01\x02\x0A"}));
    EXPECT_EQ(get("A", "d"), (value{NTREGY_BINARY, "\x01"}));
    EXPECT_EQ(get("A", "e"), (value{NTREGY_BINARY, "\xFF"}));
    EXPECT_EQ(text_of("B]x", ""), "in brackets");
}

TEST(NtregyImport, DeletesKeysAndValues) {
    const registry own;
    for (const char *key : {"A", "A\\B", "C"}) {
        EXPECT_EQ(ntregy_set_string(hklm, key, "", "default"), 0);
        EXPECT_EQ(ntregy_set_string(hklm, key, "v", "x"), 0);
    }
    EXPECT_EQ(import_5(own, "[-HKEY_LOCAL_MACHINE\\a]\n[-HKEY_LOCAL_MACHINE\\None]\n[HKEY_LOCAL_MACHINE\\C]\n"
                            "\"V\"=-\n@ = - ; gone\n\"none\"=-\n[-HKEY_CURRENT_USER\\C]\n"),
              (imported{0, 0, 1}));
    EXPECT_THAT(subkeys(""), ElementsAre("C:0"));
    EXPECT_EQ(import_5(own, "[HKEY_LOCAL_MACHINE\\C]\n\"v\"=\"1\"\n[-HKEY_LOCAL_MACHINE\\C]\n"
                            "[HKEY_LOCAL_MACHINE\\C]\n\"w\"=\"2\"\n"),
              all_well);
    EXPECT_THAT(names(values("C")), ElementsAre("w"));
}

TEST(NtregyImport, NamesTheLineThatIsWrongAndChangesNothing) {
    struct bad {
        const char *lines; // from line 3 on
        uint32_t line;
    };
    const bad all[] = {
        {"nonsense\n", 3},
        {"\n\n=\n", 5},
        {"[HKEY_LOCAL_MACHINE\\A\n", 3},
        {"[HKEY_LOCAL_MACHINE\\A] x\n", 3},
        {"[]\n", 3},
        {"[HKLM\\A]\n", 3},
        {"[HKEY_NOBODY\\A]\n", 3},
        {"[HKEY_LOCAL_MACHINE\\]\n", 3},
        {"[HKEY_LOCAL_MACHINE\\A\\]\n", 3},
        {"[HKEY_LOCAL_MACHINE\\\\A]\n", 3},
        {"[HKEY_LOCAL_MACHINE/A]\n", 3},
        {"[-HKEY_LOCAL_MACHINE]\n", 3},
        {"[HKEY_LOCAL_MACHINE]\n\"v\"=\"of the root\"\n", 4},
        {"[-HKEY_LOCAL_MACHINE\\A]\n\"v\"=\"of what is gone\"\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v=\"x\"\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=x\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=\"x\" y\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=\"\\n\"\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=\"never\n\nends\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"na\nme\"=\"x\"\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"na\tme\"=\"x\"\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=dword:\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=dword:123456789\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=dword:0x1\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex():1\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex(-1):1\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex(100000000):1\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex(2:1\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex:1,2,123\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex:1 2\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex:1,,2\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex:1,\\\n  2,\\\n  xy\n", 6},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex:1,\\ 2\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex:1,\\", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex(4):1,2,3\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex(b):1,2,3,4\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex(1):61,00,\\\n  62\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex(1):00,d8\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=hex(7):00,dc,00,00\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=- x\n", 4},
        {"[HKEY_CURRENT_USER\\A]\n\"v\"=x\n", 4},
        {"[HKEY_LOCAL_MACHINE\\A]\n\n\"v\"=\"\xC3\"\n", 5},
        {"[HKEY_LOCAL_MACHINE\\A]\n\"v\"=\"x\"\n\xFF\n", 5},
    };
    const registry own;
    for (const bad &one : all) {
        EXPECT_EQ(import_5(own, one.lines), wrong(one.line)) << one.lines;
        EXPECT_EQ(ks_errno, KS_EINVAL);
        EXPECT_EQ(import_5(own, "[HKEY_LOCAL_MACHINE\\Good]\n"s + one.lines), wrong(one.line + 1)) << one.lines;
    }
    EXPECT_EQ(import_5(own, "\"v\"=\"before any key\"\n[HKEY_LOCAL_MACHINE\\Good]\n"), wrong(3));
    EXPECT_FALSE(own.exists());
}

TEST(NtregyImport, RefusesAnotherFirstLine) {
    const registry own;
    for (const char *text : {"", "\n", "x", "REGEDIT", "REGEDIT5\n", "REGEDIT4x\n", "\nREGEDIT4\n",
                             "Windows Registry Editor Version 4.00\n", "[HKEY_LOCAL_MACHINE\\A]\n"}) {
        EXPECT_EQ(import(own, text), wrong(1)) << text;
    }
    EXPECT_EQ(import(own, "REGEDIT4"), all_well);
    EXPECT_EQ(import(own, little_mark + wide("REGEDIT4\n") + "x"), wrong(2));
}

TEST(NtregyImport, NamesTheLineOfWhatIsTooLongOrTooLarge) {
    const registry own;
    const std::string key = "[HKEY_LOCAL_MACHINE\\A]\n", name(NTREGY_KEY_SIZE - 1, 'n');
    EXPECT_EQ(import_5(own, "[HKEY_LOCAL_MACHINE\\" + name + "]\n"), all_well);
    EXPECT_EQ(import_5(own, "[HKEY_LOCAL_MACHINE\\" + name + "n]\n"), wrong(3, KS_ENAMETOOLONG));
    EXPECT_EQ(import_5(own, key + "\"" + name + "\"=\"\"\n"), all_well);
    EXPECT_EQ(import_5(own, key + "\"" + name + "n\"=\"\"\n"), wrong(4, KS_ENAMETOOLONG));
    const std::string large(NTREGY_MAX_DATA - 1, 'l');
    EXPECT_EQ(import_5(own, key + "\"v\"=\"" + large + "\"\n"), all_well);
    EXPECT_EQ(import_5(own, key + "\"v\"=\"" + large + "l\"\n"), wrong(4, KS_E2BIG));
    EXPECT_EQ(get("A", "v"), (value{NTREGY_SZ, large + '\0'}));
}

TEST(NtregyImport, TellsWhyAFileCannotBeRead) {
    const registry own;
    uint32_t line = 99, skipped = 99;
    EXPECT_EQ(ntregy_import((own.dir / "none.reg").c_str(), &line, &skipped), KS_ENOENT);
    EXPECT_EQ(line, 0u);
    EXPECT_EQ(skipped, 0u);
    EXPECT_EQ(ntregy_import(own.dir.str().c_str(), nullptr, nullptr), KS_EISDIR);
    EXPECT_EQ(ntregy_import(nullptr, nullptr, nullptr), KS_EINVAL);
    const std::string file = own.dir.write("large.reg", "REGEDIT4\n");
    std::filesystem::resize_file(file, (64u << 20) + 1);
    EXPECT_EQ(ntregy_import(file.c_str(), nullptr, nullptr), KS_EFBIG);
}

TEST(NtregyImport, ChangesNothingWhenTheRegistryIsDamaged) {
    const registry own;
    own.dir.write("registry.db", "damaged");
    EXPECT_EQ(import_5(own, "[HKEY_LOCAL_MACHINE\\A]\n"), (imported{KS_EIO, 0, 0}));
    EXPECT_EQ(own.dir.read("registry.db"), "damaged");
}

} // namespace
