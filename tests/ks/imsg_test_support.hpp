// imsg_test_support.hpp - what the tests of the message layer share: a table, and children whose streams are caught.
#ifndef TESTS_KS_IMSG_TEST_SUPPORT_HPP
#define TESTS_KS_IMSG_TEST_SUPPORT_HPP

#include "ks/ks_imsg.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace imsg_test {

inline constexpr const char *texts[] = {
    "plain text\n",  "number %d\n", "%s and %s\n", "no line end", "\001\0011BBOLD\001\0010B: %s\n",
    "one\ntwo %s\n", "%*s%s\n",
};
inline constexpr uint16_t numbers[] = {1, 3, 4, 7, 20, 300, 65535};
inline constexpr imsg_table_t table = {"imsg_test_catalogue", "test_module", 9, 7, texts, numbers};

enum : uint32_t { plain_text, number, two_texts, no_line_end, bold, two_lines, indented };

struct caught {
    std::string out, err;
    int status; // as of waitpid()
};

inline std::string content_of(std::FILE *file) {
    std::string content;
    std::rewind(file);
    for (int c; (c = std::fgetc(file)) != EOF;) content += static_cast<char>(c);
    return content;
}

// Runs a body in a process of its own, with its standard streams led into files. The body's EXPECTs count: a failure
// in it ends the process with a status that is not 0. What the layer reads once is read anew in each child, as the
// parent never asks for it.
template <class Body> caught in_child(Body &&body) {
    std::FILE *out = std::tmpfile(), *err = std::tmpfile();
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(fileno(out), STDOUT_FILENO);
        dup2(fileno(err), STDERR_FILENO);
        body();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    }
    caught result{};
    waitpid(child, &result.status, 0);
    result.out = content_of(out);
    result.err = content_of(err);
    std::fclose(out);
    std::fclose(err);
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    return result;
}

} // namespace imsg_test

#endif
