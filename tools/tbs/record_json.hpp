// record_json.hpp - encoded records as JSON and back, without loss, by their layouts.
//
// A record is an object of its members, under the names that they have in the library's headers; a list is an array, an
// absent record null. Counts and links are left out. A value with a name is written by it, flags as a list of names;
// both are read as numbers too. Identifiers and SIDs have their text forms, a time is {"tv_sec", "tv_usec"}. Data are
// {"bytes": "hexadecimal digits"}, texts as text_as_json() writes them.
#ifndef TOOLS_TBS_RECORD_JSON_HPP
#define TOOLS_TBS_RECORD_JSON_HPP

#include "byte_file.hpp"
#include "lib/tbs/internal/wire_layout.hpp"
#include "output.hpp"

#include <span>
#include <string>
#include <string_view>

namespace tool {

// What the bytes of a whole record say; their end is that of the record.
json record_as_json(const tbs::wire::layout &record, std::span<const uint8_t> encoded);

// The bytes of a record that JSON text describes; `path` is for messages, `remedy` tells how to learn the form. Throws
// failure for what is no JSON, and for a member that is missing, unknown or no value of its kind.
bytes record_from_json(const tbs::wire::layout &record, const std::string &path, std::string_view text,
                       const std::string &remedy);

} // namespace tool

#endif
