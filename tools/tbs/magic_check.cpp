// tbs magic check: what is wrong with type files, and what in them can never matter.
#include "lib/tbs/typing/name_index.hpp"
#include "output.hpp"
#include "tool.hpp"
#include "type_rules.hpp"

#include <algorithm>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace tool {
namespace {

using tbs::typing::definition;

struct options {
    std::vector<std::string> files;
    bool as_json = false;
};

constexpr struct {
    weight is;
    const char *name;
} weights[] = {{weight::error, "error"}, {weight::warning, "warning"}, {weight::note, "note"}};

const char *name_of(weight is) { return weights[static_cast<size_t>(is)].name; }

std::string place(const definition &of) { return std::string(of.file) + ':' + std::to_string(of.line); }

// ---- tests that never match

// Why a test that is well formed cannot match; null when it can.
const char *why_never(const ft_node_t &test) {
    switch (test.kind) {
    case FT_NAME_TEST:
        if (std::strpbrk(test.u.name.pattern, "/")) return "the names that are tested hold no \"/\"";
        return !test.u.name.compiled && !*test.u.name.pattern ? "no file has an empty name" : nullptr;
    case FT_STATUS_TEST:
        return test.u.status.kind == 0 ? "told are characters (devices), directories and regular files" : nullptr;
    case FT_TOKEN_TEST:
        return test.u.token.length > FT_CONTENT_SIZE ? "the text is longer than the 512 bytes that are looked at"
                                                     : nullptr;
    case FT_COMMAND_TEST: return "commands are not run";
    default: return nullptr;
    }
}

template <class Seen> void each_test(const ft_node_t *rule, Seen &&seen) {
    std::vector<const ft_node_t *> left = {rule};
    while (!left.empty()) {
        const ft_node_t *node = left.back();
        left.pop_back();
        if (!node) continue;
        if (node->kind != FT_OR && node->kind != FT_AND && node->kind != FT_NOT) {
            seen(*node);
            continue;
        }
        left.push_back(node->u.operands.right);
        left.push_back(node->u.operands.left);
    }
}

void remark_on_tests(const definition &one, std::vector<remark> &remarks) {
    each_test(one.rule, [&](const ft_node_t &test) {
        if (const char *why = why_never(test))
            remarks.push_back({weight::warning, one.file, test.line, test_text(test) + " never matches: " + why});
    });
}

// ---- names

void remark_on_names(const definition &one, std::unordered_map<std::string_view, const definition *> &known,
                     std::vector<remark> &remarks) {
    const char *const *name = one.names; // there is one at least
    do {
        const bool is_twice = std::any_of(static_cast<const char *const *>(one.names), name,
                                          [&](const char *before) { return std::strcmp(before, *name) == 0; });
        if (is_twice)
            remarks.push_back(
                {weight::warning, one.file, one.line, "\"" + std::string(*name) + "\" stands twice among the names"});
    } while (*++name);
    const auto [before, is_new] = known.try_emplace(one.names[0], &one);
    if (!is_new)
        remarks.push_back({weight::note, one.file, one.line,
                           "\"" + std::string(one.names[0]) + "\" is defined before, at " + place(*before->second)});
}

// ---- definitions that are never reached

// A rule as alternatives, each of conditions that must all hold. What is joined in another way is one condition.
struct alternative {
    const ft_node_t *name = nullptr; // a name test, when there is one
    std::string others;              // the other conditions, in an order of their own
};

std::vector<const ft_node_t *> operands_of(const ft_node_t *rule, int kind) {
    std::vector<const ft_node_t *> all, left = {rule};
    while (!left.empty()) {
        const ft_node_t *node = left.back();
        left.pop_back();
        if (node && node->kind == kind) {
            left.push_back(node->u.operands.right);
            left.push_back(node->u.operands.left);
        } else {
            all.push_back(node);
        }
    }
    return all;
}

bool can_hold(const ft_node_t *condition) { return condition && !why_never(*condition); }

std::optional<alternative> alternative_of(const ft_node_t *rule) {
    alternative made;
    std::vector<std::string> others;
    for (const ft_node_t *condition : operands_of(rule, FT_AND)) {
        if (!can_hold(condition)) return std::nullopt;
        if (condition->kind == FT_NAME_TEST && !made.name) {
            made.name = condition;
        } else {
            others.push_back(rule_text(condition));
        }
    }
    std::sort(others.begin(), others.end());
    for (const std::string &one : others) made.others += one + '\n';
    return made;
}

std::vector<alternative> alternatives_of(const ft_node_t *rule) {
    std::vector<alternative> all;
    for (const ft_node_t *one : operands_of(rule, FT_OR))
        if (std::optional<alternative> made = alternative_of(one)) all.push_back(std::move(*made));
    return all;
}

// What the definitions so far leave no file of.
class reached {
public:
    // The definition that holds whenever the alternative does, or null.
    [[nodiscard]] const definition *before(const alternative &one) const {
        const definition *const whatever = before(one, "");
        return whatever || one.others.empty() ? whatever : before(one, one.others);
    }

    void add(const definition &from, const alternative &one) {
        patterns &same = by_others_[one.others];
        if (!one.name) {
            if (!same.without_name) same.without_name = &from;
            return;
        }
        const std::string_view pattern = one.name->u.name.pattern;
        same.exact.try_emplace(pattern, &from);
        // A "*" takes the wildcards of a narrower pattern as it takes what they stand for; others do not.
        if (pattern.find_first_of("?[\\") != std::string_view::npos) return;
        const bool is_found_by_its_end = pattern[0] == '*' && pattern.find('*', 1) == std::string_view::npos;
        if (!is_found_by_its_end && tried_++ > most_tried) return;
        if (same.wide.add(*one.name) == same.by_number.size()) same.by_number.push_back(&from);
    }

private:
    struct patterns {
        const definition *without_name = nullptr;
        std::unordered_map<std::string_view, const definition *> exact;
        tbs::typing::name_index wide;
        std::vector<const definition *> by_number;
    };

    [[nodiscard]] const definition *before(const alternative &one, const std::string &others) const {
        const auto found = by_others_.find(others);
        if (found == by_others_.end()) return nullptr;
        const patterns &same = found->second;
        if (same.without_name || !one.name) return same.without_name;
        const std::string_view pattern = one.name->u.name.pattern;
        const auto exact = same.exact.find(pattern);
        if (exact != same.exact.end()) return exact->second;
        if (pattern.find_first_of("[\\") != std::string_view::npos) return nullptr;
        tbs::typing::matched_patterns wider;
        same.wide.match(one.name->u.name.pattern, pattern, wider);
        return wider.ids().empty() ? nullptr : same.by_number[wider.ids()[0]];
    }

    // Patterns of other forms may have to be tried one by one: of those not all are compared with all.
    static constexpr size_t most_tried = 1000;

    std::unordered_map<std::string, patterns> by_others_;
    size_t tried_ = 0;
};

void remark_on_reach(const definition &one, reached &earlier, std::vector<remark> &remarks) {
    const std::vector<alternative> alternatives = alternatives_of(one.rule);
    std::vector<std::pair<const alternative *, const definition *>> taken;
    for (const alternative &each : alternatives)
        if (const definition *before = earlier.before(each)) taken.emplace_back(&each, before);
    if (alternatives.empty()) {
        remarks.push_back({weight::warning, one.file, one.line, "the definition never holds"});
    } else if (taken.size() == alternatives.size()) {
        remarks.push_back(
            {weight::warning, one.file, one.line,
             "the definition is never reached: " + place(*taken[0].second) + " holds whenever it does"});
    } else {
        for (const auto &[each, before] : taken) {
            if (!each->name) continue;
            remarks.push_back({weight::note, one.file, each->name->line,
                               test_text(*each->name) + " decides nothing: " + place(*before) + " holds before"});
        }
    }
    for (const alternative &each : alternatives) earlier.add(one, each);
}

// ---- the answer

std::vector<remark> remarks_on(const std::vector<std::string> &files) {
    type_rules rules;
    for (const std::string &file : files) rules.read(file);
    std::vector<remark> all = rules.remarks();
    reached earlier;
    std::unordered_map<std::string_view, const definition *> names;
    for (const definition *one = rules.first(); one; one = one->next) {
        remark_on_names(*one, names, all);
        remark_on_tests(*one, all);
        remark_on_reach(*one, earlier, all);
    }
    const auto number_of = [&](const remark &one) {
        return std::find(files.begin(), files.end(), one.file) - files.begin();
    };
    std::stable_sort(all.begin(), all.end(), [&](const remark &a, const remark &b) {
        return std::pair(number_of(a), a.line) < std::pair(number_of(b), b.line);
    });
    return all;
}

size_t count_of(const std::vector<remark> &all, weight wanted) {
    return static_cast<size_t>(
        std::count_if(all.begin(), all.end(), [&](const remark &one) { return one.is == wanted; }));
}

std::string counted(size_t count, const char *what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

int status_of(const std::vector<remark> &all) {
    if (count_of(all, weight::error)) return exit_bad_input;
    return count_of(all, weight::warning) ? exit_negative : exit_done;
}

void print_text(const std::vector<remark> &all) {
    for (const remark &one : all) {
        const std::string line = one.line ? ':' + std::to_string(one.line) : "";
        print(one.file + line + ": " + name_of(one.is) + ": " + one.text);
        end_line();
    }
    std::string summary;
    for (const auto &row : weights)
        summary += (summary.empty() ? "" : ", ") + counted(count_of(all, row.is), row.name);
    print(summary);
    end_line();
}

void print_as_json(const std::vector<remark> &all) {
    json list = json::array();
    for (const remark &one : all)
        list.push_back({{"file", one.file}, {"line", one.line}, {"kind", name_of(one.is)}, {"text", one.text}});
    print_json({{"remarks", std::move(list)}, {"exit_status", status_of(all)}});
}

int check(const options &o) {
    const std::vector<remark> all = remarks_on(o.files.empty() ? type_files_of_path() : o.files);
    o.as_json ? print_as_json(all) : print_text(all);
    return status_of(all);
}

} // namespace

void add_magic_check(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command check_command = parent.add("check", "Tell what is wrong with type files");
    check_command.positional("file", o->files, "FILE", "Type files, in the order of reading; else those in use");
    check_command.flag("--json", o->as_json, "Answer in JSON");
    check_command.footer(
        "Warned of are definitions that are never reached, and tests that never match; noted are names that\n"
        "are defined again, and patterns that an earlier definition takes.\n"
        "Exit status: 0 nothing, or notes; 1 warnings; 2 errors of syntax, and bad input.");
    check_command.runs([o] { return check(*o); }, chosen);
}

} // namespace tool
