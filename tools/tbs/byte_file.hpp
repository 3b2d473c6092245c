// byte_file.hpp - files of bytes.
#ifndef TOOLS_TBS_BYTE_FILE_HPP
#define TOOLS_TBS_BYTE_FILE_HPP

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

using bytes = std::vector<uint8_t>;

// The same memory seen as the other: nothing is copied.
inline std::string_view as_text(std::span<const uint8_t> content) {
    return {reinterpret_cast<const char *>(content.data()), content.size()};
}
inline std::span<const uint8_t> as_bytes(std::string_view content) {
    return {reinterpret_cast<const uint8_t *>(content.data()), content.size()};
}

// Reads a file of at most 256 MiB; "-" is standard input. Throws failure.
bytes read_bytes(const std::string &path);

// Whether somebody looks at standard output.
bool output_is_terminal();

// A file for what only reads files, gone with the object.
class scratch_file {
public:
    // In the directory for temporary files. Throws failure.
    explicit scratch_file(std::string_view content);
    ~scratch_file();
    scratch_file(const scratch_file &) = delete;
    scratch_file &operator=(const scratch_file &) = delete;

    [[nodiscard]] const std::string &path() const { return path_; }

private:
    std::string path_;
};

} // namespace tool

#endif
