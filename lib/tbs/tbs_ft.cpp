#include "tbs/tbs_ft.h"

#include "internal/guard.hpp"
#include "internal/owned.hpp"
#include "internal/settings_file.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_str.h"
#include "ks/ks_sys.h"
#include "nt/nt_env.h"
#include "tbs/tbs_product.h"
#include "typing/examined_file.hpp"
#include "typing/program.hpp"
#include "typing/reader.hpp"

#include <atomic>
#include <cstdio>
#include <string>
#include <utility>

using namespace tbs;
using namespace tbs::typing;

namespace {

constexpr char module_name[] = "tbs";
constexpr size_t default_path_size = 2048;
constexpr size_t home_size = 1024;

class message_printer final : public listener {
public:
    constexpr message_printer() = default;
    void bad_syntax(const char *what, const char *file, uint32_t line) noexcept override {
        say<general_messages, 2>(IMSG_ERROR, module_name, what, line, file);
    }
    void beyond_content(const char *file, uint32_t line) noexcept override {
        say<general_messages, 4>(IMSG_WARNING, module_name, int{FT_CONTENT_SIZE}, line, file);
    }
};

// What the process knows, guarded by the mutex but for the program. Nothing of it is ever freed: names have been given
// away, and other threads may be in the middle of a query.
constinit tvthread_mutex_t load_mutex = TVTHREAD_MUTEX_INIT;
constinit message_printer printer;
constinit rule_set rules{printer};
constinit char *search_path = nullptr; // null until loading has succeeded; then never changed
struct kept_program {
    program code;
    kept_program *older;
};
constinit kept_program *newest = nullptr;
constinit std::atomic<const program *> current{nullptr}; // null when there are definitions that it does not have

// Ends a load that has failed; what there is to say has been printed.
struct not_loaded {};

// ---- the search path

void end_with_separator(std::string &path) {
    if (!path.ends_with('\\')) path += '\\';
}

struct environment_hold {
    environment_hold() { nt_environment_lock(); }
    environment_hold(const environment_hold &) = delete;
    environment_hold &operator=(const environment_hold &) = delete;
    ~environment_hold() { nt_environment_unlock(); }
};

// "" when the variable is not set.
std::string path_of_environment() {
    const environment_hold held;
    std::string value(KS_PATH_SIZE, '\0');
    while (nt_getenv_safe("MAGIC_PATH", value.data(), value.size()) == KS_ENAMETOOLONG)
        value.resize(2 * value.size());
    return value.c_str();
}

std::string default_path() {
    char login[256], home[home_size], config[TBS_PATH_SIZE];
    if (sysutl_myloginname(login, sizeof login) != 0) throw not_loaded{};
    std::string path;
    if (sysutl_get_homedir(login, home, sizeof home) == 0 && *home) {
        path = home;
        end_with_separator(path);
        path += ".magic;";
    }
    path += tbs_product_config_dir(config, nullptr);
    end_with_separator(path);
    path += "magic";
    if (path.size() >= default_path_size) {
        say<general_messages, 18>(IMSG_ERROR, module_name);
        throw not_loaded{};
    }
    return path;
}

// ---- reading

void trace_file(const char *path) {
    if (imsg_get_desired_verbosity() < 3 || !imsg_should_trace(module_name, 3)) return;
    imsg_print_shared(IMSG_TRACE, module_name, "read_type_file( %s )\n", IMSG_LITERAL, path);
}

void cannot_open(const char *path) {
    say<common_messages, 18>(IMSG_ERROR, module_name, path, imsg_strerror(ks_errno));
}

void read_type_file(const char *path) {
    trace_file(path);
    fileutl_status_t status;
    if (fileutl_stat(path, 1, &status) != 0) return cannot_open(path);
    if ((status.mode & FILEUTL_KIND) != FILEUTL_REGULAR || status.nlink < 1) return;
    static constinit std::atomic_flag warned;
    const settings_stream stream = open_settings(path, module_name, warned);
    if (!stream) return cannot_open(path);
    try {
        read_stream(rules, path, stream.get());
    } catch (const scanner_failure &failure) {
        printer.bad_syntax(failure.text, path, rules.line());
        throw not_loaded{};
    }
}

struct found_files {
    ~found_files() { strutl_free_str_list(&names, count); }
    char **names = nullptr;
    uint32_t count = 0;
};

void read_type_files(const std::string &path) {
    for (uint32_t next = 0;; next++) {
        found_files found;
        const int error =
            fileutl_resolve_pattern_index(path.c_str(), file_pattern, next, &next, &found.names, &found.count);
        if (error == KS_ENOENT) return; // the end of the path
        if (error != 0) {
            say<general_messages, 15>(IMSG_ERROR, module_name, imsg_strerror(error));
            throw not_loaded{};
        }
        for (uint32_t i = 0; i < found.count; i++) read_type_file(found.names[i]);
    }
}

// ---- loading

// Takes back what has been defined unless it is kept.
class attempt {
public:
    attempt() {
        if (rules.begin_attempt()) return;
        say<common_messages, 40>(IMSG_ERROR, module_name);
        throw not_loaded{};
    }
    attempt(const attempt &) = delete;
    attempt &operator=(const attempt &) = delete;
    ~attempt() {
        if (!kept_) rules.take_back_attempt();
    }
    void keep() { kept_ = true; }

private:
    bool kept_ = false;
};

void compile() { newest = new kept_program{program(rules.first()), newest}; }

void load_files() {
    std::string path = path_of_environment();
    if (path.empty()) path = default_path();
    attempt loaded;
    read_type_files(path);
    rules.begin_file(nullptr);
    char *kept_path = rules.copy(path.data(), path.size());
    compile();
    search_path = kept_path;
    loaded.keep();
}

// The rules, loaded by the first that asks; throws not_loaded.
const program &loaded_program() {
    if (const program *found = current.load(std::memory_order_acquire)) return *found;
    const mutex_hold held(load_mutex);
    if (const program *found = current.load(std::memory_order_relaxed)) return *found;
    search_path ? compile() : load_files();
    current.store(&newest->code, std::memory_order_release);
    return newest->code;
}

// Runs what needs the rules.
template <class R, class F> R with_rules(R failed, F &&body) noexcept {
    return guard<R>(module_name, failed, failed, [&] {
        try {
            return body(loaded_program());
        } catch (const not_loaded &) {
            return failed;
        }
    });
}

// Runs a builder.
template <class F> auto build(F &&body) noexcept {
    using result = decltype(body());
    const mutex_hold held(load_mutex);
    return guard<result>(module_name, result{}, result{}, std::forward<F>(body));
}

} // namespace

// ---- queries

extern "C" int tbs_file_type_opt_2stat(const char *path, int fd, const fileutl_status_t *status,
                                       const fileutl_status_t *second_status, uint32_t options,
                                       const char *const **names_out) noexcept {
    if (!path || !names_out) return -1;
    return with_rules(-1, [&](const program &loaded) {
        examined_file file(path, fd, status, second_status, options);
        const definition *found = loaded.find(file);
        if (!found) return -1;
        *names_out = found->names;
        return 0;
    });
}

extern "C" int tbs_file_type_opt(const char *path, int fd, const fileutl_status_t *status, uint32_t options,
                                 const char *const **names_out) noexcept {
    return tbs_file_type_opt_2stat(path, fd, status, nullptr, options, names_out);
}

extern "C" int tbs_file_type(const char *path, int fd, const fileutl_status_t *status,
                             const char *const **names_out) noexcept {
    return tbs_file_type_opt_2stat(path, fd, status, nullptr, TBS_FT_BY_ALL, names_out);
}

extern "C" const char *tbs_file_type_path() noexcept {
    thread_local owned_text of_thread;
    return with_rules<const char *>(nullptr, [](const program &) -> const char * {
        if (!of_thread.get()) *of_thread.put() = copy_text(search_path);
        return of_thread.get();
    });
}

// ---- builders

extern "C" void ft_reg_def(char **names, ft_node_t *rule) noexcept {
    build([&] {
        if (rules.define(names, rule)) current.store(nullptr); // the next query compiles it with the others
        return 0;
    });
}
extern "C" char **ft_type_name(char **list, char *name) noexcept {
    return build([&] { return rules.add_name(list, name); });
}
extern "C" ft_node_t *ft_or_node(ft_node_t *left, ft_node_t *right) noexcept {
    return build([&] { return rules.join(FT_OR, left, right); });
}
extern "C" ft_node_t *ft_and_node(ft_node_t *left, ft_node_t *right) noexcept {
    return build([&] { return rules.join(FT_AND, left, right); });
}
extern "C" ft_node_t *ft_not_node(ft_node_t *operand) noexcept {
    return build([&] { return rules.join(FT_NOT, operand, nullptr); });
}
extern "C" ft_node_t *ft_name_leaf(const char *text) noexcept {
    return build([&] { return rules.name_test(text); });
}
extern "C" ft_node_t *ft_type_leaf(const char *word) noexcept {
    return build([&] { return rules.status_test(word); });
}
extern "C" ft_node_t *ft_magic_leaf(uint32_t offset, uint32_t length, uint32_t number, const char *string) noexcept {
    return build([&] { return rules.magic_test(offset, length, number, string); });
}
extern "C" ft_node_t *ft_token_leaf(const char *string) noexcept {
    return build([&] { return rules.token_test(string); });
}
extern "C" ft_node_t *ft_filecmd_leaf(const char *string) noexcept {
    return build([&] { return rules.command_test(string); });
}
extern "C" ft_node_t *ft_filecmd_regex_leaf(const char *) noexcept {
    return build([] { return rules.command_regex_test(); });
}
extern "C" ft_node_t *ft_printable() noexcept {
    return build([&] { return rules.printable_test(); });
}
