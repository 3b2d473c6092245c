#include "ks/ks_pfm.h"

#include "internal/ks_os.hpp"
#include "ks/ks_imsg.h"

#include <cstdlib>

namespace {

constinit thread_local unsigned inhibited = 0; // calls of pfm_inhibit() without their pfm_enable()

} // namespace

extern "C" void pfm_inhibit(void) noexcept {
    if (inhibited++ == 0) ks::os::block_interrupts();
}

extern "C" void pfm_enable(void) noexcept {
    if (inhibited != 0 && --inhibited == 0) ks::os::restore_interrupts();
}

extern "C" void pfm_assert_fail(const char *condition, const char *source, int line) noexcept {
    imsg_print_shared(IMSG_ERROR, "ks", "Assertion failed: %s (%s:%d)\n", IMSG_LITERAL, condition, source, line);
    std::abort();
}
