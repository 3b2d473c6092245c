#include "internal/ks_os.hpp"

#include <signal.h>

namespace {

thread_local sigset_t remembered;

} // namespace

namespace ks::os {

void block_interrupts() noexcept {
    sigset_t interrupts;
    sigemptyset(&interrupts);
    for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&interrupts, signal);
    pthread_sigmask(SIG_BLOCK, &interrupts, &remembered);
}

void restore_interrupts() noexcept { pthread_sigmask(SIG_SETMASK, &remembered, nullptr); }

} // namespace ks::os
