// faults.hpp - refuses chosen allocations of the calling thread: those of stg_* and those of C++ alike.
//
// Only the thread that made a `refuse` is affected. Bookkeeping of the test itself (EXPECT macros, sinks, strings)
// goes into a `suspend` scope, in which nothing is counted and nothing refused.
#ifndef TESTS_SUPPORT_FAULTS_HPP
#define TESTS_SUPPORT_FAULTS_HPP

#include <utility>

namespace faults {

// While it lives the nth allocation (from 1) fails; with `lasting` those behind it fail too. One per thread.
class refuse {
public:
    refuse(int nth, bool lasting);
    ~refuse();
    refuse(const refuse &) = delete;
    refuse &operator=(const refuse &) = delete;

    // Whether an allocation was refused.
    bool happened() const;
    // Allocations asked for so far, refused ones included.
    int asked() const;
};

// While it lives nothing is refused and nothing counted. Scopes nest; may be used without a `refuse`.
class suspend {
public:
    suspend();
    ~suspend();
    suspend(const suspend &) = delete;
    suspend &operator=(const suspend &) = delete;
};

// Counts the allocations of a body, refusing none.
template <class F> int count_allocations(F &&body) {
    refuse none(0, false);
    std::forward<F>(body)();
    return none.asked();
}

// Calls body(n, lasting) for n = 1, 2, ..., first with the nth allocation refused alone, then with it and all behind
// it, until a run asks for fewer than n. That last run, in which all goes well, is made as well. Gives the number of
// allocations that were refused in turn. The body runs counted: everything in it that the test needs for itself
// stands in a `suspend` scope.
template <class F> int each_allocation(F &&body) {
    for (int n = 1;; n++) {
        for (const bool lasting : {false, true}) {
            const refuse refused(n, lasting);
            body(n, lasting);
            if (!refused.happened()) return n - 1;
        }
    }
}

} // namespace faults

#endif
