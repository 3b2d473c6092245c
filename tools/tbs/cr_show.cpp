// tbs cr show: a configuration record for people, and in JSON.
#include "cr_record.hpp"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

constexpr size_t column = 14;

struct options {
    std::string file;
    bool all = false, as_json = false;
};

void print_row(const std::string &name, const std::string &value) {
    if (value.empty()) return;
    print_padded(name, column);
    print_wrapped(value, column, column);
}

void print_title(const std::string &title) {
    end_line();
    print_bold(title);
    end_line();
}

std::string id_or_nothing(const tbs_uuid_t &id) { return tbs_uuid_eq(&id, &TBS_UUID_NULL) ? "" : id_text(id); }

void print_head(const tbs_cr_t &record) {
    const std::string group = text_or_empty(record.group), type = text_or_empty(record.host_type);
    print_row("target", text_or_empty(record.target));
    print_row("object", id_or_nothing(record.target_oid));
    print_row("command", text_or_empty(record.command));
    print_row("directory", text_or_empty(record.directory));
    print_row("view", id_or_nothing(record.view_uuid));
    print_row("user", text_or_empty(record.user) + (group.empty() ? "" : " (" + group + ')'));
    print_row("host", text_or_empty(record.host) + (type.empty() ? "" : " (" + type + ')'));
    print_row("began", time_text(record.began.tv_sec));
    print_row("ended", time_text(record.build_time) + ", after " + std::to_string(record.elapsed) + " s");
    print_row("exit status", std::to_string(record.exit_status));
    if (record.flags) print_row("flags", std::to_string(record.flags));
}

void print_texts(const char *title, uint32_t count, char *const *texts) {
    if (count == 0) return;
    print_title(title);
    for (uint32_t i = 0; i < count; i++) {
        print("  " + std::string(text_or_empty(texts[i])));
        end_line();
    }
}

// Objects that were built, or those that were read. Gives how many are left out.
size_t print_objects(const char *title, const std::vector<cr_object> &objects, bool built, bool all) {
    size_t left_out = 0, width = 0;
    const auto is_shown = [&](const cr_object &one) {
        return one.built == built && (all || built || !one.is_of_system);
    };
    for (const cr_object &one : objects) {
        if (is_shown(one)) width = std::max(width, std::min<size_t>(width_of(visible(one.path)), 50));
        left_out += one.built == built && !is_shown(one);
    }
    if (width != 0 || left_out != 0) print_title(title);
    for (const cr_object &one : objects) {
        if (!is_shown(one)) continue;
        const std::string path = visible(one.path);
        print("  " + path + std::string(width_of(path) < width ? width - width_of(path) : 0, ' ') + "  " +
              one.version);
        end_line();
    }
    return left_out;
}

void print_vobs(const tbs_cr_t &record) {
    if (record.vob_count != 0) print_title("repositories");
    for (uint32_t i = 0; i < record.vob_count; i++) {
        print("  " + std::string(text_or_empty(record.vobs[i]->pathname)) + "  " +
              id_text(record.vobs[i]->family_oid));
        end_line();
    }
}

void print_links(const tbs_cr_t &record) {
    if (record.slinktext_count != 0) print_title("links");
    for (uint32_t i = 0; i < record.slinktext_count; i++) {
        const tbs_cr_slinktext_rec_t &one = *record.slinktexts[i];
        const bool is_known = one.object < record.mfs_object_count;
        print("  " +
              (is_known ? std::string(text_or_empty(record.mfs_objects[one.object]->name))
                        : "object " + std::to_string(one.object)) +
              " -> " + text_or_empty(one.text));
        end_line();
    }
}

void print_text(const options &o, const tbs_cr_t &record) {
    const std::vector<cr_object> objects = objects_of(record);
    print_head(record);
    print_texts("variables", record.variable_count, record.variables);
    print_vobs(record);
    print_objects("built", objects, true, o.all);
    const size_t left_out = print_objects("read", objects, false, o.all);
    if (left_out != 0) {
        print("  and " + std::to_string(left_out) + " of the system, which --all lists");
        end_line();
    }
    print_links(record);
}

int show(const options &o) {
    cr_file file = read_cr(o.file);
    if (o.as_json) {
        print_json({{"file", text_as_json(o.file)},
                    {"form", name_of(file.form)},
                    {"record", cr_as_json(file.record)},
                    {"exit_status", exit_done}});
    } else {
        print_text(o, file.record.get());
    }
    return exit_done;
}

} // namespace

void add_cr_show(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command show_command = parent.add("show", "Show a configuration record");
    show_command.positional("file", o->file, "FILE", "Record in any of its forms; - for standard input").required();
    show_command.flag("--all", o->all, "List what was read of the system, too (/usr, /lib, /etc and the like)");
    show_command.flag("--json", o->as_json, "Answer in JSON, with every member");
    show_command.runs([o] { return show(*o); }, chosen);
}

} // namespace tool
