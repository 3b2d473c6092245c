#include "tbs/tbs_mgr.h"

#include "internal/guard.hpp"
#include "internal/settings_file.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_process.h"
#include "ks/ks_str.h"
#include "nt/nt_regy.h"
#include "tbs/tbs_product.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

using namespace tbs;

namespace {

constexpr char module_name[] = "tbs";
constexpr char source_name[] = "lib/tbs/tbs_mgr";
constexpr char managers_key[] = "TypeManagers";

using path_buffer = char[TBS_PATH_SIZE];

struct unreadable_source {
    tbs_status_t status;
};

tbs_status_t too_long(int line) {
    tbs_log_int_error(module_name, &common_table, 45, source_name, line, nullptr);
    return TBS_ST_ENAMETOOLONG;
}

// Joins texts; one that does not fit is an internal error.
template <class... Text> tbs_status_t join(path_buffer &buffer, int line, Text... texts) {
    const char *const all[] = {texts...};
    return strutl_concat(buffer, sizeof buffer, all, sizeof...(texts)) < sizeof buffer ? 0 : too_long(line);
}

// A source that cannot be asked might name another program than the next one: the search ends there.
[[noreturn]] void cannot_ask(int error) {
    if (error == KS_ENOMEM) throw std::bad_alloc();
    throw unreadable_source{tbs_errno2status(error)};
}

void registry_failed(int severity, const char *function, const char *key, int error) {
    say<common_messages, 47>(severity, module_name, function, key, imsg_strerror(error));
}

// ---- the map

constexpr bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// A line's fields. They live until the next line.
struct map_line {
    std::string_view manager, operation, location;
};

// The valid lines of the map.
class map_file {
public:
    map_file() {
        static constinit std::atomic_flag warned;
        path_buffer path;
        stream_ = open_settings(tbs_product_mgrs_dir(path, "map"), module_name, warned);
    }
    bool is_open() const { return stream_ != nullptr; }
    // Why it is not open; 0 when there is no map.
    static int failure() {
        const bool is_none = ks_errno == KS_ENOENT || ks_errno == KS_ENOTDIR || ks_errno == KS_EISDIR ||
                             ks_errno == KS_EINVAL || ks_errno == KS_ENAMETOOLONG;
        return is_none ? 0 : ks_errno;
    }

    bool next(map_line &line) {
        while (std::fgets(piece_, sizeof piece_, stream_.get()))
            if (*piece_ != '#' && split(piece_, line)) return true;
        return false;
    }

private:
    static void skip_spaces(std::string_view &rest) {
        while (!rest.empty() && is_space(rest.front())) rest.remove_prefix(1);
    }
    // As the scanner reads "%255s": blanks before a word do not count, and a word ends at a blank or when it is full.
    static std::string_view take_word(std::string_view &rest) {
        constexpr size_t longest = 255;
        skip_spaces(rest);
        size_t length = 0;
        while (length < std::min(rest.size(), longest) && !is_space(rest[length])) length++;
        const std::string_view word = rest.substr(0, length);
        rest.remove_prefix(length);
        return word;
    }
    static std::string_view trimmed(std::string_view text) {
        skip_spaces(text);
        while (!text.empty() && is_space(text.back())) text.remove_suffix(1);
        return text;
    }
    static bool split(std::string_view rest, map_line &line) {
        line.manager = take_word(rest);
        line.operation = take_word(rest);
        constexpr size_t longest = 1023; // as the scanner reads "%1023[^\n]"
        skip_spaces(rest);
        line.location = trimmed(rest.substr(0, longest));
        return !line.location.empty();
    }

    settings_stream stream_;
    char piece_[3073];
};

// ---- where an operation's program is

struct program {
    path_buffer path;
    bool may_exist = true; // false: made of names that are no names of files
};

bool is_file_name(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find_first_of("\\/") == name.npos;
}

// Reads the value that a location names, if it names one and it is there.
bool read_reference(const char *location, path_buffer &path) {
    const bool is_reference =
        std::strncmp(location, "HKLM\\", 5) == 0 || std::strncmp(location, "HKEY_LOCAL_MACHINE\\", 19) == 0;
    if (!is_reference) return false;
    const char *key = std::strchr(location, '\\') + 1;
    const char *last = std::strrchr(location, '\\');
    if (last < key) return false; // a value of the root itself, which has none
    path_buffer key_path;
    strutl_snprintf(key_path, sizeof key_path, "%.*s", static_cast<int>(last - key), key);
    return ntregy_get_string(NTREGY_LOCAL_MACHINE, key_path, last + 1, path, sizeof path) == 0;
}

tbs_status_t convert_location(const char *location, path_buffer &path) {
    if (read_reference(location, path)) return 0;
    if (fileutl_is_drive_style(location) || fileutl_is_unc_pn(location)) return join(path, __LINE__, location);
    path_buffer directory;
    return join(path, __LINE__, tbs_product_mgrs_dir(directory, nullptr), "\\", location);
}

// Status of a source that was asked for a program; nothing when it knows none.
using answer = std::optional<tbs_status_t>;

answer ask_registry(const char *key, const char *operation, program &found) {
    path_buffer location;
    const int error = ntregy_get_string(NTREGY_LOCAL_MACHINE, key, operation, location, sizeof location);
    if (error == 0 && *location) return convert_location(location, found.path);
    if (error == KS_ERANGE) return too_long(__LINE__);
    // A name that no key or value can have is in no registry.
    if (error == 0 || error == KS_ENOENT || error == KS_EINVAL || error == KS_ENAMETOOLONG) return std::nullopt;
    registry_failed(IMSG_ERROR, "ntregy_get_string", key, error);
    cannot_ask(error);
}

[[noreturn]] void cannot_open_map(int error) {
    path_buffer path;
    say<common_messages, 18>(IMSG_ERROR, module_name, tbs_product_mgrs_dir(path, "map"), imsg_strerror(error));
    cannot_ask(error);
}

answer ask_map(const char *manager, const char *operation, program &found) {
    map_file map;
    map_line line;
    if (!map.is_open() && map_file::failure()) cannot_open_map(map_file::failure());
    while (map.is_open() && map.next(line)) {
        if (line.manager != manager || line.operation != operation) continue;
        path_buffer location;
        location[line.location.copy(location, sizeof location)] = '\0';
        return convert_location(location, found.path);
    }
    return std::nullopt;
}

// Throws what cannot_ask() throws.
tbs_status_t resolve(const char *manager, const char *operation, program &found) {
    path_buffer common, key, directory;
    ntregy_get_common_key(common, sizeof common);
    if (const tbs_status_t status = join(key, __LINE__, common, "\\", managers_key, "\\", manager)) return status;
    if (const answer status = ask_registry(key, operation, found)) return *status;
    if (const answer status = ask_map(manager, operation, found)) return *status;
    found.may_exist = is_file_name(manager) && is_file_name(operation);
    return join(found.path, __LINE__, tbs_product_mgrs_dir(directory, nullptr), "\\", manager, "\\", operation);
}

bool exists(const program &found) { return found.may_exist && unix_nt_access(found.path, 0) == 0; }

bool is_built_in(const char *manager, const char *operation) {
    static constexpr std::string_view operations[] = {
        "create_element",           "create_branch", "create_version", "create_version64", "construct_version",
        "delete_branches_versions", "get_cont_info"};
    return std::strcmp(manager, "whole_copy") == 0 &&
           std::find(std::begin(operations), std::end(operations), operation) != std::end(operations);
}

// ---- running

// Lends the first slot of a caller's vector to the operation's name.
class named_vector {
public:
    named_vector(char **arguments, const char *name) : slot_(*arguments) { slot_ = const_cast<char *>(name); }
    ~named_vector() { slot_ = nullptr; }
    named_vector(const named_vector &) = delete;
    named_vector &operator=(const named_vector &) = delete;

private:
    char *&slot_;
};

tbs_status_t not_available(const char *manager, const char *operation, const program &found) {
    say<general_messages, 20>(IMSG_ERROR, module_name, operation, manager);
    say<general_messages, 21>(IMSG_FOLLOW_UP, module_name, found.path);
    return TBS_ST_ERROR;
}

tbs_status_t not_started(const char *manager, const char *operation, const program &found, int error) {
    say<general_messages, 22>(IMSG_ERROR, module_name, operation, manager, imsg_strerror(error));
    say<general_messages, 21>(IMSG_ERROR, module_name, found.path);
    return TBS_ST_ERROR;
}

tbs_status_t invoke(const char *manager, const char *operation, char **arguments, int *exit_status_out) {
    const named_vector vector(arguments, operation);
    program found;
    if (const tbs_status_t status = resolve(manager, operation, found)) return status;
    if (!exists(found)) return not_available(manager, operation, found);
    const int error = sysutl_invokev_redirect(found.path, arguments, exit_status_out);
    return error == 0 ? 0 : not_started(manager, operation, found, error);
}

// The body of an exported function that resolves programs.
template <class F> tbs_status_t ask(F &&body) noexcept {
    return call(module_name, [&]() -> tbs_status_t {
        try {
            return body();
        } catch (const unreadable_source &failure) {
            return failure.status;
        }
    });
}

// ---- the list

// Names in order of first appearance, in an area or on the general heap. Says by a status when there is no memory,
// since the registry's listing calls back through C.
class name_list {
public:
    explicit name_list(stg_area_t *area) : area_(area) {}
    ~name_list() { release(names_, count_); }
    name_list(const name_list &) = delete;
    name_list &operator=(const name_list &) = delete;

    tbs_status_t add(std::string_view name) {
        if (std::find(names_, names_ + count_, name) != names_ + count_) return 0;
        if (!names_ || count_ == capacity_) {
            if (!grow()) return TBS_ST_ENOMEM;
        }
        auto *copy = static_cast<char *>(stg_alloc(area_, name.size() + 1));
        if (!copy) return TBS_ST_ENOMEM;
        copy[name.copy(copy, name.size())] = '\0';
        names_[count_++] = copy;
        return 0;
    }

    // Hands the list out.
    tbs_status_t give(uint32_t *count_out, char ***names_out) {
        if (!names_ && !grow()) return TBS_ST_ENOMEM;
        *count_out = std::exchange(count_, 0);
        *names_out = std::exchange(names_, nullptr);
        return 0;
    }

    static void release(char **names, uint32_t count) {
        if (!names || header_of(names)->area) return; // an area releases its memory itself
        for (uint32_t i = 0; i < count; i++) stg_free(names[i]);
        stg_free(header_of(names));
    }

private:
    static constexpr uint32_t first_capacity = 50;

    // Stands before the array, so that whoever releases it knows where it lies.
    struct alignas(char *) header {
        stg_area_t *area;
    };
    static header *header_of(char **names) { return reinterpret_cast<header *>(names) - 1; }

    bool grow() {
        const uint32_t larger = names_ ? std::max(count_ + 1, 2 * capacity_) : first_capacity;
        auto *made = static_cast<header *>(stg_alloc(area_, sizeof(header) + larger * sizeof(char *)));
        if (!made) return false;
        made->area = area_;
        auto **names = reinterpret_cast<char **>(made + 1);
        std::copy_n(names_, count_, names);
        release(std::exchange(names_, names), 0);
        capacity_ = larger;
        return true;
    }

    stg_area_t *area_;
    char **names_ = nullptr;
    uint32_t count_ = 0, capacity_ = 0;
};

// Sources end with 0, or with 1002 when they are not there; any other status ends the listing.

int add_subkey(void *list, const char *name, size_t value_count) noexcept {
    return value_count == 0 ? 0 : static_cast<name_list *>(list)->add(name);
}

tbs_status_t list_registry(name_list &list) {
    path_buffer common, key;
    ntregy_get_common_key(common, sizeof common);
    if (const tbs_status_t status = join(key, __LINE__, common, "\\", managers_key)) return status;
    const int error = ntregy_enum_subkeys(NTREGY_LOCAL_MACHINE, key, add_subkey, &list);
    if (error == KS_ENOMEM || error == TBS_ST_ENOMEM) return TBS_ST_ENOMEM;
    if (error == 0) return 0;
    if (error != KS_ENOENT) registry_failed(IMSG_WARNING, "ntregy_enum_subkeys", key, error);
    return TBS_ST_NOT_FOUND;
}

tbs_status_t list_map(name_list &list) {
    map_file map;
    if (!map.is_open()) return map_file::failure() == KS_ENOMEM ? TBS_ST_ENOMEM : TBS_ST_NOT_FOUND;
    map_line line;
    while (map.next(line))
        if (const tbs_status_t status = list.add(line.manager)) return status;
    return 0;
}

struct close_directory {
    void operator()(fileutl_dir_t *dir) const { fileutl_closedir(dir); }
};

tbs_status_t add_if_directory(name_list &list, const char *directory, const char *entry) {
    path_buffer path;
    fileutl_status_t status;
    if (std::strcmp(entry, ".") == 0 || std::strcmp(entry, "..") == 0) return 0;
    const bool fits = strutl_snprintf(path, sizeof path, "%s\\%s", directory, entry) < sizeof path;
    if (!fits) ks_errno = KS_ENAMETOOLONG;
    if (!fits || fileutl_stat(path, 1, &status) < 0) {
        say<common_messages, 25>(IMSG_ERROR, module_name, path, imsg_strerror(ks_errno));
        return 0;
    }
    return (status.mode & FILEUTL_KIND) == FILEUTL_DIRECTORY ? list.add(entry) : 0;
}

tbs_status_t list_directory(name_list &list) {
    path_buffer directory;
    tbs_product_mgrs_dir(directory, nullptr);
    const std::unique_ptr<fileutl_dir_t, close_directory> managers(fileutl_opendir(directory));
    if (!managers && ks_errno == KS_ENOMEM) return TBS_ST_ENOMEM;
    if (!managers) {
        say<common_messages, 73>(IMSG_ERROR, module_name, directory, imsg_strerror(ks_errno));
        return TBS_ST_NOT_FOUND;
    }
    char entry[256];
    while (fileutl_readdir_r(managers.get(), entry, sizeof entry) > 0)
        if (const tbs_status_t status = add_if_directory(list, directory, entry)) return status;
    return 0;
}

tbs_status_t list_all(stg_area_t *area, uint32_t *count_out, char ***names_out) {
    name_list list(area);
    for (const auto source : {list_registry, list_map, list_directory}) {
        const tbs_status_t status = source(list);
        if (status != 0 && status != TBS_ST_NOT_FOUND) return status;
    }
    return list.give(count_out, names_out);
}

} // namespace

extern "C" tbs_status_t tbs_mgr_get_mgr_list(stg_area_t *area, uint32_t *count_out, char ***names_out) noexcept {
    if (!count_out || !names_out) return TBS_ST_EINVAL;
    const tbs_status_t status = list_all(area, count_out, names_out);
    if (status == TBS_ST_ENOMEM) report_no_memory(module_name);
    return status;
}

extern "C" tbs_status_t tbs_mgr_free_mgr_list(uint32_t *count, char ***names) noexcept {
    if (!count || !names) return TBS_ST_EINVAL;
    name_list::release(std::exchange(*names, nullptr), std::exchange(*count, 0));
    return 0;
}

extern "C" tbs_status_t tbs_mgr_is_supported_op(const char *manager, const char *operation,
                                                tbs_boolean_t *supported_out) noexcept {
    if (!supported_out) return TBS_ST_EINVAL;
    *supported_out = 0;
    if (!manager || !operation) return TBS_ST_EINVAL;
    if (is_built_in(manager, operation)) {
        *supported_out = 1;
        return 0;
    }
    return ask([&] {
        program found;
        const tbs_status_t status = resolve(manager, operation, found);
        if (status == 0) *supported_out = exists(found);
        return status;
    });
}

extern "C" tbs_status_t tbs_mgr_supports_large_versions(const char *manager, tbs_boolean_t *supported_out) noexcept {
    return tbs_mgr_is_supported_op(manager, "create_version64", supported_out);
}

extern "C" tbs_status_t tbs_mgr_invoke_op(const char *manager, const char *operation, char **arguments,
                                          int *exit_status_out) noexcept {
    if (!manager || !operation || !arguments || !exit_status_out) return TBS_ST_EINVAL;
    return ask([&] { return invoke(manager, operation, arguments, exit_status_out); });
}
