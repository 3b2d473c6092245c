// find_program.hpp - programs, and those of the search path.
#ifndef TOOLS_TBS_FIND_PROGRAM_HPP
#define TOOLS_TBS_FIND_PROGRAM_HPP

#include <string>

namespace tool {

// Whether it is a file that this process may execute.
bool is_program(const std::string &path);

// Path of a program on the search path; "" when it is not there.
std::string find_program(const std::string &name);

} // namespace tool

#endif
