#include "internal/nt_sid.hpp"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string domain_of(std::string_view id) {
    nt::domain_parts parts = {1, 2, 3};
    if (!nt::domain_of_machine(id, parts)) {
        EXPECT_EQ(parts, (nt::domain_parts{1, 2, 3}));
        return "none";
    }
    return std::to_string(parts[0]) + '-' + std::to_string(parts[1]) + '-' + std::to_string(parts[2]);
}

TEST(DomainOfMachine, IsAlwaysTheSame) {
    // Python: uuid.uuid5(uuid.UUID("6d1c520e-93b7-4c58-a42f-0d7be13688f5"), id), its bytes 0-3, 10-13, 4 5 14 15
    EXPECT_EQ(domain_of("0123456789abcdef0123456789abcdef"), "2520899675-1655309289-2322986973");
    EXPECT_EQ(domain_of("0123456789abcdef0123456789abcdef\n"), "2520899675-1655309289-2322986973");
    EXPECT_EQ(domain_of("0123456789abcdef0123456789abcdee\n"), "4140664100-3907853680-3474311396");
}

TEST(DomainOfMachine, TakesAnIdAndNothingElse) {
    for (const char *id :
         {"", "\n", "uninitialized\n", "0123456789abcdef0123456789abcde", "0123456789abcdef0123456789abcdef0",
          "0123456789abcdef0123456789abcdeg", "00000000000000000000000000000000\n",
          "0123456789abcdef0123456789abcdef\n\n", "0123456789abcdef0123456789abcdef "}) {
        EXPECT_EQ(domain_of(id), "none") << id;
    }
}

} // namespace
