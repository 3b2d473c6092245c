#include "output.hpp"

#include "hexadecimal.hpp"
#include "ks/ks_str.h"
#include "output_file.hpp"
#include "text_file.hpp"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

constexpr char bold_format[] = "\001\0011B%.*s\001\0010B";

void print_as(const char *format, std::string_view text) {
    imsg_print(IMSG_PLAIN, format, IMSG_LITERAL, static_cast<int>(text.size()), text.data());
}

std::string where(const failure &error) {
    if (error.file().empty()) return {};
    return error.line() ? error.file() + ':' + std::to_string(error.line()) + ": " : error.file() + ": ";
}

std::string_view without_newline(std::string_view text) {
    while (text.ends_with('\n')) text.remove_suffix(1);
    return text;
}

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const size_t length = utf8_length(text);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

// Those that end with the number of a line; a status may stand behind it, whose text has no digits.
constexpr int messages_on_lines[] = {9, 10, 11, 12, 25};

bool names_line(const collected_message &message) {
    return message.module == "tbs_acl" && std::find(std::begin(messages_on_lines), std::end(messages_on_lines),
                                                    message.number) != std::end(messages_on_lines);
}

size_t last_number_in(std::string_view text) {
    constexpr char digits[] = "0123456789";
    const size_t end = text.find_last_of(digits);
    if (end == std::string_view::npos) return 0;
    text = text.substr(0, end + 1);
    text.remove_prefix(text.find_last_not_of(digits) + 1); // npos + 1 is the beginning
    size_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() ? number : 0;
}

} // namespace

bool terminal_has_escapes() {
    const char *type = std::getenv("TERM");
    return type && *type && std::string_view(type) != "dumb";
}

size_t width_of(std::string_view text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(),
                                             [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string_view first_line(std::string_view text, size_t room) {
    if (width_of(text) <= room) return text;
    size_t best = 0;
    for (size_t i = 1; i < text.size(); i++) {
        if (text[i] != ' ' && text[i - 1] != ',') continue;
        if (best != 0 && width_of(text.substr(0, i)) > room) break;
        best = i;
    }
    return best ? text.substr(0, best) : text;
}

std::string visible(const std::string &text) {
    std::string shown(4 * text.size() + 1, '\0');
    shown.resize(strutl_visible(shown.data(), shown.size(), text.c_str()));
    return shown;
}

void print(std::string_view text) { print_as("%.*s", text); }

void print_bold(std::string_view text) { print_as(bold_format, text); }

void print_padded(std::string_view text, size_t width) {
    const size_t used = width_of(text);
    print(std::string(text) + std::string(used < width ? width - used : 1, ' '));
}

void end_line() { imsg_print(IMSG_PLAIN, "\n", IMSG_LITERAL); }

void print_wrapped(std::string_view text, size_t column, size_t indent) {
    const std::string margin(indent, ' ');
    for (bool first = true;; first = false) {
        const size_t used = first ? column : indent;
        const std::string_view paragraph = text.substr(0, text.find('\n'));
        const std::string_view line = first_line(paragraph, line_width > used ? line_width - used : 1);
        if (!first) print(margin);
        print(line);
        end_line();
        text.remove_prefix(line.size());
        if (text.starts_with(' ') || text.starts_with('\n')) text.remove_prefix(1);
        if (text.empty()) return;
    }
}

json text_as_json(std::string_view text) {
    if (is_utf8(text)) return text;
    return {{"bytes", hex_digits(text)}};
}

std::string json_text(const json &value) {
    std::string text = value.dump(2, ' ', true, json::error_handler_t::replace);
    // DEL is the one control character that JSON lets stand.
    for (size_t at = text.find('\x7F'); at != std::string::npos; at = text.find('\x7F', at)) {
        text.replace(at, 1, "\\u007f");
    }
    return text + '\n';
}

void print_json(const json &value) { write_answer(std::nullopt, json_text(value)); }

void message_collector::take(void *context, int severity, const char *module, const imsg_table_t *table,
                             uint32_t index, const char *text) noexcept {
    if (severity == IMSG_TRACE || severity == IMSG_CONTINUATION || severity == IMSG_PLAIN) {
        std::fputs(text, stderr);
        return;
    }
    try {
        auto *self = static_cast<message_collector *>(context);
        const int number = table ? table->numbers[index] : 0;
        self->messages_.push_back({severity, module, number, std::string(without_newline(text))});
    } catch (...) {
        std::fputs(text, stderr); // no memory to keep it: better on the other stream than lost
    }
}

bool has_message(const std::vector<collected_message> &messages, std::string_view module, int number) {
    return std::any_of(messages.begin(), messages.end(), [&](const collected_message &message) {
        return message.module == module && message.number == number;
    });
}

size_t line_named_in(const std::vector<collected_message> &messages) {
    const auto found = std::find_if(messages.begin(), messages.end(), names_line);
    return found == messages.end() ? 0 : last_number_in(found->text);
}

partial_failure::partial_failure(const failure &why, json answer)
    : failure(why), answer_(std::make_shared<const json>(std::move(answer))) {}

void print_remedy(const std::string &text) {
    imsg_print_shared(IMSG_FOLLOW_UP, "tbs", "    %s\n", IMSG_LITERAL, text.c_str());
}

void report_text(const failure &error) {
    const std::string place = where(error);
    imsg_print_shared(IMSG_ERROR, "tbs", "%s%s.\n", IMSG_LITERAL, place.c_str(), error.text().c_str());
    print_remedy(error.remedy());
}

void report_json(const failure &error, const std::vector<collected_message> &messages) {
    json said = json::array();
    for (const collected_message &message : messages) {
        said.push_back({{"severity", message.severity == IMSG_WARNING ? "warning" : "error"},
                        {"module", message.module},
                        {"number", message.number ? json(message.number) : json(nullptr)},
                        {"text", message.text}});
    }
    const auto *partial = dynamic_cast<const partial_failure *>(&error);
    json answer = partial ? partial->answer() : json::object();
    answer["error"] = {{"text", error.text()},
                       {"file", error.file().empty() ? json(nullptr) : json(error.file())},
                       {"line", error.line() ? json(error.line()) : json(nullptr)},
                       {"remedy", error.remedy()},
                       {"messages", std::move(said)}};
    answer["exit_status"] = exit_bad_input;
    print_json(answer);
}

} // namespace tool
