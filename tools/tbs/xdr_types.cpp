// tbs xdr types: the types of records that the other commands know.
#include "output.hpp"
#include "xdr_type.hpp"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    std::string kind;
    bool as_json = false;
};

int list_types(const options &o) {
    constexpr size_t kind_column = 36, size_column = 50;
    json list = json::array();
    if (!o.as_json) {
        print_bold("type");
        print_padded("", kind_column - 4);
        print_bold("kind");
        print_padded("", size_column - kind_column - 4);
        print_bold("shortest, bytes");
        end_line();
    }
    for (const wire_type &type : xdr_types()) {
        if (!o.kind.empty() && kind_text(type) != o.kind) continue;
        list.push_back({{"type", type.name}, {"kind", kind_text(type)}, {"shortest", type.wire->least}});
        if (o.as_json) continue;
        print_padded(type.name, kind_column);
        print_padded(kind_text(type), size_column - kind_column);
        print(std::to_string(type.wire->least));
        end_line();
    }
    if (o.as_json) print_json({{"types", std::move(list)}, {"exit_status", exit_done}});
    return exit_done;
}

} // namespace

void add_xdr_types(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command types_command = parent.add("types", "List the types of records");
    types_command.option("--kind", o->kind, "KIND", "Those of one kind").one_of(kind_texts());
    types_command.flag("--json", o->as_json, "Answer in JSON");
    types_command.runs([o] { return list_types(*o); }, chosen);
}

} // namespace tool
