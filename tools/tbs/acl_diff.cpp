// tbs acl diff: what one ACL file gives that another does not. The order of entries does not matter for a decision,
// so it is not compared.
#include "acl_list.hpp"

#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    acl_options acl;
    std::string a, b;
};

enum class change { removed, added, changed };

struct difference {
    change what;
    std::string identity;
    tbs_acl_permission_set_t before, after;
};

// Changed and removed entries in the order of a, then added ones in the order of b.
std::vector<difference> compare(const acl_list &a, const acl_list &b) {
    std::vector<difference> found;
    for (size_t i = 0; i < a.entries().size(); i++) {
        const acl_entry &entry = a.entries()[i];
        const auto after = b.perms_of(a, i);
        if (!after) {
            found.push_back({change::removed, entry.identity, entry.perms, 0});
        } else if (*after != entry.perms) {
            found.push_back({change::changed, entry.identity, entry.perms, *after});
        }
    }
    for (size_t i = 0; i < b.entries().size(); i++) {
        const acl_entry &entry = b.entries()[i];
        if (!a.perms_of(b, i)) found.push_back({change::added, entry.identity, 0, entry.perms});
    }
    return found;
}

void print_text(const std::vector<difference> &found, const vocabulary &words) {
    const auto line = [](const char *mark, std::string_view identity, const std::string &permissions) {
        print(mark);
        print_padded(identity, 38);
        print(permissions);
        end_line();
    };
    for (const difference &d : found) {
        if (d.what != change::added) line("- ", d.identity, words.text(d.before));
        if (d.what != change::removed) line("+ ", d.identity, words.text(d.after));
    }
}

json as_json(const std::vector<difference> &found, const vocabulary &words) {
    json removed = json::array(), added = json::array(), changed = json::array();
    for (const difference &d : found) {
        json entry = {{"identity", d.identity}};
        switch (d.what) {
        case change::removed:
            entry["permissions"] = words.as_json(d.before);
            removed.push_back(std::move(entry));
            break;
        case change::added:
            entry["permissions"] = words.as_json(d.after);
            added.push_back(std::move(entry));
            break;
        case change::changed:
            entry["before"] = words.as_json(d.before);
            entry["after"] = words.as_json(d.after);
            changed.push_back(std::move(entry));
            break;
        }
    }
    return {{"removed", std::move(removed)}, {"added", std::move(added)}, {"changed", std::move(changed)}};
}

int diff(const options &o) {
    const vocabulary words(o.acl.permissions);
    if (o.a == "-" && o.b == "-") {
        throw failure("standard input is both ACLs", "Name a file for one of them: it is read once.");
    }
    const acl_list a(o.a, o.acl, words), b(o.b, o.acl, words);
    const std::vector<difference> found = compare(a, b);
    if (found.empty() != a.equals(b)) {
        throw failure("internal error: the comparison differs from the library's", "Report both files.");
    }
    const int status = found.empty() ? exit_done : exit_negative;
    if (!o.acl.as_json) {
        print_text(found, words);
        return status;
    }
    json answer = {{"a", a.path()}, {"b", b.path()}, {"form", a.form()}, {"equal", found.empty()}};
    answer.update(as_json(found, words));
    answer["exit_status"] = status;
    print_json(answer);
    return status;
}

} // namespace

void add_acl_diff(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command diff_command = parent.add("diff", "Compare two ACL files; the order of entries does not count");
    diff_command.positional("a", o->a, "FILE", "First ACL file").required();
    diff_command.positional("b", o->b, "FILE", "Second ACL file").required();
    o->acl.add_to(diff_command);
    o->acl.add_encoded_to(diff_command);
    diff_command.footer("Exit status: 0 the same, 1 different, 2 bad input.");
    diff_command.runs([o] { return diff(*o); }, chosen);
}

} // namespace tool
