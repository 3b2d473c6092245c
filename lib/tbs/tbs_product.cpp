#include "tbs/tbs_product.h"

#include "internal/mutex_hold.hpp"
#include "internal/product.hpp"
#include "internal/report.hpp"
#include "ks/ks_dir.h"
#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_str.h"
#include "nt/nt_env.h"
#include "nt/nt_regy.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>
#include <utility>

static_assert(TBS_PATH_SIZE == KS_PATH_SIZE);

using namespace tbs;

namespace {

constexpr char module_name[] = "tbs";
constexpr char library_name[] = "liborsiktbs";
constexpr char name[] = "Tessivane";
constexpr char version[] = "11.0.0.1";
constexpr uint32_t view_interop_param = 26;

// ---- directories

char *append(char *buffer, const char *leaf) {
    const size_t used = std::strlen(buffer);
    strutl_snprintf(buffer + used, TBS_PATH_SIZE - used, "\\%s", leaf);
    return buffer;
}

// A directory below a base, and perhaps a leaf in it.
char *below(char *(*base)(char *, const char *), char *buffer, const char *directory, const char *leaf) {
    if (!buffer) return nullptr;
    base(buffer, directory);
    return leaf ? append(buffer, leaf) : buffer;
}
char *installed(char *buffer, const char *directory, const char *leaf) {
    return below(ks_product_dir, buffer, directory, leaf);
}
char *of_host(char *buffer, const char *directory, const char *leaf) {
    return below(ks_hostdata_dir, buffer, directory, leaf);
}

// In double quotes, unless the path is one word to every program.
char *quoted(char *buffer) {
    if (!buffer || strutl_is_ok_name(buffer, nullptr, "\\/:._-")) return buffer;
    char text[TBS_PATH_SIZE];
    strutl_snprintf(text, sizeof text, "\"%.*s\"", TBS_PATH_SIZE - 3, buffer); // the path is cut, not its quotes
    strutl_cpy_buf(buffer, TBS_PATH_SIZE, text);
    return buffer;
}

// ---- platform

constinit tvthread_mutex_t platform_mutex = TVTHREAD_MUTEX_INIT;
constinit std::atomic<bool> platform_known{false};
constinit const char *platform_name = "", *platform_processor = "";
constinit char platform_version[product::os_version_size] = "";

bool learn_platform() {
    nt_system_info_t info;
    GetSystemInfo(&info);
    nt_version_t found;
    if (nt_get_version(&found) != 0) return false;
    platform_name = product::os_name(found);
    platform_processor = product::processor_name(info);
    product::write_os_version(found, platform_version);
    platform_known.store(true, std::memory_order_release);
    return true;
}

bool know_platform() {
    if (platform_known.load(std::memory_order_acquire)) return true;
    const mutex_hold held(platform_mutex);
    return platform_known.load(std::memory_order_relaxed) || learn_platform();
}

// ---- test fixes

void print_fix(const char *fix, bool first) {
    if (first) say<general_messages, 35>(IMSG_PLAIN, module_name);
    imsg_print_shared(IMSG_PLAIN, module_name, "\t%s\n", IMSG_LITERAL, fix);
}

bool is_self_or_parent(const char *entry) { return std::strcmp(entry, ".") == 0 || std::strcmp(entry, "..") == 0; }

} // namespace

namespace tbs::product {

char *access_log_path(char *buffer) { return of_host(buffer, "log", "access_log"); }

char *utils_dir_of_kind(int kind, char *buffer, const char *leaf) {
    const char *const directory = kind == utils ? "utils" : kind == sql ? "sql" : nullptr;
    if (!directory) {
        imsg_print_shared(IMSG_ERROR, module_name, "%s: Unknown type", IMSG_LITERAL, "tbs_product_utils_dir_type");
        return nullptr;
    }
    return below(tbs_product_etc_dir, buffer, directory, leaf);
}

const char *os_name(const nt_version_t &found) {
    switch (found.platform_id) {
    case NT_PLATFORM_WIN32S: return "Windows/Win32s";
    case NT_PLATFORM_WINDOWS: return found.minor_version < 10 ? "Windows 95" : "Windows 98";
    case NT_PLATFORM_NT: return "Windows NT";
    default: return "unknown";
    }
}

const char *processor_name(const nt_system_info_t &info) {
    static constexpr struct {
        uint16_t architecture;
        const char *name;
    } names[] = {{NT_ARCHITECTURE_ARM, "ARM"},
                 {NT_ARCHITECTURE_IA64, "IA64"},
                 {NT_ARCHITECTURE_X64, "x64"},
                 {NT_ARCHITECTURE_ARM64, "ARM64"}};
    if (info.architecture == NT_ARCHITECTURE_X86) {
        static constexpr const char *by_level[] = {"386", "486", "Pentium"};
        return info.level >= 3 && info.level <= 5 ? by_level[info.level - 3] : "x86";
    }
    const auto found = std::find_if(std::begin(names), std::end(names),
                                    [&](const auto &row) { return row.architecture == info.architecture; });
    return found == std::end(names) ? "unknown" : found->name;
}

void write_os_version(const nt_version_t &found, char (&text)[os_version_size]) {
    char service_pack[129];
    strutl_cvt_wide_str_to_str(service_pack, sizeof service_pack, found.service_pack);
    strutl_snprintf(text, sizeof text, "%d.%d (build %d) %s", static_cast<int>(found.major_version),
                    static_cast<int>(found.minor_version), static_cast<int>(found.build_number), service_pack);
}

} // namespace tbs::product

// ---- directories of the installation

extern "C" char *tbs_product_dir(char *buffer, const char *leaf) noexcept { return ks_product_dir(buffer, leaf); }

extern "C" char *tbs_product_script_dir(char *buffer, const char *leaf) noexcept {
    return installed(buffer, "bin", leaf);
}

extern "C" char *tbs_product_tool_dir(char *buffer, const char *leaf) noexcept {
    return installed(buffer, "bin", leaf);
}

extern "C" char *tbs_product_server_dir(char *buffer, const char *leaf) noexcept {
    return installed(buffer, "bin", leaf);
}

extern "C" char *tbs_product_tool_dir_quoted(char *buffer, const char *leaf) noexcept {
    return quoted(tbs_product_tool_dir(buffer, leaf));
}

extern "C" char *tbs_product_server_dir_quoted(char *buffer, const char *leaf) noexcept {
    return quoted(tbs_product_server_dir(buffer, leaf));
}

extern "C" char *tbs_product_etc_dir(char *buffer, const char *leaf) noexcept {
    return installed(buffer, "etc", leaf);
}

extern "C" char *tbs_product_utils_dir(char *buffer, const char *leaf) noexcept {
    return product::utils_dir_of_kind(product::utils, buffer, leaf);
}

extern "C" char *tbs_product_sql_dir(char *buffer, const char *leaf) noexcept {
    return product::utils_dir_of_kind(product::sql, buffer, leaf);
}

extern "C" char *tbs_product_library_dir(char *buffer, const char *leaf) noexcept {
    return installed(buffer, "lib", leaf);
}

extern "C" char *tbs_product_config_dir(char *buffer, const char *leaf) noexcept {
    return installed(buffer, "config", leaf);
}

extern "C" char *tbs_product_common_dir(char *buffer, const char *leaf) noexcept {
    return installed(buffer, "common", leaf);
}

extern "C" char *tbs_product_ui_config_dir(char *buffer, const char *leaf) noexcept {
    return installed(buffer, "config\\ui", leaf);
}

extern "C" char *tbs_product_ui_uid_dir(char *buffer, const char *leaf) noexcept {
    return installed(buffer, "lib\\X11/uid", leaf);
}

extern "C" char *tbs_product_mgrs_dir(char *buffer, const char *leaf) noexcept {
    return installed(buffer, "lib\\mgrs", leaf);
}

// ---- directories of the host's data

extern "C" char *tbs_product_host_priv_dir(char *buffer, const char *leaf) noexcept {
    return ks_hostdata_dir(buffer, leaf);
}

extern "C" char *tbs_product_log_dir(char *buffer, const char *leaf) noexcept { return of_host(buffer, "log", leaf); }

extern "C" char *tbs_product_logfile_pn(char *buffer) noexcept { return of_host(buffer, "log", "error_log"); }

extern "C" char *tbs_product_cache_dir(char *buffer, const char *leaf) noexcept {
    return of_host(buffer, "cache", leaf);
}

extern "C" char *tbs_product_host_config_dir(char *buffer, const char *leaf) noexcept {
    return of_host(buffer, "config", leaf);
}

extern "C" char *tbs_product_rgy_dir(char *buffer, const char *leaf) noexcept { return of_host(buffer, "rgy", leaf); }

// ---- name, version, switches

extern "C" const char *tbs_product_name(void) noexcept { return name; }

extern "C" const char *tbs_product_version(void) noexcept { return version; }

extern "C" size_t tbs_product_name_for_vb(char *buffer, size_t size) noexcept {
    return buffer ? strutl_cpy_buf(buffer, size, name) : 0;
}

extern "C" size_t tbs_product_version_for_vb(char *buffer, size_t size) noexcept {
    return buffer ? strutl_cpy_buf(buffer, size, version) : 0;
}

extern "C" tbs_boolean_t tbs_product_view_interop(void) noexcept {
    uint32_t value = 0;
    return ntregy_get_param(view_interop_param, &value, sizeof value) == 0 && value != 0;
}

extern "C" tbs_status_t tbs_product_set_view_interop(tbs_boolean_t on) noexcept {
    const uint32_t value = on ? 1 : 0;
    return ntregy_set_param(view_interop_param, NTREGY_DWORD, &value, sizeof value);
}

extern "C" tbs_boolean_t tbs_product_use_native(void) noexcept {
    char value[257];
    return nt_getenv_safe("TESVA_USE_GUI", value, sizeof value) != 0 || strutl_stricoll(value, "CTE") != 0;
}

extern "C" tbs_status_t tbs_product_list_hotfixes(void) noexcept {
    char path[TBS_PATH_SIZE], entry[256];
    fileutl_dir_t *fixes = fileutl_opendir(installed(path, "doc\\testfix", nullptr));
    if (!fixes) return 0;
    bool first = true;
    while (fileutl_readdir_r(fixes, entry, sizeof entry) > 0) {
        if (!is_self_or_parent(entry)) print_fix(entry, std::exchange(first, false));
    }
    return fileutl_closedir(fixes);
}

extern "C" void liborsiktbs_print_verid(void) noexcept {
    imsg_print_shared(IMSG_PLAIN, module_name, "%-*s %s (%s) %s\n", IMSG_LITERAL, 33, library_name, version,
                      __DATE__ " " __TIME__, "64-bit");
}

extern "C" tbs_boolean_t tbs_platform_info(const char **os_name_out, const char **os_version_out,
                                           const char **processor_out) noexcept {
    if (!know_platform()) return 0;
    if (os_name_out) *os_name_out = platform_name;
    if (os_version_out) *os_version_out = platform_version;
    if (processor_out) *processor_out = platform_processor;
    return 1;
}
