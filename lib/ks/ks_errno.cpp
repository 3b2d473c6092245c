#include "ks/ks_errno.h"

#include "internal/ks_os.hpp"

#include <algorithm>

namespace {

using ks::os::error_pair;

constinit thread_local int last_error = 0;

} // namespace

extern "C" int *ks_errno_location(void) noexcept { return &last_error; }

extern "C" int ks_errno_from_host(int host_error) noexcept {
    if (host_error == 0) return 0;
    const auto pairs = ks::os::error_pairs();
    const auto found = std::ranges::find(pairs, host_error, &error_pair::host);
    return found == pairs.end() ? KS_EIO : found->common;
}

extern "C" int ks_errno_to_host(int error) noexcept {
    if (error == 0) return 0;
    const auto pairs = ks::os::error_pairs();
    const auto found = std::ranges::lower_bound(pairs, error, {}, &error_pair::common);
    return found == pairs.end() || found->common != error ? -1 : found->host;
}
