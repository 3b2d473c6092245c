// tbs notify: sends a text as mail, or shows the mail.
#include "tbs/tbs_notify.h"

#include "ks/ks_errno.h"
#include "lib/tbs/internal/mail.hpp"
#include "nt/nt_regy.h"
#include "nt/nt_time.h"
#include "output.hpp"
#include "output_file.hpp"
#include "tbs/tbs_status.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

namespace tool {
namespace {

struct options {
    std::vector<std::string> to;
    std::string subject, charset;
    std::string file = "-";
    bool trace = false;
    bool dry_run = false;
    bool as_json = false;

    [[nodiscard]] bool from_standard_input() const { return file == "-"; }
};

using text_of_library = owned<char *, tbs::free_text>;

std::vector<const char *> pointers_to(const std::vector<std::string> &texts) {
    std::vector<const char *> pointers;
    pointers.reserve(texts.size());
    for (const std::string &text : texts) pointers.push_back(text.c_str());
    return pointers;
}

text_of_library read_text(const options &o) {
    text_of_library text;
    const int error =
        o.from_standard_input() ? strutl_read_fp(stdin, text.put()) : strutl_read(o.file.c_str(), text.put());
    if (error == 0) return text;
    throw failure(o.from_standard_input() ? "standard input" : o.file, 0,
                  std::string("the message cannot be read: ") + imsg_strerror(error),
                  "Name a file of text without NUL bytes, or \"-\" for standard input.");
}

// The mail as lines of text.
std::string mail_of(const options &o) {
    const auto recipients = pointers_to(o.to);
    const text_of_library text = read_text(o);
    for (const std::string &one : o.to) {
        if (!tbs::mail::is_one_line(one)) throw failure("a recipient holds a control character", "Remove it.");
    }
    if (!tbs::mail::is_one_line(o.subject)) throw failure("the subject holds a control character", "Remove it.");
    tbs::mail::message built;
    tbs::mail::compose({recipients, o.subject.c_str(), text.get(), o.charset.c_str()}, tbs::mail::sender(),
                       unix_nt_time(nullptr), built);
    std::string mail;
    for (const std::string &line : built.header) mail += line;
    mail += built.body.get();
    mail += "\r\n";
    std::erase(mail, '\r');
    return mail;
}

int show(const options &o) {
    const std::string mail = mail_of(o);
    if (!o.as_json) {
        write_answer(std::nullopt, mail);
    } else {
        print_json({{"recipients", o.to}, {"sent", false}, {"mail", mail}, {"exit_status", exit_done}});
    }
    return exit_done;
}

void require_recipients(const options &o) {
    const bool has_empty = std::any_of(o.to.begin(), o.to.end(), [](const std::string &one) {
        return one.find_first_not_of(" \t") == std::string::npos;
    });
    if (has_empty) throw failure("a recipient is empty", "Write an address behind each --to, as ann@example.com.");
}

// ---- settings that make sending fail

struct setting {
    const char *name;
    bool is_number;    // a text otherwise, which must be there
    const char *value; // as it stands in a command that sets it
};
constexpr setting settings[] = {{"SmtpServer", false, "HOST"},
                                {"SmtpPort", true, "NUMBER --type dword"},
                                {"SmtpTimeout", true, "NUMBER --type dword"}};

bool is_wrong(const char *key, const setting &one) {
    ntregy_type_t type = NTREGY_NONE;
    size_t size = 0;
    const int error = ntregy_get_value(NTREGY_LOCAL_MACHINE, key, one.name, &type, nullptr, &size);
    if (error == KS_ENOENT) return !one.is_number;
    if (error != 0 && error != KS_ERANGE) return false;
    return one.is_number ? type != NTREGY_DWORD : type != NTREGY_SZ && type != NTREGY_EXPAND_SZ;
}

// What to do when nothing was sent; nothing when the settings are not to blame.
std::optional<std::string> remedy_for_settings() {
    char key[NTREGY_KEY_SIZE];
    if (ntregy_get_common_key(key, sizeof key) != 0) return std::nullopt;
    for (const setting &one : settings) {
        if (!is_wrong(key, one)) continue;
        return std::string("Set it with: tbs registry set '") + key + "' " + one.name + ' ' + one.value;
    }
    return std::nullopt;
}

// ---- sending

tbs_status_t send(const options &o) {
    const auto recipients = pointers_to(o.to);
    const auto count = static_cast<int32_t>(recipients.size());
    const char *const subject = o.subject.c_str(), *const charset = o.charset.c_str();
    if (o.from_standard_input()) {
        return tbs_notify_fp(TBS_NOTIFY_BY_EMAIL, count, recipients.data(), subject, stdin, charset);
    }
    read_text(o); // a file that cannot be read is bad input
    return tbs_notify_pname(TBS_NOTIFY_BY_EMAIL, count, recipients.data(), subject, o.file.c_str(), charset);
}

int send_and_answer(const options &o) {
    tbs_notify_trace(o.trace);
    if (!o.as_json) {
        if (send(o) == 0) return exit_done;
        if (const auto remedy = remedy_for_settings()) print_remedy(*remedy);
        return exit_negative;
    }
    const message_collector said;
    const bool sent = send(o) == 0;
    json messages = json::array();
    for (const collected_message &one : said.messages()) {
        messages.push_back({{"severity", one.severity == IMSG_WARNING ? "warning" : "error"},
                            {"number", one.number ? json(one.number) : json(nullptr)},
                            {"text", one.text}});
    }
    const int status = sent ? exit_done : exit_negative;
    const std::optional<std::string> remedy = sent ? std::nullopt : remedy_for_settings();
    print_json({{"recipients", o.to},
                {"sent", sent},
                {"messages", std::move(messages)},
                {"remedy", remedy ? json(*remedy) : json(nullptr)},
                {"exit_status", status}});
    return status;
}

} // namespace

void add_notify(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command notify_command = parent.add("notify", "Send a text as mail");
    notify_command.positional("file", o->file, "FILE", "The text; \"-\", or none, for standard input");
    notify_command.option("--to", o->to, "ADDRESS", "Who gets it; may be given many times").required();
    notify_command.option("--subject", o->subject, "TEXT", "Subject; none when not given");
    notify_command.option("--charset", o->charset, "NAME", "Character set of text and subject; UTF-8 when not given");
    const argument trace = notify_command.flag("--trace", o->trace, "Show what is sent and received");
    notify_command.flag("--dry-run", o->dry_run, "Show the mail, send nothing").excludes(trace);
    notify_command.flag("--json", o->as_json, "Answer in JSON");
    notify_command.footer(
        "The mail server and the sender's domain are the settings SmtpServer and MailDomain of the\n"
        "registry (\"tbs registry\").\n"
        "Exit status: 0 sent to somebody, 1 not sent, 2 bad input.");
    notify_command.runs(
        [o] {
            require_recipients(*o);
            return o->dry_run ? show(*o) : send_and_answer(*o);
        },
        chosen);
}

} // namespace tool
