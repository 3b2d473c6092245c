// reader.hpp - reads the text of a type file into a set of rules.
#ifndef TBS_TYPING_READER_HPP
#define TBS_TYPING_READER_HPP

#include "rule_set.hpp"

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace tbs::typing {

// What ends the reading of all files, in the scanner's own words.
struct scanner_failure {
    const char *text;
};
inline constexpr char input_overflow[] = "fatal error - scanner input buffer overflow";
inline constexpr char input_failed[] = "input in flex scanner failed";
inline constexpr char no_buffer[] = "out of dynamic memory in tbs_ft_yy_create_buffer()";

// The scanner counts in ints.
inline constexpr size_t most_bytes = size_t{1} << 30;

// What type files are called.
inline constexpr char file_pattern[] = "*.[Mm][Aa][Gg][Ii][Cc]";

// Reads a file, by its open stream or by what it holds; the listener of the rules hears of its errors. Both throw
// scanner_failure and std::bad_alloc.
void read_stream(rule_set &rules, const char *path, FILE *stream);
void read_text(rule_set &rules, const char *path, std::string text);

// The parser's part of that.
void parse(rule_set &rules, std::string text);

// What scanner and parser share while they read one file.
class reading {
public:
    explicit reading(rule_set &into) : rules(into) {}

    rule_set &rules;

    // A double quote that begins no string is followed by what looks like one up to here: none of the quotes before
    // this place begins a string, so that they are not tried one by one.
    const char *no_string_before = nullptr;

    // Memory of the scanner and of the parser's stacks, which goes with this object; null when there is none.
    [[nodiscard]] void *allocate(size_t size) noexcept;
    [[nodiscard]] bool lacks_memory() const { return lacks_memory_; }

private:
    std::vector<std::unique_ptr<char[]>> memory_;
    bool lacks_memory_ = false;
};

} // namespace tbs::typing

#endif
