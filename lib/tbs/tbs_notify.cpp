#include "tbs/tbs_notify.h"

#include "internal/guard.hpp"
#include "internal/mail.hpp"
#include "internal/mutex_hold.hpp"
#include "internal/notify.hpp"
#include "internal/smtp.hpp"
#include "nt/nt_regy.h"
#include "nt/nt_time.h"

#include <atomic>
#include <iterator>

using namespace tbs;
using smtp::module_name, smtp::report;

namespace {

constinit tvthread_mutex_t notify_mutex = TVTHREAD_MUTEX_INIT;
constinit std::atomic<int> trace_flag{0};

constexpr strutl_flag_t delivery_kinds[] = {{"<none>", 0}, {"email", TBS_NOTIFY_BY_EMAIL}};

// ---- settings

constexpr uint32_t smtp_server = 42; // parameter

// A number in the registry that need not be there.
struct number_setting {
    const char *name;
    uint32_t otherwise, least, most;
};
constexpr number_setting port_setting{"SmtpPort", 25, 1, 65535};
constexpr number_setting limit_setting{"SmtpTimeout", 60000, 1, 3600000};

bool read_number(const number_setting &setting, uint32_t &value) {
    char key[NTREGY_KEY_SIZE];
    int error = ntregy_get_common_key(key, sizeof key);
    ntregy_type_t type = NTREGY_NONE;
    size_t size = sizeof value;
    if (error == 0) error = ntregy_get_value(NTREGY_LOCAL_MACHINE, key, setting.name, &type, &value, &size);
    if (error == KS_ENOENT) {
        value = setting.otherwise;
        return true;
    }
    const bool is_number = mail::is_there(error) && type == NTREGY_DWORD && size == sizeof value;
    if (is_number && value >= setting.least && value <= setting.most) return true;
    imsg_print_shared(IMSG_ERROR, module_name, "The setting \"%s\" is no number from %u to %u.\n", IMSG_LITERAL,
                      setting.name, setting.least, setting.most);
    return false;
}

struct settings {
    char server[65]; // 64 characters
    uint32_t port, limit_ms;
};

bool read_settings(settings &to) {
    const int error = mail::read_text_parameter(smtp_server, to.server);
    if (!mail::is_there(error)) {
        report<15>(IMSG_ERROR, error);
        return false;
    }
    return read_number(port_setting, to.port) && read_number(limit_setting, to.limit_ms);
}

// ---- delivery

bool refuse_unless_one_line(const char *what, std::string_view text) {
    if (mail::is_one_line(text)) return true;
    imsg_print_shared(IMSG_ERROR, module_name, "The %s of the notification holds a control character.\n",
                      IMSG_LITERAL, what);
    return false;
}

bool find_host_name(std::string &name) {
    char host[256] = "";
    if (sysutl_myhostname(host, sizeof host) != 0) {
        say<common_messages, 90>(IMSG_ERROR, module_name);
        return false;
    }
    name = host;
    return refuse_unless_one_line("host name", name);
}

// Tells the server who gets the mail; true when somebody does.
bool name_recipients(smtp::session &server, std::span<const char *const> recipients) {
    int accepted = 0;
    for (const char *recipient : recipients) {
        const bool taken = mail::is_one_line(recipient) &&
                           server.command(std::string("RCPT TO:<") + recipient + ">\r\n", {"250", "251"});
        accepted += taken;
        if (!taken) report<14>(IMSG_WARNING, recipient);
    }
    const int total = static_cast<int>(recipients.size());
    if (accepted == 0) {
        report<11>(IMSG_ERROR);
    } else if (accepted < total) {
        report<12>(IMSG_WARNING, accepted, total);
    }
    return accepted != 0;
}

bool send_message(smtp::session &server, const mail::message &message) {
    return std::all_of(message.header.begin(), message.header.end(),
                       [&](const std::string &line) { return server.send(line, true); }) &&
           server.send(message.body.get(), true);
}

// All that can fail here does so before the server is told anything.
bool run_session(const mail::notification &what) {
    settings is;
    std::string host;
    if (!read_settings(is) || !find_host_name(host)) return false;
    const std::string sender = mail::sender();
    if (!refuse_unless_one_line("sender", sender) || !refuse_unless_one_line("subject", what.subject) ||
        !refuse_unless_one_line("mail server", is.server)) {
        return false;
    }
    mail::message message;
    mail::compose(what, sender, unix_nt_time(nullptr), message);
    char service[16];
    strutl_snprintf(service, sizeof service, "%d", static_cast<int>(is.port));

    smtp::session server(is.limit_ms);
    const bool delivered = server.connect(is.server, service) && server.expect({"220"}) &&
                           server.command("HELO " + host + "\r\n", {"250"}) &&
                           server.command("MAIL FROM:<" + sender + ">\r\n", {"250"}) &&
                           name_recipients(server, what.recipients) && server.command("DATA\r\n", {"354"}) &&
                           send_message(server, message) && server.command("\r\n.\r\n", {"250"});
    if (delivered) server.quit();
    return delivered;
}

bool deliver_by_email(const mail::notification &what) {
    if (run_session(what)) return true;
    report<2>(IMSG_ERROR);
    return false;
}

// ---- the text

// Gets the message; `read` holds it when it had to be read. Null on failure.
const char *get_text(const notify::source &from, owned_text &read) {
    using enum notify::source_kind;
    int error = 0;
    switch (from.kind) {
    case text: return from.text;
    case file: error = strutl_read(from.text, read.put()); break;
    case stream: error = strutl_read_fp(from.stream, read.put()); break;
    default:
        tbs_log_int_error(module_name, &notify_table, 17, "lib/tbs/tbs_notify", __LINE__, nullptr,
                          static_cast<int>(from.kind));
        return nullptr;
    }
    if (mail::is_there(error)) return read.get();
    if (from.kind == file) {
        report<16>(IMSG_ERROR, from.text);
    } else {
        report<18>(IMSG_ERROR);
    }
    return nullptr;
}

bool has_recipients(int32_t count, const char *const *recipients) {
    return count == 0 || (count > 0 && recipients && std::all_of(recipients, recipients + count, [](const char *one) {
                              return one != nullptr;
                          }));
}

tbs_status_t notify_from(tbs_notify_delivery_mask_t mask, int32_t recipient_count, const char *const *recipients,
                         const char *subject, const notify::source &from, const char *charset) noexcept {
    if (!subject || !has_recipients(recipient_count, recipients)) return TBS_ST_EINVAL;
    return call(module_name, [&] {
        const mutex_hold one_at_a_time(notify_mutex);
        return notify::dispatch(mask, recipient_count, recipients, subject, from, charset);
    });
}

} // namespace

namespace tbs {

bool smtp::is_tracing() noexcept {
    return trace_flag.load(std::memory_order_relaxed) != 0 ||
           (imsg_get_desired_verbosity() >= 2 && imsg_should_trace(module_name, 2) != 0);
}

tbs_status_t notify::dispatch(tbs_notify_delivery_mask_t mask, int32_t recipient_count, const char *const *recipients,
                              const char *subject, const source &from, const char *charset) {
    owned_text read;
    const char *const text = get_text(from, read);
    if (!text) return TBS_ST_ERROR;
    tbs_status_t status = 0;
    if (mask & TBS_NOTIFY_BY_EMAIL) {
        mask &= ~tbs_notify_delivery_mask_t{TBS_NOTIFY_BY_EMAIL};
        const mail::notification what{{recipients, static_cast<size_t>(recipient_count)}, subject, text, charset};
        if (!deliver_by_email(what)) status = TBS_ST_ERROR;
    }
    if (mask != 0) {
        report<13>(IMSG_WARNING, mask);
        status = TBS_ST_ERROR;
    }
    return status;
}

} // namespace tbs

extern "C" tbs_status_t tbs_notify(tbs_notify_delivery_mask_t mask, int32_t recipient_count,
                                   const char *const *recipients, const char *subject, const char *text) noexcept {
    if (!text) return TBS_ST_EINVAL;
    return notify_from(mask, recipient_count, recipients, subject, {notify::source_kind::text, text, nullptr},
                       nullptr);
}

extern "C" tbs_status_t tbs_notify_pname(tbs_notify_delivery_mask_t mask, int32_t recipient_count,
                                         const char *const *recipients, const char *subject, const char *pathname,
                                         const char *charset) noexcept {
    if (!pathname) return TBS_ST_EINVAL;
    return notify_from(mask, recipient_count, recipients, subject, {notify::source_kind::file, pathname, nullptr},
                       charset);
}

extern "C" tbs_status_t tbs_notify_fp(tbs_notify_delivery_mask_t mask, int32_t recipient_count,
                                      const char *const *recipients, const char *subject, FILE *stream,
                                      const char *charset) noexcept {
    if (!stream) return TBS_ST_EINVAL;
    return notify_from(mask, recipient_count, recipients, subject, {notify::source_kind::stream, nullptr, stream},
                       charset);
}

extern "C" void tbs_notify_trace(int flag) noexcept { trace_flag.store(flag, std::memory_order_relaxed); }

extern "C" void tbs_notify_my_mail_domain_name(char *buffer, size_t size) noexcept {
    if (!buffer || size == 0) return;
    *buffer = '\0';
    guard(module_name, false, false, [&] {
        const std::string suffix = mail::domain_suffix();
        return suffix.size() < size && strutl_cpy_buf(buffer, size, suffix.c_str()) == suffix.size();
    });
}

extern "C" const char *tbs_notify_utl_delivery_mask_to_str(tbs_notify_delivery_mask_t mask) noexcept {
    const char *const text = strutl_flags_to_str(mask, delivery_kinds, std::size(delivery_kinds), ",");
    return text ? text : "";
}

extern "C" tbs_notify_delivery_mask_t tbs_notify_utl_delivery_mask_from_str(const char *text) noexcept {
    uint32_t mask = 0;
    const int error = strutl_flags_from_str(text, delivery_kinds, std::size(delivery_kinds), ",", &mask);
    return error == 0 ? mask : 0;
}
