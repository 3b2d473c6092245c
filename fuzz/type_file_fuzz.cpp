// Bytes as a type file. What is read of it types names of its own patterns as the naive evaluation does; the content of
// the file that is typed is the type file itself.

#include "type_fuzz_support.hpp"

#include <algorithm>
#include <vector>

using namespace type_fuzz;

namespace {

constexpr size_t most_names = 12;
constexpr size_t most_size = 64 * 1024; // the naive evaluation is recursive

// Names that the patterns of a rule may match: each of their wildcards in place of one character.
void collect_names(const ft_node_t *node, std::vector<std::string> &names) {
    if (!node || names.size() >= most_names) return;
    if (node->kind == FT_NAME_TEST) {
        std::string name = node->u.name.pattern;
        std::replace(name.begin(), name.end(), '*', 'a');
        names.push_back(name);
    } else if (node->kind == FT_OR || node->kind == FT_AND || node->kind == FT_NOT) {
        collect_names(node->u.operands.left, names);
        collect_names(node->u.operands.right, names);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > most_size) return 0;
    static const memory_file held;
    const std::string text(reinterpret_cast<const char *>(data), size);
    held.hold(data, size);

    silent unheard;
    tbs::typing::scoped_rule_set rules(unheard);
    try {
        read_text(rules, "fuzzed.magic", text);
    } catch (const tbs::typing::scanner_failure &) {
        return 0;
    }
    std::vector<std::string> names = {"", "Makefile", "main.c", "d.d/a\\b.tar.gz"};
    for (const definition *one = rules.first(); one; one = one->next) collect_names(one->rule, names);
    const tbs::typing::program made(rules.first());
    for (const std::string &name : names)
        for (uint32_t options = 0; options <= TBS_FT_BY_ALL; options++)
            compare(rules.first(), made, held, text, name, options);
    return 0;
}
