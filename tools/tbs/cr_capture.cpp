// tbs cr capture: runs a build and records what it read and wrote.
//
// The build runs under strace, which writes its system calls to a file that nobody else can read; no shell is involved.
// What was read and written is looked at when the build has ended.
#include "byte_file.hpp"
#include "cr_record.hpp"
#include "cr_trace.hpp"
#include "find_program.hpp"
#include "ks/ks_imsg.h"
#include "ks/ks_process.h"
#include "ks/ks_sys.h"
#include "output.hpp"
#include "output_file.hpp"
#include "tbs/tbs_fstat.h"
#include "tbs/tbs_product.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <grp.h>
#include <iterator>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace tool {
namespace {

namespace fs = std::filesystem;

struct options {
    std::vector<std::string> command;
    std::string out = "build.cr";
    std::optional<std::string> target;
    bool keep_failed = false;
};

// Variables that steer compilers and build tools.
constexpr const char *recorded_variables[] = {
    "AR",
    "ARFLAGS",
    "AS",
    "ASFLAGS",
    "CC",
    "CFLAGS",
    "CPATH",
    "CPPFLAGS",
    "C_INCLUDE_PATH",
    "CXX",
    "CXXFLAGS",
    "GOFLAGS",
    "LANG",
    "LC_ALL",
    "LDFLAGS",
    "LD_LIBRARY_PATH",
    "LIBRARY_PATH",
    "MAKEFLAGS",
    "PATH",
    "RUSTFLAGS",
    "SHELL",
    "PKG_CONFIG_PATH",
    "TMPDIR",
    "TZ",
    "SOURCE_DATE_EPOCH",
};

struct close_file {
    void operator()(FILE *stream) const { std::fclose(stream); }
};
using owned_stream = std::unique_ptr<FILE, close_file>;

// ---- the build

void require_program(const std::string &name) {
    const bool is_path = name.find('/') != std::string::npos;
    if (is_path ? is_program(name) : !find_program(name).empty()) return;
    throw failure("the program \"" + name + "\" is not there, or may not be run",
                  "Name a program of PATH, or its path; a shell's own commands need a shell, as in sh -c '...'.");
}

std::string traced_calls() {
    std::string all = "trace=";
    for (const traced_form &one : traced_forms) {
        if (!all.ends_with('=')) all += ',';
        all += '?'; // some processors lack some
        all += one.name;
    }
    return all;
}

// Runs the command; gives its exit status.
int run_traced(const std::vector<std::string> &command, const std::string &trace_path) {
    const std::string program = find_program("strace");
    if (program.empty()) {
        throw failure("builds are watched by the program \"strace\", which is not there",
                      "Install the package strace.");
    }
    std::vector<std::string> words = {"strace", "-f",           "-y", "-qq",      "--seccomp-bpf",
                                      "-e",     traced_calls(), "-o", trace_path, "--"};
    words.insert(words.end(), command.begin(), command.end());
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    int exit_status = 0;
    if (const int error = sysutl_invokev_redirect(program.c_str(), arguments.data(), &exit_status)) {
        throw failure("the program \"" + program + "\" cannot be run: " + imsg_strerror(error),
                      "Look at its permissions.");
    }
    return exit_status;
}

// ---- what it did

template <class F> void for_each_line(const std::string &path, F &&take) {
    const owned_stream stream(std::fopen(path.c_str(), "rb"));
    char *line = nullptr;
    size_t room = 0;
    const auto release = [&line](FILE *) { std::free(line); };
    const std::unique_ptr<FILE, decltype(release)> owner(stream.get(), release);
    for (ssize_t got; stream && (got = getline(&line, &room, stream.get())) > 0;) {
        std::string_view text(line, static_cast<size_t>(got));
        if (text.ends_with('\n')) text.remove_suffix(1);
        take(text);
    }
    if (!stream || std::ferror(stream.get())) {
        throw failure(path, 0, std::string("what strace wrote cannot be read: ") + std::strerror(errno),
                      "Look for room in the directory for temporary files (TMPDIR).");
    }
}

// The directory part of a name without links. The last part stays: renames and removals are about the name itself.
std::string resolved(const std::string &path) {
    std::error_code error;
    const fs::path given(path), leaf = given.filename();
    const bool names_directory = leaf.empty() || leaf == "." || leaf == "..";
    const fs::path directory = fs::weakly_canonical(names_directory ? given : given.parent_path(), error);
    if (error) return given.lexically_normal().string();
    return names_directory ? directory.string() : (directory / leaf).string();
}

std::map<std::string, file_use> files_of(const std::string &trace_path, const std::string &directory) {
    build_trace trace(directory, resolved);
    for_each_line(trace_path, [&](std::string_view line) { trace.learn(line); });
    for_each_line(trace_path, [&](std::string_view line) { trace.take(line); });
    if (!trace.has_begun()) {
        throw failure(
            "strace could not watch the build, see the message before",
            "It needs ptrace: a container needs the capability SYS_PTRACE, or a seccomp profile that allows "
            "it; kernel.yama.ptrace_scope must be below 3.");
    }
    // A program that was run by way of a link is the file that the link leads to.
    std::map<std::string, file_use> all;
    for (const auto &[path, use] : trace.files()) {
        std::error_code error;
        const fs::path real = use.written ? fs::path(path) : fs::canonical(path, error);
        if (error) continue; // it is there no more
        file_use &one = all[real.string()];
        one.read |= use.read;
        one.written |= use.written;
    }
    return all;
}

// ---- the record

std::string hash_text(uint64_t hash) {
    char text[32];
    std::snprintf(text, sizeof text, "xxh64:%016llx", static_cast<unsigned long long>(hash));
    return text;
}

// Of a file's content; "" when it cannot be read.
std::string checksum_of_file(const std::string &path) {
    const owned_stream stream(std::fopen(path.c_str(), "rbe"));
    if (!stream) return "";
    XXH64_state_t state;
    XXH64_reset(&state, 0);
    std::vector<char> block(256 * 1024);
    while (const size_t got = std::fread(block.data(), 1, block.size(), stream.get())) {
        XXH64_update(&state, block.data(), got);
    }
    return std::ferror(stream.get()) ? "" : hash_text(XXH64_digest(&state));
}

std::string checksum_of_link(const std::string &path) {
    std::error_code error;
    const std::string leads_to = fs::read_symlink(path, error).string();
    return error ? "" : hash_text(XXH64(leads_to.data(), leads_to.size(), 0));
}

// Times travel in 32 bits.
int64_t narrow(time_t seconds) { return std::clamp<int64_t>(seconds, INT32_MIN, INT32_MAX); }

// Makes an object of the record for a file or a link; nothing for what is neither, or is there no more.
bool describe(const std::string &path, const file_use &use, tbs_cr_fs_predef_t *&made) {
    struct stat found;
    if (lstat(path.c_str(), &found) != 0 || !(S_ISREG(found.st_mode) || S_ISLNK(found.st_mode))) return false;
    const bool is_link = S_ISLNK(found.st_mode);
    const std::string checksum = is_link ? checksum_of_link(path) : checksum_of_file(path);
    made = make_object<tbs_cr_fs_predef_t>();
    made->result_obj_flags = (use.read ? cr_was_read : 0u) | (use.written ? cr_was_written : 0u);
    made->ftype = is_link ? TBS_FTYPE_SYMBOLIC_LINK : TBS_FTYPE_FILE;
    made->size = found.st_size;
    made->mode = found.st_mode & 07777;
    made->mtime = narrow(found.st_mtime);
    made->ctime = narrow(found.st_ctime);
    made->pathname = copy_text(path);
    made->checksum = copy_text(checksum);
    return true;
}

void add_files(cr_record &record, const std::map<std::string, file_use> &files) {
    make_list(record->fs_predef_count, record->fs_predefs, files.size());
    uint32_t count = 0;
    for (const auto &[path, use] : files) {
        if (describe(path, use, record->fs_predefs[count])) count++;
    }
    record->fs_predef_count = count;
}

void add_texts(const std::vector<std::string> &texts, uint32_t &to_count, char **&to) {
    make_list(to_count, to, texts.size());
    for (size_t i = 0; i < texts.size(); i++) to[i] = copy_text(texts[i]);
}

std::vector<std::string> variables() {
    std::vector<std::string> all;
    for (const char *name : recorded_variables) {
        if (const char *value = std::getenv(name)) all.push_back(std::string(name) + '=' + value);
    }
    return all;
}

// As a shell would read it back.
std::string command_text(const std::vector<std::string> &words) {
    constexpr std::string_view plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_@%+=:,./-";
    std::string all;
    for (const std::string &word : words) {
        if (!all.empty()) all += ' ';
        if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) {
            all += word;
            continue;
        }
        all += '\'';
        for (const char c : word) c == '\'' ? all += "'\\''" : all += c;
        all += '\'';
    }
    return all;
}

std::string user_name() {
    char name[256];
    return sysutl_myloginname(name, sizeof name) == 0 ? name : std::to_string(getuid());
}

std::string group_name() {
    const group *found = getgrgid(getgid());
    return found ? found->gr_name : std::to_string(getgid());
}

std::string host_name() {
    char name[HOST_NAME_MAX + 1];
    return sysutl_myhostname(name, sizeof name) == 0 ? name : "";
}

std::string host_type() {
    const char *system = "", *version = "", *processor = "";
    if (!tbs_platform_info(&system, &version, &processor)) return "";
    return std::string(system) + ' ' + version + ' ' + processor;
}

// The name of the one file that was built; "" when there are several, or none.
std::string only_built(const tbs_cr_t &record) {
    std::string name;
    for (const cr_object &one : objects_of(record)) {
        if (!one.built) continue;
        if (!name.empty()) return "";
        name = one.path;
    }
    return name;
}

struct build {
    std::string directory = fs::current_path().string();
    std::chrono::system_clock::time_point began = std::chrono::system_clock::now();
    std::chrono::steady_clock::time_point clock = std::chrono::steady_clock::now();
    int exit_status = 0;
};

cr_record record_of(const options &o, const build &of, const std::map<std::string, file_use> &files) {
    using namespace std::chrono;
    cr_record record;
    const auto since_1970 = duration_cast<microseconds>(of.began.time_since_epoch()).count();
    record->began = {static_cast<int32_t>(narrow(since_1970 / 1000000)), static_cast<int32_t>(since_1970 % 1000000)};
    record->build_time = narrow(system_clock::to_time_t(system_clock::now()));
    record->elapsed = static_cast<uint32_t>(duration_cast<seconds>(steady_clock::now() - of.clock).count());
    record->exit_status = static_cast<uint32_t>(of.exit_status);
    record->user = copy_text(user_name());
    record->group = copy_text(group_name());
    record->host = copy_text(host_name());
    record->host_type = copy_text(host_type());
    record->directory = copy_text(of.directory);
    record->command = copy_text(command_text(o.command));
    add_texts(variables(), record->variable_count, record->variables);
    add_texts({o.command.begin() + 1, o.command.end()}, record->option_count, record->options);
    add_files(record, files);
    record->target = copy_text(o.target ? *o.target : only_built(record.get()));
    if (tbs_uuid_gen(&record->target_oid) != 0) {
        throw failure("no identifier was made, see the message before", "Try again; the system gave no randomness.");
    }
    return record;
}

// Without "--" the command's own -o would name the file for the record.
int capture(const options &o, bool is_set_apart) {
    if (o.command.empty() || !is_set_apart) {
        throw failure("no command stands behind \"--\"", "Write it there, as in -- cc -o greeting greeting.c.");
    }
    require_program(o.command.front());
    const scratch_file trace("");
    const std::string trace_path = fs::absolute(trace.path()).string();
    build one;
    one.exit_status = run_traced(o.command, trace_path);
    const auto files = files_of(trace_path, one.directory);
    cr_record record = record_of(o, one, files);
    if (one.exit_status == 0 || o.keep_failed) replace_file(o.out, encoded(record, cr_form::compressed));
    if (one.exit_status != 0) {
        report_text(failure("the build ended with exit status " + std::to_string(one.exit_status),
                            o.keep_failed ? "Its record is stored all the same."
                                          : "No record is stored; --keep-failed stores one."));
    }
    return one.exit_status;
}

} // namespace

void add_cr_capture(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command capture_command = parent.add("capture", "Run a build and record what it reads and writes");
    capture_command.option("-o,--out", o->out, "FILE", "File for the record, replaced as a whole");
    capture_command.option("--target", o->target, "NAME", "What is built; else the file, when it is only one");
    capture_command.flag("--keep-failed", o->keep_failed, "Store the record of a build that fails, too");
    capture_command.positional("command", o->command, "COMMAND", "Build command, behind --");
    capture_command.footer("The record goes to build.cr unless -o names another file. Needs the program strace.\n"
                           "Exit status: the command's; 2 when it was not run or not recorded.");
    capture_command.runs([o, capture_command] { return capture(*o, !capture_command.remaining().empty()); }, chosen);
}

} // namespace tool
