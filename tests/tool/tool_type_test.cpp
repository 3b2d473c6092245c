// The types of files: tbs type, tbs magic check, tbs magic dump.
#include "tool/tool_runner.hpp"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace tool_test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace fs = std::filesystem;

namespace {

constexpr const char *two_types = "c_source text_file : -name \"*.c\";\n"
                                  "script text_file :\n"
                                  "    -magic 0, \"#!\" & -printable;\n"
                                  "folder : -stat directory;\n";

// A directory of rules and a tree of files.
class workplace {
public:
    explicit workplace(const std::string &rules = two_types) {
        fs::create_directories(dir_ / "rules");
        fs::create_directories(dir_ / "tree/sub/deeper");
        dir_.write("rules/own.magic", rules);
        dir_.write("tree/b.c", "");
        dir_.write("tree/a.c", "");
        dir_.write("tree/sub/run", "#!/bin/sh\n");
        dir_.write("tree/sub/deeper/what", "nothing known");
    }
    outcome run(std::vector<std::string> words, environment more = {}) const {
        more.emplace_back("MAGIC_PATH", dir_ / "rules");
        return run_tool(std::move(words), std::move(more));
    }
    std::string operator/(const std::string &leaf) const { return dir_ / leaf; }
    const temp_dir &dir() const { return dir_; }

private:
    temp_dir dir_;
};

std::vector<std::string> remarks(const std::string &rules, int status) {
    const temp_dir dir;
    dir.write("t.magic", rules);
    const outcome run = run_tool({"magic", "check", dir / "t.magic", "--json"});
    EXPECT_EQ(run.status, status) << run.out << run.err;
    std::vector<std::string> all;
    const json answer = run.parsed();
    for (const json &one : answer["remarks"]) {
        all.push_back(std::to_string(one["line"].get<int>()) + ' ' + one["kind"].get<std::string>() + ' ' +
                      one["text"].get<std::string>());
    }
    return all;
}

} // namespace

// ---- type

TEST(Type, NamesTheTypesOfEachFileInTheGivenOrder) {
    const workplace place;
    const outcome run = place.run({"type", place / "tree/sub/run", place / "tree/a.c", place / "tree"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(lines_of(run.out),
                ElementsAre(place / "tree/sub/run" + ": script text_file",
                            place / "tree/a.c" + ": c_source text_file", place / "tree" + ": folder"));
}

TEST(Type, WalksATreeInTheOrderOfNames) {
    const workplace place;
    const outcome run = place.run({"type", "-r", place / "tree"});
    EXPECT_EQ(run.status, 1) << "one file has no type";
    EXPECT_THAT(lines_of(run.out),
                ElementsAre(place / "tree/a.c" + ": c_source text_file", place / "tree/b.c" + ": c_source text_file",
                            place / "tree/sub/deeper/what" + ": (no type)",
                            place / "tree/sub/run" + ": script text_file"));
}

TEST(Type, FollowsLinksToFilesAndNotToDirectories) {
    const workplace place;
    fs::create_symlink("a.c", place / "tree/link.c");
    fs::create_symlink("sub/run", place / "tree/start");
    fs::create_directory_symlink(".", place / "tree/sub/again");
    fs::create_symlink("nowhere", place / "tree/sub/dangling.c");
    const outcome run = place.run({"type", "-r", place / "tree"});
    EXPECT_THAT(lines_of(run.out), AllOf(Contains(place / "tree/link.c" + ": c_source text_file"),
                                         Contains(place / "tree/start" + ": script text_file"),
                                         Contains(place / "tree/sub/again" + ": folder"),
                                         Contains(place / "tree/sub/dangling.c" + ": c_source text_file")));
    EXPECT_EQ(lines_of(run.out).size(), 8u);
    fs::create_directory_symlink("tree", place / "way");
    EXPECT_EQ(lines_of(place.run({"type", "-r", place / "way"}).out).size(), 8u)
        << "a link that is named is followed";
}

TEST(Type, GivesTheSameForAnyNumberOfThreads) {
    const workplace place;
    for (int i = 0; i < 1000; i++)
        place.dir().write("tree/sub/f" + std::to_string(i), i % 3 ? "#!/bin/sh\n" : "other");
    const outcome one = place.run({"type", "-r", place / "tree", "--jobs", "1"});
    EXPECT_EQ(lines_of(one.out).size(), 1004u);
    for (const char *jobs : {"2", "5", "0"})
        EXPECT_EQ(place.run({"type", "-r", place / "tree", "--jobs", jobs}).out, one.out) << jobs;
}

TEST(Type, ByNameDoesNotLookAtFiles) {
    const workplace place;
    const outcome run = place.run({"type", "--by-name", place / "tree/sub/run", place / "tree/a.c"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(lines_of(run.out),
                ElementsAre(place / "tree/sub/run" + ": (no type)", place / "tree/a.c" + ": c_source text_file"));
}

TEST(Type, ReportsWhatIsNotThereAndGoesOn) {
    const workplace place;
    const outcome run = place.run({"type", place / "tree/none.c", place / "tree/a.c"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(lines_of(run.out), ElementsAre(place / "tree/a.c" + ": c_source text_file"));
    EXPECT_THAT(run.err, AllOf(HasSubstr("tree/none.c"), HasSubstr("No such file or directory")));
    const json answer = place.run({"type", place / "tree/none.c", "--json"}).parsed();
    EXPECT_EQ(answer["left_out"][0]["path"], place / "tree/none.c");
    EXPECT_EQ(answer["exit_status"], 2);
    EXPECT_THAT(answer["files"], IsEmpty());
}

TEST(Type, WaitsForNothing) {
    const workplace place;
    ASSERT_EQ(mkfifo((place / "tree/pipe").c_str(), 0600), 0);
    const outcome run = place.run({"type", place / "tree/pipe", "/dev/zero"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(lines_of(run.out), ElementsAre(place / "tree/pipe" + ": (no type)", "/dev/zero: (no type)"));
}

TEST(Type, WritesPathsAsTheyAreForPrograms) {
    const workplace place;
    const std::string name = "tree/odd\n\x1b[1m: \xff.c";
    place.dir().write(name, "");
    const outcome run = place.run({"type", "--null", place / name, place / "tree/a.c"});
    EXPECT_EQ(run.out, place / name + '\0' + "c_source text_file" + '\0' + (place / "tree/a.c") + '\0' +
                           "c_source text_file" + '\0');
    EXPECT_THAT(place.run({"type", place / name}).out, Not(HasSubstr("\x1b"))) << "a name cannot forge a line";
}

TEST(Type, ExplainsWhichTestDecided) {
    const workplace place;
    const outcome run = place.run({"type", "--explain", place / "tree/sub/run"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(lines_of(run.out),
                ElementsAre(place / "tree/sub/run" + ": script text_file",
                            "    " + (place / "rules/own.magic") + ":2", "    yes       line 3    -magic 0, \"#!\"",
                            "    yes       line 3    -printable"));
    const json answer = place.run({"type", "--explain", place / "tree/sub/run", "--json"}).parsed();
    const json &why = answer["files"][0]["definition"];
    EXPECT_EQ(why["file"], place / "rules/own.magic");
    EXPECT_EQ(why["line"], 2);
    EXPECT_EQ(why["tests"][1], (json{{"line", 3}, {"test", "-printable"}, {"result", "yes"}}));
    EXPECT_THAT(place.run({"type", "--explain", place / "tree/sub/deeper/what"}).out,
                HasSubstr("    no definition holds"));
}

TEST(Type, ExplainsWithoutRulesWhereTheyWereLookedFor) {
    const workplace place;
    const std::vector<std::string> words = {"type", "--explain", place / "tree/a.c"};
    const outcome run = run_tool(words, {{"MAGIC_PATH", place / "tree"}});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("    no type files found in " + (place / "tree")));
    const json one = run_tool({"type", "--explain", "--json", place / "tree/a.c"}, {{"MAGIC_PATH", "/nowhere"}})
                         .parsed()["files"][0];
    EXPECT_EQ(one["definition"], nullptr);
    EXPECT_EQ(one["reason"], "no type files found in /nowhere");
}

TEST(Type, ExplainsThatAFileMayNotBeRead) {
    if (geteuid() == 0) GTEST_SKIP() << "root may read everything";
    const workplace place;
    const std::string file = place / "tree/sub/run";
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    EXPECT_THAT(place.run({"type", "--explain", file}).out, HasSubstr("    cannot be read: Permission denied"));
    EXPECT_THAT(place.run({"type", "--explain", "--by-name", file}).out, HasSubstr("    no definition holds"));
}

TEST(Type, ExplainsWithTheTestsOfTheDefinitionThatHolds) {
    const workplace place("a : -magic 0, \"zz\";\nb : ! -file_re \"x\";\n");
    EXPECT_THAT(lines_of(place.run({"type", "--explain", place / "tree/a.c"}).out),
                ElementsAre(place / "tree/a.c" + ": b", "    " + (place / "rules/own.magic") + ":2"));
}

TEST(Type, LeavesOutWhatHasNoProductPath) {
    const workplace place;
    place.dir().write("tree/odd\\name.c", "");
    std::string deep = place / "tree/sub/";
    for (int i = 0; i < 5; i++) fs::create_directory(deep += std::string(200, 'd') + "/");
    const outcome run = place.run({"type", "-r", place / "tree", "--json"});
    EXPECT_EQ(run.status, 2);
    const json answer = run.parsed();
    ASSERT_EQ(answer["left_out"].size(), 1u);
    EXPECT_EQ(answer["left_out"][0]["path"], place / "tree/odd\\name.c");
    EXPECT_THAT(answer["left_out"][0]["reason"].get<std::string>(), StartsWith("a backslash separates"));
    const std::string too_long = deep + "f.c";
    ASSERT_GE(too_long.size(), 1024u);
    std::ofstream(too_long) << "x";
    EXPECT_THAT(place.run({"type", too_long}).err, HasSubstr("too long"));
    EXPECT_THAT(place.run({"type", ""}).err, HasSubstr("(an empty path)"));
}

TEST(Type, AnswersInJson) {
    const workplace place;
    const outcome run = place.run({"type", "-r", place / "tree/sub", "--json"});
    EXPECT_EQ(run.status, 1);
    const json answer = run.parsed();
    EXPECT_EQ(answer["files"][0], (json{{"path", place / "tree/sub/deeper/what"}, {"types", json::array()}}));
    EXPECT_EQ(answer["files"][1]["types"], (json{"script", "text_file"}));
    EXPECT_EQ(answer["exit_status"], 1);
}

TEST(Type, TellsTextByTheLocaleAndByUtf8WhereThereIsNone) {
    const workplace place("text : -printable;\nother : ! -printable;\n");
    place.dir().write("tree/utf8", "na\xc3\xafve\n");
    place.dir().write("tree/latin", "na\xefve\n");
    for (const char *locale : {"C", "POSIX", "C.UTF-8", "en_US.UTF-8"}) {
        const outcome run = place.run({"type", place / "tree/utf8", place / "tree/latin"}, {{"LC_ALL", locale}});
        EXPECT_THAT(lines_of(run.out), ElementsAre(place / "tree/utf8" + ": text", place / "tree/latin" + ": other"))
            << locale;
    }
    const outcome run = place.run({"type", place / "tree/latin"}, {{"LC_ALL", "en_US.ISO-8859-1"}});
    EXPECT_EQ(run.out, place / "tree/latin" + ": text\n");
}

TEST(Type, UsesTheRulesOfTheProductWithoutAPath) {
    const workplace place;
    const outcome run = run_tool({"type", source("README.md"), source("lib/tbs/tbs_ft.cpp"), source("docs")},
                                 {{"MAGIC_PATH", ""}, {"HOME", place / "tree"}});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(lines_of(run.out), ElementsAre(source("README.md") + ": markdown_document document text_file",
                                               source("lib/tbs/tbs_ft.cpp") + ": cxx_source source text_file",
                                               source("docs") + ": directory"));
    fs::create_directory(place / "tree/.magic");
    place.dir().write("tree/.magic/mine.MAGIC", "notes : -name \"*.md\";\n");
    const outcome own = run_tool({"type", source("README.md")}, {{"MAGIC_PATH", ""}, {"HOME", place / "tree"}});
    EXPECT_EQ(own.out, source("README.md") + ": notes\n");
}

TEST(Type, FailsWithoutRules) {
    const temp_dir dir;
    dir.write("x.magic", "good : -printable;\n");
    const outcome run = run_tool({"type", dir / "x.magic"}, {{"MAGIC_PATH", ""},
                                                             {"HOME", "/" + std::string(1022, 'h')},
                                                             {"ORSIK_PRODUCT_DIR", "/" + std::string(1010, 'p')}});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("Search path buffer for default file typing path too small."));
    EXPECT_THAT(run.err, HasSubstr("the type files cannot be loaded"));
}

// ---- magic check

TEST(MagicCheck, FindsNothingInTheRulesOfTheProduct) {
    const outcome run = run_tool({"magic", "check", source("data/magic/default.magic")});
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_THAT(lines_of(run.out).back(), StartsWith("0 errors, 0 warnings, "));
}

TEST(MagicCheck, TellsErrorsWithTheirLines) {
    EXPECT_THAT(
        remarks("a : -name \"a\";\nb : # no comment\n;\nc : -name \"c\";\nd -name \"d\";\ne : -name \"e\";\n", 2),
        ElementsAre("2 error syntax error", "5 error syntax error"));
    EXPECT_THAT(remarks("", 2), ElementsAre("1 error syntax error"));
}

TEST(MagicCheck, WarnsOfTestsThatNeverMatch) {
    const std::vector<std::string> all = remarks("a : -printable & (-stat link |\n"
                                                 "  -name \"x[\" |\n"
                                                 "  -name \"dir/x\" |\n"
                                                 "  -magic 511, \"ab\" |\n"
                                                 "  -file \"ls\" |\n"
                                                 "  -file_re \"ls\" |\n"
                                                 "  -token \"" +
                                                     std::string(513, 't') +
                                                     "\" |\n"
                                                     "  -token \"x\");\n",
                                                 1);
    ASSERT_EQ(all.size(), 7u);
    const char *const texts[] = {"1 warning -stat link never matches: told are",
                                 "2 warning the test never matches: the pattern is not well formed",
                                 "3 warning -name \"dir/x\" never matches: the names",
                                 "4 warning the test never matches: it looks beyond the first 512 bytes",
                                 "5 warning -file \"ls\" never matches: commands are not run",
                                 "6 warning the test never matches: commands are not run",
                                 "7 warning -token \"ttt"};
    for (size_t i = 0; i < all.size(); i++) EXPECT_THAT(all[i], StartsWith(texts[i]));
}

TEST(MagicCheck, WarnsOfDefinitionsThatAreNeverReached) {
    const char *const never = "the definition is never reached: ";
    EXPECT_THAT(
        remarks("a : -name \"*.c\" | -name \"plain\";\nb : -name \"x*.c\";\nc : -name \"plain\" & -printable;\n"
                "d : -name \"*.h\";\n",
                1),
        ElementsAre(StartsWith("2 warning " + std::string(never)), StartsWith("3 warning " + std::string(never))));
    EXPECT_THAT(remarks("a : -printable;\nb : -name \"x\" & -printable;\n", 1), ElementsAre(HasSubstr(never)));
    EXPECT_THAT(remarks("a : -name \"?\";\nb : -name \"*\";\nc : -name \"x\";\n", 1),
                ElementsAre(StartsWith("3 warning")));
    EXPECT_THAT(remarks("a : -name \"[ab]*\";\nb : -name \"[ab]*\";\n", 1), ElementsAre(StartsWith("2 warning")));
    EXPECT_THAT(remarks("a : -stat link;\n", 1), Contains("1 warning the definition never holds"));
}

TEST(MagicCheck, DoesNotWarnWithoutNeed) {
    EXPECT_THAT(remarks("a : -name \"x*.c\";\nb : -name \"*.c\";\n"
                        "c : -name \"*.h\" & -printable;\nd : -name \"*.h\" & -token \"x\";\ne : -name \"*.h\";\n"
                        "f : -name \"?.y\";\ng : -name \"*.y\";\nh : ! -printable;\ni : -printable;\n",
                        0),
                IsEmpty());
}

TEST(MagicCheck, NotesWhatIsDefinedAgain) {
    EXPECT_THAT(remarks("a : -name \"*.c\";\na b b : -name \"x.h\" | -name \"x.c\";\n", 1),
                ElementsAre(StartsWith("2 warning \"b\" stands twice"),
                            StartsWith("2 note \"a\" is defined before, at "),
                            StartsWith("2 note -name \"x.c\" decides nothing: ")));
    EXPECT_THAT(remarks("a : -name \"x\";\na : -name \"y\";\n", 0),
                ElementsAre(StartsWith("2 note \"a\" is defined")));
}

TEST(MagicCheck, ReadsTheFilesInUseWhenNoneIsNamed) {
    const workplace place("c : -name \"*.c\"");
    const outcome run = place.run({"magic", "check"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.out, HasSubstr("own.magic:1: error: syntax error\n"));
}

TEST(MagicCheck, TellsOfFilesAsTheLibraryTakesThem) {
    const temp_dir dir;
    ASSERT_EQ(mkfifo((dir / "pipe.magic").c_str(), 0600), 0);
    const outcome run = run_tool({"magic", "check", dir / "none.magic", dir / "pipe.magic", dir.str()});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(lines_of(run.out),
                ElementsAre(dir / "none.magic" + ": error: it cannot be opened: No such file or directory",
                            dir / "pipe.magic" + ": warning: it is no regular file, and is skipped",
                            dir.str() + ": warning: it is no regular file, and is skipped",
                            "1 error, 2 warnings, 0 notes"));
}

TEST(MagicCheck, TellsEveryErrorAndAThousandPatternsQuickly) {
    EXPECT_EQ(remarks("a -p;\nb -p;\nc -p;\nd : -p;\n", 2).size(), 3u);
    std::string rules;
    for (int i = 0; i < 20000; i++)
        rules += "a" + std::to_string(i) + " : -name \"*x" + std::to_string(i) + "y*\";\n";
    EXPECT_THAT(remarks(rules, 0), IsEmpty());
}

// ---- magic dump

TEST(MagicDump, ShowsRulesAsTrees) {
    const temp_dir dir;
    dir.write("t.magic",
              "a b : -n \"x\\\"\\\\y\" & ! (-m 010, l_short, 0x1234 | -m 1, b_long, 7 |\n -s dir) | -p;\nc : "
              "-magic 3, byte, 255 & -magic 0, \"t\" & -t \"x\";\n");
    const outcome run = run_tool({"magic", "dump", dir / "t.magic"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(lines_of(run.out),
                ElementsAre(dir / "t.magic" + ":1: a b", "    or", "        and", "            -name \"x\\\"\\\\y\"",
                            "            not", "                or", "                    -magic 8, b_short, 0x3412",
                            "                    -magic 1, b_long, 0x00000007", "                    -stat dir",
                            "        -printable", dir / "t.magic" + ":3: c", "    and",
                            "        -magic 3, byte, 0xff", "        -magic 0, \"t\"", "        -token \"x\""));
}

TEST(MagicDump, DrawsThem) {
    const temp_dir dir;
    dir.write("t.magic", "a : -name \"x\" & ! -printable;\nb : -stat d;\n");
    const outcome dot = run_tool({"magic", "dump", dir / "t.magic", "--format", "dot"});
    EXPECT_EQ(dot.status, 0);
    EXPECT_THAT(dot.out,
                AllOf(StartsWith("digraph "), HasSubstr("label=\"-name \\\"x\\\"\""), HasSubstr("d0 -> d0_0;"),
                      HasSubstr("d0_0 -> d0_1;"), HasSubstr("d0 -> d1 [style=dashed")));
    const outcome svg = run_tool({"magic", "dump", dir / "t.magic", "--format", "svg", "-o", dir / "t.svg"});
    EXPECT_EQ(svg.status, 0) << svg.err;
    EXPECT_THAT(dir.read("t.svg"), AllOf(HasSubstr("<svg"), HasSubstr("&quot;x&quot;")));
}

TEST(MagicDump, RefusesWhatHasErrors) {
    const temp_dir dir;
    dir.write("t.magic", "a : ;\n");
    const outcome run = run_tool({"magic", "dump", dir / "t.magic"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, AllOf(HasSubstr("t.magic"), HasSubstr("syntax error")));
}

TEST(MagicDump, TakesRulesOfAnyDepth) {
    const temp_dir dir;
    std::string rule = "a : ";
    for (int i = 0; i < 50000; i++) rule += "-name \"x\" | ";
    dir.write("t.magic", rule + "-printable;\n");
    EXPECT_EQ(run_tool({"magic", "dump", dir / "t.magic"}).status, 0);
    EXPECT_EQ(run_tool({"magic", "check", dir / "t.magic"}).status, 0);
}
