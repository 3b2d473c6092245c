// rule_set.hpp - the definitions that are read from type files, and how they are built.
#ifndef TBS_TYPING_RULE_SET_HPP
#define TBS_TYPING_RULE_SET_HPP

#include "ks/ks_stg.h"
#include "tbs/tbs_ft.h"

#include <cstddef>
#include <cstdint>

namespace tbs::typing {

struct definition {
    definition *next;
    const char *const *names; // null behind the last
    const ft_node_t *rule;    // null never holds
    const char *file;         // null when it is not from a file
    uint32_t line;            // where its names begin
};

// Hears of what is wrong in a type file.
class listener {
public:
    virtual void bad_syntax(const char *what, const char *file, uint32_t line) noexcept = 0;
    virtual void beyond_content(const char *file, uint32_t line) noexcept = 0;
    // A test that stands for nothing, and has no node.
    virtual void never_matches(const char *why, const char *file, uint32_t line) noexcept {
        static_cast<void>(why), static_cast<void>(file), static_cast<void>(line);
    }

protected:
    ~listener() = default;
};

// Memory comes from one storage area. Builders throw std::bad_alloc. The destructor does nothing, for the set of the
// process stays until the end; others are released.
class rule_set {
public:
    constexpr explicit rule_set(listener &heard_by) : listener_(&heard_by) {}

    void release();

    // Puts what follows into an area of its own, so that it can be taken back as a whole. False without memory. Once it
    // is not taken back, there is no second time.
    [[nodiscard]] bool begin_attempt();
    void take_back_attempt();

    [[nodiscard]] const definition *first() const { return first_; }
    [[nodiscard]] listener &heard_by() const { return *listener_; }

    // Where reading is.
    void begin_file(const char *path);
    [[nodiscard]] const char *file() const { return file_ ? file_ : ""; }
    [[nodiscard]] uint32_t line() const { return line_; }
    void next_line() { line_++; }

    // A copy of a text, which lives as long as the set.
    [[nodiscard]] char *copy(const char *text, size_t size);

    // False when there are no names, and nothing to define.
    bool define(char **names, const ft_node_t *rule);
    char **add_name(char **list, char *name);
    ft_node_t *join(int kind, ft_node_t *left, ft_node_t *right);
    ft_node_t *name_test(const char *pattern);
    ft_node_t *status_test(const char *word);
    ft_node_t *magic_test(uint32_t offset, uint32_t length, uint32_t number, const char *text);
    ft_node_t *token_test(const char *text);
    ft_node_t *command_test(const char *text);
    ft_node_t *command_regex_test();
    ft_node_t *printable_test();

private:
    static constexpr size_t most_names = 256;

    [[nodiscard]] bool create_area();
    [[nodiscard]] void *allocate(size_t size);
    ft_node_t *node(int kind);

    stg_area_t *area_ = nullptr, *area_before_ = nullptr;
    definition *first_ = nullptr, *last_ = nullptr, *last_before_ = nullptr;
    listener *listener_;
    const char *file_ = nullptr;
    uint32_t line_ = 0;
    char *names_[most_names + 1] = {}; // of the definition that is being read
    size_t name_count_ = 0;
    uint32_t names_line_ = 0;
};

// A set that goes with its scope.
class scoped_rule_set : public rule_set {
public:
    using rule_set::rule_set;
    scoped_rule_set(const scoped_rule_set &) = delete;
    scoped_rule_set &operator=(const scoped_rule_set &) = delete;
    ~scoped_rule_set() { release(); }
};

} // namespace tbs::typing

#endif
