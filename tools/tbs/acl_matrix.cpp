// tbs acl matrix: who has which permission, as a table.
#include "effective.hpp"
#include "hexadecimal.hpp"
#include "output_file.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    std::string policy, format = "table";
    std::optional<std::string> role_map, permissions, out;
};

struct column {
    std::string name;
    tbs_acl_permission_set_t bits;
};
struct table {
    std::vector<column> columns;
    std::vector<acl_entry> rows;

    [[nodiscard]] static bool holds(const acl_entry &row, const column &c) { return (row.perms & c.bits) == c.bits; }
};

void add_column(table &all, const std::string &name, tbs_acl_permission_set_t bits) {
    const bool known =
        std::any_of(all.columns.begin(), all.columns.end(), [&](const column &c) { return c.bits == bits; });
    if (bits != 0 && !known) all.columns.push_back({name, bits});
}

// What a row has beyond the columns that it holds.
tbs_acl_permission_set_t hidden_of(const table &all, const acl_entry &row) {
    tbs_acl_permission_set_t hidden = row.perms;
    for (const column &c : all.columns) {
        if (table::holds(row, c)) hidden &= ~c.bits;
    }
    return hidden;
}

// Columns without a name for the bits that no other column shows; those that every row has together share one.
void add_nameless(table &all) {
    std::vector<tbs_acl_permission_set_t> parts = {0};
    for (const acl_entry &row : all.rows) parts[0] |= hidden_of(all, row);
    for (const acl_entry &row : all.rows) {
        const size_t count = parts.size();
        for (size_t i = 0; i < count; i++) {
            const tbs_acl_permission_set_t both = parts[i] & row.perms, rest = parts[i] & ~row.perms;
            if (both != 0 && rest != 0) parts[i] = both, parts.push_back(rest);
        }
    }
    std::sort(parts.begin(), parts.end());
    for (const tbs_acl_permission_set_t bits : parts) add_column(all, "0x" + hex_number(bits, 8), bits);
}

// A column for each name that stands for a permission, in the order of the vocabulary; then one for each built-in
// permission that somebody has, and for what else somebody has: nothing is left out.
table matrix_of(const options &o, const vocabulary &words) {
    constexpr tbs_acl_permission_set_t builtins[] = {TBS_ACL_PERM_DELETE, TBS_ACL_PERM_ACL_READ,
                                                     TBS_ACL_PERM_ACL_WRITE, TBS_ACL_PERM_STANDARD_OTHER,
                                                     TBS_ACL_PERM_SPECIFIC_OTHER};
    table all;
    all.rows = entries_of(effective_acl(o.policy, o.role_map, words).get());
    for (const tbs_acl_perm_name_t &row : std::span(words.names(), words.count())) {
        add_column(all, row.name, row.value);
    }
    for (const tbs_acl_permission_set_t bits : builtins) {
        const bool occurs = std::any_of(all.rows.begin(), all.rows.end(),
                                        [&](const acl_entry &row) { return (row.perms & bits) == bits; });
        if (occurs) add_column(all, tbs_acl_utl_perm_set_to_str(bits, nullptr, 0, nullptr), bits);
    }
    add_nameless(all);
    return all;
}

// ---- for people: numbered columns, and what the numbers mean

std::string as_table(const table &all) {
    size_t width = std::string("identity").size();
    for (const acl_entry &row : all.rows) width = std::max(width, width_of(row.identity));
    const auto padded = [width](const std::string &text) { return text + std::string(width - width_of(text), ' '); };
    std::string text;
    for (size_t i = 0; i < all.columns.size(); i++) {
        const std::string number = std::to_string(i + 1);
        text += std::string(3 - std::min<size_t>(3, number.size()), ' ') + number + "  " + all.columns[i].name + '\n';
    }
    text += '\n' + padded("identity");
    for (size_t i = 0; i < all.columns.size(); i++) {
        const std::string number = std::to_string(i + 1);
        text += std::string(3 - std::min<size_t>(3, number.size()), ' ') + number;
    }
    text += '\n';
    for (const acl_entry &row : all.rows) {
        std::string line = padded(row.identity);
        for (const column &c : all.columns) line += table::holds(row, c) ? "  x" : "  .";
        text += line + '\n';
    }
    return text;
}

// ---- CSV, RFC 4180

std::string field(const std::string &text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + '"';
}

std::string as_csv(const table &all) {
    std::string text = "identity";
    for (const column &c : all.columns) text += ',' + field(c.name);
    text += "\r\n";
    for (const acl_entry &row : all.rows) {
        text += field(row.identity);
        for (const column &c : all.columns) text += table::holds(row, c) ? ",1" : ",0";
        text += "\r\n";
    }
    return text;
}

// ---- JSON

std::string as_json(const options &o, const table &all) {
    json identities = json::array();
    for (const acl_entry &row : all.rows) {
        json permissions = json::object();
        for (const column &c : all.columns) permissions[c.name] = table::holds(row, c);
        identities.push_back({{"identity", row.identity},
                              {"kind", tbs_acl_utl_id_kind_to_str(row.kind)},
                              {"permissions", std::move(permissions)}});
    }
    const json answer = {{"policy", o.policy},
                         {"role_map", o.role_map ? json(*o.role_map) : json(nullptr)},
                         {"identities", std::move(identities)},
                         {"exit_status", exit_done}};
    return answer.dump(2, ' ', false, json::error_handler_t::replace) + '\n';
}

// ---- HTML: one file that needs no other

std::string escaped(std::string_view text) {
    std::string all;
    for (const char c : text) {
        switch (c) {
        case '&': all += "&amp;"; break;
        case '<': all += "&lt;"; break;
        case '>': all += "&gt;"; break;
        case '"': all += "&quot;"; break;
        default: all += c;
        }
    }
    return all;
}

constexpr const char *page_head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Permissions</title>
<style>
:root { color-scheme: light dark; --line: #8884; --yes: #2a7d3c; }
body { font: 15px/1.4 system-ui, sans-serif; margin: 2rem; }
table { border-collapse: collapse; }
th, td { border: 1px solid var(--line); padding: .25rem .6rem; }
thead th { position: sticky; top: 0; background: Canvas; vertical-align: bottom; }
thead th span { writing-mode: vertical-rl; transform: rotate(180deg); }
tbody th { text-align: left; font-weight: normal; font-family: ui-monospace, monospace; white-space: nowrap; }
td { text-align: center; }
td.yes { color: var(--yes); font-weight: bold; }
tbody tr:hover { background: #8882; }
</style>
</head>
<body>
)";

std::string as_html(const options &o, const table &all) {
    std::string text = page_head;
    text += "<h1>Permissions</h1>\n<p>Policy <code>" + escaped(o.policy) + "</code>";
    if (o.role_map) text += ", role map <code>" + escaped(*o.role_map) + "</code>";
    text += "</p>\n<table>\n<thead>\n<tr><th scope=\"col\">identity</th>";
    for (const column &c : all.columns) text += "<th scope=\"col\"><span>" + escaped(c.name) + "</span></th>";
    text += "</tr>\n</thead>\n<tbody>\n";
    for (const acl_entry &row : all.rows) {
        text += "<tr><th scope=\"row\">" + escaped(row.identity) + "</th>";
        for (const column &c : all.columns)
            text += table::holds(row, c) ? "<td class=\"yes\">yes</td>" : "<td>no</td>";
        text += "</tr>\n";
    }
    return text + "</tbody>\n</table>\n</body>\n</html>\n";
}

int matrix(const options &o) {
    const vocabulary words(o.permissions);
    const table all = matrix_of(o, words);
    write_answer(o.out, o.format == "csv"    ? as_csv(all)
                        : o.format == "json" ? as_json(o, all)
                        : o.format == "html" ? as_html(o, all)
                                             : as_table(all));
    return exit_done;
}

} // namespace

void add_acl_matrix(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command matrix_command = parent.add("matrix", "Show who has which permission, as a table");
    matrix_command.positional("policy", o->policy, "POLICY", "ACL file").required();
    matrix_command.positional("rolemap", o->role_map, "ROLEMAP", "Role map file, for a policy that names roles");
    matrix_command
        .option("--format", o->format, "FORMAT",
                "table, csv (RFC 4180), json, or html (one file that needs no other)")
        .one_of({"table", "csv", "json", "html"});
    matrix_command.option("-o,--out", o->out, "OUT", "File for the table, replaced as a whole");
    matrix_command.option("--permissions", o->permissions, "FILE", "Permission names and generic map");
    matrix_command.runs([o] { return matrix(*o); }, chosen);
}

} // namespace tool
