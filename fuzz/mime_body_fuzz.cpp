// Any text as a body: what is sent is fit for mail, and another reader gets the text back.

#include "mime_fuzz_support.hpp"

namespace {

using mime_fuzz::require;

std::string from_quoted_printable(std::string_view body) {
    std::string bytes;
    mime_fuzz::each_sent_line(body, [&bytes](std::string_view line, bool last) {
        require(line.size() <= 76 && !line.starts_with('.') && !line.ends_with(' ') && !line.ends_with('\t'));
        const bool broken = line.ends_with('=');
        if (broken) line.remove_suffix(1);
        while (!line.empty()) {
            if (line[0] == '=') {
                bytes += mime_fuzz::take_escape(line);
            } else {
                require(line[0] == '\t' || (line[0] >= ' ' && line[0] <= '~'));
                bytes += line[0];
                line.remove_prefix(1);
            }
        }
        require(!(broken && last));
        if (!broken && !last) bytes += "\r\n";
    });
    return bytes;
}

std::string from_lines_of_base64(std::string_view body) {
    std::string all;
    mime_fuzz::each_sent_line(body, [&all](std::string_view line, bool last) {
        require(last ? line.size() <= 76 : line.size() == 76);
        all += line;
    });
    return mime_fuzz::from_base64(all);
}

std::string from_plain(std::string_view body, bool may_shift) {
    mime_fuzz::each_sent_line(body, [may_shift](std::string_view line, bool) {
        require(line.size() <= 998 && !line.starts_with('.'));
        for (const char byte : line) {
            require((byte >= ' ' && byte <= '~') || byte == '\t' || (byte == '\x1B' && may_shift));
        }
    });
    return std::string(body);
}

icu::UnicodeString expected(const mime_fuzz::input &given, i18n_mime_kind_t kind) {
    icu::UnicodeString text = given.meaning();
    text.findAndReplace("\r\n", "\n").findAndReplace("\r", "\n");
    if (kind != I18N_MIME_BASE64 && text.endsWith("\n")) text.truncate(text.length() - 1);
    return text.findAndReplace("\n", "\r\n");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const mime_fuzz::input given(data, size);
    i18n_mime_kind_t kind = -1;
    const char *charset = nullptr;
    char *body = i18n_mime_encode(given.text.c_str(), given.charset, given.kind, given.ratio, &kind, &charset);
    require(body && charset && *charset);
    require(given.kind == I18N_MIME_PLAIN || kind == given.kind);
    std::string bytes;
    switch (kind) {
    case I18N_MIME_PLAIN: bytes = from_plain(body, std::string_view(charset) == "ISO-2022-JP"); break;
    case I18N_MIME_QUOTED_PRINTABLE: bytes = from_quoted_printable(body); break;
    case I18N_MIME_BASE64: bytes = from_lines_of_base64(body); break;
    default: require(false);
    }
    require(mime_fuzz::input::decoded(bytes, charset) == expected(given, kind));
    i18n_mime_free(&body);
    return 0;
}
