// Everything at once from many threads; ThreadSanitizer watches.
#include "ks/ks_imsg.h"

#include "imsg_test_support.hpp"
#include "support/env.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace imsg_test;

constexpr int thread_count = 16;

// Runs a body in all threads at once; it is given the thread's number.
void in_threads(const std::function<void(int)> &body) {
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < thread_count; i++) {
        threads.emplace_back([&, i] {
            ready++;
            while (ready < thread_count) std::this_thread::yield();
            body(i);
        });
    }
    for (std::thread &t : threads) t.join();
}

std::vector<std::string> lines_of(const std::string &content) {
    std::vector<std::string> lines;
    std::istringstream in(content);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

TEST(ImsgThreads, LinesAreWhole) {
    constexpr int messages = 200;
    const caught printed = in_child([] {
        in_threads([](int i) {
            const std::string text(static_cast<size_t>(10 + i * 5), static_cast<char>('a' + i));
            for (int n = 0; n < messages; n++) {
                imsg_print(n % 2 ? IMSG_PLAIN : IMSG_ERROR, "%s\n", IMSG_LITERAL, text.c_str());
            }
        });
    });
    std::vector<std::string> lines = lines_of(printed.out);
    EXPECT_EQ(lines.size(), static_cast<size_t>(thread_count * messages / 2));
    for (std::string line : lines_of(printed.err)) {
        ASSERT_TRUE(line.starts_with("Error: ")) << line;
        lines.push_back(line.substr(7));
    }
    EXPECT_EQ(lines.size(), static_cast<size_t>(thread_count * messages));
    for (const std::string &line : lines) {
        ASSERT_FALSE(line.empty());
        ASSERT_EQ(line, std::string(static_cast<size_t>(10 + (line[0] - 'a') * 5), line[0]));
    }
}

TEST(ImsgThreads, RecordsOfOneLogFileAreWhole) {
    constexpr int messages = 50;
    const temp_dir dir;
    const std::string path = dir / "sub/log"; // the directory is made by whoever comes first
    in_threads([&](int i) {
        for (int n = 0; n < messages; n++) {
            EXPECT_NE(imsg_start_log(path.c_str(), 0, 0), nullptr);
            imsg_nt_set_category("access");
            imsg_print(IMSG_ERROR, &table, two_texts, std::to_string(i).c_str(), std::to_string(n).c_str());
            imsg_nt_set_category(nullptr);
            imsg_end_log();
        }
    });
    std::vector<int> next(thread_count, 0);
    for (const std::string &line : lines_of(dir.read("sub/log"))) {
        const size_t text = line.find(" access test_module 4 6 ");
        ASSERT_NE(text, std::string::npos) << line;
        int thread = -1, message = -1;
        ASSERT_EQ(sscanf(line.c_str() + text, " access test_module 4 6 %d and %d", &thread, &message), 2) << line;
        EXPECT_EQ(message, next.at(static_cast<size_t>(thread))++);
    }
    EXPECT_EQ(next, std::vector<int>(thread_count, messages));
}

// A sink's context is released right behind its replacement: a thread that were still inside would be seen.
TEST(ImsgThreads, NobodyIsInsideASinkThatWasReplaced) {
    struct context {
        std::atomic<int> calls{0};
        std::string text = "allocated, so that a use after its release is found";
    };
    constexpr int replacements = 50;
    std::atomic<bool> done{false};
    std::atomic<int> inside{0};
    static std::atomic<int> *counter;
    counter = &inside;
    const auto sink = [](void *opaque, int, const char *, const imsg_table_t *, uint32_t, const char *) {
        ++*counter;
        auto *c = static_cast<context *>(opaque);
        c->calls++;
        EXPECT_FALSE(c->text.empty());
        --*counter;
    };
    auto current = std::make_unique<context>();
    imsg_set_sink(sink, current.get());
    int calls = 0;
    in_threads([&](int i) {
        if (i != 0) {
            do {
                imsg_print(IMSG_PLAIN, &table, number, i);
                std::this_thread::yield();
            } while (!done);
            return;
        }
        for (int n = 0; n < replacements; n++) {
            auto next = std::make_unique<context>();
            imsg_set_sink(sink, next.get());
            calls += current->calls;
            current->text.clear();
            current = std::move(next);
            while (current->calls == 0) std::this_thread::yield();
        }
        done = true;
    });
    // The printing threads have ended.
    imsg_set_sink(nullptr, nullptr);
    EXPECT_EQ(inside, 0);
    EXPECT_GE(calls + current->calls, replacements);
}

TEST(ImsgThreads, SeveralInstallSinks) {
    in_child([] {
        const auto sink = [](void *context, int, const char *, const imsg_table_t *, uint32_t, const char *) {
            ++*static_cast<std::atomic<int> *>(context);
        };
        std::atomic<int> counts[thread_count]{};
        in_threads([&](int i) {
            for (int n = 0; n < 100; n++) {
                imsg_set_sink(sink, &counts[i]);
                imsg_print(IMSG_PLAIN, &table, plain_text);
            }
        });
        int all = 0;
        for (const auto &count : counts) all += count;
        EXPECT_EQ(all, thread_count * 100);
        imsg_set_sink(nullptr, nullptr);
        imsg_print(IMSG_PLAIN, &table, plain_text);
        int after = 0;
        for (const auto &count : counts) after += count;
        EXPECT_EQ(after, all);
    });
}

TEST(ImsgThreads, TracingIsSwitchedWhileItIsAsked) {
    const scoped_env trace("ORSIK_TRACE", "tbs_acl:3");
    const scoped_env verbosity("ORSIK_VERBOSITY", "2");
    in_child([] {
        in_threads([](int i) {
            for (int n = 0; n < 300; n++) {
                if (i == 0) {
                    EXPECT_EQ(imsg_set_trace(n % 2 ? "tbs_acl:3" : "*:3,a_much_longer_name_for_the_list:1"), 0);
                    imsg_set_desired_verbosity(n % 2 + 2);
                } else {
                    // True for all settings there are.
                    EXPECT_EQ(imsg_should_trace("tbs_acl", 3), 1);
                    EXPECT_EQ(imsg_should_trace("tbs_acl", 4), 0);
                    EXPECT_GE(imsg_get_desired_verbosity(), 2);
                }
            }
        });
    });
}

TEST(ImsgThreads, TextsStayValidWhileCataloguesAreReloaded) {
    const temp_dir dir;
    const std::string source =
        dir.write("source.msg", "$quote \"\n$set 9\n1 \"einfacher Text\\n\"\n3 \"Nummer %d\\n\"\n");
    ASSERT_EQ(std::system(("gencat '" + (dir / table.catalogue) + "' '" + source + "'").c_str()), 0);
    const scoped_env path("NLSPATH", dir / "%N");
    in_child([] {
        static imsg_table_t tables[20];
        std::fill(std::begin(tables), std::end(tables), table);
        in_threads([](int i) {
            for (int n = 0; n < 100; n++) {
                char buffer[50];
                const imsg_table_t *t = &tables[(i + n) % 20];
                if (i == 0) imsg_reload_catalogues();
                EXPECT_STREQ(imsg_text(t, number), "Nummer %d\n");
                EXPECT_EQ(imsg_sprintf(buffer, t, plain_text), 15u);
                EXPECT_STREQ(buffer, "einfacher Text\n");
            }
        });
    });
}

TEST(ImsgThreads, ErrorTextsAreThoseOfTheThread) {
    in_threads([](int i) {
        const std::string expected = "Unknown error " + std::to_string(-100 - i);
        for (int n = 0; n < 100; n++) ASSERT_EQ(imsg_strerror(-100 - i), expected);
    });
}

} // namespace
