// new_process.hpp - a process of its own for what a process does once.
#ifndef TESTS_SUPPORT_NEW_PROCESS_HPP
#define TESTS_SUPPORT_NEW_PROCESS_HPP

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

// Runs a body in a new process, which fails when an expectation of the body does.
inline void in_new_process(const std::function<void()> &body) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        body();
        std::exit(testing::Test::HasFailure() ? 1 : 0); // exit handlers look for leaks
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "see what the process printed";
}

#endif
