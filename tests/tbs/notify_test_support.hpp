// notify_test_support.hpp - settings that send a test's mail to a server of its own.
#ifndef TESTS_TBS_NOTIFY_TEST_SUPPORT_HPP
#define TESTS_TBS_NOTIFY_TEST_SUPPORT_HPP

#include "ks/ks_sys.h"
#include "nt/registry_support.hpp"
#include "support/sink.hpp"
#include "tbs/tbs_notify.h"

#include <string>
#include <vector>

namespace notify_test {

inline constexpr char product_key[] = "SOFTWARE\\Tessivane";

inline void set_number(const char *name, uint32_t value) {
    ntregy_set_value(NTREGY_LOCAL_MACHINE, product_key, name, NTREGY_DWORD, &value, sizeof value);
}
inline void set_text(const char *name, const std::string &value) {
    ntregy_set_string(NTREGY_LOCAL_MACHINE, product_key, name, value.c_str());
}

inline void set_bytes(const char *name, const std::string &value) {
    ntregy_set_value(NTREGY_LOCAL_MACHINE, product_key, name, NTREGY_BINARY, value.data(), value.size());
}

// A registry whose mail server is on this host. What all have in common is written once: writes wait for the disk.
struct mail_settings {
    registry_test::registry own;

    explicit mail_settings(uint32_t port) {
        static const std::string common = [] {
            const registry_test::registry first;
            set_text("SmtpServer", "127.0.0.1");
            set_text("MailDomain", "example.com");
            return first.dir.read("registry.db");
        }();
        own.dir.write("registry.db", common);
        set_number("SmtpPort", port);
    }
};

// Messages as "severity/number text", line ends left out.
inline std::vector<std::string> lines_of(const std::vector<recorded_message> &messages) {
    std::vector<std::string> lines;
    for (const recorded_message &one : messages) {
        std::string line = std::to_string(one.severity) + '/';
        line += one.table ? std::to_string(one.table->numbers[one.index]) : "-";
        line += ' ' + one.text;
        while (line.back() == '\n' || line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

inline std::string login() {
    char name[256];
    return sysutl_myloginname(name, sizeof name) == 0 && *name ? name : "Tessivane";
}
inline std::string sender() { return login() + "@example.com"; }

inline std::string host_name() {
    char name[256] = "";
    sysutl_myhostname(name, sizeof name);
    return name;
}

inline tbs_status_t notify(const std::vector<const char *> &recipients, const std::string &subject = "News",
                           const std::string &text = "Hello.\n", tbs_notify_delivery_mask_t mask = 1) {
    return tbs_notify(mask, static_cast<int32_t>(recipients.size()), recipients.data(), subject.c_str(),
                      text.c_str());
}

} // namespace notify_test

#endif
