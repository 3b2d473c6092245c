// tbs xdr describe: how a record is written on the wire.
#include "output.hpp"
#include "output_file.hpp"
#include "xdr_type.hpp"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

namespace wire = tbs::wire;
using wire::field;
using wire::form;
using wire::layout;

struct options {
    std::string type;
    bool as_x = false, as_json = false;
};

// ---- the records within a record

void collect(const layout &record, std::vector<const layout *> &all) {
    for (const field &one : record.fields) {
        for (const layout *inner : {one.narrow, one.inner}) {
            if (inner) collect(*inner, all);
        }
    }
    if (std::ranges::find(all, &record) == all.end()) all.push_back(&record);
}

// Those with members of their own, each behind those that it holds.
std::vector<const layout *> records_within(const layout &record) {
    std::vector<const layout *> all;
    collect(record, all);
    std::erase_if(all, [](const layout *one) { return one->name.empty() || one->is_bare(); });
    return all;
}

// ---- in words

std::string element_text(const layout &element);

const char *number_text(const field &f) {
    if (f.bits == 8) return "byte, a unit each";
    if (f.bits == 16) return "uint, low 16 bits";
    return f.is_signed ? "int" : "uint";
}

std::string form_text(const field &f) {
    switch (f.kind) {
    case form::number: return number_text(f);
    case form::hyper: return f.is_signed ? "64-bit int, high word first" : "64-bit uint, high word first";
    case form::low_hyper: return f.is_signed ? "64-bit int, low word first" : "64-bit uint, low word first";
    case form::real: return "double";
    case form::identifier: return "identifier, 16 bytes";
    case form::sid: return "SID, 34 bytes and 2 of padding";
    case form::time: return "seconds, microseconds";
    case form::text: return "text: length, characters, padding";
    case form::data: return "data: length twice, bytes, padding";
    case form::record: return name_text(*f.inner);
    case form::list: return "count twice, elements: " + element_text(*f.inner);
    case form::entries: return "count, elements: " + element_text(*f.inner);
    case form::optional: return "presence, then " + element_text(*f.inner);
    case form::constant: return "always " + std::to_string(f.value);
    case form::link: return "always 0";
    case form::offset: return "offset of a name";
    case form::choice: return "int that selects:";
    case form::absent_byte: return "presence, always 0";
    }
    return "";
}

std::string element_text(const layout &element) {
    return element.is_bare() ? form_text(element.fields[0]) : name_text(element);
}

void print_field(const std::string &name, const field &f, size_t margin) {
    constexpr size_t column = 28;
    print_padded(std::string(margin, ' ') + name, column);
    std::string text = form_text(f);
    if (f.names) text += " (" + std::string(f.names->type) + ')';
    if (f.narrow) text += "; in format 5 " + name_text(*f.narrow);
    print_wrapped(text, column, column + 2);
    if (f.kind != form::choice) return;
    for (const field &arm : f.inner->fields)
        print_field(std::to_string(arm.value) + ": " + std::string(arm.name), arm, margin + 2);
}

void print_values(const wire::names_of_values &names) {
    for (const wire::value_name &one : names.values) {
        print_padded("    " + std::to_string(one.value), 14);
        print(one.name);
        end_line();
    }
}

void print_words(const wire_type &type) {
    print_bold(type.name);
    print(": " + std::string(kind_text(type)) + ", at least " + std::to_string(type.wire->least) + " bytes");
    end_line();
    if (type.wire->name.empty() || type.wire->is_bare()) {
        for (const field &one : type.wire->fields) {
            print_field(std::string(one.name), one, 2);
            if (one.names) print_values(*one.names);
        }
    }
    std::vector<const layout *> records = records_within(*type.wire);
    std::ranges::reverse(records);
    for (const layout *record : records) {
        if (record != type.wire) {
            end_line();
            print_bold(name_text(*record));
            end_line();
        }
        for (const field &one : record->fields) print_field(std::string(one.name), one, 2);
    }
}

// ---- in JSON

json field_as_json(const field &f) {
    json one = {{"name", f.name}, {"on_the_wire", form_text(f)}};
    if (f.names) one["values"] = f.names->type;
    if (f.kind == form::choice) {
        for (const field &arm : f.inner->fields) {
            json described = field_as_json(arm);
            described["selected_by"] = arm.value;
            one["arms"].push_back(std::move(described));
        }
    }
    return one;
}

json layout_as_json(const std::string &name, const layout &record) {
    json members = json::array();
    for (const field &one : record.fields) members.push_back(field_as_json(one));
    return {{"name", name}, {"shortest", record.least}, {"members", std::move(members)}};
}

void print_description(const wire_type &type) {
    json answer = layout_as_json(type.name, *type.wire);
    answer["kind"] = kind_text(type);
    answer["records"] = json::array();
    for (const layout *one : records_within(*type.wire)) {
        if (one != type.wire) answer["records"].push_back(layout_as_json(name_text(*one), *one));
    }
    answer["exit_status"] = exit_done;
    print_json(answer);
}

// ---- in the language of rpcgen

// Words that rpcgen does not take for names.
std::string x_name(std::string_view name) {
    constexpr std::string_view taken[] = {"bool",  "case",     "const",   "default", "double",   "enum",
                                          "hyper", "opaque",   "char",    "int",     "long",     "short",
                                          "float", "program",  "string",  "struct",  "switch",   "typedef",
                                          "union", "unsigned", "version", "void",    "quadruple"};
    return std::ranges::find(taken, name) == std::end(taken) ? std::string(name) : std::string(name) + '_';
}

// A record is called as its typedef, without the ending.
std::string x_type(const layout &record) {
    const std::string name = name_text(record);
    return name.ends_with("_t") ? name.substr(0, name.size() - 2) : name;
}

[[noreturn]] void no_language(const std::string &why) {
    throw failure("the language of rpcgen has no words for " + why, "Without --x the layout is told in words.");
}

// What stands by itself in a list and has no word of its own.
struct x_typedef_of {
    form kind;
    const char *name, *declaration;
};
constexpr x_typedef_of x_typedefs[] = {{form::text, "xdr_text", "typedef string xdr_text<>;\n"},
                                       {form::identifier, "xdr_identifier", "typedef opaque xdr_identifier[16];\n"}};

std::string x_element(const layout &element) {
    if (!element.is_bare()) return x_type(element);
    const field &only = element.fields[0];
    for (const x_typedef_of &one : x_typedefs) {
        if (only.kind == one.kind) return one.name;
    }
    if (only.kind != form::number) no_language("such elements");
    return only.is_signed ? "int" : "unsigned int";
}

// The declarations of a member. A count that travels beside a list is a member of its own.
std::string x_members(const field &f, const std::string &margin) {
    const std::string name = x_name(f.name);
    const auto line = [&](const std::string &text) { return margin + text + ";\n"; };
    switch (f.kind) {
    case form::number: return line((f.is_signed ? "int " : "unsigned int ") + name);
    case form::hyper: return line((f.is_signed ? "hyper " : "unsigned hyper ") + name);
    case form::low_hyper: return line("unsigned int " + name + "_low") + line("int " + name + "_high");
    case form::real: return line("double " + name);
    case form::identifier: return line("opaque " + name + "[16]");
    case form::sid: return line("opaque " + name + "[34]");
    case form::time: return line("int " + name + "[2]");
    case form::text: return line("string " + name + "<>");
    case form::data: return line("unsigned int " + x_name(f.count_name)) + line("opaque " + name + "<>");
    case form::record: return line(x_type(*f.inner) + ' ' + name);
    case form::list:
        if (f.narrow) no_language("a list whose elements depend on the format");
        return line("unsigned int " + x_name(f.count_name)) + line(x_element(*f.inner) + ' ' + name + "<>");
    case form::entries: return line(x_element(*f.inner) + ' ' + name + "<>");
    case form::optional: return line(x_type(*f.inner) + " *" + name);
    case form::constant:
    case form::link:
    case form::offset: return line("unsigned int " + name);
    case form::choice:
    case form::absent_byte: break;
    }
    no_language("this member");
}

// A union holds one declaration an arm: what needs two is a struct of its own.
std::string x_union(const layout &record) {
    const field &f = record.fields[0];
    std::string structs, arms;
    for (const field &arm : f.inner->fields) {
        const std::string name = x_type(record) + '_' + x_name(arm.name);
        arms += "case " + std::to_string(arm.value) + ":\n";
        if (arm.kind == form::list || arm.kind == form::time || arm.kind == form::data) {
            structs += "struct " + name + " {\n" + x_members(arm, "    ") + "};\n";
            arms += "    " + name + ' ' + x_name(arm.name) + ";\n";
        } else {
            arms += x_members(arm, "    ");
        }
    }
    return structs + "union " + x_type(record) + " switch (int " + x_name(f.name) + ") {\n" + arms + "};\n";
}

std::string x_definition(const layout &record) {
    if (record.fields[0].kind == form::choice) return x_union(record);
    std::string text = "struct " + x_type(record) + " {\n";
    for (const field &one : record.fields) text += x_members(one, "    ");
    return text + "};\n";
}

bool holds_elements(const layout &record, form kind) {
    return std::ranges::any_of(record.fields, [&](const field &f) {
        return f.kind == form::list && f.inner->is_bare() && f.inner->fields[0].kind == kind;
    });
}

std::string x_alias(const wire_type &type) {
    std::string name = type.name;
    name.resize(name.size() - 2);
    const field &only = type.wire->fields[0];
    if (type.kind == wire::type_kind::handle) return "typedef " + x_type(*only.inner) + " *" + name + ";\n";
    return std::string("typedef ") + (only.is_signed ? "int " : "unsigned int ") + name + ";\n";
}

// The definitions of these types and of all that they hold, each once.
std::string x_text(const std::vector<const wire_type *> &types) {
    std::vector<const layout *> records;
    std::string aliases;
    for (const wire_type *type : types) {
        if (!type->wire->name.empty() && !type->wire->is_bare()) {
            collect(*type->wire, records);
        } else {
            if (type->wire->name.empty()) collect(*type->wire->fields[0].inner, records);
            aliases += x_alias(*type);
        }
    }
    std::erase_if(records, [](const layout *one) { return one->name.empty() || one->is_bare(); });
    std::string text;
    for (const x_typedef_of &known : x_typedefs) {
        const auto holds_it = [&](const layout *one) { return holds_elements(*one, known.kind); };
        if (std::ranges::any_of(records, holds_it)) text += std::string(known.declaration) + '\n';
    }
    for (const layout *one : records) text += x_definition(*one) + '\n';
    return text + aliases;
}

// All types that the language has words for; a twin is the same as its type.
std::vector<const wire_type *> types_in_x() {
    std::vector<const wire_type *> all;
    for (const wire_type &type : xdr_types()) {
        const std::string_view name = type.name;
        if (name != "tbs_cr_t" && !name.ends_with("_s")) all.push_back(&type);
    }
    return all;
}

int describe(const options &o) {
    if (o.type == "all") {
        if (!o.as_x) throw failure("all types are described with --x alone", "\"tbs xdr types\" lists them.");
        write_answer({}, x_text(types_in_x()));
        return exit_done;
    }
    const wire_type &type = xdr_type_called(o.type);
    if (o.as_json) {
        print_description(type);
    } else if (o.as_x) {
        write_answer({}, x_text({&type}));
    } else {
        print_words(type);
    }
    return exit_done;
}

} // namespace

void add_xdr_describe(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command describe_command = parent.add("describe", "Tell how a record is written on the wire");
    describe_command.positional("type", o->type, "TYPE", "Type of the record; all with --x").required();
    const argument x = describe_command.flag("--x", o->as_x, "In the language of rpcgen");
    describe_command.flag("--json", o->as_json, "Answer in JSON").excludes(x);
    describe_command.footer("Numbers stand in units of 4 bytes, the high byte first (RFC 4506).");
    describe_command.runs([o] { return describe(*o); }, chosen);
}

} // namespace tool
