// acl_list.hpp - an ACL read from a file, a text or its bytes, in the form that the user chose.
#ifndef TOOLS_TBS_ACL_LIST_HPP
#define TOOLS_TBS_ACL_LIST_HPP

#include "tbs/tbs_acl.h"
#include "tool.hpp"
#include "vocabulary.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tool {

using owned_acl = owned<tbs_acl_h_t, tbs_acl_free>;
using owned_sid_acl = owned<tbs_sid_acl_h_t, tbs_sid_acl_free>;

// The message of the table "tbs_acl" about an identity in a file that no source knows, and what to do about it.
inline constexpr int unknown_identity = 33;
inline constexpr char unknown_identity_remedy[] =
    "Write kind:DOMAIN\\name, as \"tbs whoami\" does; the accounts file (ORSIK_ACCOUNTS), the domain and this host "
    "were asked.";

// What the commands on ACL files share: options --classic, --permissions, --json; and --encoded, where a file may be
// either.
struct acl_options {
    bool classic = false;
    bool encoded = false;
    bool as_json = false;
    std::optional<std::string> permissions;

    void add_to(command target);
    void add_encoded_to(command target);
};

struct acl_entry {
    tbs_acl_id_kind_t kind;
    std::string identity; // "User:DOMAIN\name"
    tbs_acl_permission_set_t perms;
};

class acl_list {
public:
    // Reads a text file. Throws failure; the library has printed what is wrong with the line.
    acl_list(const std::string &path, bool classic, const vocabulary &words);
    // Decodes bytes that were read from a file. Throws failure; the library has printed what is wrong with them.
    acl_list(const std::string &path, std::span<const uint8_t> encoded, bool classic);
    // Reads a file of the kind that the options name; "-" is standard input.
    acl_list(const std::string &path, const acl_options &o, const vocabulary &words);

    [[nodiscard]] const std::string &path() const { return path_; }
    // Gives it another path to be shown by.
    void call(const std::string &path) { path_ = path; }
    [[nodiscard]] bool is_classic() const { return is_classic_; }
    [[nodiscard]] const char *form() const { return is_classic_ ? "classic" : "sid"; }
    [[nodiscard]] tbs_acl_h_t classic() const { return classic_.get(); }   // NULL in the SID form
    [[nodiscard]] tbs_sid_acl_h_t by_sid() const { return by_sid_.get(); } // NULL in the classic form
    // In stored order.
    [[nodiscard]] const std::vector<acl_entry> &entries() const { return entries_; }

    // Permissions that this ACL gives to the identity of another's entry (same form); nothing when it has no entry.
    [[nodiscard]] std::optional<tbs_acl_permission_set_t> perms_of(const acl_list &other, size_t position) const;
    // Whether the library finds both ACLs equal, in both directions.
    [[nodiscard]] bool equals(const acl_list &other) const;

private:
    tbs_status_t parse(const vocabulary &words);
    void list_entries();

    std::string path_;
    bool is_classic_;
    owned_acl classic_;
    owned_sid_acl by_sid_;
    std::vector<acl_entry> entries_;
};

// The entries of a SID ACL, in stored order.
std::vector<acl_entry> entries_of(tbs_sid_acl_h_t acl);

// Text of a SID identity. An account that no source can name any more is shown by its SID.
std::string identity_text(const tbs_sid_acl_id_t &id);

} // namespace tool

#endif
