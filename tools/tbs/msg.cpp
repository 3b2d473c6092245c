// tbs msg: the message tables of the library.
#include "output.hpp"
#include "tbs/tbs_msg.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

namespace tool {
namespace {

struct options {
    std::string table;
    std::optional<uint16_t> index, number;
    bool as_json = false;
};

struct named_table {
    const char *name;
    const imsg_table_t *(*address)() noexcept;
};
constexpr named_table tables[] = {{"tbs", tbs_tbs_msg_table_adr},
                                  {"tbs_acl", tbs_acl_tbs_msg_table_adr},
                                  {"tbs_notify", tbs_notify_tbs_msg_table_adr},
                                  {"cmsg", tbs_cmsg_tbs_msg_table_adr}};

const imsg_table_t &table_called(const std::string &name) {
    for (const named_table &one : tables) {
        if (name == one.name) return *one.address();
    }
    throw failure("there is no message table \"" + name + "\"", "Name tbs, tbs_acl, tbs_notify or cmsg.");
}

// As it would stand in a C source.
std::string quoted(std::string_view text) {
    std::string shown = "\"";
    for (const char c : text) {
        switch (c) {
        case '\n': shown += "\\n"; break;
        case '\t': shown += "\\t"; break;
        case '\001': shown += "\\001"; break;
        case '"': shown += "\\\""; break;
        case '\\': shown += "\\\\"; break;
        default: shown += c;
        }
    }
    return shown + '"';
}

// The entries that were asked for: all, or the one with an index or a number, if there is one.
std::vector<uint16_t> selected(const imsg_table_t &table, const options &o) {
    std::vector<uint16_t> all;
    for (uint16_t i = 0; i < table.count; i++) {
        if ((!o.index || *o.index == i) && (!o.number || *o.number == table.numbers[i])) all.push_back(i);
    }
    return all;
}

void print_text(const imsg_table_t &table, const std::vector<uint16_t> &entries) {
    for (const uint16_t i : entries) {
        print_padded(std::to_string(i), 6);
        print_padded(std::to_string(table.numbers[i]), 6);
        print_wrapped(quoted(table.texts[i]), 12, 12);
    }
}

int msg(const options &o) {
    const imsg_table_t &table = table_called(o.table);
    const std::vector<uint16_t> entries = selected(table, o);
    const int status = entries.empty() ? exit_negative : exit_done;
    if (!o.as_json) {
        if (entries.empty()) {
            print("The table \"" + o.table + "\" has no such message.");
            end_line();
        }
        print_text(table, entries);
        return status;
    }
    json list = json::array();
    for (const uint16_t i : entries) {
        list.push_back({{"index", i}, {"number", table.numbers[i]}, {"text", table.texts[i]}});
    }
    print_json({{"table", o.table},
                {"module", table.module},
                {"module_number", table.module_number},
                {"messages", std::move(list)},
                {"exit_status", status}});
    return status;
}

} // namespace

void add_msg(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command msg_command = parent.add("msg", "Show messages: index, published number, text");
    msg_command.positional("table", o->table, "TABLE", "tbs, tbs_acl, tbs_notify or cmsg").required();
    const argument index = msg_command.positional("index", o->index, "INDEX", "Index of one message, from 0");
    msg_command.option("--number", o->number, "N", "Published number of one message").excludes(index);
    msg_command.flag("--json", o->as_json, "Answer in JSON");
    msg_command.footer("Exit status: 0 found, 1 there is no such message, 2 bad input.");
    msg_command.runs([o] { return msg(*o); }, chosen);
}

} // namespace tool
