// tbs fstat: status records of files, as filled from disk.
#include "tbs/tbs_fstat.h"

#include "client.hpp"
#include "output.hpp"

#include <algorithm>
#include <array>
#include <iterator>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    std::vector<std::string> paths;
    std::string form = "database";
    bool follow = false, verbose = false, as_json = false;
};

constexpr size_t text_size = 1024; // for the text of any record

// ---- members, named as in the header

json time_of(const tbs_timeval_t &time) { return {{"seconds", time.tv_sec}, {"microseconds", time.tv_usec}}; }

json members_of(const tbs_fstat_t &record) {
    return {{"type", record.type},
            {"mode", record.mode},
            {"nlink", record.nlink},
            {"uid", record.uid},
            {"gid", record.gid},
            {"size", record.size},
            {"blsz", record.blsz},
            {"rdev", record.rdev},
            {"blks", record.blks},
            {"fsid", record.fsid},
            {"ino", record.ino},
            {"atime", time_of(record.atime)},
            {"mtime", time_of(record.mtime)},
            {"ctime", time_of(record.ctime)}};
}

// What the database and the full form share, behind the mode.
template <class T> void append_members(json &members, const T &record) {
    members["nlink"] = record.nlink;
    members["reserved"] = record.reserved;
    members["usid"] = sid_text(record.usid);
    members["gsid"] = sid_text(record.gsid);
    members["size"] = record.size;
    members["ino"] = record.ino;
    members["xtime"] = time_of(record.xtime);
    members["atime"] = time_of(record.atime);
    members["mtime"] = time_of(record.mtime);
    members["ctime"] = time_of(record.ctime);
}

json members_of(const tbs_fstat_db_t &record) {
    json members = {{"type", record.type}, {"mode", record.mode}};
    append_members(members, record);
    return members;
}

json members_of(const tbs_fstat_full_t &record) {
    json members = {{"type", record.type}, {"mode", record.mode}, {"rolemap_dbid", record.rolemap_dbid}};
    append_members(members, record);
    return members;
}

// ---- the forms

struct shown {
    std::string text;
    json members;
};

void require_status(tbs_status_t status, const std::string &path) {
    if (status != 0) throw failure(path, 0, tbs_strerror(status), "The database form holds every file.");
}

shown as_classic(const options &, const std::string &path, const tbs_fstat_db_t &record) {
    tbs_fstat_t classic{};
    require_status(tbs_fstat_cvt_from_db(&record, true, &classic), path);
    char text[text_size];
    tbs_format_fstat(&classic, sizeof text, text);
    return {text, members_of(classic)};
}

shown as_database(const options &o, const std::string &, const tbs_fstat_db_t &record) {
    char text[text_size];
    tbs_format_fstat_db_new(&record, sizeof text, o.verbose, text);
    return {text, members_of(record)};
}

shown as_full(const options &, const std::string &path, const tbs_fstat_db_t &record) {
    tbs_fstat_full_t full{};
    require_status(tbs_fstat_cvt_to_full(&record, &full), path);
    char text[text_size];
    tbs_format_fstat_full(&full, sizeof text, text);
    return {text, members_of(full)};
}

struct form_row {
    const char *name;
    shown (*show)(const options &, const std::string &path, const tbs_fstat_db_t &record);
};
constexpr form_row forms[] = {{"database", as_database}, {"classic", as_classic}, {"full", as_full}};

// ---- the command

tbs_fstat_db_t record_of(const options &o, const std::string &path) {
    tbs_fstat_db_t record;
    int error = 0;
    if (tbs_get_fstat_db(path.c_str(), o.follow, &record, &error) == 0) return record;
    throw failure(path, 0, error_text(error), "Give the path of a file that is there.");
}

std::string kind_of(const tbs_fstat_db_t &record) {
    char name[TBS_FTYPE_STR_SIZE];
    return tbs_ftype_to_str(record.type, name);
}

// What this process may do by the record, as "rw-".
std::string access_of(const tbs_fstat_db_t &record, const std::string &path) {
    uint32_t access = 0;
    int error = 0;
    if (tbs_access_fstat(&record, &access, &error) != 0) {
        throw failure(path, 0, "the credentials of this process cannot be had: " + error_text(error), "Try again.");
    }
    return {access & TBS_FSTAT_READ ? 'r' : '-', access & TBS_FSTAT_WRITE ? 'w' : '-',
            access & TBS_FSTAT_EXECUTE ? 'x' : '-'};
}

// Lines of the library's text below the name.
void print_text(std::string_view text) {
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        print(line);
        end_line();
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
}

int show(const options &o) {
    const auto form =
        std::find_if(std::begin(forms), std::end(forms), [&](const form_row &row) { return o.form == row.name; });
    json files = json::array();
    for (const std::string &path : o.paths) {
        const tbs_fstat_db_t record = record_of(o, path);
        const std::string kind = kind_of(record), access = access_of(record, path);
        shown one = form->show(o, path, record);
        if (!o.as_json) {
            if (&path != &o.paths.front()) end_line();
            print_bold(path);
            print(": " + kind + ", " + access);
            end_line();
            print_text(one.text);
        }
        files.push_back({{"path", path},
                         {"kind", kind},
                         {"access", access},
                         {"record", std::move(one.members)},
                         {"text", std::move(one.text)}});
    }
    if (o.as_json) {
        print_json(
            {{"form", o.form}, {"followed", o.follow}, {"files", std::move(files)}, {"exit_status", exit_done}});
    }
    return exit_done;
}

} // namespace

void add_fstat(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command fstat_command = parent.add("fstat", "Show the status records of files");
    fstat_command.positional("paths", o->paths, "PATH", "Files of any kind").required();
    std::vector<std::string> names;
    for (const form_row &form : forms) names.emplace_back(form.name);
    fstat_command.option("--form", o->form, "FORM", "Form of the records; database unless given").one_of(names);
    fstat_command.flag("-L,--follow", o->follow, "Of a symbolic link show its target");
    fstat_command.flag("-v,--verbose", o->verbose, "Show the seconds of each time too, in the database form");
    fstat_command.flag("--json", o->as_json, "Answer in JSON, with every member");
    fstat_command.runs([o] { return show(*o); }, chosen);
}

} // namespace tool
