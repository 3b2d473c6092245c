// tbs man: the manual page, made of the same texts as the help.
#include "output_file.hpp"
#include "tbs/tbs_product.h"
#include "tool.hpp"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace tool {
namespace {

constexpr char released[] = "2026-11-21"; // this version

// A text as the formatter shows it: escapes written out, no line taken for a request.
std::string shown(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if ((result.empty() || result.back() == '\n') && (c == '.' || c == '\'')) result += "\\&";
        switch (c) {
        case '\\': result += "\\e"; break;
        case '-': result += "\\-"; break;
        case '"': result += "\\(dq"; break;
        default: result += c;
        }
    }
    return result;
}

std::string bold(std::string_view text) { return "\\fB" + shown(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + shown(text) + "\\fR"; }

// A text in lines of the page's source, which are no longer than others like to read.
std::string filled(std::string_view text) {
    constexpr size_t width = 76;
    std::string result, line;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(' ', at), text.size());
        const std::string_view word = text.substr(at, end - at);
        if (!line.empty() && line.size() + 1 + shown(word).size() > width) {
            result += shown(line) + '\n';
            line.clear();
        }
        line += (line.empty() ? "" : " ") + std::string(word);
        at = end + 1;
    }
    return result + shown(line) + '\n';
}

// The same, with the lines of the text kept apart.
std::string lines(std::string_view text) {
    std::string result;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        result += (at == 0 ? "" : ".br\n") + filled(text.substr(at, end - at));
        at = end + 1;
    }
    return result;
}

std::string value_of(const argument_text &argument) {
    return italic(argument.value) + (argument.repeated && argument.names.empty() ? "..." : "");
}

std::string heading(const argument_text &argument) {
    std::string text;
    for (const std::string &name : argument.names) {
        if (!text.empty()) text += ", ";
        text += bold(name);
    }
    if (argument.value.empty()) return text;
    return (text.empty() ? "" : text + ' ') + value_of(argument);
}

std::string description(const argument_text &argument) {
    std::string text = argument.purpose;
    for (const std::string &choice : argument.choices) {
        text += (&choice == argument.choices.data() ? ": one of " : ", ") + choice;
    }
    return filled(text + '.');
}

bool is_help(const argument_text &argument) { return !argument.names.empty() && argument.names.back() == "--help"; }

std::string arguments_of(const command_text &command) {
    std::string text;
    for (const argument_text &argument : command.arguments) {
        text += ".TP\n" + heading(argument) + '\n' + description(argument);
    }
    return text;
}

// "tbs acl check [OPTION]... --want NAMES FILE"
std::string synopsis(const std::string &path, const command_text &command) {
    std::string options, operands;
    for (const argument_text &argument : command.arguments) {
        const std::string value = value_of(argument);
        if (argument.names.empty()) {
            operands += argument.required ? "\n" + value : "\n[" + value + ']';
        } else if (argument.required) {
            options += '\n' + bold(argument.names.back()) + ' ' + value;
        }
    }
    return bold(path) + " [" + italic("OPTION") + "]...\\&" + options + operands + '\n';
}

// The commands without commands below them, each with its path. Their --help is described once.
std::string section(const std::string &path, const command_text &command) {
    std::string text;
    if (command.commands.empty()) {
        command_text own = command;
        std::erase_if(own.arguments, is_help);
        text = ".SS " + shown(path) + '\n' + synopsis(path, own) + ".PP\n" + filled(own.purpose + '.') +
               arguments_of(own);
        if (!own.footer.empty()) text += ".PP\n" + lines(own.footer);
    }
    for (const command_text &below : command.commands) text += section(path + ' ' + below.name, below);
    return text;
}

std::string page(const command_text &top) {
    std::string text = ".\\\" written by \"tbs man\"\n.TH TBS 1 " + std::string(released) + " \"" +
                       tbs_product_name() + ' ' + tbs_product_version() + "\" \"User commands\"\n.SH NAME\ntbs \\- ";
    std::string purpose = top.purpose;
    purpose[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(purpose[0])));
    if (purpose.ends_with('.')) purpose.pop_back();
    text += filled(purpose) + ".SH SYNOPSIS\n" + bold(top.name) + " [" + italic("OPTION") + "]... " +
            italic("COMMAND") + " [" + italic("ARGUMENT") + "]...\n.SH OPTIONS\n" + arguments_of(top) +
            ".SH COMMANDS\n" + section(top.name, top) + ".SH EXIT STATUS\n" + lines(top.footer);
    return text;
}

} // namespace

void add_man(command parent, action &chosen) {
    const command man = parent.add("man", "Write the manual page of the tool");
    man.footer("To read it: tbs man | man -l -");
    man.runs(
        [parent] {
            write_answer(std::nullopt, page(parent.text()));
            return static_cast<int>(exit_done);
        },
        chosen);
}

} // namespace tool
