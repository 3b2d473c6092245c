// Builds recorded, shown, compared, drawn and converted: tbs cr.
#include "tool/tool_runner.hpp"
#include "tools/tbs/cr_trace.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>

using namespace tool_test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

// ---- what strace writes

// "r", "w" or "rw" and the path of every file that is left.
std::vector<std::string> used(const std::vector<std::string> &lines, tool::build_trace::resolver resolve = {}) {
    if (!resolve) resolve = tool::build_trace::lexically_resolved;
    tool::build_trace trace("/src", resolve);
    for (const std::string &line : lines) trace.learn(line);
    for (const std::string &line : lines) trace.take(line);
    std::vector<std::string> all;
    for (const auto &[path, use] : trace.files()) {
        all.push_back(std::string(use.read ? "r" : "") + (use.written ? "w" : "") + ' ' + path);
    }
    return all;
}

// ---- commands

const std::string sample = source("data/sample_build/greeting.json");
const std::string next = source("data/sample_build/greeting_next.json");

json read_json(const std::string &path) { return json::parse(temp_dir().read(path)); }

// A record with an element in every list, and each member different from zero.
json full_record() {
    const std::string id = "12345678.9abc1def.8a12.00:11:22:33:44:5";
    json record = read_json(sample);
    record["format_version"] = 5;
    record["exit_status"] = 7;
    record["flags"] = 9;
    record["view_uuid"] = id + "0";
    record["mfs_predefs"] = {{{"pathname", "/vobs/lib/a.h"}, {"version", "/main/4"}, {"flags", 3}}};
    record["vobs"] = {{{"pathname", "/vobs/lib"}, {"family_oid", id + "1"}, {"replica_oid", id + "2"}}};
    record["mfs_objects"] = {{{"oid", id + "3"},
                              {"mtime", -5},
                              {"element_oid", id + "4"},
                              {"vob", 0},
                              {"result_obj_flags", 0xFFFF},
                              {"ftype", 1},
                              {"mtype", 255},
                              {"parent", 65535},
                              {"branch_oid", id + "5"},
                              {"name", "b.c@@/main/7"}}};
    record["slinktexts"] = {{{"text", "../b.c"}, {"object", 0}}};
    record["user"] = {{"bytes", "62ff"}};
    record["variables"] = {"A=\"\\\n\x7f", "\u00e4"};
    return record;
}

class Records : public testing::Test {
protected:
    outcome cr(std::vector<std::string> words, const environment &variables = {}) const {
        words.insert(words.begin(), "cr");
        return run_tool(words, variables);
    }
    // With standard output of the shell command before as standard input.
    outcome shell(const std::string &script) const {
        return run_program({"/bin/sh", "-c", "cd '" + dir.str() + "' && " + script}, {{"TBS", TBS_TOOL_PATH}});
    }
    std::string write(const std::string &name, const json &record) const { return dir.write(name, record.dump()); }
    outcome convert(const std::string &file, const std::string &to, const std::string &out) const {
        return cr({"convert", file, "--to", to, "-o", out});
    }
    // The failure that a changed record brings.
    std::string refusal(const json &record) const {
        const outcome run = cr({"show", write("refused", record)});
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.out, "");
        return run.err;
    }

    const temp_dir dir;
};

// Builds that are watched: some containers forbid it.
class Captures : public Records {
protected:
    void SetUp() override {
        static const bool may_trace = run_program({"/bin/sh", "-c", "strace -qq -o /dev/null true"}).status == 0;
        if (!may_trace) GTEST_SKIP() << "strace is not there, or may not trace";
    }
    // Runs a script of a shell as the build.
    outcome capture(const std::string &script, const std::string &options = "-o record") const {
        dir.write("script", script);
        return shell("\"$TBS\" cr capture " + options + " -- sh script");
    }
    // "read" or "built" and the name of the files below the directory.
    std::vector<std::string> recorded(const std::string &record = "record") const {
        std::vector<std::string> all;
        const json parsed = cr({"show", dir / record, "--json"}).parsed()["record"];
        const std::string below = dir.str() + '/';
        for (const json &one : parsed["fs_predefs"]) {
            const std::string path = one["pathname"].is_string() ? one["pathname"] : one["pathname"]["bytes"];
            const int flags = one["result_obj_flags"];
            if (path.starts_with(below)) {
                all.push_back(std::string(flags & 1 ? "r" : "") + (flags & 2 ? "w" : "") + ' ' +
                              path.substr(below.size()));
            } else if (!one["pathname"].is_string()) {
                all.push_back(path);
            }
        }
        return all;
    }
};

} // namespace

// ---- the words of strace

TEST(TraceWords, EscapesAreUndone) {
    EXPECT_EQ(tool::unescaped(R"(a\"\\\n\t\r\v\f\a\b)"), "a\"\\\n\t\r\v\f\a\b");
    EXPECT_EQ(tool::unescaped(R"(\303\251\7z\0777\x2fz\xg\)"), "\303\251\7z?7/zg\\");
    EXPECT_EQ(tool::unescaped(R"(\400)"), std::string(1, '\0'));
}

TEST(TraceWords, QuotedTextsMustBeWhole) {
    EXPECT_EQ(tool::quoted_text(R"("a\"b\\")"), "a\"b\\");
    EXPECT_EQ(tool::quoted_text(R"("")"), "");
    for (const char *bad : {R"("a"...)", R"("a)", R"("a\")", "NULL", "0x7ffe", ""})
        EXPECT_FALSE(tool::quoted_text(bad));
}

TEST(TraceWords, DescriptorsTellTheirPaths) {
    EXPECT_EQ(tool::annotated_path("AT_FDCWD</src>"), "/src");
    EXPECT_EQ(tool::annotated_path(R"(3</a\76\74b\>>)"), "/a><b>");
    EXPECT_EQ(tool::annotated_path("3<pipe:[17]>"), "pipe:[17]");
    for (const char *bad : {"3", "3</a", "AT_FDCWD"}) EXPECT_FALSE(tool::annotated_path(bad));
}

TEST(TraceWords, FlagsAreWholeWords) {
    EXPECT_TRUE(tool::has_flag("O_RDWR|O_CREAT", "O_RDWR"));
    EXPECT_TRUE(tool::has_flag("{flags=O_WRONLY|O_CLOEXEC, mode=0}", "O_WRONLY"));
    EXPECT_FALSE(tool::has_flag("O_RDWR_X|XO_RDWR|O_RDWR2", "O_RDWR"));
    EXPECT_FALSE(tool::has_flag("", "O_RDWR"));
}

TEST(TraceCall, HasArgumentsAndResult) {
    const auto call = tool::parse_call(R"(openat(AT_FDCWD</s, (r>, "a, )b", O_RDONLY|O_CLOEXEC) = 3</s/a>)");
    ASSERT_TRUE(call);
    EXPECT_EQ(call->form.name, "openat");
    EXPECT_THAT(call->arguments, ElementsAre("AT_FDCWD</s, (r>", R"("a, )b")", "O_RDONLY|O_CLOEXEC"));
    EXPECT_EQ(call->result, 3);
    EXPECT_EQ(call->result_path, "/s/a");
    EXPECT_FALSE(call->result_is_removed);
    EXPECT_THAT(tool::parse_call("fork()     = 17")->arguments, IsEmpty());
}

TEST(TraceCall, IsNothingWhenItFailedOrMakesNoSense) {
    for (const char *line :
         {R"(open("a", O_RDONLY) = -1 ENOENT (No such file or directory))", R"(open("a", O_RDONLY) = ?)",
          R"(open("a", O_RDONLY) = ? ERESTARTSYS (To be restarted))", R"(open("a", O_RDONLY))", R"(open("a)", "open",
          "", R"(stat("a", {}) = 0)", R"(open("a", O_RDONLY) =)", R"(open("a", {O_RDONLY) = 3)", "= 3", "open() 3"})
        EXPECT_FALSE(tool::parse_call(line)) << line;
}

// ---- traces

TEST(BuildTrace, TellsHowFilesWereOpened) {
    EXPECT_THAT(used({R"(7 open("a", O_RDONLY) = 3)", R"(7 open("b", O_WRONLY|O_CREAT, 0666) = 3)",
                      R"(7 open("c", O_RDWR) = 3)", R"(7 open("d", O_RDWR|O_CREAT|O_TRUNC, 0666) = 3)",
                      R"(7 openat(AT_FDCWD, "e", O_RDONLY|O_CLOEXEC) = 3)", R"(7 creat("f", 0644) = 3)",
                      R"(7 openat2(AT_FDCWD, "g", {flags=O_WRONLY|O_CREAT, mode=0600, resolve=0}, 24) = 3)",
                      R"(7 open("h", O_RDWR|O_CREAT|O_EXCL, 0600) = 3)", R"(7 truncate("i", 0) = 0)",
                      R"(7 symlink("a", "j") = 0)", R"(7 symlinkat("a", AT_FDCWD, "k") = 0)",
                      R"-(7 execve("/bin/l", ["l", ")"], 0x7ffe /* 3 vars */) = 0)-",
                      R"(7 execveat(3</bin/m>, "", ["m"], 0x7ffe /* 3 vars */, AT_EMPTY_PATH) = 0)"}),
                ElementsAre("r /bin/l", "r /bin/m", "r /src/a", "w /src/b", "rw /src/c", "w /src/d", "r /src/e",
                            "w /src/f", "w /src/g", "w /src/h", "w /src/i", "w /src/j", "w /src/k"));
}

TEST(BuildTrace, LeavesOutWhatIsNoFileOfTheBuild) {
    EXPECT_THAT(
        used({R"(7 open("/proc/self/maps", O_RDONLY) = 3)", R"(7 open("/sys/x", O_RDONLY) = 3)",
              R"(7 open("/dev/null", O_RDWR) = 3)", R"(7 open(".", O_RDONLY|O_DIRECTORY) = 3</src>)",
              R"(7 open("a", O_PATH) = 3</src/a>)", R"(7 open("/tmp", O_RDWR|O_TMPFILE, 0600) = 3</tmp/#17>)",
              R"(7 open("fd/3", O_RDONLY) = 3<pipe:[17]>)", R"(7 open("gone", O_RDONLY) = 3</src/gone>(deleted))",
              R"(7 open("missing", O_RDONLY) = -1 ENOENT (No such file or directory))"}),
        IsEmpty());
}

TEST(BuildTrace, TakesTheKernelsNameForAFile) {
    EXPECT_THAT(used({R"(7 openat(AT_FDCWD</src>, "link/../a", O_RDONLY) = 3</real/a>)"}), ElementsAre("r /real/a"));
}

TEST(BuildTrace, WhatWasWrittenFirstIsNoSource) {
    EXPECT_THAT(used({R"(7 open("a.s", O_WRONLY|O_CREAT) = 3)", R"(7 open("a.s", O_RDONLY) = 3)",
                      R"(7 open("b", O_RDONLY) = 3)", R"(7 open("b", O_WRONLY|O_TRUNC) = 3)"}),
                ElementsAre("w /src/a.s", "rw /src/b"));
}

TEST(BuildTrace, RemovedFilesDoNotCount) {
    EXPECT_THAT(
        used({R"(7 open("a", O_WRONLY|O_CREAT) = 3)", R"(7 unlink("a") = 0)", R"(7 open("b", O_WRONLY|O_CREAT) = 3)",
              R"(7 unlinkat(AT_FDCWD</src>, "./b", 0) = 0)", R"(7 open("c", O_RDONLY) = 3)", R"(7 unlink("c") = 0)",
              R"(7 creat("c", 0644) = 3)", R"(7 unlink("never seen") = 0)", R"(7 open("d", O_WRONLY|O_CREAT) = 3)",
              R"(7 unlink("d") = -1 EPERM (Operation not permitted))"}),
        ElementsAre("rw /src/c", "w /src/d"));
}

TEST(BuildTrace, RenamedFilesCountUnderTheirLastName) {
    EXPECT_THAT(
        used({R"(7 open("a.tmp", O_WRONLY|O_CREAT) = 3)", R"(7 rename("a.tmp", "a") = 0)",
              R"(7 open("b.tmp", O_WRONLY|O_CREAT) = 3)", R"(7 renameat(AT_FDCWD</src>, "b.tmp", 4</out>, "b") = 0)",
              R"(7 open("c", O_RDONLY) = 3)", R"(7 open("c.new", O_WRONLY|O_CREAT) = 3)",
              R"(7 renameat2(AT_FDCWD, "c.new", AT_FDCWD, "c", RENAME_NOREPLACE) = 0)",
              R"(7 rename("unseen", "d") = 0)", R"(7 rename("d", "d") = 0)", R"(7 link("d", "e") = 0)",
              R"(7 linkat(AT_FDCWD, "/proc/self/fd/3", AT_FDCWD, "f", AT_SYMLINK_FOLLOW) = 0)"}),
        ElementsAre("w /out/b", "w /src/a", "rw /src/c", "w /src/d", "w /src/e", "w /src/f"));
}

TEST(BuildTrace, ExchangedFilesAreBothNew) {
    EXPECT_THAT(
        used({R"(7 open("a", O_RDONLY) = 3)", R"(7 renameat2(AT_FDCWD, "a", AT_FDCWD, "b", RENAME_EXCHANGE) = 0)"}),
        ElementsAre("rw /src/a", "w /src/b"));
}

TEST(BuildTrace, DirectoriesMoveWithWhatTheyHold) {
    EXPECT_THAT(used({R"(7 creat("t/a", 0644) = 3)", R"(7 creat("t/s/b", 0644) = 3)", R"(7 creat("tt", 0644) = 3)",
                      R"(7 rename("t", "u") = 0)"}),
                ElementsAre("w /src/tt", "w /src/u/a", "w /src/u/s/b"));
}

TEST(BuildTrace, AFileMayHaveTheNameOfARemovedDirectory) {
    EXPECT_THAT(used({R"(7 creat("t/a", 0644) = 3)", R"(7 unlink("t/a") = 0)", R"(7 creat("t", 0644) = 3)",
                      R"(7 rename("t", "u") = 0)"}),
                ElementsAre("w /src/u"));
}

TEST(BuildTrace, PathsAreThoseOfTheirProcess) {
    EXPECT_THAT(
        used({R"(7 chdir("sub") = 0)", R"(7 creat("a", 0644) = 3)", R"(7 fork() = 8)", R"(7 chdir("/other") = 0)",
              R"(8 creat("b", 0644) = 3)", R"(8 fchdir(4</deep/er>) = 0)", R"(8 creat("../c", 0644) = 3)",
              R"(7 creat("d", 0644) = 3)", R"(7 chdir("missing") = -1 ENOENT (No such file or directory))",
              R"(7 openat(5</by/fd>, "e", O_RDONLY) = 3)", R"(9 openat(AT_FDCWD</at>, "f", O_RDONLY) = 3)",
              R"(9 creat("g", 0644) = 3)"}),
        ElementsAre("r /at/f", "w /at/g", "r /by/fd/e", "w /deep/c", "w /other/d", "w /src/sub/a", "w /src/sub/b"));
}

TEST(BuildTrace, AChildThatSpeaksFirstStartsWhereItsParentIs) {
    EXPECT_THAT(used({R"(7 chdir("/one") = 0)", R"(7 vfork( <unfinished ...>)", R"(8 creat("a", 0644) = 3)",
                      R"(8 execve("./x" <unfinished ...>)", R"(7 <... vfork resumed>)              = 8)",
                      R"(8 <... execve resumed>, ["x"], 0x7ffe /* 3 vars */) = 0)", R"(8 creat("b", 0644) = 3)"}),
                ElementsAre("w /one/a", "w /one/b", "r /one/x"));
}

TEST(BuildTrace, NumbersOfProcessesAreUsedAgain) {
    EXPECT_THAT(used({R"(7 chdir("/one") = 0)", R"(7 fork() = 8)", R"(8 creat("a", 0644) = 3)",
                      R"(8 +++ exited with 0 +++)", R"(7 chdir("/two") = 0)", R"(7 fork() = 8)",
                      R"(8 creat("a", 0644) = 3)", R"(8 +++ killed by SIGKILL +++)"}),
                ElementsAre("w /one/a", "w /two/a"));
}

TEST(BuildTrace, ThreadsShareTheirDirectory) {
    EXPECT_THAT(used({R"(7 clone3({flags=CLONE_VM|CLONE_FS|CLONE_FILES, exit_signal=0} => {parent_tid=[8]}, 88) = 8)",
                      R"(8 chdir("/one") = 0)", R"(7 creat("a", 0644) = 3)",
                      R"(7 clone(child_stack=NULL, flags=CLONE_CHILD_SETTID|SIGCHLD, child_tidptr=0x7f) = 9)",
                      R"(9 chdir("/two") = 0)", R"(7 creat("b", 0644) = 3)"}),
                ElementsAre("w /one/a", "w /one/b"));
}

TEST(BuildTrace, InterruptedCallsAreOneCall) {
    EXPECT_THAT(
        used({R"(7 openat(AT_FDCWD</src>, "a \" <unfinished ...>", O_WRONLY|O_CREAT, 0666 <unfinished ...>)",
              R"(8 openat(AT_FDCWD</src>, "b", O_RDONLY <unfinished ...>)", R"(7 --- SIGCHLD {si_signo=17} ---)",
              R"(8 <... openat resumed>)      = -1 ENOENT (No such file or directory))",
              R"(7 <... openat resumed>)      = 3</src/a \" \74unfinished ...\76>)"}),
        ElementsAre("w /src/a \" <unfinished ...>"));
}

TEST(BuildTrace, AThreadThatExecutesAProgramBecomesTheProcess) {
    EXPECT_THAT(used({R"(8 execve("/bin/x", ["x"], 0x7ffe /* 3 vars */ <unfinished ...>)",
                      R"(7 +++ superseded by execve in pid 8 +++)", R"(7 <... execve resumed>) = 0)"}),
                ElementsAre("r /bin/x"));
}

TEST(BuildTrace, NonsenseCountsForNothing) {
    EXPECT_THAT(used({"", "7", "7 ", "x open(\"a\", O_RDONLY) = 3", "7 <... open resumed>) = 3", "7 <... ",
                      "7 +++ superseded by execve in pid x +++", "99999999999 creat(\"a\", 0) = 3",
                      "7 open(\"a <unfinished ...>", "7 <... open resumed>", "strace: Process 9 attached",
                      R"(7 creat("a"..., 0644) = 3)", R"(7 openat(3<socket:[1]>, "a", O_RDONLY) = 4)",
                      R"(7 rename("a") = 0)", R"(7 open() = 3)", R"(7 fchdir(3) = 0)"}),
                IsEmpty());
}

TEST(BuildTrace, NamesGoThroughTheResolver) {
    const auto resolve = [](const std::string &path) { return path == "/src/b" ? std::string("/real/b") : path; };
    EXPECT_THAT(used({R"(7 open("b", O_WRONLY) = 3</real/b>)", R"(7 unlink("b") = 0)"}, resolve), IsEmpty());
}

TEST(BuildTrace, KnowsWhetherAProgramWasRun) {
    tool::build_trace trace("/src");
    trace.take(R"(7 execve("./x", ["x"], 0x7ffe /* 3 vars */) = -1 ENOENT (No such file or directory))");
    EXPECT_FALSE(trace.has_begun());
    trace.take(R"(7 execve("/bin/x", ["x"], 0x7ffe /* 3 vars */) = 0)");
    EXPECT_TRUE(trace.has_begun());
}

// ---- capture

TEST_F(Captures, RecordWhatWasReadAndWritten) {
    dir.write("a", "one");
    dir.write("b", "two");
    const outcome run = capture("mkdir sub && cd sub && cat ../a ../b > t && mv t ../out && cp ../a gone && rm gone\n"
                                "echo said; echo complained >&2; cat ../missing 2>&1 | cat > /dev/null\n");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "said\n");
    EXPECT_EQ(run.err, "complained\n");
    EXPECT_THAT(recorded(), ElementsAre("r a", "r b", "w out", "r script"));
}

TEST_F(Captures, RecordWhoBuiltWhatWhenAndHow) {
    const std::string command =
        "CFLAGS='-O2 -g' \"$TBS\" cr capture -o record --target all -- sh -c 'echo x > out' \"it's\"";
    ASSERT_EQ(shell(command).status, 0);
    const json record = cr({"show", dir / "record", "--json"}).parsed();
    EXPECT_EQ(record["form"], "compressed");
    const json &of = record["record"];
    EXPECT_EQ(of["target"], "all");
    EXPECT_EQ(of["command"], "sh -c 'echo x > out' 'it'\\''s'");
    EXPECT_EQ(of["options"], json({"-c", "echo x > out", "it's"}));
    EXPECT_EQ(of["directory"], dir.str());
    EXPECT_EQ(of["exit_status"], 0);
    EXPECT_NE(of["user"], "");
    EXPECT_NE(of["group"], "");
    EXPECT_NE(of["host"], "");
    EXPECT_NE(of["host_type"], "");
    EXPECT_NE(of["target_oid"], of["view_uuid"]);
    EXPECT_GE(of["build_time"], of["began"]["tv_sec"]);
    EXPECT_THAT(of["variables"], testing::Contains("CFLAGS=-O2 -g"));
    for (const json &one : of["fs_predefs"]) {
        if (one["pathname"] != dir / "out") continue;
        EXPECT_EQ(one["size"], 2);
        EXPECT_EQ(one["ftype"], 1);
        EXPECT_GT(one["mtime"], 0);
        EXPECT_EQ(one["checksum"], "xxh64:0ac3482722e9fdae"); // as xxhsum says of "x\n"
    }
}

TEST_F(Captures, TargetIsTheOnlyFileThatWasBuilt) {
    capture("echo x > out\n");
    EXPECT_EQ(cr({"show", dir / "record", "--json"}).parsed()["record"]["target"], "out");
    capture("echo x > out; echo y > more\n");
    EXPECT_EQ(cr({"show", dir / "record", "--json"}).parsed()["record"]["target"], "");
}

TEST_F(Captures, GoToBuildCrUnlessToldElsewhere) {
    EXPECT_EQ(capture("true\n", "").status, 0);
    EXPECT_EQ(cr({"show", dir / "build.cr"}).status, 0);
}

TEST_F(Captures, LinksAndNamesThatAreNoTextAreRecorded) {
    ASSERT_EQ(capture("ln -s nowhere link; ln -s script to; cat to; : > \"$(printf 'n\\377\\n')\"\n").status, 0);
    const json files = cr({"show", dir / "record", "--json"}).parsed()["record"]["fs_predefs"];
    std::vector<std::string> links;
    bool has_odd_name = false;
    for (const json &one : files) {
        if (one["ftype"] == 5) links.push_back(one["pathname"]);
        has_odd_name |= !one["pathname"].is_string() && one["pathname"]["bytes"].get<std::string>().ends_with("6eff");
    }
    EXPECT_THAT(links, ElementsAre(dir / "link", dir / "to"));
    EXPECT_TRUE(has_odd_name);
    ASSERT_EQ(convert(dir / "record", "json", dir / "json").status, 0);
    ASSERT_EQ(convert(dir / "json", "compressed", dir / "again").status, 0);
    EXPECT_EQ(dir.read("again"), dir.read("record"));
}

TEST_F(Captures, FailedBuildsAreNotRecordedUnlessAskedFor) {
    const outcome run = capture("echo x > out; exit 3\n");
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, AllOf(HasSubstr("exit status 3"), HasSubstr("--keep-failed")));
    EXPECT_EQ(dir.read("record"), "");
    EXPECT_EQ(capture("echo x > out; exit 3\n", "-o record --keep-failed").status, 3);
    EXPECT_EQ(cr({"show", dir / "record", "--json"}).parsed()["record"]["exit_status"], 3);
    EXPECT_EQ(capture("kill -9 $$\n").status, 137);
}

TEST_F(Captures, NeedACommandThatIsThere) {
    for (const char *words : {"", "--", "cat script", "nonsense", "-- ./nonsense", "-- nonsense -c"}) {
        const outcome run = shell(std::string("\"$TBS\" cr capture -o record ") + words);
        EXPECT_EQ(run.status, 2) << words;
        EXPECT_THAT(run.err, StartsWith("tbs: Error: ")) << words;
        EXPECT_EQ(dir.read("record"), "") << words;
    }
}

TEST_F(Captures, OptionsBehindTheMarkAreTheCommands) {
    const outcome run = shell("\"$TBS\" cr capture -o record -- echo -o x --json -- --target");
    EXPECT_EQ(run.out, "-o x --json -- --target\n");
    EXPECT_EQ(cr({"show", dir / "record", "--json"}).parsed()["record"]["options"],
              json({"-o", "x", "--json", "--", "--target"}));
}

TEST_F(Captures, SayThatTheRecordCannotBeWritten) {
    const outcome run = capture("echo x > out\n", "-o missing/record");
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("missing/record"));
}

TEST_F(Captures, SayThatTracingIsForbidden) {
    // A leak detector cannot look at a traced process, and says so.
    const outcome run = shell("ASAN_OPTIONS=\"$ASAN_OPTIONS:detect_leaks=0\" "
                              "strace -qq -f -o /dev/null \"$TBS\" cr capture -o record -- true");
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, AllOf(HasSubstr("ptrace"), HasSubstr("SYS_PTRACE")));
    EXPECT_EQ(dir.read("record"), "");
}

TEST_F(Captures, ShowWhatChangedBetweenTwoBuilds) {
    for (const char *name : {"main.c", "greeting.c", "greeting.h"}) {
        dir.write(name, temp_dir().read(source(std::string("data/sample_build/") + name)));
    }
    const auto build = [&](const std::string &out, const std::string &level) {
        return shell("\"$TBS\" cr capture -o " + out + " -- cc " + level + " -o greeting main.c greeting.c").status;
    };
    ASSERT_EQ(build("first", "-O0"), 0);
    EXPECT_THAT(recorded("first"), ElementsAre("w greeting", "r greeting.c", "r greeting.h", "r main.c"));
    dir.write("greeting.h", dir.read("greeting.h") + "\n#define MORE 1\n");
    ASSERT_EQ(build("second", "-g"), 0);
    const outcome run = cr({"diff", dir / "first", dir / "second", "--json"});
    EXPECT_EQ(run.status, 1);
    std::vector<std::string> what;
    const json answer = run.parsed();
    for (const json &one : answer["differences"]) {
        what.push_back(one["what"].get<std::string>() +
                       (one["name"].is_null() ? "" : ' ' + one["name"].get<std::string>()));
    }
    EXPECT_THAT(what, ElementsAre("command", "option", "option", "built greeting", "read greeting.h"));
}

TEST_F(Records, CaptureSaysThatStraceIsMissing) {
    const outcome run = cr({"capture", "-o", dir / "record", "--", "/bin/true"}, {{"PATH", dir.str()}});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, AllOf(HasSubstr("strace"), HasSubstr("Install the package strace")));
    EXPECT_EQ(dir.read("record"), "");
}

// ---- show

TEST_F(Records, ShowTellsWhoBuiltWhatOfWhat) {
    const outcome run = cr({"show", sample});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, AllOf(HasSubstr("command       cc -O1 -o greeting main.c greeting.c\n"),
                               HasSubstr("host          brackwater-3 (Linux 6.1 x64)\n"),
                               HasSubstr("\nbuilt\n  greeting  16024 bytes, mode 0755, xxh64:"),
                               HasSubstr("\nread\n  greeting.c  113 bytes, mode 0644, xxh64:"),
                               HasSubstr("  and 4 of the system, which --all lists\n"), Not(HasSubstr("stdio.h"))));
    EXPECT_THAT(cr({"show", sample, "--all"}).out, AllOf(HasSubstr("/usr/include/stdio.h"), Not(HasSubstr("--all"))));
}

TEST_F(Records, ShowTellsWhatServersRecord) {
    const outcome run = cr({"show", write("full", full_record())});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out,
                AllOf(HasSubstr("user          b\\xff (developers)"), HasSubstr("\nrepositories\n  /vobs/lib  1234"),
                      HasSubstr("/vobs/lib/b.c@@/main/7  12345678."), HasSubstr("/vobs/lib/a.h"),
                      HasSubstr("links\n  b.c@@/main/7 -> ../b.c"), HasSubstr("view"), HasSubstr("flags         9"),
                      HasSubstr("A=\"\\^J^?")));
}

TEST_F(Records, ShowBelievesNoIndex) {
    json record = full_record();
    record["mfs_objects"][0]["vob"] = 65535;
    record["slinktexts"][0]["object"] = 4294967295;
    const outcome run = cr({"show", write("full", record)});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, AllOf(HasSubstr("  /b.c@@/main/7"), HasSubstr("object 4294967295 -> ../b.c")));
}

TEST_F(Records, ShowTakesEveryForm) {
    for (const char *form : {"compressed", "xdr", "json"}) {
        ASSERT_EQ(convert(sample, form, dir / form).status, 0);
        const json answer = cr({"show", dir / form, "--json"}).parsed();
        EXPECT_EQ(answer["form"], form);
        EXPECT_EQ(answer["record"], read_json(sample));
        EXPECT_EQ(answer["exit_status"], 0);
    }
    EXPECT_EQ(shell("cat compressed | \"$TBS\" cr show -").out, cr({"show", sample}).out);
}

// ---- convert

TEST_F(Records, ConvertLosesNothing) {
    const json record = full_record();
    ASSERT_EQ(convert(write("full", record), "json", dir / "json").status, 0);
    EXPECT_EQ(json::parse(dir.read("json")), record);
    for (const char *from : {"compressed", "xdr", "json"}) {
        ASSERT_EQ(convert(dir / "json", from, dir / from).status, 0);
        for (const char *to : {"compressed", "xdr", "json"}) {
            SCOPED_TRACE(std::string(from) + " to " + to);
            const outcome run = cr({"convert", dir / from, "--from", from, "--to", to, "-o", dir / "out"});
            ASSERT_EQ(run.status, 0) << run.err;
            ASSERT_EQ(convert(dir / "out", "json", dir / "back").status, 0);
            EXPECT_EQ(dir.read("back"), dir.read("json"));
        }
    }
}

TEST_F(Records, ConvertChoosesTheFormatByTheSizes) {
    for (const int64_t size : {int64_t{1} << 31, int64_t{1} << 40}) {
        json record = full_record();
        record["fs_predefs"][0]["size"] = size;
        EXPECT_THAT(refusal(record), HasSubstr("fs_predefs[0].size is a number that the record has no room for"));
        record["format_version"] = 6;
        ASSERT_EQ(convert(write("full", record), "xdr", dir / "xdr").status, 0);
        ASSERT_EQ(convert(dir / "xdr", "json", dir / "json").status, 0);
        EXPECT_EQ(json::parse(dir.read("json")), record);
        record["fs_predefs"][0]["size"] = (int64_t{1} << 31) - 1;
        ASSERT_EQ(convert(write("full", record), "json", dir / "json").status, 0);
        record["format_version"] = 5;
        EXPECT_EQ(json::parse(dir.read("json")), record);
    }
}

TEST_F(Records, ConvertWritesToStandardOutput) {
    ASSERT_EQ(convert(sample, "xdr", dir / "xdr").status, 0);
    EXPECT_EQ(cr({"convert", sample, "--to", "xdr"}).out, dir.read("xdr"));
    EXPECT_EQ(dir.read("xdr").substr(0, 4), std::string("\0\0\0\5", 4));
    EXPECT_EQ(cr({"convert", sample, "--to", "compressed"}).out.substr(0, 4), std::string("\0\0\0\1", 4));
}

TEST_F(Records, ConvertRefusesFlagsThatAreNotWritten) {
    for (const char *list : {"fs_predefs", "mfs_objects"}) {
        json record = full_record();
        record[list][0]["result_obj_flags"] = 0x10000;
        EXPECT_THAT(refusal(record), HasSubstr("[0].result_obj_flags is a number that the record has no room for"));
        record["format_version"] = 6;
        for (const char *form : {"xdr", "compressed", "json"}) {
            const outcome run = convert(write("wide", record), form, dir / "out");
            EXPECT_EQ(run.status, 2);
            EXPECT_THAT(run.err, HasSubstr("16 bits"));
        }
        EXPECT_EQ(cr({"show", dir / "wide"}).status, 0);
    }
}

TEST_F(Records, ConvertNeedsAForm) {
    EXPECT_EQ(cr({"convert", sample}).status, 2);
    EXPECT_EQ(cr({"convert", sample, "--to", "text"}).status, 2);
    EXPECT_EQ(cr({"convert", sample, "--to", "xdr", "--from", "text"}).status, 2);
    EXPECT_EQ(cr({"convert", "--to", "xdr"}).status, 2);
    for (const char *other : {"xdr", "compressed"}) {
        const outcome run = cr({"convert", sample, "--to", "xdr", "--from", other});
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.err, HasSubstr("damaged at offset"));
    }
    ASSERT_EQ(convert(sample, "xdr", dir / "xdr").status, 0);
    EXPECT_THAT(cr({"convert", dir / "xdr", "--to", "xdr", "--from", "json"}).err, HasSubstr("no JSON"));
}

// ---- files that are no records

TEST_F(Records, DamagedFilesAreRefused) {
    for (const char *form : {"xdr", "compressed"}) {
        ASSERT_EQ(convert(sample, form, dir / form).status, 0);
        const std::string whole = dir.read(form);
        for (size_t i = 0; i < 8; i++) {
            const outcome cut = cr({"show", dir.write("cut", whole.substr(0, whole.size() * i / 8))});
            EXPECT_EQ(cut.status, 2) << form << ' ' << i;
            EXPECT_EQ(cut.out, "");
        }
        EXPECT_THAT(cr({"show", dir.write("more", whole + "more")}).err, HasSubstr("bytes stand behind"));
    }
    std::string bad_frame = dir.read("compressed");
    bad_frame[20] ^= 1;
    bad_frame[40] ^= 1;
    EXPECT_THAT(cr({"show", dir.write("bad", bad_frame)}).err, HasSubstr("damaged"));
    std::string other_version = dir.read("compressed");
    other_version[3] = 2;
    EXPECT_THAT(cr({"show", dir.write("bad", other_version)}).err, HasSubstr("no configuration record"));
    EXPECT_THAT(cr({"convert", dir / "bad", "--from", "compressed", "--to", "xdr"}).err, HasSubstr("version 2"));
}

TEST_F(Records, OtherFilesAreRefused) {
    EXPECT_THAT(cr({"show", dir.write("empty", "")}).err, HasSubstr("the file is empty"));
    EXPECT_THAT(cr({"show", source("README.md")}).err, HasSubstr("no configuration record"));
    EXPECT_THAT(cr({"show", dir / "missing"}).err, HasSubstr("cannot be opened"));
    EXPECT_EQ(cr({"show", dir.str()}).status, 2);
    EXPECT_EQ(cr({"show"}).status, 2);
    const std::string four("\0\0\0\4", 4), great("\0\0\0\5\0\0\0\0\0\0\0\0\0\0\0\0\xff\xff\xff\xfc", 20);
    EXPECT_THAT(cr({"show", dir.write("four", four)}).err, HasSubstr("damaged"));
    EXPECT_THAT(cr({"show", dir.write("great", great)}).err, HasSubstr("damaged"));
    const json answer = cr({"show", dir / "great", "--json"}).parsed();
    EXPECT_EQ(answer["exit_status"], 2);
    EXPECT_EQ(answer["error"]["file"], dir / "great");
}

TEST_F(Records, JsonMustHaveEveryMemberAndNoOther) {
    json record = full_record();
    record.erase("host");
    EXPECT_THAT(refusal(record), HasSubstr("host is missing"));
    record = full_record();
    record["color"] = 1;
    EXPECT_THAT(refusal(record), HasSubstr("color is no member"));
    record = full_record();
    record["fs_predefs"][1].erase("mode");
    EXPECT_THAT(refusal(record), HasSubstr("fs_predefs[1].mode is missing"));
    record = full_record();
    record["began"]["more"] = 1;
    EXPECT_THAT(refusal(record), HasSubstr("began is no {\"tv_sec\", \"tv_usec\"}"));
}

TEST_F(Records, JsonMustHaveValuesThatFit) {
    struct row {
        const char *member;
        json value;
        const char *why;
    };
    const std::vector<row> rows = {{"/elapsed", -1, "no room"},
                                   {"/elapsed", uint64_t{1} << 63, "no room"},
                                   {"/elapsed", 1.5, "no whole number"},
                                   {"/elapsed", "1", "no whole number"},
                                   {"/build_time", int64_t{1} << 31, "no room"},
                                   {"/fs_predefs/0/ftype", 256, "no room"},
                                   {"/mfs_objects/0/vob", 65536, "no room"},
                                   {"/mfs_objects/0/mtime", -(int64_t{1} << 31) - 1, "no room"},
                                   {"/began/tv_usec", int64_t{1} << 31, "no room"},
                                   {"/format_version", 4, "neither 5 nor 6"},
                                   {"/target_oid", "12345678.9abc1def.8a12.00:11:22:33:44:55 ", "no identifier"},
                                   {"/target_oid", 1, "no identifier"},
                                   {"/user", nullptr, "no text"},
                                   {"/user", std::string("a\0b", 3), "holds a NUL"},
                                   {"/user", {{"bytes", "0g"}}, "no text"},
                                   {"/user", {{"bytes", "000"}}, "no text"},
                                   {"/user", {{"bytes", "6200"}}, "holds a NUL"},
                                   {"/user", {{"bytes", "62"}, {"more", 1}}, "no text"},
                                   {"/variables", "A=1", "no list"},
                                   {"/variables/0", 1, "no text"},
                                   {"/vobs", json::object(), "no list"},
                                   {"/vobs/0", 1, "no object"}};
    for (const row &one : rows) {
        json record = full_record();
        record[json::json_pointer(one.member)] = one.value;
        EXPECT_THAT(refusal(record), HasSubstr(one.why)) << one.member << ' ' << one.value;
    }
}

TEST_F(Records, JsonMustBeJson) {
    EXPECT_THAT(cr({"show", dir.write("bad", "{\n\"a\": 1,\n")}).err, HasSubstr("bad:3: the text is no JSON"));
    const std::string deep = "{\"a\":" + std::string(1000000, '[');
    EXPECT_THAT(cr({"show", dir.write("deep", deep)}).err, HasSubstr("nested deeper"));
    EXPECT_THAT(cr({"convert", dir.write("list", "[]"), "--from", "json", "--to", "xdr"}).err,
                HasSubstr("is no object"));
    EXPECT_THAT(cr({"show", dir.write("text", "{\"user\": \"\xff\"}")}).err, HasSubstr("no JSON"));
}

// ---- diff

TEST_F(Records, DiffTellsWhatChanged) {
    const outcome run = cr({"diff", sample, next});
    EXPECT_EQ(run.status, 1) << run.err;
    const std::vector<std::string> lines = lines_of(run.out);
    ASSERT_EQ(lines.size(), 8u);
    EXPECT_EQ(lines[0], "- command     cc -O1 -o greeting main.c greeting.c");
    EXPECT_EQ(lines[3], "+ option      -O2");
    EXPECT_THAT(lines[6], StartsWith("- read        greeting.h  "));
    EXPECT_THAT(lines[7], StartsWith("+ read        greeting.h  "));
}

TEST_F(Records, DiffIsEmptyForTheSameBuild) {
    json record = read_json(sample);
    for (const char *who : {"user", "group", "host"}) record[who] = "other";
    record["build_time"] = 5;
    record["target_oid"] = record["view_uuid"];
    record["directory"] = "/elsewhere";
    for (json &one : record["fs_predefs"]) {
        std::string path = one["pathname"];
        if (path.starts_with("/src/greeting/")) one["pathname"] = "/elsewhere" + path.substr(13);
        one["mtime"] = 6;
    }
    const outcome run = cr({"diff", sample, write("again", record)});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "");
    const json answer = cr({"diff", sample, dir / "again", "--json"}).parsed();
    EXPECT_EQ(answer["equal"], true);
    EXPECT_EQ(answer["differences"], json::array());
}

TEST_F(Records, DiffKnowsAFilesVersionByItsTimeWithoutAChecksum) {
    json before = read_json(sample), after = before;
    before["fs_predefs"][0]["checksum"] = after["fs_predefs"][0]["checksum"] = "";
    after["fs_predefs"][0]["mtime"] = 6;
    const outcome run = cr({"diff", write("a", before), write("b", after)});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("1970-01-01T00:00:06Z"));
}

TEST_F(Records, DiffTellsWhatOnlyOneHas) {
    const json full = full_record();
    json less = full;
    less["mfs_objects"] = less["mfs_predefs"] = less["slinktexts"] = json::array();
    less["options"] = {"-O1", "-O1"};
    less["variables"] = {"A=1"};
    less["exit_status"] = 0;
    less["flags"] = 0;
    less["view_uuid"] = read_json(sample)["view_uuid"];
    less["host_type"] = "Linux";
    less["target"] = "other";
    const json answer = cr({"diff", write("less", less), write("full", full), "--json"}).parsed();
    std::map<std::string, int> before, after;
    for (const json &one : answer["differences"]) {
        const std::string what = one["what"];
        before[what] += !one["before"].is_null();
        after[what] += !one["after"].is_null();
    }
    EXPECT_EQ(before, (std::map<std::string, int>{{"target", 1},
                                                  {"view", 1},
                                                  {"host type", 1},
                                                  {"exit status", 1},
                                                  {"flags", 1},
                                                  {"option", 1},
                                                  {"variable", 1},
                                                  {"built", 0},
                                                  {"read", 0}}));
    EXPECT_EQ(after, (std::map<std::string, int>{{"target", 1},
                                                 {"view", 1},
                                                 {"host type", 1},
                                                 {"exit status", 1},
                                                 {"flags", 1},
                                                 {"option", 4},
                                                 {"variable", 2},
                                                 {"built", 1},
                                                 {"read", 1}}));
}

TEST_F(Records, DiffNeedsTwoRecords) {
    EXPECT_EQ(cr({"diff", sample}).status, 2);
    EXPECT_EQ(cr({"diff", sample, source("README.md")}).status, 2);
    EXPECT_EQ(cr({"diff", dir / "missing", sample, "--json"}).parsed()["error"]["file"], dir / "missing");
}

// ---- graph

TEST_F(Records, GraphShowsWhatWasBuiltOfWhat) {
    const outcome run = cr({"graph", sample});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out,
                AllOf(StartsWith("digraph \""), HasSubstr("b0 [label=\"greeting\", shape=box, style=\"rounded"),
                      HasSubstr("f1 [label=\"greeting.c\", shape=ellipse"), HasSubstr("b0 -> f0;"),
                      HasSubstr("f1 -> b0;"), Not(HasSubstr("stdio.h"))));
    EXPECT_THAT(cr({"graph", sample, "--all"}).out, HasSubstr("label=\"/usr/include/stdio.h\""));
}

TEST_F(Records, GraphJoinsBuildsByTheirFiles) {
    json object = read_json(sample), program = object;
    const auto file = [&](const char *path, int flags) {
        json one = read_json(sample)["fs_predefs"][0];
        one["pathname"] = path;
        one["result_obj_flags"] = flags;
        return one;
    };
    object["target"] = "";
    object["fs_predefs"] = {file("/src/greeting/a.c", 1), file("/src/greeting/a.o", 2)};
    program["fs_predefs"] = {file("/src/greeting/a \"\n", 2), file("/src/greeting/a.o", 1)};
    const outcome run = cr({"graph", write("one", object), write("two", program), "-o", dir / "out"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(dir.read("out"), AllOf(HasSubstr("b0 [label=\"cc -O1 -o greeting main.c greeting.c\""),
                                       HasSubstr("f0 [label=\"a \\\"^J\""), HasSubstr("f2 [label=\"a.o\", shape=box"),
                                       HasSubstr("b0 -> f2;"), HasSubstr("f2 -> b1;"), HasSubstr("b1 -> f0;")));
}

TEST_F(Records, GraphIsDrawnAsSvg) {
    if (access("/usr/bin/dot", X_OK) != 0) GTEST_SKIP() << "there is no /usr/bin/dot";
    const outcome drawn = cr({"graph", sample, "--svg", "-o", dir / "svg"});
    EXPECT_EQ(drawn.status, 0) << drawn.err;
    EXPECT_THAT(dir.read("svg"), AllOf(HasSubstr("<svg"), HasSubstr(">greeting.h</text>")));
    EXPECT_EQ(cr({"graph", sample, "--format", "svg"}).out, dir.read("svg"));
}

TEST_F(Records, GraphSaysWhatIsWrong) {
    EXPECT_EQ(cr({"graph"}).status, 2);
    EXPECT_EQ(cr({"graph", sample, "--format", "png"}).status, 2);
    EXPECT_EQ(cr({"graph", sample, "--format", "dot", "--svg"}).status, 2);
    EXPECT_EQ(cr({"graph", sample, source("README.md")}).status, 2);
    const outcome run = cr({"graph", sample, "--svg"}, {{"PATH", dir.str()}});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("graphviz"));
}
