// ks_call.hpp - the boundary of exported functions that return an error number.
#ifndef KS_INTERNAL_KS_CALL_HPP
#define KS_INTERNAL_KS_CALL_HPP

#include "internal/ks_fail.hpp"

#include <new>
#include <utility>

namespace ks {

// Runs the body of an exported function. What it throws becomes an error number, and every failure is left in the
// thread's ks_errno as well.
template <class F> [[nodiscard]] int call(F &&body) noexcept {
    int error = 0;
    try {
        error = std::forward<F>(body)();
    } catch (const std::bad_alloc &) {
        error = KS_ENOMEM;
    } catch (...) {
        error = KS_EIO;
    }
    return error == 0 ? 0 : fail(error);
}

} // namespace ks

#endif
