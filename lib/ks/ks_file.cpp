#include "ks/ks_file.h"

#include "internal/ks_call.hpp"
#include "internal/ks_fail.hpp"
#include "internal/ks_file_os.hpp"
#include "internal/ks_os.hpp"
#include "ks/ks_stg.h"
#include "ks/ks_str.h"
#include "ks/ks_wild.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

extern "C" int fileutl_chk_large_file_overflow(uint64_t offset, uint64_t length) noexcept {
    constexpr uint64_t narrow = INT32_MAX;
    return offset > narrow || length > narrow - offset;
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

// ---- files by pattern

namespace {

struct close_listing {
    void operator()(fileutl_dir_t *dir) const { fileutl_closedir(dir); }
};

class matcher {
public:
    explicit matcher(const char *pattern)
        : pattern_(pattern), length_(wild_compile_pattern(pattern, compiled_, sizeof compiled_)) {}
    [[nodiscard]] bool ok() const { return length_ != WILD_BAD; }
    [[nodiscard]] bool takes(const char *name) const {
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) return false;
        return length_ == WILD_PLAIN ? std::strcmp(name, pattern_) == 0 : wild_match(compiled_, name, 0) != 0;
    }

private:
    const char *pattern_;
    char compiled_[513];
    int length_;
};

// Why a directory that is there cannot be listed now, though it might be later.
struct listing_failure {
    int error;
};

bool is_passed_over(int error) { return error == KS_ENOENT || error == KS_ENOTDIR || error == KS_EACCES; }

// Paths of the matches in a directory, sorted; nothing when it is not there, or may not be read.
std::optional<std::vector<std::string>> matches_in(const std::string &directory, const matcher &leaf) {
    const std::unique_ptr<fileutl_dir_t, close_listing> listing(fileutl_opendir(directory.c_str()));
    if (!listing) {
        if (is_passed_over(ks_errno)) return std::nullopt;
        throw listing_failure{ks_errno};
    }
    std::vector<std::string> paths;
    const std::string before = is_separator(directory.back()) ? directory : directory + '\\';
    char name[256];
    int result;
    while ((result = fileutl_readdir_r(listing.get(), name, sizeof name)) > 0)
        if (leaf.takes(name)) paths.push_back(before + name);
    if (result < 0) throw listing_failure{ks_errno};
    std::sort(paths.begin(), paths.end());
    return paths;
}

// A list that strutl_free_str_list() releases.
char **list_of(const std::vector<std::string> &paths) {
    auto **names = static_cast<char **>(stg_calloc(std::max<size_t>(paths.size(), 1), sizeof(char *)));
    if (!names) throw std::bad_alloc();
    for (size_t i = 0; i < paths.size(); i++) {
        if ((names[i] = stg_strdup(paths[i].c_str()))) continue;
        strutl_free_str_list(&names, static_cast<uint32_t>(i));
        throw std::bad_alloc();
    }
    return names;
}

struct found_in_list {
    uint32_t position;
    std::vector<std::string> paths;
};

// The matches in the first directory at an index or behind it; 0 or an error.
int search_list(std::string_view rest, const matcher &leaf, uint32_t index, found_in_list &found) {
    for (uint32_t position = 0;; position++) {
        const std::string directory(rest.substr(0, rest.find(';')));
        if (directory.size() >= KS_PATH_SIZE) return KS_ENAMETOOLONG;
        const bool counts = position >= index && !directory.empty();
        if (std::optional<std::vector<std::string>> paths = counts ? matches_in(directory, leaf) : std::nullopt) {
            found = {position, std::move(*paths)};
            return 0;
        }
        if (directory.size() == rest.size()) return KS_ENOENT;
        rest.remove_prefix(directory.size() + 1);
    }
}

} // namespace

extern "C" int fileutl_resolve_pattern_index(const char *path_list, const char *pattern, uint32_t index,
                                             uint32_t *index_out, char ***names_out, uint32_t *count_out) noexcept {
    return ks::call([&] {
        if (!path_list || !pattern || !index_out || !names_out || !count_out) return int{KS_EINVAL};
        const matcher leaf(pattern);
        if (!leaf.ok()) return int{KS_EINVAL};
        found_in_list found;
        try {
            if (const int error = search_list(path_list, leaf, index, found)) return error;
        } catch (const listing_failure &failure) {
            return failure.error;
        }
        *names_out = list_of(found.paths);
        *count_out = static_cast<uint32_t>(found.paths.size());
        *index_out = found.position;
        return 0;
    });
}
