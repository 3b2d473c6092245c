#include "internal/mime_encode.hpp"
#include "internal/mime_text.hpp"

#include <algorithm>
#include <string>

namespace i18n {

namespace {

constexpr size_t line_size = 76; // a line that holds an encoded word, RFC 2047 section 2
constexpr size_t first_size = line_size - I18N_MIME_NAME_ROOM; // of its first
constexpr size_t word_frame = 7;                               // "=?", "?Q?", "?=": what surrounds name and text
constexpr std::string_view blanks = " \t";

constexpr escape_table escapes = [] {
    escape_table all{};
    for (unsigned byte = 0; byte < all.size(); byte++) {
        const bool plain = byte > ' ' && byte <= '~' && byte != '=' && byte != '?' && byte != '_';
        all[byte] = escape_of(static_cast<unsigned char>(byte));
        if (plain) all[byte] = {{static_cast<char>(byte)}, 1};
    }
    all[' '] = {{'_'}, 1};
    return all;
}();
const escape &escaped(char byte) noexcept { return escapes[static_cast<unsigned char>(byte)]; }

// The length of the control character at the beginning of a text; 0 when there is none.
size_t control_length(std::string_view text) noexcept {
    const auto byte = static_cast<unsigned char>(text[0]);
    if (byte == '\r') return text.starts_with("\r\n") ? 2 : 1;
    if (byte < ' ') return byte == '\t' ? 0 : 1;
    if (byte == 0x7F) return 1;
    if (byte == 0xC2) return static_cast<unsigned char>(text[1]) < 0xA0 ? 2 : 0;
    return text.starts_with("\xE2\x80\xA8") || text.starts_with("\xE2\x80\xA9") ? 3 : 0;
}

std::string without_controls(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    while (!text.empty()) {
        const size_t control = control_length(text);
        clean += control != 0 ? ' ' : text[0];
        text.remove_prefix(std::max<size_t>(control, 1));
    }
    return clean;
}

bool may_have_controls(std::string_view text) noexcept {
    return std::any_of(text.begin(), text.end(),
                       [](unsigned char byte) { return byte < ' ' || byte == 0x7F || byte == 0xC2 || byte == 0xE2; });
}

// Walks the lines of a text that is to stay as it is, folded before blanks; false when it cannot stay.
template <class F> bool each_plain_line(std::string_view text, F &&line) {
    if (text.empty()) return true;
    if (text.find("=?") != std::string_view::npos || !is_ascii(text)) return false;
    if (blanks.find(text.front()) != std::string_view::npos || blanks.find(text.back()) != std::string_view::npos) {
        return false;
    }
    for (size_t room = first_size; !text.empty(); room = line_size) {
        size_t end = 0; // of what goes into the line: words with the blanks before them
        while (end < text.size()) {
            const size_t word = text.find_first_not_of(blanks, end);
            const size_t next = std::min(text.find_first_of(blanks, word), text.size());
            if (next > room) break;
            end = next;
        }
        if (end == 0) return false;
        line(text.substr(0, end));
        text.remove_prefix(end);
    }
    return true;
}

stg_text fold(std::string_view text, size_t folds) {
    stg_text folded = make_text(text.size() + 2 * folds + 1);
    char *out = folded.get();
    each_plain_line(text, [&, first = true](std::string_view line) mutable {
        if (!first) out = put(out, "\r\n");
        first = false;
        out = put(out, line);
    });
    *out = '\0';
    return folded;
}

bool suits_q(std::string_view text, double ratio) noexcept {
    const auto plain = std::count_if(text.begin(), text.end(), [](char byte) { return escaped(byte).length == 1; });
    return static_cast<double>(plain) >= ratio * static_cast<double>(text.size());
}

size_t q_size(std::string_view bytes) noexcept {
    size_t size = 0;
    for (const char byte : bytes) size += escaped(byte).length;
    return size;
}

// The encoded words of a text.
class words {
public:
    words(const mime_text &text, bool q) : text_(text), rest_(text.utf8()), q_(q) {
        frame_ = word_frame + std::strlen(text.charset());
    }

    [[nodiscard]] std::string all() {
        std::string out;
        while (!rest_.empty()) {
            const std::string_view bytes = next((out.empty() ? first_size : line_size - 1) - frame_);
            if (!out.empty()) out += "\r\n ";
            write(out, bytes);
        }
        return out;
    }

private:
    // Takes as many whole characters as fit, at least one, and gives them in the character set.
    std::string_view next(size_t room) {
        std::array<size_t, line_size> ends; // of the characters that may fit: none is shorter than one
        size_t count = 0;
        for (size_t i = 1; i <= rest_.size() && count < room; i++) {
            const bool at_end = i == rest_.size() || (static_cast<unsigned char>(rest_[i]) & 0xC0) != 0x80;
            if (at_end) ends[count++] = i;
        }
        const auto fits = [&](size_t end) {
            const std::string_view bytes = text_.encode_part(rest_.substr(0, end), bytes_);
            return (q_ ? q_size(bytes) : base64_size(bytes.size())) <= room;
        };
        const auto last =
            std::partition_point(ends.begin() + 1, ends.begin() + static_cast<ptrdiff_t>(count), fits) - 1;
        const std::string_view part = rest_.substr(0, *last);
        rest_.remove_prefix(part.size());
        return text_.encode_part(part, bytes_);
    }

    void write(std::string &out, std::string_view bytes) const {
        std::array<char, 2 * line_size> payload;
        char *end = payload.data();
        if (q_) {
            for (const char byte : bytes) end = put(end, escaped(byte));
        } else {
            end = put_base64(end, bytes);
        }
        out += "=?";
        out += text_.charset();
        out += q_ ? "?Q?" : "?B?";
        out.append(payload.data(), static_cast<size_t>(end - payload.data()));
        out += "?=";
    }

    const mime_text &text_;
    std::string_view rest_;
    std::string bytes_;
    size_t frame_;
    bool q_;
};

} // namespace

stg_text encode_header(std::string_view text, const char *charset, i18n_mime_kind_t kind, double ratio) {
    text = text.substr(0, text.find_last_not_of("\r\n") + 1);
    mime_text source(text, charset);
    if (may_have_controls(source.utf8())) source.replace(without_controls(source.utf8()));
    size_t lines = 0;
    if (source.utf8().empty() ||
        (kind == I18N_MIME_PLAIN && each_plain_line(source.utf8(), [&lines](std::string_view) { lines++; }))) {
        return fold(source.utf8(), lines);
    }
    static_cast<void>(source.encode());
    const bool q = kind == I18N_MIME_PLAIN ? suits_q(source.utf8(), ratio) : kind == I18N_MIME_QUOTED_PRINTABLE;
    const std::string made = words(source, q).all();
    stg_text header = make_text(made.size() + 1);
    *put(header.get(), made) = '\0';
    return header;
}

} // namespace i18n
