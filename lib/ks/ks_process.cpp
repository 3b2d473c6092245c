#include "ks/ks_process.h"

#include "internal/ks_call.hpp"
#include "internal/ks_process_os.hpp"
#include "ks/ks_file.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_view_literals;

// ---- command lines

struct command {
    std::optional<std::string> directory;
    std::string program;
    std::string_view arguments;
};

bool skip(std::string_view &text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

// Takes a quoted text off the front.
bool take_quoted(std::string_view &text, std::string &quoted_out) {
    if (!skip(text, "\""sv)) return false;
    const size_t end = text.find('"');
    if (end == text.npos || end == 0) return false;
    quoted_out = text.substr(0, end);
    text.remove_prefix(end + 1);
    return true;
}

std::optional<command> parse(std::string_view text) {
    command parsed;
    if (skip(text, "cd /d "sv)) {
        parsed.directory.emplace();
        if (!take_quoted(text, *parsed.directory) || !skip(text, " && "sv)) return std::nullopt;
    } else if (!skip(text, "\""sv) || text.empty() || text.back() != '"') {
        return std::nullopt;
    } else {
        text.remove_suffix(1);
    }
    if (!take_quoted(text, parsed.program)) return std::nullopt;
    if (!text.empty() && text.front() != ' ') return std::nullopt;
    parsed.arguments = text;
    return parsed;
}

std::vector<std::string> split(std::string_view text) {
    std::vector<std::string> words;
    bool inside = false, quoted = false;
    for (const char c : text) {
        if (c == '"') quoted = !quoted;
        const bool ends = c == ' ' && !quoted;
        if (ends) {
            inside = false;
            continue;
        }
        if (!inside) words.emplace_back();
        inside = true;
        if (c != '"') words.back() += c;
    }
    return words;
}

// ---- starting

std::string host_path(const std::string &path) {
    std::string host(path.size() + 1, '\0');
    fileutl_host_path(path.c_str(), host.data(), host.size());
    host.pop_back();
    return host;
}

int start(const command &parsed, const std::string &program) {
    std::vector<std::string> words = split(parsed.arguments);
    words.insert(words.begin(), program);
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const std::optional<std::string> directory =
        parsed.directory ? std::optional(host_path(*parsed.directory)) : std::nullopt;
    return ks::os::start_detached(directory ? directory->c_str() : nullptr, host_path(program).c_str(),
                                  arguments.data());
}

// The name of a program without the extension that it has on hosts where extensions tell programs.
std::string without_extension(const std::string &program) {
    for (const std::string_view extension : {".exe"sv, ".bat"sv}) {
        if (program.ends_with(extension)) return program.substr(0, program.size() - extension.size());
    }
    return program;
}

int start(const command &parsed) {
    // A program in the directory, not on a search path or elsewhere.
    if (parsed.directory && parsed.program.find_first_of("\\/") != std::string::npos) return KS_EINVAL;
    const std::string beside = parsed.directory ? "./" : "";
    const int error = start(parsed, beside + parsed.program);
    const std::string plain = without_extension(parsed.program);
    return error == KS_ENOENT && plain != parsed.program ? start(parsed, beside + plain) : error;
}

} // namespace

extern "C" int sysutl_invokev_redirect(const char *program, char *const *arguments, int *exit_status_out) noexcept {
    return ks::call([&]() -> int {
        if (!program || !arguments || !arguments[0] || !exit_status_out) return KS_EINVAL;
        char path[KS_PATH_SIZE];
        if (const int error = fileutl_host_path(program, path, sizeof path)) return error;
        return ks::os::run(path, arguments, *exit_status_out);
    });
}

extern "C" int sysutl_invoke_no_window_no_wait(const char *command_line) noexcept {
    return ks::call([&]() -> int {
        const std::optional<command> parsed = command_line ? parse(command_line) : std::nullopt;
        return parsed ? start(*parsed) : KS_EINVAL;
    });
}
