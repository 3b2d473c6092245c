// tbs type: the element types of files, and of all files of a tree.
#include "file_tree.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_imsg.h"
#include "lib/tbs/typing/program.hpp"
#include "nt/nt_file.h"
#include "output.hpp"
#include "output_file.hpp"
#include "progress.hpp"
#include "threads.hpp"
#include "tool.hpp"
#include "type_rules.hpp"

#include <algorithm>
#include <atomic>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

namespace tool {
namespace {

using tbs::typing::definition;
using tbs::typing::value;

constexpr unsigned most_jobs = 256;

struct options {
    std::vector<std::string> paths;
    bool recursive = false, by_name = false, explain = false, null = false, as_json = false;
    unsigned jobs = 0;

    [[nodiscard]] uint32_t what_to_look_at() const { return by_name ? TBS_FT_BY_NAME : TBS_FT_BY_ALL; }
};

// Text is told by the locale; that of nowhere knows ASCII alone, and type files are about files of everywhere.
void take_locale() {
    const char *name = std::setlocale(LC_CTYPE, "");
    const bool is_ascii = !name || std::strcmp(name, "C") == 0 || std::strcmp(name, "POSIX") == 0;
    if (is_ascii) std::setlocale(LC_CTYPE, "C.UTF-8");
}

const char *const no_names[] = {nullptr};

// ---- why

struct tried_test {
    const ft_node_t *test;
    value result;
};

struct explanation {
    const definition *by;   // null when no definition holds
    std::string why_nobody; // then
    std::vector<tried_test> tests;
};

// Why a file cannot be looked into; nothing when it can. What is no regular file is not opened: that could wait.
std::optional<std::string> unreadable(const std::string &path) {
    fileutl_status_t status;
    if (fileutl_stat(path.c_str(), 1, &status) == 0 && (status.mode & FILEUTL_KIND) != FILEUTL_REGULAR)
        return std::nullopt;
    const std::unique_ptr<FILE, int (*)(FILE *)> stream(unix_nt_fopen(path.c_str(), "rb"), std::fclose);
    if (stream) return std::nullopt;
    return std::string("cannot be read: ") + imsg_strerror(ks_errno);
}

class explainer final : private tbs::typing::observer {
public:
    explainer() {
        const std::vector<std::string> files = type_files_of_path();
        has_files_ = !files.empty();
        for (const std::string &file : files) rules_.read(file);
        program_ = std::make_unique<const tbs::typing::program>(rules_.first());
    }

    explanation explain(const std::string &path, uint32_t options) {
        tbs::typing::examined_file file(path.c_str(), TBS_FT_NOT_OPEN, nullptr, nullptr, options);
        const definition *found = program_->find(file, this);
        if (!found) return {nullptr, why_nobody(path, options), {}};
        return {found, {}, tests_};
    }

private:
    void begins(const definition &) override { tests_.clear(); }
    void decided(const ft_node_t &test, value result) override { tests_.push_back({&test, result}); }

    [[nodiscard]] std::string why_nobody(const std::string &path, uint32_t options) const {
        if (!has_files_) return std::string("no type files found in ") + type_file_path();
        const auto reason = options == TBS_FT_BY_NAME ? std::nullopt : unreadable(path);
        return reason.value_or("no definition holds");
    }

    bool has_files_ = false;
    type_rules rules_;
    std::unique_ptr<const tbs::typing::program> program_;
    std::vector<tried_test> tests_;
};

const char *name_of(value result) {
    switch (result) {
    case value::holds: return "yes";
    case value::fails: return "no";
    default: return "undecided";
    }
}

void print_explanation(const explanation &why) {
    if (!why.by) {
        print("    " + why.why_nobody);
        end_line();
        return;
    }
    print("    " + std::string(why.by->file) + ':' + std::to_string(why.by->line));
    end_line();
    for (const tried_test &one : why.tests) {
        print("    ");
        print_padded(name_of(one.result), 10);
        print_padded("line " + std::to_string(one.test->line), 10);
        print(test_text(*one.test));
        end_line();
    }
}

json explanation_as_json(const explanation &why) {
    if (!why.by) return nullptr;
    json tests = json::array();
    for (const tried_test &one : why.tests) {
        tests.push_back({{"line", one.test->line}, {"test", test_text(*one.test)}, {"result", name_of(one.result)}});
    }
    return {{"file", why.by->file}, {"line", why.by->line}, {"tests", std::move(tests)}};
}

// ---- the types of many files, by several threads

class typed_files {
public:
    typed_files(const std::vector<std::string> &paths, uint32_t options) : paths_(paths), options_(options) {
        type_file_path(); // here, so that a failure is one failure
        types_.resize(paths.size(), no_names);
    }
    typed_files(const typed_files &) = delete;
    typed_files &operator=(const typed_files &) = delete;

    void run(unsigned jobs) {
        progress_bar bar(paths_.size());
        std::vector<std::jthread> others;
        const size_t wanted = std::min<size_t>(jobs ? jobs : std::thread::hardware_concurrency(), blocks());
        start_threads(others, wanted, [this] { work(nullptr); });
        work(&bar);
    }

    [[nodiscard]] size_t size() const { return paths_.size(); }
    [[nodiscard]] const std::string &path(size_t i) const { return paths_[i]; }
    // Empty when no definition holds.
    [[nodiscard]] const char *const *types(size_t i) const { return types_[i]; }
    [[nodiscard]] bool all_have_types() const {
        return std::none_of(types_.begin(), types_.end(), [](const char *const *names) { return !*names; });
    }

private:
    static constexpr size_t block_size = 64;

    [[nodiscard]] size_t blocks() const { return (paths_.size() + block_size - 1) / block_size; }

    // Takes blocks of files until none is left. One thread shows what all of them have done.
    void work(progress_bar *bar) {
        for (size_t block; (block = next_++) < blocks();) {
            const size_t begin = block * block_size, end = std::min(begin + block_size, paths_.size());
            for (size_t i = begin; i < end; i++)
                tbs_file_type_opt(paths_[i].c_str(), TBS_FT_NOT_OPEN, nullptr, options_, &types_[i]);
            done_ += end - begin;
            if (bar) bar->show_done(done_);
        }
    }

    const std::vector<std::string> &paths_;
    const uint32_t options_;
    std::vector<const char *const *> types_;
    std::atomic<size_t> next_ = 0, done_ = 0;
};

// ---- the answer

void print_text(const options &o, const typed_files &files, explainer *why) {
    for (size_t i = 0; i < files.size(); i++) {
        const std::string names = names_text(files.types(i));
        print(files.path(i) + ": " + (names.empty() ? "(no type)" : names));
        end_line();
        if (why) print_explanation(why->explain(files.path(i), o.what_to_look_at()));
    }
}

// For programs: paths as they are.
void print_null(const typed_files &files) {
    std::string all;
    for (size_t i = 0; i < files.size(); i++) {
        all += files.path(i);
        all += '\0';
        all += names_text(files.types(i));
        all += '\0';
    }
    write_answer(std::nullopt, all);
}

void print_as_json(const options &o, const typed_files &files, explainer *why, const std::vector<walk_error> &errors,
                   int status) {
    json list = json::array();
    for (size_t i = 0; i < files.size(); i++) {
        json one = {{"path", files.path(i)}, {"types", json::array()}};
        for (const char *const *name = files.types(i); *name; name++) one["types"].push_back(*name);
        if (why) {
            const explanation told = why->explain(files.path(i), o.what_to_look_at());
            one["definition"] = explanation_as_json(told);
            if (!told.by) one["reason"] = told.why_nobody;
        }
        list.push_back(std::move(one));
    }
    json left_out = json::array();
    for (const walk_error &error : errors) left_out.push_back({{"path", error.path}, {"reason", error.reason}});
    print_json({{"files", std::move(list)}, {"left_out", std::move(left_out)}, {"exit_status", status}});
}

void report(const std::vector<walk_error> &errors) {
    for (const walk_error &error : errors) {
        const std::string path = error.path.empty() ? "(an empty path)" : error.path;
        report_text(failure(path, 0, error.reason, "It is left out; the others are named."));
    }
}

int type(const options &o) {
    take_locale();
    const file_tree tree(o.paths, o.recursive);
    typed_files files(tree.paths(), o.what_to_look_at());
    files.run(o.jobs);
    std::optional<explainer> why;
    if (o.explain) why.emplace();
    explainer *explained = why ? &*why : nullptr;
    const int status = !tree.errors().empty() ? exit_bad_input : files.all_have_types() ? exit_done : exit_negative;
    if (o.as_json) {
        print_as_json(o, files, explained, tree.errors(), status);
    } else {
        o.null ? print_null(files) : print_text(o, files, explained);
        report(tree.errors());
    }
    return status;
}

} // namespace

void add_type(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command type_command = parent.add("type", "Name the element types of files");
    type_command.positional("path", o->paths, "PATH", "Files and directories").required();
    type_command.flag("-r,--recursive", o->recursive, "All files below the directories that are named");
    type_command.flag("--by-name", o->by_name, "Decide by the names alone, without looking at the files");
    const argument explain =
        type_command.flag("--explain", o->explain, "Tell which definition decided, and its tests");
    const argument null = type_command.flag("--null", o->null, "Write path, NUL, types, NUL for each file");
    null.excludes(explain);
    type_command.option("--jobs", o->jobs, "NUMBER", "Threads; else one for each processor").between(0, most_jobs);
    type_command.flag("--json", o->as_json, "Answer in JSON").excludes(null);
    type_command.footer(
        "The types are those of the first definition that holds in the type files of MAGIC_PATH, else of\n"
        "~/.magic and the product's config/magic. Links are followed to files, not to directories.\n"
        "Exit status: 0 every file has a type, 1 some have none, 2 bad input, and files that are left out.");
    type_command.runs([o] { return type(*o); }, chosen);
}

} // namespace tool
