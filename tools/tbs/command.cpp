#include "command.hpp"

#include "tool.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>
#include <string_view>
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

// ---- words that nothing takes

// What must be inserted, removed or replaced to make one word of the other; more than `most` counts as most + 1.
size_t edits_between(std::string_view a, std::string_view b, size_t most) {
    if (a.size() > b.size()) std::swap(a, b);
    if (b.size() - a.size() > most) return most + 1;
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); i++) {
        size_t diagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j < b.size(); j++) {
            const size_t replaced = diagonal + (a[i] != b[j]);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return std::min(row.back(), most + 1);
}

// The name that was probably meant; empty when none is near. A beginning is as near as one wrong character.
std::string nearest(std::string_view word, const std::vector<std::string> &names) {
    size_t least = std::min<size_t>(2, word.empty() ? 0 : (word.size() - 1) / 2) + 1;
    std::string found;
    for (const std::string &name : names) {
        const size_t edits = name.starts_with(word) ? 1 : edits_between(word, name, 2);
        if (edits < least) least = edits, found = name;
    }
    return found;
}

std::string path_of(const CLI::App &app) {
    return app.get_parent() ? path_of(*app.get_parent()) + ' ' + app.get_name() : app.get_name();
}

failure not_understood(const std::string &text, const std::string &meant, CLI::App &app) {
    const std::string question = meant.empty() ? "" : "Did you mean \"" + meant + "\"? ";
    return {text, question + "Run \"" + path_of(app) + " --help\"."};
}

failure unknown_option(const std::string &word, CLI::App &app) {
    const std::string name = word.substr(0, word.find('='));
    std::vector<std::string> names;
    for (const CLI::Option *option : app.get_options()) {
        for (const std::string &known : option->get_lnames()) names.push_back("--" + known);
    }
    return not_understood("unknown option \"" + name + '"', name.starts_with("--") ? nearest(name, names) : "", app);
}

failure unknown_command(const std::string &word, CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::App *below : app.get_subcommands({})) names.push_back(below->get_name());
    return not_understood("unknown command \"" + word + '"', nearest(word, names), app);
}

// The first word that neither the command that was chosen nor those above it take; it tells more of a mistake than what
// is missing because of it.
std::optional<failure> unknown_word(CLI::App &app) {
    const std::vector<std::string> words = app.get_allow_extras() ? std::vector<std::string>() : app.remaining();
    if (!words.empty()) {
        const bool is_option = words[0].size() > 1 && words[0].starts_with('-') && words[0] != "--";
        const std::string &word = words[0] == "--" && words.size() > 1 ? words[1] : words[0];
        if (is_option) return unknown_option(word, app);
        if (!app.get_subcommands({}).empty()) return unknown_command(word, app);
        if (word != "--") return not_understood("unexpected argument \"" + word + '"', "", app);
    }
    for (CLI::App *below : app.get_subcommands()) {
        if (std::optional<failure> found = unknown_word(*below)) return found;
    }
    return std::nullopt;
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

void command::keep_remaining() const { app_->prefix_command()->allow_extras(); }

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
        if (const std::optional<failure> unknown = unknown_word(*app_)) throw *unknown;
        std::string text = error.what();
        std::replace(text.begin(), text.end(), '\n', ' ');
        while (text.ends_with('.') || text.ends_with(' ')) text.pop_back();
        throw failure(text, "Run \"tbs --help\", or --help behind the command.");
    }
    return std::nullopt;
}

} // namespace tool
