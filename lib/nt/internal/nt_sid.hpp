// nt_sid.hpp - the domain of a host that stands alone.
#ifndef NT_INTERNAL_NT_SID_HPP
#define NT_INTERNAL_NT_SID_HPP

#include <array>
#include <cstdint>
#include <string_view>

namespace nt {

using domain_parts = std::array<uint32_t, 3>; // S-1-5-21-a-b-c

// Makes the parts of a host's id, 32 hexadecimal digits and perhaps a line end behind them; false for what is none.
// The id itself, which is the host's secret, cannot be told from them.
[[nodiscard]] bool domain_of_machine(std::string_view id, domain_parts &parts);

} // namespace nt

#endif
