// progress.hpp - a bar on the terminal for work on many things.
#ifndef TOOLS_TBS_PROGRESS_HPP
#define TOOLS_TBS_PROGRESS_HPP

#include <chrono>
#include <cstddef>

namespace tool {

// Shows how much is done on standard error while it lives, and leaves no trace of it. Shows nothing for few things, and
// where standard error is no terminal that can go back in its line.
class progress_bar {
public:
    explicit progress_bar(size_t total);
    ~progress_bar();
    progress_bar(const progress_bar &) = delete;
    progress_bar &operator=(const progress_bar &) = delete;

    // One more is done.
    void advance() { show_done(done_ + 1); }
    // So many are done.
    void show_done(size_t done);

private:
    size_t total_, done_ = 0;
    std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
    size_t shown_ = static_cast<size_t>(-1); // per cent
    bool visible_;
};

} // namespace tool

#endif
