// Logs: who gets a message, what a record looks like, and what happens when a log cannot be opened or written.
#include "ks/ks_imsg.h"

#include "imsg_test_support.hpp"
#include "ks/ks_errno.h"
#include "support/faults.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

#pragma GCC diagnostic ignored "-Wformat-nonliteral"

// ---- the system's functions that a log uses, as this program sees them

namespace {

struct seen_calls {
    int syncs = 0;
    int writes = 0;
    size_t largest_part = 0; // a write takes at most this much, when not 0
    int interruptions = 0;   // so many writes are interrupted
    std::vector<std::string> events;
    int event_priority = 0;
};
seen_calls seen;
std::atomic<bool> watch_writes{false};

} // namespace

#define SEEN_BY_LIBRARIES extern "C" __attribute__((visibility("default")))

SEEN_BY_LIBRARIES int fsync(int file) {
    seen.syncs++;
    return static_cast<int>(syscall(SYS_fsync, file));
}

SEEN_BY_LIBRARIES ssize_t write(int file, const void *bytes, size_t size) {
    if (watch_writes) {
        seen.writes++;
        if (seen.interruptions > 0) {
            seen.interruptions--;
            errno = EINTR;
            return -1;
        }
        if (seen.largest_part != 0) size = std::min(size, seen.largest_part);
    }
    return syscall(SYS_write, file, bytes, size);
}

static void keep_event(int priority, const char *format, va_list arguments) {
    char text[5000];
    std::vsnprintf(text, sizeof text, format, arguments);
    seen.event_priority = priority;
    seen.events.push_back(text);
}

SEEN_BY_LIBRARIES void syslog(int priority, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    keep_event(priority, format, arguments);
    va_end(arguments);
}

// What syslog() becomes in a hardened build.
SEEN_BY_LIBRARIES void __syslog_chk(int priority, int, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    keep_event(priority, format, arguments);
    va_end(arguments);
}

namespace {

using namespace imsg_test;

struct record {
    std::string time, host, program, process, thread, category, module, number, severity, text;
};

// Whether a text has a shape in which "d" stands for a digit and all else for itself.
bool has_shape(const std::string &text, const std::string &shape) {
    return std::equal(text.begin(), text.end(), shape.begin(), shape.end(),
                      [](char c, char s) { return s == 'd' ? c >= '0' && c <= '9' : c == s; });
}

// Takes the first field off a line.
std::string take_field(std::string &line) {
    const size_t blank = line.find(' ');
    EXPECT_NE(blank, std::string::npos) << line;
    const std::string field = line.substr(0, blank);
    EXPECT_FALSE(field.empty());
    line.erase(0, blank == std::string::npos ? blank : blank + 1);
    return field;
}

// Takes "program[process.thread]" apart.
void read_process(const std::string &field, record &r) {
    const size_t open = field.rfind('['), dot = field.rfind('.');
    ASSERT_TRUE(open < dot && dot != std::string::npos && field.ends_with(']')) << field;
    r.program = field.substr(0, open);
    r.process = field.substr(open + 1, dot - open - 1);
    r.thread = field.substr(dot + 1, field.size() - dot - 2);
}

// Reads the records of a log; the text keeps its further lines.
std::vector<record> records(const std::string &content) {
    EXPECT_TRUE(content.empty() || content.ends_with('\n')) << content;
    std::vector<record> found;
    std::istringstream in(content);
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with('\t') && !found.empty()) {
            found.back().text += "\n" + line;
            continue;
        }
        record r;
        r.time = take_field(line);
        EXPECT_TRUE(has_shape(r.time, "dddd-dd-ddTdd:dd:dd.ddddddZ")) << r.time;
        r.host = take_field(line);
        read_process(take_field(line), r);
        for (std::string *field : {&r.category, &r.module, &r.number, &r.severity}) *field = take_field(line);
        r.text = line;
        found.push_back(r);
    }
    return found;
}

std::vector<std::string> record_texts(const std::string &content) {
    std::vector<std::string> found;
    for (const record &r : records(content)) found.push_back(r.text);
    return found;
}

using strings = std::vector<std::string>;

size_t open_files() {
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) count++;
    return count;
}

class ImsgLog : public testing::Test {
protected:
    void SetUp() override { seen = {}; }

    temp_dir dir;
    const std::string path = dir / "log";
    recording_sink sink;
};

TEST_F(ImsgLog, ReceivesTheThreadsMessagesUntilItEnds) {
    imsg_print(IMSG_PLAIN, &table, number, 1);
    imsg_log_t *log = imsg_start_log(path.c_str(), 0, 0);
    EXPECT_NE(log, nullptr);
    imsg_print(IMSG_ERROR, &table, number, 2);
    imsg_print(IMSG_PLAIN, &table, number, 3);
    std::thread([] { imsg_print(IMSG_PLAIN, &table, number, 4); }).join();
    imsg_end_log();
    imsg_print(IMSG_PLAIN, &table, number, 5);
    EXPECT_EQ(record_texts(dir.read("log")), (strings{"number 2", "number 3"}));
    EXPECT_EQ(sink.text(), "number 1\nnumber 4\nnumber 5\n");
}

TEST_F(ImsgLog, ARecordSaysWhenWhereWhoAndWhat) {
    char host[256];
    ASSERT_EQ(gethostname(host, sizeof host), 0);
    const auto seconds = [] {
        return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    };
    const auto before = seconds();
    imsg_start_log(path.c_str(), 0, 0);
    imsg_nt_set_category("access");
    imsg_print_shared(IMSG_ERROR, "some_module", &table, two_texts, "a", "b");
    imsg_nt_set_category(nullptr);
    imsg_print(IMSG_TRACE, "literal %d", IMSG_LITERAL, 5);
    imsg_print(-3, &table, indented, 3, "", "x");
    imsg_end_log();
    const auto after = seconds();

    const std::vector<record> found = records(dir.read("log"));
    ASSERT_EQ(found.size(), 3u);
    for (const record &r : found) {
        std::tm when{};
        ASSERT_EQ(sscanf(r.time.c_str(), "%d-%d-%dT%d:%d:%d", &when.tm_year, &when.tm_mon, &when.tm_mday,
                         &when.tm_hour, &when.tm_min, &when.tm_sec),
                  6);
        when.tm_year -= 1900;
        when.tm_mon--;
        const auto time = timegm(&when);
        EXPECT_GE(time, before);
        EXPECT_LE(time, after);
        EXPECT_EQ(r.host, host);
        EXPECT_EQ(r.program, program_invocation_short_name);
        EXPECT_EQ(r.process, std::to_string(getpid()));
        EXPECT_EQ(r.thread, std::to_string(gettid()));
    }
    const record &first = found[0], &literal = found[1], &last = found[2];
    EXPECT_EQ(first.category, "access");
    EXPECT_EQ(first.module, "some_module");
    EXPECT_EQ(first.number, "4");
    EXPECT_EQ(first.severity, "6");
    EXPECT_EQ(first.text, "a and b");
    EXPECT_EQ(literal.category, program_invocation_short_name);
    EXPECT_EQ(literal.module, "-");
    EXPECT_EQ(literal.number, "0");
    EXPECT_EQ(literal.severity, "8");
    EXPECT_EQ(literal.text, "literal 5");
    EXPECT_EQ(last.module, "test_module");
    EXPECT_EQ(last.number, "65535");
    EXPECT_EQ(last.severity, "-3");
    EXPECT_EQ(last.text, "   x");
}

TEST_F(ImsgLog, ATextIsOneRecord) {
    imsg_start_log(path.c_str(), 0, 0);
    imsg_print(IMSG_ERROR, &table, two_lines, "lines\nforged");
    imsg_print(IMSG_ERROR, "\n\na\n\nb\n\n\n", IMSG_LITERAL);
    imsg_print(IMSG_CONTINUATION, "\n", IMSG_LITERAL);
    imsg_print(IMSG_PLAIN, &table, no_line_end);
    imsg_print(IMSG_ERROR, &table, bold, "x");
    imsg_print_shared(IMSG_ERROR, "a module\n", "", IMSG_LITERAL);
    imsg_end_log();
    const std::vector<record> found = records(dir.read("log"));
    EXPECT_EQ(record_texts(dir.read("log")),
              (strings{"one\n\ttwo lines^Jforged", "\n\t\n\ta\n\t\n\tb", "", "no line end", "BOLD: x", ""}));
    EXPECT_EQ(found.back().module, "a_module_");
}

TEST_F(ImsgLog, IsAppendedTo) {
    dir.write("log", "what was there\n");
    for (int i = 0; i < 2; i++) {
        imsg_start_log(path.c_str(), 0, 0);
        imsg_print(IMSG_PLAIN, &table, number, i);
        imsg_end_log();
    }
    const std::string content = dir.read("log");
    ASSERT_TRUE(content.starts_with("what was there\n"));
    EXPECT_EQ(record_texts(content.substr(15)), (strings{"number 0", "number 1"}));
}

TEST_F(ImsgLog, LogsNest) {
    imsg_start_log(path.c_str(), 0, 0);
    imsg_print(IMSG_PLAIN, &table, number, 1);
    imsg_start_log((dir / "inner").c_str(), 0, 0);
    imsg_print(IMSG_PLAIN, &table, number, 2);
    imsg_end_log();
    imsg_print(IMSG_PLAIN, &table, number, 3);
    imsg_end_log();
    imsg_end_log();
    imsg_print(IMSG_PLAIN, &table, number, 4);
    EXPECT_EQ(record_texts(dir.read("log")), (strings{"number 1", "number 3"}));
    EXPECT_EQ(record_texts(dir.read("inner")), (strings{"number 2"}));
    EXPECT_EQ(sink.text(), "number 4\n");
}

TEST_F(ImsgLog, OneThatCannotBeOpenedPassesMessagesOnUntilItEnds) {
    const std::string missing = dir / "no/such/directory";
    EXPECT_EQ(imsg_start_log(missing.c_str(), 0, 0), nullptr);
    imsg_print(IMSG_PLAIN, &table, number, 1);
    imsg_start_log(path.c_str(), 0, 0);
    EXPECT_EQ(imsg_start_log(missing.c_str(), 0, 0), nullptr);
    EXPECT_EQ(imsg_start_log(missing.c_str(), 0, 0), nullptr);
    imsg_print(IMSG_PLAIN, &table, number, 2);
    imsg_end_log();
    imsg_print(IMSG_PLAIN, &table, number, 3);
    imsg_end_log();
    imsg_print(IMSG_PLAIN, &table, number, 4);
    imsg_end_log(); // that of `path`
    imsg_print(IMSG_PLAIN, &table, number, 5);
    imsg_end_log();
    EXPECT_EQ(record_texts(dir.read("log")), (strings{"number 2", "number 3", "number 4"}));
    EXPECT_EQ(sink.text(), "number 1\nnumber 5\n");
}

TEST_F(ImsgLog, WithoutOneThereIsNothingToEnd) {
    imsg_end_log();
    imsg_end_log();
    imsg_start_log(path.c_str(), 0, 0);
    imsg_print(IMSG_PLAIN, &table, number, 1);
    imsg_end_log();
    EXPECT_EQ(record_texts(dir.read("log")), (strings{"number 1"}));
}

TEST_F(ImsgLog, UnderstandsProductPaths) {
    const std::string product_path = dir.str() + "\\sub\\log";
    imsg_start_log(product_path.c_str(), 0, 0);
    imsg_print(IMSG_PLAIN, &table, number, 1);
    imsg_end_log();
    EXPECT_EQ(record_texts(dir.read("sub/log")), (strings{"number 1"}));
}

mode_t mode_of(const std::string &file) {
    struct stat status {};
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    return status.st_mode & 07777;
}

TEST_F(ImsgLog, FileAndDirectoryAreMadeForOwnerAndGroup) {
    const mode_t before = umask(0);
    const std::string made = dir / "sub/log";
    imsg_start_log(made.c_str(), 0, 0);
    imsg_end_log();
    umask(before);
    EXPECT_EQ(mode_of(made), 0640u);
    EXPECT_EQ(mode_of(dir / "sub"), 0750u);
}

TEST_F(ImsgLog, IsClosedOnExec) {
    imsg_start_log(path.c_str(), 0, 0);
    int found = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry.path(), gone) != path) continue;
        found++;
        EXPECT_TRUE(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC);
    }
    imsg_end_log();
    EXPECT_EQ(found, 1);
}

TEST_F(ImsgLog, OnlyARegularFileIsALog) {
    dir.write("target", "untouched");
    std::filesystem::create_symlink(dir / "target", dir / "link");
    std::filesystem::create_symlink(dir / "new_target", dir / "dangling");
    std::filesystem::create_directory(dir / "directory");
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    ASSERT_EQ(mkfifo((dir / "read_pipe").c_str(), 0600), 0);
    const int reader = open((dir / "read_pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);

    struct refused_path {
        std::string path;
        int error;
    };
    const size_t before = open_files();
    for (const refused_path &c : {refused_path{dir / "link", KS_ELOOP},
                                  {dir / "dangling", KS_ELOOP},
                                  {dir / "directory", KS_EISDIR},
                                  {dir / "pipe", KS_ENXIO},
                                  {dir / "read_pipe", KS_EINVAL},
                                  {"/dev/null", KS_EINVAL},
                                  {dir / "target/log", KS_ENOTDIR},
                                  {dir / "no/such/log", KS_ENOENT},
                                  {"", KS_ENOENT},
                                  {"log/", KS_EISDIR},
                                  {dir / std::string(300, 'x'), KS_ENAMETOOLONG},
                                  {std::string(5000, 'x'), KS_ENAMETOOLONG}}) {
        ks_errno = 0;
        EXPECT_EQ(imsg_start_log(c.path.c_str(), 0, 0), nullptr) << c.path;
        EXPECT_EQ(ks_errno, c.error) << c.path;
        imsg_end_log();
    }
    ks_errno = 0;
    EXPECT_EQ(imsg_start_log(nullptr, 0, 0), nullptr);
    EXPECT_EQ(ks_errno, KS_EINVAL);
    imsg_end_log();
    EXPECT_EQ(open_files(), before);
    close(reader);
    EXPECT_EQ(dir.read("target"), "untouched");
    EXPECT_FALSE(std::filesystem::exists(dir / "new_target"));
}

TEST_F(ImsgLog, ASuccessTouchesNoErrorNumber) {
    ks_errno = KS_EXDEV;
    errno = EDOM;
    imsg_start_log(path.c_str(), 0, 1);
    ks_errno = KS_EXDEV;
    errno = EDOM;
    imsg_print(IMSG_PLAIN, &table, number, 1);
    imsg_end_log();
    EXPECT_EQ(ks_errno, KS_EXDEV);
    EXPECT_EQ(errno, EDOM);
}

TEST_F(ImsgLog, WithoutMemoryItPassesMessagesOn) {
    {
        const faults::refuse refused(1, true);
        ks_errno = 0;
        EXPECT_EQ(imsg_start_log(path.c_str(), 0, 0), nullptr);
        EXPECT_EQ(ks_errno, KS_ENOMEM);
        EXPECT_TRUE(refused.happened());
    }
    imsg_print(IMSG_PLAIN, &table, number, 1);
    imsg_end_log();
    EXPECT_EQ(sink.text(), "number 1\n");
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(ImsgLog, ALongRecordIsWholeOrCutWithoutMemory) {
    const std::string text(10000, 'x');
    imsg_start_log(path.c_str(), 0, 0);
    imsg_print(IMSG_PLAIN, "%s\n", IMSG_LITERAL, text.c_str());
    {
        const faults::refuse refused(1, true);
        imsg_print(IMSG_PLAIN, "%s\n", IMSG_LITERAL, text.c_str());
    }
    {
        // Memory for the line, none for the record.
        const faults::refuse refused(2, true);
        imsg_print(IMSG_PLAIN, "%s\n", IMSG_LITERAL, text.c_str());
    }
    imsg_end_log();
    const strings found = record_texts(dir.read("log"));
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0], text);
    for (const std::string &cut : {found[1], found[2]}) {
        EXPECT_GT(cut.size(), 1900u);
        EXPECT_LT(cut.size(), 4096u);
        EXPECT_TRUE(cut.ends_with("xx..."));
    }
}

TEST_F(ImsgLog, ARecordIsOneWrite) {
    const std::string text(10000, 'x');
    imsg_start_log(path.c_str(), 0, 0);
    watch_writes = true;
    imsg_print(IMSG_ERROR, &table, two_lines, text.c_str());
    imsg_print(IMSG_PLAIN, &table, number, 1);
    watch_writes = false;
    imsg_end_log();
    EXPECT_EQ(seen.writes, 2);
}

TEST_F(ImsgLog, InterruptedAndPartialWritesGoOn) {
    imsg_start_log(path.c_str(), 0, 0);
    seen.interruptions = 3;
    seen.largest_part = 7;
    watch_writes = true;
    imsg_print(IMSG_PLAIN, &table, number, 1);
    watch_writes = false;
    imsg_end_log();
    EXPECT_GT(seen.writes, 10);
    EXPECT_EQ(record_texts(dir.read("log")), strings{"number 1"});
}

TEST_F(ImsgLog, ARecordThatCannotBeWrittenGoesWhereMessagesWentBefore) {
    const std::string outer = dir / "outer", inner = dir / "inner";
    const std::string small(100, '-'), large(2000, '-');
    dir.write("outer", small);
    dir.write("inner", large);
    in_child([&] {
        recording_sink child_sink;
        imsg_start_log(outer.c_str(), 0, 0);
        imsg_start_log(inner.c_str(), 0, 0);
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit some{1000, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &some);
        imsg_print(IMSG_ERROR, "to the outer log\n", IMSG_LITERAL);
        imsg_end_log();
        imsg_end_log();
        imsg_start_log(inner.c_str(), 0, 0);
        imsg_print(IMSG_ERROR, "to the sink\n", IMSG_LITERAL);
        imsg_end_log();
        EXPECT_EQ(child_sink.text(), "to the sink\n");
        const rlimit any{RLIM_INFINITY, RLIM_INFINITY}; // for what instruments the process, as it ends
        setrlimit(RLIMIT_FSIZE, &any);
    });
    EXPECT_EQ(record_texts(dir.read("outer").substr(small.size())), strings{"to the outer log"});
    EXPECT_EQ(dir.read("inner"), large);
}

TEST_F(ImsgLog, ADurableOneIsForcedToTheDiskWhenItEnds) {
    imsg_start_log(path.c_str(), 0, 0);
    imsg_end_log();
    EXPECT_EQ(seen.syncs, 0);
    imsg_start_log(path.c_str(), 0, 1);
    imsg_print(IMSG_PLAIN, &table, number, 1);
    EXPECT_EQ(seen.syncs, 0);
    imsg_end_log();
    EXPECT_EQ(seen.syncs, 1);
}

TEST_F(ImsgLog, EachRecordGoesToTheEventServiceWhenAskedTo) {
    imsg_start_log(path.c_str(), 0, 0);
    imsg_print(IMSG_ERROR, &table, number, 1);
    imsg_end_log();
    EXPECT_TRUE(seen.events.empty());
    imsg_start_log(path.c_str(), 1, 0);
    imsg_nt_set_category("access");
    imsg_print(IMSG_ERROR, &table, two_lines, "%s%n");
    imsg_nt_set_category(nullptr);
    imsg_end_log();
    EXPECT_EQ(seen.events, strings{"access test_module 300 6 one\n\ttwo %s%n\n"});
    EXPECT_EQ(seen.event_priority, (1 << 3) | 3); // LOG_USER, LOG_ERR
    EXPECT_EQ(record_texts(dir.read("log")).size(), 2u);
}

TEST_F(ImsgLog, LogsThatAThreadLeavesOpenEndWithIt) {
    const size_t before = open_files();
    std::thread([&] {
        imsg_start_log(path.c_str(), 0, 1);
        imsg_start_log((dir / "inner").c_str(), 0, 1);
        imsg_print(IMSG_PLAIN, &table, number, 1);
        EXPECT_EQ(open_files(), before + 2);
    }).join();
    EXPECT_EQ(open_files(), before);
    EXPECT_EQ(seen.syncs, 2);
    EXPECT_EQ(record_texts(dir.read("inner")), strings{"number 1"});
}

TEST_F(ImsgLog, LeavesTheStreamsAlone) {
    const caught printed = in_child([&] {
        imsg_set_sink(nullptr, nullptr);
        imsg_start_log(path.c_str(), 0, 0);
        imsg_print(IMSG_ERROR, &table, number, 1);
        imsg_end_log();
        imsg_print(IMSG_CONTINUATION, &table, number, 2); // on the stream of the error, though the log took that
    });
    EXPECT_EQ(printed.out, "");
    EXPECT_EQ(printed.err, "number 2\n");
}

// ---- categories

TEST(ImsgCategory, IsTheProgramsNameUntilSet) {
    EXPECT_STREQ(imsg_get_app_name(), program_invocation_short_name);
    imsg_nt_set_category("access");
    EXPECT_STREQ(imsg_get_app_name(), "access");
    std::thread([] { EXPECT_STREQ(imsg_get_app_name(), program_invocation_short_name); }).join();
    imsg_nt_set_category("");
    EXPECT_STREQ(imsg_get_app_name(), "");
    imsg_nt_set_category(nullptr);
    EXPECT_STREQ(imsg_get_app_name(), program_invocation_short_name);
}

TEST(ImsgCategory, CanBeSavedAndRestored) {
    imsg_nt_set_category("outer");
    const char *saved = imsg_get_app_name();
    imsg_nt_set_category("access");
    imsg_nt_set_category(saved);
    EXPECT_STREQ(imsg_get_app_name(), "outer");
    imsg_nt_set_category(nullptr);
    saved = imsg_get_app_name();
    imsg_nt_set_category(saved);
    EXPECT_STREQ(imsg_get_app_name(), program_invocation_short_name);
    imsg_nt_set_category(nullptr);
}

} // namespace
