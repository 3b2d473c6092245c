#include "ks/ks_pfm.h"

#include <gtest/gtest.h>

#include <csignal>
#include <pthread.h>
#include <thread>

namespace {

bool blocked(int signal) {
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return sigismember(&mask, signal) == 1;
}

bool all_blocked() { return blocked(SIGINT) && blocked(SIGTERM) && blocked(SIGHUP) && blocked(SIGQUIT); }
bool none_blocked() { return !blocked(SIGINT) && !blocked(SIGTERM) && !blocked(SIGHUP) && !blocked(SIGQUIT); }

TEST(PfmInhibit, BlocksWhatInterruptsUntilTheOutermostEnable) {
    ASSERT_TRUE(none_blocked());
    pfm_inhibit();
    EXPECT_TRUE(all_blocked());
    EXPECT_FALSE(blocked(SIGUSR1));
    pfm_inhibit();
    pfm_enable();
    EXPECT_TRUE(all_blocked());
    pfm_enable();
    EXPECT_TRUE(none_blocked());
}

TEST(PfmEnable, RestoresTheMaskThatTheThreadHad) {
    sigset_t terminate;
    sigemptyset(&terminate);
    sigaddset(&terminate, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &terminate, nullptr);
    pfm_inhibit();
    EXPECT_TRUE(all_blocked());
    pfm_enable();
    EXPECT_TRUE(blocked(SIGTERM));
    EXPECT_FALSE(blocked(SIGINT));
    pthread_sigmask(SIG_UNBLOCK, &terminate, nullptr);
}

TEST(PfmEnable, AloneDoesNothing) {
    pfm_enable();
    pfm_inhibit();
    EXPECT_TRUE(all_blocked());
    pfm_enable();
    EXPECT_TRUE(none_blocked());
}

TEST(PfmInhibit, IsOfTheThread) {
    bool others = true, own = false;
    pfm_inhibit();
    std::thread([&] {
        // A thread starts with its maker's mask and its own count.
        pfm_enable();
        others = all_blocked();
        pfm_inhibit();
        pfm_enable();
        own = all_blocked();
    }).join();
    EXPECT_TRUE(others);
    EXPECT_TRUE(own);
    pfm_enable();
    EXPECT_TRUE(none_blocked());
}

volatile std::sig_atomic_t interrupted = 0;

TEST(PfmInhibit, DelaysASignal) {
    const auto before = std::signal(SIGHUP, [](int) { interrupted = 1; });
    interrupted = 0;
    pfm_inhibit();
    pthread_kill(pthread_self(), SIGHUP);
    EXPECT_EQ(interrupted, 0);
    pfm_enable();
    EXPECT_EQ(interrupted, 1);
    std::signal(SIGHUP, before);
}

TEST(PfmAssertFailDeathTest, NamesTheConditionAndAborts) {
    EXPECT_EXIT(pfm_assert_fail("count > 0", "tbs_acl", 42), testing::KilledBySignal(SIGABRT),
                "Assertion failed: count > 0 \\(tbs_acl:42\\)\n");
    EXPECT_EXIT(pfm_assert_fail(nullptr, nullptr, 0), testing::KilledBySignal(SIGABRT), "Assertion failed: ");
}

} // namespace
