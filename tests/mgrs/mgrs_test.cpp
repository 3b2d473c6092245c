// Runs the type managers as processes, as the library does.
#include "support/env.hpp"
#include "tbs/tbs_mgr.h"
#include "tool/tool_runner.hpp"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <gmock/gmock.h>
#include <string>
#include <sys/stat.h>
#include <vector>
#include <xxhash.h>
#include <zstd.h>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using tool_test::lines_of;
using tool_test::outcome;
using tool_test::run_program;
using words = std::vector<std::string>;

const std::string product = ORSIK_BINARY_DIR;
const words operation_names = {"create_element",   "create_branch",     "create_version",
                               "create_version64", "construct_version", "delete_branches_versions",
                               "get_cont_info"};

// Compresses to about half.
std::string sample(size_t size) {
    std::string text(size, '\0');
    uint32_t state = 1;
    for (char &c : text) {
        state = state * 1664525 + 1013904223;
        c = static_cast<char>('a' + (state >> 28));
    }
    return text;
}

std::string checksum(const std::string &contents) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx",
                  static_cast<unsigned long long>(XXH64(contents.data(), contents.size(), 0)));
    return text;
}

mode_t mode_of(const std::string &path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

size_t errors_in(const outcome &result) {
    const words all = lines_of(result.err);
    return static_cast<size_t>(
        std::count_if(all.begin(), all.end(), [](const std::string &l) { return l.find("Error: ") != l.npos; }));
}

// A version store, and the manager that is run on it.
class store {
public:
    explicit store(std::string manager) : manager_(std::move(manager)) {}

    std::string program(const std::string &name) const { return product + "/lib/mgrs/" + manager_ + '/' + name; }

    outcome run(const std::string &operation, words arguments) const {
        arguments.insert(arguments.begin(), program(operation));
        return run_program(arguments);
    }
    // Runs an operation from a line of the shell in which "$@" stands for it.
    outcome run_in(const std::string &script, const std::string &operation, words arguments) const {
        const words shell = {"/bin/sh", "-c", script, "sh", program(operation)};
        arguments.insert(arguments.begin(), shell.begin(), shell.end());
        return run_program(arguments);
    }

    std::string operator/(const std::string &leaf) const { return dir / leaf; }

    // An element's first version.
    std::string element() const {
        const outcome made = run("create_element", {dir / "zero"});
        EXPECT_EQ(made.status, 0) << made.err;
        return dir / "zero";
    }
    // A version with these contents; an element is made for the first.
    std::string version(const std::string &leaf, const std::string &contents) const {
        const std::string data = dir.write("data", contents);
        const std::string predecessor = fs::exists(dir / "zero") ? dir / "zero" : element();
        const outcome made = run("create_version", {dir / leaf, data, predecessor});
        EXPECT_EQ(made.status, 0) << made.err;
        EXPECT_EQ(made.out + made.err, "");
        fs::remove(data);
        return dir / leaf;
    }
    std::string contents_of(const std::string &container) const {
        const outcome made = run("construct_version", {dir / "constructed", container});
        EXPECT_EQ(made.status, 0) << made.err;
        const std::string contents = dir.read("constructed");
        fs::remove(dir / "constructed");
        return contents;
    }
    words files() const {
        words names;
        for (const auto &entry : fs::directory_iterator(dir.path())) names.push_back(entry.path().filename());
        return names;
    }

    temp_dir dir;

private:
    std::string manager_;
};

class EachManager : public testing::TestWithParam<std::string> {
protected:
    store here{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(, EachManager, testing::Values("whole_copy", "packed_copy"),
                         [](const auto &manager) { return manager.param; });

// ---- the seven operations

TEST_P(EachManager, GivesBackTheContentsOfAnySize) {
    constexpr size_t block = 128 * 1024;
    for (const size_t size : {size_t{0}, size_t{1}, block - 1, block, block + 1, 2 * block, size_t{3} << 20}) {
        SCOPED_TRACE(size);
        const std::string contents = sample(size);
        const std::string container = here.version("v" + std::to_string(size), contents);
        EXPECT_TRUE(here.contents_of(container) == contents);
    }
}

TEST_P(EachManager, BeginsAnElementWithAnEmptyVersion) {
    const std::string zero = here.element();
    EXPECT_EQ(here.contents_of(zero), "");
    EXPECT_EQ(mode_of(zero) & 0222, 0u);
}

TEST_P(EachManager, BeginsABranchWithThePredecessorsContents) {
    const std::string contents = sample(300000);
    const std::string predecessor = here.version("v1", contents);
    EXPECT_EQ(here.run("create_branch", {here / "b1", predecessor}).status, 0);
    EXPECT_EQ(here.run("delete_branches_versions", {predecessor}).status, 0);
    EXPECT_TRUE(here.contents_of(here / "b1") == contents);
}

TEST_P(EachManager, TakesSmallContentsAsLargeOnesToo) {
    const std::string predecessor = here.version("v1", "one\n"), from = here.dir.write("from", "two\n");
    EXPECT_EQ(here.run("create_version64", {here / "v2", from, predecessor}).status, 0);
    EXPECT_EQ(here.contents_of(here / "v2"), "two\n");
}

TEST_P(EachManager, TellsAboutContainers) {
    const std::string contents = sample(70000);
    const std::string one = here.version("one", contents), two = here.version("two", "");
    const outcome told = here.run("get_cont_info", {one, two});
    EXPECT_EQ(told.status, 0);
    EXPECT_EQ(told.out, GetParam() + " 70000 " + checksum(contents) + ' ' + one + '\n' + //
                            GetParam() + " 0 " + checksum("") + ' ' + two + '\n');
}

TEST_P(EachManager, RemovesContainers) {
    const std::string one = here.version("one", "1"), two = here.version("two", "2");
    EXPECT_EQ(here.run("delete_branches_versions", {one, two}).status, 0);
    EXPECT_THAT(here.files(), UnorderedElementsAre("zero"));
}

TEST_P(EachManager, RemovesTheOthersWhenOneContainerIsMissing) {
    const std::string one = here.version("one", "1"), two = here.version("two", "2");
    const outcome result = here.run("delete_branches_versions", {one, here / "missing", two});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("Error: Unable to remove \"" + (here / "missing") + "\": "));
    EXPECT_THAT(here.files(), UnorderedElementsAre("zero"));
}

TEST_P(EachManager, IsWhatTheLibraryInvokes) {
    const scoped_env set("ORSIK_PRODUCT_DIR", product.c_str());
    std::string manager = GetParam(), container = here / "zero";
    tbs_boolean_t large = 0;
    EXPECT_EQ(tbs_mgr_supports_large_versions(manager.c_str(), &large), 0);
    EXPECT_EQ(large, 1);
    char *arguments[] = {nullptr, container.data(), nullptr};
    int status = -1;
    EXPECT_EQ(tbs_mgr_invoke_op(manager.c_str(), "create_element", arguments, &status), 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(fs::exists(container));
}

// ---- contents

TEST_P(EachManager, ReadsContentsFromAPipe) {
    const std::string contents = sample(500000), from = here.dir.write("from", contents);
    const std::string zero = here.element();
    const outcome made =
        here.run_in("cat '" + from + "' | \"$@\"", "create_version", {here / "v1", "/dev/stdin", zero});
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_TRUE(here.contents_of(here / "v1") == contents);
    EXPECT_EQ(mode_of(here / "v1") & 0333, 0u);
}

TEST_P(EachManager, ReadsRedirectedContentsFromWhereTheyStand) {
    const std::string from = here.dir.write("from", "head\ntail\n"), zero = here.element();
    const std::string script = "{ read line; \"$@\"; } <'" + from + "'";
    EXPECT_EQ(here.run_in(script, "create_version", {here / "v1", "/dev/stdin", zero}).status, 0);
    EXPECT_EQ(here.contents_of(here / "v1"), "tail\n");
}

TEST_P(EachManager, TakesAClosedStandardInputForAFailure) {
    const std::string zero = here.element();
    const outcome result = here.run_in("exec \"$@\" <&-", "create_version", {here / "v1", "/dev/stdin", zero});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("\"/dev/stdin\""));
    EXPECT_THAT(here.files(), UnorderedElementsAre("zero"));
}

TEST_P(EachManager, NeverWritesMessagesIntoAContainer) {
    const std::string zero = here.element();
    const outcome result =
        here.run_in("exec \"$@\" <&- >&- 2>&-", "create_version", {here / "v1", here / "missing", zero});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(here.files(), UnorderedElementsAre("zero"));
    EXPECT_EQ(here.contents_of(zero), "");
}

TEST_P(EachManager, KeepsTheBitsToReadAndExecuteAndDropsTheOthers) {
    const std::string zero = here.element(), from = here.dir.write("script", "#!/bin/sh\n");
    fs::permissions(from, static_cast<fs::perms>(06775));
    EXPECT_EQ(here.run_in("umask 027; exec \"$@\"", "create_version", {here / "v1", from, zero}).status, 0);
    EXPECT_EQ(mode_of(here / "v1"), 0550u);
    EXPECT_EQ(here.run_in("umask 077; exec \"$@\"", "construct_version", {here / "out", here / "v1"}).status, 0);
    EXPECT_EQ(mode_of(here / "out"), 0500u);
    EXPECT_EQ(here.run_in("umask 0; exec \"$@\"", "create_branch", {here / "b1", here / "v1"}).status, 0);
    EXPECT_EQ(mode_of(here / "b1"), 0550u);
}

TEST_P(EachManager, RefusesTwoGigabytesInCreateVersion) {
    const std::string zero = here.element(), from = here.dir.write("from", "");
    fs::resize_file(from, uintmax_t{1} << 31);
    const words arguments = {here / "v1", from, zero};
    for (const std::string &script : {std::string("\"$@\""), "\"$1\" \"$2\" /dev/stdin \"$4\" <'" + from + "'"}) {
        const outcome result = here.run_in(script, "create_version", arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, AllOf(HasSubstr("is greater than 2Gigabytes in length and too large"),
                                      HasSubstr("create_version64")));
        EXPECT_FALSE(fs::exists(here / "v1"));
    }
}

TEST_P(EachManager, FindsNoFaultWithContentsBelowTwoGigabytesNorInCreateVersion64) {
    const std::string from = here.dir.write("from", "");
    for (const auto &[operation, size] :
         {std::pair("create_version", 0x7FFFFFFFu), {"create_version64", 0x80000000u}}) {
        fs::resize_file(from, size);
        const outcome result = here.run(operation, {here / "v1", from, here / "missing"});
        EXPECT_THAT(result.err, HasSubstr("Unable to open file \"" + (here / "missing") + "\": "));
    }
}

// ---- names

TEST_P(EachManager, TakesNamesAsTheyAre) {
    const std::string script = "cd '" + here.dir.str() + "' && exec \"$@\"";
    for (const std::string &name :
         words{"-x", "--version", "two  blanks", "line\nbreak", "\xff\xfe", "'\"$HOME`", "*"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(here.run_in(script, "create_element", {name}).status, 0);
        EXPECT_EQ(here.run_in(script, "create_version", {name + "2", name, name}).status, 0);
        EXPECT_EQ(here.run_in(script, "get_cont_info", {name, name + "2"}).status, 0);
        EXPECT_EQ(here.run_in(script, "delete_branches_versions", {name, name + "2"}).status, 0);
        EXPECT_THAT(here.files(), IsEmpty());
    }
}

TEST_P(EachManager, TakesANameForHelpOnlyWhenItStandsAlone) {
    const std::string script = "cd '" + here.dir.str() + "' && exec \"$@\"";
    EXPECT_EQ(here.run_in(script, "create_element", {"--help"}).status, 0);
    EXPECT_THAT(here.files(), IsEmpty());
    EXPECT_EQ(here.run_in(script, "create_element", {"--", "--help"}).status, 0);
    EXPECT_THAT(here.files(), UnorderedElementsAre("--help"));
    EXPECT_EQ(here.run_in(script, "create_branch", {"--", "--", "--help"}).status, 0);
    EXPECT_THAT(here.files(), UnorderedElementsAre("--", "--help"));
}

TEST_P(EachManager, ShowsNamesOnOneLine) {
    const std::string container = here.version("a\nb", "");
    EXPECT_EQ(lines_of(here.run("get_cont_info", {container}).out).size(), 1u);
    EXPECT_EQ(lines_of(here.run("construct_version", {here / "out", here / "c\nError: d"}).err).size(), 2u);
}

TEST_P(EachManager, SeparatesPathnamesByBackslashesToo) {
    fs::create_directory(here / "pool");
    EXPECT_EQ(here.run("create_element", {here.dir.str() + "\\pool\\zero"}).status, 0);
    EXPECT_TRUE(fs::exists(here / "pool/zero"));
}

TEST_P(EachManager, RefusesPathsThatNameNoNewFile) {
    for (const std::string &path : {std::string(), here / "", here / ".", here / "missing/v1",
                                    here / std::string(300, 'n'), std::string(5000, 'p')}) {
        SCOPED_TRACE(path);
        const outcome result = here.run("create_element", {path});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(errors_in(result), 1u);
        EXPECT_THAT(here.files(), IsEmpty());
    }
}

TEST_P(EachManager, NeverOverwrites) {
    const std::string one = here.version("one", "1"), two = here.version("two", "2");
    fs::create_symlink(here / "nowhere", here / "link");
    for (const std::string &taken : {one, here / "link"}) {
        for (const words &line : {words{"create_element", taken}, words{"create_branch", taken, two},
                                  words{"create_version", taken, two, two}, words{"construct_version", taken, two}}) {
            SCOPED_TRACE(line[0]);
            const outcome result = here.run(line[0], words(line.begin() + 1, line.end()));
            EXPECT_EQ(result.status, 1);
            EXPECT_THAT(result.err, HasSubstr("Error: Unable to create file \"" + taken + "\": "));
        }
    }
    EXPECT_EQ(here.contents_of(one), "1");
    EXPECT_THAT(here.files(), UnorderedElementsAre("zero", "one", "two", "link"));
}

TEST_P(EachManager, FollowsNoLink) {
    const std::string one = here.version("one", "1"), link = here / "link";
    fs::create_symlink(one, link);
    EXPECT_EQ(here.run("create_version", {here / "v1", link, one}).status, 1);
    EXPECT_EQ(here.run("create_version", {here / "v1", one, link}).status, 1);
    EXPECT_EQ(here.run("create_branch", {here / "v1", link}).status, 1);
    EXPECT_EQ(here.run("construct_version", {here / "v1", link}).status, 1);
    EXPECT_EQ(here.run("get_cont_info", {link}).status, 1);
    EXPECT_EQ(here.run("delete_branches_versions", {link}).status, 1);
    EXPECT_THAT(here.files(), UnorderedElementsAre("zero", "one", "link"));
}

TEST_P(EachManager, RefusesWhatIsNoRegularFileWithoutWaitingForIt) {
    const std::string one = here.version("one", "1"), fifo = here / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string &odd : {fifo, here.dir.str(), std::string("/dev/zero"), here / "missing"}) {
        SCOPED_TRACE(odd);
        EXPECT_EQ(here.run("create_version", {here / "v1", odd, one}).status, 1);
        EXPECT_EQ(here.run("create_version", {here / "v1", one, odd}).status, 1);
        EXPECT_EQ(here.run("create_branch", {here / "v1", odd}).status, 1);
        EXPECT_EQ(here.run("construct_version", {here / "v1", odd}).status, 1);
        EXPECT_EQ(here.run("get_cont_info", {odd}).status, 1);
    }
    EXPECT_EQ(here.run("delete_branches_versions", {fifo, here.dir.str()}).status, 1);
    EXPECT_THAT(here.files(), UnorderedElementsAre("zero", "one", "fifo"));
}

// ---- what goes wrong on the way

TEST_P(EachManager, LeavesNothingBehindWhenTheDiskIsFull) {
    const std::string contents = sample(1 << 20);
    const std::string one = here.version("one", contents), from = here.dir.write("from", contents);
    const std::string limited = "ulimit -f 100; exec \"$@\"",
                      piped = "cat '" + from + "' | { ulimit -f 100; \"$@\"; }";
    const std::vector<std::pair<std::string, words>> lines = {
        {limited, {"create_version", here / "v1", from, one}},
        {piped, {"create_version", here / "v1", "/dev/stdin", one}},
        {limited, {"create_branch", here / "v1", one}},
        {limited, {"construct_version", here / "v1", one}},
    };
    for (const auto &[script, line] : lines) {
        SCOPED_TRACE(line[0]);
        const outcome result = here.run_in(script, line[0], words(line.begin() + 1, line.end()));
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, HasSubstr("Error: Unable to write file \"" + (here / "v1") + "\": "));
        EXPECT_THAT(here.files(), UnorderedElementsAre("zero", "one", "from"));
    }
}

TEST_P(EachManager, FailsWhenItsAnswerCannotBeWritten) {
    const std::string one = here.version("one", "1");
    const outcome result = here.run_in("\"$@\" >/dev/full", "get_cont_info", {one});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("(standard output)"));
}

// Runs create_version on a pipe and calls `act` with its process when it has read half a megabyte. Gives how it ends.
template <class Act> int status_of_version_disturbed_by(const store &here, const std::string &predecessor, Act act) {
    const std::string program = here.program("create_version"), container = here / "v1";
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        close(ends[1]);
        execl(program.c_str(), program.c_str(), container.c_str(), "/dev/stdin", predecessor.c_str(), nullptr);
        _exit(127);
    }
    close(ends[0]);
    const std::string some = sample(1 << 19);
    for (size_t at = 0; at < some.size();) { // comes back when all but what the pipe holds has been read
        const ssize_t written = write(ends[1], some.data() + at, some.size() - at);
        EXPECT_GT(written, 0);
        if (written <= 0) break;
        at += static_cast<size_t>(written);
    }
    const bool more = act(child);
    if (!more) close(ends[1]);
    int status = 0;
    waitpid(child, &status, 0);
    if (more) close(ends[1]);
    return status;
}

int status_of_version_ended_by(const store &here, int signal, const std::string &predecessor) {
    return status_of_version_disturbed_by(here, predecessor, [&](pid_t child) { return kill(child, signal) == 0; });
}

TEST_P(EachManager, DoesNotOverwriteWhatComesMeanwhile) {
    const std::string one = here.version("one", "1");
    const int status = status_of_version_disturbed_by(here, one, [&](pid_t) {
        here.dir.write("v1", "another's");
        return false;
    });
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_EQ(here.dir.read("v1"), "another's");
    EXPECT_THAT(here.files(), UnorderedElementsAre("zero", "one", "v1"));
}

TEST_P(EachManager, RefusesContentsThatAreNotAsLongAsTheyWere) {
    const std::string one = here.version("one", "1");
    // A file of the kernel is empty by its status and still gives bytes.
    const outcome result = here.run("create_version", {here / "v1", "/proc/version", one});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("Error: Unable to read file \"/proc/version\": its size changed"));
    EXPECT_THAT(here.files(), UnorderedElementsAre("zero", "one"));
}

TEST_P(EachManager, LeavesNothingBehindWhenItIsAskedToEnd) {
    const std::string one = here.version("one", "1");
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        const int status = status_of_version_ended_by(here, signal, one);
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), signal);
        EXPECT_THAT(here.files(), UnorderedElementsAre("zero", "one"));
    }
}

TEST_P(EachManager, LeavesNoContainerWhenItIsKilled) {
    const std::string one = here.version("one", "1");
    const int status = status_of_version_ended_by(here, SIGKILL, one);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_FALSE(fs::exists(here / "v1"));
    EXPECT_THAT(here.files(), UnorderedElementsAre("zero", "one", StartsWith(".mgr-")));
    here.version("v1", "1"); // what is left does not stand in the way
}

// ---- command line

TEST_P(EachManager, WantsTheOperandsOfItsOperation) {
    for (const std::string &operation : operation_names) {
        SCOPED_TRACE(operation);
        for (const words &arguments : {words{}, words{"--"}}) {
            const outcome result = here.run(operation, arguments);
            EXPECT_EQ(result.status, 2);
            EXPECT_THAT(result.err, StartsWith(GetParam() + ": Error: Bad command line syntax -- operands of " +
                                               operation + ": "));
        }
    }
    for (const std::string &operation : {operation_names[0], operation_names[1], operation_names[4]}) {
        EXPECT_EQ(here.run(operation, {"a", "b", "c"}).status, 2);
    }
    EXPECT_EQ(here.run("create_version", {"a", "b"}).status, 2);
    EXPECT_EQ(here.run("create_version64", {"a", "b", "c", "d"}).status, 2);
}

TEST_P(EachManager, ExplainsEachOperation) {
    for (const std::string &operation : operation_names) {
        const outcome result = here.run(operation, {"--help"});
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.out, StartsWith("Usage: " + operation + ' '));
        EXPECT_THAT(here.run(GetParam(), {"--help"}).out, HasSubstr("\n  " + operation + ' '));
    }
}

TEST_P(EachManager, SaysHowItIsStartedWhenNothingNamesAnOperation) {
    for (const words &arguments : {words{}, words{"create_element"}, words{"other", "create_element", "x"}}) {
        const outcome result = here.run(GetParam(), arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err, "Usage: " + here.program(GetParam()) +
                                  " <mgr name> <op name> <mgr args> ...\n"
                                  "This program should only be indirectly invoked through tessitool.\n");
    }
}

TEST_P(EachManager, TakesManagerAndOperationAsWordsUnderItsOwnName) {
    EXPECT_EQ(here.run(GetParam(), {GetParam(), "create_element", here / "zero"}).status, 0);
    EXPECT_TRUE(fs::exists(here / "zero"));
}

TEST_P(EachManager, RefusesAnOperationThatItDoesNotHave) {
    fs::create_symlink(here.program(GetParam()), here / "annotate");
    const words lines[] = {{here / "annotate", "x", "y"}, {here.program(GetParam()), GetParam(), "annotate"}};
    for (const words &line : lines) {
        const outcome result = run_program(line);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err,
                  GetParam() + ": Error: Bad command line syntax -- unknown type manager operation: \"annotate\".\n"
                               "This program should only be indirectly invoked through tessitool.\n");
    }
}

// ---- containers of packed_copy

class PackedContainer : public testing::Test {
protected:
    // Gives files made of `count` variations of a container to get_cont_info.
    template <class Make> outcome ask_about(size_t count, Make make) {
        words names;
        for (size_t i = 0; i < count; i++) names.push_back(here.dir.write("damaged/" + std::to_string(i), make(i)));
        return here.run("get_cont_info", names);
    }
    // No operation lets the container through, or leaves anything behind.
    void expect_refused(const std::string &container, const std::string &why) {
        const std::string path = here.dir.write("odd", container);
        const words files = here.files();
        for (const words &line : {words{"get_cont_info", path}, words{"create_branch", here / "new", path},
                                  words{"construct_version", here / "new", path}}) {
            const outcome result = here.run(line[0], words(line.begin() + 1, line.end()));
            EXPECT_EQ(result.status, 1);
            EXPECT_EQ(result.out, "");
            EXPECT_THAT(result.err,
                        AllOf(HasSubstr("Error: Unable to read file \"" + path + "\": "), HasSubstr(why)));
            EXPECT_THAT(here.files(), testing::UnorderedElementsAreArray(files));
        }
    }
    std::string container_of(const std::string &contents) {
        here.version("good", contents);
        std::string container = here.dir.read("good");
        fs::remove(here / "good");
        return container;
    }

    store here{"packed_copy"};
};

struct frame_context {
    ZSTD_CCtx *it = ZSTD_createCCtx();
    ~frame_context() { ZSTD_freeCCtx(it); }
};

// A frame of another writer.
std::string frame(const std::string &contents, const std::vector<std::pair<ZSTD_cParameter, int>> &settings) {
    const frame_context context;
    for (const auto &[name, value] : settings) ZSTD_CCtx_setParameter(context.it, name, value);
    std::string packed(ZSTD_compressBound(contents.size()), '\0');
    packed.resize(ZSTD_compress2(context.it, packed.data(), packed.size(), contents.data(), contents.size()));
    return packed;
}

TEST_F(PackedContainer, IsOneFrameWithSizeAndChecksum) {
    const std::string contents = sample(500000), container = container_of(contents);
    EXPECT_LT(container.size(), contents.size() * 6 / 10);
    EXPECT_EQ(ZSTD_getFrameContentSize(container.data(), container.size()), contents.size());
    EXPECT_EQ(ZSTD_findFrameCompressedSize(container.data(), container.size()), container.size());
    std::string plain(contents.size(), '\0');
    EXPECT_EQ(ZSTD_decompress(plain.data(), plain.size(), container.data(), container.size()), contents.size());
    EXPECT_TRUE(plain == contents);
    const std::string low = checksum(contents).substr(8);
    for (size_t i = 0; i < 4; i++) {
        const auto byte = static_cast<uint8_t>(container[container.size() - 4 + i]);
        EXPECT_EQ(byte, std::stoul(low.substr(6 - 2 * i, 2), nullptr, 16));
    }
}

TEST_F(PackedContainer, IsRefusedWhenItIsCutAnywhere) {
    for (const std::string &contents : {std::string(), std::string("one"), sample(3000), std::string(400000, '-')}) {
        const std::string container = container_of(contents);
        SCOPED_TRACE(container.size());
        const outcome result = ask_about(container.size(), [&](size_t n) { return container.substr(0, n); });
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(errors_in(result), container.size());
        expect_refused(container.substr(0, container.size() - 1), "the container is damaged: ");
        expect_refused(container.substr(0, container.size() / 2), "the container is damaged: ");
    }
}

TEST_F(PackedContainer, NeverGivesOtherContentsWhenABitIsTurned) {
    const std::string contents = sample(300), container = container_of(contents);
    const outcome result = ask_about(container.size() * 8, [&](size_t bit) {
        std::string turned = container;
        turned[bit / 8] = static_cast<char>(turned[bit / 8] ^ (1 << bit % 8));
        return turned;
    });
    const words accepted = lines_of(result.out);
    for (const std::string &line : accepted) EXPECT_THAT(line, StartsWith("packed_copy 300 " + checksum(contents)));
    EXPECT_LT(accepted.size(), container.size()); // few bits have no meaning
    EXPECT_EQ(errors_in(result) + accepted.size(), container.size() * 8);
}

TEST_F(PackedContainer, IsRefusedWhenItTellsAnotherSize) {
    const std::string container = container_of(sample(300)); // two bytes behind the descriptor, 256 less
    ASSERT_EQ(ZSTD_getFrameContentSize(container.data(), container.size()), 300u);
    for (const int other : {-44, -1, 1, 200}) {
        std::string lying = container;
        lying[5] = static_cast<char>(44 + other);
        ASSERT_EQ(ZSTD_getFrameContentSize(lying.data(), lying.size()), static_cast<unsigned>(300 + other));
        expect_refused(lying, "the container is damaged: ");
    }
}

TEST_F(PackedContainer, IsRefusedWithBytesBehindIt) {
    for (const std::string &contents : {std::string("one"), sample(500000)}) {
        const std::string container = container_of(contents);
        expect_refused(container + '\0', "something follows its end");
        expect_refused(container + container, "something follows its end");
        expect_refused(container + sample(200000), "something follows its end");
    }
}

TEST_F(PackedContainer, IsRefusedWhenItIsForeign) {
    const std::string contents = sample(1000);
    const std::string foreign = "it is no container of packed_copy: ";
    expect_refused(contents, foreign + "it does not begin like one");
    expect_refused("\x50\x2a\x4d\x18" + std::string("\x01\0\0\0x", 5), foreign + "it does not begin like one");
    expect_refused(frame(contents, {{ZSTD_c_checksumFlag, 1}, {ZSTD_c_contentSizeFlag, 0}}),
                   foreign + "it does not tell the size of its contents");
    expect_refused(frame(contents, {{ZSTD_c_checksumFlag, 0}}), foreign + "it has no checksum");
    std::string with_dictionary = frame("one", {{ZSTD_c_checksumFlag, 1}});
    with_dictionary[4] = static_cast<char>(with_dictionary[4] | 1);
    with_dictionary.insert(5, "\x07");
    expect_refused(with_dictionary, foreign + "it needs a dictionary");
}

TEST_F(PackedContainer, IsRefusedWhenItWantsMuchMemory) {
    const std::string large(size_t{64} << 20, '-');
    expect_refused(frame(large, {{ZSTD_c_checksumFlag, 1}, {ZSTD_c_windowLog, 25}}), "the container is damaged: ");
}

TEST_F(PackedContainer, OfAnotherWriterIsTakenWhenItIsTheSame) {
    const std::string contents = sample(100000);
    const std::string path = here.dir.write("same", frame(contents, {{ZSTD_c_checksumFlag, 1}}));
    EXPECT_TRUE(here.contents_of(path) == contents);
}

TEST_F(PackedContainer, MayBeDamagedAndStillHaveASuccessor) {
    const std::string damaged = here.dir.write("damaged", "no frame"), from = here.dir.write("from", "new");
    EXPECT_EQ(here.run("create_version", {here / "v1", from, damaged}).status, 0);
    EXPECT_EQ(here.contents_of(here / "v1"), "new");
    EXPECT_EQ(here.run("delete_branches_versions", {damaged}).status, 0);
}

TEST_F(PackedContainer, IsToldAboutBesideADamagedOne) {
    const std::string good = here.version("v1", "1"), damaged = here.dir.write("damaged", "no frame");
    const outcome result = here.run("get_cont_info", {damaged, good});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, EndsWith(' ' + good + '\n'));
    EXPECT_EQ(errors_in(result), 1u);
}

} // namespace
