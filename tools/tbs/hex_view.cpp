#include "hex_view.hpp"

#include "hexadecimal.hpp"

#include <algorithm>

namespace tool {
namespace {

using tbs::wire::item;
using tbs::wire::view_result;

constexpr size_t bytes_a_line = 8;
constexpr size_t byte_column = 10, name_column = 35, value_column = 53;
constexpr size_t most_behind = 64; // bytes shown of what is no member

// As hex_digits() writes them, a blank between bytes.
std::string spaced_digits(std::span<const uint8_t> of) {
    std::string text = hex_digits(of);
    for (size_t at = 2; at < text.size(); at += 3) text.insert(at, 1, ' ');
    return text;
}

void pad(std::string &line, size_t column) {
    const size_t used = width_of(line);
    line.append(used < column ? column - used : 0, ' ');
}

// Takes a line off a text: cut at a blank or behind a comma when there is one, else anywhere between characters.
std::string take_line(std::string_view &text, size_t room) {
    std::string_view line = first_line(text.substr(0, 4 * (room + 1)), room); // no character has more than 4 bytes
    while (width_of(line) > room) {
        do line.remove_suffix(1);
        while ((static_cast<unsigned char>(text[line.size()]) & 0xC0) == 0x80);
    }
    text.remove_prefix(line.size());
    if (text.starts_with(' ')) text.remove_prefix(1);
    return std::string(line);
}

std::string text_of(const item &what) {
    struct {
        std::string operator()(const std::string &text) const { return text; }
        std::string operator()(int64_t number) const { return std::to_string(number); }
        std::string operator()(uint64_t number) const { return std::to_string(number); }
        std::string operator()(double number) const { return json(number).dump(); }
    } write;
    return std::visit(write, what.value);
}

// A number is seen among the bytes: words for it take its place. A text keeps its own beside them.
std::string shown(const item &what, const std::string &words) {
    if (!std::holds_alternative<std::string>(what.value)) return words.empty() ? text_of(what) : words;
    const bool is_text = what.kind == tbs::wire::item_kind::text;
    const std::string text = is_text ? '"' + text_of(what) + '"' : text_of(what);
    return words.empty() ? text : text + ' ' + words;
}

} // namespace

// ---- lines

hex_view::hex_view(std::span<const uint8_t> content, meaning words_for)
    : content_(content), words_for_(std::move(words_for)) {
    std::string head = "offset";
    pad(head, byte_column);
    head += "bytes";
    pad(head, name_column);
    head += "member";
    pad(head, value_column);
    print_bold(head + "value");
    end_line();
}

void hex_view::lines(std::optional<size_t> offset, std::span<const uint8_t> of, std::string_view name,
                     const std::string &text) {
    const std::string all = visible(text);
    std::string_view rest = all;
    std::string margin(name_column + 2 * positions_.size(), ' ');
    for (bool first = true; first || !of.empty() || !rest.empty(); first = false) {
        const auto now = of.first(std::min(of.size(), bytes_a_line));
        std::string line = offset && (first || !now.empty()) ? hex_number(*offset, 8) : "";
        pad(line, byte_column);
        line += spaced_digits(now);
        if (first) {
            pad(line, margin.size());
            line += name;
            margin.assign(std::max(width_of(line) + 1, value_column), ' ');
        }
        if (!rest.empty()) {
            pad(line, margin.size());
            line += take_line(rest, line_width > margin.size() + 8 ? line_width - margin.size() : 8);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        print(line);
        end_line();
        of = of.subspan(now.size());
        if (offset) *offset += now.size();
    }
}

void hex_view::member(const item &what) {
    lines(what.offset, content_.subspan(what.offset, what.size), what.name, shown(what, words_for_(what)));
}

void hex_view::title(std::string_view name) { lines({}, {}, name, ""); }

void hex_view::enter_record(std::string_view name) {
    title(name.empty() ? '[' + std::to_string(positions_.back()++) + ']' : std::string(name));
    positions_.push_back(0);
}

void hex_view::enter_list(std::string_view name, uint32_t) {
    title(name);
    positions_.push_back(0);
}

void hex_view::leave() { positions_.pop_back(); }

void hex_view::end(const view_result &result) {
    const std::span<const uint8_t> behind = content_.subspan(result.end);
    if (result.whole && behind.empty()) return;
    const std::string size = std::to_string(behind.size()) + (behind.size() == 1 ? " byte" : " bytes");
    const std::string what = result.whole ? size + " behind the end" : std::string("damaged: ") + result.why;
    lines(result.end, behind.first(std::min(behind.size(), most_behind)), what, "");
    if (behind.size() > most_behind)
        lines({}, {}, "", "and " + std::to_string(behind.size() - most_behind) + " more");
}

// ---- JSON

json_view::json_view(meaning words_for) : words_for_(std::move(words_for)), levels_{{"", "members", json::array()}} {}

void json_view::member(const item &what) {
    json one = {{"name", what.name}, {"offset", what.offset}, {"size", what.size}};
    std::visit([&](const auto &value) { one["value"] = value; }, what.value);
    const std::string words = words_for_(what);
    if (!words.empty()) one["meaning"] = words;
    levels_.back().content.push_back(std::move(one));
}

void json_view::enter_record(std::string_view name) {
    levels_.push_back({std::string(name), "members", json::array()});
}

void json_view::enter_list(std::string_view name, uint32_t) {
    levels_.push_back({std::string(name), "elements", json::array()});
}

void json_view::leave() {
    level done = std::move(levels_.back());
    levels_.pop_back();
    json &outer = levels_.back().content;
    if (done.name.empty()) {
        outer.push_back(std::move(done.content));
    } else {
        outer.push_back({{"name", done.name}, {done.kind, std::move(done.content)}});
    }
}

json json_view::end(std::span<const uint8_t> content, const view_result &result) {
    json all = {{"length", content.size()}, {"members", std::move(levels_.front().content)}};
    const json place = {{"offset", result.end}, {"size", content.size() - result.end}};
    if (!result.whole) {
        all["damage"] = place;
        all["damage"]["reason"] = result.why;
    } else if (result.end < content.size()) {
        all["behind"] = place;
    }
    return all;
}

} // namespace tool
