// Rules of file types: how they are read, what they say of a file.

#include "support/faults.hpp"
#include "support/temp_dir.hpp"
#include "typing/examined_file.hpp"
#include "typing/program.hpp"
#include "typing/reader.hpp"
#include "typing/rule_set.hpp"

#include <gtest/gtest.h>
#include <ks/ks_stg.h>
#include <ks/ks_wild.h>

#include <clocale>
#include <cstring>
#include <cwctype>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

using namespace tbs::typing;

namespace {

struct complaint {
    std::string what, file;
    uint32_t line;
    bool operator==(const complaint &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const complaint &one) {
        return out << one.what << ", \"" << one.file << "\" " << one.line;
    }
};

const char beyond[] = "(beyond the content)";

class note_taker final : public listener {
public:
    void bad_syntax(const char *what, const char *file, uint32_t line) noexcept override { add(what, file, line); }
    void beyond_content(const char *file, uint32_t line) noexcept override { add(beyond, file, line); }

    std::vector<complaint> heard;

private:
    void add(const char *what, const char *file, uint32_t line) {
        const faults::suspend unrefused;
        heard.push_back({what, file, line});
    }
};

// A type file that has been read.
struct read_rules {
    explicit read_rules(const std::string &text) { add(text); }
    void add(const std::string &text, const char *file = "some.magic") { read_text(rules, file, text); }

    note_taker notes;
    scoped_rule_set rules{notes};

    [[nodiscard]] size_t count() const {
        size_t count = 0;
        for (const definition *one = rules.first(); one; one = one->next) count++;
        return count;
    }
    // First names of all definitions.
    [[nodiscard]] std::string names() const {
        std::string all;
        for (const definition *one = rules.first(); one; one = one->next) all += std::string(one->names[0]) + ' ';
        if (!all.empty()) all.pop_back();
        return all;
    }
    // "what:line" of each complaint.
    [[nodiscard]] std::vector<std::string> complaints() const {
        std::vector<std::string> all;
        for (const complaint &one : notes.heard) all.push_back(one.what + ":" + std::to_string(one.line));
        return all;
    }
};

using strings = std::vector<std::string>;

std::string error_at(int line) { return "syntax error:" + std::to_string(line); }
std::string beyond_at(int line) { return beyond + (":" + std::to_string(line)); }

std::string shape(const ft_node_t *node) {
    if (!node) return "0";
    switch (node->kind) {
    case FT_OR: return "(" + shape(node->u.operands.left) + "|" + shape(node->u.operands.right) + ")";
    case FT_AND: return "(" + shape(node->u.operands.left) + "&" + shape(node->u.operands.right) + ")";
    case FT_NOT: return "!" + shape(node->u.operands.left);
    case FT_NAME_TEST: return node->u.name.pattern;
    case FT_TOKEN_TEST: return "-t" + std::string(node->u.token.text, node->u.token.length);
    case FT_COMMAND_TEST: return "-f" + std::string(node->u.command.text, node->u.command.length);
    case FT_PRINTABLE_TEST: return "-p";
    case FT_STATUS_TEST: return "-s" + std::to_string(node->u.status.kind);
    case FT_MAGIC_TEST:
        return "-m" + std::to_string(node->u.magic.offset) + "," + std::to_string(node->u.magic.length);
    default: return "?";
    }
}

// The shape of the only rule of a text without errors.
std::string shape_of(const std::string &rule) {
    const read_rules read("x: " + rule + ";");
    EXPECT_EQ(read.complaints(), strings{}) << rule;
    EXPECT_EQ(read.count(), 1u) << rule;
    return read.rules.first() ? shape(read.rules.first()->rule) : "none";
}

bool is_accepted(const std::string &rule) {
    const read_rules read("x: " + rule + ";\nlast: -p;");
    if (read.notes.heard.empty()) {
        EXPECT_EQ(read.names(), "x last") << rule;
        return true;
    }
    EXPECT_EQ(read.names(), "last") << rule;
    EXPECT_EQ(read.complaints(), strings{error_at(1)}) << rule;
    return false;
}

constexpr uint32_t everything = TBS_FT_BY_ALL;

struct question {
    std::string path = "/some/where/f.c";
    uint32_t options = everything;
    int fd = TBS_FT_NOT_OPEN;
    const fileutl_status_t *status = nullptr, *second = nullptr;
};

std::string found(const scoped_rule_set &rules, const question &q, observer *heard_by = nullptr) {
    const program made(rules.first());
    examined_file file(q.path.c_str(), q.fd, q.status, q.second, q.options);
    const definition *one = made.find(file, heard_by);
    return one ? one->names[0] : "";
}

// The value of a rule: by itself, and turned round.
value value_of(const std::string &rule, const question &q = {}) {
    const read_rules read("holds: " + rule + ";\nfails: !(" + rule + ");");
    EXPECT_EQ(read.count(), 2u) << rule;
    const std::string name = found(read.rules, q);
    return name == "holds" ? value::holds : name == "fails" ? value::fails : value::undecided;
}

constexpr value holds = value::holds, fails = value::fails, undecided = value::undecided;

} // namespace

namespace tbs::typing {
std::ostream &operator<<(std::ostream &out, value one) {
    return out << (one == value::holds ? "holds" : one == value::fails ? "fails" : "undecided");
}
} // namespace tbs::typing

namespace {

// ---- words

TEST(TypeFileWords, KeywordsAreTakenInEveryAbbreviation) {
    struct {
        strings words;
        const char *operand, *shape;
    } const rows[] = {
        {{"-n", "-na", "-nam", "-name"}, " \"q\"", "q"},
        {{"-s", "-st", "-sta", "-stat"}, " d", "-s16384"},
        {{"-m", "-ma", "-mag", "-magi", "-magic"}, " 7,\"abc\"", "-m7,3"},
        {{"-t", "-to", "-tok", "-toke", "-token"}, " \"q\"", "-tq"},
        {{"-f", "-fi", "-fil", "-file"}, " \"q\"", "-fq"},
        {{"-file_re"}, " \"q\"", "0"},
        {{"-p", "-pr", "-pri", "-prin", "-print", "-printa", "-printab", "-printabl", "-printable"}, "", "-p"},
    };
    for (const auto &row : rows)
        for (const std::string &word : row.words) EXPECT_EQ(shape_of(word + row.operand), row.shape) << word;
}

TEST(TypeFileWords, OtherSpellingsOfKeywordsAreNames) {
    for (const char *word :
         {"-N",  "-Name",  "-NAME",   "-namex",    "-name_",   "-names", "-",   "--n", "-x", "n",    "name",
          "-f_", "-file_", "-file_r", "-file_rex", "-file_RE", "-nm",    "-n-", "-n.", "-1", "-toks"}) {
        EXPECT_FALSE(is_accepted(std::string(word) + " \"q\"")) << word;
        // A name may stand where names stand.
        EXPECT_EQ(read_rules("a " + std::string(word) + ": -p;").complaints(), strings{}) << word;
        EXPECT_EQ(read_rules(std::string(word) + ": -p;").names(), word);
    }
    for (const char *word : {"-P", "-printables", "-Printable", "-prt", "p"}) EXPECT_FALSE(is_accepted(word)) << word;
    for (const char *word : {"-S", "-status", "-Stat"}) EXPECT_FALSE(is_accepted(std::string(word) + " d")) << word;
}

TEST(TypeFileWords, KeywordsAreNoNames) {
    for (const char *word : {"-n", "-name", "-s", "-m", "-t", "-f", "-file_re", "-p", "byte", "l_short", "b_short",
                             "l_long", "b_long", "12", "0x1F", "007"}) {
        EXPECT_EQ(read_rules(std::string(word) + ": -p; ok: -p;").names(), "ok") << word;
        EXPECT_EQ(read_rules("a " + std::string(word) + ": -p; ok: -p;").names(), "ok") << word;
    }
    for (const char *word : {"Byte", "BYTE", "bytes", "l_Short", "L_LONG", "short", "long", "b_longs", "byte.",
                             "12abc", "0x", "0xG", "1.5", "-5", "0x1F_", "/", ".", "_", "a/b.c-d_e9"}) {
        EXPECT_EQ(read_rules(std::string(word) + ": -p;").names(), word);
    }
}

TEST(TypeFileWords, ByteOrdersAreSpelledInLowerCase) {
    for (const char *word : {"byte", "l_short", "b_short", "l_long", "b_long"})
        EXPECT_TRUE(is_accepted("-m 0," + std::string(word) + ",1")) << word;
    for (const char *word : {"Byte", "BYTE", "short", "L_short", "b_Long", "l_longs", "lshort", "1"})
        EXPECT_FALSE(is_accepted("-m 0," + std::string(word) + ",1")) << word;
}

TEST(TypeFileWords, NumbersAreDecimalOctalOrHexadecimal) {
    struct {
        const char *text;
        uint32_t offset;
    } const rows[] = {{"0", 0},     {"9", 9},      {"10", 10},   {"010", 8},         {"0010", 8},
                      {"08", 0},    {"019", 1},    {"0x10", 16}, {"0XfF", 255},      {"0x0A", 10},
                      {"511", 511}, {"0777", 511}, {"00", 0},    {"0x000001ff", 511}};
    for (const auto &row : rows) {
        const read_rules read("x: -m " + std::string(row.text) + ",byte," + row.text + ";");
        ASSERT_EQ(read.count(), 1u) << row.text;
        ASSERT_NE(read.rules.first()->rule, nullptr) << row.text;
        const auto &magic = read.rules.first()->rule->u.magic;
        EXPECT_EQ(magic.offset, row.offset) << row.text;
        EXPECT_EQ(magic.value.byte, row.offset & 0xff) << row.text;
        EXPECT_EQ(magic.length, 1u);
        EXPECT_EQ(magic.is_text, 0);
    }
    for (const char *text : {"0x", "12abc", "0xfg", "-1", "1.0", "x10", "1_0"})
        EXPECT_FALSE(is_accepted("-m " + std::string(text) + ",byte,1")) << text;
}

TEST(TypeFileWords, NumbersBeyond32BitsAreTheLargest) {
    for (const char *text : {"4294967295", "4294967296", "99999999999", "0xFFFFFFFF", "0x1FFFFFFFFF",
                             "99999999999999999999999999999999999999", "037777777777", "0777777777777777777777777"}) {
        const read_rules read("x: -m 0,l_long," + std::string(text) + ";");
        ASSERT_EQ(read.count(), 1u) << text;
        EXPECT_EQ(read.rules.first()->rule->u.magic.value.four, 0xffffffffu) << text;
        EXPECT_EQ(read_rules("x: -m " + std::string(text) + ",byte,0;").complaints(), strings{beyond_at(1)}) << text;
    }
}

TEST(TypeFileWords, OperatorsHaveTwoSpellings) {
    for (const char *text : {"&", "&&"}) EXPECT_EQ(shape_of("-n \"a\"" + std::string(text) + "-n \"b\""), "(a&b)");
    for (const char *text : {"|", "||"}) EXPECT_EQ(shape_of("-n \"a\"" + std::string(text) + "-n \"b\""), "(a|b)");
    for (const char *text : {"&&&", "& &", "|||", "| |", "&|", "!", "and", "or", "+", ","})
        EXPECT_FALSE(is_accepted("-n \"a\" " + std::string(text) + " -n \"b\"")) << text;
    EXPECT_EQ(shape_of("!-p"), "!-p");
    EXPECT_EQ(shape_of("! -p"), "!-p");
    EXPECT_EQ(shape_of("-p&!-p||!-p"), "((-p&!-p)|!-p)");
}

TEST(TypeFileWords, StringsAreUnquotedFromTheLeft) {
    struct {
        const char *quoted, *text;
    } const rows[] = {
        {R"("abc")", "abc"},
        {R"("a\"b")", "a\"b"},
        {R"("a\\b")", "a\\b"},
        {R"("a\\\"b")", "a\\\"b"},
        {R"("a\\")", "a\\"},
        {R"("a\"")", "a\""},
        {R"("")", "\""},     // the second quote is copied
        {R"("\\a")", "\\a"}, // the first backslash is copied, the second takes the "a"
        {R"("\"a")", "\\a"}, // so is it here, and the quote takes the "a"
        {R"("\\")", "\\\""},
        {R"("\"")", "\\\""},
        {R"(" # ; : ( ) , & | ! ")", " # ; : ( ) , & | ! "},
        {"\"\ttab\"", "\ttab"},
        {"\"caf\xc3\xa9\"", "caf\xc3\xa9"},
        {"\"\xff\xfe\"", "\xff\xfe"},
    };
    for (const auto &row : rows) EXPECT_EQ(shape_of("-t " + std::string(row.quoted)), "-t" + std::string(row.text));
}

TEST(TypeFileWords, StringsEndOnTheirLine) {
    // The quotes of both lines begin no string, so that the ";" ends the definition.
    const read_rules read("a: -n \"abc\ndef\";\nb: -n \"x\";");
    EXPECT_EQ(read.names(), "b");
    EXPECT_EQ(read.complaints(), strings{error_at(1)});
    const read_rules whole("a: -n \"abc\ndef\n;\nb: -n \"x\";");
    EXPECT_EQ(whole.names(), "b");
    EXPECT_EQ(whole.complaints(), strings{error_at(1)});
}

TEST(TypeFileWords, OtherEscapesMakeNoString) {
    for (const char *text : {R"("a\b")", R"("\n")", R"("a\)", R"("\*.c")", R"("x" "a\b")"})
        EXPECT_FALSE(is_accepted("-n " + std::string(text))) << text;
    // What stands behind the wrong escape is read again: here "; is no string, so that the ";" ends the definition.
    EXPECT_EQ(read_rules("a: -n \"a\\b;\nb: -n \"x\";").names(), "b");
    // "c;d" is a string behind the wrong escape.
    EXPECT_EQ(read_rules("a: -n \"a\\b \"c;d\";\nb: -n \"x\";").names(), "b");
    EXPECT_EQ(read_rules("a: -n \"a\\b \"c;d: -p; \";\nb: -n \"x\";").names(), "b");
    // Of an escaped quote behind an opening one that begins no string, none begins one.
    EXPECT_EQ(read_rules("a: -n \"a \\\" ; d: -p;\nb: -p;").names(), "d b");
}

TEST(TypeFileWords, StringsBeginBehindAnUnfinishedOneOnTheNextLine) {
    EXPECT_EQ(read_rules("a: -n \"abc\n;b: -n \"x\" & -n \";\";c: -n \"y\";").names(), "b c");
}

TEST(TypeFileWords, CommentsBeginAtTheStartOfALine) {
    const read_rules read("# one; two: \"\n#\n##\na: # no comment\n-p;\nb: -p;\n#end");
    EXPECT_EQ(read.names(), "b");
    EXPECT_EQ(read.complaints(), strings{error_at(4)});
    EXPECT_EQ(read_rules(" # x\n;a: -p;").complaints(), strings{error_at(1)});
    EXPECT_EQ(read_rules("\t#\n;a: -p;").names(), "a");
    EXPECT_EQ(read_rules("a:\n# between\n-p\n#more;\n;").names(), "a");
    EXPECT_EQ(read_rules("a: -p; # behind\nb: -p; c: -p;").names(), "a c");
}

TEST(TypeFileWords, BlanksTabsAndEmptyLinesDoNotCount) {
    const read_rules read("\n  \n\t \t\n a\tb :\n\n -n\n\t\"q\"\n;\n   ");
    EXPECT_EQ(read.complaints(), strings{});
    EXPECT_EQ(read.names(), "a");
    EXPECT_STREQ(read.rules.first()->names[1], "b");
    EXPECT_EQ(shape_of("(-n\"q\")"), "q");
    EXPECT_EQ(read_rules("a:-m0,byte,1;").names(), "") << "-m0 is one word";
    EXPECT_EQ(read_rules("a:-m 0 , byte , 1 ;").names(), "a");
}

TEST(TypeFileWords, EveryOtherCharacterIsASyntaxError) {
    for (int c = 1; c < 256; c++) {
        const std::string text(1, static_cast<char>(c));
        if (std::isalnum(static_cast<unsigned char>(c)) && c < 128) continue;
        if (std::strchr(" \t\n\"()!&|;:-._/,#", c) && c < 128) continue;
        const read_rules read("a: -p " + text + "; b: -p;");
        EXPECT_EQ(read.names(), "b") << c;
        EXPECT_EQ(read.complaints(), strings{error_at(1)}) << c;
    }
    const read_rules with_nul(std::string("a: -p \0 ; b: -p;", 16));
    EXPECT_EQ(with_nul.names(), "b");
    EXPECT_EQ(with_nul.complaints(), strings{error_at(1)});
    const read_rules nul_in_string(std::string("a: -n \"*\0.exe\";\nb: -n \"\\\"\"; c: -p;", 34));
    EXPECT_EQ(nul_in_string.names(), "b c") << "a text that ends early would match more";
    EXPECT_EQ(nul_in_string.complaints(), strings{error_at(1)});
    EXPECT_FALSE(is_accepted("-n *.c"));
    EXPECT_FALSE(is_accepted("-n x.c"));
}

TEST(TypeFileWords, LinesAreCountedFromOneInEachFile) {
    struct {
        const char *text;
        int line;
    } const rows[] = {{"x;", 1},
                      {"\nx;", 2},
                      {"#c\n#c\n  \n\nx;", 5},
                      {"a:\n-p\n\n;\n\n x;", 6},
                      {"a: -n\n \"q\"\n;x\n;", 4},
                      {"a\n:\n!\n!\n;", 4},
                      {"a: -m 0,\nbyte,\n;", 3}};
    for (const auto &row : rows)
        EXPECT_EQ(read_rules(row.text).complaints(), strings{error_at(row.line)}) << row.text;
    read_rules two("\n\n\nx;");
    two.add("\nx;", "second.magic");
    EXPECT_EQ(two.notes.heard,
              (std::vector<complaint>{{"syntax error", "some.magic", 4}, {"syntax error", "second.magic", 2}}));
}

// ---- grammar

TEST(TypeFileGrammar, AndBindsTighterThanOrAndBothGroupFromTheLeft) {
    struct {
        const char *rule, *tree;
    } const rows[] = {
        {"a|b&c", "(a|(b&c))"},
        {"a&b|c", "((a&b)|c)"},
        {"a|b|c", "((a|b)|c)"},
        {"a&b&c", "((a&b)&c)"},
        {"!a&b", "(!a&b)"},
        {"!a|b", "(!a|b)"},
        {"a&!b", "(a&!b)"},
        {"!(a&b)", "!(a&b)"},
        {"!(!a)", "!!a"},
        {"(a)", "a"},
        {"((a))", "a"},
        {"(a|b)&c", "((a|b)&c)"},
        {"a&(b|c)", "(a&(b|c))"},
        {"a|(b|c)", "(a|(b|c))"},
        {"a&b|c&d", "((a&b)|(c&d))"},
        {"a|b&c|d", "((a|(b&c))|d)"},
        {"a&b&c|d|e&!f", "((((a&b)&c)|d)|(e&!f))"},
    };
    for (const auto &row : rows) {
        std::string rule;
        for (const char *c = row.rule; *c; c++)
            rule += std::isalpha(static_cast<unsigned char>(*c)) ? "-n \"" + std::string(1, *c) + "\""
                                                                 : std::string(1, *c);
        EXPECT_EQ(shape_of(rule), row.tree) << row.rule;
    }
    EXPECT_FALSE(is_accepted("!!-p"));
}

TEST(TypeFileGrammar, RulesHaveOneForm) {
    for (const char *rule :
         {"-n \"a\"", "-s d", "-m 1,byte,1", "-m 1,l_short,1", "-m 1,b_short,1", "-m 1,l_long,1", "-m 1,b_long,1",
          "-m 1,\"a\"", "-t \"a\"", "-f \"a\"", "-file_re \"a\"", "-p", "(-p)", "!-p", "!(-p)"})
        EXPECT_TRUE(is_accepted(rule)) << rule;
    for (const char *rule : {"",
                             "a",
                             "\"a\"",
                             "-n",
                             "-n a",
                             "-n 1",
                             "-s",
                             "-s \"d\"",
                             "-s 1",
                             "-s byte",
                             "-m",
                             "-m 1",
                             "-m 1,",
                             "-m 1,byte",
                             "-m 1,byte,",
                             "-m 1,byte,a",
                             "-m 1 byte 1",
                             "-m 1,1",
                             "-m \"a\"",
                             "-m a,byte,1",
                             "-m 1,\"a\",1",
                             "-t",
                             "-t a",
                             "-f",
                             "-f a",
                             "-file_re",
                             "-file_re a",
                             "-p \"a\"",
                             "()",
                             "(-p",
                             "-p)",
                             "(-p))",
                             "!",
                             "-p !",
                             "-p -p",
                             "-p &",
                             "& -p",
                             "| -p",
                             "-p : -p",
                             "-n \"a\" \"b\"",
                             "(-p)(-p)",
                             ",",
                             ":"})
        EXPECT_FALSE(is_accepted(rule)) << rule;
}

TEST(TypeFileGrammar, DefinitionsHaveNamesAColonAndAnEnd) {
    EXPECT_EQ(read_rules("a b c: -p;").names(), "a");
    for (const char *text : {": -p; z: -p;", "a -p; z: -p;", "a, b: -p; z: -p;", "\"a\": -p; z: -p;", "; z: -p;",
                             "a:: -p; z: -p;", "(a): -p; z: -p;"}) {
        const read_rules read(text);
        EXPECT_EQ(read.names(), "z") << text;
        EXPECT_EQ(read.complaints(), strings{error_at(1)}) << text;
    }
    const read_rules unfinished("z: -p;\na: -p\n");
    EXPECT_EQ(unfinished.names(), "z");
    EXPECT_EQ(unfinished.complaints(), strings{error_at(3)});
}

TEST(TypeFileGrammar, AFileHoldsADefinition) {
    for (const char *text : {"", "\n", "# only\n# comments\n", "# without an end", "   ", " \t\n\n"}) {
        const read_rules read(text);
        EXPECT_EQ(read.count(), 0u) << text;
        EXPECT_EQ(read.notes.heard.size(), 1u) << text;
        EXPECT_EQ(read.notes.heard[0].what, "syntax error") << text;
    }
    EXPECT_EQ(read_rules("").complaints(), strings{error_at(1)});
    EXPECT_EQ(read_rules("# a\n# b\n").complaints(), strings{error_at(3)});
    EXPECT_EQ(read_rules("# a\n# b").complaints(), strings{error_at(2)});
}

TEST(TypeFileGrammar, AWrongDefinitionIsLeftOutUpToItsEnd) {
    const read_rules read("a: -p;\n"
                          "b: -N \"x\" & ( ! \" , : 7 byte -s;\n"
                          "c: -p;\n"
                          "d d2 d3 e: -p -p\n\n\n; f: -p;\n"
                          "g h: -n \"g\" -n \"h\" , ; i: -p;\n");
    EXPECT_EQ(read.names(), "a c f i");
    EXPECT_EQ(read.complaints(), (strings{error_at(2), error_at(4), error_at(8)}));
}

TEST(TypeFileGrammar, EachWrongDefinitionIsToldHoweverCloseTheyAre) {
    const read_rules read("a b;\n;\n: -p;\nc *;\nd: -p;\n");
    EXPECT_EQ(read.names(), "d");
    EXPECT_EQ(read.complaints(), (strings{error_at(1), error_at(2), error_at(3), error_at(4)}));
}

TEST(TypeFileGrammar, TypeNamesOfAWrongDefinitionAreForgotten) {
    const read_rules read("a b c d; e f: -p;");
    ASSERT_EQ(read.count(), 1u);
    EXPECT_STREQ(read.rules.first()->names[0], "e");
    EXPECT_STREQ(read.rules.first()->names[1], "f");
    EXPECT_EQ(read.rules.first()->names[2], nullptr);
}

TEST(TypeFileGrammar, TheFirst256NamesAreKept) {
    for (const int count : {1, 255, 256, 257, 300}) {
        std::string text;
        for (int i = 0; i < count; i++) text += "n" + std::to_string(i) + (i % 10 ? " " : "\n");
        read_rules read(text + ": -p; next: -p;");
        EXPECT_EQ(read.complaints(), strings{});
        ASSERT_EQ(read.count(), 2u);
        const char *const *names = read.rules.first()->names;
        const int kept = std::min(count, 256);
        for (int i = 0; i < kept; i++) EXPECT_EQ(names[i], "n" + std::to_string(i));
        EXPECT_EQ(names[kept], nullptr);
        EXPECT_STREQ(read.rules.first()->next->names[0], "next");
        EXPECT_EQ(read.rules.first()->next->names[1], nullptr);
    }
}

TEST(TypeFileGrammar, DefinitionsStandInReadingOrder) {
    read_rules read("a: -p; b: -p; a: -n \"x\";");
    read.add("c: -p; a: -p;", "second.magic");
    EXPECT_EQ(read.names(), "a b a c a");
    EXPECT_STREQ(read.rules.first()->file, "some.magic");
    EXPECT_EQ(read.rules.first()->line, 1u);
}

TEST(TypeFileGrammar, MagicValuesLieWithinTheContent) {
    struct {
        const char *test;
        bool is_within;
    } const rows[] = {
        {"511,byte,1", true},         {"512,byte,1", false},
        {"510,l_short,1", true},      {"511,b_short,1", false},
        {"510,b_short,1", true},      {"508,l_long,1", true},
        {"509,b_long,1", false},      {"511,b_long,1", false},
        {"508,b_long,1", true},       {"510,\"ab\"", true},
        {"511,\"ab\"", false},        {"0,\"ab\"", true},
        {"511,\"a\"", true},          {"0xFFFFFFFF,\"a\"", false},
        {"4294967295,byte,1", false}, {"4294967292,l_long,0", false},
    };
    for (const auto &row : rows) {
        const read_rules read("\nx:\n-m " + std::string(row.test) + ";");
        ASSERT_EQ(read.count(), 1u) << row.test;
        EXPECT_EQ(read.rules.first()->rule != nullptr, row.is_within) << row.test;
        EXPECT_EQ(read.complaints(), row.is_within ? strings{} : strings{beyond_at(3)}) << row.test;
    }
    const std::string longest(512, 'x');
    EXPECT_EQ(read_rules("x: -m 0,\"" + longest + "\";").complaints(), strings{});
    EXPECT_EQ(read_rules("x: -m 1,\"" + longest + "\";").complaints(), strings{beyond_at(1)});
    EXPECT_EQ(read_rules("x: -m 0,\"" + longest + "x\";").complaints(), strings{beyond_at(1)});
    EXPECT_EQ(shape_of("-m 0,\"ab\""), "-m0,2");
}

TEST(TypeFileGrammar, ATestBeyondTheContentNeverMatchesAndTheRestOfTheRuleStays) {
    EXPECT_EQ(value_of("-m 512,byte,0"), fails);
    EXPECT_EQ(value_of("-m 512,byte,0 | -n \"f.c\""), holds);
    EXPECT_EQ(value_of("!-m 512,byte,0"), holds);
}

TEST(TypeFileGrammar, StatusWordsAreToldByTheirFirstLetter) {
    struct {
        const char *word;
        uint32_t kind;
    } const rows[] = {{"c", 0x2000}, {"char", 0x2000}, {"d", 0x4000}, {"directory", 0x4000}, {"dx9", 0x4000},
                      {"b", 0},      {"block", 0},     {"f", 0},      {"fifo", 0},           {"l", 0},
                      {"link", 0},   {"s", 0},         {"socket", 0}, {"regular", 0x8000},   {"r", 0x8000},
                      {"D", 0x8000}, {"C", 0x8000},    {"-", 0x8000}, {"9x", 0x8000},        {"p", 0x8000},
                      {"_d", 0x8000}};
    for (const auto &row : rows) EXPECT_EQ(shape_of("-s " + std::string(row.word)), "-s" + std::to_string(row.kind));
}

TEST(TypeFileGrammar, NamePatternsAreCompiledOnce) {
    const auto node = [](const read_rules &read) { return read.rules.first()->rule; };
    const read_rules plain("x: -n \"abc.c\";"), wild("x: -n \"*.c\";"), bad("x: -n \"[a\";");
    ASSERT_NE(node(plain), nullptr);
    EXPECT_EQ(node(plain)->u.name.length, -1);
    EXPECT_EQ(node(plain)->u.name.compiled, nullptr);
    EXPECT_STREQ(node(plain)->u.name.pattern, "abc.c");
    ASSERT_NE(node(wild), nullptr);
    char compiled[513];
    const int length = wild_compile_pattern("*.c", compiled, sizeof compiled);
    EXPECT_EQ(node(wild)->u.name.length, length);
    EXPECT_EQ(std::memcmp(node(wild)->u.name.compiled, compiled, static_cast<size_t>(length) + 1), 0);
    EXPECT_EQ(node(bad), nullptr);
    EXPECT_EQ(bad.complaints(), strings{});
}

TEST(TypeFileGrammar, CompiledPatternsHaveRoomFor513Bytes) {
    size_t longest = 0;
    for (size_t size = 1; size <= 600; size++) {
        char compiled[513];
        const std::string pattern = std::string(size, 'a') + "*";
        const int length = wild_compile_pattern(pattern.c_str(), compiled, sizeof compiled);
        const read_rules read("x: -n \"" + pattern + "\";");
        ASSERT_EQ(read.count(), 1u);
        EXPECT_EQ(read.rules.first()->rule != nullptr, length >= 0) << size;
        if (length >= 0) longest = size;
    }
    EXPECT_GT(longest, 200u);
    EXPECT_LT(longest, 513u);
    // A plain text of any length is kept.
    EXPECT_EQ(shape_of("-n \"" + std::string(5000, 'a') + "\""), std::string(5000, 'a'));
}

// Random trees, written down with all parentheses, are read as they are.
class tree_maker {
public:
    tree_maker(rule_set &into, uint32_t seed) : rules_(into), random_(seed) {}
    uint32_t below(uint32_t end) { return static_cast<uint32_t>(random_() % end); }

    std::string name() {
        std::string text;
        const uint32_t size = below(5);
        for (uint32_t i = 0; i < size; i++) text += pieces_of_names[below(std::size(pieces_of_names))];
        return text;
    }
    std::string pattern() {
        std::string text;
        const uint32_t size = below(5);
        for (uint32_t i = 0; i < size; i++) text += pieces_of_patterns[below(std::size(pieces_of_patterns))];
        return text;
    }
    const char *kept(const std::string &text) { return rules_.copy(text.data(), text.size()); }

    ft_node_t *tree(uint32_t depth) {
        const uint32_t what = below(10);
        if (depth == 0 || what < 3) return leaf();
        if (what < 5) return rules_.join(FT_NOT, tree(depth - 1), nullptr);
        ft_node_t *left = tree(depth - 1);
        return rules_.join(what < 8 ? FT_OR : FT_AND, left, tree(depth - 1));
    }
    ft_node_t *leaf() {
        switch (below(14)) {
        case 0: return nullptr;
        case 1: return rules_.command_test(kept("file"));
        case 2: return rules_.status_test(below(2) ? "d" : "r");
        case 3: return rules_.token_test(below(2) ? "needle" : "none");
        case 4: return rules_.magic_test(below(3), 1, 'a' + below(2), nullptr);
        case 5: return rules_.printable_test();
        case 6: return rules_.name_test(kept(name()));
        default: return rules_.name_test(kept(pattern()));
        }
    }

private:
    static constexpr const char *pieces_of_names[] = {"a",
                                                      "b",
                                                      "ab",
                                                      ".",
                                                      ".c",
                                                      "*",
                                                      "[",
                                                      "]",
                                                      "\\",
                                                      "?",
                                                      "\xc3\xa9",
                                                      "\xc3",
                                                      "\xa9",
                                                      "aaaaaaaaaaaaaaaaaa",
                                                      ".longest-of-all-ends"};
    static constexpr const char *pieces_of_patterns[] = {"a",
                                                         "b",
                                                         "ab",
                                                         ".",
                                                         ".c",
                                                         "*",
                                                         "*",
                                                         "*",
                                                         "?",
                                                         "?",
                                                         "[ab]",
                                                         "[!a]",
                                                         "[a-b]",
                                                         "[]a]",
                                                         "[*]",
                                                         "[\\]",
                                                         "\\*",
                                                         "\\?",
                                                         "\\\\",
                                                         "\\[",
                                                         "\\a",
                                                         "\\\xc3\xa9",
                                                         "]",
                                                         "\xc3\xa9",
                                                         "\xc3",
                                                         "\xa9",
                                                         "[",
                                                         "\\",
                                                         "aaaaaaaaaaaaaaaaaa",
                                                         ".longest-of-all-ends",
                                                         "*.c",
                                                         "a*"};
    rule_set &rules_;
    std::mt19937 random_;
};

std::string quoted(const std::string &text) {
    std::string result = "\"";
    for (const char c : text) result += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    return result + "\"";
}

std::string written(const ft_node_t *node, tree_maker &make) {
    if (!node) return "-file_re \"x\"";
    const auto both = [&](const char *one, const char *two) {
        return "(" + written(node->u.operands.left, make) + (make.below(2) ? one : two) +
               written(node->u.operands.right, make) + ")";
    };
    switch (node->kind) {
    case FT_OR: return both("|", " || ");
    case FT_AND: return both(" & ", "&&");
    case FT_NOT: return "!(" + written(node->u.operands.left, make) + ")";
    case FT_NAME_TEST: return "-na" + quoted(node->u.name.pattern);
    case FT_TOKEN_TEST: return "-t " + quoted(node->u.token.text);
    case FT_COMMAND_TEST: return "-fil\n" + quoted(node->u.command.text);
    case FT_PRINTABLE_TEST: return "-pri ";
    case FT_STATUS_TEST: return node->u.status.kind == FILEUTL_DIRECTORY ? "-s d" : "-s r";
    default:
        return "-m " + std::to_string(node->u.magic.offset) + ",byte," + std::to_string(node->u.magic.value.byte);
    }
}

TEST(TypeFileGrammar, WrittenTreesAreReadAsTheyAre) {
    for (uint32_t seed = 0; seed < 2000; seed++) {
        note_taker notes;
        scoped_rule_set built(notes);
        tree_maker make(built, seed);
        const ft_node_t *tree = make.tree(6);
        const std::string text = written(tree, make);
        // Texts that begin with a backslash, and the empty one, are written otherwise.
        if (text.find("\"\\") != text.npos || text.find("\"\"") != text.npos) continue;
        EXPECT_EQ(shape_of(text), shape(tree)) << text;
    }
}

// ---- values

TEST(TypeRule, OperatorsFollowTheirTables) {
    // Without the content, a token test is not decided.
    const question q{.options = TBS_FT_BY_NAME};
    const std::pair<const char *, value> operands[] = {
        {"-n \"f.c\"", holds}, {"-n \"g.c\"", fails}, {"-t \"x\"", undecided}};
    const value either[3][3] = {{holds, holds, holds}, {holds, fails, undecided}, {holds, undecided, undecided}};
    const value both[3][3] = {{holds, fails, undecided}, {fails, fails, fails}, {undecided, undecided, undecided}};
    for (int left = 0; left < 3; left++) {
        EXPECT_EQ(value_of(operands[left].first, q), operands[left].second);
        for (int right = 0; right < 3; right++) {
            const std::string l = operands[left].first, r = operands[right].first;
            EXPECT_EQ(value_of(l + "|" + r, q), either[left][right]) << l << " | " << r;
            EXPECT_EQ(value_of(l + "&" + r, q), both[left][right]) << l << " & " << r;
            // The same inside other operators.
            EXPECT_EQ(value_of("!(!(" + l + "|" + r + "))", q), either[left][right]);
            EXPECT_EQ(value_of("-n \"f.c\" & (" + l + "|" + r + ")", q), either[left][right]);
            EXPECT_EQ(value_of("-n \"g.c\" | " + l + "&" + r, q), both[left][right]);
            for (int third = 0; third < 3; third++) {
                const std::string t = operands[third].first;
                EXPECT_EQ(value_of(l + "|(" + r + "|" + t + ")", q), value_of("(" + l + "|" + r + ")|" + t, q));
                EXPECT_EQ(value_of(l + "&(" + r + "&" + t + ")", q), value_of("(" + l + "&" + r + ")&" + t, q));
                EXPECT_EQ(value_of(l + "|" + r + "&" + t, q), either[left][static_cast<int>(both[right][third])]);
                EXPECT_EQ(value_of("(" + l + "|" + r + ")&" + t, q),
                          both[static_cast<int>(either[left][right])][third]);
            }
        }
    }
}

TEST(TypeRule, NotTurnsRoundWhatIsDecided) {
    const auto first = [](const char *text, uint32_t options) {
        const read_rules read(text);
        return found(read.rules, {.options = options});
    };
    EXPECT_EQ(first("x: !-n \"f.c\"; y: -n \"*\";", 1), "y");
    EXPECT_EQ(first("x: !-n \"g.c\"; y: -n \"*\";", 1), "x");
    EXPECT_EQ(first("x: !-t \"g\"; y: -n \"*\";", 1), "y");
    EXPECT_EQ(first("x: !(-t \"g\" & -n \"g\"); y: -n \"*\";", 1), "y");
    EXPECT_EQ(first("x: !(!-n \"f.c\"); y: -n \"*\";", 1), "x");
    EXPECT_EQ(first("x: !-file_re \"f.c\"; y: -n \"*\";", 0), "x") << "what is missing fails";
    EXPECT_EQ(first("x: !-n \"[\"; y: -n \"*\";", 0), "x");
    EXPECT_EQ(first("x: !-file \"f.c\"; y: -n \"*\";", 1), "y") << "a command is never decided";
}

class tests_heard final : public observer {
public:
    void begins(const definition &one) override { of_ = &one; }
    void decided(const ft_node_t &test, value result) override {
        text +=
            std::string(of_->names[0]) + ":" + shape(&test) + "=" + std::to_string(static_cast<int>(result)) + " ";
    }
    std::string text;

private:
    const definition *of_ = nullptr;
};

TEST(TypeRule, WhatNeedNotBeDecidedIsNotLookedAt) {
    struct {
        const char *rule, *heard;
    } const rows[] = {
        {"-n \"f.c\" | -f \"a\"", "x:f.c=0 "},
        {"-f \"a\" | -n \"f.c\"", "x:-fa=2 x:f.c=0 "},
        {"-n \"f.c\" & -f \"a\"", "x:f.c=0 x:-fa=2 "},
        {"-f \"a\" & -n \"f.c\"", "x:-fa=2 "},
        {"(-n \"f.c\" | -f \"a\") & -n \"f.*\"", "x:f.c=0 x:f.*=0 "},
        {"-f \"a\" & -f \"b\" | -n \"f.c\"", "x:-fa=2 x:f.c=0 "},
        {"(-f \"a\" | -f \"b\" | -n \"f.c\" | -f \"c\") & -f \"d\"", "x:-fa=2 x:-fb=2 x:f.c=0 x:-fd=2 "},
    };
    for (const auto &row : rows) {
        const read_rules read("x: " + std::string(row.rule) + ";");
        tests_heard heard;
        found(read.rules, {}, &heard);
        EXPECT_EQ(heard.text, row.heard) << row.rule;
    }
}

TEST(TypeRule, TheFirstThatHoldsIsFound) {
    const read_rules read(
        "a: -n \"*.x\"; b: -t \"q\"; c: -n \"f.c\" & -n \"g\"; d: -n \"*.c\"; e: -n \"f.c\"; f: -n \"*\";");
    EXPECT_EQ(found(read.rules, {.options = 1}), "d");
    EXPECT_EQ(found(read.rules, {.path = "g.x", .options = 1}), "a");
    EXPECT_EQ(found(read.rules, {.path = "other", .options = 1}), "f");
    EXPECT_EQ(found(read.rules, {.path = "f.c", .options = 0}), "");
    EXPECT_EQ(found(read.rules, {.path = "f.c", .options = 8}), "");
    note_taker notes;
    EXPECT_EQ(found(scoped_rule_set(notes), {}), "");
}

TEST(TypeRule, OnlyAllowedTestsAreDecided) {
    const temp_dir dir;
    const std::string path = dir.write("f.c", "text");
    struct {
        const char *test;
        uint32_t option;
    } const rows[] = {{"-n \"f.c\"", 1},  {"-n \"*.c\"", 1},          {"-s r", 2},      {"-m 0,byte,0x74", 4},
                      {"-m 0,\"te\"", 4}, {"-m 0,b_short,0x7465", 4}, {"-t \"ex\"", 4}, {"-p", 4}};
    for (const auto &row : rows)
        for (uint32_t options = 0; options < 32; options++)
            EXPECT_EQ(value_of(row.test, {.path = path, .options = options}),
                      options & row.option ? holds : undecided)
                << row.test << " " << options;
    for (uint32_t options = 0; options < 16; options++) {
        EXPECT_EQ(value_of("-f \"true\"", {.path = path, .options = options}), undecided);
        EXPECT_EQ(value_of("-file_re \"true\"", {.path = path, .options = options}), fails);
    }
}

TEST(TypeRule, NamesAreBaseNames) {
    const auto is = [](const char *path, const char *pattern) {
        return value_of("-n " + quoted(pattern), {.path = path, .options = 1});
    };
    for (const char *path : {"f.c", "/f.c", "a/f.c", "a\\f.c", "a/b\\f.c", "a\\b/f.c", "\\\\h\\s/f.c", "f.x/f.c"}) {
        EXPECT_EQ(is(path, "f.c"), holds) << path;
        EXPECT_EQ(is(path, "*.c"), holds) << path;
        EXPECT_EQ(is(path, "?.c"), holds) << path;
        EXPECT_EQ(is(path, "[a-f].c"), holds) << path;
        EXPECT_EQ(is(path, "F.c"), fails) << path;
        EXPECT_EQ(is(path, "*.C"), fails) << path;
        EXPECT_EQ(is(path, "f"), fails) << path;
        EXPECT_EQ(is(path, "f.cc"), fails) << path;
        EXPECT_EQ(is(path, "a*f.c"), fails) << path;
        EXPECT_EQ(is(path, "a/f.c"), fails) << path;
        EXPECT_EQ(is(path, "*/f.c"), fails) << path;
    }
    EXPECT_EQ(is("dir/", "dir"), fails);
    EXPECT_EQ(is("dir/", "*"), holds) << "the base name is empty";
    EXPECT_EQ(is("", "*"), holds);
    EXPECT_EQ(is("a*", "a\\*"), holds);
    EXPECT_EQ(is("ab", "a\\*"), fails);
    EXPECT_EQ(is(".c", "*.c"), holds);
    EXPECT_EQ(is("\xff.c", "*.c"), holds);
    EXPECT_EQ(is("x\n.c", "*.c"), holds);
}

TEST(TypeRule, EmptyTextIsADoubleQuote) {
    EXPECT_EQ(value_of("-n \"\"", {.path = "a/\"", .options = 1}), holds);
    EXPECT_EQ(value_of("-n \"\"", {.path = "a/", .options = 1}), fails);
}

// ---- kinds of files

fileutl_status_t status_with(uint32_t mode, uint32_t nlink = 1) {
    fileutl_status_t status{};
    status.mode = mode;
    status.nlink = nlink;
    return status;
}

struct a_directory_of_kinds {
    a_directory_of_kinds() {
        dir.write("regular", "text");
        dir.write("dir/x", "");
        mkfifo((dir / "fifo").c_str(), 0600);
        std::filesystem::create_symlink("regular", dir / "link");
        std::filesystem::create_symlink("nothing", dir / "dangling");
        std::filesystem::create_symlink("dir", dir / "link_to_dir");
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = dir / "socket";
        if (path.size() < sizeof address.sun_path) {
            std::memcpy(address.sun_path, path.c_str(), path.size());
            EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        }
        close(fd);
    }
    temp_dir dir;
};

TEST(TypeRule, StatusTestsTellKindsOfFiles) {
    const a_directory_of_kinds kinds;
    const auto is = [&](const std::string &path, const char *word) {
        return value_of("-s " + std::string(word), {.path = path});
    };
    for (const char *never : {"block", "fifo", "link", "socket"})
        for (const char *name : {"regular", "dir", "fifo", "socket", "link"})
            EXPECT_EQ(is(kinds.dir / name, never), fails) << name << never;
    struct {
        std::string path;
        const char *kind;
    } const rows[] = {
        {kinds.dir / "regular", "regular"}, {kinds.dir / "dir", "directory"},         {"/dev/null", "char"},
        {kinds.dir / "link", "regular"},    {kinds.dir / "link_to_dir", "directory"}, {kinds.dir / "fifo", ""},
        {kinds.dir / "socket", ""}};
    for (const auto &row : rows)
        for (const char *word : {"regular", "directory", "char"})
            EXPECT_EQ(is(row.path, word), std::string(word) == row.kind ? holds : fails) << row.path << word;
    for (const char *none : {"nothing", "dangling", "regular/below"})
        for (const char *word : {"regular", "directory", "link"})
            EXPECT_EQ(is(kinds.dir / none, word), undecided) << none;
}

TEST(TypeRule, AGivenStatusIsBelieved) {
    const temp_dir dir;
    const fileutl_status_t directory = status_with(0040755), regular = status_with(0100644),
                           gone = status_with(0100644, 0), many = status_with(0100644, 7);
    const auto is = [&](const fileutl_status_t *status, const fileutl_status_t *second, const char *word) {
        return value_of("-s " + std::string(word), {.path = dir / "none", .status = status, .second = second});
    };
    EXPECT_EQ(is(&directory, nullptr, "d"), holds);
    EXPECT_EQ(is(&directory, nullptr, "r"), fails);
    EXPECT_EQ(is(&regular, nullptr, "r"), holds);
    EXPECT_EQ(is(&many, nullptr, "r"), holds);
    EXPECT_EQ(is(&gone, nullptr, "r"), fails);
    EXPECT_EQ(is(&gone, nullptr, "d"), fails);
    EXPECT_EQ(is(nullptr, nullptr, "r"), undecided);
    EXPECT_EQ(is(TBS_FT_NO_STATUS, nullptr, "r"), undecided);
    EXPECT_EQ(is(TBS_FT_NO_STATUS, &regular, "r"), undecided);
    EXPECT_EQ(is(&regular, TBS_FT_NO_STATUS, "r"), undecided);
    EXPECT_EQ(is(&gone, TBS_FT_NO_STATUS, "r"), undecided);
    EXPECT_EQ(is(&regular, &directory, "r"), holds);
    EXPECT_EQ(is(&regular, &gone, "r"), holds);
    const std::string path = dir.write("there", "x");
    EXPECT_EQ(value_of("-s r", {.path = path, .status = TBS_FT_NO_STATUS}), undecided) << "it is not asked for";
    EXPECT_EQ(value_of("-s r", {.path = path, .second = &gone}), holds);
    EXPECT_EQ(value_of("-s r", {.path = path, .second = TBS_FT_NO_STATUS}), undecided);
}

// ---- content

const char *const content_tests[] = {"-p", "-t \"a\"", "-m 0,\"a\"", "-m 0,byte,1", "-m 0,l_long,1"};

TEST(TypeRule, ContentIsThatOfRegularFiles) {
    const a_directory_of_kinds kinds;
    for (const char *test : content_tests) {
        for (const char *name : {"dir", "link_to_dir", "fifo", "socket", "nothing", "dangling"})
            EXPECT_EQ(value_of(test, {.path = kinds.dir / name}), undecided) << name << test;
        EXPECT_EQ(value_of(test, {.path = "/dev/null"}), undecided);
        EXPECT_EQ(value_of(test, {.path = "/dev/zero"}), undecided);
        for (const char *name : {"regular", "link"})
            EXPECT_NE(value_of(test, {.path = kinds.dir / name}), undecided) << name << test;
    }
}

TEST(TypeRule, ContentDependsOnTheGivenStatus) {
    const temp_dir dir;
    const std::string path = dir.write("f", "text");
    const fileutl_status_t directory = status_with(0040755), regular = status_with(0100644),
                           gone = status_with(0100644, 0), device = status_with(0020644);
    EXPECT_EQ(value_of("-p", {.path = path, .status = &regular}), holds);
    EXPECT_EQ(value_of("-p", {.path = path, .status = &directory}), undecided);
    EXPECT_EQ(value_of("-p", {.path = path, .status = &gone}), undecided);
    EXPECT_EQ(value_of("-p", {.path = path, .status = &device}), undecided);
    EXPECT_EQ(value_of("-p", {.path = path, .status = TBS_FT_NO_STATUS}), undecided);
    EXPECT_EQ(value_of("-p", {.path = path, .second = TBS_FT_NO_STATUS}), holds) << "that is of status tests";
    EXPECT_EQ(value_of("-p", {.path = path, .options = 4}), holds) << "the status itself is no test";
    EXPECT_EQ(value_of("-p", {.path = dir / "gone", .status = &regular}), undecided) << "it vanished meanwhile";
    EXPECT_EQ(value_of("-p", {.path = dir.str(), .status = &regular}), undecided);
    const std::string fifo = dir / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(value_of("-p", {.path = fifo, .status = &regular}), undecided) << "nothing is waited for";
}

TEST(TypeRule, ADescriptorIsReadFromTheStartAndStaysWhereItIs) {
    const temp_dir dir;
    const std::string path = dir.write("f", "#!start" + std::string(2000, 'x'));
    const fileutl_status_t regular = status_with(0100644);
    const int fd = open(path.c_str(), O_RDONLY);
    for (const off_t at : {0, 100, 512, 5000}) {
        ASSERT_EQ(lseek(fd, at, SEEK_SET), at);
        EXPECT_EQ(value_of("-m 0,\"#!st\"", {.path = path, .fd = fd}), holds);
        EXPECT_EQ(lseek(fd, 0, SEEK_CUR), at);
        EXPECT_EQ(value_of("-m 0,\"#!st\"", {.path = dir / "none", .fd = fd, .status = &regular}), holds);
        EXPECT_EQ(value_of("-n \"f\" & -p & -s r & -t \"zz\"", {.path = path, .fd = fd}), fails);
        EXPECT_EQ(lseek(fd, 0, SEEK_CUR), at);
    }
    EXPECT_EQ(value_of("-p", {.path = dir / "none", .fd = fd}), undecided) << "the status is that of the path";
    const int written = open(path.c_str(), O_WRONLY);
    EXPECT_EQ(value_of("-p", {.path = path, .fd = written}), undecided);
    close(written);
    close(fd);
    EXPECT_EQ(value_of("-p", {.path = path, .fd = fd}), undecided) << "a closed descriptor";
    EXPECT_EQ(value_of("-p", {.path = path, .fd = -1}), undecided);
    EXPECT_EQ(value_of("-m 0,\"#!st\"", {.path = path, .fd = -2}), holds);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(value_of("-p", {.path = path, .fd = ends[0]}), undecided) << "a pipe";
    close(ends[0]);
    close(ends[1]);
}

class with_content {
public:
    value operator()(const std::string &content, const std::string &rule) const {
        return value_of(rule, {.path = dir_.write("f", content)});
    }

private:
    temp_dir dir_;
};

TEST(TypeRule, NumbersAreLoadedInTheirByteOrder) {
    const with_content is;
    const std::string content("\x7f\x12\x34\x56\x78\xff\xff\xff\xff\x80", 10);
    struct {
        const char *test;
        value result;
    } const rows[] = {{"0,byte,0x7f", holds},         {"0,byte,0x80", fails},          {"9,byte,128", holds},
                      {"1,b_short,0x1234", holds},    {"1,l_short,0x3412", holds},     {"1,l_short,0x1234", fails},
                      {"1,b_short,0x3412", fails},    {"1,b_long,0x12345678", holds},  {"1,l_long,0x78563412", holds},
                      {"1,b_long,0x78563412", fails}, {"1,l_long,0x12345678", fails},  {"2,b_short,0x3456", holds},
                      {"5,l_long,0xFFFFFFFF", holds}, {"5,b_long,4294967295", holds},  {"5,b_short,0xFFFF", holds},
                      {"5,byte,255", holds},          {"0,byte,0x17f", holds},         {"1,b_short,0x991234", holds},
                      {"1,l_short,0x993412", holds},  {"5,b_long,0x1FFFFFFFFF", holds}};
    for (const auto &row : rows) EXPECT_EQ(is(content, "-m " + std::string(row.test)), row.result) << row.test;
}

TEST(TypeRule, NumbersReachTheEndOfTheContent) {
    const with_content is;
    std::string content(600, 'x');
    content.replace(508, 4, "\x01\x02\x03\x04");
    EXPECT_EQ(is(content, "-m 508,b_long,0x01020304"), holds);
    EXPECT_EQ(is(content, "-m 510,b_short,0x0304"), holds);
    EXPECT_EQ(is(content, "-m 511,byte,4"), holds);
    EXPECT_EQ(is(content, "-m 510,\"\x03\x04\""), holds);
}

TEST(TypeRule, TextsStandAtTheirPlace) {
    const with_content is;
    EXPECT_EQ(is("#!/bin/sh", "-m 0,\"#!\""), holds);
    EXPECT_EQ(is("#!/bin/sh", "-m 2,\"/bin/sh\""), holds);
    EXPECT_EQ(is("#!/bin/sh", "-m 1,\"#!\""), fails);
    EXPECT_EQ(is("#!/bin/sh", "-m 0,\"#?\""), fails);
    EXPECT_EQ(is("#!/bin/sh", "-m 2,\"/bin/sh \""), fails) << "the text is longer than the file";
    EXPECT_EQ(is("#!", "-m 2,\"a\""), fails);
    EXPECT_EQ(is("", "-m 0,\"a\""), fails);
    EXPECT_EQ(is("say \"hi\\\"", R"(-m 4,"\"hi\\\"")"), fails) << "a backslash that begins a text is kept";
    EXPECT_EQ(is("say \"hi\\\"", R"(-m 3," \"hi\\\"")"), holds);
    EXPECT_EQ(is(std::string("ab\0cd", 5), "-m 0,\"ab\""), holds);
    EXPECT_EQ(is(std::string("ab\0cd", 5), "-m 0,\"abc\""), fails);
    EXPECT_EQ(is("caf\xc3\xa9", "-m 3,\"\xc3\xa9\""), holds);
    EXPECT_EQ(is("AB", "-m 0,\"ab\""), fails);
    const std::string whole(512, 'w');
    EXPECT_EQ(is(whole, "-m 0,\"" + whole + "\""), holds);
    EXPECT_EQ(is(whole.substr(1), "-m 0,\"" + whole + "\""), fails);
}

TEST(TypeRule, NothingOfAnEarlierFileIsSeen) {
    const temp_dir dir;
    const std::string before = dir.write("long", std::string(512, 'z')), after = dir.write("short", "a");
    const read_rules read("z: -m 300,\"zz\" | -t \"zz\" | -m 1,byte,0x7a | -m 200,l_long,0x7a7a7a7a; a: -p;");
    const program made(read.rules.first());
    for (int i = 0; i < 3; i++) {
        examined_file one(before.c_str(), -2, nullptr, nullptr, 15), two(after.c_str(), -2, nullptr, nullptr, 15);
        EXPECT_STREQ(made.find(one)->names[0], "z");
        EXPECT_STREQ(made.find(two)->names[0], "a");
    }
}

TEST(TypeRule, TokensStandAnywhereInTheContent) {
    const with_content is;
    const std::string filler(505, '.');
    EXPECT_EQ(is("token", "-t \"token\""), holds);
    EXPECT_EQ(is("a token", "-t \"token\""), holds);
    EXPECT_EQ(is("token b", "-t \"token\""), holds);
    EXPECT_EQ(is("tokento", "-t \"tokent\""), holds);
    EXPECT_EQ(is("totoken", "-t \"token\""), holds);
    EXPECT_EQ(is("toke", "-t \"token\""), fails) << "longer than the content";
    EXPECT_EQ(is("", "-t \"t\""), fails);
    EXPECT_EQ(is("Token", "-t \"token\""), fails);
    EXPECT_EQ(is(std::string("\0\0token\0", 8), "-t \"token\""), holds) << "behind a NUL";
    EXPECT_EQ(is(std::string("tok\0en", 6), "-t \"token\""), fails);
    EXPECT_EQ(is(filler + "..token", "-t \"token\""), holds) << "the last byte is byte 512";
    EXPECT_EQ(is(filler + "...token", "-t \"token\""), fails);
    EXPECT_EQ(is(filler + "........token", "-t \"token\""), fails);
    EXPECT_EQ(is("say \"x\"", "-t \"\""), holds) << "the empty text is a double quote";
    EXPECT_EQ(is("say x", "-t \"\""), fails);
    EXPECT_EQ(is("\xff\xfe", "-t \"\xfe\""), holds);
    EXPECT_EQ(is(std::string(512, 'x'), "-t \"" + std::string(512, 'x') + "\""), holds);
    EXPECT_EQ(is(std::string(512, 'x'), "-t \"" + std::string(513, 'x') + "\""), fails);
}

TEST(TypeRule, HugeFilesCostTheirBeginning) {
    const temp_dir dir;
    const std::string path = dir.write("sparse", "#!begin");
    if (truncate(path.c_str(), off_t{1} << 40) != 0) GTEST_SKIP() << "no files of this size here";
    EXPECT_EQ(value_of("-m 0,\"#!begin\"", {.path = path}), holds);
    EXPECT_EQ(value_of("-t \"begin\"", {.path = path}), holds);
    EXPECT_EQ(value_of("-p", {.path = path}), fails);
    EXPECT_EQ(value_of("-m 7,byte,0", {.path = path}), holds);
}

// ---- text

class locale_for_scope {
public:
    explicit locale_for_scope(const char *name) : before_(std::setlocale(LC_ALL, nullptr)) {
        is_there_ = std::setlocale(LC_ALL, name) != nullptr;
    }
    ~locale_for_scope() { std::setlocale(LC_ALL, before_.c_str()); }
    locale_for_scope(const locale_for_scope &) = delete;
    locale_for_scope &operator=(const locale_for_scope &) = delete;
    [[nodiscard]] bool is_there() const { return is_there_; }

private:
    std::string before_;
    bool is_there_;
};

std::string lines_of(size_t size, size_t lines) {
    std::string text(size, 'x');
    for (size_t i = 1; i < lines; i++) text[i * size / lines] = '\n';
    return text;
}

TEST(PrintableTest, HoldsForAnEmptyFile) {
    const with_content is;
    for (const char *name : {"C", "C.UTF-8"}) {
        const locale_for_scope locale(name);
        if (locale.is_there()) {
            EXPECT_EQ(is("", "-p"), holds);
        }
    }
}

TEST(PrintableTest, AsksEachByteInALocaleOfSingleBytes) {
    const locale_for_scope locale("C");
    const with_content is;
    EXPECT_EQ(is("int main(void) {\n\treturn 0;\r\n}\v\f\n", "-p"), holds);
    for (int c = 0; c < 256; c++) {
        const bool is_text = (c >= ' ' && c <= '~') || (c >= '\t' && c <= '\r');
        EXPECT_EQ(is("ab" + std::string(1, static_cast<char>(c)) + "cd", "-p"), is_text ? holds : fails) << c;
        EXPECT_EQ(is(std::string(1, static_cast<char>(c)), "-p"), is_text ? holds : fails) << c;
    }
    EXPECT_EQ(is(lines_of(511, 3) + std::string(1, '\0'), "-p"), fails);
    EXPECT_EQ(is(lines_of(511, 3) + "\xc3\xa9", "-p"), fails);
    EXPECT_EQ(is(lines_of(512, 3) + std::string("\0\1", 2), "-p"), holds) << "beyond the content";
}

TEST(PrintableTest, AsksTheLocaleWhatIsPrintable) {
    const locale_for_scope locale("en_US.ISO-8859-1");
    if (!locale.is_there()) GTEST_SKIP() << "the host does not have this locale";
    const with_content is;
    EXPECT_EQ(is("caf\xe9", "-p"), holds);
    EXPECT_EQ(is("a\xa0z", "-p"), holds);
    EXPECT_EQ(is("a\x85z", "-p"), fails);
    EXPECT_EQ(is(std::string(512, '\xe9'), "-p"), fails) << "a line of 512";
    EXPECT_EQ(is(lines_of(512, 3), "-p"), holds);
}

TEST(PrintableTest, LinesAreAtMost256BytesOnAverage) {
    const locale_for_scope locale("C");
    const with_content is;
    EXPECT_EQ(is(std::string(512, 'x'), "-p"), fails);
    EXPECT_EQ(is(lines_of(512, 3), "-p"), holds);
    EXPECT_EQ(is(lines_of(512, 2), "-p"), holds);
    EXPECT_EQ(is(std::string(256, 'x'), "-p"), holds);
    EXPECT_EQ(is(std::string(257, 'x'), "-p"), fails);
    EXPECT_EQ(is(std::string(511, 'x') + "\n", "-p"), holds) << "a newline at the end begins a second line";
    EXPECT_EQ(is(std::string(511, 'x') + "x\n", "-p"), fails);
    EXPECT_EQ(is(std::string(10000, 'x'), "-p"), fails);
    EXPECT_EQ(is(lines_of(510, 2).substr(0, 500) + std::string(20000, 'x'), "-p"), holds);
}

TEST(PrintableTest, AsksEachCharacterInALocaleOfSeveralBytes) {
    const locale_for_scope locale("C.UTF-8");
    if (!locale.is_there()) GTEST_SKIP() << "the host does not have this locale";
    const with_content is;
    EXPECT_EQ(is("caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80\n\t", "-p"), holds);
    EXPECT_EQ(is("a\xe3\x80\x80z", "-p"), holds) << "an ideographic space";
    EXPECT_EQ(is("a\xe2\x80\xa8z", "-p"), holds) << "a line separator is white space";
    EXPECT_EQ(is("a\xc2\x85z", "-p"), std::iswspace(0x85) ? holds : fails) << "as the host says";
    EXPECT_EQ(is("a\xc2\x80z", "-p"), fails);
    EXPECT_EQ(is("a\xef\xbf\xbfz", "-p"), fails) << "no character";
    EXPECT_EQ(is("a\xee\x80\x80z", "-p"), fails) << "private use";
    for (int c = 0; c < 128; c++) {
        const bool is_text = (c >= ' ' && c <= '~') || (c >= '\t' && c <= '\r');
        EXPECT_EQ(is("ab" + std::string(1, static_cast<char>(c)) + "cd", "-p"), is_text ? holds : fails) << c;
    }
    for (const char *bad : {"a\x80z", "a\xff", "a\xc3", "a\xc3z", "a\xe2\x82", "a\xc0\x80z", "a\xed\xa0\x80z"})
        EXPECT_EQ(is(bad, "-p"), fails) << bad;
}

TEST(PrintableTest, ACharacterMayBeCutAtTheEndOfTheContent) {
    const with_content is;
    for (const auto &[name, character] : {std::pair{"C.UTF-8", "\xe2\x82\xac"}, {"ja_JP.EUC-JP", "\xa4\xa2"}}) {
        const locale_for_scope locale(name);
        if (!locale.is_there()) continue;
        const auto longest = MB_CUR_MAX;
        const std::string whole = character;
        for (size_t cut = 1; cut < whole.size(); cut++) {
            // The content ends behind `cut` bytes of the last character.
            const std::string text = lines_of(512 - cut, 3) + whole;
            EXPECT_EQ(is(text, "-p"), holds) << name << cut;
            EXPECT_EQ(is(text.substr(0, 512), "-p"), holds) << name << " and nothing behind it";
            EXPECT_EQ(is(text.substr(1, 511), "-p"), fails) << name << " fewer than 512 bytes";
        }
        // What stops the scan near the end is not asked for its reason.
        EXPECT_EQ(is(lines_of(512 - longest, 3) + std::string(longest, '\1'), "-p"), holds) << name;
        EXPECT_EQ(is(lines_of(511 - longest, 3) + std::string(longest + 1, '\1'), "-p"), fails) << name;
        EXPECT_EQ(is(lines_of(511, 3) + std::string(1, '\0'), "-p"), holds) << name;
        EXPECT_EQ(is(lines_of(100, 3) + std::string(1, '\0'), "-p"), fails) << name;
    }
}

TEST(PrintableTest, LinesAreLongerInALocaleOfSeveralBytes) {
    const locale_for_scope locale("C.UTF-8");
    if (!locale.is_there()) GTEST_SKIP() << "the host does not have this locale";
    const with_content is;
    EXPECT_EQ(is(std::string(512, 'x'), "-p"), holds) << "at most 256 characters of the longest kind";
}

TEST(PrintableTest, ReadsOtherEncodingsThanUtf8) {
    const locale_for_scope locale("ja_JP.EUC-JP");
    if (!locale.is_there()) GTEST_SKIP() << "the host does not have this locale";
    const with_content is;
    EXPECT_EQ(is("\xa4\xa2\xa4\xa4\n\xb4\xc1\xbb\xfa abc\t", "-p"), holds);
    EXPECT_EQ(is("a\xe2\x82z\xac", "-p"), fails) << "cannot be decoded";
    EXPECT_EQ(is("a\xff", "-p"), fails);
    EXPECT_EQ(is("a\x01", "-p"), fails);
    EXPECT_EQ(is("a\xa4", "-p"), fails);
}

TEST(PrintableTest, FollowsTheLocaleWhereItIsSet) {
    const with_content is;
    const char text[] = "caf\xc3\xa9";
    {
        const locale_for_scope locale("C.UTF-8");
        if (!locale.is_there()) GTEST_SKIP() << "the host does not have this locale";
        EXPECT_EQ(is(text, "-p"), holds);
    }
    const locale_for_scope locale("C");
    EXPECT_EQ(is(text, "-p"), fails);
}

// ---- against a plain walk

class plain_walk {
public:
    plain_walk(const char *name, uint32_t options, std::string_view content)
        : name_(name), options_(options), content_(content) {}

    const definition *find(const definition *first) const {
        for (const definition *one = first; one; one = one->next)
            if (evaluated(one->rule) == 0) return one;
        return nullptr;
    }

private:
    int evaluated(const ft_node_t *node) const {
        if (!node) return 1;
        switch (node->kind) {
        case FT_OR: {
            const int left = evaluated(node->u.operands.left);
            if (left == 0) return 0;
            const int right = evaluated(node->u.operands.right);
            if (right == 0) return 0;
            return left == 2 || right == 2 ? 2 : 1;
        }
        case FT_AND: {
            const int left = evaluated(node->u.operands.left);
            return left != 0 ? left : evaluated(node->u.operands.right);
        }
        case FT_NOT: {
            const int operand = evaluated(node->u.operands.left);
            return operand == 2 ? 2 : 1 - operand;
        }
        case FT_NAME_TEST:
            if (!(options_ & 1)) return 2;
            if (node->u.name.length == -1) return std::strcmp(node->u.name.pattern, name_) == 0 ? 0 : 1;
            return wild_match(node->u.name.compiled, name_, 0) ? 0 : 1;
        case FT_STATUS_TEST: return options_ & 2 ? node->u.status.kind != 0x8000 : 2;
        case FT_COMMAND_TEST: return 2;
        case FT_MAGIC_TEST:
            if (!(options_ & 4)) return 2;
            return static_cast<unsigned char>(content_[node->u.magic.offset]) == node->u.magic.value.byte ? 0 : 1;
        case FT_TOKEN_TEST:
            if (!(options_ & 4)) return 2;
            return content_.find(node->u.token.text) == std::string_view::npos;
        default: return options_ & 4 ? 0 : 2;
        }
    }

    const char *name_;
    uint32_t options_;
    std::string_view content_;
};

TEST(TypeProgram, FindsWhatAPlainWalkFinds) {
    const temp_dir dir;
    const std::string content = "ab the needle\n";
    const std::string path = dir.write("f", content);
    const int fd = open(path.c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    const fileutl_status_t regular = status_with(0100644);
    size_t asked = 0, answered = 0, crowded = 0;
    for (uint32_t seed = 0; seed < 22000; seed++) {
        note_taker notes;
        scoped_rule_set rules(notes);
        tree_maker make(rules, seed);
        // Now and then a name matches more patterns than are kept of it.
        const bool is_large = seed % 100 == 0;
        const uint32_t count = is_large ? 200 : 1 + make.below(8);
        for (uint32_t i = 0; i < count; i++) {
            char *names[] = {const_cast<char *>("n"), nullptr};
            ft_node_t *rule =
                is_large ? rules.join(FT_AND, rules.name_test(make.kept("*" + make.pattern() + "*")), make.tree(3))
                         : make.tree(make.below(5));
            rules.define(names, rule);
        }
        crowded += is_large;
        const program made(rules.first());
        for (int question = 0; question < (is_large ? 20 : 4); question++) {
            const std::string name = make.name();
            const uint32_t options = make.below(16);
            // The base name begins behind what separates.
            const size_t separated = name.find_last_of("\\/");
            const char *base = name.c_str() + (separated == name.npos ? 0 : separated + 1);
            const definition *expected = plain_walk(base, options, content).find(rules.first());
            const std::string asked_for = "/some/" + name;
            examined_file file(asked_for.c_str(), fd, &regular, nullptr, options);
            const definition *actual = made.find(file);
            ASSERT_EQ(actual, expected) << "seed " << seed << ", name \"" << name << "\", options " << options
                                        << (expected ? ", " + shape(expected->rule) : "") << " not "
                                        << (actual ? shape(actual->rule) : "");
            asked++;
            answered += expected != nullptr;
        }
    }
    close(fd);
    EXPECT_GT(asked, 80000u);
    EXPECT_GT(answered, asked / 5);
    EXPECT_GT(asked - answered, asked / 10);
    EXPECT_GT(crowded, 100u);
}

TEST(TypeProgram, ManyPatternsOfOneNameAreAllSeen) {
    for (const int count : {31, 32, 33, 34, 100}) {
        std::string text;
        for (int i = 0; i < count; i++) {
            // Each matches, no two are equal.
            text +=
                "d" + std::to_string(i) + ": -n \"" + std::string(static_cast<size_t>(i), '?') + "*\" & -t \"x\";\n";
        }
        text += "last: -n \"" + std::string(120, 'a') + "\";";
        const read_rules read(text);
        ASSERT_EQ(read.complaints(), strings{});
        EXPECT_EQ(found(read.rules, {.path = std::string(120, 'a'), .options = 1}), "last") << count;
    }
}

// ---- hostile files

TEST(HostileTypeFile, ManyDefinitionsAreRead) {
    std::string text;
    for (int i = 0; i < 100000; i++)
        text += "t" + std::to_string(i) + " x: -n \"*.e" + std::to_string(i) + "\" | -n \"n" + std::to_string(i) +
                "\";\n";
    const read_rules read(text);
    EXPECT_EQ(read.complaints(), strings{});
    EXPECT_EQ(read.count(), 100000u);
    const program made(read.rules.first());
    for (const auto &[name, line] : {std::pair{"a.e99999", 100000u}, {"n77777", 77778u}, {"a.e0", 1u}}) {
        examined_file file(name, -2, nullptr, nullptr, 15);
        const definition *one = made.find(file);
        ASSERT_NE(one, nullptr);
        EXPECT_EQ(one->line, line);
    }
}

TEST(HostileTypeFile, NestingTooDeepEndsTheFile) {
    for (const size_t depth : {size_t{100000}, size_t{1000000}}) {
        for (const char *opening : {"(", "!("}) {
            std::string text = "first: -p;\ndeep:\n";
            for (size_t i = 0; i < depth; i++) text += opening;
            text += "-p" + std::string(depth, ')') + ";\nafter: -p;";
            const read_rules read(text);
            EXPECT_EQ(read.complaints(), strings{"yacc stack overflow:3"}) << depth << opening;
            EXPECT_EQ(read.names(), "first");
        }
    }
    // What people write goes.
    EXPECT_EQ(shape_of(std::string(500, '(') + "-p" + std::string(500, ')')), "-p");
}

TEST(HostileTypeFile, LongRulesAreEvaluatedWithoutDepth) {
    for (const char *joined : {"|", "&"}) {
        std::string text = "x: -n \"f.c\"";
        for (int i = 0; i < 300000; i++) text += joined + std::string("-n \"f.c\"");
        const read_rules read(text + ";");
        EXPECT_EQ(read.complaints(), strings{});
        EXPECT_EQ(found(read.rules, {}), "x");
        EXPECT_EQ(found(read.rules, {.path = "other"}), "");
    }
    // Trees grown to the right, as parentheses and programs make them.
    note_taker notes;
    scoped_rule_set rules(notes);
    ft_node_t *tree = rules.name_test("f.c");
    for (int i = 0; i < 300000; i++)
        tree = i % 3 == 0   ? rules.join(FT_OR, rules.name_test("g"), tree)
               : i % 3 == 1 ? rules.join(FT_NOT, rules.join(FT_NOT, tree, nullptr), nullptr)
                            : rules.join(FT_AND, rules.name_test("f*"), tree);
    char *names[] = {const_cast<char *>("deep"), nullptr};
    rules.define(names, tree);
    EXPECT_EQ(found(rules, {}), "deep");
    EXPECT_EQ(found(rules, {.path = "f"}), "");
}

constexpr size_t large = 50'000'000;

TEST(HostileTypeFile, OneLineOfWordsIsRead) {
    std::string text;
    while (text.size() < large) text += "wordwords ";
    read_rules read(text);
    EXPECT_EQ(read.complaints(), strings{error_at(1)});
    const read_rules one_word(std::string(large, 'w') + ": -p;");
    ASSERT_EQ(one_word.count(), 1u);
    EXPECT_EQ(std::strlen(one_word.rules.first()->names[0]), large);
}

TEST(HostileTypeFile, UnfinishedStringsAreReadOnce) {
    const std::string end = "\n;b: -p;";
    std::string escapes = "a: -n \"", wrong = "a: -n ";
    while (escapes.size() < large) escapes += "\\\"";
    while (wrong.size() < large / 10) wrong += "\"x\\y";
    EXPECT_EQ(read_rules(escapes).complaints(), strings{error_at(1)});
    EXPECT_EQ(read_rules(escapes.substr(0, large / 10) + end).names(), "b");
    EXPECT_EQ(read_rules(wrong + end).names(), "b");
    EXPECT_EQ(read_rules("a: -n \"" + std::string(large, 'x') + end).names(), "b");
    EXPECT_EQ(read_rules("a: -n " + std::string(large / 10, '"') + end).names(), "b");
}

TEST(HostileTypeFile, OneLineOfEndsIsRead) {
    const read_rules read(std::string(5'000'000, ';') + "a: -p;");
    EXPECT_EQ(read.names(), "a");
    EXPECT_FALSE(read.notes.heard.empty());
}

TEST(HostileTypeFile, BytesThatAreNoTextAreSyntaxErrors) {
    for (const std::string &junk :
         {std::string(1000, '\0'), std::string(1000, '\xff'), std::string("\xc3\x28\xa0\xed\xa0\x80"),
          std::string("\xef\xbb\xbf"), std::string("\x1a"), std::string("\r")}) {
        const read_rules read(junk + "a: -p;\nb: -p;");
        EXPECT_EQ(read.names(), "b");
        EXPECT_EQ(read.complaints(), strings{error_at(1)});
        EXPECT_EQ(read_rules("a: -p;\nb: -p " + junk + ";c: -p;").names(), "a c");
    }
    std::mt19937 random(7);
    for (int i = 0; i < 2000; i++) {
        std::string text;
        for (int size = static_cast<int>(random() % 200); size > 0; size--) text += static_cast<char>(random());
        const read_rules read(text + "\n;ok: -p;");
        EXPECT_TRUE(read.names().ends_with("ok"));
    }
}

TEST(HostileTypeFile, TooLargeAFileIsRefused) {
    note_taker notes;
    scoped_rule_set rules(notes);
    std::string huge;
    try {
        huge.resize((size_t{1} << 30) + 1, '\n');
    } catch (const std::bad_alloc &) {
        GTEST_SKIP() << "no memory";
    }
    try {
        read_text(rules, "huge.magic", std::move(huge));
        FAIL();
    } catch (const scanner_failure &failure) {
        EXPECT_STREQ(failure.text, "fatal error - scanner input buffer overflow");
    }
}

// ---- against a plain scanner

// Words, strings and single characters, each by the longest match, one after the other; and of them the definitions
// "names : -p ;".
class plain_reader {
public:
    explicit plain_reader(std::string_view text) : text_(text) {
        while (at_ < text_.size()) scan();
    }

    [[nodiscard]] std::string names() const {
        std::string all;
        for (size_t i = 0; i < tokens_.size();) {
            const size_t first = i;
            while (i < tokens_.size() && is_name(tokens_[i])) i++;
            const bool is_definition = i > first && is(i, ":") && is(i + 1, "-p") && is(i + 2, ";");
            if (is_definition) {
                all += (all.empty() ? "" : " ") + tokens_[first];
                i += 3;
                continue;
            }
            // What is wrong is found at the first token that does not fit.
            if (i > first && is(i, ":")) i += is(i + 1, "-p") ? 2 : 1;
            while (i < tokens_.size() && tokens_[i] != ";") i++;
            i++;
        }
        return all;
    }

private:
    static bool is_word(char c) { return std::isalnum(static_cast<unsigned char>(c)) || std::strchr("-./_", c); }
    static bool is_name(const std::string &token) { return is_word(token[0]) && token != "-p"; }
    [[nodiscard]] bool is(size_t at, const char *token) const { return at < tokens_.size() && tokens_[at] == token; }

    // End of the string that begins at a place, or the place when none does.
    [[nodiscard]] size_t end_of_string(size_t begin) const {
        for (size_t i = begin + 1; i < text_.size() && text_[i] != '\n'; i++) {
            if (text_[i] == '"') return i + 1;
            if (text_[i] != '\\') continue;
            i++;
            if (i == text_.size() || (text_[i] != '"' && text_[i] != '\\')) return begin;
        }
        return begin;
    }

    void scan() {
        const bool is_at_start = at_ == 0 || text_[at_ - 1] == '\n';
        const char c = text_[at_];
        size_t end = at_ + 1;
        if (c == '#' && is_at_start) {
            at_ = std::min(text_.find('\n', at_), text_.size());
            return;
        }
        if (c == ' ' || c == '\t' || c == '\n') {
            at_++;
            return;
        }
        if (c == '"') {
            end = std::max(end, end_of_string(at_));
        } else if (is_word(c)) {
            while (end < text_.size() && is_word(text_[end])) end++;
        }
        tokens_.emplace_back(text_.substr(at_, end - at_));
        at_ = end;
    }

    std::string_view text_;
    size_t at_ = 0;
    std::vector<std::string> tokens_;
};

TEST(TypeFileWords, StringsAreFoundAsAPlainScannerFindsThem) {
    const char *const pieces[] = {"\"", "\"", "\\", "\\\"", "\\\\", "a", " ", "\n", "#", "\n#", "x", ";", "\\\\\""};
    std::mt19937 random(11);
    size_t definitions = 0;
    for (int i = 0; i < 50000; i++) {
        std::string text;
        for (int part = 0; part < 6; part++) {
            for (size_t size = random() % 8; size > 0; size--) text += pieces[random() % std::size(pieces)];
            text += "; ok" + std::to_string(part) + ": -p ;";
        }
        const read_rules read(text);
        ASSERT_EQ(read.names(), plain_reader(text).names()) << text;
        definitions += read.count();
    }
    EXPECT_GT(definitions, 100000u);
}

// ---- refused memory

TEST(TypeRuleMemory, EveryAllocationMayFail) {
    const temp_dir dir;
    const std::string path = dir.write("f.c", "text");
    std::string text = "a b: -n \"*.x\" | -n \"f.x\" & !-s d;\n"
                       "bad: ;\n"
                       "c: (-m 0,l_long,3 | -t \"q\") & -f \"x\" | -p & -n \"f.c\";\n"
                       "deep: " +
                       std::string(300, '(') + "-p" + std::string(300, ')') + ";";
    const int refused = faults::each_allocation([&](int n, bool) {
        note_taker notes;
        scoped_rule_set rules(notes);
        bool is_whole = true;
        try {
            read_text(rules, "some.magic", text);
            const program made(rules.first());
            examined_file file(path.c_str(), -2, nullptr, nullptr, 15);
            const definition *one = made.find(file);
            const faults::suspend unrefused;
            // The deep definition alone may be given up, with a message.
            EXPECT_TRUE(one && std::strcmp(one->names[0], "c") == 0) << n;
            if (notes.heard.size() != 1) {
                EXPECT_EQ(notes.heard.back().what, "tbs_ft_yyparse: memory exhausted") << n;
            }
        } catch (const std::bad_alloc &) {
            is_whole = false;
        } catch (const scanner_failure &failure) {
            const faults::suspend unrefused;
            EXPECT_STREQ(failure.text, "out of dynamic memory in tbs_ft_yy_create_buffer()") << n;
            is_whole = false;
        }
        const faults::suspend unrefused;
        if (!is_whole) {
            rules.release();
            read_text(rules, "some.magic", text);
            EXPECT_EQ(found(rules, {.path = path}), "c") << n;
        }
    });
    EXPECT_GT(refused, 10);
}

TEST(TypeRuleMemory, ADeepRuleIsEvaluatedOrRefused) {
    note_taker notes;
    scoped_rule_set rules(notes);
    ft_node_t *tree = rules.name_test("f.c");
    for (int i = 0; i < 5000; i++)
        tree = rules.join(FT_OR, rules.join(FT_AND, rules.name_test("g"), tree), rules.join(FT_AND, tree, tree));
    (void)tree;
    ft_node_t *nested = rules.name_test("f.c");
    for (int i = 0; i < 3000; i++)
        nested = rules.join(FT_AND, rules.name_test("f*"), rules.join(FT_OR, rules.name_test("g"), nested));
    char *names[] = {const_cast<char *>("deep"), nullptr};
    rules.define(names, nested);
    const program made(rules.first());
    const int refused = faults::each_allocation([&](int, bool) {
        examined_file file("f.c", -2, nullptr, nullptr, 15);
        try {
            const definition *one = made.find(file);
            const faults::suspend unrefused;
            EXPECT_NE(one, nullptr);
        } catch (const std::bad_alloc &) {
            // the boundary says so
        }
    });
    EXPECT_EQ(refused, 1);
}

} // namespace
