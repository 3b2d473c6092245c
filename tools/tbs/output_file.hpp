// output_file.hpp - answers that go into a file: the whole new content or the old one, nothing between.
#ifndef TOOLS_TBS_OUTPUT_FILE_HPP
#define TOOLS_TBS_OUTPUT_FILE_HPP

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tool {

// Replaces a file: writes a temporary one beside it, flushes it to the disk and renames it. Mode, owner and access
// control list stay those of the file that was there; a link is followed to the file that it names. Throws failure,
// and then the file is as it was.
void replace_file(const std::string &path, std::string_view content);

// Writes an answer: into a file, as replace_file(), or without one to standard output, byte for byte. Throws failure.
void write_answer(const std::optional<std::string> &path, std::string_view content);

// The same for what is no text, which is no use on a terminal: throws failure there.
void write_bytes(const std::optional<std::string> &path, std::span<const uint8_t> content);

} // namespace tool

#endif
