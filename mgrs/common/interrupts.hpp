// interrupts.hpp - a signal that asks for the end is answered between two blocks, when nothing is left half done.
#ifndef MGRS_COMMON_INTERRUPTS_HPP
#define MGRS_COMMON_INTERRUPTS_HPP

namespace mgrs {

// Thrown by check_interrupts(): destructors remove what is not finished.
struct interrupted {
    int signal;
};

// From here on SIGINT, SIGTERM, SIGHUP and SIGQUIT are noted; a second one of a kind ends the program at once. A file
// that reaches the size limit is an error of its write, not a signal.
void note_interrupts();

// Throws interrupted when a signal was noted.
void check_interrupts();

// Ends the program as the signal would have ended it.
[[noreturn]] void end_by(interrupted why);

} // namespace mgrs

#endif
