// tbs rolemap graph: a role map as a picture.
#include "dot_picture.hpp"
#include "output_file.hpp"
#include "role_map.hpp"

#include <set>

namespace tool {
namespace {

struct options {
    std::string file, format = "dot";
    std::optional<std::string> out;
};

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
    std::string text = dot_begin(title);
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

int graph(const options &o) {
    const owned_role_map map = read_role_map(o.file);
    const std::string dot = dot_of(role_graph(map.get()), o.file);
    write_answer(o.out, o.format == "svg" ? svg_of(dot) : dot);
    return exit_done;
}

} // namespace

void add_rolemap_graph(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command graph_command = parent.add("graph", "Draw roles and those who hold them; loops are red");
    graph_command.positional("file", o->file, "FILE", "Role map file").required();
    graph_command.option("--format", o->format, "FORMAT", "dot (Graphviz) or svg, which needs the program dot")
        .one_of({"dot", "svg"});
    graph_command.option("-o,--out", o->out, "OUT", "File for the picture, replaced as a whole");
    graph_command.runs([o] { return graph(*o); }, chosen);
}

} // namespace tool
