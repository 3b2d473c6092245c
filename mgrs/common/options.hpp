// options.hpp - the command line of a type manager: the name that it was started under, and the operands.
#ifndef MGRS_COMMON_OPTIONS_HPP
#define MGRS_COMMON_OPTIONS_HPP

#include "common/operations.hpp"

namespace mgrs {

// What the command line asks for.
struct request {
    const operation *what = nullptr; // null: help on all operations
    operands files;                  // their number is one that the operation takes
    bool help = false;
};

// Reads the command line. The last part of argv[0] is the operation, as the library starts the programs; under the
// manager's own name the first two words are that and the operation. A first word "--" is skipped, and "--help" asks
// for help when it stands alone: every other word is the name of a file, however it begins.
// Throws failure and no_operation.
[[nodiscard]] request read_command_line(const manager &self, int argc, char **argv);

// Prints what --help shows.
void print_help(const manager &self, const operation *what);

} // namespace mgrs

#endif
