// tbs xdr sample: made-up records.
#include "lib/tbs/internal/wire_sample.hpp"
#include "output_file.hpp"
#include "record_json.hpp"
#include "xdr_type.hpp"

#include <memory>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    std::string type;
    unsigned seed = 1;
    std::optional<std::string> out;
    bool as_json = false;
};

int make_sample(const options &o) {
    const wire_type &type = xdr_type_called(o.type);
    const bytes encoded = tbs::wire::sampler(o.seed).make(*type.wire);
    require_decodable(type, encoded);
    if (o.out || !o.as_json) write_bytes(o.out, encoded);
    if (o.as_json) print_json(record_as_json(*type.wire, encoded));
    return exit_done;
}

} // namespace

void add_xdr_sample(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command sample_command = parent.add("sample", "Write the bytes of a made-up record");
    sample_command.positional("type", o->type, "TYPE", "Type of the record, as \"tbs xdr types\" lists it")
        .required();
    sample_command.option("--seed", o->seed, "N", "Which one: the same number gives the same record everywhere");
    sample_command.option("-o,--out", o->out, "OUT", "File for the bytes, replaced as a whole");
    sample_command.flag("--json", o->as_json, "Write the record as JSON, which \"tbs xdr make\" reads");
    sample_command.runs([o] { return make_sample(*o); }, chosen);
}

} // namespace tool
