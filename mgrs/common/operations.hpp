// operations.hpp - the seven operations, the same for every manager that keeps each version in a file of its own.
#ifndef MGRS_COMMON_OPERATIONS_HPP
#define MGRS_COMMON_OPERATIONS_HPP

#include "common/container_file.hpp"

#include <span>

namespace mgrs {

using operands = std::span<char *const>;

// A type manager: how contents stand in a container. Both functions throw failure.
struct manager {
    const char *name;
    const char *about; // behind the name, a sentence
    // Writes contents, which have a size, as a container.
    void (*store)(input_file &contents, output_file &container);
    // Delivers the contents of a container, piece by piece; nobody may rely on a piece before the call comes back.
    void (*restore)(input_file &container, const sink &deliver);
};

struct operation {
    const char *name;
    const char *operands; // as usage shows them
    size_t least, most;   // their number
    const char *help;
    // Gives the exit status. Throws failure.
    int (*run)(const manager &self, mgrs::operands files);
};

[[nodiscard]] std::span<const operation> operations();

// The program: reads the command line, runs the operation, reports a failure; gives the exit status.
[[nodiscard]] int run_manager(const manager &self, int argc, char **argv) noexcept;

} // namespace mgrs

#endif
