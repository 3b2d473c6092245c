#include "progress.hpp"

#include "output.hpp"

#include <algorithm>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace tool {
namespace {

constexpr size_t most_without_bar = 20;
constexpr size_t bar_width = 40;

bool is_terminal() { return isatty(STDERR_FILENO) && terminal_has_escapes(); }

void show(const std::string &text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

} // namespace

progress_bar::progress_bar(size_t total) : total_(total), visible_(total > most_without_bar && is_terminal()) {}

progress_bar::~progress_bar() {
    if (visible_ && done_) std::fputs("\r\033[K", stderr);
}

void progress_bar::show_done(size_t done) {
    done_ = done;
    if (!visible_) return;
    const size_t per_cent = std::min<size_t>(100 * done_ / total_, 100);
    if (per_cent == shown_) return;
    shown_ = per_cent;
    const size_t filled = bar_width * per_cent / 100;
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - began_;
    const double rate = static_cast<double>(done_) / std::max(taken.count(), 1e-9);
    char speed[64];
    std::snprintf(speed, sizeof speed, " %.0f/s, %.0f s left", rate, static_cast<double>(total_ - done_) / rate);
    show("\r[" + std::string(filled, '#') + std::string(bar_width - filled, '.') + "] " + std::to_string(done_) +
         '/' + std::to_string(total_) + speed + "\033[K");
}

} // namespace tool
