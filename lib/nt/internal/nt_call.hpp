// nt_call.hpp - the boundary of exported functions that return an error number.
#ifndef NT_INTERNAL_NT_CALL_HPP
#define NT_INTERNAL_NT_CALL_HPP

#include "ks/ks_errno.h"

#include <new>
#include <utility>

namespace nt {

// Why an inner function cannot do what it was asked.
struct failure {
    int error;
};

// Runs a body that gives an error number; what it throws becomes one.
template <class F> [[nodiscard]] int guarded(F &&body) noexcept {
    try {
        return std::forward<F>(body)();
    } catch (const failure &why) {
        return why.error;
    } catch (const std::bad_alloc &) {
        return KS_ENOMEM;
    } catch (...) {
        return KS_EIO;
    }
}

// The same for an exported function: every failure is left in the thread's ks_errno as well.
template <class F> [[nodiscard]] int call(F &&body) noexcept {
    const int error = guarded(std::forward<F>(body));
    if (error != 0) ks_errno = error;
    return error;
}

} // namespace nt

#endif
