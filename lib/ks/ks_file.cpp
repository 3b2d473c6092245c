#include "ks/ks_file.h"

#include "internal/ks_fail.hpp"
#include "internal/ks_file_os.hpp"
#include "internal/ks_os.hpp"
#include "ks/ks_stg.h"
#include "ks/ks_str.h"

#include <cstring>
#include <string_view>

namespace {

constexpr std::string_view separators = "\\/";

bool is_separator(char c) { return separators.find(c) != separators.npos; }

void write_text(char *buffer, std::string_view text) {
    text.copy(buffer, text.size());
    buffer[text.size()] = '\0';
}

} // namespace

extern "C" int fileutl_host_path(const char *path, char *buffer, size_t size) noexcept {
    if (!path || !buffer || size == 0) return ks::fail(KS_EINVAL);
    const size_t length = std::strlen(path);
    if (length >= size) {
        *buffer = '\0';
        return ks::fail(KS_ENAMETOOLONG);
    }
    std::memmove(buffer, path, length + 1);
    ks::os::use_host_separators(buffer);
    return 0;
}

extern "C" int fileutl_is_drive_style(const char *path) noexcept {
    if (!path || !*path) return 0;
    const char letter = static_cast<char>(*path | 0x20);
    if (letter >= 'a' && letter <= 'z' && path[1] == ':') return 1;
    return is_separator(path[0]) && !is_separator(path[1]);
}

extern "C" int fileutl_is_unc_pn(const char *path) noexcept {
    return path && is_separator(path[0]) && is_separator(path[1]);
}

extern "C" int fileutl_expand_mapped_pn(const char *path, char *buffer, size_t size) noexcept {
    if (!path || !buffer || size == 0) return ks::fail(KS_EINVAL);
    if (strutl_cpy_buf(buffer, size, path) == std::strlen(path)) return 0;
    *buffer = '\0';
    return ks::fail(KS_ENAMETOOLONG);
}

extern "C" int fileutl_strip_leaf(const char *path, char *directory, size_t directory_size, char *leaf,
                                  size_t leaf_size) noexcept {
    if (!path || !directory || !leaf) return ks::fail(KS_EINVAL);
    const std::string_view whole = path;
    const size_t separator = whole.find_last_of(separators);
    const bool split = separator != whole.npos;
    const std::string_view before = split ? whole.substr(0, separator) : std::string_view{};
    const std::string_view behind = split ? whole.substr(separator + 1) : whole;
    if (before.size() >= directory_size || behind.size() >= leaf_size) return ks::fail(KS_ENAMETOOLONG);
    write_text(directory, before);
    write_text(leaf, behind);
    return 0;
}

// ---- status

extern "C" int fileutl_stat(const char *path, int follow, fileutl_status_t *status_out) noexcept {
    char host_path[KS_PATH_SIZE];
    int error = status_out ? 0 : KS_EINVAL;
    if (error == 0) error = fileutl_host_path(path, host_path, sizeof host_path);
    if (error == 0) error = ks::os::file_status(host_path, follow != 0, *status_out);
    return error == 0 ? 0 : (ks::fail(error), -1);
}

// ---- directories

extern "C" fileutl_dir_t *fileutl_opendir(const char *path) noexcept {
    char host_path[KS_PATH_SIZE];
    if (fileutl_host_path(path, host_path, sizeof host_path) != 0) return nullptr;
    if (stg_must_fail()) return ks::fail_null(KS_ENOMEM);
    int error = 0;
    fileutl_dir_t *dir = ks::os::open_directory(host_path, error);
    return dir ? dir : ks::fail_null(error);
}

extern "C" int fileutl_readdir_r(fileutl_dir_t *dir, char *buffer, size_t size) noexcept {
    if (!dir || !buffer) return ks::fail(KS_EINVAL), -1;
    int error = 0;
    const char *name = ks::os::next_entry(dir, error);
    if (!name) return error == 0 ? 0 : (ks::fail(error), -1);
    if (std::strlen(name) >= size) return ks::fail(KS_ENAMETOOLONG), -1;
    strutl_cpy_buf(buffer, size, name);
    return 1;
}

extern "C" int fileutl_closedir(fileutl_dir_t *dir) noexcept {
    const int error = dir ? ks::os::close_directory(dir) : KS_EINVAL;
    return error == 0 ? 0 : ks::fail(error);
}
