// program.hpp - the definitions in the form in which queries run them. Never changed once it is made.
#ifndef TBS_TYPING_PROGRAM_HPP
#define TBS_TYPING_PROGRAM_HPP

#include "examined_file.hpp"
#include "name_index.hpp"
#include "rule_set.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tbs::typing {

// Hears of the definitions that a query looks at, and of each test of theirs.
class observer {
public:
    virtual void begins(const definition &one) = 0;
    virtual void decided(const ft_node_t &test, value result) = 0;

protected:
    ~observer() = default;
};

class program {
public:
    explicit program(const definition *first);

    // The first definition that holds, or null.
    [[nodiscard]] const definition *find(examined_file &file, observer *heard_by = nullptr) const;

private:
    // One step of a rule. What has been decided last is passed on from step to step.
    enum class operation : uint8_t {
        test,      // tests_[operand]
        fail,      // a test that is missing
        invert,    //
        leave_and, // to `operand` unless it holds
        begin_or,  //
        leave_or,  // to `operand` if it holds; else keeps in mind what was left undecided
        end_or,    // undecided if anything was
    };
    struct step {
        operation what;
        uint32_t operand;
    };
    struct test {
        const ft_node_t *node;
        uint32_t pattern; // of a name test
    };
    struct rule {
        const definition *from;
        uint32_t first_step, step_count;
    };

    class compiler;
    class candidates;

    static constexpr size_t option_sets = TBS_FT_BY_NAME + TBS_FT_BY_STATUS + TBS_FT_BY_CONTENT + 1;
    static constexpr size_t most_nested_on_stack = 1024;

    [[nodiscard]] value run(const rule &one, examined_file &file, const matched_patterns *matched,
                            observer *heard_by) const;
    [[nodiscard]] value decide(const test &one, examined_file &file, const matched_patterns *matched) const;

    std::vector<rule> rules_;
    std::vector<step> steps_;
    std::vector<test> tests_;
    size_t most_nested_ = 0; // "or" in one another
    name_index names_;
    std::vector<std::vector<uint32_t>> rules_of_pattern_;
    // By what queries may look at: the rules that can hold though no name test of theirs does.
    std::array<std::vector<uint32_t>, option_sets> nameless_;
    std::array<std::vector<uint32_t>, 256>
        nameless_by_byte_; // of nameless_[TBS_FT_BY_ALL], by the content's first byte
};

} // namespace tbs::typing

#endif
