// examined_file.hpp - the file that a query asks about. Nothing of it is fetched before a test needs it, and everything
// at most once.
#ifndef TBS_TYPING_EXAMINED_FILE_HPP
#define TBS_TYPING_EXAMINED_FILE_HPP

#include "tbs/tbs_ft.h"
#include "value.hpp"

#include <cstdint>
#include <string_view>

namespace tbs::typing {

class examined_file {
public:
    examined_file(const char *path, int fd, const fileutl_status_t *status, const fileutl_status_t *second_status,
                  uint32_t options);

    [[nodiscard]] uint32_t options() const { return options_; }
    [[nodiscard]] const char *name() const { return name_; }
    [[nodiscard]] std::string_view name_view() const { return name_; }
    [[nodiscard]] bool may_look_at(uint32_t option) const { return (options_ & option) != 0; }

    // Whether the content has been read, and its first byte, which is 0 for an empty file.
    [[nodiscard]] bool has_content() const { return content_tried_ && !content_unavailable_; }
    [[nodiscard]] uint8_t first_byte() const { return static_cast<uint8_t>(content_[0]); }

    // A test of anything but the name.
    [[nodiscard]] value decide(const ft_node_t &test);
    // A name test, by the pattern itself.
    [[nodiscard]] value matches(const ft_node_t &test) const;

private:
    void learn_status();
    void read_content();
    [[nodiscard]] value status_is(uint32_t kind);
    [[nodiscard]] value has_magic(const ft_node_t &test) const;
    [[nodiscard]] value has_token(std::string_view token) const;
    [[nodiscard]] value is_text() const;

    const char *path_, *name_;
    int fd_;
    uint32_t options_;
    fileutl_status_t status_;
    bool status_known_, status_unavailable_, second_unavailable_;
    bool content_tried_ = false, content_unavailable_ = false;
    uint32_t size_ = 0;
    char content_[FT_CONTENT_SIZE + 1]; // filled, with zeros behind, by the first test that needs it
};

// Whether content is text by the process's locale.
bool is_text(std::string_view content);

} // namespace tbs::typing

#endif
