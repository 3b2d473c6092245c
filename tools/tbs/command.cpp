#include "command.hpp"

#include "tool.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>

namespace tool {
namespace {

constexpr size_t help_column = 28; // where descriptions begin
constexpr char choices_check[] = "choices";

// The choices as the check on them describes itself: "{table,csv}".
std::vector<std::string> choices_of(CLI::Option &option) {
    try {
        const std::string list = option.get_validator(choices_check)->get_description();
        return CLI::detail::split(list.substr(1, list.size() - 2), ',');
    } catch (const CLI::OptionNotFound &) {
        return {};
    }
}

argument_text text_of(CLI::Option &option) {
    argument_text text;
    for (const std::string &name : option.get_snames()) text.names.push_back("-" + name);
    for (const std::string &name : option.get_lnames()) text.names.push_back("--" + name);
    const std::string type = option.get_type_name(); // with the checks behind it
    if (option.get_items_expected_max() > 0) text.value = type.substr(0, type.find(':'));
    text.purpose = option.get_description();
    text.choices = choices_of(option);
    text.required = option.get_required();
    text.repeated = option.get_items_expected_max() > 1;
    return text;
}

command_text text_of(CLI::App &app) {
    command_text text{app.get_name(), app.get_description(), app.get_footer(), {}, {}};
    for (CLI::Option *option : app.get_options()) text.arguments.push_back(text_of(*option));
    for (CLI::App *below : app.get_subcommands({})) text.commands.push_back(text_of(*below));
    return text;
}

} // namespace

const argument &argument::required(bool is_required) const {
    option_->required(is_required);
    return *this;
}

const argument &argument::one_of(const std::vector<std::string> &choices) const {
    option_->check(CLI::IsMember(choices), choices_check);
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
    CLI::Option *const option = app_->add_option(names, value, help)->type_name(type);
    // Given by name it takes one word each time: the next may belong to a positional.
    if (!option->get_positional()) option->allow_extra_args(false);
    return argument(option);
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

command_text command::text() const { return text_of(*app_); }

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
