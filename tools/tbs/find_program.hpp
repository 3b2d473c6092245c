// find_program.hpp - programs of the search path.
#ifndef TOOLS_TBS_FIND_PROGRAM_HPP
#define TOOLS_TBS_FIND_PROGRAM_HPP

#include <string>

namespace tool {

// Path of a program on the search path; "" when it is not there.
std::string find_program(const std::string &name);

} // namespace tool

#endif
