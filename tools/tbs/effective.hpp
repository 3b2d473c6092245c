// effective.hpp - the effective ACL that a policy and a role map make.
#ifndef TOOLS_TBS_EFFECTIVE_HPP
#define TOOLS_TBS_EFFECTIVE_HPP

#include "acl_list.hpp"

#include <optional>
#include <string>

namespace tool {

// Reads a policy and a role map, and expands the roles; without a role map the policy stands as it is. Throws failure.
owned_sid_acl effective_acl(const std::string &policy, const std::optional<std::string> &role_map,
                            const vocabulary &words);

// The text of a SID ACL, in the form that is read. Throws failure.
std::string acl_text(tbs_sid_acl_h_t acl, const vocabulary &words);

} // namespace tool

#endif
