// tbs rolemap graph: a role map as a picture.
#include "byte_file.hpp"
#include "ks/ks_imsg.h"
#include "ks/ks_process.h"
#include "output_file.hpp"
#include "role_map.hpp"

#include <cstdlib>
#include <set>
#include <unistd.h>

namespace tool {
namespace {

struct options {
    std::string file, format = "dot";
    std::optional<std::string> out;
};

// ---- DOT

std::string dot_text(std::string_view text) {
    std::string all = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') all += '\\';
        all += c;
    }
    return all + '"';
}

// How a node looks, by its kind.
const char *look_of(const role_graph::node &node) {
    switch (node.kind) {
    case TBS_ACL_ID_ROLE: return "shape=box, style=\"rounded,filled\", fillcolor=\"#dce9f7\"";
    case TBS_ACL_ID_GROUP: return "shape=folder, style=filled, fillcolor=\"#eef3e2\"";
    default: return "shape=ellipse, style=filled, fillcolor=\"#fbfbf6\"";
    }
}

// Roles that stand in a loop, and the bindings that make it, are red.
std::string dot_of(const role_graph &graph, const std::string &title) {
    std::set<size_t> looped;
    for (const std::vector<size_t> &loop : graph.loops()) looped.insert(loop.begin(), loop.end());
    std::string text = "digraph " + dot_text(title) +
                       " {\n    rankdir=LR;\n    node [fontname=\"sans-serif\", fontsize=11];\n"
                       "    edge [color=\"#555555\"];\n";
    const std::vector<role_graph::node> &nodes = graph.nodes();
    for (size_t i = 0; i < nodes.size(); i++) {
        text += "    n" + std::to_string(i) + " [label=" + dot_text(nodes[i].text) + ", " + look_of(nodes[i]) +
                (looped.contains(i) ? ", color=\"#c00000\", penwidth=2" : "") + "];\n";
    }
    for (size_t i = 0; i < nodes.size(); i++) {
        for (const size_t to : nodes[i].to) {
            text += "    n" + std::to_string(i) + " -> n" + std::to_string(to) +
                    (looped.contains(i) && graph.in_loop(i, to) ? " [color=\"#c00000\", penwidth=2]" : "") + ";\n";
        }
    }
    return text + "}\n";
}

// ---- SVG

// Path of a program on the search path; "" when it is not there.
std::string find_program(const std::string &name) {
    const char *variable = std::getenv("PATH");
    const std::string path = variable ? variable : "/usr/bin:/bin";
    for (size_t at = 0; at <= path.size();) {
        const size_t end = std::min(path.find(':', at), path.size());
        std::string candidate = path.substr(at, end - at) + '/' + name;
        if (end > at && access(candidate.c_str(), X_OK) == 0) return candidate;
        at = end + 1;
    }
    return "";
}

std::string svg_of(const std::string &dot) {
    std::string program = find_program("dot"), name = "dot", to_svg = "-Tsvg", to = "-o";
    if (program.empty()) {
        throw failure("SVG is drawn by the program \"dot\", which is not there",
                      "Install the package graphviz, or take --format dot.");
    }
    const scratch_file source(dot), drawn("");
    std::string from_path = source.path(), to_path = drawn.path();
    char *arguments[] = {name.data(), to_svg.data(), to.data(), to_path.data(), from_path.data(), nullptr};
    int exit_status = 0;
    const int error = sysutl_invokev_redirect(program.c_str(), arguments, &exit_status);
    if (error != 0 || exit_status != 0) {
        const std::string why = error ? imsg_strerror(error) : "exit status " + std::to_string(exit_status);
        throw failure("the program \"" + program + "\" drew nothing: " + why, "Take --format dot.");
    }
    const bytes content = read_bytes(drawn.path());
    return {content.begin(), content.end()};
}

int graph(const options &o) {
    const owned_role_map map = read_role_map(o.file);
    const std::string dot = dot_of(role_graph(map.get()), o.file);
    write_answer(o.out, o.format == "svg" ? svg_of(dot) : dot);
    return exit_done;
}

} // namespace

void add_rolemap_graph(CLI::App &parent, action &chosen) {
    const auto o = std::make_shared<options>();
    CLI::App &command = *parent.add_subcommand("graph", "Draw roles and those who hold them; loops are red");
    command.add_option("file", o->file, "Role map file")->required()->type_name("FILE");
    command.add_option("--format", o->format, "dot (Graphviz) or svg, which needs the program dot")
        ->check(CLI::IsMember({"dot", "svg"}))
        ->type_name("FORMAT");
    command.add_option("-o,--out", o->out, "File for the picture, replaced as a whole")->type_name("OUT");
    command.callback([o, &chosen] { chosen = [o] { return graph(*o); }; });
}

} // namespace tool
