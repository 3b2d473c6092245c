// text_file.hpp - strict reading of the small text files that the tool is given.
#ifndef TOOLS_TBS_TEXT_FILE_HPP
#define TOOLS_TBS_TEXT_FILE_HPP

#include <string>
#include <string_view>
#include <vector>

namespace tool {

struct text_line {
    size_t number; // from 1
    std::string text;
};

// Goes through a file that the library will read, and refuses what is no text: a directory, a byte order mark, a NUL,
// bytes that are not UTF-8, a line of more than 1023 bytes; and a pipe. Throws failure with file, line and remedy.
void check_text_file(const std::string &path);

// Reads a file of at most 1 MiB after the same checks. Gives the lines that are neither blank nor comments ("#"),
// without the white space around them; other control characters are refused.
std::vector<text_line> read_text_file(const std::string &path);

// A line of a file, by its number from 1; empty when there is none. Throws failure.
std::string line_of_file(const std::string &path, size_t wanted);

// Length of the UTF-8 character at the start, 0 when there is none (overlong forms and surrogates are none).
size_t utf8_length(std::string_view text);

// The text without blanks and TABs around it.
std::string_view trimmed(std::string_view text);

} // namespace tool

#endif
