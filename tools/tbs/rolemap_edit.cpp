// tbs rolemap add, remove, replace: change who holds a role.
#include "output_file.hpp"
#include "role_map.hpp"
#include "tbs/tbs_status.h"

#include <new>
#include <nlohmann/json.hpp>
#include <optional>

namespace tool {
namespace {

struct options {
    std::string file, role, id, new_id;
    std::optional<std::string> output;
    bool as_json = false;
};

// An edit of the map; `replacement` is read for "replace" only.
struct edit {
    const char *name;
    const char *description;
    const char *done; // "bound to", between identity and role
    bool has_replacement;
    tbs_status_t (*apply)(tbs_rolemap_acl_h_t map, const tbs_sid_acl_id_t *role, const tbs_sid_acl_id_t *id,
                          const tbs_sid_acl_id_t *replacement);
};

constexpr edit edits[] = {
    {"add", "Bind an identity to a role", "is bound to", false,
     [](auto map, auto role, auto id, auto) { return tbs_rolemap_acl_add_role_binding(map, role, id); }},
    {"remove", "Take an identity from a role", "is taken from", false,
     [](auto map, auto role, auto id, auto) { return tbs_rolemap_acl_remove_role_binding(map, role, id); }},
    {"replace", "Put another identity in the place of one that a role holds", "is replaced in", true,
     tbs_rolemap_acl_replace_role_binding}};

// "reviewer" is short for "Role:reviewer".
std::string role_text(const std::string &text) { return text.find(':') == std::string::npos ? "Role:" + text : text; }

int answer(const options &o, const edit &what, const std::string &target, bool changed, bool found) {
    const int status = found ? exit_done : exit_negative;
    const std::string role = role_text(o.role);
    if (o.as_json) {
        json made = {{"file", o.file}, {"edit", what.name}, {"role", role}, {"identity", o.id}};
        if (what.has_replacement) made["replacement"] = o.new_id;
        made["output"] = found ? json(target) : json(nullptr);
        made["found"] = found;
        made["changed"] = changed;
        made["exit_status"] = status;
        print_json(made);
        return status;
    }
    const std::string by = what.has_replacement ? " by " + o.new_id : "";
    if (!found) {
        print("not found: " + role + " does not hold " + o.id);
    } else if (!changed) {
        print("unchanged: " + role + " has it so already");
    } else {
        print("done: " + o.id + ' ' + what.done + ' ' + role + by);
    }
    end_line();
    return status;
}

int run(const options &o, const edit &what) {
    const owned_role_map map = read_role_map(o.file);
    const std::string before = role_map_text(map.get());
    const parsed_id role(role_text(o.role)), id(o.id);
    const parsed_id replacement(what.has_replacement ? o.new_id : o.id);
    const tbs_status_t status = what.apply(map.get(), role.get(), id.get(), replacement.get());
    const std::string target = o.output.value_or(o.file);
    if (status == TBS_ST_ENOMEM) throw std::bad_alloc();
    if (status == TBS_ST_NOT_FOUND) return answer(o, what, target, false, false);
    if (status) {
        throw failure(o.file, 0, "the role map stays as it is, see the message before",
                      "Name a role on the left, and no role that is found below it already.");
    }
    const std::string after = role_map_text(map.get());
    const bool changed = before != after;
    if (changed || o.output) replace_file(target, after);
    return answer(o, what, target, changed, true);
}

} // namespace

void add_rolemap_edits(command parent, action &chosen) {
    for (const edit &what : edits) {
        const auto o = std::make_shared<options>();
        const command edit_command = parent.add(what.name, what.description);
        edit_command.positional("file", o->file, "FILE", "Role map file").required();
        edit_command.positional("role", o->role, "ROLE", "Role, as reviewer or Role:reviewer").required();
        edit_command.positional("id", o->id, "ID", "Identity, as User:DOMAIN\\name").required();
        if (what.has_replacement) {
            edit_command.positional("new", o->new_id, "NEW", "Identity in its place").required();
        }
        edit_command.option("-o,--out,--output", o->output, "OUT", "Write the map there, and leave FILE alone");
        edit_command.flag("--json", o->as_json, "Answer in JSON");
        edit_command.footer("The file is replaced in one step or not at all. It is written anew: comments are lost.\n"
                            "Exit status: 0 done or unchanged, 1 the role does not hold ID, 2 bad input.");
        edit_command.runs([o, &what] { return run(*o, what); }, chosen);
    }
}

} // namespace tool
