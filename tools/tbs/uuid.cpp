// tbs uuid: identifiers made and read.
#include "hexadecimal.hpp"
#include "output.hpp"
#include "tbs/tbs_uuid.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <nlohmann/json.hpp>
#include <utility>

namespace tool {
namespace {

struct options {
    std::vector<std::string> texts;
    unsigned count = 1;
    bool dense = false;
    bool as_json = false;
};

// ---- reading

struct named_id {
    std::string text; // as the user wrote it
    tbs_uuid_t id;
};

named_id read(const std::string &text) {
    named_id one{text, {}};
    if (tbs_str_to_uuid(text.c_str(), &one.id) == 0) return one;
    throw failure("\"" + text + "\" is no identifier",
                  "Write it as 12345678.9abc1def.8a12.00:11:22:33:44:55, or its 32 digits without separators.");
}

// The arguments; "-" stands for the words of standard input.
std::vector<named_id> ids_of(const options &o) {
    std::vector<named_id> all;
    for (const std::string &text : o.texts) {
        if (text != "-") {
            all.push_back(read(text));
            continue;
        }
        char word[TBS_UUID_SCAN_SIZE];
        while (tbs_fscanf_uuid(stdin, sizeof word, true, word) == 1) all.push_back(read(word));
    }
    return all;
}

// ---- what an identifier says

using text_form = char *(*)(const tbs_uuid_t *, char *);

std::string text_of(const tbs_uuid_t &id, text_form form = tbs_uuid_to_str) {
    char text[TBS_UUID_STR_SIZE];
    return form(&id, text);
}

std::string hash_of(const tbs_uuid_t &id) { return hex_number(tbs_uuid_to_hash32(&id), 8); }

// In UTC, as RFC 3339 writes it; "" when the identifier was not made from the time.
std::string time_of(const tbs_uuid_t &id) {
    time_t seconds = 0;
    tm fields{};
    char text[32];
    if (tbs_uuid_to_time(&id, &seconds) != 0 || !gmtime_r(&seconds, &fields)) return "";
    return std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &fields) ? text : "";
}

// Variants by the top bits of the clock sequence, see RFC 4122, section 4.1.1.
const char *variant_of(const tbs_uuid_t &id) {
    constexpr const char *names[] = {"reserved for old systems", "standard", "reserved for another system",
                                     "unknown"};
    const unsigned top = id.clock_seq_hi_and_reserved >> 5;
    return names[top < 4 ? 0 : top < 6 ? 1 : top == 6 ? 2 : 3];
}

std::string node_of(const tbs_uuid_t &id) { return text_of(id).substr(TBS_UUID_STR_SIZE - 1 - 17); }

struct row {
    const char *name;
    std::string value;
};
std::array<row, 8> rows_of(const tbs_uuid_t &id) {
    const bool is_null = tbs_uuid_eq(&id, &TBS_UUID_NULL);
    const std::string time = time_of(id);
    return {{{"dotted", text_of(id)},
             {"dense", text_of(id, tbs_uuid_to_dstr)},
             {"variant", is_null ? "null" : variant_of(id)},
             {"version", std::to_string(id.time_hi_and_version >> 12)},
             {"clock_seq", hex_number(unsigned{id.clock_seq_hi_and_reserved} << 8 | id.clock_seq_low, 4)},
             {"node", node_of(id)},
             {"made", time.empty() ? "(not made from the time)" : time},
             {"hash", hash_of(id)}}};
}

// ---- the commands

json empty_as_null(const std::string &text) { return text.empty() ? json(nullptr) : json(text); }

int finish(json list, int status) {
    print_json({{"identifiers", std::move(list)}, {"exit_status", status}});
    return status;
}

int make(const options &o) {
    json list = json::array();
    for (unsigned i = 0; i < o.count; i++) {
        tbs_uuid_t id;
        if (tbs_uuid_gen(&id) != 0) {
            throw failure("no identifier was made, see the message before",
                          "Try again; the system has to give randomness.");
        }
        const std::string text = text_of(id, o.dense ? tbs_uuid_to_dstr : tbs_uuid_to_str);
        if (o.as_json) {
            list.push_back(text);
        } else {
            print(text);
            end_line();
        }
    }
    return o.as_json ? finish(std::move(list), exit_done) : exit_done;
}

int show(const options &o) {
    constexpr size_t column = 18;
    json list = json::array();
    bool first = true;
    for (const named_id &one : ids_of(o)) {
        json fields = json::object();
        if (!o.as_json && !std::exchange(first, false)) end_line();
        for (const row &r : rows_of(one.id)) {
            fields[r.name] = r.value;
            if (o.as_json) continue;
            print_padded(r.name, column);
            print(r.value);
            end_line();
        }
        fields["made"] = empty_as_null(time_of(one.id));
        fields["version"] = one.id.time_hi_and_version >> 12;
        list.push_back(std::move(fields));
    }
    return o.as_json ? finish(std::move(list), exit_done) : exit_done;
}

// One answer for each identifier; an identifier without one makes the exit status negative.
int tell(const options &o, const char *name, std::string (*answer)(const tbs_uuid_t &)) {
    json list = json::array();
    int status = exit_done;
    for (const named_id &one : ids_of(o)) {
        const std::string text = answer(one.id);
        if (text.empty()) status = exit_negative;
        list.push_back({{"identifier", text_of(one.id)}, {name, empty_as_null(text)}});
        if (o.as_json) continue;
        print(text_of(one.id) + "  " + (text.empty() ? "-" : text));
        end_line();
    }
    return o.as_json ? finish(std::move(list), status) : status;
}

command add_reader(command uuid, const char *name, const char *purpose, options &o) {
    const command reader = uuid.add(name, purpose);
    reader.positional("identifiers", o.texts, "ID", "Identifiers in either form; - for those on standard input")
        .required();
    reader.flag("--json", o.as_json, "Answer in JSON");
    return reader;
}

} // namespace

void add_uuid(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command uuid = parent.add_group("uuid", "Make identifiers and tell what they say");

    const command new_command = uuid.add("new", "Make random identifiers (RFC 4122, version 4)");
    new_command.option("-n,--count", o->count, "COUNT", "How many").between(1, 1000000);
    new_command.flag("--dense", o->dense, "Write 32 digits without separators");
    new_command.flag("--json", o->as_json, "Answer in JSON");
    new_command.runs([o] { return make(*o); }, chosen);

    const command show_command = add_reader(uuid, "show", "Show both forms and all that is in them", *o);
    show_command.runs([o] { return show(*o); }, chosen);

    const command hash_command = add_reader(uuid, "hash", "Tell the 32-bit hash that peers agree on", *o);
    hash_command.runs([o] { return tell(*o, "hash", hash_of); }, chosen);

    const command time_command = add_reader(uuid, "time", "Tell when time-based identifiers were made", *o);
    time_command.footer("Exit status: 0 told, 1 one was not made from the time, 2 bad input.");
    time_command.runs([o] { return tell(*o, "time", time_of); }, chosen);
}

} // namespace tool
