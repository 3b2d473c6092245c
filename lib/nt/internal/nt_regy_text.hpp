// nt_regy_text.hpp - exported settings: the text form of keys and values.
#ifndef NT_INTERNAL_NT_REGY_TEXT_HPP
#define NT_INTERNAL_NT_REGY_TEXT_HPP

#include "nt_regy_name.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace nt::regy {

// Is told what a file of settings says, in its order. What it throws ends the reading.
class changes {
public:
    virtual ~changes() = default;
    virtual void make_key(const folded_name &key) = 0;
    virtual void drop_key(const folded_name &key) = 0;
    virtual void set_value(const folded_name &key, const folded_name &name, ntregy_type_t type,
                           std::string_view data) = 0;
    virtual void drop_value(const folded_name &key, const folded_name &name) = 0;
};

// Tells changes to nobody.
class no_changes final : public changes {
public:
    void make_key(const folded_name &) override {}
    void drop_key(const folded_name &) override {}
    void set_value(const folded_name &, const folded_name &, ntregy_type_t, std::string_view) override {}
    void drop_value(const folded_name &, const folded_name &) override {}
};

struct text_report {
    uint32_t line = 0;    // that is wrong, from 1; 0 when none is
    uint32_t skipped = 0; // keys of other roots
};

// Turns a file's bytes into UTF-8 by their byte order mark, or by their first characters. Gives KS_EINVAL, and the
// line, when they are no characters.
[[nodiscard]] int to_utf8(std::string_view bytes, std::string &text, text_report &report);

// Reads settings in UTF-8. Gives 0; KS_EINVAL, KS_ENAMETOOLONG or KS_E2BIG with the line that is wrong. Only what
// stands before that line has been told.
[[nodiscard]] int read_settings(std::string_view text, changes &told, text_report &report);

// Writes settings, version 5.00, UTF-16LE.
class settings_writer {
public:
    settings_writer();
    void key(std::string_view path); // "" is the root
    void value(std::string_view name, ntregy_type_t type, std::string_view data);
    [[nodiscard]] const std::string &bytes() const noexcept { return bytes_; }

private:
    void put(std::string_view text);
    void put_quoted(std::string_view text);
    void put_bytes(std::string_view data, size_t column);

    std::string bytes_;
};

} // namespace nt::regy

#endif
