// answer_pipe.hpp - a FIFO that started programs write lines to.
#ifndef TESTS_SUPPORT_ANSWER_PIPE_HPP
#define TESTS_SUPPORT_ANSWER_PIPE_HPP

#include "support/temp_dir.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

class answer_pipe {
public:
    explicit answer_pipe(const temp_dir &dir) : path_(dir / "answer") {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        reader_ = open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }
    ~answer_pipe() { close(reader_); }
    answer_pipe(const answer_pipe &) = delete;
    answer_pipe &operator=(const answer_pipe &) = delete;

    const std::string &path() const { return path_; }

    // The next line, which is waited for.
    std::string line() const {
        std::string all;
        char c;
        pollfd waiting{reader_, POLLIN, 0};
        while (poll(&waiting, 1, 60000) == 1 && read(reader_, &c, 1) == 1 && c != '\n') all += c;
        return all;
    }

private:
    std::string path_;
    int reader_;
};

#endif
