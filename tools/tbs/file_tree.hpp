// file_tree.hpp - the files that a command line names, and those below its directories.
#ifndef TOOLS_TBS_FILE_TREE_HPP
#define TOOLS_TBS_FILE_TREE_HPP

#include <string>
#include <vector>

namespace tool {

struct walk_error {
    std::string path, reason;
};

class file_tree {
public:
    // Looks at what is named; with `recursive`, at all below the directories, several of them at a time. Links are not
    // followed to directories.
    file_tree(const std::vector<std::string> &named, bool recursive);

    // In the order in which they were named, below a directory by the bytes of their names. With `recursive` the
    // directories are not among them.
    [[nodiscard]] const std::vector<std::string> &paths() const { return paths_; }
    // What could not be looked at.
    [[nodiscard]] const std::vector<walk_error> &errors() const { return errors_; }

private:
    std::vector<std::string> paths_;
    std::vector<walk_error> errors_;
};

} // namespace tool

#endif
