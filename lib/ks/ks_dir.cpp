#include "ks/ks_dir.h"

#include "internal/ks_dir.hpp"
#include "internal/ks_os.hpp"
#include "ks/ks_file.h"
#include "ks/ks_str.h"
#include "ks/ks_thread.h"

#include <atomic>
#include <cstring>

namespace {

constinit tvthread_mutex_t installation_mutex = TVTHREAD_MUTEX_INIT;
constinit std::atomic<bool> installation_known{false};
constinit char installation[KS_PATH_SIZE] = "";

// Found once, so that a library loaded by a relative path stays found when the working directory changes.
const char *installation_directory() {
    if (!installation_known.load(std::memory_order_acquire)) {
        tvthread_mutex_lock(&installation_mutex);
        if (!installation_known.load(std::memory_order_relaxed)) {
            ks::os::directory_above_library(installation, sizeof installation);
            installation_known.store(true, std::memory_order_release);
        }
        tvthread_mutex_unlock(&installation_mutex);
    }
    return installation;
}

void append(char *buffer, const char *text) {
    const size_t length = std::strlen(buffer);
    strutl_cpy_buf(buffer + length, KS_PATH_SIZE - length, text);
}

char *append_leaf(char *buffer, const char *leaf) {
    if (leaf && *leaf) {
        append(buffer, "\\");
        append(buffer, leaf);
    }
    return buffer;
}

// Tells whether the host's own data serve the process: it may fill their directory, or what the leaf names is there for
// it.
bool uses_data_of_host(const char *leaf) {
    if (ks::os::can_fill_directory(ks::os::hostdata_directory)) return true;
    char part[KS_PATH_SIZE], host_part[KS_PATH_SIZE];
    strutl_cpy_buf(part, sizeof part, ks::os::hostdata_directory);
    return leaf && *leaf && fileutl_host_path(append_leaf(part, leaf), host_part, sizeof host_part) == 0 &&
           ks::os::is_shared(host_part);
}

} // namespace

namespace ks {

bool make_hostdata_directory_for(std::string_view host_path) noexcept {
    // One that somebody named and did not make may be one that is not mounted.
    if (os::trusted_getenv("ORSIK_HOSTDATA_DIR")) return false;
    char product_path[KS_PATH_SIZE], directory[KS_PATH_SIZE];
    if (fileutl_host_path(ks_hostdata_dir(product_path, nullptr), directory, sizeof directory) != 0) return false;
    const std::string_view above = directory;
    return host_path.starts_with(above) && host_path.substr(above.size()).starts_with('/') &&
           os::make_directories(directory);
}

} // namespace ks

extern "C" char *ks_product_dir(char *buffer, const char *leaf) noexcept {
    if (!buffer) return nullptr;
    const char *chosen = ks::os::trusted_getenv("ORSIK_PRODUCT_DIR");
    strutl_cpy_buf(buffer, KS_PATH_SIZE, chosen ? chosen : installation_directory());
    return append_leaf(buffer, leaf);
}

extern "C" char *ks_hostdata_dir(char *buffer, const char *leaf) noexcept {
    if (!buffer) return nullptr;
    if (const char *chosen = ks::os::trusted_getenv("ORSIK_HOSTDATA_DIR")) {
        strutl_cpy_buf(buffer, KS_PATH_SIZE, chosen);
    } else if (!uses_data_of_host(leaf) && ks::os::user_state_directory(buffer, KS_PATH_SIZE)) {
        append_leaf(buffer, "tessivane");
    } else {
        strutl_cpy_buf(buffer, KS_PATH_SIZE, ks::os::hostdata_directory);
    }
    return append_leaf(buffer, leaf);
}

extern "C" char *ks_config_dir(char *buffer, const char *leaf) noexcept {
    if (!buffer) return nullptr;
    if (ks::os::is_directory(ks::os::config_directory)) {
        strutl_cpy_buf(buffer, KS_PATH_SIZE, ks::os::config_directory);
    } else {
        ks_product_dir(buffer, "config");
    }
    return append_leaf(buffer, leaf);
}
