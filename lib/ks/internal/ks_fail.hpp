// ks_fail.hpp - the failure of an exported function.
#ifndef KS_INTERNAL_KS_FAIL_HPP
#define KS_INTERNAL_KS_FAIL_HPP

#include "ks/ks_errno.h"

namespace ks {

// Leaves the error in ks_errno and gives it back, for functions whose result is the error.
inline int fail(int error) noexcept {
    ks_errno = error;
    return error;
}

// The same for functions whose failure is a null pointer.
inline decltype(nullptr) fail_null(int error) noexcept {
    ks_errno = error;
    return nullptr;
}

} // namespace ks

#endif
