// explain.hpp - a decision retold step by step.
#ifndef TOOLS_TBS_EXPLAIN_HPP
#define TOOLS_TBS_EXPLAIN_HPP

#include "acl_list.hpp"
#include "client.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tool {

// Who owns the object, as far as the user said.
struct ownership {
    std::optional<credutl_sid_t> user, group;
};

// One entry looked at (SID form), or one identity looked up (classic form).
struct step {
    size_t position;      // of the entry, from 1; 0 when the identity has no entry
    std::string identity; // of the entry, or the identity that was looked up
    bool applied;
    std::string reason;               // why it applied, or why not
    tbs_acl_permission_set_t added;   // permissions that the client did not have before
    tbs_acl_permission_set_t missing; // of the request, after this step
};

struct explanation {
    std::vector<step> steps; // in the order of the decision; ends with the step that granted
    bool granted = false;
    tbs_acl_permission_set_t allowed = 0;
    tbs_acl_permission_set_t missing = 0;
};

// Entry by entry in stored order.
explanation explain_by_sid(const acl_list &acl, tbs_acl_permission_set_t requested, const requester &who,
                           const ownership &owner);

// Identity by identity in the fixed order of look-up: everyone, owner, owner's group, domain, user, groups. The ACL
// must have been asked before: the check leaves the SIDs of its entries in it.
explanation explain_classic(const acl_list &acl, tbs_acl_permission_set_t requested, const requester &who,
                            bool is_owner_user, bool is_owner_group);

} // namespace tool

#endif
