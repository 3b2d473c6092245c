// The commands on status records, names and view roots: fstat, name, viewroot.
#include "tool/tool_runner.hpp"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

using namespace tool_test;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// A host of its own, with files of known times.
class Names : public testing::Test {
protected:
    outcome run(const std::vector<std::string> &words, environment more = {}) const {
        more.insert(more.begin(), {{"ORSIK_HOSTDATA_DIR", dir / "host"}, {"TZ", "UTC0"}});
        return run_tool(words, more);
    }
    std::string file(const std::string &leaf, const std::string &content, mode_t mode) const {
        const std::string path = dir.write(leaf, content);
        chmod(path.c_str(), mode);
        const utimbuf times{60, 120};
        utime(path.c_str(), &times);
        return path;
    }
    std::string link_to(const std::string &target) const {
        std::filesystem::create_symlink(target, dir / "link");
        return dir / "link";
    }
    void set(const std::string &below, const std::string &name, const std::string &value) const {
        const outcome done = run({"registry", "set", "SOFTWARE\\Tessivane" + below, name, value});
        ASSERT_EQ(done.status, 0) << done.err;
    }

    const temp_dir dir;
};

} // namespace

// ---- fstat

TEST_F(Names, FstatShowsTheTextOfTheLibrary) {
    const std::string path = file("plain", "12345", 0604);
    const outcome run_of_one = run({"fstat", path});
    EXPECT_EQ(run_of_one.status, 0);
    EXPECT_THAT(run_of_one.out, StartsWith(path + ": file, r--\n"
                                                  "ino: 0; type: 1; mode: 0604\n"
                                                  "usid: S-1-0-0\n"
                                                  "gsid: S-1-0-0\n"
                                                  "nlink: 1; size: 5\n"
                                                  "atime: Thu Jan  1 00:01:00 1970\n"
                                                  "mtime: Thu Jan  1 00:02:00 1970\n"
                                                  "ctime: "));
    EXPECT_THAT(run({"fstat", path, "--verbose"}).out, HasSubstr("1970\n       (120.0)\nctime: "));
    const outcome of_two = run({"fstat", path, dir.str()});
    EXPECT_THAT(of_two.out, HasSubstr("\n\n" + dir.str() + ": directory, "));
}

TEST_F(Names, FstatShowsTheOtherForms) {
    const std::string path = file("plain", "12345", 0640);
    EXPECT_THAT(run({"fstat", path, "--form", "classic"}).out,
                HasSubstr("mode: 0640; uid: 4294967294; gid: 4294967294\n"
                          "nlink: 1; size: 5; blsz: 1024; blks: 0 fsid: 0; rdev 0\n"));
    EXPECT_THAT(run({"fstat", path, "--form", "full"}).out, HasSubstr("mode: 0640; rolemap dbid: 0\nusid: "));
    EXPECT_EQ(run({"fstat", path, "--form", "frog"}).status, 2);
}

TEST_F(Names, FstatGivesEveryMember) {
    const std::string path = file("plain", "12345", 0755);
    const json answer = run({"fstat", path, "--json"}).parsed();
    EXPECT_EQ(answer["form"], "database");
    const json one = answer["files"][0];
    EXPECT_EQ(one["path"], path);
    EXPECT_EQ(one["kind"], "file");
    EXPECT_EQ(one["access"], "r-x");
    const json record = one["record"];
    EXPECT_EQ(record.size(), 12u);
    EXPECT_EQ(record["type"], 1);
    EXPECT_EQ(record["mode"], 0755);
    EXPECT_EQ(record["nlink"], 1);
    EXPECT_EQ(record["usid"], "S-1-0-0");
    EXPECT_EQ(record["size"], 5);
    EXPECT_EQ(record["mtime"], (json{{"seconds", 120}, {"microseconds", 0}}));
    EXPECT_EQ(record["xtime"], record["ctime"]);
    const json full = run({"fstat", path, "--form", "full", "--json"}).parsed()["files"][0];
    EXPECT_EQ(full["record"].size(), 13u);
    EXPECT_EQ(full["record"]["rolemap_dbid"], 0);
    EXPECT_THAT(full["text"].get<std::string>(), HasSubstr("\nxtime: "));
    const json classic = run({"fstat", path, "--form", "classic", "--json"}).parsed()["files"][0]["record"];
    EXPECT_EQ(classic.size(), 14u);
    EXPECT_EQ(classic["blsz"], 1024);
}

TEST_F(Names, FstatFollowsALinkWhenItIsTold) {
    const std::string link = link_to(file("plain", "12345", 0644));
    EXPECT_EQ(run({"fstat", link, "--json"}).parsed()["files"][0]["kind"], "symbolic link");
    const json followed = run({"fstat", "-L", link, "--json"}).parsed();
    EXPECT_EQ(followed["followed"], true);
    EXPECT_EQ(followed["files"][0]["kind"], "file");
    EXPECT_EQ(followed["files"][0]["record"]["size"], 5);
}

TEST_F(Names, FstatSaysWhatItCannotShow) {
    const std::string nowhere = dir / "nowhere", large = file("large", "", 0644);
    const outcome none = run({"fstat", nowhere});
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.err, HasSubstr(nowhere + ": No such file or directory."));
    EXPECT_EQ(run({"fstat", nowhere, "--json"}).parsed()["error"]["file"], nowhere);
    std::filesystem::resize_file(large, uintmax_t{3} << 30);
    EXPECT_EQ(run({"fstat", large}).status, 0);
    const outcome narrow = run({"fstat", large, "--form", "classic"});
    EXPECT_EQ(narrow.status, 2);
    EXPECT_THAT(narrow.err, HasSubstr("The database form holds every file."));
}

// ---- name

TEST_F(Names, SplitTellsElementAndVersion) {
    const outcome told = run({"name", "split", "src\\main.c@@\\main\\3", "d@@"});
    EXPECT_EQ(told.status, 0);
    EXPECT_EQ(told.out, "src\\main.c@@\\main\\3: element src\\main.c, version \\main\\3\n"
                        "d@@: element d, version (none)\n");
    const outcome mixed = run({"name", "split", "plain", "d@@\\main@@", "--json"});
    EXPECT_EQ(mixed.status, 1);
    const json names = mixed.parsed()["names"];
    EXPECT_EQ(names[0], (json{{"name", "plain"}, {"element", nullptr}, {"version", nullptr}, {"index", nullptr}}));
    EXPECT_EQ(names[1], (json{{"name", "d@@\\main@@"}, {"element", "d@@\\main"}, {"version", ""}, {"index", 8}}));
    EXPECT_EQ(run({"name", "split", "plain"}).out, "plain: -\n");
}

TEST_F(Names, StripCutsOneSymbolOffTheEnd) {
    EXPECT_EQ(run({"name", "strip", "main.c@@", "a@@@@", "a@@b", ""}).out, "main.c\na@@\na@@b\n\n");
    EXPECT_EQ(run({"name", "strip", "main.c@@", "--json"}).parsed()["names"][0]["stripped"], "main.c");
}

TEST_F(Names, ExtendPutsNamesTogether) {
    EXPECT_EQ(run({"name", "extend", "main.c"}).out, "main.c@@\n");
    EXPECT_EQ(run({"name", "extend", "a", "b", "--suffix", "\\main\\3"}).out, "a@@\\main\\3\nb@@\\main\\3\n");
    EXPECT_EQ(run({"name", "extend", "src\\main.c", "--prefix"}).out, "src\\^@@\\main.c\n");
    const json answer = run({"name", "extend", "main.c", "--json"}).parsed();
    EXPECT_EQ(answer["naming_symbol"], "@@");
    EXPECT_EQ(answer["names"][0], (json{{"name", "main.c"}, {"extended", "main.c@@"}}));
}

TEST_F(Names, ExtendRefusesWhatIsTooLong) {
    EXPECT_EQ(run({"name", "extend", std::string(1020, 'x')}).status, 0);
    const outcome cut = run({"name", "extend", std::string(1022, 'x')});
    EXPECT_EQ(cut.status, 2);
    EXPECT_THAT(cut.err, HasSubstr("is too long"));
    EXPECT_EQ(run({"name", "extend", "--prefix", std::string(300, 'x')}).status, 2);
}

TEST_F(Names, DoTellsWhatADerivedObjectIsCalled) {
    const outcome told = run({"name", "do", "hello.o@@20261121T150210Z.0x10"});
    EXPECT_EQ(told.status, 0);
    EXPECT_EQ(told.out, "hello.o@@20261121T150210Z.0x10: object hello.o, identifier 20261121T150210Z.0x10, "
                        "number 16\n");
    const outcome mixed = run({"name", "do", "a@@b.7", "a@@b", "a@@b\\c.7", "a@@b.4294967296", "--json"});
    EXPECT_EQ(mixed.status, 1);
    const json names = mixed.parsed()["names"];
    EXPECT_EQ(names[0],
              (json{{"name", "a@@b.7"}, {"object", "a"}, {"identifier", "b.7"}, {"number", 7}, {"index", 1}}));
    for (size_t i = 1; i < names.size(); i++) EXPECT_EQ(names[i]["object"], nullptr) << names[i];
}

TEST_F(Names, TakeTheSymbolOfTheHost) {
    set("", "NamingSymbol", "%%%");
    EXPECT_EQ(run({"name", "extend", "a"}).out, "a%%%\n");
    EXPECT_EQ(run({"name", "split", "a@@\\1", "a%%%\\1"}).out, "a@@\\1: -\na%%%\\1: element a, version \\1\n");
}

// ---- viewroot

TEST_F(Names, ViewrootSaysThatThereIsNone) {
    const outcome none = run({"viewroot"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "");
    EXPECT_EQ(none.out, "naming symbol     @@\n"
                        "version prefix    ^@@\n"
                        "dynamic           (none)\n"
                        "automatic         (none)\n"
                        "parameter 52      (not set)\n");
    const json answer = run({"viewroot", "--json"}, {{"ORSIK_NO_WS", "TRUE"}}).parsed();
    EXPECT_EQ(answer["flags"], (json{{"no_mvfs", true}, {"disabled", true}, {"no_dynamic", true}}));
    EXPECT_EQ(answer["parameter_52"], nullptr);
}

TEST_F(Names, ViewrootShowsWhatTheRegistryNames) {
    set("\\ViewRoots\\Automatic", "Path", dir.str());
    set("\\ViewRoots\\Automatic", "NamingSymbol", "##");
    set("", "NamingSymbol", "%%%");
    const outcome there = run({"viewroot"});
    EXPECT_EQ(there.status, 0);
    EXPECT_EQ(there.out, "naming symbol     ##\n"
                         "version prefix    ^##\n"
                         "dynamic           (none)\n"
                         "automatic         " +
                             dir.str() +
                             "\n"
                             "                  naming symbol ##\n"
                             "parameter 52      %%%\n");
    const json answer = run({"viewroot", "--json"}).parsed();
    EXPECT_EQ(answer["view_roots"]["automatic"]["path"], dir.str());
    EXPECT_EQ(answer["flags"], (json{{"no_mvfs", false}, {"disabled", false}, {"no_dynamic", true}}));
}

TEST_F(Names, ViewrootTellsWhyOneIsNotOpen) {
    set("\\ViewRoots\\Dynamic", "Path", dir / "nowhere");
    const outcome closed = run({"viewroot"});
    EXPECT_EQ(closed.status, 1);
    EXPECT_EQ(closed.err, "");
    EXPECT_THAT(closed.out, HasSubstr("dynamic           " + (dir / "nowhere") + " (No such file or directory)\n"));
    const json root = run({"viewroot", "--json"}).parsed()["view_roots"]["dynamic"];
    EXPECT_EQ(root["path"], nullptr);
    EXPECT_EQ(root["error"], "No such file or directory");
    EXPECT_EQ(root["registry"]["Path"], dir / "nowhere");
}
