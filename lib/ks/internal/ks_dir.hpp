// What logs need of the product's directories.
#ifndef KS_INTERNAL_DIR_HPP
#define KS_INTERNAL_DIR_HPP

#include <string_view>

namespace ks {

// Makes the host data directory when a path lies in it, unless the environment names it. True when it is there.
bool make_hostdata_directory_for(std::string_view host_path) noexcept;

} // namespace ks

#endif
