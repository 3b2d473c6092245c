#include "common/interrupts.hpp"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace mgrs {
namespace {

volatile std::sig_atomic_t noted = 0;

void note(int signal) { noted = signal; }

} // namespace

void note_interrupts() {
    struct sigaction action = {};
    action.sa_handler = note;
    action.sa_flags = static_cast<int>(SA_RESETHAND); // not restarted: a waiting read gives up
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaction(signal, &action, nullptr);
    std::signal(SIGXFSZ, SIG_IGN);
}

void check_interrupts() {
    if (noted != 0) throw interrupted{noted};
}

void end_by(interrupted why) {
    std::signal(why.signal, SIG_DFL);
    std::raise(why.signal);
    std::_Exit(128 + why.signal); // the signal is blocked
}

} // namespace mgrs
