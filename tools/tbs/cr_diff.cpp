// tbs cr diff: what tells two builds apart. When, where and by whom they were made does not count.
#include "cr_record.hpp"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    std::string a, b;
    bool as_json = false;
};

struct difference {
    std::string what; // "command", "option", "read" and so on
    std::string name; // of the file; else ""
    std::optional<std::string> before, after;
};
using differences = std::vector<difference>;

// ---- members

struct compared_member {
    const char *name;
    std::string (*value)(const tbs_cr_t &);
};
constexpr compared_member compared_members[] = {
    {"target", [](const tbs_cr_t &one) -> std::string { return text_or_empty(one.target); }},
    {"command", [](const tbs_cr_t &one) -> std::string { return text_or_empty(one.command); }},
    {"view", [](const tbs_cr_t &one) { return id_text(one.view_uuid); }},
    {"host type", [](const tbs_cr_t &one) -> std::string { return text_or_empty(one.host_type); }},
    {"exit status", [](const tbs_cr_t &one) { return std::to_string(one.exit_status); }},
    {"flags", [](const tbs_cr_t &one) { return std::to_string(one.flags); }},
};

void compare_members(const tbs_cr_t &a, const tbs_cr_t &b, differences &found) {
    for (const compared_member &one : compared_members) {
        const std::string before = one.value(a), after = one.value(b);
        if (before != after) found.push_back({one.name, "", before, after});
    }
}

// ---- lists

std::vector<std::string> sorted(uint32_t count, char *const *texts) {
    std::vector<std::string> all;
    for (uint32_t i = 0; i < count; i++) all.emplace_back(text_or_empty(texts[i]));
    std::sort(all.begin(), all.end());
    return all;
}

void compare_texts(const char *what, const std::vector<std::string> &a, const std::vector<std::string> &b,
                   differences &found) {
    std::vector<std::string> only_a, only_b;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(only_a));
    std::set_difference(b.begin(), b.end(), a.begin(), a.end(), std::back_inserter(only_b));
    for (std::string &one : only_a) found.push_back({what, "", std::move(one), std::nullopt});
    for (std::string &one : only_b) found.push_back({what, "", std::nullopt, std::move(one)});
}

// ---- objects

// The two sequences are walked together: both are sorted.
void compare_objects(const std::vector<cr_object> &a, const std::vector<cr_object> &b, differences &found) {
    const auto before = [](const cr_object &x, const cr_object &y) {
        return x.built != y.built ? x.built : x.path < y.path;
    };
    const auto kind = [](const cr_object &one) { return one.built ? "built" : "read"; };
    auto at_a = a.begin();
    auto at_b = b.begin();
    while (at_a != a.end() || at_b != b.end()) {
        if (at_b == b.end() || (at_a != a.end() && before(*at_a, *at_b))) {
            found.push_back({kind(*at_a), at_a->path, at_a->version, std::nullopt});
            ++at_a;
        } else if (at_a == a.end() || before(*at_b, *at_a)) {
            found.push_back({kind(*at_b), at_b->path, std::nullopt, at_b->version});
            ++at_b;
        } else {
            if (at_a->version != at_b->version) {
                found.push_back({kind(*at_a), at_a->path, at_a->version, at_b->version});
            }
            ++at_a;
            ++at_b;
        }
    }
}

differences compare(const tbs_cr_t &a, const tbs_cr_t &b) {
    differences found;
    compare_members(a, b, found);
    compare_texts("option", sorted(a.option_count, a.options), sorted(b.option_count, b.options), found);
    compare_texts("variable", sorted(a.variable_count, a.variables), sorted(b.variable_count, b.variables), found);
    compare_objects(objects_of(a), objects_of(b), found);
    return found;
}

// ---- the answer

void print_text(const differences &found) {
    const auto line = [](const char *mark, const difference &one, const std::string &value) {
        print(mark);
        print_padded(one.what, 12);
        if (!one.name.empty()) print_padded(visible(one.name), 32);
        print(value);
        end_line();
    };
    for (const difference &one : found) {
        if (one.before) line("- ", one, *one.before);
        if (one.after) line("+ ", one, *one.after);
    }
}

json as_json(const differences &found) {
    const auto value = [](const std::optional<std::string> &text) {
        return text ? text_as_json(*text) : json(nullptr);
    };
    json all = json::array();
    for (const difference &one : found) {
        all.push_back({{"what", one.what},
                       {"name", one.name.empty() ? json(nullptr) : text_as_json(one.name)},
                       {"before", value(one.before)},
                       {"after", value(one.after)}});
    }
    return all;
}

int diff(const options &o) {
    const cr_file a = read_cr(o.a), b = read_cr(o.b);
    const differences found = compare(a.record.get(), b.record.get());
    const int status = found.empty() ? exit_done : exit_negative;
    if (o.as_json) {
        print_json({{"a", text_as_json(o.a)},
                    {"b", text_as_json(o.b)},
                    {"equal", found.empty()},
                    {"differences", as_json(found)},
                    {"exit_status", status}});
    } else {
        print_text(found);
    }
    return status;
}

} // namespace

void add_cr_diff(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command diff_command = parent.add("diff", "Tell what differs between two builds");
    diff_command.positional("a", o->a, "FILE", "First record, in any of its forms").required();
    diff_command.positional("b", o->b, "FILE", "Second record").required();
    diff_command.flag("--json", o->as_json, "Answer in JSON");
    diff_command.footer(
        "Times, users, hosts, directories and the objects' identifiers do not count; a file's version is\n"
        "its size, its mode and its checksum, or the time when it has none.\n"
        "Exit status: 0 the same, 1 different, 2 bad input.");
    diff_command.runs([o] { return diff(*o); }, chosen);
}

} // namespace tool
