// cr_json.hpp - configuration records as JSON and back, without loss.
//
// The members have their names in tbs_cr.h; texts are written as text_as_json() does.
#ifndef TOOLS_TBS_CR_JSON_HPP
#define TOOLS_TBS_CR_JSON_HPP

#include "cr_record.hpp"
#include "output.hpp"

#include <string_view>

namespace tool {

json cr_as_json(const tbs_cr_t &record);

// Reads a record; `path` is for messages. Throws failure for a member that is missing, unknown or no value of it.
cr_record cr_from_json(const std::string &path, std::string_view text);

} // namespace tool

#endif
