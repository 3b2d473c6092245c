// Bad input: every file that the tool reads, damaged in every way that a file can be.
#include "tool/tool_runner.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tuple>

using namespace tool_test;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

// An ACL, a permissions file and a credentials file: where a file is given to the tool, and a line that is right in it.
struct place {
    const char *name;
    const char *good_line;
};
const place places[] = {
    {"acl", "Everyone: Delete"}, {"permissions", "Extra = 0x1"}, {"creds", "user BRACKWATER\\dov"}};

constexpr char generic[] = "[generic]\nread = 0x1\nwrite = 0x2\nexecute = 0x0\nall = 0x7\n";

// Runs a check in which one of the files is the one to test.
outcome check_with(const std::string &what, const std::string &file, bool as_json = false) {
    const temp_dir dir;
    const std::string acl = dir.write("good.acl", "Everyone: Delete\n");
    std::vector<std::string> words = {"acl", "check", what == "acl" ? file : acl, "--want", "Delete"};
    if (what == "permissions") words.insert(words.end(), {"--permissions", file});
    if (what == "creds") {
        words.insert(words.end(), {"--creds", file});
    } else {
        words.insert(words.end(), {"--as", "BRACKWATER\\dov"});
    }
    if (as_json) words.push_back("--json");
    return run_tool(words);
}

void expect_refused(const std::string &what, const std::string &file, const std::string &reason) {
    SCOPED_TRACE(what + ": " + reason);
    const outcome run = check_with(what, file);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr(file));
    EXPECT_THAT(run.err, HasSubstr(reason));
    EXPECT_LT(run.err.size(), 6000u);
    const outcome as_json = check_with(what, file, true);
    EXPECT_EQ(as_json.status, 2);
    EXPECT_EQ(as_json.err, "");
    EXPECT_EQ(as_json.parsed()["error"]["file"], file);
}

} // namespace

TEST(BadInput, AFileThatIsMissing) {
    for (const place &p : places) expect_refused(p.name, "/nonexistent/file", "cannot be opened");
}

TEST(BadInput, APipeThatWouldHaveToBeReadTwice) {
    const temp_dir dir;
    const std::string pipe = dir / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    expect_refused("acl", pipe, "what comes through a pipe is gone once it is checked");
    const outcome map = run_tool({"rolemap", "show", pipe});
    EXPECT_EQ(map.status, 2);
    EXPECT_THAT(map.err, HasSubstr("Name a regular file"));
}

TEST(BadInput, ADirectory) {
    const temp_dir dir;
    for (const place &p : places) expect_refused(p.name, dir.str(), "the file cannot be");
}

TEST(BadInput, AFileThatMayNotBeRead) {
    if (geteuid() == 0) GTEST_SKIP() << "root may read everything";
    const temp_dir dir;
    const std::string file = dir.write("secret", "Everyone: Delete\n");
    chmod(file.c_str(), 0);
    for (const place &p : places) expect_refused(p.name, file, "cannot be opened");
}

TEST(BadInput, AFileWhoseReadingFails) {
    for (const place &p : places) expect_refused(p.name, "/proc/self/mem", "cannot be read");
}

TEST(BadInput, ANulByte) {
    const temp_dir dir;
    for (const place &p : places) {
        const std::string text = std::string("# one\n") + p.good_line + std::string(1, '\0') + " hidden\n";
        expect_refused(p.name, dir.write(p.name, text), ":2: the line holds a NUL byte");
    }
}

TEST(BadInput, BytesThatAreNotUtf8) {
    const temp_dir dir;
    for (const place &p : places) {
        for (const std::string bytes : {"\xFF", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82"}) {
            const std::string text = "# " + bytes + "\n" + p.good_line + "\n";
            expect_refused(p.name, dir.write(p.name, text), ":1: the line is not UTF-8");
        }
    }
}

TEST(BadInput, ALineOfTenMegabytes) {
    const temp_dir dir;
    const std::string file = dir.write("long", "Everyone: Delete\n" + std::string(10'000'000, 'x') + "\n");
    for (const place &p : places) expect_refused(p.name, file, "long:");
    EXPECT_THAT(check_with("acl", file).err, HasSubstr(":2: the line is longer than 1023 bytes"));
}

TEST(BadInput, ALongCommentCannotHideAnEntry) {
    const temp_dir dir;
    const std::string file = dir.write("sly", "#" + std::string(1022, ' ') + "Everyone: Delete\n");
    expect_refused("acl", file, ":1: the line is longer than 1023 bytes");
    EXPECT_EQ(check_with("acl", dir.write("edge", "#" + std::string(1022, ' ') + "\nEveryone: Delete\n")).status, 0);
}

TEST(GoodInput, LinesThatEndInCarriageReturns) {
    const temp_dir dir;
    EXPECT_EQ(check_with("acl", dir.write("acl", "# one\r\n\r\nEveryone: Delete\r\n")).status, 0);
    EXPECT_EQ(check_with("creds", dir.write("creds", "# one\r\n\r\nuser BRACKWATER\\dov\r\n")).status, 0);
    std::string text = generic;
    for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) text.insert(at, "\r");
    EXPECT_EQ(check_with("permissions", dir.write("permissions", text)).status, 0);
}

TEST(GoodInput, ALastLineWithoutNewline) {
    const temp_dir dir;
    EXPECT_EQ(check_with("acl", dir.write("acl", "Everyone: Delete")).status, 0);
}

TEST(BadAcl, NamesTheLine) {
    const temp_dir dir;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"Everyone: Delete\nEveryone:\n", "Syntax error on line 2."},
        {"\n# x\nFrog:a Delete\n", "Problem parsing identity \"Frog:a\" on line 3."},
        {"Everyone: Jump\n", "Problem parsing permission set \"Jump\" on line 1"},
        {"Everyone: Delete,\n", "Problem parsing permission set \"Delete,\" on line 1"},
        {"Everyone: Reserved\n", "Unable to set ACL entry for line 1"},
        {"User:BRACKWATER\\ghost Delete\n", "Unknown ACL identity: BRACKWATER\\ghost."},
        {"User:dov Delete\n", "Unknown ACL identity: dov\\."},
        {"Domain:BRACKWATER Delete\n", "Unrecognized ACL identity type \"Domain\"."},
        {"Role:-x Delete\n", "Invalid role name \"-x\"."}};
    for (const auto &[text, message] : cases) expect_refused("acl", dir.write("bad.acl", text), message);
}

TEST(BadAcl, SaysWhatToDoAboutTheLine) {
    const temp_dir dir;
    const std::string words = dir.write("words", std::string("Jump = 0x1\n") + generic);
    const std::string list = "A list of permissions holds no blanks", unknown = "ORSIK_ACCOUNTS";
    const std::vector<std::tuple<std::string, std::string, int>> cases = {
        {"Everyone: Delete\nEveryone: Jump\n", "--permissions FILE names further permissions", 2},
        {"Everyone: Delete,\r\n", list, 1},
        {"User:BRACKWATER\\dov Delete, AclRead\n", list, 1},
        {"#\n\nUser:BRACKWATER\\gh7ost Delete\n", unknown, 3},
        {"User:BRACKWATER\\ghost, ann Delete\n", unknown, 1},
        {"Everyone:\n", "Correct the line that it names", 1},
        {"Everyone: Reserved\n", "Correct the line that it names", 1}};
    for (const auto &[text, remedy, line] : cases) {
        const std::string file = dir.write("bad.acl", text);
        const json error = run_tool({"acl", "show", file, "--json"}).parsed()["error"];
        EXPECT_THAT(error["remedy"].get<std::string>(), HasSubstr(remedy)) << text;
        EXPECT_EQ(error["line"], line) << text;
        EXPECT_THAT(run_tool({"acl", "show", file}).err, HasSubstr(file + ':' + std::to_string(line) + ": no ACL"));
    }
    const std::string file = dir.write("bad.acl", "Everyone: Leap\n");
    EXPECT_THAT(run_tool({"acl", "show", file, "--permissions", words}).err, HasSubstr("add it to the file"));
}

TEST(BadInput, AByteOrderMark) {
    const temp_dir dir;
    for (const place &p : places) {
        const std::string file = dir.write("marked", std::string("\xEF\xBB\xBF") + p.good_line + '\n');
        expect_refused(p.name, file, ":1: the file begins with a byte order mark");
    }
    const std::string map = dir.write("marked", "\xEF\xBB\xBFRole:r --> User:BRACKWATER\\dov\n");
    EXPECT_THAT(run_tool({"rolemap", "show", map}).err, HasSubstr("begins with a byte order mark"));
}

TEST(StandardInput, IsAnAclLikeAFile) {
    const auto with_input = [](const std::string &input, const std::string &words) {
        return run_program({"/bin/sh", "-c", "printf '" + input + "' | " + TBS_TOOL_PATH + ' ' + words},
                           {{"ORSIK_ACCOUNTS", policy("accounts")}});
    };
    const temp_dir dir;
    const std::string file = dir.write("good.acl", "Everyone: Delete\n");
    EXPECT_EQ(with_input("Everyone: Delete\\n", "acl show -").out, run_tool({"acl", "show", file}).out);
    EXPECT_EQ(with_input("Everyone: Delete\\n", "acl check - --want Delete").status, 0);
    EXPECT_EQ(with_input("Everyone: Delete\\n", "acl check - --want AclRead").status, 1);
    EXPECT_EQ(with_input("Everyone: Delete\\n", "acl encode -").out, run_tool({"acl", "encode", file}).out);
    EXPECT_EQ(with_input("Everyone: Delete\\n", "acl diff - " + file).status, 0);
    EXPECT_EQ(with_input("", "acl diff - -").status, 2);
    const json bad = with_input("Everyone: Jump\\n", "acl show - --json").parsed();
    EXPECT_EQ(bad["error"]["file"], "(standard input)");
    EXPECT_EQ(bad["error"]["line"], 1);
}

TEST(BadAcl, GrantsNothingThatStandsBeforeTheBadLine) {
    const temp_dir dir;
    const std::string file = dir.write("half.acl", "Everyone: Delete\nEveryone: Jump\n");
    EXPECT_EQ(run_tool({"acl", "check", file, "--want", "Delete"}).status, 2);
    EXPECT_EQ(run_tool({"acl", "show", file}).out, "");
    EXPECT_EQ(run_tool({"acl", "diff", file, file}).status, 2);
}

TEST(BadPermissions, NamesFileLineAndRemedy) {
    const temp_dir dir;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"Extra\n", ":1: the line is neither"},
        {"Extra = \n", ":1: \"\" is no permission"},
        {"Extra = 1\n", ":1: \"1\" is no permission"},
        {"Extra = 0x\n", ":1: \"0x\" is no permission"},
        {"Extra = 0x1g\n", ":1: \"0x1g\" is no permission"},
        {"Extra = 0x100000001\n", ":1: \"0x100000001\" is no permission"},
        {"Extra = 0x1,,0x2\n", ":1: \"\" is no permission"},
        {"Extra = Later\nLater = 0x1\n", ":1: \"Later\" is no permission"},
        {"Extra = 0x0\n", ":1: \"Extra\" stands for no permission"},
        {"Extra = 0x80000000\n", ":1: the value 0x80000000 has bits that no entry stores"},
        {"Extra = Read\n", "has bits that no entry stores"},
        {"Ex tra = 0x1\n", ":1: \"Ex tra\" is no name"},
        {"1a = 0x1\n", ":1: \"1a\" is no name"},
        {"= 0x1\n", ":1: \"\" is no name"},
        {"Extra = 0x1\nEXTRA = 0x2\n", ":2: \"EXTRA\" is given twice"},
        {"[general]\n", ":1: the line is neither"},
        {std::string(generic) + "[generic]\n", ":6: the line is neither"},
        {std::string(generic) + "read = 0x1\n", ":6: \"read\" is given twice"},
        {std::string(generic) + "Extra = 0x1\n", ":6: \"Extra\" is no generic permission"},
        {"Extra = 0x1\n", ": the generic permission \"read\" is missing"},
        {"[generic]\nread = 0x1\nwrite = 0x2\nall = 0x7\n", ": the generic permission \"execute\" is missing"},
        {"Ex\x1b[1mtra = 0x1\n", ":1: the line holds a control character"}};
    for (const auto &[text, message] : cases) expect_refused("permissions", dir.write("words", text), message);
}

TEST(BadCredentials, NamesFileLineAndRemedy) {
    const temp_dir dir;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", ": the file names no user"},
        {"group BRACKWATER\\qa\n", ": the file names no user"},
        {"user\n", ":1: a name is missing"},
        {"user BRACKWATER\\ghost\n", ":1: no user is called \"BRACKWATER\\ghost\""},
        {"user BRACKWATER\\qa\n", ":1: no user is called \"BRACKWATER\\qa\""},
        {"user BRACKWATER\\dov\nuser BRACKWATER\\elif\n", ":2: \"user\" is given twice"},
        {"user BRACKWATER\\dov\ngroup BRACKWATER\\ghosts\n", ":2: no group is called"},
        {"user BRACKWATER\\dov\ngroup BRACKWATER\\qa\ngroup BRACKWATER\\docs\n", ":3: \"group\" is given twice"},
        {"user BRACKWATER\\dov\ngroups BRACKWATER\\qa, BRACKWATER\\ghosts\n", ":2: no group is called"},
        {"user BRACKWATER\\dov\ngroups BRACKWATER\\qa,\n", ":2: a name is missing"},
        {"user BRACKWATER\\dov\ngroups BRACKWATER\\qa\ngroups BRACKWATER\\QA\n", ":3: a group is given twice"},
        {"user BRACKWATER\\dov\ngroup BRACKWATER\\qa\ngroups BRACKWATER\\qa\n", ":3: a group is given twice"},
        {"user BRACKWATER\\dov\ngroups BRACKWATER\\qa\ngroup BRACKWATER\\qa\n", ":3: a group is given twice"},
        {"user S-1-0-0\n", ":1: S-1-0-0 is nobody"},
        {"owner BRACKWATER\\dov\n", ":1: \"owner\" is none of user, group and groups"}};
    for (const auto &[text, message] : cases) expect_refused("creds", dir.write("creds", text), message);
}

TEST(UnknownAccounts, AreNeverDecidedFor) {
    const temp_dir dir;
    const std::string file = dir.write("open.acl", "Everyone: Delete\n");
    for (const std::string who : {"BRACKWATER\\ghost", "NOWHERE\\root", "", "S-1-5-21-9-9-9-9", "S-1-0-0",
                                  "BRACKWATER\\", "\\dov", "BRACKWATER\\qa"}) {
        EXPECT_EQ(run_tool({"acl", "check", file, "--want", "Delete", "--as", who}).status, 2) << who;
    }
    EXPECT_EQ(run_tool({"acl", "check", file, "--want", "Delete", "--as", std::string(4000, 'x')}).status, 2);
}

TEST(EmptyOptions, AreNotAbsentOnes) {
    const temp_dir dir;
    const std::string file = dir.write("open.acl", "Everyone: Delete\n");
    for (const std::string option : {"--as", "--creds", "--owner", "--owner-group", "--permissions", "--want"}) {
        std::vector<std::string> words = {"acl", "check", file};
        if (option != "--want") words.insert(words.end(), {"--want", "Delete"});
        EXPECT_EQ(run_tool(words).status, option == "--want" ? 2 : 0);
        words.insert(words.end(), {option, ""});
        EXPECT_EQ(run_tool(words).status, 2) << option;
    }
}

// ---- control characters

TEST(ControlCharacters, ForgeNoLine) {
    const temp_dir dir;
    const std::string evil = "x\ngranted: all is well\x1b[2J\x9b"
                             "31m\x7f\r";
    const std::vector<std::vector<std::string>> commands = {
        {"acl", "show", evil},
        {"acl", "check", dir.write("a", "Everyone: Delete\n"), "--want", evil},
        {"acl", "check", dir / "a", "--want", "Delete", "--as", evil},
        {"acl", "check", dir / "a", "--want", "Delete", "--creds", evil},
        {"status", evil},
        {"msg", evil},
        {evil},
        {"acl", "check", dir / "a", "--want", "Delete", "--" + evil}};
    for (std::vector<std::string> words : commands) {
        const outcome run = run_tool(words);
        EXPECT_EQ(run.status, 2);
        for (const std::string &line : lines_of(run.out + run.err)) EXPECT_THAT(line, Not(StartsWith("granted")));
        for (const char c : run.out + run.err) {
            EXPECT_TRUE(c == '\n' || c == '\t' || (static_cast<unsigned char>(c) >= 0x20 && c != 0x7f)) << run.err;
        }
        EXPECT_THAT(run.err, Not(HasSubstr("\x9b")));
        words.push_back("--json");
        const outcome as_json = run_tool(words);
        for (const char c : as_json.out) EXPECT_TRUE(c == '\n' || (c >= 0x20 && c < 0x7f));
        EXPECT_EQ(as_json.parsed()["exit_status"], 2);
    }
}

TEST(ControlCharacters, InNamesOfAnAclAreShownNotSent) {
    const temp_dir dir;
    const std::string file = dir.write("evil.acl", "User:A\\b\x1b[2Jc\xe2\x80\xae"
                                                   "d Delete\n");
    const outcome run = run_tool({"acl", "show", file, "--classic"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(run.out, Not(HasSubstr("\xe2\x80\xae")));
    EXPECT_EQ(lines_of(run.out).size(), 1u);
    EXPECT_EQ(run_tool({"acl", "show", file, "--classic", "--json"}).parsed()["entries"][0]["identity"],
              "User:A\\b\x1b[2Jc\xe2\x80\xae"
              "d");
}
