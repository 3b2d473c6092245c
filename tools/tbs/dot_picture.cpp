#include "dot_picture.hpp"

#include "byte_file.hpp"
#include "find_program.hpp"
#include "ks/ks_imsg.h"
#include "ks/ks_process.h"
#include "tool.hpp"

namespace tool {

std::string dot_text(std::string_view text) {
    std::string all = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') all += '\\';
        all += c;
    }
    return all + '"';
}

std::string dot_begin(std::string_view title) {
    return "digraph " + dot_text(title) +
           " {\n    rankdir=LR;\n    node [fontname=\"sans-serif\", fontsize=11];\n    edge [color=\"#555555\"];\n";
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

} // namespace tool
