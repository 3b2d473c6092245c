// ks_process_os.hpp - what a system must supply for ks_process.h.
//
// Paths are the host's. Failures are error numbers of the common space.
#ifndef KS_INTERNAL_KS_PROCESS_OS_HPP
#define KS_INTERNAL_KS_PROCESS_OS_HPP

namespace ks::os {

// Runs a program and waits for it; its exit status, or 128 and the number of the signal that ended it.
[[nodiscard]] int run(const char *program, char *const *arguments, int &exit_status) noexcept;

// Starts a program that nobody waits for, in a directory when one is given. The program's path is taken in it.
[[nodiscard]] int start_detached(const char *directory, const char *program, char *const *arguments) noexcept;

} // namespace ks::os

#endif
