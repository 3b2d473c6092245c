// Any text as a header: what is sent is fit for mail, and another reader gets the text back.

#include "mime_fuzz_support.hpp"

namespace {

using mime_fuzz::require;

// Reads one encoded word.
icu::UnicodeString word_text(std::string_view word) {
    require(word.size() <= 75 && word.starts_with("=?") && word.ends_with("?="));
    word = word.substr(2, word.size() - 4);
    const size_t name = word.find('?');
    require(name != std::string_view::npos && word.size() > name + 3 && word[name + 2] == '?');
    const char how = word[name + 1];
    const std::string charset(word.substr(0, name));
    word.remove_prefix(name + 3);
    require(word.find('?') == std::string_view::npos && word.find(' ') == std::string_view::npos);
    std::string bytes;
    if (how == 'B') {
        bytes = mime_fuzz::from_base64(word);
    } else {
        require(how == 'Q');
        while (!word.empty()) {
            if (word[0] == '=') {
                bytes += mime_fuzz::take_escape(word);
            } else {
                bytes += word[0] == '_' ? ' ' : word[0];
                word.remove_prefix(1);
            }
        }
    }
    // A character that is split, or a state that is left open, does not come back.
    const icu::UnicodeString text = mime_fuzz::input::decoded(bytes, charset);
    if (charset == "UTF-8") {
        std::string back;
        require(text.toUTF8String(back) == bytes);
    }
    if (charset == "ISO-2022-JP")
        require(bytes.rfind('\x1B') == std::string::npos || bytes.substr(bytes.rfind('\x1B')).starts_with("\x1B(B"));
    return text;
}

icu::UnicodeString read(std::string_view value) {
    icu::UnicodeString text;
    bool first = true;
    const bool encoded = value.find("=?") != std::string_view::npos;
    mime_fuzz::each_sent_line(value, [&](std::string_view line, bool) {
        require(line.size() + (first ? I18N_MIME_NAME_ROOM : 0) <= 76);
        require(first || ((line.starts_with(' ') || line.starts_with('\t')) &&
                          line.find_first_not_of(" \t") != std::string_view::npos));
        for (const char byte : line) require(byte == '\t' || (byte >= ' ' && byte <= '~'));
        if (encoded) {
            text += word_text(line.substr(first ? 0 : 1));
        } else {
            text += icu::UnicodeString::fromUTF8(std::string(line));
        }
        first = false;
    });
    return text;
}

// Controls become blanks, those that end the lines of the text are left out.
icu::UnicodeString expected(mime_fuzz::input given) {
    while (given.text.ends_with('\r') || given.text.ends_with('\n')) given.text.pop_back();
    icu::UnicodeString text = given.meaning();
    text.findAndReplace("\r\n", " ");
    for (int32_t i = 0; i < text.length(); i++) {
        const UChar c = text[i];
        const bool control = (c < ' ' && c != '\t') || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029;
        if (control) text.setCharAt(i, ' ');
    }
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const mime_fuzz::input given(data, size);
    char *value = i18n_mime_encode_header(given.text.c_str(), given.charset, given.kind, given.ratio);
    require(value);
    require(read(value) == expected(given));
    i18n_mime_free(&value);
    return 0;
}
