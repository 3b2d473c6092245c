// server_process.hpp - a server program that a test starts, and that does not outlive it.
#ifndef TESTS_SYSTEM_SERVER_PROCESS_HPP
#define TESTS_SYSTEM_SERVER_PROCESS_HPP

#include "tool/tool_runner.hpp"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <vector>

class server_process {
public:
    // Starts a program; what it prints on standard error goes into the file.
    server_process(const std::vector<std::string> &words, const std::string &messages,
                   const tool_test::environment &variables = {}) {
        std::vector<char *> arguments;
        for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
        arguments.push_back(nullptr);
        int pipe_ends[2];
        if (pipe2(pipe_ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(pipe_ends[1], 1);
            dup2(open(messages.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
            for (const auto &[name, value] : variables) setenv(name.c_str(), value.c_str(), 1);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
        close(pipe_ends[1]);
        output_ = fdopen(pipe_ends[0], "r");
    }
    ~server_process() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            end();
        }
        if (output_) std::fclose(output_);
    }
    server_process(const server_process &) = delete;
    server_process &operator=(const server_process &) = delete;

    // The next line that it prints, "" when there is none.
    std::string line() {
        char text[256] = "";
        return output_ && std::fgets(text, sizeof text, output_) ? text : "";
    }

    // Waits for its end; the exit status, -1 when a signal ended it.
    int end() {
        int status = 0;
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {}
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_ = -1;
    std::FILE *output_ = nullptr;
};

#endif
