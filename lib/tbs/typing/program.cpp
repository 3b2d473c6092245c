#include "program.hpp"

#include <algorithm>
#include <bitset>
#include <limits>
#include <memory>
#include <utility>

namespace tbs::typing {

// ---- from trees to steps

// Trees are as deep as their authors like, so a list of what is still to do takes the place of recursion.
class program::compiler {
public:
    explicit compiler(program &into) : into_(into) {}

    void add(const definition &from) {
        const auto number = static_cast<uint32_t>(into_.rules_.size());
        const auto first = static_cast<uint32_t>(into_.steps_.size());
        rule_ = number;
        visit(from.rule, no_group);
        while (!todo_.empty()) {
            const task next = todo_.back();
            todo_.pop_back();
            perform(next);
        }
        into_.rules_.push_back({&from, first, static_cast<uint32_t>(into_.steps_.size()) - first});
        const values possible = sets_.back().first;
        const first_bytes bytes = sets_.back().second;
        sets_.pop_back();
        for (size_t options = 0; options < option_sets; options++)
            if (possible[options] & can_hold) into_.nameless_[options].push_back(number);
        for (size_t byte = 0; byte < 256; byte++)
            if (bytes.holding[byte] && possible[option_sets - 1] & can_hold)
                into_.nameless_by_byte_[byte].push_back(number);
    }

private:
    // The values that a tree can take when its name tests do not hold, for each set of options.
    using values = std::array<value_set, option_sets>;
    // First bytes of content with which a tree can hold, and can fail, when its name tests do not hold.
    struct first_bytes {
        std::bitset<256> holding, failing;
    };

    // Operands of the same operator in one another are one group: it does not matter how they were grouped.
    static constexpr size_t no_group = std::numeric_limits<size_t>::max();
    struct group {
        int kind;
        std::vector<uint32_t> leaving; // steps that jump to the end
    };
    enum class task_kind { visit, between, join, end_group, invert };
    struct task {
        task_kind what;
        const ft_node_t *node;
        size_t group;
        int kind;
    };

    void emit(operation what, uint32_t operand = 0) { into_.steps_.push_back({what, operand}); }

    void visit(const ft_node_t *node, size_t in) {
        if (!node) return missing();
        if (node->kind == FT_NOT) {
            todo_.push_back({task_kind::invert, nullptr, no_group, 0});
            todo_.push_back({task_kind::visit, node->u.operands.left, no_group, 0});
        } else if (node->kind == FT_OR || node->kind == FT_AND) {
            operands(*node, in);
        } else {
            leaf(*node);
        }
    }

    void operands(const ft_node_t &node, size_t in) {
        const bool is_new = in == no_group || groups_[in].kind != node.kind;
        if (is_new) {
            in = groups_.size();
            groups_.push_back({node.kind, {}});
            todo_.push_back({task_kind::end_group, nullptr, in, node.kind});
            if (node.kind == FT_OR) {
                emit(operation::begin_or);
                into_.most_nested_ = std::max(into_.most_nested_, ++nested_);
            }
        }
        todo_.push_back({task_kind::join, nullptr, in, node.kind});
        todo_.push_back({task_kind::visit, node.u.operands.right, in, 0});
        todo_.push_back({task_kind::between, nullptr, in, node.kind});
        todo_.push_back({task_kind::visit, node.u.operands.left, in, 0});
    }

    void perform(const task &next) {
        switch (next.what) {
        case task_kind::visit: visit(next.node, next.group); break;
        case task_kind::between:
            groups_[next.group].leaving.push_back(static_cast<uint32_t>(into_.steps_.size()));
            emit(next.kind == FT_OR ? operation::leave_or : operation::leave_and);
            break;
        case task_kind::join: join(next.kind); break;
        case task_kind::end_group: end_group(next.group); break;
        case task_kind::invert:
            emit(operation::invert);
            for (value_set &set : sets_.back().first) set = inverted(set);
            std::swap(sets_.back().second.holding, sets_.back().second.failing);
            break;
        }
    }

    // A group ends before the one that it stands in, so the groups are a stack.
    void end_group(size_t number) {
        const auto end = static_cast<uint32_t>(into_.steps_.size());
        for (const uint32_t leaving : groups_[number].leaving) into_.steps_[leaving].operand = end;
        if (groups_[number].kind == FT_OR) {
            emit(operation::end_or);
            nested_--;
        }
        groups_.pop_back();
    }

    void join(int kind) {
        const auto [right, right_bytes] = sets_.back();
        sets_.pop_back();
        auto &[left, bytes] = sets_.back();
        value_set (*const joined)(value_set, value_set) = kind == FT_OR ? either : both;
        for (size_t i = 0; i < option_sets; i++) left[i] = joined(left[i], right[i]);
        if (kind == FT_OR) {
            bytes.holding |= right_bytes.holding;
            bytes.failing &= right_bytes.failing;
        } else {
            bytes.holding &= right_bytes.holding;
            bytes.failing |= right_bytes.failing;
        }
    }

    void missing() {
        emit(operation::fail);
        auto &[set, bytes] = sets_.emplace_back();
        set.fill(can_fail);
        bytes.failing.set();
    }

    void leaf(const ft_node_t &node) {
        uint32_t pattern = 0;
        if (node.kind == FT_NAME_TEST) {
            pattern = into_.names_.add(node);
            into_.rules_of_pattern_.resize(into_.names_.size());
            auto &rules = into_.rules_of_pattern_[pattern];
            if (rules.empty() || rules.back() != rule_) rules.push_back(rule_);
        }
        emit(operation::test, static_cast<uint32_t>(into_.tests_.size()));
        into_.tests_.push_back({&node, pattern});
        auto &[set, bytes] = sets_.emplace_back();
        for (size_t options = 0; options < option_sets; options++) set[options] = possible(node, options);
        bytes.failing.set();
        if (node.kind == FT_MAGIC_TEST && node.u.magic.offset == 0 && node.u.magic.length > 0) {
            const auto &magic = node.u.magic;
            const void *at = magic.is_text ? magic.value.text : static_cast<const void *>(&magic.value);
            bytes.holding.set(*static_cast<const unsigned char *>(at));
        } else if (node.kind != FT_NAME_TEST) {
            bytes.holding.set();
        }
    }

    static value_set possible(const ft_node_t &node, size_t options) {
        switch (node.kind) {
        case FT_NAME_TEST: return options & TBS_FT_BY_NAME ? can_fail : can_be_undecided;
        case FT_STATUS_TEST: return options & TBS_FT_BY_STATUS ? any_value : can_be_undecided;
        case FT_COMMAND_TEST: return can_be_undecided;
        default: return options & TBS_FT_BY_CONTENT ? any_value : can_be_undecided;
        }
    }

    program &into_;
    uint32_t rule_ = 0;
    size_t nested_ = 0;
    std::vector<task> todo_;
    std::vector<group> groups_;
    std::vector<std::pair<values, first_bytes>> sets_;
};

program::program(const definition *first) {
    compiler made(*this);
    for (const definition *one = first; one; one = one->next) made.add(*one);
}

// ---- queries

// The numbers of the rules that may hold, in the order of the definitions: of those that can hold whatever the name is,
// and of those with a name test that holds.
class program::candidates {
public:
    candidates(const program &of, uint32_t options, const matched_patterns &matched) {
        lists_[count_++] = of.nameless_[options];
        for (const uint32_t pattern : matched.ids()) lists_[count_++] = of.rules_of_pattern_[pattern];
    }

    // Of the rules without a name only those that can hold with the content that is there now.
    void narrow(std::span<const uint32_t> nameless, uint32_t behind) {
        const auto from = std::upper_bound(nameless.begin(), nameless.end(), behind);
        lists_[0] = nameless.subspan(static_cast<size_t>(from - nameless.begin()));
    }

    // False at the end.
    bool next(uint32_t &number) {
        uint32_t least = none;
        for (size_t i = 0; i < count_; i++)
            if (!lists_[i].empty()) least = std::min(least, lists_[i].front());
        for (size_t i = 0; i < count_; i++)
            if (!lists_[i].empty() && lists_[i].front() == least) lists_[i] = lists_[i].subspan(1);
        number = least;
        return least != none;
    }

private:
    static constexpr uint32_t none = std::numeric_limits<uint32_t>::max();
    std::span<const uint32_t> lists_[matched_patterns::most + 1];
    size_t count_ = 0;
};

const definition *program::find(examined_file &file, observer *heard_by) const {
    const auto holds = [&](const rule &one, const matched_patterns *matched) {
        return run(one, file, matched, heard_by) == value::holds;
    };
    matched_patterns matched;
    if (file.may_look_at(TBS_FT_BY_NAME)) names_.match(file.name(), file.name_view(), matched);
    if (!matched.all_are_here()) {
        const auto found =
            std::find_if(rules_.begin(), rules_.end(), [&](const rule &one) { return holds(one, nullptr); });
        return found == rules_.end() ? nullptr : found->from;
    }
    candidates left(*this, file.options() & (option_sets - 1), matched);
    bool may_narrow = !heard_by && (file.options() & (option_sets - 1)) == option_sets - 1;
    for (uint32_t number = 0; left.next(number);) {
        if (holds(rules_[number], &matched)) return rules_[number].from;
        if (may_narrow && file.has_content()) {
            left.narrow(nameless_by_byte_[file.first_byte()], number);
            may_narrow = false;
        }
    }
    return nullptr;
}

value program::decide(const test &one, examined_file &file, const matched_patterns *matched) const {
    if (one.node->kind != FT_NAME_TEST) return file.decide(*one.node);
    if (!matched || !file.may_look_at(TBS_FT_BY_NAME)) return file.matches(*one.node);
    return of(matched->contains(one.pattern));
}

value program::run(const rule &one, examined_file &file, const matched_patterns *matched, observer *heard_by) const {
    bool undecided_on_stack[most_nested_on_stack];
    std::unique_ptr<bool[]> undecided_elsewhere;
    bool *undecided = undecided_on_stack;
    if (most_nested_ > most_nested_on_stack) {
        undecided_elsewhere = std::make_unique<bool[]>(most_nested_);
        undecided = undecided_elsewhere.get();
    }
    std::fill_n(undecided, most_nested_, false);
    if (heard_by) heard_by->begins(*one.from);
    size_t depth = 0;
    value decided = value::fails;
    const uint32_t end = one.first_step + one.step_count;
    for (uint32_t at = one.first_step; at < end;) {
        const step &next = steps_[at++];
        switch (next.what) {
        case operation::test:
            decided = decide(tests_[next.operand], file, matched);
            if (heard_by) heard_by->decided(*tests_[next.operand].node, decided);
            break;
        case operation::fail: decided = value::fails; break;
        case operation::invert: decided = inverted(decided); break;
        case operation::leave_and:
            if (decided != value::holds) at = next.operand;
            break;
        case operation::begin_or: undecided[depth++] = false; break;
        case operation::leave_or:
            if (decided == value::holds) at = next.operand;
            if (decided == value::undecided) undecided[depth - 1] = true;
            break;
        case operation::end_or:
            if (undecided[--depth] && decided != value::holds) decided = value::undecided;
            break;
        }
    }
    return decided;
}

} // namespace tbs::typing
