// xdr_type.hpp - the types of records that "tbs xdr" knows.
#ifndef TOOLS_TBS_XDR_TYPE_HPP
#define TOOLS_TBS_XDR_TYPE_HPP

#include "byte_file.hpp"
#include "lib/tbs/internal/vob_types.hpp"
#include "tool.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace tool {

using tbs::wire::wire_type;

// All of them, in the order of their names.
const std::vector<wire_type> &xdr_types();

// The type of this name, which may be that of its routine. Throws failure.
const wire_type &xdr_type_called(const std::string &name);

// What a type is: "record", "enumeration" ..., and all that one may be.
std::string_view kind_text(const wire_type &type);
const std::vector<std::string> &kind_texts();

// The name of a record's type: that of the typedef, which is the struct's tag with another ending.
std::string name_text(const tbs::wire::layout &record);

// Throws failure unless the type's routine decodes the bytes, and all of them. It need not encode the same: of a
// configuration record it chooses the format anew.
void require_decodable(const wire_type &type, const bytes &encoded);

} // namespace tool

#endif
