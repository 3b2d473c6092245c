// output.hpp - what the tool writes: lines of text, JSON, failures.
//
// Text goes through the libraries' message layer, which shows control characters in inserted texts: a name cannot
// forge a line. Bold is that layer's emphasis: seen on a terminal without NO_COLOR, left out elsewhere.
// A terminal of type "dumb", or of none, knows no escape sequences.
#ifndef TOOLS_TBS_OUTPUT_HPP
#define TOOLS_TBS_OUTPUT_HPP

#include "ks/ks_imsg.h"
#include "tool.hpp"

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

// Keys in the order in which they are written. Who makes a value includes <nlohmann/json.hpp>.
using json = nlohmann::ordered_json;

// Whether the type of the terminal knows escape sequences.
bool terminal_has_escapes();

// Columns that lines are wrapped to.
constexpr size_t line_width = 100;

// Columns of a text on a terminal: one for each character.
size_t width_of(std::string_view text);

// The longest beginning that fits, cut at a blank or behind a comma; a word that is longer stands alone.
std::string_view first_line(std::string_view text, size_t room);

// As messages show an inserted text: control characters and what is no text made visible.
std::string visible(const std::string &text);

// Writes part of a line.
void print(std::string_view text);
void print_bold(std::string_view text);
// Writes a text and blanks up to `width` columns, at least one.
void print_padded(std::string_view text, size_t width);
void end_line();

// Writes a text that begins at column `column`, wrapped at blanks and behind commas, its other lines
// indented to `indent`; ends the line.
void print_wrapped(std::string_view text, size_t column, size_t indent);

// A text as a JSON value without loss: what is not UTF-8 is {"bytes": "hexadecimal digits"}.
json text_as_json(std::string_view text);

// A JSON value as text: ASCII only, indented by two, a newline behind it.
std::string json_text(const json &value);

// Writes it to standard output. Throws failure when it cannot be written.
void print_json(const json &value);

// A message that a library printed while the collector lived.
struct collected_message {
    int severity;
    std::string module;
    int number; // 0 for a literal text
    std::string text;
};

// Takes the libraries' warnings and errors for the answer; traces still go to standard error. Of nested collectors the
// inner one takes them all.
class message_collector {
public:
    message_collector() : outer_(std::exchange(current_, this)) { imsg_set_sink(&message_collector::take, this); }
    ~message_collector() {
        current_ = outer_;
        imsg_set_sink(outer_ ? &message_collector::take : nullptr, outer_);
    }
    message_collector(const message_collector &) = delete;
    message_collector &operator=(const message_collector &) = delete;

    [[nodiscard]] const std::vector<collected_message> &messages() const { return messages_; }

private:
    static void take(void *context, int severity, const char *module, const imsg_table_t *table, uint32_t index,
                     const char *text) noexcept;

    static inline constinit message_collector *current_ = nullptr;

    message_collector *outer_;
    std::vector<collected_message> messages_;
};

// What the libraries say of an operation that is done once more, unheard, because it has failed: what they printed the
// first time went to the reader.
template <class F> std::vector<collected_message> messages_of(F &&operation) {
    const message_collector quiet;
    operation();
    return quiet.messages();
}

// Whether one of the messages is the one with this published number of the module's table.
bool has_message(const std::vector<collected_message> &messages, std::string_view module, int number);

// The line of a file that a message about a text of access control names; 0 when none does.
size_t line_named_in(const std::vector<collected_message> &messages);

// A failure behind the beginning of an answer, which a JSON report holds too.
class partial_failure : public failure {
public:
    partial_failure(const failure &why, json answer);
    [[nodiscard]] const json &answer() const noexcept { return *answer_; }

private:
    std::shared_ptr<const json> answer_;
};

// Says what to do, behind what is wrong.
void print_remedy(const std::string &text);

// Reports a failure as text on standard error, or as a JSON object on standard output with what the libraries said.
void report_text(const failure &error);
void report_json(const failure &error, const std::vector<collected_message> &messages);

} // namespace tool

#endif
