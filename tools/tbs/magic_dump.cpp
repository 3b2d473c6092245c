// tbs magic dump: the rules as trees, as text and as a picture.
#include "dot_picture.hpp"
#include "output_file.hpp"
#include "tool.hpp"
#include "type_rules.hpp"

#include <memory>
#include <optional>

namespace tool {
namespace {

using tbs::typing::definition;

struct options {
    std::vector<std::string> files;
    std::string format = "text";
    std::optional<std::string> out;
};

const char *operator_text(int kind) {
    switch (kind) {
    case FT_OR: return "or";
    case FT_AND: return "and";
    case FT_NOT: return "not";
    default: return nullptr;
    }
}

std::string node_text(const ft_node_t *node) {
    if (!node) return "(never matches)";
    const char *joined = operator_text(node->kind);
    return joined ? joined : test_text(*node);
}

// Goes through a tree, a node before its operands, the left one before the right one; operands of the same operator
// in one another stand side by side.
template <class Seen> void each_node(const ft_node_t *rule, Seen &&seen) {
    struct place {
        const ft_node_t *node;
        size_t parent, depth;
        int outside;
    };
    constexpr size_t none = static_cast<size_t>(-1);
    size_t count = 0;
    std::vector<place> left = {{rule, none, 0, 0}};
    while (!left.empty()) {
        place next = left.back();
        left.pop_back();
        const int kind = next.node ? next.node->kind : 0;
        const bool is_pair = kind == FT_OR || kind == FT_AND;
        if (!is_pair || kind != next.outside) {
            seen(next.node, count, next.parent, next.depth);
            next.parent = count++;
            next.depth++;
        }
        if (is_pair) left.push_back({next.node->u.operands.right, next.parent, next.depth, kind});
        if (operator_text(kind)) left.push_back({next.node->u.operands.left, next.parent, next.depth, kind});
    }
}

std::string text_of(const definition *first) {
    std::string all;
    for (const definition *one = first; one; one = one->next) {
        all += std::string(one->file) + ':' + std::to_string(one->line) + ": " + names_text(one->names) + '\n';
        each_node(one->rule, [&](const ft_node_t *node, size_t, size_t, size_t depth) {
            all += std::string(4 * (depth + 1), ' ') + node_text(node) + '\n';
        });
    }
    return all;
}

const char *look_of(const ft_node_t *node) {
    if (!node) return "shape=plaintext, fontcolor=\"#c00000\"";
    switch (node->kind) {
    case FT_OR:
    case FT_AND:
    case FT_NOT: return "shape=circle, style=filled, fillcolor=\"#fbfbf6\"";
    case FT_NAME_TEST: return "shape=box, style=filled, fillcolor=\"#eef3e2\"";
    case FT_COMMAND_TEST: return "shape=box, fontcolor=\"#c00000\"";
    default: return "shape=box";
    }
}

std::string dot_of(const definition *first) {
    std::string all = dot_begin("type files");
    size_t number = 0;
    for (const definition *one = first; one; one = one->next, number++) {
        const std::string name = "d" + std::to_string(number);
        all += "    " + name + " [label=" + dot_text(names_text(one->names)) +
               ", shape=box, style=\"rounded,filled\", fillcolor=\"#dce9f7\"];\n";
        each_node(one->rule, [&](const ft_node_t *node, size_t id, size_t parent, size_t) {
            const std::string own = name + "_" + std::to_string(id);
            all += "    " + own + " [label=" + dot_text(node_text(node)) + ", " + look_of(node) + "];\n";
            all += "    " + (id == 0 ? name : name + "_" + std::to_string(parent)) + " -> " + own + ";\n";
        });
        if (number > 0)
            all += "    d" + std::to_string(number - 1) + " -> " + name + " [style=dashed, constraint=false];\n";
    }
    return all + "}\n";
}

int dump(const options &o) {
    type_rules rules;
    for (const std::string &file : o.files.empty() ? type_files_of_path() : o.files) rules.read(file);
    for (const remark &one : rules.remarks())
        if (one.is == weight::error)
            throw failure(one.file, one.line, one.text, "\"tbs magic check\" tells all that is wrong.");
    if (o.format == "text") {
        write_answer(o.out, text_of(rules.first()));
    } else {
        const std::string dot = dot_of(rules.first());
        write_answer(o.out, o.format == "svg" ? svg_of(dot) : dot);
    }
    return exit_done;
}

} // namespace

void add_magic_dump(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command dump_command = parent.add("dump", "Show the rules of type files as trees");
    dump_command.positional("file", o->files, "FILE", "Type files; else those in use");
    dump_command.option("--format", o->format, "FORMAT", "text, dot (Graphviz) or svg, which needs the program dot")
        .one_of({"text", "dot", "svg"});
    dump_command.option("-o,--out", o->out, "OUT", "File for the answer, replaced as a whole");
    dump_command.runs([o] { return dump(*o); }, chosen);
}

} // namespace tool
