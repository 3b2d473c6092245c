// mail.hpp - a mail as it is sent: sender, header lines, encoded body.
#ifndef TBS_INTERNAL_MAIL_HPP
#define TBS_INTERNAL_MAIL_HPP

#include "i18n/i18n_mime.h"
#include "ks/ks_date.h"
#include "ks/ks_errno.h"
#include "ks/ks_str.h"
#include "ks/ks_sys.h"
#include "nt/nt_regy.h"
#include "owned.hpp"

#include <algorithm>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tbs::mail {

// What a program wants to say.
struct notification {
    std::span<const char *const> recipients;
    const char *subject;
    const char *text;
    const char *charset; // null: not named
};

using encoded_text = owned<char *, i18n_mime_free>;

struct message {
    std::vector<std::string> header; // lines with their ends, the empty one among them
    encoded_text body;
};

constexpr double plain_share = 0.8; // of a text that need not become base64

// Whether a text can stand in a command or a header without ending it.
inline bool is_one_line(std::string_view text) {
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; });
}

// Errors that say something about the host pass; lack of memory does not.
inline bool is_there(int error) {
    if (error == KS_ENOMEM) throw std::bad_alloc();
    return error == 0;
}

// Reads a parameter that is a text. Bytes of just the buffer's size need not be one.
inline int read_text_parameter(uint32_t number, std::span<char> buffer) {
    const int error = ntregy_get_param(number, buffer.data(), buffer.size());
    return error == 0 && std::find(buffer.begin(), buffer.end(), '\0') == buffer.end() ? KS_EINVAL : error;
}

// What stands behind the name in addresses of this host.
inline std::string domain_suffix() {
    constexpr uint32_t mail_domain = 66;
    char domain[1024] = ""; // 1023 characters
    const bool has_domain = is_there(read_text_parameter(mail_domain, domain));
    if (has_domain && !*domain) return "";
    if (!has_domain) sysutl_myhostname(domain, sizeof domain);
    return std::string("@") + domain;
}

// The address that mail of this process comes from.
inline std::string sender() {
    char login[256];
    const bool has_name = is_there(sysutl_myloginname(login, sizeof login)) && *login;
    return (has_name ? login : "Tessivane") + domain_suffix();
}

inline std::string date_line(int64_t now) {
    constexpr const char *weekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr const char *months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    struct tm at {};
    char line[64] = "";
    if (date_get_gmtime(now, &at) == 0) {
        strutl_snprintf(line, sizeof line, "Date: %s, %d %s %04d %02d:%02d:%02d +0000 (GMT)\r\n",
                        weekdays[at.tm_wday], at.tm_mday, months[at.tm_mon], at.tm_year + 1900, at.tm_hour, at.tm_min,
                        at.tm_sec);
    }
    return line;
}

// Names all recipients whose address is one, in one line however many they are.
inline std::string to_line(std::span<const char *const> recipients) {
    std::string text = "To: ";
    bool first = true;
    for (const std::string_view recipient : recipients) {
        if (!is_one_line(recipient)) continue;
        if (!std::exchange(first, false)) text += ", ";
        text += recipient;
    }
    return text + "\r\n";
}

inline std::string subject_line(const notification &what) {
    const encoded_text subject(i18n_mime_encode_header(what.subject, what.charset, I18N_MIME_PLAIN, plain_share));
    if (!subject.get()) throw std::bad_alloc();
    return std::string("Subject: ") + subject.get() + "\r\n";
}

inline const char *name_of(i18n_mime_kind_t kind) {
    return kind == I18N_MIME_QUOTED_PRINTABLE ? "quoted-printable" : kind == I18N_MIME_BASE64 ? "base64" : "8bit";
}

// Builds a mail in an empty message. Its texts have been found to be one line each.
inline void compose(const notification &what, const std::string &sender, int64_t now, message &built) {
    i18n_mime_kind_t kind = I18N_MIME_PLAIN;
    const char *charset = nullptr;
    *built.body.put() = i18n_mime_encode(what.text, what.charset, I18N_MIME_PLAIN, plain_share, &kind, &charset);
    if (!built.body.get()) throw std::bad_alloc();
    std::string type = "Content-type: text/plain;";
    if (charset && *charset) type.append("charset=").append(charset);

    built.header.push_back(date_line(now));
    built.header.push_back("From: " + sender + "\r\n");
    built.header.push_back(to_line(what.recipients));
    if (*what.subject) built.header.push_back(subject_line(what));
    built.header.emplace_back("MIME-Version: 1.0\r\n");
    built.header.push_back(type + "\r\n");
    built.header.push_back(std::string("Content-Transfer-Encoding: ") + name_of(kind) + "\r\n");
    built.header.emplace_back("\r\n");
}

} // namespace tbs::mail

#endif
