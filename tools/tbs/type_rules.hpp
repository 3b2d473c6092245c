// type_rules.hpp - type files as the tool looks at them: the rules themselves, and what is wrong with them.
#ifndef TOOLS_TBS_TYPE_RULES_HPP
#define TOOLS_TBS_TYPE_RULES_HPP

#include "lib/tbs/typing/rule_set.hpp"
#include "tbs/tbs_ft.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

enum class weight { error, warning, note };

struct remark {
    weight is;
    std::string file;
    uint32_t line; // 0 of the file as a whole
    std::string text;
};

// The definitions of some type files, in the order in which they were read.
class type_rules : private tbs::typing::listener {
public:
    type_rules() : rules_(*this) {}
    type_rules(const type_rules &) = delete;
    type_rules &operator=(const type_rules &) = delete;

    // Reads a file as the library does: what is no regular file is skipped, and what cannot be opened left out, with a
    // remark. Throws failure for what ends the library's reading too.
    void read(const std::string &path);

    [[nodiscard]] const tbs::typing::definition *first() const { return rules_.first(); }
    // What was heard while reading.
    [[nodiscard]] const std::vector<remark> &remarks() const { return remarks_; }

private:
    void bad_syntax(const char *what, const char *file, uint32_t line) noexcept override;
    void beyond_content(const char *file, uint32_t line) noexcept override;
    void never_matches(const char *why, const char *file, uint32_t line) noexcept override;
    void hear(weight is, const char *file, uint32_t line, const char *text, const char *more) noexcept;

    tbs::typing::scoped_rule_set rules_;
    std::vector<remark> remarks_;
    bool lacks_memory_ = false;
};

// The search path of queries, whose rules are loaded then. Throws failure.
const char *type_file_path();

// The files of that path, in their order. Throws failure.
std::vector<std::string> type_files_of_path();

// A test as it is written in a type file.
std::string test_text(const ft_node_t &test);

// A rule the same, with the parentheses that it needs.
std::string rule_text(const ft_node_t *rule);

// The names of a definition, with blanks between.
std::string names_text(const char *const *names);

} // namespace tool

#endif
