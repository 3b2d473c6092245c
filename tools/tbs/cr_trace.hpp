// cr_trace.hpp - which files a build read and wrote, from what strace writes of its system calls ("strace -f -y -o").
//
//     build_trace trace("/src");
//     for (line : lines) trace.learn(line);  // who is whose child
//     for (line : lines) trace.take(line);
//     for (const auto &[path, use] : trace.files()) ...
//
// Two passes, because a child's first lines may stand before the line that tells its parent of it. Calls that failed
// count for nothing, a line that makes no sense neither. Paths are bytes: strace's escapes are undone.
#ifndef TOOLS_TBS_CR_TRACE_HPP
#define TOOLS_TBS_CR_TRACE_HPP

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

// How a build used a file. What it had written when it read it is not read from outside.
struct file_use {
    bool read = false, written = false;
    bool operator==(const file_use &) const = default;
};

// ---- one call

enum class traced_action {
    none,
    open,
    write,  // creates or cuts a file without opening it for reading
    run,    // executes a program
    rename, // gives a file another name
    link,   // gives a file one more name
    remove,
    move_process, // to another directory
    fork,
};

// Where a call's arguments stand; -1 for those that it has not. A directory argument is what a relative path starts at.
struct traced_form {
    std::string_view name;
    traced_action action;
    int directory, path, to_directory, to_path, flags;
};

inline constexpr std::array traced_forms = {
    traced_form{"open", traced_action::open, -1, 0, -1, -1, 1},
    traced_form{"openat", traced_action::open, 0, 1, -1, -1, 2},
    traced_form{"openat2", traced_action::open, 0, 1, -1, -1, 2},
    traced_form{"creat", traced_action::write, -1, 0, -1, -1, -1},
    traced_form{"truncate", traced_action::write, -1, 0, -1, -1, -1},
    traced_form{"symlink", traced_action::write, -1, 1, -1, -1, -1},
    traced_form{"symlinkat", traced_action::write, 1, 2, -1, -1, -1},
    traced_form{"execve", traced_action::run, -1, 0, -1, -1, -1},
    traced_form{"execveat", traced_action::run, 0, 1, -1, -1, -1},
    traced_form{"rename", traced_action::rename, -1, 0, -1, 1, -1},
    traced_form{"renameat", traced_action::rename, 0, 1, 2, 3, -1},
    traced_form{"renameat2", traced_action::rename, 0, 1, 2, 3, 4},
    traced_form{"link", traced_action::link, -1, 0, -1, 1, -1},
    traced_form{"linkat", traced_action::link, 0, 1, 2, 3, -1},
    traced_form{"unlink", traced_action::remove, -1, 0, -1, -1, -1},
    traced_form{"unlinkat", traced_action::remove, 0, 1, -1, -1, -1},
    traced_form{"chdir", traced_action::move_process, -1, 0, -1, -1, -1},
    traced_form{"fchdir", traced_action::move_process, 0, -1, -1, -1, -1},
    traced_form{"fork", traced_action::fork, -1, -1, -1, -1, -1},
    traced_form{"vfork", traced_action::fork, -1, -1, -1, -1, -1},
    traced_form{"clone", traced_action::fork, -1, -1, -1, -1, -1},
    traced_form{"clone3", traced_action::fork, -1, -1, -1, -1, -1},
};

// A call that succeeded.
struct traced_call {
    traced_form form{};
    std::vector<std::string> arguments; // as strace writes them
    int64_t result = 0;
    std::optional<std::string> result_path; // what a new descriptor stands for, when strace tells
    bool result_is_removed = false;         // ... and when its file has no name (any more)

    [[nodiscard]] std::string_view argument(int index) const {
        const auto at = static_cast<size_t>(index);
        return index >= 0 && at < arguments.size() ? std::string_view(arguments[at]) : std::string_view();
    }
};

// ---- the words of strace

// Undoes the escapes of C: \n, \", \\, up to three octal digits, \x and two hexadecimal digits.
inline std::string unescaped(std::string_view text) {
    constexpr std::string_view letters = "abfnrtv", meanings = "\a\b\f\n\r\t\v";
    std::string plain;
    const auto number = [&text, &plain](size_t most, int base) {
        unsigned value = 0;
        const auto end = std::from_chars(text.data(), text.data() + std::min(most, text.size()), value, base).ptr;
        const auto used = static_cast<size_t>(end - text.data());
        if (used != 0) plain += static_cast<char>(value);
        text.remove_prefix(used);
    };
    while (!text.empty()) {
        const char c = text.front();
        text.remove_prefix(1);
        if (c != '\\' || text.empty()) {
            plain += c;
        } else if (text.front() >= '0' && text.front() <= '7') {
            number(3, 8);
        } else {
            const char escape = text.front();
            text.remove_prefix(1);
            const size_t letter = letters.find(escape);
            if (escape == 'x') {
                number(2, 16);
            } else {
                plain += letter == std::string_view::npos ? escape : meanings[letter];
            }
        }
    }
    return plain;
}

// What stands behind the end of a quoted or bracketed text at the beginning; npos when it has no end.
inline size_t end_of_quoted(std::string_view text, char close) {
    for (size_t i = 1; i < text.size(); i++) {
        if (text[i] == '\\') {
            i++;
        } else if (text[i] == close) {
            return i + 1;
        }
    }
    return std::string_view::npos;
}

// The text of an argument in quotes; nothing for one without, and for one that strace has cut ("..." behind it).
inline std::optional<std::string> quoted_text(std::string_view argument) {
    if (!argument.starts_with('"')) return std::nullopt;
    const size_t end = end_of_quoted(argument, '"');
    if (end == std::string_view::npos || argument.substr(end).starts_with("...")) return std::nullopt;
    return unescaped(argument.substr(1, end - 2));
}

// The path that strace puts behind a descriptor, as in "3</src/a.c>"; nothing when there is none.
inline std::optional<std::string> annotated_path(std::string_view descriptor) {
    const size_t begin = descriptor.find('<');
    if (begin == std::string_view::npos) return std::nullopt;
    const size_t end = end_of_quoted(descriptor.substr(begin), '>');
    if (end == std::string_view::npos) return std::nullopt;
    return unescaped(descriptor.substr(begin + 1, end - 2));
}

// Whether a word is one of those that stand between '|', or after '='.
inline bool has_flag(std::string_view flags, std::string_view word) {
    const auto is_letter = [](char c) { return c == '_' || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); };
    for (size_t at = 0; (at = flags.find(word, at)) != std::string_view::npos; at += word.size()) {
        const size_t end = at + word.size();
        if ((at == 0 || !is_letter(flags[at - 1])) && (end == flags.size() || !is_letter(flags[end]))) return true;
    }
    return false;
}

// Splits the arguments behind the opening parenthesis; gives where the closing one stands, npos when it is missing.
inline size_t split_arguments(std::string_view text, std::vector<std::string> &arguments) {
    const auto add = [&](size_t from, size_t to) {
        std::string_view one = text.substr(from, to - from);
        while (one.starts_with(' ')) one.remove_prefix(1);
        while (one.ends_with(' ')) one.remove_suffix(1);
        if (!one.empty()) arguments.emplace_back(one);
    };
    size_t begin = 0, depth = 0;
    for (size_t i = 0; i < text.size(); i++) {
        const char c = text[i];
        if (c == '"' || c == '<') {
            const size_t end = end_of_quoted(text.substr(i), c == '"' ? '"' : '>');
            if (end == std::string_view::npos) return end;
            i += end - 1;
        } else if (c == '(' || c == '[' || c == '{') {
            depth++;
        } else if (depth != 0 && (c == ')' || c == ']' || c == '}')) {
            depth--;
        } else if (depth == 0 && (c == ',' || c == ')')) {
            add(begin, i);
            begin = i + 1;
            if (c == ')') return i;
        }
    }
    return std::string_view::npos;
}

// Reads "name(arguments) = result"; nothing for a call that failed or is not among those that count.
inline std::optional<traced_call> parse_call(std::string_view all) {
    traced_call call;
    const size_t open = std::min(all.find('('), all.size());
    const auto form = std::find_if(traced_forms.begin(), traced_forms.end(),
                                   [&](const traced_form &one) { return one.name == all.substr(0, open); });
    if (form == traced_forms.end() || open == all.size()) return std::nullopt;
    call.form = *form;
    const size_t close = split_arguments(all.substr(open + 1), call.arguments);
    if (close == std::string_view::npos) return std::nullopt;
    std::string_view rest = all.substr(open + 1 + close + 1);
    while (rest.starts_with(' ')) rest.remove_prefix(1);
    if (!rest.starts_with("= ")) return std::nullopt;
    rest.remove_prefix(2);
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), call.result);
    if (error != std::errc{} || call.result < 0) return std::nullopt;
    rest.remove_prefix(static_cast<size_t>(end - rest.data()));
    if (rest.starts_with('<')) {
        call.result_path = annotated_path(rest);
        call.result_is_removed = rest.ends_with("(deleted)");
    }
    return call;
}

// Puts the two halves of interrupted calls together, and takes the numbers of processes off the lines.
class call_joiner {
public:
    struct event {
        uint32_t process = 0;
        std::optional<traced_call> call; // none for a process that ended
    };

    // Nothing for a line that completes no call that counts and ends no process.
    std::optional<event> take(std::string_view line) {
        event happened;
        const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), happened.process);
        if (error != std::errc{}) return std::nullopt;
        line.remove_prefix(static_cast<size_t>(end - line.data()));
        while (line.starts_with(' ')) line.remove_prefix(1);
        if (line.starts_with("+++ ")) return ended(happened, line);
        if (line.starts_with("--- ")) return std::nullopt; // a signal
        std::string whole(line);
        if (line.ends_with(unfinished)) {
            whole.resize(whole.size() - unfinished.size());
            halves_[happened.process] = std::move(whole);
            return std::nullopt;
        }
        if (line.starts_with("<... ")) {
            const auto half = halves_.find(happened.process);
            const size_t behind = line.find(resumed);
            if (half == halves_.end() || behind == std::string_view::npos) return std::nullopt;
            whole = std::move(half->second) + std::string(line.substr(behind + resumed.size()));
            halves_.erase(half);
        }
        happened.call = parse_call(whole);
        if (!happened.call) return std::nullopt;
        return happened;
    }

private:
    static constexpr std::string_view unfinished = " <unfinished ...>", resumed = " resumed>";

    // When a thread executes a program, the process goes on under the number of its first thread.
    std::optional<event> ended(const event &happened, std::string_view line) {
        constexpr std::string_view superseded = "+++ superseded by execve in pid ";
        if (!line.starts_with(superseded)) {
            halves_.erase(happened.process);
            return happened;
        }
        line.remove_prefix(superseded.size());
        uint32_t thread = 0;
        std::from_chars(line.data(), line.data() + line.size(), thread);
        if (auto half = halves_.extract(thread)) halves_[happened.process] = std::move(half.mapped());
        return std::nullopt;
    }

    std::map<uint32_t, std::string> halves_;
};

// ---- all of them

class build_trace {
public:
    // Makes one name of the many that a file has: of an absolute path, which may hold "..", "." and links.
    using resolver = std::function<std::string(const std::string &)>;

    static std::string lexically_resolved(const std::string &path) {
        return std::filesystem::path(path).lexically_normal().string();
    }

    // `directory` is where the first process starts.
    explicit build_trace(std::string directory, resolver resolve = lexically_resolved)
        : directory_(std::move(directory)), resolve_(std::move(resolve)) {}

    // The first pass.
    void learn(std::string_view line) {
        constexpr std::string_view forks[] = {"fork", "clone"};
        const bool counts = line.ends_with("+++") || std::any_of(std::begin(forks), std::end(forks), [&](auto word) {
                                return line.find(word) != std::string_view::npos;
                            });
        if (!counts) return;
        const auto happened = learner_.take(line);
        if (!happened || !happened->call || happened->call->form.action != traced_action::fork) return;
        parents_[static_cast<uint32_t>(happened->call->result)].push_back(happened->process);
    }

    // The second pass.
    void take(std::string_view line) {
        const auto happened = joiner_.take(line);
        if (!happened) return;
        if (happened->call) {
            act(happened->process, *happened->call);
        } else {
            processes_.erase(happened->process);
        }
    }

    // Whether a program was run at all.
    [[nodiscard]] bool has_begun() const { return has_begun_; }

    // The files that are left, but for those that the kernel makes up.
    [[nodiscard]] std::map<std::string, file_use> files() const {
        std::map<std::string, file_use> all;
        for (const auto &[path, one] : files_) {
            if (!one.is_gone && !is_of_kernel(path)) all.emplace(path, one.use);
        }
        return all;
    }

private:
    struct tracked {
        file_use use;
        bool is_gone = false;
    };
    using process = std::shared_ptr<std::string>; // its directory, which threads share

    static bool is_of_kernel(std::string_view path) {
        constexpr std::string_view roots[] = {"/proc/", "/sys/", "/dev/"};
        return std::any_of(std::begin(roots), std::end(roots), [&](auto root) { return path.starts_with(root); });
    }

    // A process that has not been seen starts where its parent is.
    process &process_of(uint32_t number) {
        process &one = processes_[number];
        if (one) return one;
        std::string start = directory_;
        const auto waiting = parents_.find(number);
        if (waiting != parents_.end() && !waiting->second.empty()) {
            const auto parent = processes_.find(waiting->second.front());
            if (parent != processes_.end() && parent->second) start = *parent->second;
            waiting->second.pop_front();
        }
        one = std::make_shared<std::string>(std::move(start));
        return one;
    }

    void fork(uint32_t parent, const traced_call &call) {
        const auto child = static_cast<uint32_t>(call.result);
        const process of_parent = process_of(parent);
        process_of(child);
        const bool shares = std::any_of(call.arguments.begin(), call.arguments.end(),
                                        [](std::string_view one) { return has_flag(one, "CLONE_FS"); });
        if (shares) processes_[child] = of_parent;
    }

    // The path of an argument; nothing when it has none.
    std::optional<std::string> path_of(uint32_t number, const traced_call &call, int directory, int path) {
        std::string &current = *process_of(number);
        const std::string_view start = call.argument(directory);
        const auto annotated = annotated_path(start);
        if (annotated && start.starts_with("AT_FDCWD")) current = *annotated;
        const auto text = quoted_text(call.argument(path));
        if (!text) return std::nullopt;
        if (text->starts_with('/')) return resolve_(*text);
        const std::string &base = annotated ? *annotated : current;
        if (!base.starts_with('/')) return std::nullopt;
        return resolve_(text->empty() ? base : base + '/' + *text);
    }

    void act(uint32_t number, const traced_call &call) {
        const traced_form &form = call.form;
        if (form.action == traced_action::fork) return fork(number, call);
        if (form.action == traced_action::move_process) return move_process(number, call);
        const auto path = path_of(number, call, form.directory, form.path);
        if (!path) return;
        switch (form.action) {
        case traced_action::open: return open(call, *path);
        case traced_action::write: return write(*path);
        case traced_action::run: has_begun_ = true; return read(*path);
        case traced_action::remove: return remove(*path);
        default: break;
        }
        const auto to = path_of(number, call, form.to_directory, form.to_path);
        if (!to) return;
        if (form.action == traced_action::link) return write(*to);
        has_flag(call.argument(form.flags), "RENAME_EXCHANGE") ? exchange(*path, *to) : rename(*path, *to);
    }

    void move_process(uint32_t number, const traced_call &call) {
        const auto to = call.form.path < 0 ? annotated_path(call.argument(call.form.directory))
                                           : path_of(number, call, call.form.directory, call.form.path);
        if (to) *process_of(number) = *to;
    }

    // The kernel's own name for the file is better than the one that was asked for.
    void open(const traced_call &call, const std::string &asked) {
        if (call.result_is_removed || (call.result_path && !call.result_path->starts_with('/'))) return;
        const std::string_view flags = call.argument(call.form.flags);
        if (has_flag(flags, "O_PATH") || has_flag(flags, "O_DIRECTORY") || has_flag(flags, "O_TMPFILE")) return;
        const std::string &path = call.result_path ? *call.result_path : asked;
        const bool begins_empty = has_flag(flags, "O_TRUNC") || has_flag(flags, "O_EXCL");
        const bool both = has_flag(flags, "O_RDWR"), writes = both || begins_empty || has_flag(flags, "O_WRONLY");
        if (!has_flag(flags, "O_WRONLY") && !begins_empty) read(path);
        if (writes) write(path);
    }

    void read(const std::string &path) {
        tracked &one = files_[path];
        one.is_gone = false;
        if (!one.use.written) one.use.read = true;
    }

    void write(const std::string &path) {
        tracked &one = files_[path];
        one.is_gone = false;
        one.use.written = true;
    }

    // That it was read counts again when the build makes it anew.
    void remove(const std::string &path) {
        const auto found = files_.find(path);
        if (found == files_.end()) return;
        found->second = {{found->second.use.read, false}, true};
    }

    // What a directory holds moves with it.
    void rename(const std::string &from, const std::string &to) {
        if (from == to) return;
        const auto file = files_.find(from);
        const bool is_file = file != files_.end() && !file->second.is_gone;
        const std::string below = from + '/';
        std::vector<std::pair<std::string, tracked>> moved;
        for (auto at = files_.lower_bound(below); at != files_.end() && at->first.starts_with(below);) {
            moved.emplace_back(to + at->first.substr(from.size()), at->second);
            at = files_.erase(at);
        }
        for (auto &[path, one] : moved) files_[path] = one;
        if (!is_file && !moved.empty()) return;
        remove(from);
        write(to);
    }

    // Both have a new content.
    void exchange(const std::string &a, const std::string &b) {
        write(a);
        write(b);
    }

    std::string directory_;
    resolver resolve_;
    call_joiner learner_, joiner_;
    std::map<uint32_t, std::deque<uint32_t>> parents_; // those that number has had, as numbers are used again
    std::map<uint32_t, process> processes_;
    std::map<std::string, tracked> files_;
    bool has_begun_ = false;
};

} // namespace tool

#endif
