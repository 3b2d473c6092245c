// tbs xdr show: what the bytes of a record say.
#include "hex_view.hpp"
#include "record_json.hpp"
#include "xdr_type.hpp"

#include <memory>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

namespace wire = tbs::wire;

struct options {
    std::string type, file;
    bool as_hex = false, as_json = false;
};

struct deaf : wire::listener {
    void member(const wire::item &) override {}
    void enter_record(std::string_view) override {}
    void enter_list(std::string_view, uint32_t) override {}
    void leave() override {}
};

// The names of a value, or of the flags in it.
std::string names_in(const wire::item &what) {
    if (!what.names) return "";
    const auto *positive = std::get_if<uint64_t>(&what.value);
    const int64_t value = positive ? static_cast<int64_t>(*positive) : std::get<int64_t>(what.value);
    std::string text;
    for (const wire::value_name &one : what.names->values) {
        const bool is_in = what.names->are_flags ? (value & one.value) != 0 : value == one.value;
        if (is_in) text += (text.empty() ? "" : ", ") + std::string(one.name);
    }
    return text;
}

void require_whole(const options &o, const wire::view_result &seen, size_t size) {
    constexpr char remedy[] = "--hex shows what is whole. Is the type right?";
    if (!seen.whole) {
        throw failure(o.file, 0, "the bytes are damaged at offset " + std::to_string(seen.end) + ": " + seen.why,
                      remedy);
    }
    if (seen.end < size) {
        throw failure(o.file, 0, "bytes follow behind the record, from offset " + std::to_string(seen.end), remedy);
    }
}

int show_members(const options &o, const wire_type &type, const bytes &encoded) {
    hex_view shown(encoded, names_in);
    const wire::view_result seen = wire::view(*type.wire, encoded, shown);
    shown.end(seen);
    require_whole(o, seen, encoded.size());
    return exit_done;
}

int answer_in_json(const options &o, const wire_type &type, const bytes &encoded) {
    json_view shown(names_in);
    const wire::view_result seen = wire::view(*type.wire, encoded, shown);
    json answer = {{"file", o.file}, {"type", type.name}};
    answer.update(shown.end(encoded, seen));
    try {
        require_whole(o, seen, encoded.size());
    } catch (const failure &error) {
        throw partial_failure(error, std::move(answer));
    }
    answer["value"] = record_as_json(*type.wire, encoded);
    answer["exit_status"] = exit_done;
    print_json(answer);
    return exit_done;
}

int show_file(const options &o) {
    const wire_type &type = xdr_type_called(o.type);
    const bytes encoded = read_bytes(o.file);
    if (o.as_json) return answer_in_json(o, type, encoded);
    if (o.as_hex) return show_members(o, type, encoded);
    deaf nobody;
    require_whole(o, wire::view(*type.wire, encoded, nobody), encoded.size());
    print_json(record_as_json(*type.wire, encoded));
    return exit_done;
}

} // namespace

void add_xdr_show(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command show_command = parent.add("show", "Show what the bytes of a record say");
    show_command.positional("type", o->type, "TYPE", "Type of the record, as \"tbs xdr types\" lists it").required();
    show_command.positional("file", o->file, "FILE", "Bytes of one record; - for standard input").required();
    const argument json_flag =
        show_command.flag("--json", o->as_json, "Answer in JSON, with the place of each member");
    show_command.flag("--hex", o->as_hex, "Show offset, bytes, member and value").excludes(json_flag);
    show_command.footer("Without an option the record is written as the JSON that \"tbs xdr make\" reads.\n"
                        "Exit status: 0 shown, 2 damaged or not of this type: --hex and --json show what is whole.");
    show_command.runs([o] { return show_file(*o); }, chosen);
}

} // namespace tool
