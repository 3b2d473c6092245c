// guard.hpp - nothing thrown inside leaves the library.
#ifndef TBS_INTERNAL_GUARD_HPP
#define TBS_INTERNAL_GUARD_HPP

#include "report.hpp"
#include "tbs/tbs_status.h"

#include <new>
#include <utility>

namespace tbs {

// Runs the body of an exported function; a failure that it throws is reported and becomes the given result.
template <class R, class F>
R guard(const char *module, R no_memory, R internal, F &&body, int line = __builtin_LINE()) noexcept {
    try {
        return std::forward<F>(body)();
    } catch (const std::bad_alloc &) {
        report_no_memory(module);
        return no_memory;
    } catch (...) {
        report_internal(module, line);
        return internal;
    }
}

// The same for functions that return a status.
template <class F> tbs_status_t call(const char *module, F &&body, int line = __builtin_LINE()) noexcept {
    return guard<tbs_status_t>(module, TBS_ST_ENOMEM, TBS_ST_ERROR, std::forward<F>(body), line);
}

} // namespace tbs

#endif
