// tool.hpp - what the sub-commands of the tool share: how one is added, how one ends, how one fails.
#ifndef TOOLS_TBS_TOOL_HPP
#define TOOLS_TBS_TOOL_HPP

#include "command.hpp"

#include <cstddef>
#include <exception>
#include <string>
#include <utility>

namespace tool {

// Exit statuses: the only three.
enum { exit_done = 0, exit_negative = 1, exit_bad_input = 2 };

// Why a command cannot give its answer. The boundary in main() reports it and ends with exit_bad_input.
class failure : public std::exception {
public:
    failure(std::string text, std::string remedy) : text_(std::move(text)), remedy_(std::move(remedy)) {}
    failure(std::string file, size_t line, std::string text, std::string remedy)
        : file_(std::move(file)), line_(line), text_(std::move(text)), remedy_(std::move(remedy)) {}

    [[nodiscard]] const char *what() const noexcept override { return text_.c_str(); }
    [[nodiscard]] const std::string &text() const noexcept { return text_; }
    [[nodiscard]] const std::string &remedy() const noexcept { return remedy_; }
    [[nodiscard]] const std::string &file() const noexcept { return file_; } // "" when no file is to blame
    [[nodiscard]] size_t line() const noexcept { return line_; }             // 0 when no line is

private:
    std::string file_;
    size_t line_ = 0;
    std::string text_, remedy_;
};

// Each adds its sub-command to `parent`; parsing it stores what is to be done in `chosen`.
void add_acl_show(command parent, action &chosen);
void add_acl_check(command parent, action &chosen);
void add_acl_diff(command parent, action &chosen);
void add_acl_encode(command parent, action &chosen);
void add_acl_decode(command parent, action &chosen);
void add_acl_effective(command parent, action &chosen);
void add_acl_matrix(command parent, action &chosen);
void add_acl_apply(command parent, action &chosen);
void add_rolemap_show(command parent, action &chosen);
void add_rolemap_graph(command parent, action &chosen);
void add_rolemap_check(command parent, action &chosen);
void add_rolemap_edits(command parent, action &chosen); // add, remove, replace
void add_cr_capture(command parent, action &chosen);
void add_cr_show(command parent, action &chosen);
void add_cr_diff(command parent, action &chosen);
void add_cr_graph(command parent, action &chosen);
void add_cr_convert(command parent, action &chosen);
void add_xdr_types(command parent, action &chosen);
void add_xdr_show(command parent, action &chosen);
void add_xdr_make(command parent, action &chosen);
void add_xdr_sample(command parent, action &chosen);
void add_xdr_describe(command parent, action &chosen);
void add_uuid(command parent, action &chosen);
void add_fstat(command parent, action &chosen);
void add_name(command parent, action &chosen);
void add_viewroot(command parent, action &chosen);
void add_product(command parent, action &chosen);
void add_profile(command parent, action &chosen);
void add_mgr(command parent, action &chosen);
void add_registry(command parent, action &chosen);
void add_type(command parent, action &chosen);
void add_magic_check(command parent, action &chosen);
void add_magic_dump(command parent, action &chosen);
void add_notify(command parent, action &chosen);
void add_help_topic(command parent, action &chosen);
void add_whoami(command parent, action &chosen);
void add_status(command parent, action &chosen);
void add_msg(command parent, action &chosen);
void add_completion(command parent, action &chosen);
void add_man(command parent, action &chosen);

// Owns an object of the libraries. Free takes the address of the variable, as all free functions do.
template <class T, auto Free> class owned {
public:
    owned() = default;
    owned(owned &&other) noexcept : object_(std::exchange(other.object_, T{})) {}
    owned &operator=(owned &&other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~owned() { Free(&object_); }

    [[nodiscard]] T get() const noexcept { return object_; }
    [[nodiscard]] T *put() noexcept { return &object_; }
    T operator->() const noexcept { return object_; }

private:
    T object_{};
};

} // namespace tool

#endif
