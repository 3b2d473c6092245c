// nt_sid_os.hpp - what a system must supply for nt_sid.h.
#ifndef NT_INTERNAL_NT_SID_OS_HPP
#define NT_INTERNAL_NT_SID_OS_HPP

#include "ks/ks_cred.h"

#include <cstddef>

namespace nt::os {

// SID of the effective user. 0, or as credutl_uid_to_sid().
[[nodiscard]] int user_sid(credutl_sid_t &sid) noexcept;

// Reads the id that the host got when it was installed, as text; KS_ENOENT when it has none.
[[nodiscard]] int machine_id(char *buffer, size_t size, size_t &length) noexcept;

} // namespace nt::os

#endif
