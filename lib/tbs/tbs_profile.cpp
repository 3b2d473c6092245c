#include "tbs/tbs_profile.h"

#include "internal/guard.hpp"
#include "internal/settings_file.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_stg.h"
#include "ks/ks_str.h"
#include "ks/ks_sys.h"
#include "nt/nt_env.h"
#include "tbs/tbs_product.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

using namespace tbs;

namespace {

constexpr char module_name[] = "tbs";
constexpr size_t piece_size = 255; // characters of a line that are read at once, and a terminator
constexpr size_t first_capacity = 12;

// ---- the table

struct release_text {
    void operator()(char *text) const { stg_free(text); }
};
using kept_text = std::unique_ptr<char, release_text>;

using name_hash = std::hash<std::string_view>;

struct entry {
    size_t hash;                    // of the name, so that a search seldom has to look at texts
    kept_text command, name, value; // the value may be null

    bool is_for(const char *asked) const {
        return std::strcmp(command.get(), asked) == 0 || std::strcmp(command.get(), "*") == 0;
    }
};

// A name that is looked up.
struct wanted_name {
    explicit wanted_name(const char *asked) : text(asked), hash(asked ? name_hash()(asked) : 0) {}
    bool is_that_of(const entry &candidate) const {
        return hash == candidate.hash && text && std::strcmp(candidate.name.get(), text) == 0;
    }
    const char *text; // null is no name
    size_t hash;
};
using entry_list = std::vector<entry>;

constinit tvthread_mutex_t load_mutex = TVTHREAD_MUTEX_INIT;
constinit std::optional<int> last_entry; // index in the profile, once it is loaded; guarded by it
constinit entry_list *table = nullptr;   // made by the first loading and never freed: its values have been given away
constinit tvthread_mutex_t table_mutex = TVTHREAD_MUTEX_INIT; // guards the entries
constinit std::atomic_flag warned;

// ---- lines

struct words {
    std::string_view command, name, value;
};

constexpr char blank = ' ';

std::string_view take_word(std::string_view &rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(blank), rest.size()));
    const std::string_view word = rest.substr(0, rest.find(blank));
    rest.remove_prefix(word.size());
    return word;
}

std::string_view trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(blank), text.size()));
    return text.substr(0, text.find_last_not_of(blank) + 1);
}

// Changes the piece: tabs become blanks.
words split(char *piece) {
    std::string_view line = piece;
    if (line.ends_with('\n')) line.remove_suffix(1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    std::replace(piece, piece + line.size(), '\t', ' ');
    line = line.substr(0, line.find('#'));
    words found;
    found.command = take_word(line);
    found.name = take_word(line);
    found.value = trimmed(line);
    return found;
}

kept_text copy(std::string_view text) {
    if (!text.data()) return nullptr;
    auto *made = static_cast<char *>(stg_malloc(text.size() + 1));
    if (!made) throw std::bad_alloc();
    made[text.copy(made, text.size())] = '\0';
    return kept_text(made);
}

bool is_same(const kept_text &stored, std::string_view text) {
    return stored ? text.data() && stored.get() == text : !text.data();
}

// ---- loading

// Stores the entries of a file in the order of the file. Those of an earlier, failed reading stay in the table; while
// the file says the same again they are not stored a second time, so that the table does not grow with every try.
class table_writer {
public:
    explicit table_writer(entry_list &entries) : entries_(entries) {}

    void store(const words &found) {
        const mutex_hold hold(table_mutex);
        const std::string_view value = found.value.empty() ? std::string_view() : found.value;
        if (next_ == entries_.size() || !stands_there(found.command, found.name, value)) {
            entry made{name_hash()(found.name), copy(found.command), copy(found.name), copy(value)};
            if (entries_.capacity() == 0) entries_.reserve(first_capacity);
            entries_.push_back(std::move(made));
            next_ = entries_.size();
        } else {
            next_++;
        }
        stored_++;
    }
    // Entries of the file so far.
    size_t count() const { return stored_; }

private:
    bool stands_there(std::string_view command, std::string_view name, std::string_view value) const {
        const entry &old = entries_[next_];
        return is_same(old.command, command) && is_same(old.name, name) && is_same(old.value, value);
    }

    entry_list &entries_;
    size_t next_ = 0; // where the next entry stands when the file says the same as before
    size_t stored_ = 0;
};

constexpr size_t longest_path = 1024; // of the variable, and of the home directory
constexpr char leaf[] = "\\.tessivane_profile";
using profile_path = char[longest_path + sizeof leaf];

bool find_path(profile_path &path) {
    const int error = nt_getenv_safe("TESSIVANE_PROFILE", path, longest_path + 1);
    if (error == KS_ENAMETOOLONG) return false; // another file than the one named would be a surprise
    if (error == 0 && *path) return true;
    char login[longest_path + 1];
    if (sysutl_myloginname(login, sizeof login) != 0) return false;
    if (sysutl_get_homedir(login, path, longest_path + 1) != 0) return false;
    strutl_cpy_buf(path + std::strlen(path), sizeof leaf, leaf);
    return true;
}

// The index of the file's last entry, -1 without one; nothing when the file cannot be read or a line is wrong.
std::optional<int> read_entries(FILE *stream, const char *path, entry_list &entries) {
    table_writer writer(entries);
    char piece[piece_size];
    while (std::fgets(piece, sizeof piece, stream)) {
        const words found = split(piece);
        if (found.command.empty()) continue;
        if (found.name.empty()) {
            say<general_messages, 13>(IMSG_ERROR, module_name, static_cast<int>(writer.count() + 1), path);
            return std::nullopt;
        }
        writer.store(found);
    }
    if (std::ferror(stream)) return std::nullopt;
    return static_cast<int>(writer.count()) - 1;
}

// Tells whether there is a profile with entries. A failure is not remembered.
bool load() {
    const mutex_hold hold(load_mutex);
    if (!last_entry) {
        profile_path path;
        if (!find_path(path)) return false;
        const settings_stream stream = open_settings(path, module_name, warned);
        if (!stream) return false;
        if (!table) table = new entry_list;
        last_entry = read_entries(stream.get(), path, *table);
    }
    return last_entry.value_or(-1) >= 0;
}

// The first entry for a command that has one of the names, its value stored; the position of the name, or -1.
int find(const char *command, std::span<const wanted_name> names, const char **value_out) {
    if (!load()) return -1;
    const mutex_hold hold(table_mutex);
    for (const entry &candidate : *table) {
        const auto name = std::find_if(names.begin(), names.end(),
                                       [&](const wanted_name &one) { return one.is_that_of(candidate); });
        if (name == names.end() || !candidate.is_for(command)) continue;
        *value_out = candidate.value.get();
        return static_cast<int>(name - names.begin());
    }
    return -1;
}

} // namespace

extern "C" int tbs_check_profile(const char *command, const char *name, const char **value_out) noexcept {
    if (!command || !name || !value_out) return 0;
    return guard<int>(module_name, 0, 0, [&] {
        const wanted_name wanted(name);
        return find(command, {&wanted, 1}, value_out) == 0;
    });
}

extern "C" int tbs_multi_check_profile(const char *command, const char *const *names, int name_count,
                                       const char **value_out) noexcept {
    if (!command || !names || !value_out || name_count < 0) return -1;
    return guard<int>(module_name, -1, -1, [&] {
        const std::vector<wanted_name> wanted(names, names + name_count);
        return find(command, wanted, value_out);
    });
}
