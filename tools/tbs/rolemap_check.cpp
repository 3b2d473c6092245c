// tbs rolemap check: everything that is wrong with a role map file, not only the first bad line.
#include "role_map.hpp"
#include "tbs/tbs_status.h"
#include "text_file.hpp"

#include <algorithm>
#include <new>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    std::string file;
    bool strict = false;
    bool as_json = false;
};

struct finding {
    bool is_error;
    size_t line; // 0 when no line is to blame
    std::string text;
    std::vector<std::string> roles; // the way of a loop, or the role that the text is about
};

void require_memory(tbs_status_t status) {
    if (status == TBS_ST_ENOMEM) throw std::bad_alloc();
}

// Reads a file line by line as the library does, but goes on behind a bad line.
class reader {
public:
    explicit reader(const std::string &path) {
        require_memory(tbs_rolemap_acl_create(map_.put()));
        for (const text_line &line : read_text_file(path)) read(line);
    }

    [[nodiscard]] tbs_rolemap_acl_h_t map() const { return map_.get(); }
    [[nodiscard]] std::vector<finding> &findings() { return findings_; }

private:
    struct identity {
        identity() = default;
        ~identity() { tbs_sid_acl_free_id(&id); }
        identity(const identity &) = delete;
        identity &operator=(const identity &) = delete;
        tbs_sid_acl_id_t id = {};
    };

    void refuse(const text_line &line, const std::string &text) {
        findings_.push_back({true, line.number, text, {}});
    }

    // Refuses a line in the library's own words.
    void refuse_for(const text_line &line, const message_collector &said, tbs_status_t status) {
        require_memory(status);
        refuse(line, said.messages().empty() ? tbs_strerror(status) : said.messages().front().text);
    }

    void read(const text_line &line) {
        constexpr std::string_view arrow = "-->";
        const std::string_view text = line.text;
        const size_t at = text.find(arrow);
        if (at == std::string_view::npos) {
            return refuse(line, "the line has no \"-->\" between a role and an identity");
        }
        const std::string left(trimmed(text.substr(0, at))), right(trimmed(text.substr(at + arrow.size())));
        const message_collector said;
        identity role, bound;
        tbs_status_t status = tbs_sid_acl_utl_id_from_str(left.c_str(), &role.id);
        if (status == 0) status = tbs_sid_acl_utl_id_from_str(right.c_str(), &bound.id);
        if (status) return refuse_for(line, said, status);
        const uint64_t before = held_by(role.id);
        status = tbs_rolemap_acl_add_role_binding(map_.get(), &role.id, &bound.id);
        if (status) return refuse_for(line, said, status);
        if (held_by(role.id) == before) {
            findings_.push_back({false, line.number, "the role holds this identity already", {}});
        }
    }

    [[nodiscard]] uint64_t held_by(const tbs_sid_acl_id_t &role) const {
        const tbs_role_binding_t *binding = tbs_rolemap_acl_find_role_binding(map_.get(), &role);
        return tbs_rolemap_acl_num_role_binding_ids(binding);
    }

    owned_role_map map_;
    std::vector<finding> findings_;
};

void find_loops(const role_graph &graph, std::vector<finding> &findings) {
    for (const std::vector<size_t> &loop : graph.loops()) {
        finding found = {false, 0, "roles are bound in a loop: ", {}};
        for (const size_t at : loop) {
            if (!found.roles.empty()) found.text += " --> ";
            found.text += graph.nodes()[at].text;
            found.roles.push_back(graph.nodes()[at].text);
        }
        findings.push_back(std::move(found));
    }
}

void find_unheld(const role_graph &graph, std::vector<finding> &findings) {
    const std::vector<role_graph::holding> held = graph.holders();
    for (size_t i = 0; i < held.size(); i++) {
        if (held[i] == role_graph::holding::direct) continue;
        const std::string &role = graph.nodes()[i].text;
        const char *text = held[i] == role_graph::holding::nobody
                               ? " is held by nobody"
                               : " is bound to roles only: an effective ACL gives its permissions to nobody";
        findings.push_back({false, 0, role + text, {role}});
    }
}

// What is found line by line and what the library says of the whole file have to agree.
void require_agreement(const options &o, const std::vector<finding> &findings) {
    const bool refused = std::any_of(findings.begin(), findings.end(), [](const finding &f) { return f.is_error; });
    const message_collector said;
    owned_role_map map;
    const tbs_status_t status = tbs_rolemap_acl_utl_parse(o.file.c_str(), map.put());
    require_memory(status);
    if ((status != 0) != refused) {
        throw failure(o.file, 0, "internal error: the findings differ from the library's reading",
                      "Report the file.");
    }
}

struct totals {
    size_t roles, bindings, errors, warnings;
};

totals count(const role_graph &graph, const std::vector<finding> &findings) {
    totals all = {0, graph.bindings(), 0, 0};
    for (const role_graph::node &node : graph.nodes()) all.roles += role_graph::is_role(node);
    for (const finding &f : findings) (f.is_error ? all.errors : all.warnings)++;
    return all;
}

std::string counted(size_t number, const std::string &noun) {
    return std::to_string(number) + ' ' + noun + (number == 1 ? "" : "s");
}

void print_text(const options &o, const std::vector<finding> &findings, const totals &all) {
    for (const finding &f : findings) {
        const std::string line = f.line ? ':' + std::to_string(f.line) : "";
        print(o.file + line + ": " + (f.is_error ? "error: " : "warning: ") + f.text);
        end_line();
    }
    print(counted(all.roles, "role") + ", " + counted(all.bindings, "binding") + ": " + counted(all.errors, "error") +
          ", " + counted(all.warnings, "warning"));
    end_line();
}

void print_as_json(const options &o, const std::vector<finding> &findings, const totals &all, int status) {
    json list = json::array();
    for (const finding &f : findings) {
        list.push_back({{"severity", f.is_error ? "error" : "warning"},
                        {"line", f.line ? json(f.line) : json(nullptr)},
                        {"text", f.text},
                        {"roles", f.roles}});
    }
    print_json({{"file", o.file},
                {"roles", all.roles},
                {"bindings", all.bindings},
                {"errors", all.errors},
                {"warnings", all.warnings},
                {"findings", std::move(list)},
                {"exit_status", status}});
}

int check(const options &o) {
    reader read(o.file);
    std::vector<finding> &findings = read.findings();
    require_agreement(o, findings);
    const role_graph graph(read.map());
    find_loops(graph, findings);
    find_unheld(graph, findings);
    const totals all = count(graph, findings);
    const int status = all.errors || (o.strict && all.warnings) ? exit_negative : exit_done;
    o.as_json ? print_as_json(o, findings, all, status) : print_text(o, findings, all);
    return status;
}

} // namespace

void add_rolemap_check(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command check_command = parent.add("check", "Look for mistakes in a role map file");
    check_command.positional("file", o->file, "FILE", "Role map file").required();
    check_command.flag("--strict", o->strict, "Let warnings count as errors");
    check_command.flag("--json", o->as_json, "Answer in JSON");
    check_command.footer(
        "Errors: bad lines, unknown accounts. Warnings: loops, roles that nobody holds, repeated lines.\n"
        "Exit status: 0 the map can be read, 1 it has errors, 2 the file is no text or cannot be read.");
    check_command.runs([o] { return check(*o); }, chosen);
}

} // namespace tool
