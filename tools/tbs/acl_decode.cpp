// tbs acl decode: the ACL that bytes stand for, as text or member by member.
#include "acl_bytes.hpp"
#include "memory_stream.hpp"
#include "output_file.hpp"

#include <memory>
#include <new>
#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct options {
    acl_options acl;
    std::string file;
    std::optional<std::string> out;
    bool as_hex = false;
};

// ---- text

std::string sid_text(const acl_list &acl, const vocabulary &words) {
    const memory_stream stream;
    const tbs_status_t status =
        tbs_sid_acl_utl_output(stream.get(), acl.by_sid(), words.names(), words.count(), words.map());
    if (status == TBS_ST_ENOMEM) throw std::bad_alloc();
    if (status) {
        throw failure(acl.path(), 0, "the ACL has no text, see the message before",
                      "\"tbs acl show --encoded\" and \"tbs acl decode --hex\" show it all the same.");
    }
    return stream.text();
}

// One entry a line: identity, a blank, permissions.
std::string text_of(const acl_list &acl, const vocabulary &words) {
    if (acl.entries().empty()) return "# <empty acl>\n";
    if (!acl.is_classic()) return sid_text(acl, words);
    std::string text;
    for (const acl_entry &entry : acl.entries()) text += entry.identity + ' ' + words.text(entry.perms) + '\n';
    return text;
}

// A text that says something else than the bytes is worse than none: a name may hold a line of its own, and bits that
// no entry stores read like the permission whose name they have.
void require_same(const acl_list &acl, const std::string &text, const vocabulary &words) {
    bool same = false;
    const scratch_file file(text);
    try {
        same = acl.equals(acl_list(file.path(), acl.is_classic(), words));
    } catch (const failure &) {
        same = false; // the library has said why
    }
    if (same) return;
    throw failure(acl.path(), 0, "no text would be read back as this ACL",
                  "Name its permissions with --permissions; \"tbs acl decode --hex\" shows the bytes.");
}

void write_text(const options &o, const acl_list &acl, const vocabulary &words) {
    const std::string text = text_of(acl, words);
    require_same(acl, text, words);
    if (o.out || !output_is_terminal()) return write_answer(o.out, text);
    for (std::string_view rest = text; !rest.empty(); rest.remove_prefix(rest.find('\n') + 1)) {
        print(rest.substr(0, rest.find('\n')));
        end_line();
    }
}

// ---- members

void require_agreement(const tbs::wire::view_result &shown) {
    if (!shown.whole) {
        throw failure("internal error: what is shown differs from what was decoded", "Report the file.");
    }
}

int show_members(const options &o, const vocabulary &words, const bytes &encoded) {
    hex_view shown(encoded, meaning_in_acl(words));
    const tbs::wire::view_result result = view_acl(encoded, o.acl.classic, shown);
    shown.end(result);
    const acl_list acl(o.file, encoded, o.acl.classic); // says what is wrong
    require_agreement(result);
    return exit_done;
}

int answer_in_json(const options &o, const vocabulary &words, const bytes &encoded) {
    json_view shown(meaning_in_acl(words));
    const tbs::wire::view_result result = view_acl(encoded, o.acl.classic, shown);
    json answer = {{"file", o.file}, {"form", o.acl.classic ? "classic" : "sid"}};
    answer.update(shown.end(encoded, result));
    try {
        const acl_list acl(o.file, encoded, o.acl.classic);
        require_agreement(result);
        if (o.out) write_text(o, acl, words);
    } catch (const failure &error) {
        throw partial_failure(error, std::move(answer));
    }
    if (o.out) answer["out"] = *o.out;
    answer["exit_status"] = exit_done;
    print_json(answer);
    return exit_done;
}

int decode_file(const options &o) {
    const vocabulary words(o.acl.permissions);
    const bytes encoded = read_bytes(o.file);
    if (o.acl.as_json) return answer_in_json(o, words, encoded);
    if (o.as_hex) return show_members(o, words, encoded);
    const acl_list acl(o.file, encoded, o.acl.classic);
    write_text(o, acl, words);
    return exit_done;
}

} // namespace

void add_acl_decode(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command decode_command = parent.add("decode", "Show the ACL that bytes stand for");
    decode_command.positional("file", o->file, "FILE", "Bytes of an ACL; - for standard input").required();
    const argument out =
        decode_command.option("-o,--out", o->out, "OUT", "File for the ACL's text, replaced as a whole");
    decode_command.flag("--hex", o->as_hex, "Show offset, bytes, member and value").excludes(out);
    o->acl.add_to(decode_command);
    decode_command.footer("The text is what \"tbs acl encode\" reads. Bytes behind the ACL are left alone.\n"
                          "Exit status: 0 decoded, 2 damaged: --hex and --json show what is whole.");
    decode_command.runs([o] { return decode_file(*o); }, chosen);
}

} // namespace tool
