// tbs cr convert: a configuration record in another form.
#include "byte_file.hpp"
#include "cr_record.hpp"
#include "output_file.hpp"

#include <memory>

namespace tool {
namespace {

struct options {
    std::string file, to;
    std::optional<std::string> from, out;
};

int convert(const options &o) {
    cr_file file = read_cr(o.file, o.from);
    const cr_form form = cr_form_of(o.to);
    const std::string content = encoded(file.record, form);
    form == cr_form::json_text ? write_answer(o.out, content) : write_bytes(o.out, as_bytes(content));
    return exit_done;
}

} // namespace

void add_cr_convert(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command convert_command = parent.add("convert", "Write a configuration record in another form");
    convert_command.positional("file", o->file, "FILE", "Record; - for standard input").required();
    convert_command.option("--to", o->to, "FORM", "compressed (as stored), xdr or json")
        .one_of(cr_form_names())
        .required();
    convert_command.option("--from", o->from, "FORM", "Form of FILE; else its first bytes tell")
        .one_of(cr_form_names());
    convert_command.option("-o,--out", o->out, "OUT", "File for the record, replaced as a whole");
    convert_command.footer("Without -o the record goes to standard output.");
    convert_command.runs([o] { return convert(*o); }, chosen);
}

} // namespace tool
