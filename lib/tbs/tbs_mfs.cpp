#include "tbs/tbs_mfs.h"

#include "internal/guard.hpp"
#include "internal/mutex_hold.hpp"
#include "internal/owned.hpp"
#include "ks/ks_date.h"
#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_pfm.h"
#include "ks/ks_str.h"
#include "nt/nt_env.h"
#include "nt/nt_regy.h"
#include "nt/nt_sid.h"

#include <atomic>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <string_view>
#include <utility>

using namespace tbs;

namespace {

constexpr char module_name[] = "tbs_mfs";
constexpr char separator[] = "\\";
constexpr std::string_view separators = "\\/";

// Errors that say something about the host pass; lack of memory does not.
int unless_no_memory(int error) {
    if (error == KS_ENOMEM) throw std::bad_alloc();
    return error;
}

// ---- what is found out once

constinit tvthread_mutex_t pathname_mutex = TVTHREAD_MUTEX_INIT;
constinit tvthread_mutex_t domain_mutex = TVTHREAD_MUTEX_INIT;
constinit tvthread_mutex_t user_mutex = TVTHREAD_MUTEX_INIT;

// Gives a value that find() gives once, under the mutex, and that is read without it from then on. While find() gives
// `unknown`, or throws, the value is not known.
template <class T, class Find> T found_once(std::atomic<T> &kept, T unknown, tvthread_mutex_t &mutex, Find &&find) {
    T value = kept.load(std::memory_order_acquire);
    if (value != unknown) return value;
    const mutex_hold hold(mutex);
    value = kept.load(std::memory_order_relaxed);
    if (value != unknown) return value;
    value = find();
    kept.store(value, std::memory_order_release);
    return value;
}
using kept_text = std::atomic<const char *>;
using kept_flags = std::atomic<uint32_t>;
constexpr uint32_t unknown_flags = UINT32_MAX;

template <class Find> const char *found_once(kept_text &text, tvthread_mutex_t &mutex, Find &&find) {
    return found_once<const char *>(text, nullptr, mutex, std::forward<Find>(find));
}

// ---- view roots, all under the pathname mutex

class view_root {
public:
    view_root(mvfs_view_root_type_t type, bool silent) : type_(type) {
        unless_no_memory(silent ? mvfs_view_root_open_sil_type(type, &root_, 1)
                                : mvfs_view_root_open_type(type, &root_));
    }
    ~view_root() { mvfs_view_root_close_type(type_, &root_); }
    view_root(const view_root &) = delete;
    view_root &operator=(const view_root &) = delete;
    explicit operator bool() const { return root_ != nullptr; }

    [[nodiscard]] bool ask(int command, char *buffer, size_t size) {
        int error;
        do {
            error = mvfs_cmd(root_, command, buffer, size);
        } while (error == KS_EINTR);
        return unless_no_memory(error) == 0;
    }

private:
    mvfs_view_root_type_t type_;
    mvfs_view_root_t *root_ = nullptr;
};

constexpr mvfs_view_root_type_t view_root_types[] = {DYVWROOT, AUVWROOT};

constinit kept_flags workspace_flags{unknown_flags};
constinit kept_flags dynamic_flags{unknown_flags};

bool is_workspace_disabled() {
    char value[256];
    return nt_getenv_safe("ORSIK_NO_WS", value, sizeof value) == 0 && std::strcmp(value, "TRUE") == 0;
}

uint32_t find_workspace_flags(bool silent) {
    const bool has_mvfs = view_root(DYVWROOT, silent) || view_root(AUVWROOT, silent);
    return (has_mvfs ? 0 : TBS_MVFS_WS_NO_MVFS) | (is_workspace_disabled() ? TBS_MVFS_WS_DISABLED : 0);
}

// For callers that hold the pathname mutex.
bool has_mvfs(bool silent) {
    uint32_t flags = workspace_flags.load(std::memory_order_relaxed);
    if (flags == unknown_flags) {
        flags = find_workspace_flags(silent);
        workspace_flags.store(flags, std::memory_order_release);
    }
    return (flags & TBS_MVFS_WS_NO_MVFS) == 0;
}

constexpr size_t root_path_size = 256;
constinit char root_path_texts[std::size(view_root_types)][root_path_size] = {};
constinit kept_text root_paths[std::size(view_root_types)] = {};

// The path of a view root, "" without any, null while it cannot be opened.
const char *find_root_path(mvfs_view_root_type_t type, bool &answered) {
    if (!has_mvfs(false)) return "";
    view_root root(type, true);
    if (!root) return nullptr;
    char *const text = root_path_texts[type];
    answered = root.ask(MVFS_CMD_GET_VIEW_ROOT, text, root_path_size);
    return answered ? text : nullptr;
}

// ---- names

constexpr size_t symbol_size = 128;           // as a view root gives it
constexpr size_t registered_symbol_size = 64; // as the registry does
constexpr uint32_t naming_symbol_param = 52;
constexpr char default_symbol[] = "@@";

constinit char version_prefix_text[1 + symbol_size] = "^";
constinit kept_text kept_version_prefix{nullptr};

bool ask_view_roots_for_symbol(char *symbol, bool silent) {
    if (!has_mvfs(silent)) return false;
    for (const mvfs_view_root_type_t type : view_root_types) {
        view_root root(type, silent);
        if (root && root.ask(MVFS_CMD_GET_NAMING_SYMBOL, symbol, symbol_size)) return true;
    }
    return false;
}

bool ask_registry_for_symbol(char *symbol) {
    // Data that is no text need not be terminated.
    char value[registered_symbol_size + 1] = "";
    if (unless_no_memory(ntregy_get_mvfs_param(naming_symbol_param, value, registered_symbol_size)) != 0)
        return false;
    strutl_cpy_buf(symbol, symbol_size, value);
    return *value != '\0'; // every name would end in an empty symbol
}

const char *find_version_prefix(bool silent) {
    char *const symbol = version_prefix_text + 1;
    if (!ask_view_roots_for_symbol(symbol, silent) && !ask_registry_for_symbol(symbol)) {
        strutl_cpy_buf(symbol, symbol_size, default_symbol);
    }
    return version_prefix_text;
}

// "^" and the extended naming symbol.
const char *version_prefix(bool silent) {
    return found_once(kept_version_prefix, pathname_mutex, [&] { return find_version_prefix(silent); });
}

const char *naming_symbol(bool silent) { return version_prefix(silent) + 1; }

// The parts may lie in the buffer.
void join(char *buffer, std::initializer_list<const char *> parts) {
    char text[TBS_PATH_SIZE];
    strutl_concat(text, sizeof text, parts.begin(), parts.size());
    strutl_cpy_buf(buffer, TBS_PATH_SIZE, text);
}

// The longest part of a path, from its start to a separator or the end, that ends in the symbol: where that begins.
size_t find_suffix(std::string_view name, std::string_view symbol) {
    while (!name.ends_with(symbol)) {
        const size_t cut = name.find_last_of(separators);
        if (cut == name.npos) return name.npos;
        name = name.substr(0, cut);
    }
    return name.size() - symbol.size();
}

const char *find_last(const char *text, const char *wanted) {
    const char *last = nullptr;
    for (const char *at = text; (at = strutl_find_str(at, wanted)) != nullptr; at++) last = at;
    return last;
}

// The number of a derived object's name, read from what follows the symbol.
bool read_number(const char *identifier, uint32_t &number) {
    const char *const dot = std::strrchr(identifier, '.');
    return dot && !std::strpbrk(identifier, separators.data()) && strutl_strtoul(dot + 1, 0, &number) == 0;
}

// ---- identities

constexpr char unknown_domain[] = "UnknownDomain";
constexpr char unknown_user[] = "";

constinit char domain_text[128] = "";
constinit kept_text domain_id{nullptr};
constinit char user_text[256] = "";
constinit kept_text user_identity{nullptr};

const char *find_domain_id() {
    const int error = nt_get_domain_sid_str(domain_text, sizeof domain_text);
    if (error == KS_ENOMEM) return nullptr;
    return error == 0 ? domain_text : unknown_domain;
}

const char *find_user_identity() {
    return nt_get_sid_str(user_text, sizeof user_text) == 0 ? user_text : unknown_user;
}

} // namespace

extern "C" tbs_status_t tbs_version_ext_pname(char *buffer, const char *prefix, const char *suffix) noexcept {
    return tbs_version_ext_pname_sil(buffer, prefix, suffix, 0);
}

extern "C" tbs_status_t tbs_version_ext_pname_sil(char *buffer, const char *prefix, const char *suffix,
                                                  tbs_boolean_t silent) noexcept {
    if (!buffer) return TBS_ST_EINVAL;
    return call(module_name, [&] {
        join(buffer, {prefix, naming_symbol(silent != 0), suffix});
        return 0;
    });
}

extern "C" tbs_status_t tbs_version_prefix_pname(char *buffer, const char *pathname, const char *suffix) noexcept {
    return tbs_version_prefix_pname_sil(buffer, pathname, suffix, 0);
}

extern "C" tbs_status_t tbs_version_prefix_pname_sil(char *buffer, const char *pathname, const char *suffix,
                                                     tbs_boolean_t silent) noexcept {
    if (!buffer) return TBS_ST_EINVAL;
    return call(module_name, [&]() -> tbs_status_t {
        char directory[TBS_PATH_SIZE] = "", leaf[256] = "";
        if (pathname && fileutl_strip_leaf(pathname, directory, sizeof directory, leaf, sizeof leaf) != 0) {
            return TBS_ST_ERROR;
        }
        const char *const marked = version_prefix(silent != 0);
        join(buffer, {directory, *directory ? separator : "", marked, *leaf ? separator : "", leaf, suffix});
        return 0;
    });
}

extern "C" tbs_boolean_t tbs_pname_contains_version_suffix(const char *pathname) noexcept {
    size_t index;
    return tbs_pname_contains_version_suffix_at_index(pathname, &index);
}

extern "C" tbs_boolean_t tbs_pname_contains_version_suffix_at_index(const char *pathname,
                                                                    size_t *index_out) noexcept {
    if (!pathname || !index_out) return 0;
    return guard<tbs_boolean_t>(module_name, 0, 0, [&] {
        const size_t index = find_suffix(pathname, naming_symbol(true));
        if (index == std::string_view::npos) return 0;
        *index_out = index;
        return 1;
    });
}

extern "C" void tbs_strip_ver_ext_chars(char *pathname) noexcept {
    if (!pathname || !*pathname) return;
    guard(module_name, false, false, [&] {
        const std::string_view name = pathname, ending = naming_symbol(false);
        const bool found = name.ends_with(ending);
        if (found) pathname[name.size() - ending.size()] = '\0';
        return found;
    });
}

extern "C" tbs_status_t tbs_decode_do_pname(const char *pathname, size_t *index_out, uint32_t *number_out) noexcept {
    if (!pathname) return TBS_ST_EINVAL;
    return call(module_name, [&]() -> tbs_status_t {
        const char *const wanted = naming_symbol(false);
        const char *const at = find_last(pathname, wanted);
        uint32_t number;
        if (!at || !read_number(at + std::strlen(wanted), number)) return TBS_ST_ERROR;
        if (index_out) *index_out = static_cast<size_t>(at - pathname);
        if (number_out) *number_out = number;
        return 0;
    });
}

extern "C" tbs_status_t tbs_format_do_idstr(char *buffer, const void *, const tbs_fstat_db_t *status,
                                            uint32_t number) noexcept {
    if (!buffer || !status) return TBS_ST_EINVAL;
    char date[DATE_TOKEN_SIZE];
    if (date_fmt_token_short_date_time(status->mtime.tv_sec, date, sizeof date) != 0) return TBS_ST_ERROR;
    const size_t length = strutl_snprintf(buffer, TBS_PATH_SIZE, "%s.%u", date, number);
    return length < TBS_PATH_SIZE ? 0 : TBS_ST_ERROR;
}

extern "C" tbs_status_t tbs_view_root(char *buffer, const char *leaf) noexcept {
    return tbs_view_root_type(DYVWROOT, buffer, leaf);
}

extern "C" tbs_status_t tbs_view_root_type(mvfs_view_root_type_t type, char *buffer, const char *leaf) noexcept {
    if (type != DYVWROOT && type != AUVWROOT) {
        pfm_assert_fail("(vrtype == DYVWROOT) || (vrtype == AUVWROOT)", "lib/tbs/tbs_mfs", 96);
    }
    if (!buffer) return TBS_ST_EINVAL;
    return call(module_name, [&]() -> tbs_status_t {
        bool answered = true;
        const char *const path =
            found_once(root_paths[type], pathname_mutex, [&] { return find_root_path(type, answered); });
        if (!answered) return TBS_ST_NOT_FOUND;
        const bool has_leaf = leaf && *leaf;
        if (!has_leaf && !(path && *path)) return TBS_ST_ERROR;
        join(buffer, {path, has_leaf ? separator : "", leaf});
        return 0;
    });
}

extern "C" uint32_t tbs_mvfs_ws_flags(void) noexcept {
    return guard<uint32_t>(module_name, TBS_MVFS_WS_NO_MVFS, TBS_MVFS_WS_NO_MVFS, [] {
        return found_once(workspace_flags, unknown_flags, pathname_mutex, [] { return find_workspace_flags(false); });
    });
}

extern "C" uint32_t tbs_mvfs_ws_dyn_flags(void) noexcept {
    return guard<uint32_t>(module_name, TBS_MVFS_WS_NO_DYNAMIC, TBS_MVFS_WS_NO_DYNAMIC, [] {
        return found_once(dynamic_flags, unknown_flags, pathname_mutex,
                          []() -> uint32_t { return view_root(DYVWROOT, false) ? 0 : TBS_MVFS_WS_NO_DYNAMIC; });
    });
}

extern "C" tbs_status_t tbs_get_my_domain_id(const char **id_out) noexcept {
    if (!id_out) return TBS_ST_EINVAL;
    const char *const id = found_once(domain_id, domain_mutex, find_domain_id);
    *id_out = id ? id : unknown_domain;
    return 0;
}

extern "C" tbs_status_t tbs_get_my_user_identity(const char **identity_out) noexcept {
    if (!identity_out) return TBS_ST_EINVAL;
    const char *const identity = found_once(user_identity, user_mutex, find_user_identity);
    if (identity == unknown_user) return TBS_ST_ERROR;
    *identity_out = identity;
    return 0;
}

extern "C" tbs_status_t tbs_login_to_user_identity(const char *login, char **identity_out) noexcept {
    if (!login || !identity_out) return TBS_ST_EINVAL;
    return call(module_name, [&]() -> tbs_status_t {
        char identity[256];
        if (unless_no_memory(nt_get_user_sid_str(login, identity, sizeof identity)) != 0) return TBS_ST_ERROR;
        *identity_out = copy_text(identity);
        return 0;
    });
}
