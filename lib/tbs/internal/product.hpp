// product.hpp - what other modules and tests need of the product module beyond its interface.
#ifndef TBS_INTERNAL_PRODUCT_HPP
#define TBS_INTERNAL_PRODUCT_HPP

#include "nt/nt_sys.h"

namespace tbs::product {

// The log of refused accesses.
char *access_log_path(char *buffer);

enum utils_kind { utils = 1, sql = 2 };

// A directory below "etc" by kind; null and a message for another kind.
char *utils_dir_of_kind(int kind, char *buffer, const char *leaf);

const char *os_name(const nt_version_t &version);
const char *processor_name(const nt_system_info_t &info);

// Version, build and service pack.
constexpr size_t os_version_size = 256;
void write_os_version(const nt_version_t &version, char (&text)[os_version_size]);

} // namespace tbs::product

#endif
