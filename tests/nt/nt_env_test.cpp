#include "nt/nt_env.h"

#include "ks/ks_errno.h"
#include "support/env.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr char name[] = "ORSIK_TEST_VALUE";

TEST(NtGetenvSafe, TellsUnsetEmptyAndSetApart) {
    char buffer[8] = "before";
    const scoped_env unset(name, nullptr);
    ks_errno = 0;
    EXPECT_EQ(nt_getenv_safe(name, buffer, sizeof buffer), KS_ENOENT);
    EXPECT_EQ(ks_errno, KS_ENOENT);
    EXPECT_STREQ(buffer, "");
    {
        const scoped_env empty(name, "");
        EXPECT_EQ(nt_getenv_safe(name, buffer, sizeof buffer), 0);
        EXPECT_STREQ(buffer, "");
    }
    const scoped_env set(name, "value");
    EXPECT_EQ(nt_getenv_safe(name, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "value");
}

TEST(NtGetenvSafe, RefusesAValueThatDoesNotFit) {
    char buffer[4] = "###";
    {
        const scoped_env fits(name, "abc");
        EXPECT_EQ(nt_getenv_safe(name, buffer, sizeof buffer), 0);
    }
    const scoped_env too_long(name, "abcd");
    EXPECT_EQ(nt_getenv_safe(name, buffer, sizeof buffer), KS_ENAMETOOLONG);
    EXPECT_STREQ(buffer, "");
}

TEST(NtGetenvSafe, RefusesBadArguments) {
    char buffer[4] = "###";
    EXPECT_EQ(nt_getenv_safe(nullptr, buffer, sizeof buffer), KS_EINVAL);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(nt_getenv_safe("", buffer, sizeof buffer), KS_EINVAL);
    EXPECT_EQ(nt_getenv_safe("A=B", buffer, sizeof buffer), KS_EINVAL);
    EXPECT_EQ(nt_getenv_safe("=", buffer, sizeof buffer), KS_EINVAL);
    EXPECT_EQ(nt_getenv_safe("PATH", nullptr, 4), KS_EINVAL);
    buffer[0] = '#';
    EXPECT_EQ(nt_getenv_safe("PATH", buffer, 0), KS_EINVAL);
    EXPECT_EQ(buffer[0], '#');
}

TEST(NtGetenvSafe, LeavesTheErrorAloneWhenItSucceeds) {
    const scoped_env set(name, "x");
    char buffer[4];
    ks_errno = KS_EBUSY;
    nt_getenv_safe(name, buffer, sizeof buffer);
    EXPECT_EQ(ks_errno, KS_EBUSY);
}

TEST(NtEnvironmentLock, IsRecursive) {
    const scoped_env set(name, "x");
    char buffer[4];
    nt_environment_lock();
    nt_environment_lock();
    EXPECT_EQ(nt_getenv_safe(name, buffer, sizeof buffer), 0);
    nt_environment_unlock();
    nt_environment_unlock();
    nt_environment_unlock(); // one too many is ignored
    std::thread([&] { EXPECT_EQ(nt_getenv_safe(name, buffer, sizeof buffer), 0); }).join();
}

TEST(NtEnvironmentLock, KeepsReadersAndWritersApart) {
    const scoped_env set(name, std::string(40, 'a'));
    std::vector<std::thread> threads;
    threads.emplace_back([] {
        for (int i = 0; i < 2000; i++) {
            nt_environment_lock();
            setenv(name, std::string(40, i % 2 ? 'a' : 'b').c_str(), 1);
            nt_environment_unlock();
        }
    });
    for (int reader = 0; reader < 2; reader++) {
        threads.emplace_back([] {
            for (int i = 0; i < 2000; i++) {
                char buffer[64];
                ASSERT_EQ(nt_getenv_safe(name, buffer, sizeof buffer), 0);
                ASSERT_EQ(buffer, std::string(40, buffer[0]));
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
}

} // namespace
