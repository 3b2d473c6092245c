#include "command.hpp"

#include "tool.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>

namespace tool {
namespace {

constexpr size_t help_column = 28; // where descriptions begin

} // namespace

const argument &argument::required(bool is_required) const {
    option_->required(is_required);
    return *this;
}

const argument &argument::one_of(const std::vector<std::string> &choices) const {
    option_->check(CLI::IsMember(choices));
    return *this;
}

const argument &argument::between(unsigned least, unsigned most) const {
    option_->check(CLI::Range(least, most));
    return *this;
}

const argument &argument::excludes(argument other) const {
    option_->excludes(other.option_);
    return *this;
}

command command::add(const std::string &name, const std::string &purpose) const {
    return command(app_->add_subcommand(name, purpose));
}

command command::add_group(const std::string &name, const std::string &purpose) const {
    const command group = add(name, purpose);
    group.app_->require_subcommand(1);
    return group;
}

template <argument_value T>
argument command::option(const std::string &names, T &value, const std::string &type, const std::string &help) const {
    return argument(app_->add_option(names, value, help)->type_name(type));
}

template argument command::option(const std::string &, std::string &, const std::string &, const std::string &) const;
template argument command::option(const std::string &, std::optional<std::string> &, const std::string &,
                                  const std::string &) const;
template argument command::option(const std::string &, std::vector<std::string> &, const std::string &,
                                  const std::string &) const;
template argument command::option(const std::string &, unsigned &, const std::string &, const std::string &) const;
template argument command::option(const std::string &, std::optional<uint16_t> &, const std::string &,
                                  const std::string &) const;

argument command::flag(const std::string &names, bool &is_given, const std::string &help) const {
    return argument(app_->add_flag(names, is_given, help));
}

void command::keep_remaining() const { app_->prefix_command(); }

std::vector<std::string> command::remaining() const { return app_->remaining(); }

void command::footer(const std::string &text) const { app_->footer(text); }

void command::runs(action what, action &chosen) const {
    app_->callback([what = std::move(what), &chosen] { chosen = what; });
}

command_line::command_line(const std::string &program, const std::string &purpose, const std::string &version)
    : app_(std::make_unique<CLI::App>(purpose, program)) {
    app_->set_version_flag("--version", version, "Show the version and end");
    app_->require_subcommand(1);
    app_->get_formatter()->column_width(help_column);
}

command_line::~command_line() = default;

std::optional<int> command_line::parse(int argc, char **argv) {
    try {
        app_->parse(argc, argv);
    } catch (const CLI::Success &asked) { // help or version
        return app_->exit(asked);
    } catch (const CLI::ParseError &error) {
        std::string text = error.what();
        std::replace(text.begin(), text.end(), '\n', ' ');
        while (text.ends_with('.') || text.ends_with(' ')) text.pop_back();
        throw failure(text, "Run \"tbs --help\", or --help behind the command.");
    }
    return std::nullopt;
}

} // namespace tool
