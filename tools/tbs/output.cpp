#include "output.hpp"

#include "hexadecimal.hpp"
#include "ks/ks_str.h"
#include "output_file.hpp"
#include "text_file.hpp"

#include <algorithm>
#include <cstdio>
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

} // namespace

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

partial_failure::partial_failure(const failure &why, json answer)
    : failure(why), answer_(std::make_shared<const json>(std::move(answer))) {}

void report_text(const failure &error) {
    const std::string place = where(error);
    imsg_print_shared(IMSG_ERROR, "tbs", "%s%s.\n", IMSG_LITERAL, place.c_str(), error.text().c_str());
    imsg_print_shared(IMSG_FOLLOW_UP, "tbs", "    %s\n", IMSG_LITERAL, error.remedy().c_str());
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
