// command.hpp - the command line described: commands, what may stand behind them, what they do.
//
//     const command show_command = parent.add("show", "Show the entries of an ACL file");
//     show_command.positional("file", o->file, "FILE", "ACL file").required();
//     show_command.flag("--json", o->as_json, "Answer in JSON");
//     show_command.runs([o] { return show(*o); }, chosen);
//
// The parser's own header takes long to compile; only command.cpp includes it.
#ifndef TOOLS_TBS_COMMAND_HPP
#define TOOLS_TBS_COMMAND_HPP

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace tool {

// What parsing the command line chose; gives the exit status. Throws failure.
using action = std::function<int()>;

// What an argument may be read into. An optional stays empty when the argument is not given; a vector takes one word or
// more.
template <class T>
concept argument_value = std::same_as<T, std::string> || std::same_as<T, std::optional<std::string>> ||
    std::same_as<T, std::vector<std::string>> || std::same_as<T, unsigned> ||
    std::same_as<T, std::optional<uint16_t>>;

// What the help says of an argument.
struct argument_text {
    std::vector<std::string> names; // as typed, short ones first: "-o", "--out"; none for a positional
    std::string value;              // what the value is called, as "FILE"; "" for a flag
    std::string purpose;
    std::vector<std::string> choices; // the only values; none when there are others
    bool required = false;
    bool repeated = false; // takes one word or more
};

// What the help says of a command and of those below it, for help in other forms.
struct command_text {
    std::string name, purpose, footer;
    std::vector<argument_text> arguments;
    std::vector<command_text> commands;
};

// An option, a positional or a flag of a command: a handle, with what is demanded of the argument.
class argument {
public:
    const argument &required(bool is_required = true) const;               // it must be given
    const argument &one_of(const std::vector<std::string> &choices) const; // no other values
    const argument &between(unsigned least, unsigned most) const;          // no numbers outside
    const argument &excludes(argument other) const;                        // one of the two at most

private:
    friend class command;
    explicit argument(CLI::Option *option) noexcept : option_(option) {}

    CLI::Option *option_;
};

// A command of the tool, perhaps with commands below it: a handle, of use as long as its command_line lives.
class command {
public:
    // Adds a command below this one.
    [[nodiscard]] command add(const std::string &name, const std::string &purpose) const;
    // Adds one that does nothing of its own: a command below it must follow.
    [[nodiscard]] command add_group(const std::string &name, const std::string &purpose) const;

    // Adds an argument: its names, as "-o,--out", where its value goes, what the help calls the value and says of it.
    // The variable must outlive the parsing.
    template <argument_value T>
    argument option(const std::string &names, T &value, const std::string &type, const std::string &help) const;
    template <argument_value T>
    argument positional(const std::string &name, T &value, const std::string &type, const std::string &help) const {
        return option(name, value, type, help);
    }
    argument flag(const std::string &names, bool &is_given, const std::string &help) const;

    // Ends the options at the first word that is no argument of this command: it and all behind it remain.
    void keep_remaining() const;
    // The words that remained, once the command line is parsed.
    [[nodiscard]] std::vector<std::string> remaining() const;

    // The last lines of the help.
    void footer(const std::string &text) const;

    // What the help says.
    [[nodiscard]] command_text text() const;

    // Stores `what` in `chosen` when the command line names this command.
    void runs(action what, action &chosen) const;

private:
    friend class command_line;
    explicit command(CLI::App *app) noexcept : app_(app) {}

    CLI::App *app_;
};

// All commands of a program.
class command_line {
public:
    command_line(const std::string &program, const std::string &purpose, const std::string &version);
    ~command_line();
    command_line(const command_line &) = delete;
    command_line &operator=(const command_line &) = delete;

    // What the commands of the program are added to.
    [[nodiscard]] command top() const noexcept { return command(app_.get()); }

    // Reads the words. Gives the exit status when they asked for help or the version, which then is shown; nothing when
    // a command was chosen. Throws failure when they make no sense.
    std::optional<int> parse(int argc, char **argv);

private:
    std::unique_ptr<CLI::App> app_;
};

} // namespace tool

#endif
