// memory_meter.hpp - how much memory the calling thread holds at most while a scope lasts.
#ifndef TESTS_SUPPORT_MEMORY_METER_HPP
#define TESTS_SUPPORT_MEMORY_METER_HPP

#include <cstddef>

// Counts what is taken with malloc() and its kin, by the libraries and by the host's alike, less what is released.
// One at a time in a thread.
class memory_meter {
public:
    memory_meter();
    ~memory_meter();
    memory_meter(const memory_meter &) = delete;
    memory_meter &operator=(const memory_meter &) = delete;

    // The most bytes held at one time since the meter was made.
    size_t peak() const;
    // The largest piece that was asked for.
    size_t largest() const;
};

#endif
