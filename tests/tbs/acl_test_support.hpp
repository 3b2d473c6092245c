// acl_test_support.hpp - what the ACL tests share: a made-up domain, a recorder of messages, owners of handles.
#ifndef TESTS_TBS_ACL_TEST_SUPPORT_HPP
#define TESTS_TBS_ACL_TEST_SUPPORT_HPP

#include "ks/ks_cred.h"
#include "ks/ks_imsg.h"
#include "ks/ks_stg.h"
#include "ks/ks_str.h"
#include "ks/ks_sys.h"
#include "support/env.hpp"
#include "support/faults.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"
#include "tbs/tbs_acl.h"
#include "tbs/tbs_msg.h"

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace acl_test {

using lines = std::vector<std::string>;

// ---- files and accounts -------------------------------------------------------------------------------------------

inline std::string read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Numbered accounts besides those of data/acl_accounts.txt: CORP\u<n> and CORP\g<n>.
inline constexpr unsigned numbered_accounts = 200;
inline constexpr unsigned first_user_rid = 10'000;
inline constexpr unsigned first_group_rid = 20'000;

inline std::string sid_text(unsigned rid) { return "S-1-5-21-1111-2222-3333-" + std::to_string(rid); }

inline credutl_sid_t sid(std::string_view text) {
    credutl_sid_t value{};
    if (credutl_str_to_sid(std::string(text).c_str(), &value) != 0) throw std::runtime_error("no SID");
    return value;
}
inline credutl_sid_t sid(unsigned rid) { return sid(sid_text(rid)); }

// Rids of the accounts in data/acl_accounts.txt.
enum : unsigned {
    fred = 1001,
    wilma = 1002,
    barney = 1003,
    joerg = 1004,
    weiss = 1005,
    iris = 1010,
    staff = 2001,
    builders = 2002,
    testers = 2003,
    domain_users = 513,
    stranger = 9999 // a SID of the domain that no account has
};

// Makes the made-up domain known to the process as long as the object lives.
class accounts {
public:
    accounts() {
        std::ostringstream text;
        text << read_file(ORSIK_TEST_DATA_DIR "/acl_accounts.txt");
        for (unsigned i = 0; i < numbered_accounts; i++) {
            text << "CORP\\u" << i << " user " << sid_text(first_user_rid + i) << '\n';
            text << "CORP\\g" << i << " group " << sid_text(first_group_rid + i) << '\n';
        }
        use(text.str());
    }
    ~accounts() { credutl_flush_accounts(); }
    accounts(const accounts &) = delete;
    accounts &operator=(const accounts &) = delete;

    // Puts other accounts in the place of those known so far.
    void use(std::string_view text) const {
        dir_.write("accounts", text);
        credutl_flush_accounts();
    }

private:
    temp_dir dir_;
    scoped_env variable_{"ORSIK_ACCOUNTS", dir_ / "accounts"};
};

// ---- messages -----------------------------------------------------------------------------------------------------

// One line for each message: "6 acl[8] text", "6 cmsg[46] text", "8 text" for a literal format. An error that does not
// come from module "tbs_acl" shows its module as well.
class recorder {
public:
    // Gives what was printed so far, and forgets it.
    lines take() {
        lines all;
        for (const recorded_message &message : sink_.take()) all.push_back(shown(message));
        return all;
    }

private:
    static std::string shown(const recorded_message &message) {
        std::string line = std::to_string(message.severity) + ' ';
        if (message.severity == IMSG_ERROR && message.module != "tbs_acl") line += message.module + ' ';
        if (message.table) {
            line += message.table == tbs_acl_tbs_msg_table_adr()    ? "acl["
                    : message.table == tbs_cmsg_tbs_msg_table_adr() ? "cmsg["
                                                                    : "other[";
            line += std::to_string(message.index) + "] ";
        }
        return line + message.text;
    }

    recording_sink sink_;
};

inline std::string acl_line(int severity, unsigned index, const std::string &text) {
    return std::to_string(severity) + " acl[" + std::to_string(index) + "] " + text;
}
inline std::string error(unsigned index, const std::string &text) { return acl_line(6, index, text); }
inline std::string plain(unsigned index, const std::string &text) { return acl_line(0, index, text); }
inline std::string common(unsigned index, const std::string &text) {
    return "6 cmsg[" + std::to_string(index) + "] " + text;
}
inline std::string too_small() { return common(45, "String buffer too small.\n"); }
inline std::string no_memory(const std::string &operation = "tbs_acl") {
    return common(46, "Operation \"" + operation + "\" failed: " + tbs_strerror(TBS_ST_ENOMEM) + ".\n");
}

// Switches tracing on as long as the object lives.
class tracing {
public:
    tracing(int verbosity, const char *modules) {
        imsg_set_desired_verbosity(verbosity);
        imsg_set_trace(modules);
    }
    ~tracing() {
        imsg_set_desired_verbosity(0);
        imsg_set_trace(nullptr);
    }
    tracing(const tracing &) = delete;
    tracing &operator=(const tracing &) = delete;
};

// ---- handles ------------------------------------------------------------------------------------------------------

struct release {
    void operator()(tbs_acl *acl) const { tbs_acl_free(&acl); }
    void operator()(tbs_sid_acl *acl) const { tbs_sid_acl_free(&acl); }
    void operator()(credutl_client_t *client) const { credutl_client_free(&client); }
    void operator()(credutl_whole_credentials_t *whole) const { credutl_free_whole_credentials(&whole); }
    void operator()(imsg_list_t *list) const { imsg_list_free(&list); }
    void operator()(std::FILE *stream) const { std::fclose(stream); }
};
using classic_ptr = std::unique_ptr<tbs_acl, release>;
using sid_ptr = std::unique_ptr<tbs_sid_acl, release>;
using client_ptr = std::unique_ptr<credutl_client_t, release>;
using whole_ptr = std::unique_ptr<credutl_whole_credentials_t, release>;
using list_ptr = std::unique_ptr<imsg_list_t, release>;
using file_ptr = std::unique_ptr<std::FILE, release>;

inline classic_ptr make_classic() {
    tbs_acl_h_t acl = nullptr;
    if (tbs_acl_create(&acl) != 0) throw std::runtime_error("no ACL");
    return classic_ptr(acl);
}
inline sid_ptr make_sid() {
    tbs_sid_acl_h_t acl = nullptr;
    if (tbs_sid_acl_create(&acl) != 0) throw std::runtime_error("no ACL");
    return sid_ptr(acl);
}

// Identities that borrow their texts, for calls that copy them.
inline tbs_acl_id_t classic_id(tbs_acl_id_kind_t kind, const char *domain = nullptr, const char *name = nullptr) {
    return {kind, const_cast<char *>(domain), const_cast<char *>(name)};
}
inline tbs_sid_acl_id_t sid_id(tbs_acl_id_kind_t kind, const credutl_sid_t &value = CREDUTL_SID_NOBODY,
                               const char *domain = nullptr, const char *name = nullptr) {
    return {kind, const_cast<char *>(domain), const_cast<char *>(name), value};
}

inline tbs_status_t set(const classic_ptr &acl, tbs_acl_id_kind_t kind, const char *domain, const char *name,
                        tbs_acl_permission_set_t perms) {
    return tbs_acl_set_entry(acl.get(), classic_id(kind, domain, name), perms);
}
inline tbs_status_t set(const sid_ptr &acl, tbs_acl_id_kind_t kind, const credutl_sid_t &value,
                        tbs_acl_permission_set_t perms) {
    return tbs_sid_acl_set_entry(acl.get(), sid_id(kind, value), perms);
}
inline tbs_status_t set_role(const sid_ptr &acl, const char *name, tbs_acl_permission_set_t perms) {
    return tbs_sid_acl_set_entry(acl.get(), sid_id(TBS_ACL_ID_ROLE, CREDUTL_SID_NOBODY, nullptr, name), perms);
}

// A SID ACL with the cooked list of a classic ACL, which a check by SID has made: entries that no function sets, such
// as repeated SIDs, kinds of 0 and names that nobody checked. A peer can send the like.
inline sid_ptr take_cooked(const classic_ptr &acl) {
    sid_ptr raw = make_sid();
    std::swap(*raw->entries, *acl->cooked);
    return raw;
}

// ---- permissions --------------------------------------------------------------------------------------------------

// Names and generic map of an object type of our own: Change contains Read, Full all named bits, Run is Execute.
inline constexpr tbs_acl_perm_name_t names[] = {
    {"List", 0x01}, {"Modify", 0x02}, {"Create", 0x04}, {"Run", 0x08}, {"Mount", 0x10}};
inline constexpr size_t name_count = std::size(names);
inline constexpr tbs_acl_generic_map_t map{0x00020001, 0x00030007, 0x00000008, 0x0007001F};
inline constexpr tbs_acl_generic_map_t no_map{0, 0, 0, 0};

// ---- refused allocations ------------------------------------------------------------------------------------------

// Runs act(state) on a fresh state of setup() with the first allocation refused, then the second, and so on until none
// is met; each alone and with all that follow. act() gives a function that looks at the outcome, told whether an
// allocation was refused; it runs undisturbed. Gives the number of runs that met a refusal.
template <class Setup, class Act> int refuse_each(Setup &&setup, Act &&act) {
    int met = 0;
    for (const bool lasting : {false, true}) {
        for (int n = 1;; n++) {
            auto state = setup();
            bool disturbed = false;
            auto check = [&] {
                const faults::refuse refused(n, lasting);
                auto outcome = act(state);
                disturbed = refused.happened();
                return outcome;
            }();
            SCOPED_TRACE((lasting ? "from allocation " : "allocation ") + std::to_string(n));
            check(disturbed);
            if (!disturbed) break;
            met++;
        }
    }
    return met;
}

} // namespace acl_test

#endif
