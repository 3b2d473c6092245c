#include "ks/ks_file.h"

#include "internal/ks_fail.hpp"
#include "internal/ks_os.hpp"

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
