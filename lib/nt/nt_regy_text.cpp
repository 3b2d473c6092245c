#include "internal/nt_regy_text.hpp"

#include "internal/nt_utf.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_str.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace nt::regy {
namespace {

using namespace std::string_view_literals;

constexpr auto version_4 = "REGEDIT4"sv, version_5 = "Windows Registry Editor Version 5.00"sv;
constexpr auto our_root = "HKEY_LOCAL_MACHINE"sv;
constexpr std::string_view other_roots[] = {"HKEY_CLASSES_ROOT",     "HKEY_CURRENT_USER",   "HKEY_USERS",
                                            "HKEY_PERFORMANCE_DATA", "HKEY_CURRENT_CONFIG", "HKEY_DYN_DATA"};

constexpr auto blanks = " \t"sv, line_end = "\r\n"sv;
constexpr size_t last_column = 77; // a line of bytes goes on in the next one from here

bool is_same_word(std::string_view a, std::string_view b) {
    const auto low = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return low(x) == low(y); });
}

int hex_digit(char c) {
    const auto at = "0123456789abcdefABCDEF"sv.find(c);
    return at == std::string_view::npos ? -1 : static_cast<int>(at < 16 ? at : at - 6);
}

bool holds_text(ntregy_type_t type) { return is_text(type) || type == NTREGY_MULTI_SZ; }

bool has_controls(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
}

// ---- texts as other hosts keep them

// The text up to its terminator, or to the end, with a terminator.
void end_text(std::string &text) {
    text.resize(std::min(text.find('\0'), text.size()));
    text += '\0';
}

// The texts up to the first empty one, which readers take for the end.
void end_text_list(std::string &texts) {
    const size_t end = texts.starts_with('\0') ? 0 : texts.find("\0\0"sv);
    if (end != std::string::npos) {
        texts.resize(end);
    } else if (texts.ends_with('\0')) {
        texts.pop_back();
    }
    if (!texts.empty()) texts += '\0';
    texts += '\0';
}

// ---- reading

class settings_reader {
public:
    settings_reader(std::string_view text, changes &told) : rest_(text), told_(told) {}

    int read(text_report &report) {
        const int error = read_all();
        report.line = error == 0 ? 0 : line_;
        report.skipped = error == 0 ? skipped_ : 0;
        return error;
    }

private:
    // What the values that follow belong to.
    enum class section { none, ours, root, dropped, skipped };

    int read_all() {
        if (!read_version()) return KS_EINVAL;
        while (!rest_.empty()) {
            if (const int error = read_line()) return error;
        }
        return 0;
    }

    // ---- characters

    [[nodiscard]] bool at(char c) const { return !rest_.empty() && rest_.front() == c; }
    bool take(char c) {
        if (!at(c)) return false;
        rest_.remove_prefix(1);
        return true;
    }
    bool take_word(std::string_view word) {
        if (!is_same_word(rest_.substr(0, word.size()), word)) return false;
        rest_.remove_prefix(word.size());
        return true;
    }
    void skip_blanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(blanks), rest_.size())); }
    // What is left of the line, without its end.
    [[nodiscard]] std::string_view line() const {
        std::string_view text = rest_.substr(0, rest_.find('\n'));
        if (text.ends_with('\r')) text.remove_suffix(1);
        return text;
    }
    // Takes the end of a line; the end of the text is one.
    bool take_line_end() {
        if (rest_.empty()) return true;
        const size_t size = rest_.starts_with(line_end) ? line_end.size() : rest_.starts_with('\n') ? 1 : 0;
        rest_.remove_prefix(size);
        line_ += size != 0;
        return size != 0;
    }
    // Takes the end of a line and what may stand before it.
    bool take_rest_of_line() {
        skip_blanks();
        if (at(';')) rest_.remove_prefix(line().size());
        return take_line_end();
    }

    // ---- lines

    bool read_version() {
        narrow_ = take_word(version_4);
        return (narrow_ || take_word(version_5)) && take_rest_of_line();
    }

    int read_line() {
        skip_blanks();
        if (at('[')) return read_key();
        if (at('@') || at('"')) return read_value();
        return take_rest_of_line() ? 0 : KS_EINVAL;
    }

    // The last bracket of the line ends the key: names may hold some.
    int read_key() {
        const std::string_view all = line();
        const size_t end = all.rfind(']');
        if (end == std::string_view::npos) return KS_EINVAL;
        std::string_view path = all.substr(1, end - 1);
        const bool drop = path.starts_with('-');
        if (drop) path.remove_prefix(1);
        if (const int error = enter(path, drop)) return error;
        rest_.remove_prefix(end + 1);
        return take_rest_of_line() ? 0 : KS_EINVAL;
    }

    int enter(std::string_view path, bool drop) {
        const std::string_view root = path.substr(0, path.find('\\'));
        if (!is_same_word(root, our_root)) {
            if (std::none_of(std::begin(other_roots), std::end(other_roots),
                             [&](std::string_view other) { return is_same_word(root, other); })) {
                return KS_EINVAL;
            }
            section_ = section::skipped;
            skipped_++;
            return 0;
        }
        if (root.size() == path.size()) {
            section_ = section::root;
            return drop ? KS_EINVAL : 0;
        }
        path_ = path.substr(root.size() + 1);
        if (path_.find('\0') != std::string::npos) return KS_EINVAL;
        if (const int error = key_.set_key(path_.c_str())) return error;
        section_ = drop ? section::dropped : section::ours;
        drop ? told_.drop_key(key_) : told_.make_key(key_);
        return 0;
    }

    int read_value() {
        if (section_ != section::ours && section_ != section::skipped) return KS_EINVAL;
        const uint32_t first_line = line_;
        name_text_.clear();
        if (!take('@') && !take_quoted(name_text_, false)) return KS_EINVAL;
        if (name_text_.find('\0') != std::string::npos) return KS_EINVAL;
        if (const int error = name_.set_value_name(name_text_.c_str())) return error;
        skip_blanks();
        if (!take('=')) return KS_EINVAL;
        skip_blanks();
        if (take('-')) {
            if (!take_rest_of_line()) return KS_EINVAL;
            if (section_ == section::ours) told_.drop_value(key_, name_);
            return 0;
        }
        const auto type = take_data();
        if (!type || !take_rest_of_line()) return KS_EINVAL;
        const int error = tell_value(*type);
        if (error != 0) line_ = first_line;
        return error;
    }

    int tell_value(ntregy_type_t type) {
        if (!give_form(type)) return KS_EINVAL;
        if (data_.size() > NTREGY_MAX_DATA) return KS_E2BIG;
        number_buffer number;
        const std::string_view data = in_other_order(type, data_, number);
        if (!fits_type(type, data)) return KS_EINVAL;
        if (section_ == section::ours) told_.set_value(key_, name_, type, data);
        return 0;
    }

    // ---- data

    std::optional<ntregy_type_t> take_data() {
        data_.clear();
        from_bytes_ = false;
        if (at('"')) {
            if (!take_quoted(data_, true)) return std::nullopt;
            return NTREGY_SZ;
        }
        if (take_word("dword:")) return take_number() ? std::optional<ntregy_type_t>(NTREGY_DWORD) : std::nullopt;
        if (!take_word("hex")) return std::nullopt;
        const auto type = take_type();
        from_bytes_ = true;
        return type && take_bytes() ? type : std::nullopt;
    }

    // A text in quotes; in it a backslash stands before a quote and a backslash. Data may go over several lines.
    bool take_quoted(std::string &text, bool may_hold_lines) {
        if (!take('"')) return false;
        const uint32_t first_line = line_;
        while (!rest_.empty() && !at('"')) {
            const size_t plain = std::min(rest_.find_first_of("\"\\\n"), rest_.size());
            text += rest_.substr(0, plain);
            rest_.remove_prefix(plain);
            if (take('\\')) {
                if (!at('\\') && !at('"')) return false;
                text += rest_.front();
                rest_.remove_prefix(1);
            } else if (at('\n')) {
                if (!may_hold_lines) return false;
                text += '\n';
                take_line_end();
            }
        }
        if (take('"')) return true;
        line_ = first_line;
        return false;
    }

    bool take_number() {
        uint32_t number = 0;
        size_t digits = 0;
        for (; !rest_.empty() && hex_digit(rest_.front()) >= 0; rest_.remove_prefix(1)) {
            if (++digits > 8) return false;
            number = number << 4 | static_cast<uint32_t>(hex_digit(rest_.front()));
        }
        for (int shift = 0; shift < 32; shift += 8) data_ += static_cast<char>(number >> shift & 0xFF);
        return digits != 0;
    }

    // Behind "hex": nothing for plain bytes, or the type's number in parentheses.
    std::optional<ntregy_type_t> take_type() {
        ntregy_type_t type = NTREGY_BINARY;
        if (take('(')) {
            const char *end = rest_.data() + rest_.size();
            const auto [stop, error] = std::from_chars(rest_.data(), end, type, 16);
            if (error != std::errc()) return std::nullopt;
            rest_.remove_prefix(static_cast<size_t>(stop - rest_.data()));
            if (!take(')')) return std::nullopt;
        }
        return take(':') ? std::optional(type) : std::nullopt;
    }

    // Two digits each, commas between them, also one behind the last; "\" at the end of a line goes on in the next.
    bool take_bytes() {
        bool more = true; // a byte may stand here
        for (;;) {
            skip_blanks();
            if (take('\\')) {
                skip_blanks();
                if (rest_.empty() || !take_line_end()) return false;
            } else if (rest_.empty() || hex_digit(rest_.front()) < 0) {
                return true;
            } else {
                if (!more || !take_byte()) return false;
                skip_blanks();
                more = take(',');
            }
        }
    }

    bool take_byte() {
        const int high = hex_digit(rest_.front());
        rest_.remove_prefix(1);
        const int low = rest_.empty() ? -1 : hex_digit(rest_.front());
        if (low >= 0) rest_.remove_prefix(1);
        data_ += static_cast<char>(low >= 0 ? high << 4 | low : high);
        return true;
    }

    // Makes texts UTF-8 and ends them.
    bool give_form(ntregy_type_t type) {
        if (!holds_text(type)) return true;
        if (from_bytes_ && !narrow_ && !convert_text()) return false;
        type == NTREGY_MULTI_SZ ? end_text_list(data_) : end_text(data_);
        return true;
    }

    // Version 5.00 has the bytes of UTF-16LE.
    bool convert_text() {
        wide_.swap(data_);
        data_.clear();
        for (std::string_view bytes = wide_; !bytes.empty();) {
            const char32_t c = utf::take_utf16(bytes, utf::byte_order::little);
            if (c == utf::bad) return false;
            utf::append_utf8(data_, c);
        }
        return true;
    }

    std::string_view rest_;
    changes &told_;
    uint32_t line_ = 1, skipped_ = 0;
    section section_ = section::none;
    bool narrow_ = false;     // REGEDIT4: bytes of texts are characters
    bool from_bytes_ = false; // the data stood as bytes
    folded_name key_, name_;
    std::string path_, name_text_, data_, wide_;
};

} // namespace

int to_utf8(std::string_view bytes, std::string &text, text_report &report) {
    constexpr auto utf8_mark = "\xEF\xBB\xBF"sv, little_mark = "\xFF\xFE"sv, big_mark = "\xFE\xFF"sv;
    const bool little = bytes.starts_with(little_mark) || (bytes.size() > 1 && bytes[1] == '\0');
    const bool wide = little || bytes.starts_with(big_mark) || bytes.starts_with('\0');
    for (const std::string_view mark : {utf8_mark, little_mark, big_mark}) {
        if (bytes.starts_with(mark)) {
            bytes.remove_prefix(mark.size());
            break;
        }
    }
    report = {1, 0};
    text.clear();
    text.reserve(wide ? bytes.size() / 2 : bytes.size());
    while (!bytes.empty()) {
        const char32_t c = !wide ? utf::take_utf8(bytes)
                                 : utf::take_utf16(bytes, little ? utf::byte_order::little : utf::byte_order::big);
        if (c == utf::bad) return KS_EINVAL;
        report.line += c == '\n';
        utf::append_utf8(text, c);
    }
    report.line = 0;
    return 0;
}

int read_settings(std::string_view text, changes &told, text_report &report) {
    return settings_reader(text, told).read(report);
}

// ---- writing

settings_writer::settings_writer() {
    put("\xEF\xBB\xBF"); // the byte order mark is a character too
    put(version_5);
    put(line_end);
}

void settings_writer::put(std::string_view text) {
    while (!text.empty()) {
        const char32_t c = utf::take_utf8(text);
        if (c == utf::bad) return; // names and texts were checked
        utf::append_utf16le(bytes_, c);
    }
}

void settings_writer::key(std::string_view path) {
    put(line_end);
    put("[");
    put(our_root);
    if (!path.empty()) put("\\");
    put(path);
    put("]");
    put(line_end);
}

void settings_writer::put_quoted(std::string_view text) {
    put("\"");
    while (!text.empty()) {
        const size_t plain = std::min(text.find_first_of("\"\\"), text.size());
        put(text.substr(0, plain));
        text.remove_prefix(plain);
        if (!text.empty()) {
            put("\\");
            put(text.substr(0, 1));
            text.remove_prefix(1);
        }
    }
    put("\"");
}

// As other hosts wrap them, see last_column.
void settings_writer::put_bytes(std::string_view data, size_t column) {
    constexpr auto digits = "0123456789abcdef"sv;
    while (!data.empty()) {
        const auto byte = static_cast<unsigned char>(data.front());
        const char text[] = {digits[byte >> 4], digits[byte & 15], ','};
        data.remove_prefix(1);
        put({text, data.empty() ? size_t{2} : size_t{3}});
        column += 3;
        if (!data.empty() && column >= last_column) {
            put("\\\r\n  ");
            column = 2;
        }
    }
}

void settings_writer::value(std::string_view name, ntregy_type_t type, std::string_view data) {
    const size_t start = bytes_.size();
    name.empty() ? put("@") : put_quoted(name);
    put("=");
    std::string wide;
    if (holds_text(type)) {
        const std::string_view text = data.substr(0, data.size() - 1);
        if (type == NTREGY_SZ && !has_controls(text)) {
            put_quoted(text);
            return put(line_end);
        }
        while (!data.empty()) utf::append_utf16le(wide, utf::take_utf8(data));
        data = wide;
    }
    number_buffer buffer;
    data = in_other_order(type, data, buffer);
    char number[16];
    if (type == NTREGY_DWORD) {
        const auto byte = [&](size_t i) { return unsigned{static_cast<unsigned char>(data[i])}; };
        strutl_snprintf(number, sizeof number, "dword:%02x%02x%02x%02x", byte(3), byte(2), byte(1), byte(0));
        put(number);
        return put(line_end);
    }
    strutl_snprintf(number, sizeof number, type == NTREGY_BINARY ? "hex:" : "hex(%x):", unsigned{type});
    put(number);
    put_bytes(data, (bytes_.size() - start) / 2);
    put(line_end);
}

} // namespace nt::regy
