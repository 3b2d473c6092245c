// ks_os.hpp - what a system must supply for errors, strings, interruption, paths and directories.
//
// Nothing here throws or allocates from the general heap, and everything may be called from any thread.
#ifndef KS_INTERNAL_KS_OS_HPP
#define KS_INTERNAL_KS_OS_HPP

#include <cstddef>
#include <cstdint>
#include <span>

namespace ks::os {

// A number of the common space and the host's number for the same error.
struct error_pair {
    int common, host;
};

// All numbers of the common space that the host knows, strictly ascending by `common`. Where several stand for one
// host number, the first is the one that the host's number is translated to.
std::span<const error_pair> error_pairs() noexcept;

// 64 bits that an observer cannot foresee. Falls back to what the process alone knows (addresses, clock) where the
// system has no better source; never waits.
uint64_t entropy() noexcept;

// Remembers the calling thread's signal mask and blocks what interrupts a program; the second restores the mask that
// the first remembered. Calls come in pairs and do not nest.
void block_interrupts() noexcept;
void restore_interrupts() noexcept;

// Turns the separators of a product path into the host's, in place.
void use_host_separators(char *path) noexcept;

// Value of an environment variable, not for a program that runs with raised privileges; null when unset or empty.
const char *trusted_getenv(const char *name) noexcept;

// The directory above the one that holds this library, absolute, terminated, cut to `size`; "" when it cannot be
// found. `size` is not 0.
void directory_above_library(char *buffer, size_t size) noexcept;

// Where the host keeps the product's data and its configuration.
extern const char *const hostdata_directory;
extern const char *const config_directory;

// Tells whether the process may make files in a directory, or make the directory itself where it is missing.
bool can_fill_directory(const char *path) noexcept;

bool is_directory(const char *path) noexcept;

// Tells whether there is something that the process may use: a directory that it may make files in, or any file.
bool is_shared(const char *path) noexcept;

// Makes a directory and those above it. True when they are there.
bool make_directories(const char *path) noexcept;

// Writes the directory for the user's own state ("$XDG_STATE_HOME", "~/.local/state") and tells whether there is
// one that fits. `size` is not 0.
bool user_state_directory(char *buffer, size_t size) noexcept;

} // namespace ks::os

#endif
