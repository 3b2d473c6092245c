#include "internal/nt_sid_os.hpp"

#include "internal/nt_sys_os.hpp"
#include "ks/ks_errno.h"

#include <unistd.h>

namespace nt::os {

int user_sid(credutl_sid_t &sid) noexcept { return credutl_uid_to_sid(geteuid(), &sid); }

int machine_id(char *buffer, size_t size, size_t &length) noexcept {
    return read_content("/etc/machine-id", -1, buffer, size, length) == 0 ? 0 : KS_ENOENT;
}

} // namespace nt::os
