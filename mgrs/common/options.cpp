#include "common/options.hpp"

#include "common/failure.hpp"

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

namespace mgrs {
namespace {

const operation *find_operation(std::string_view name) {
    const auto all = operations();
    const auto found = std::find_if(all.begin(), all.end(), [&](const operation &o) { return o.name == name; });
    return found == all.end() ? nullptr : &*found;
}

std::string_view base_name(std::string_view path) { return path.substr(path.find_last_of('/') + 1); }

bool asks_for_help(operands words) { return words.size() == 1 && std::string_view(words[0]) == "--help"; }

// Takes "MANAGER OPERATION" off the words of a start under the manager's own name.
std::string_view take_names(const manager &self, const char *program, operands &words) {
    if (words.size() < 2 || self.name != std::string_view(words[0])) throw no_operation{program};
    const char *const name = words[1];
    words = words.subspan(2);
    return name;
}

void check_count(const operation &what, size_t count) {
    if (count >= what.least && count <= what.most) return;
    throw failure(message::bad_syntax, std::string("operands of ") + what.name + ": " + what.operands, "",
                  std::string("Run \"") + what.name + " --help\".");
}

} // namespace

request read_command_line(const manager &self, int argc, char **argv) {
    const char *const program = argc > 0 ? argv[0] : self.name;
    std::string_view name = base_name(program);
    operands words(argv + 1, argc > 0 ? static_cast<size_t>(argc - 1) : 0);
    request asked;
    if (name == self.name) {
        asked.help = asks_for_help(words);
        if (asked.help) return asked;
        name = take_names(self, program, words);
    }
    asked.what = find_operation(name);
    if (!asked.what) throw failure(message::unknown_operation, std::string(name), "", "");
    asked.help = asks_for_help(words);
    if (asked.help) return asked;
    if (!words.empty() && std::string_view(words[0]) == "--") words = words.subspan(1);
    check_count(*asked.what, words.size());
    asked.files = words;
    return asked;
}

void print_help(const manager &self, const operation *what) {
    if (what) {
        std::printf("Usage: %s %s\n\n%s\n", what->name, what->operands, what->help);
    } else {
        std::printf("Type manager %s: %s\n\nOperations:\n", self.name, self.about);
        for (const operation &each : operations()) std::printf("  %s %s\n", each.name, each.operands);
    }
    std::fputs(
        "\nA file that is made must not be there yet; CONTENTS may be /dev/stdin. In pathnames \"\\\" separates as\n"
        "\"/\" does. \"--\" before the files lets the only one be named \"--help\".\n"
        "Exit status: 0 done, 1 failed, 2 usage.\n",
        stdout);
}

} // namespace mgrs
