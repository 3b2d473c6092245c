// acl_bytes.hpp - the bytes of ACLs: made, looked at, found wrong.
#ifndef TOOLS_TBS_ACL_BYTES_HPP
#define TOOLS_TBS_ACL_BYTES_HPP

#include "acl_list.hpp"
#include "byte_file.hpp"
#include "hex_view.hpp"

namespace tool {

// The self-contained bytes of an ACL. Throws failure when its texts are too long for them.
bytes encode(const acl_list &acl);

// Shows the members of an ACL's bytes to a listener.
tbs::wire::view_result view_acl(std::span<const uint8_t> encoded, bool classic, tbs::wire::listener &listener);

// What the members of an ACL's bytes mean: kinds, accounts and permissions by name. Keeps a reference to the words.
meaning meaning_in_acl(const vocabulary &words);

// Why bytes are no ACL: at which offset they stop making sense, or that an entry is not valid.
failure no_acl(const std::string &path, std::span<const uint8_t> encoded, bool classic);

} // namespace tool

#endif
