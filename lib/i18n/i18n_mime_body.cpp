#include "internal/mime_encode.hpp"
#include "internal/mime_text.hpp"

#include <algorithm>
#include <string>
#include <type_traits>

namespace i18n {

namespace {

constexpr size_t plain_line_size = 998; // RFC 5322 section 2.1.1, without the line end
constexpr size_t line_size = 76;        // quoted-printable and base64, RFC 2045
constexpr std::string_view line_end = "\r\n";

constexpr bool is_plain(unsigned char byte) {
    return (byte >= ' ' && byte <= '~' && byte != '=') || byte == '\t' || byte == '\n';
}

constexpr escape_table byte_escapes = [] {
    escape_table all{};
    for (unsigned byte = 0; byte < all.size(); byte++) {
        all[byte] = escape_of(static_cast<unsigned char>(byte));
        if (is_plain(static_cast<unsigned char>(byte))) all[byte] = {{static_cast<char>(byte)}, 1};
    }
    return all;
}();

// CR LF and CR become LF.
std::string with_line_feeds(std::string_view text) {
    std::string lines;
    lines.reserve(text.size());
    while (true) {
        const size_t end = text.find('\r');
        lines += text.substr(0, end);
        if (end == std::string_view::npos) return lines;
        lines += '\n';
        text.remove_prefix(end + (text.substr(end).starts_with(line_end) ? 2 : 1));
    }
}

// Calls line(text, ended) for each line; the last one has no end, and may be empty.
template <class F> void each_line(std::string_view text, F &&line) {
    while (true) {
        const size_t end = text.find('\n');
        if (end == std::string_view::npos) break;
        line(text.substr(0, end), true);
        text.remove_prefix(end + 1);
    }
    line(text, false);
}

// How many bytes are of which sort.
struct census {
    size_t size = 0;
    size_t shown = 0; // ASCII but C0; with DEL
    size_t deletes = 0, equals = 0, tabs = 0, line_ends = 0, returns = 0;

    // Those that quoted-printable writes as they are.
    [[nodiscard]] size_t plain() const noexcept { return shown - deletes - equals + tabs + line_ends; }
    // Of an ASCII text: the controls but TAB and LF.
    [[nodiscard]] size_t controls() const noexcept { return size - shown + deletes - tabs - line_ends; }
};

// Counts at most 255 bytes. A size known to the compiler lets it count many at once.
template <class Size> void add_counts(census &all, const char *bytes, Size size) noexcept {
    uint8_t shown = 0, deletes = 0, equals = 0, tabs = 0, line_ends = 0, returns = 0;
    for (size_t i = 0; i < size; i++) {
        const auto byte = static_cast<int8_t>(bytes[i]);
        shown = static_cast<uint8_t>(shown + (byte >= ' '));
        deletes = static_cast<uint8_t>(deletes + (byte == 0x7F));
        equals = static_cast<uint8_t>(equals + (byte == '='));
        tabs = static_cast<uint8_t>(tabs + (byte == '\t'));
        line_ends = static_cast<uint8_t>(line_ends + (byte == '\n'));
        returns = static_cast<uint8_t>(returns + (byte == '\r'));
    }
    all.size += size;
    all.shown += shown;
    all.deletes += deletes;
    all.equals += equals;
    all.tabs += tabs;
    all.line_ends += line_ends;
    all.returns += returns;
}

census count(std::string_view text) noexcept {
    constexpr std::integral_constant<size_t, 240> block;
    census all;
    for (; text.size() >= block; text.remove_prefix(block)) add_counts(all, text.data(), block);
    add_counts(all, text.data(), text.size());
    return all;
}

bool has_plain_lines(std::string_view text) noexcept {
    bool plain = true;
    each_line(text, [&plain](std::string_view line, bool) {
        plain = plain && line.size() <= plain_line_size && !line.starts_with('.');
    });
    return plain;
}

// Whether a text can be sent as it stands. ESC may be there when a 7-bit character set has written it.
bool suits_plain(std::string_view text, const census &sorts, bool may_escape) noexcept {
    if (!is_ascii(text)) return false;
    const auto escapes = may_escape ? std::count(text.begin(), text.end(), '\x1B') : 0;
    return sorts.controls() == static_cast<size_t>(escapes) && has_plain_lines(text);
}

std::string_view without_last_end(std::string_view text) noexcept {
    if (text.ends_with('\n')) text.remove_suffix(1);
    return text;
}

stg_text write_plain(std::string_view text, size_t line_ends) {
    stg_text made = make_text(text.size() + line_ends + 1);
    char *out = made.get();
    each_line(text, [&out](std::string_view line, bool ended) {
        out = put(out, line);
        if (ended) out = put(out, line_end);
    });
    *out = '\0';
    return made;
}

// Writes quoted-printable, a line of the text after the other.
class quoted_printable {
public:
    explicit quoted_printable(char *out) : out_(out) {}

    void line(std::string_view text, bool ended) noexcept {
        cursor at{out_, out_};
        if (!text.empty()) {
            const auto last = static_cast<unsigned char>(text.back());
            text.remove_suffix(1);
            while (!text.empty()) {
                if (at.write_plain_word(text)) {
                    text.remove_prefix(word_size);
                } else {
                    at.write(byte_escapes[static_cast<unsigned char>(text[0])], line_size - 1);
                    text.remove_prefix(1);
                }
            }
            const bool vanishes = last == ' ' || last == '\t';
            at.write(vanishes ? escape_of(last) : byte_escapes[last], line_size);
        }
        out_ = ended ? put(at.out, line_end) : at.out;
    }
    [[nodiscard]] char *end() const noexcept { return out_; }

    // Bytes that suffice for a text, with the fourth byte of the last escape.
    static size_t bound(size_t size, size_t escapes, size_t line_ends) {
        const size_t lines = line_ends + 1;
        const size_t escaped = size + 2 * escapes + 2 * lines; // a blank at the end of each line
        // A broken line has at least 73 characters, and each line may have a "." to escape.
        const size_t breaks = (escaped + 2 * lines) / 71 + 1;
        return escaped + 2 * (lines + breaks) + 3 * breaks + 2 * line_ends + 4;
    }

private:
    static constexpr size_t word_size = sizeof(uint64_t);
    static constexpr uint64_t each(uint8_t byte) { return UINT64_C(0x0101010101010101) * byte; }
    // Whether all bytes are printable ASCII but "=".
    static bool is_plain_word(uint64_t word) noexcept {
        const uint64_t not_plain = word | (word - each(' ')) | ((word ^ each('=')) - each(1)) | (word + each(1));
        return (not_plain & each(0x80)) == 0;
    }

    // A place in a line, apart from the object, so that what is written there cannot change it.
    struct cursor {
        char *out;
        char *begin; // of the line
        [[nodiscard]] size_t column() const noexcept { return static_cast<size_t>(out - begin); }
        // Writes the next bytes at once when none of them needs a look.
        [[nodiscard]] bool write_plain_word(std::string_view text) noexcept {
            if (text.size() < word_size || column() == 0 || column() + word_size > line_size - 1) return false;
            uint64_t word;
            std::memcpy(&word, text.data(), word_size);
            if (!is_plain_word(word)) return false;
            std::memcpy(out, &word, word_size);
            out += word_size;
            return true;
        }
        void write(const escape &what, size_t limit) noexcept {
            if (column() + what.length > limit) begin = out = put(out, "=\r\n");
            out = put(out, out == begin && what.text[0] == '.' ? escape_of('.') : what);
        }
    };

    char *out_;
};

stg_text write_quoted_printable(std::string_view text, size_t escapes, size_t line_ends) {
    stg_text made = make_text(quoted_printable::bound(text.size(), escapes, line_ends));
    quoted_printable writer(made.get());
    each_line(text, [&writer](std::string_view line, bool ended) { writer.line(line, ended); });
    *writer.end() = '\0';
    return made;
}

// Writes base64 in lines, from pieces of any length.
class base64 {
public:
    explicit base64(char *out) : out_(out), begin_(out) {}

    void add(std::string_view piece) noexcept {
        while (!piece.empty()) {
            if (held_ == block_.size()) flush();
            const std::string_view some = piece.substr(0, block_.size() - held_);
            std::memcpy(block_.data() + held_, some.data(), some.size());
            held_ += some.size();
            piece.remove_prefix(some.size());
        }
    }
    [[nodiscard]] char *end() noexcept {
        flush();
        return out_;
    }
    static size_t bound(size_t size) { return base64_size(size) + 2 * (size / bytes_per_line + 1) + 1; }

private:
    static constexpr size_t bytes_per_line = line_size / 4 * 3;

    // Whole lines, but for the last block.
    void flush() noexcept {
        for (std::string_view rest(block_.data(), held_); !rest.empty();) {
            const std::string_view some = rest.substr(0, bytes_per_line);
            if (out_ != begin_) out_ = put(out_, line_end);
            out_ = put_base64(out_, some);
            rest.remove_prefix(some.size());
        }
        held_ = 0;
    }

    std::array<char, 128 * bytes_per_line> block_;
    size_t held_ = 0;
    char *out_;
    const char *begin_;
};

stg_text write_base64(std::string_view text, size_t line_ends) {
    stg_text made = make_text(base64::bound(text.size() + line_ends));
    base64 writer(made.get());
    each_line(text, [&writer](std::string_view line, bool ended) {
        writer.add(line);
        if (ended) writer.add(line_end);
    });
    *writer.end() = '\0';
    return made;
}

} // namespace

stg_text encode_body(std::string_view text, const char *charset, i18n_mime_kind_t &kind, double ratio,
                     const char *&charset_out) {
    mime_text source(text, charset);
    census in_utf8 = count(source.utf8());
    if (in_utf8.returns != 0) {
        source.replace(with_line_feeds(source.utf8()));
        in_utf8 = count(source.utf8());
    }
    const bool suits_qp = static_cast<double>(in_utf8.plain()) >= ratio * static_cast<double>(source.utf8().size());

    const std::string_view bytes = source.encode();
    charset_out = source.charset();
    const bool is_utf8 = bytes.data() == source.utf8().data();
    const census sorts = is_utf8 ? in_utf8 : count(bytes);
    if (kind == I18N_MIME_PLAIN && !suits_plain(bytes, sorts, !is_utf8)) {
        kind = suits_qp ? I18N_MIME_QUOTED_PRINTABLE : I18N_MIME_BASE64;
    }
    if (kind == I18N_MIME_BASE64) return write_base64(bytes, sorts.line_ends);
    const std::string_view sent = without_last_end(bytes);
    if (kind == I18N_MIME_QUOTED_PRINTABLE) {
        return write_quoted_printable(sent, bytes.size() - sorts.plain(), sorts.line_ends);
    }
    return write_plain(sent, sorts.line_ends);
}

} // namespace i18n
