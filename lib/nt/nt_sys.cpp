#include "nt/nt_sys.h"

#include "internal/nt_sys_os.hpp"
#include "ks/ks_errno.h"

extern "C" int nt_get_version(nt_version_t *version_out) noexcept {
    nt_version_t found = {};
    const int error = version_out ? nt::os::version(found) : KS_EINVAL;
    if (error != 0) return ks_errno = error;
    *version_out = found;
    return 0;
}

extern "C" void GetSystemInfo(nt_system_info_t *info_out) noexcept {
    if (info_out) nt::os::system_info(*info_out);
}
