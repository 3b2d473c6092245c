// tbs cr graph: what was built of what, as a picture. What one build makes may be what another one reads.
#include "cr_record.hpp"
#include "dot_picture.hpp"
#include "output.hpp"
#include "output_file.hpp"

#include <map>
#include <memory>

namespace tool {
namespace {

struct options {
    std::vector<std::string> files;
    std::string format = "dot";
    std::optional<std::string> out;
    bool all = false, svg = false;
};

constexpr char look_of_build[] = "shape=box, style=\"rounded,filled\", fillcolor=\"#dce9f7\"";
constexpr char look_of_built[] = "shape=box, style=filled, fillcolor=\"#eef3e2\"";
constexpr char look_of_source[] = "shape=ellipse, style=filled, fillcolor=\"#fbfbf6\"";

class picture {
public:
    explicit picture(bool all) : all_(all) {}

    void add(const std::string &path, const tbs_cr_t &record) {
        const size_t number = builds_.size();
        const std::string target = text_or_empty(record.target), command = text_or_empty(record.command);
        builds_.push_back(!target.empty() ? target : !command.empty() ? command : path);
        for (const cr_object &one : objects_of(record)) {
            if (!all_ && one.is_of_system && !one.built) continue;
            file &node = files_[one.path];
            node.is_built |= one.built;
            edges_.push_back({number, &node, one.built});
        }
    }

    [[nodiscard]] std::string dot(const std::string &title) {
        std::string text = dot_begin(title);
        for (size_t i = 0; i < builds_.size(); i++) text += node('b', i, builds_[i], look_of_build);
        size_t count = 0;
        for (auto &[path, one] : files_) {
            one.number = count++;
            text += node('f', one.number, path, one.is_built ? look_of_built : look_of_source);
        }
        for (const edge &one : edges_) {
            const std::string of = 'f' + std::to_string(one.of->number), build = 'b' + std::to_string(one.build);
            text += "    " + (one.is_built ? build + " -> " + of : of + " -> " + build) + ";\n";
        }
        return text + "}\n";
    }

private:
    struct file {
        size_t number = 0;
        bool is_built = false;
    };
    struct edge {
        size_t build;
        const file *of;
        bool is_built;
    };

    static std::string node(char kind, size_t number, const std::string &label, const char *look) {
        return "    " + (kind + std::to_string(number)) + " [label=" + dot_text(visible(label)) + ", " + look +
               "];\n";
    }

    const bool all_;
    std::vector<std::string> builds_;
    std::map<std::string, file> files_; // where its elements are does not change
    std::vector<edge> edges_;
};

int graph(const options &o) {
    picture drawn(o.all);
    for (const std::string &path : o.files) drawn.add(path, read_cr(path).record.get());
    const std::string dot = drawn.dot(visible(o.files.front()));
    write_answer(o.out, o.svg || o.format == "svg" ? svg_of(dot) : dot);
    return exit_done;
}

} // namespace

void add_cr_graph(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command graph_command = parent.add("graph", "Draw what was built of what");
    graph_command.positional("file", o->files, "FILE", "Records in any of their forms").required();
    const argument format =
        graph_command.option("--format", o->format, "FORMAT", "dot (Graphviz) or svg, which needs the program dot")
            .one_of({"dot", "svg"});
    graph_command.flag("--svg", o->svg, "The same as --format svg").excludes(format);
    graph_command.flag("--all", o->all, "Draw what was read of the system, too");
    graph_command.option("-o,--out", o->out, "OUT", "File for the picture, replaced as a whole");
    graph_command.runs([o] { return graph(*o); }, chosen);
}

} // namespace tool
