// Formatting, printing, sinks, verbosity and tracing.
#include "ks/ks_imsg.h"

#include "imsg_test_support.hpp"
#include "ks/ks_errno.h"
#include "support/env.hpp"
#include "support/faults.hpp"
#include "support/sink.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <set>
#include <stdio_ext.h>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace imsg_test;

// ---- texts

TEST(ImsgSprintf, FormatsAnEntry) {
    char buffer[100];
    EXPECT_EQ(imsg_sprintf(buffer, &table, number, 42), 10u);
    EXPECT_STREQ(buffer, "number 42\n");
    EXPECT_EQ(imsg_sprintf(buffer, &table, plain_text), 11u);
    EXPECT_STREQ(buffer, "plain text\n");
}

TEST(ImsgSprintf, FormatsALiteral) {
    char buffer[100];
    EXPECT_EQ(imsg_sprintf(buffer, "%s-%x", IMSG_LITERAL, "a", 255u), 4u);
    EXPECT_STREQ(buffer, "a-ff");
}

TEST(ImsgSprintf, LeavesInsertedTextsAndMarksAsTheyAre) {
    char buffer[100];
    imsg_sprintf(buffer, &table, bold, "\n\x1b\xff");
    EXPECT_STREQ(buffer, "\001\0011BBOLD\001\0010B: \n\x1b\xff\n");
}

TEST(ImsgSprintf, GivesNothingBeyondTheTable) {
    char buffer[100] = "before";
    EXPECT_EQ(imsg_sprintf(buffer, &table, table.count), 0u);
    EXPECT_STREQ(buffer, "");
    for (const void *none : {static_cast<const void *>(nullptr)}) {
        EXPECT_EQ(imsg_sprintf(buffer, none, 0), 0u);
        EXPECT_EQ(imsg_sprintf(buffer, none, IMSG_LITERAL), 0u);
    }
    EXPECT_EQ(imsg_sprintf(nullptr, &table, number, 7), 9u);
}

TEST(ImsgSnprintf, CutsAndGivesTheWholeLength) {
    for (const uint32_t index : {plain_text, number}) {
        const std::string whole = index == plain_text ? "plain text\n" : "number 1234\n";
        for (size_t size = 0; size <= whole.size() + 1; size++) {
            std::vector<char> buffer(size + 1, '?');
            EXPECT_EQ(imsg_snprintf(buffer.data(), size, &table, index, 1234), whole.size());
            if (size != 0) {
                EXPECT_EQ(std::string(buffer.data()), whole.substr(0, size - 1));
            }
            EXPECT_EQ(buffer[size], '?');
        }
    }
}

size_t through_list(char *buffer, size_t size, const void *messages, uint32_t index, ...) {
    va_list arguments;
    va_start(arguments, index);
    const size_t length = imsg_vsnprintf(buffer, size, messages, index, arguments);
    va_end(arguments);
    return length;
}

TEST(ImsgVsnprintf, FormatsAsImsgSnprintf) {
    char buffer[12];
    EXPECT_EQ(through_list(buffer, sizeof buffer, &table, two_texts, "first", "second"), 17u);
    EXPECT_STREQ(buffer, "first and s");
    EXPECT_EQ(through_list(nullptr, 0, "%d", IMSG_LITERAL, 5), 1u);
}

TEST(ImsgText, GivesTheFormat) {
    EXPECT_STREQ(imsg_text(&table, number), "number %d\n");
    EXPECT_EQ(imsg_text(&table, table.count), nullptr);
    EXPECT_EQ(imsg_text(&table, IMSG_LITERAL), nullptr);
    EXPECT_EQ(imsg_text(nullptr, 0), nullptr);
}

TEST(ImsgText, StandsTablesWithoutTexts) {
    const imsg_table_t no_texts = {"c", "m", 1, 3, nullptr, numbers};
    EXPECT_EQ(imsg_text(&no_texts, 0), nullptr);
    const char *const holes[] = {"first", nullptr, "third %d"};
    const imsg_table_t with_holes = {nullptr, nullptr, 1, 3, holes, nullptr};
    EXPECT_STREQ(imsg_text(&with_holes, 0), "first");
    EXPECT_EQ(imsg_text(&with_holes, 1), nullptr);
    EXPECT_STREQ(imsg_text(&with_holes, 2), "third %d");
    recording_sink sink;
    for (uint32_t i = 0; i < 3; i++) imsg_print(IMSG_PLAIN, &with_holes, i, 7);
    EXPECT_EQ(sink.messages(), (std::vector<recorded_message>{{IMSG_PLAIN, "", &with_holes, 0, "first"},
                                                              {IMSG_PLAIN, "", &with_holes, 2, "third 7"}}));
}

TEST(ImsgText, ATableThatComesToTheAddressOfAnotherHasItsOwnTexts) {
    const char *const first_texts[] = {"first", "of two"}, *const second_texts[] = {"second"};
    const uint16_t some_numbers[] = {1, 2};
    imsg_table_t reused = {"c", "m", 1, 2, first_texts, some_numbers};
    EXPECT_STREQ(imsg_text(&reused, 1), "of two");
    reused = {"c", "m", 1, 1, second_texts, some_numbers};
    EXPECT_STREQ(imsg_text(&reused, 0), "second");
    EXPECT_EQ(imsg_text(&reused, 1), nullptr);
    char buffer[20];
    EXPECT_EQ(imsg_sprintf(buffer, &reused, 0), 6u);
}

TEST(ImsgText, KnowsAnyNumberOfTables) {
    std::vector<imsg_table_t> tables(1000, table);
    for (int round = 0; round < 2; round++) {
        for (const imsg_table_t &t : tables) {
            char buffer[40];
            ASSERT_STREQ(imsg_text(&t, number), "number %d\n");
            ASSERT_EQ(imsg_sprintf(buffer, &t, plain_text), 11u);
        }
    }
}

// ---- system errors

TEST(ImsgStrerror, GivesTheSystemsTextForEveryNumber) {
    EXPECT_STREQ(imsg_strerror(0), "Success");
    EXPECT_STREQ(imsg_strerror(KS_ENOENT), strerrordesc_np(ENOENT));
    EXPECT_STREQ(imsg_strerror(KS_ELOOP), strerrordesc_np(ELOOP));
    EXPECT_STREQ(imsg_strerror(KS_ENAMETOOLONG), strerrordesc_np(ENAMETOOLONG));
    EXPECT_STREQ(imsg_strerror(KS_WSAESTALE), strerrordesc_np(ESTALE));
    for (int error = -300; error < 12000; error++) {
        ASSERT_NE(imsg_strerror(error), nullptr);
        ASSERT_STRNE(imsg_strerror(error), "");
    }
}

TEST(ImsgStrerror, ShowsANumberWithoutText) {
    EXPECT_STREQ(imsg_strerror(-1), "Unknown error -1");
    EXPECT_STREQ(imsg_strerror(99999), "Unknown error 99999");
    EXPECT_STREQ(imsg_strerror(INT_MAX), "Unknown error 2147483647");
    EXPECT_STREQ(imsg_strerror(INT_MIN), "Unknown error -2147483648");
    const char *mine = imsg_strerror(-5);
    std::thread([mine] {
        EXPECT_STREQ(imsg_strerror(-6), "Unknown error -6");
        EXPECT_NE(imsg_strerror(-6), mine);
    }).join();
    EXPECT_STREQ(mine, "Unknown error -5");
}

TEST(ImsgStrerror, IsConstantAndTouchesNoError) {
    EXPECT_EQ(imsg_strerror(KS_ENOENT), imsg_strerror(KS_ENOENT));
    errno = EDOM;
    ks_errno = KS_EXDEV;
    imsg_strerror(12345);
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(ks_errno, KS_EXDEV);
}

// ---- the standard streams

TEST(ImsgPrint, ChoosesStreamAndPrefixBySeverity) {
    const caught printed = in_child([] {
        imsg_print(IMSG_PLAIN, &table, number, 0);
        imsg_print(IMSG_WARNING, &table, number, 4);
        imsg_print(IMSG_ERROR, &table, number, 6);
        imsg_print(IMSG_FOLLOW_UP, &table, number, 7);
        imsg_print(IMSG_TRACE, &table, number, 8);
        for (const int other : {1, 2, 3, 5, 10, -1, INT_MAX}) imsg_print(other, &table, number, other);
    });
    EXPECT_EQ(printed.out, "number 0\n");
    EXPECT_EQ(printed.err, "test_module: Warning: number 4\n"
                           "test_module: Error: number 6\n"
                           "number 7\n"
                           "number 8\n"
                           "test_module: Error: number 1\n"
                           "test_module: Error: number 2\n"
                           "test_module: Error: number 3\n"
                           "test_module: Error: number 5\n"
                           "test_module: Error: number 10\n"
                           "test_module: Error: number -1\n"
                           "test_module: Error: number 2147483647\n");
}

TEST(ImsgPrint, ContinuesOnTheStreamOfTheThreadsPreviousMessage) {
    const caught printed = in_child([] {
        imsg_print(IMSG_CONTINUATION, "first;", IMSG_LITERAL);
        imsg_print(IMSG_ERROR, "error", IMSG_LITERAL);
        imsg_print(IMSG_CONTINUATION, " goes", IMSG_LITERAL);
        std::thread([] { imsg_print(IMSG_CONTINUATION, " thread;", IMSG_LITERAL); }).join();
        imsg_print(IMSG_CONTINUATION, " on\n", IMSG_LITERAL);
        imsg_print(IMSG_PLAIN, " plain", IMSG_LITERAL);
        imsg_print(IMSG_CONTINUATION, " on\n", IMSG_LITERAL);
    });
    EXPECT_EQ(printed.out, "first; thread; plain on\n");
    EXPECT_EQ(printed.err, "Error: error goes on\n");
}

void print_list(int severity, const void *messages, uint32_t index, ...) {
    va_list arguments;
    va_start(arguments, index);
    imsg_printv(severity, messages, index, arguments);
    va_end(arguments);
}

void print_shared_list(int severity, const char *module, const void *messages, uint32_t index, ...) {
    va_list arguments;
    va_start(arguments, index);
    imsg_print_sharedv(severity, module, messages, index, arguments);
    va_end(arguments);
}

TEST(ImsgPrint, TheFourFormsAgree) {
    const caught printed = in_child([] {
        imsg_print(IMSG_ERROR, &table, two_texts, "a", "b");
        print_list(IMSG_ERROR, &table, two_texts, "a", "b");
        imsg_print_shared(IMSG_ERROR, "other", &table, two_texts, "a", "b");
        print_shared_list(IMSG_ERROR, "other", &table, two_texts, "a", "b");
        imsg_print_shared(IMSG_ERROR, nullptr, &table, two_texts, "a", "b");
        imsg_print_shared(IMSG_WARNING, "", &table, two_texts, "a", "b");
    });
    EXPECT_EQ(printed.err, "test_module: Error: a and b\n"
                           "test_module: Error: a and b\n"
                           "other: Error: a and b\n"
                           "other: Error: a and b\n"
                           "Error: a and b\n"
                           "Warning: a and b\n");
}

TEST(ImsgPrint, ALiteralGetsNoLineEndAndNoModuleOfItsOwn) {
    const caught printed = in_child([] {
        imsg_print(IMSG_TRACE, "SMTP Send: %s", IMSG_LITERAL, "QUIT");
        imsg_print(IMSG_TRACE, "|%d%%|\n", IMSG_LITERAL, 100);
        imsg_print(IMSG_ERROR, "text\n", IMSG_LITERAL);
        imsg_print_shared(IMSG_ERROR, "mod", "text\n", IMSG_LITERAL);
    });
    EXPECT_EQ(printed.err, "SMTP Send: QUIT|100%|\nError: text\nmod: Error: text\n");
}

TEST(ImsgPrint, PrintsNothingForWhatIsNotThere) {
    const caught printed = in_child([] {
        const imsg_table_t no_texts = {"c", "m", 1, 3, nullptr, numbers};
        imsg_print(IMSG_ERROR, &table, table.count);
        imsg_print(IMSG_ERROR, &table, 0xFFFFFFFE);
        imsg_print(IMSG_ERROR, nullptr, 0);
        imsg_print(IMSG_ERROR, nullptr, IMSG_LITERAL);
        imsg_print(IMSG_ERROR, &no_texts, 0);
    });
    EXPECT_EQ(printed.out + printed.err, "");
}

TEST(ImsgPrint, KeepsTheOrderWithTheProgramsOwnOutput) {
    const caught printed = in_child([] {
        std::printf("one ");
        imsg_print(IMSG_PLAIN, "two ", IMSG_LITERAL);
        std::printf("three ");
        imsg_print(IMSG_PLAIN, "four", IMSG_LITERAL);
    });
    EXPECT_EQ(printed.out, "one two three four");
}

TEST(ImsgPrint, FlushesAtOnce) {
    const caught printed = in_child([] {
        imsg_print(IMSG_PLAIN, "kept", IMSG_LITERAL);
        if (__fpending(stdout) != 0) _exit(1);
    });
    EXPECT_EQ(printed.out, "kept");
}

TEST(ImsgPrint, AnArgumentCannotForgeALine) {
    const caught printed = in_child([] {
        imsg_print(IMSG_ERROR, &table, two_texts, "x\ntest_module: Error: forged",
                   "\x1b[2J\xE2\x80\xAE\x01\x01"
                   "1B");
        imsg_print(IMSG_ERROR, "%c%c\n", IMSG_LITERAL, '\r', '\n');
        imsg_print_shared(IMSG_ERROR, "mod\nule", "x\n", IMSG_LITERAL);
    });
    EXPECT_EQ(printed.err, "test_module: Error: x^Jtest_module: Error: forged and ^[[2J\\xe2\\x80\\xae^A^A1B\n"
                           "Error: ^M^J\n"
                           "mod^Jule: Error: x\n");
}

TEST(ImsgPrint, LongLinesAreWhole) {
    for (const size_t size : {2000u, 2040u, 2046u, 2047u, 2048u, 2049u, 4096u, 100000u}) {
        const std::string text(size, 'x');
        const caught printed = in_child([&] { imsg_print(IMSG_ERROR, "%s\n", IMSG_LITERAL, text.c_str()); });
        EXPECT_EQ(printed.err, "Error: " + text + "\n");
    }
}

// A line of many characters of three bytes, so that a cut at a byte would be seen.
TEST(ImsgPrint, WithoutMemoryALongLineIsCutAndNotLost) {
    std::string text;
    while (text.size() < 5000) text += "€";
    for (const char *beginning : {"", "a", "ab"}) {
        const caught printed = in_child([&] {
            const faults::refuse refused(1, true);
            imsg_print(IMSG_ERROR, "%s%s\n", IMSG_LITERAL, beginning, text.c_str());
            EXPECT_TRUE(refused.happened());
        });
        ASSERT_GT(printed.err.size(), 2030u);
        ASSERT_LT(printed.err.size(), 2048u);
        const std::string kept = "Error: " + std::string(beginning);
        EXPECT_EQ(printed.err.substr(0, kept.size()), kept);
        EXPECT_EQ(printed.err.substr(printed.err.size() - 4), "...\n");
        const size_t characters = printed.err.size() - kept.size() - 4;
        EXPECT_EQ(characters % 3, 0u);
        EXPECT_EQ(printed.err.substr(kept.size(), characters), text.substr(0, characters));
    }
}

TEST(ImsgPrint, ACutSplitsNoMark) {
    for (size_t size = 2025; size < 2048; size++) {
        const std::string format = "%s\001\0011Bbold\001\0010B and more\n", text(size, 'x');
        const caught printed = in_child([&] {
            const faults::refuse refused(1, true);
            imsg_print(IMSG_PLAIN, format.c_str(), IMSG_LITERAL, text.c_str());
        });
        EXPECT_EQ(printed.out.find('\001'), std::string::npos) << size;
        EXPECT_EQ(printed.out.substr(0, 2020), text.substr(0, 2020));
        EXPECT_EQ(printed.out.back(), '\n');
    }
}

TEST(ImsgPrint, TakesNoMemoryForUsualLines) {
    const caught printed = in_child([] {
        imsg_text(&table, 0);
        EXPECT_EQ(faults::count_allocations([] {
                      for (int i = 0; i < 3; i++) imsg_print(IMSG_ERROR, &table, bold, "x");
                  }),
                  0);
    });
    EXPECT_EQ(printed.err.substr(0, 32), "test_module: Error: BOLD: x\ntest");
}

TEST(ImsgPrint, LeavesErrorNumbersAlone) {
    in_child([] {
        errno = EDOM;
        ks_errno = KS_EXDEV;
        close(STDOUT_FILENO);
        imsg_print(IMSG_PLAIN, "lost", IMSG_LITERAL);
        imsg_print(IMSG_ERROR, &table, bold, "x");
        const faults::refuse refused(1, true);
        imsg_print(IMSG_ERROR, "%5000s", IMSG_LITERAL, "");
        EXPECT_EQ(errno, EDOM);
        EXPECT_EQ(ks_errno, KS_EXDEV);
    });
}

// ---- emphasis

// What a body prints on a terminal, standard output and error in one.
template <class Body> std::string on_terminal(Body &&body) {
    const int control = posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_GE(control, 0);
    EXPECT_EQ(grantpt(control), 0);
    EXPECT_EQ(unlockpt(control), 0);
    const std::string name = ptsname(control);
    const int terminal = open(name.c_str(), O_RDWR | O_NOCTTY);
    EXPECT_GE(terminal, 0);
    in_child([&] {
        dup2(terminal, STDOUT_FILENO);
        dup2(terminal, STDERR_FILENO);
        body();
    });
    std::string shown;
    pollfd ready{control, POLLIN, 0};
    while (poll(&ready, 1, 0) == 1 && (ready.revents & POLLIN)) {
        char buffer[1000];
        const ssize_t size = read(control, buffer, sizeof buffer);
        if (size <= 0) break;
        shown.append(buffer, static_cast<size_t>(size));
    }
    close(terminal);
    close(control);
    std::erase(shown, '\r');
    return shown;
}

TEST(ImsgEmphasis, IsBoldOnATerminal) {
    const scoped_env none("NO_COLOR", nullptr);
    EXPECT_EQ(on_terminal([] { imsg_print(IMSG_ERROR, &table, bold, "x"); }),
              "test_module: Error: \033[1mBOLD\033[22m: x\n");
    EXPECT_EQ(on_terminal([] { imsg_print(IMSG_PLAIN, &table, bold, "x"); }), "\033[1mBOLD\033[22m: x\n");
    EXPECT_EQ(on_terminal([] { imsg_print(IMSG_PLAIN, &table, plain_text); }), "plain text\n");
}

TEST(ImsgEmphasis, DoesNotOutlastItsMessage) {
    EXPECT_EQ(on_terminal([] { imsg_print(IMSG_PLAIN, "\001\0011Bopen", IMSG_LITERAL); }), "\033[1mopen\033[22m");
}

TEST(ImsgEmphasis, IsNotWhatOnlyBeginsLikeAMark) {
    EXPECT_EQ(on_terminal([] { imsg_print(IMSG_PLAIN, "a\001b\001\0012Bc\001", IMSG_LITERAL); }),
              "a\001b\001\0012Bc\001");
}

TEST(ImsgEmphasis, CannotBeBroughtByAnArgument) {
    EXPECT_EQ(on_terminal([] { imsg_print(IMSG_PLAIN, "%s\n", IMSG_LITERAL, "\001\0011B\033[1m"); }),
              "^A^A1B^[[1m\n");
}

TEST(ImsgEmphasis, IsLeftOutUnderNoColor) {
    {
        const scoped_env set("NO_COLOR", "1");
        EXPECT_EQ(on_terminal([] { imsg_print(IMSG_PLAIN, &table, bold, "x"); }), "BOLD: x\n");
    }
    const scoped_env empty("NO_COLOR", "");
    EXPECT_EQ(on_terminal([] { imsg_print(IMSG_PLAIN, &table, bold, "x"); }), "\033[1mBOLD\033[22m: x\n");
}

TEST(ImsgEmphasis, IsLeftOutElsewhere) {
    EXPECT_EQ(in_child([] { imsg_print(IMSG_ERROR, &table, bold, "x"); }).err, "test_module: Error: BOLD: x\n");
}

// ---- sinks

TEST(ImsgSink, ReceivesWhatIsPrintedInPlaceOfTheStreams) {
    const caught printed = in_child([] {
        recording_sink sink;
        imsg_print(IMSG_ERROR, &table, two_texts, "a\n", "b");
        imsg_print(IMSG_PLAIN, &table, bold, "x");
        imsg_print(5, &table, plain_text);
        imsg_print_shared(IMSG_WARNING, "other", &table, number, 3);
        imsg_print(IMSG_TRACE, "trace %d", IMSG_LITERAL, 1);
        imsg_print_shared(IMSG_TRACE, "mod", "trace", IMSG_LITERAL);
        imsg_print_shared(IMSG_CONTINUATION, nullptr, &table, plain_text);
        const std::vector<recorded_message> expected = {
            {IMSG_ERROR, "test_module", &table, two_texts, "a^J and b\n"},
            {IMSG_PLAIN, "test_module", &table, bold, "BOLD: x\n"},
            {5, "test_module", &table, plain_text, "plain text\n"},
            {IMSG_WARNING, "other", &table, number, "number 3\n"},
            {IMSG_TRACE, "", nullptr, IMSG_LITERAL, "trace 1"},
            {IMSG_TRACE, "mod", nullptr, IMSG_LITERAL, "trace"},
            {IMSG_CONTINUATION, "", &table, plain_text, "plain text\n"},
        };
        EXPECT_EQ(sink.messages(), expected);
    });
    EXPECT_EQ(printed.out + printed.err, "");
}

TEST(ImsgSink, IsReplacedAndRemoved) {
    const caught printed = in_child([] {
        int first = 0, second = 0;
        const auto count = [](void *context, int, const char *, const imsg_table_t *, uint32_t, const char *) {
            ++*static_cast<int *>(context);
        };
        imsg_set_sink(count, &first);
        imsg_print(IMSG_PLAIN, &table, plain_text);
        imsg_set_sink(count, &second);
        imsg_print(IMSG_PLAIN, &table, plain_text);
        imsg_print(IMSG_PLAIN, &table, plain_text);
        imsg_set_sink(nullptr, nullptr);
        imsg_print(IMSG_PLAIN, &table, plain_text);
        EXPECT_EQ(first, 1);
        EXPECT_EQ(second, 2);
    });
    EXPECT_EQ(printed.out, "plain text\n");
}

TEST(ImsgSink, ThatPrintsReachesTheStreamsAndDoesNotHang) {
    const caught printed = in_child([] {
        imsg_set_sink(
            [](void *, int, const char *, const imsg_table_t *, uint32_t, const char *text) {
                imsg_print(IMSG_PLAIN, "from the sink: %s", IMSG_LITERAL, text);
                imsg_set_sink(nullptr, nullptr); // does nothing
            },
            nullptr);
        imsg_print(IMSG_ERROR, "one", IMSG_LITERAL);
        imsg_print(IMSG_ERROR, "two", IMSG_LITERAL);
    });
    EXPECT_EQ(printed.out, "from the sink: onefrom the sink: two");
    EXPECT_EQ(printed.err, "");
}

TEST(ImsgSink, ReceivesLongTextsWholeOrCut) {
    in_child([] {
        recording_sink sink;
        const std::string text(5000, 'x');
        imsg_print(IMSG_ERROR, "%s", IMSG_LITERAL, text.c_str());
        EXPECT_EQ(sink.take().at(0).text, text);
        {
            const faults::refuse refused(1, true);
            imsg_print(IMSG_ERROR, "%s", IMSG_LITERAL, text.c_str());
        }
        EXPECT_TRUE(sink.text().ends_with("xxx...\n"));
    });
}

// ---- verbosity

TEST(ImsgVerbosity, ComesFromTheEnvironment) {
    struct verbosity_case {
        const char *text;
        int value;
    };
    for (const verbosity_case &c : {verbosity_case{nullptr, 0},
                                    {"", 0},
                                    {"0", 0},
                                    {"3", 3},
                                    {"-2", -2},
                                    {"12", 12},
                                    {"loud", 0},
                                    {"3x", 0},
                                    {" 3", 0},
                                    {"99999999999", 0}}) {
        const scoped_env variable("ORSIK_VERBOSITY", c.text);
        in_child([&] {
            EXPECT_EQ(imsg_get_desired_verbosity(), c.value) << (c.text ? c.text : "unset");
            setenv("ORSIK_VERBOSITY", "77", 1);
            EXPECT_EQ(imsg_get_desired_verbosity(), c.value);
        });
    }
}

TEST(ImsgVerbosity, IsSetForAllThreads) {
    const scoped_env variable("ORSIK_VERBOSITY", "1");
    in_child([] {
        imsg_set_desired_verbosity(3);
        EXPECT_EQ(imsg_get_desired_verbosity(), 3);
        std::thread([] { EXPECT_EQ(imsg_get_desired_verbosity(), 3); }).join();
        for (const int value : {-1, 0, INT_MIN, INT_MAX}) {
            imsg_set_desired_verbosity(value);
            EXPECT_EQ(imsg_get_desired_verbosity(), value);
        }
    });
}

// ---- tracing

// The highest of the levels 1 to 9 that a module traces at, 0 for none.
int level_of(const char *module) {
    int level = 0;
    while (level < 9 && imsg_should_trace(module, level + 1)) level++;
    return level;
}

TEST(ImsgShouldTrace, ComesFromTheEnvironment) {
    {
        const scoped_env variable("ORSIK_TRACE", "tbs_acl:3,tbs_notify:2");
        in_child([] {
            EXPECT_EQ(level_of("tbs_acl"), 3);
            EXPECT_EQ(level_of("tbs_notify"), 2);
            EXPECT_EQ(level_of("tbs_ft"), 0);
            setenv("ORSIK_TRACE", "*:9", 1);
            EXPECT_EQ(level_of("tbs_ft"), 0);
        });
    }
    const scoped_env variable("ORSIK_TRACE", nullptr);
    in_child([] { EXPECT_EQ(level_of("tbs_acl"), 0); });
}

TEST(ImsgShouldTrace, WhatIsSetReplacesTheEnvironment) {
    const scoped_env variable("ORSIK_TRACE", "tbs_acl:3");
    in_child([] {
        EXPECT_EQ(imsg_set_trace("tbs_ft:1"), 0);
        EXPECT_EQ(level_of("tbs_acl"), 0);
        EXPECT_EQ(level_of("tbs_ft"), 1);
        std::thread([] { EXPECT_EQ(level_of("tbs_ft"), 1); }).join();
        for (const char *none : {"", static_cast<const char *>(nullptr)}) {
            EXPECT_EQ(imsg_set_trace("tbs_ft:1"), 0);
            EXPECT_EQ(imsg_set_trace(none), 0);
            EXPECT_EQ(level_of("tbs_ft"), 0);
        }
    });
}

TEST(ImsgSetTrace, UnderstandsItsList) {
    struct trace_case {
        const char *list;
        int a, b;
    };
    for (const trace_case &c : std::vector<trace_case>{
             {"a:1", 1, 0},         {"a:1,b:2", 1, 2},       {"*:2", 2, 2},     {"*:2,a:1", 1, 2}, {"a:1,*:2", 1, 2},
             {"a:0,*:3", 0, 3},     {"a:1,a:3", 3, 0},       {"a:3,a:1", 1, 0}, {"a", 0, 0},       {"a:", 0, 0},
             {"a:x", 0, 0},         {"a:2x", 0, 0},          {"a:-3", 0, 0},    {":3", 0, 0},      {"a:x,b:2", 0, 2},
             {",,a:1,,b:1,", 1, 1}, {"A:3", 0, 0},           {"aa:3", 0, 0},    {" a:3", 0, 0},    {"a :3", 0, 0},
             {"a:12", 9, 0},        {"a:99999999999", 0, 0}, {"x:a:3", 0, 0},   {"*:1,*:2", 2, 2}, {"a:3:1", 0, 0},
         }) {
        in_child([&] {
            EXPECT_EQ(imsg_set_trace(c.list), 0);
            EXPECT_EQ(level_of("a"), c.a) << c.list;
            EXPECT_EQ(level_of("b"), c.b) << c.list;
        });
    }
}

TEST(ImsgShouldTrace, AnswersNothingForWhatIsNoModuleAndNoLevel) {
    in_child([] {
        imsg_set_trace("*:3");
        EXPECT_EQ(imsg_should_trace(nullptr, 1), 0);
        EXPECT_EQ(imsg_should_trace("a", 0), 0);
        EXPECT_EQ(imsg_should_trace("a", -1), 0);
        EXPECT_EQ(imsg_should_trace("", 3), 1);
        EXPECT_EQ(imsg_should_trace("a", INT_MAX), 0);
    });
}

TEST(ImsgSetTrace, WithoutMemoryTheOldSettingStays) {
    in_child([] {
        EXPECT_EQ(imsg_set_trace("a:2"), 0);
        EXPECT_EQ(faults::each_allocation([](int, bool) {
                      ks_errno = 0;
                      const int error = imsg_set_trace("b:1");
                      EXPECT_EQ(error, ks_errno);
                      EXPECT_EQ(level_of("a"), error ? 2 : 0);
                      EXPECT_EQ(level_of("b"), error ? 0 : 1);
                      const faults::suspend unrefused;
                      imsg_set_trace("a:2");
                  }),
                  1);
        const faults::refuse refused(1, true);
        EXPECT_EQ(imsg_set_trace("b:1"), KS_ENOMEM);
        EXPECT_EQ(imsg_set_trace(""), 0); // takes none
    });
}

TEST(ImsgShouldTrace, ReadsTheEnvironmentOnceThereIsMemory) {
    const scoped_env variable("ORSIK_TRACE", "a:2");
    in_child([] {
        {
            const faults::refuse refused(1, true);
            EXPECT_EQ(imsg_should_trace("a", 1), 0);
        }
        EXPECT_EQ(imsg_should_trace("a", 1), 1);
    });
}

} // namespace
