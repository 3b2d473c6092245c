// value.hpp - truth values of rules, and which of them a rule can take.
#ifndef TBS_TYPING_VALUE_HPP
#define TBS_TYPING_VALUE_HPP

#include <cstdint>

namespace tbs::typing {

enum class value : uint8_t { holds = 0, fails = 1, undecided = 2 };

constexpr value of(bool holds) { return holds ? value::holds : value::fails; }

constexpr value inverted(value of_operand) {
    return of_operand == value::undecided ? value::undecided : of(of_operand == value::fails);
}

// A set of values: 1 << value.
using value_set = uint8_t;
inline constexpr value_set can_hold = 1, can_fail = 2, can_be_undecided = 4;
inline constexpr value_set any_value = can_hold | can_fail | can_be_undecided;

// "or" gives the first that holds; else what was left undecided; else it fails.
constexpr value_set either(value_set left, value_set right) {
    value_set result = left & can_hold;
    if (left & can_fail) result |= right;
    if (left & can_be_undecided) result |= (right & can_hold) | (right & ~can_hold ? can_be_undecided : 0);
    return result;
}

// "and" gives the first that does not hold, else the last.
constexpr value_set both(value_set left, value_set right) {
    return (left & ~can_hold) | (left & can_hold ? right : 0);
}

constexpr value_set inverted(value_set of_operand) {
    return (of_operand & can_be_undecided) | (of_operand & can_hold ? can_fail : 0) |
           (of_operand & can_fail ? can_hold : 0);
}

} // namespace tbs::typing

#endif
