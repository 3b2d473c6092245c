// tool_runner.hpp - runs the built tool, and other programs, as a process.
#ifndef TESTS_TOOL_TOOL_RUNNER_HPP
#define TESTS_TOOL_TOOL_RUNNER_HPP

#include "support/temp_dir.hpp"

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tool_test {

using json = nlohmann::json;
using environment = std::vector<std::pair<std::string, std::string>>;

struct outcome {
    int status = -1; // exit status; -1 when a signal ended the program
    std::string out, err;

    json parsed() const { return json::parse(out); }
};

inline std::string source(const std::string &path) { return std::string(ORSIK_SOURCE_DIR) + '/' + path; }

inline std::string policy(const std::string &leaf) { return source("data/policy/" + leaf); }

// Runs a program with these variables besides the test's own; standard input is empty.
inline outcome run_program(const std::vector<std::string> &words, const environment &variables = {}) {
    const temp_dir dir;
    const std::string out = dir / "out", err = dir / "err";
    std::vector<char *> arguments;
    for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const auto redirect = [](const char *path, int flags, int fd) { dup2(open(path, flags, 0600), fd); };
        redirect("/dev/null", O_RDONLY, 0);
        redirect(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 1);
        redirect(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 2);
        for (const auto &[name, value] : variables) setenv(name.c_str(), value.c_str(), 1);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, dir.read("out"), dir.read("err")};
}

// Runs the tool with the accounts of the sample policy.
inline outcome run_tool(std::vector<std::string> words, environment variables = {}) {
    words.insert(words.begin(), TBS_TOOL_PATH);
    variables.insert(variables.begin(), {"ORSIK_ACCOUNTS", policy("accounts")});
    return run_program(words, variables);
}

inline std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

inline size_t columns(const std::string &line) {
    size_t count = 0;
    for (const char c : line) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    return count;
}

} // namespace tool_test

#endif
