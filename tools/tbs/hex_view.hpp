// hex_view.hpp - encoded records shown: offset, bytes, member and meaning side by side, or as JSON.
//
//     hex_view shown(content, words_for);
//     shown.end(tbs::wire::view<demo_label_t>(content, shown));
//
// Both views are listeners for any record; a command adds what numbers mean in its subject.
#ifndef TOOLS_TBS_HEX_VIEW_HPP
#define TOOLS_TBS_HEX_VIEW_HPP

#include "lib/tbs/internal/wire_view.hpp"
#include "output.hpp"

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tool {

// What a member means, "" when its value says it all. Asked once for each, in wire order.
using meaning = std::function<std::string(const tbs::wire::item &)>;

// Writes lines as the members come. Bytes of a member that do not fit beside each other follow below.
class hex_view : public tbs::wire::listener {
public:
    hex_view(std::span<const uint8_t> content, meaning words_for);

    void member(const tbs::wire::item &what) override;
    void enter_record(std::string_view name) override;
    void enter_list(std::string_view name, uint32_t count) override;
    void leave() override;

    // Shows what stands behind the record, or behind the place where it makes no sense any more.
    void end(const tbs::wire::view_result &result);

private:
    void title(std::string_view name);
    void lines(std::optional<size_t> offset, std::span<const uint8_t> of, std::string_view name,
               const std::string &text);

    std::span<const uint8_t> content_;
    meaning words_for_;
    std::vector<uint32_t> positions_; // for each level the element that comes next
};

// Collects members: {"name", "offset", "size", "value"} and perhaps "meaning"; records hold "members", lists
// "elements".
class json_view : public tbs::wire::listener {
public:
    explicit json_view(meaning words_for);

    void member(const tbs::wire::item &what) override;
    void enter_record(std::string_view name) override;
    void enter_list(std::string_view name, uint32_t count) override;
    void leave() override;

    // The members, and "behind" or "damage" for what stands behind them: {"offset", "size"} and the reason.
    json end(std::span<const uint8_t> content, const tbs::wire::view_result &result);

private:
    struct level {
        std::string name;
        const char *kind; // key of its content
        json content;
    };

    meaning words_for_;
    std::vector<level> levels_;
};

} // namespace tool

#endif
