// tbs status: what a status number or symbol means.
#include "output.hpp"
#include "tbs/tbs_status.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <optional>

namespace tool {
namespace {

struct options {
    std::vector<std::string> codes;
    bool as_json = false;
};

struct row {
    tbs_status_t number;
    std::string_view symbol;
};
constexpr row rows[] = {{TBS_ST_OK, "TBS_ST_OK"},
#define TOOL_STATUS_ROW(name, number, third) {number, "TBS_ST_" #name},
                        TBS_STATUS_LIST(TOOL_STATUS_ROW) TBS_ERRNO_STATUS_LIST(TOOL_STATUS_ROW)
#undef TOOL_STATUS_ROW
};

// Without its prefix a symbol is known too: EINVAL is TBS_ST_EINVAL.
bool is_symbol(std::string_view text, std::string_view symbol) {
    return text == symbol || text == symbol.substr(std::string_view("TBS_ST_").size());
}

tbs_status_t number_of(const std::string &text) {
    const auto at =
        std::find_if(std::begin(rows), std::end(rows), [&](const row &r) { return is_symbol(text, r.symbol); });
    if (at != std::end(rows)) return at->number;
    tbs_status_t number = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) {
        throw failure("\"" + text + "\" is no status",
                      "Give a decimal number of 32 bits, or a symbol as TBS_ST_EINVAL.");
    }
    return number;
}

struct meaning {
    tbs_status_t number;
    std::optional<std::string_view> symbol;
    std::string text;
    int error;
    bool assigned; // the number means something: a condition, or an errno value passed through
};

meaning meaning_of(tbs_status_t number) {
    const auto at = std::find_if(std::begin(rows), std::end(rows), [&](const row &r) { return r.number == number; });
    const bool listed = at != std::end(rows);
    return {number, listed ? std::optional(at->symbol) : std::nullopt, tbs_strerror(number), tbs_status2errno(number),
            listed || (number > 0 && number < 1000)};
}

void print_text(const meaning &m) {
    constexpr size_t indent = 8;
    print_bold(std::to_string(m.number));
    print(std::string(indent - std::min<size_t>(indent - 1, std::to_string(m.number).size()), ' '));
    print_padded(m.symbol ? *m.symbol : m.assigned ? "(errno value)" : "(not assigned)", 34);
    print("errno " + std::to_string(m.error));
    end_line();
    print(std::string(indent, ' '));
    print_wrapped(m.text, indent, indent);
}

json as_json(const meaning &m) {
    return {{"number", m.number},
            {"symbol", m.symbol ? json(*m.symbol) : json(nullptr)},
            {"assigned", m.assigned},
            {"text", m.text},
            {"errno", m.error}};
}

int status(const options &o) {
    std::vector<meaning> all;
    for (const std::string &code : o.codes) all.push_back(meaning_of(number_of(code)));
    const bool known = std::all_of(all.begin(), all.end(), [](const meaning &m) { return m.assigned; });
    const int result = known ? exit_done : exit_negative;
    if (!o.as_json) {
        for (const meaning &m : all) print_text(m);
        return result;
    }
    json list = json::array();
    for (const meaning &m : all) list.push_back(as_json(m));
    print_json({{"statuses", std::move(list)}, {"exit_status", result}});
    return result;
}

} // namespace

void add_status(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command status_command = parent.add("status", "Explain statuses: number, symbol, text, errno");
    status_command.positional("codes", o->codes, "CODE", "Numbers or symbols, as 1072 or EINVAL").required();
    status_command.flag("--json", o->as_json, "Answer in JSON");
    status_command.footer("Exit status: 0 all are assigned, 1 one is not, 2 bad input.");
    status_command.runs([o] { return status(*o); }, chosen);
}

} // namespace tool
