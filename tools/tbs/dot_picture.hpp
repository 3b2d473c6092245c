// dot_picture.hpp - pictures in the language of Graphviz.
#ifndef TOOLS_TBS_DOT_PICTURE_HPP
#define TOOLS_TBS_DOT_PICTURE_HPP

#include <string>
#include <string_view>

namespace tool {

// A text in double quotes.
std::string dot_text(std::string_view text);

// The beginning of a drawing from left to right; it ends with "}\n".
std::string dot_begin(std::string_view title);

// Draws it, by the program "dot". Throws failure when that is not there, or draws nothing.
std::string svg_of(const std::string &dot);

} // namespace tool

#endif
