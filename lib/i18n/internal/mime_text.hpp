// mime_text.hpp - a text on its way into a mail: read in one character set, sent in one.
#ifndef I18N_INTERNAL_MIME_TEXT_HPP
#define I18N_INTERNAL_MIME_TEXT_HPP

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unicode/ucnv.h>
#include <utility>

namespace i18n {

// The length of the longest part at the beginning that is well-formed UTF-8.
[[nodiscard]] size_t well_formed_length(std::string_view text) noexcept;

// Well-formed UTF-8: U+FFFD stands for each longest part that could begin a character.
[[nodiscard]] std::string repaired(std::string_view text);

[[nodiscard]] bool is_ascii(std::string_view text) noexcept;

// Between UTF-8 and one character set in which ASCII text stands for itself.
class converter {
public:
    // None (false) for UTF-8 and US-ASCII, which need none, and for a name that is unknown or of another kind.
    explicit converter(const char *charset);
    [[nodiscard]] explicit operator bool() const noexcept { return foreign_ != nullptr; }

    // The preferred MIME name, a constant.
    [[nodiscard]] const char *name() const noexcept { return name_; }

    // Bytes that are no character become U+FFFD.
    [[nodiscard]] std::string to_utf8(std::string_view bytes) const;
    // False: the character set does not hold all of it. The bytes begin and end in the initial state.
    [[nodiscard]] bool from_utf8(std::string_view text, std::string &bytes) const;

private:
    struct closer {
        void operator()(UConverter *converter) const noexcept { ucnv_close(converter); }
    };
    using handle = std::unique_ptr<UConverter, closer>;

    static handle open(const char *name);
    [[nodiscard]] bool keeps_ascii() const;
    static bool convert(UConverter *to, UConverter *from, std::string_view in, std::string &out);

    const char *name_ = nullptr;
    handle foreign_, utf8_;
};

// A text of the caller's. The text and the name of the character set are those of i18n_mime.h.
class mime_text {
public:
    mime_text(std::string_view text, const char *charset);
    mime_text(const mime_text &) = delete;
    mime_text &operator=(const mime_text &) = delete;

    // The text in well-formed UTF-8: the caller's own, or a copy.
    [[nodiscard]] std::string_view utf8() const noexcept { return utf8_; }
    void replace(std::string text) {
        storage_ = std::move(text);
        utf8_ = storage_;
    }

    // Decides on the character set that the text is sent in, and gives the text in it.
    [[nodiscard]] std::string_view encode();
    // Once that is decided: the name of the character set, and a part of the text in it (or a view of `bytes`).
    [[nodiscard]] const char *charset() const noexcept { return charset_; }
    [[nodiscard]] std::string_view encode_part(std::string_view part, std::string &bytes) const;

private:
    converter converter_;
    bool converts_ = false;
    const char *charset_ = nullptr;
    std::string storage_, encoded_;
    std::string_view utf8_;
};

} // namespace i18n

#endif
