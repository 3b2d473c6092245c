// wire_names.hpp - names of the values that a member may have.
#ifndef TBS_INTERNAL_WIRE_NAMES_HPP
#define TBS_INTERNAL_WIRE_NAMES_HPP

#include <cstdint>
#include <span>

namespace tbs::wire {

struct value_name {
    int64_t value;
    const char *name;
};

// Values without a name are as good as others.
struct names_of_values {
    const char *type;
    bool are_flags;
    std::span<const value_name> values;
};

} // namespace tbs::wire

#endif
