// tbs completion: what a shell needs to complete the tool's command lines, made of the same texts as the help.
#include "output_file.hpp"
#include "tool.hpp"

#include <algorithm>
#include <functional>
#include <iterator>
#include <string_view>

namespace tool {
namespace {

// Values that are pathnames: the shell completes them as such.
constexpr std::string_view pathnames[] = {"FILE", "NEW", "OUT", "PATH", "POLICY", "ROLEMAP"};

bool is_pathname(const argument_text &argument) {
    return std::find(std::begin(pathnames), std::end(pathnames), argument.value) != std::end(pathnames);
}
bool is_positional(const argument_text &argument) { return argument.names.empty(); }
bool is_flag(const argument_text &argument) { return argument.value.empty(); }

std::string join(const std::vector<std::string> &words, std::string_view between) {
    std::string text;
    for (const std::string &word : words) {
        if (!text.empty()) text += between;
        text += word;
    }
    return text;
}

std::vector<std::string> names_of(const std::vector<command_text> &commands) {
    std::vector<std::string> names;
    names.reserve(commands.size());
    for (const command_text &one : commands) names.push_back(one.name);
    return names;
}

// Puts a backslash before each of the characters.
std::string escaped(std::string_view text, std::string_view characters) {
    std::string result;
    for (const char c : text) {
        if (characters.find(c) != characters.npos) result += '\\';
        result += c;
    }
    return result;
}

// In single quotes, for bash and zsh.
std::string shell_quoted(std::string_view text) {
    std::string result = "'";
    for (const char c : text) {
        if (c == '\'') {
            result += "'\\''";
        } else {
            result += c;
        }
    }
    return result + '\'';
}

// Calls with each command and its path, as "tbs acl check"; groups first.
using visitor = std::function<void(const std::string &path, const command_text &command)>;
void each_command(const std::string &path, const command_text &command, const visitor &visit) {
    visit(path, command);
    for (const command_text &below : command.commands) each_command(path + ' ' + below.name, below, visit);
}

// ---- bash

// Tables by command, and by command and option, with one function that looks into them.
constexpr char bash_function[] = R"(
_tbs() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=tbs kind='' words='' i
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ " ${_tbs_commands[$command]-} " == *" ${COMP_WORDS[i]} "* ]] || break
        command+=" ${COMP_WORDS[i]}"
    done
    # Of "--format=csv" the shell makes three words.
    if [[ $current == '=' ]]; then
        current=''
    elif [[ $previous == '=' ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    COMPREPLY=()
    if [[ -n ${_tbs_values["$command $previous"]-} ]]; then
        kind=${_tbs_values["$command $previous"]}
    elif [[ $current == -* ]]; then
        words=${_tbs_options[$command]-}
    elif [[ -n ${_tbs_commands[$command]-} ]]; then
        words=${_tbs_commands[$command]}
    else
        kind=${_tbs_values[$command]-}
    fi
    case $kind in
        '' | -) ;;
        /)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
        *) words=$kind ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _tbs tbs
)";

// What bash completes a value by: the choices, "/" for pathnames, "-" for what nobody can guess.
std::string bash_value(const argument_text &argument) {
    if (!argument.choices.empty()) return join(argument.choices, " ");
    return is_pathname(argument) ? "/" : "-";
}

std::string for_bash(const command_text &top) {
    std::string commands, options, values;
    const auto add = [](std::string &table, const std::string &key, const std::string &value) {
        if (!value.empty()) table += "    [" + shell_quoted(key) + "]=" + shell_quoted(value) + '\n';
    };
    each_command(top.name, top, [&](const std::string &path, const command_text &command) {
        std::vector<std::string> names;
        std::string positional;
        for (const argument_text &argument : command.arguments) {
            names.insert(names.end(), argument.names.begin(), argument.names.end());
            // Where one of several words is a pathname, each may be.
            if (is_positional(argument) && positional != "/") positional = bash_value(argument);
            if (is_flag(argument)) continue;
            for (const std::string &name : argument.names) add(values, path + ' ' + name, bash_value(argument));
        }
        add(commands, path, join(names_of(command.commands), " "));
        add(options, path, join(names, " "));
        add(values, path, positional);
    });
    return "# bash completion of tbs, written by \"tbs completion bash\"\n\ndeclare -gA _tbs_commands=(\n" +
           commands + ")\ndeclare -gA _tbs_options=(\n" + options + ")\ndeclare -gA _tbs_values=(\n" + values +
           ")\n" + bash_function;
}

// ---- zsh: a function for each command

std::string function_name(const std::string &path) {
    std::string name = "_" + path;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == ' ' || c == '-'; }, '_');
    return name;
}

// ":FILE:_files": what a value is called, and how it is completed.
std::string zsh_value(const argument_text &argument) {
    const std::string name = ':' + escaped(argument.value, ":\\") + ':';
    if (!argument.choices.empty()) return name + '(' + join(argument.choices, " ") + ')';
    return is_pathname(argument) ? name + "_files" : name;
}

std::string zsh_argument(const argument_text &argument) {
    if (is_positional(argument)) return shell_quoted((argument.repeated ? "*" : "") + zsh_value(argument));
    const std::string rest =
        shell_quoted('[' + escaped(argument.purpose, "[]:\\") + ']' + (is_flag(argument) ? "" : zsh_value(argument)));
    if (argument.names.size() == 1) return argument.names[0] + rest;
    return shell_quoted('(' + join(argument.names, " ") + ')') + '{' + join(argument.names, ",") + '}' + rest;
}

std::string zsh_function(const std::string &path, const command_text &command) {
    std::string text = function_name(path) + "() {\n";
    std::string arguments;
    for (const argument_text &argument : command.arguments) arguments += " \\\n        " + zsh_argument(argument);
    if (command.commands.empty()) return text + "    _arguments -s" + arguments + "\n}\n\n";

    std::string names, calls;
    for (const command_text &below : command.commands) {
        names += "        " + shell_quoted(escaped(below.name, ":\\") + ':' + escaped(below.purpose, "\\")) + '\n';
        calls += "        " + below.name + ") " + function_name(path + ' ' + below.name) + " ;;\n";
    }
    return text + "    local curcontext=$curcontext state line\n    typeset -A opt_args\n    local -a commands=(\n" +
           names + "    )\n    _arguments -C" + arguments +
           " \\\n        '1:command:->command' '*::argument:->argument'\n" +
           "    case $state in\n    command) _describe command commands ;;\n    argument)\n        case $line[1] "
           "in\n" +
           calls + "        esac ;;\n    esac\n}\n\n";
}

std::string for_zsh(const command_text &top) {
    std::string text = "#compdef tbs\n# zsh completion of tbs, written by \"tbs completion zsh\"\n\n";
    each_command(top.name, top,
                 [&](const std::string &path, const command_text &command) { text += zsh_function(path, command); });
    return text + "_tbs \"$@\"\n";
}

// ---- fish: a rule for each argument and command

// Tells whether the words so far are a group, or begin with a command that has none below it.
constexpr char fish_functions[] = R"(
function __tbs_words
    set -l words (commandline -opc)
    set -e words[1]
    string join ' ' tbs (string match -v -- '-*' $words)
end

function __tbs_at_group
    test (__tbs_words) = "$argv[1]"
end

function __tbs_at_command
    string match -q -- "$argv[1] *" (__tbs_words)' '
end

complete -c tbs -f
)";

std::string fish_quoted(std::string_view text) { return '\'' + escaped(text, "'\\") + '\''; }

std::string fish_value(const argument_text &argument) {
    if (!argument.choices.empty()) return " -a " + fish_quoted(join(argument.choices, " "));
    return is_pathname(argument) ? " -F" : "";
}

std::string fish_argument(const argument_text &argument) {
    std::string text;
    for (const std::string &name : argument.names) {
        text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    if (is_positional(argument)) return fish_value(argument);
    if (!is_flag(argument)) text += " -r" + fish_value(argument);
    return text + " -d " + fish_quoted(argument.purpose);
}

std::string for_fish(const command_text &top) {
    std::string text = "# fish completion of tbs, written by \"tbs completion fish\"\n";
    text += fish_functions;
    each_command(top.name, top, [&](const std::string &path, const command_text &command) {
        const char *const place = command.commands.empty() ? "__tbs_at_command " : "__tbs_at_group ";
        const std::string rule = "complete -c tbs -n " + fish_quoted(place + fish_quoted(path));
        for (const command_text &below : command.commands) {
            text += rule + " -a " + below.name + " -d " + fish_quoted(below.purpose) + '\n';
        }
        for (const argument_text &argument : command.arguments) {
            const std::string what = fish_argument(argument);
            if (!what.empty()) text += rule + what + '\n';
        }
    });
    return text;
}

// ---- the command

constexpr struct {
    const char *name;
    std::string (*write)(const command_text &top);
} shells[] = {{"bash", for_bash}, {"zsh", for_zsh}, {"fish", for_fish}};

int write(const std::string &shell, const command_text &top) {
    for (const auto &known : shells) {
        if (shell == known.name) write_answer(std::nullopt, known.write(top));
    }
    return exit_done;
}

} // namespace

void add_completion(command parent, action &chosen) {
    const auto shell = std::make_shared<std::string>();
    const command completion = parent.add("completion", "Write what a shell completes command lines by");
    std::vector<std::string> names;
    for (const auto &known : shells) names.emplace_back(known.name);
    completion.positional("shell", *shell, "SHELL", "Shell to write for").required().one_of(names);
    completion.footer("bash: source <(tbs completion bash). zsh: as _tbs in a directory of fpath.\n"
                      "fish: as tbs.fish in ~/.config/fish/completions. Installed products have the files in share.");
    completion.runs([shell, parent] { return write(*shell, parent.text()); }, chosen);
}

} // namespace tool
