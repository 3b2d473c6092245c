#include "find_program.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace tool {

bool is_program(const std::string &path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error) && access(path.c_str(), X_OK) == 0;
}

std::string find_program(const std::string &name) {
    const char *variable = std::getenv("PATH");
    const std::string path = variable ? variable : "/usr/bin:/bin";
    for (size_t at = 0; at <= path.size();) {
        const size_t end = std::min(path.find(':', at), path.size());
        std::string candidate = path.substr(at, end - at) + '/' + name;
        if (end > at && is_program(candidate)) return candidate;
        at = end + 1;
    }
    return "";
}

} // namespace tool
