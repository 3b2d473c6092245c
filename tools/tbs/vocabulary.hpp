// vocabulary.hpp - the permission names and the generic map that a command works with.
#ifndef TOOLS_TBS_VOCABULARY_HPP
#define TOOLS_TBS_VOCABULARY_HPP

#include "output.hpp"
#include "tbs/tbs_acl.h"

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace tool {

class vocabulary {
public:
    // What a permissions file says; without one, the built-in names and the default generic map. Throws failure.
    explicit vocabulary(const std::optional<std::string> &path);

    [[nodiscard]] const tbs_acl_perm_name_t *names() const { return names_.data(); }
    [[nodiscard]] size_t count() const { return names_.size(); }
    [[nodiscard]] const tbs_acl_generic_map_t *map() const { return &map_; }

    // Names of a set, separated by ",", as the library folds and orders them; "(none)" for the empty set.
    [[nodiscard]] std::string text(tbs_acl_permission_set_t perms) const;
    // A set for a JSON answer: {"names": [...], "bits": "0x..."}.
    [[nodiscard]] json as_json(tbs_acl_permission_set_t perms) const;
    // The set that a request names. Throws failure when a name is unknown or the set is empty.
    [[nodiscard]] tbs_acl_permission_set_t request(const std::string &text) const;

private:
    class reader;
    [[nodiscard]] bool find(std::string_view name, tbs_acl_permission_set_t &value_out) const;

    std::deque<std::string> storage_; // what the records of names_ point to
    std::vector<tbs_acl_perm_name_t> names_;
    tbs_acl_generic_map_t map_;
};

} // namespace tool

#endif
