// tbs acl encode: the self-contained bytes of an ACL file.
#include "acl_bytes.hpp"
#include "hexadecimal.hpp"
#include "output_file.hpp"

#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    acl_options acl;
    std::string file;
    std::optional<std::string> out;
};

void print_as_json(const options &o, const acl_list &acl, const bytes &encoded) {
    json answer = {{"file", acl.path()}, {"form", acl.form()}, {"length", encoded.size()}};
    if (o.out) {
        answer["out"] = *o.out;
    } else {
        answer["bytes"] = hex_digits(encoded);
    }
    answer["exit_status"] = exit_done;
    print_json(answer);
}

void show(const options &o, const vocabulary &words, const bytes &encoded) {
    hex_view shown(encoded, meaning_in_acl(words));
    shown.end(view_acl(encoded, o.acl.classic, shown));
}

int encode_file(const options &o) {
    const vocabulary words(o.acl.permissions);
    const acl_list acl(o.file, o.acl, words);
    const bytes encoded = encode(acl);
    if (o.out || !(o.acl.as_json || output_is_terminal())) {
        write_answer(o.out, as_text(encoded));
    }
    if (o.acl.as_json) {
        print_as_json(o, acl, encoded);
    } else if (!o.out && output_is_terminal()) {
        show(o, words, encoded);
    }
    return exit_done;
}

} // namespace

void add_acl_encode(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command encode_command = parent.add("encode", "Write the bytes of an ACL file");
    encode_command.positional("file", o->file, "FILE", "ACL file; - for standard input").required();
    encode_command.option("-o,--out", o->out, "OUT", "File for the bytes, replaced as a whole");
    o->acl.add_to(encode_command);
    encode_command.footer("Without -o the bytes go to standard output; a terminal gets them as\n"
                          "\"tbs acl decode --hex\" shows them.");
    encode_command.runs([o] { return encode_file(*o); }, chosen);
}

} // namespace tool
