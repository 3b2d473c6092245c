// tbs xdr make: the bytes of a record that JSON describes.
#include "hexadecimal.hpp"
#include "output_file.hpp"
#include "record_json.hpp"
#include "xdr_type.hpp"

#include <memory>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    std::string type, file = "-";
    std::optional<std::string> out;
    bool as_json = false;
};

int make_record(const options &o) {
    const wire_type &type = xdr_type_called(o.type);
    const bytes text = read_bytes(o.file);
    const std::string path = o.file == "-" ? "(standard input)" : o.file;
    const bytes encoded =
        record_from_json(*type.wire, path, as_text(text),
                         std::string("\"tbs xdr sample ") + type.name + " --json\" shows how a record is written.");
    require_decodable(type, encoded);
    if (o.out || !o.as_json) write_bytes(o.out, encoded);
    if (!o.as_json) return exit_done;
    json answer = {{"type", type.name}, {"length", encoded.size()}};
    if (o.out) {
        answer["out"] = *o.out;
    } else {
        answer["bytes"] = hex_digits(encoded);
    }
    answer["exit_status"] = exit_done;
    print_json(answer);
    return exit_done;
}

} // namespace

void add_xdr_make(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command make_command = parent.add("make", "Write the bytes of a record that JSON describes");
    make_command.positional("type", o->type, "TYPE", "Type of the record, as \"tbs xdr types\" lists it").required();
    make_command.positional("file", o->file, "FILE", "JSON of the record; standard input without it or for -");
    make_command.option("-o,--out", o->out, "OUT", "File for the bytes, replaced as a whole");
    make_command.flag("--json", o->as_json, "Answer in JSON");
    make_command.footer("Reads what \"tbs xdr show\" writes.");
    make_command.runs([o] { return make_record(*o); }, chosen);
}

} // namespace tool
