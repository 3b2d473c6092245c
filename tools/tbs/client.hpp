// client.hpp - who asks: the process, a named account, or what a credentials file says.
#ifndef TOOLS_TBS_CLIENT_HPP
#define TOOLS_TBS_CLIENT_HPP

#include "ks/ks_cred.h"
#include "output.hpp"
#include "tool.hpp"

#include <string>
#include <vector>

namespace tool {

using owned_client = owned<credutl_client_t *, credutl_client_free>;
using owned_sids = owned<credutl_sid_credentials_t *, credutl_free_sid_credentials>;
using owned_strings = owned<credutl_string_credentials_t *, credutl_free_string_credentials>;
using owned_whole = owned<credutl_whole_credentials_t *, credutl_free_whole_credentials>;

// A client with its credentials by SID, their names, and the form that answers questions.
class requester {
public:
    // The effective user and the groups of this process.
    static requester of_process();
    // An account, "DOMAIN\name" or the text of a SID, with the groups that the account sources list.
    static requester of_account(const std::string &name);
    // What a credentials file says; docs/acl_files.md has the format.
    static requester of_file(const std::string &path);

    [[nodiscard]] const credutl_client_t *client() const { return client_.get(); }
    [[nodiscard]] const std::string &domain() const { return domain_; }
    [[nodiscard]] const credutl_sid_credentials_t &sids() const { return *sids_.get(); }
    [[nodiscard]] const credutl_whole_credentials_t *whole() const { return whole_.get(); }
    [[nodiscard]] std::string user() const { return strings_->user; }
    [[nodiscard]] std::string primary_group() const { return strings_->group; } // "" when there is none
    [[nodiscard]] std::vector<std::string> groups() const;                      // without the primary one
    [[nodiscard]] json as_json() const;

private:
    explicit requester(owned_client client);
    requester(const std::string &domain, const credutl_sid_credentials_t &sids);
    void make_ready();

    owned_client client_;
    std::string domain_;
    owned_sids sids_;
    owned_strings strings_;
    owned_whole whole_;
};

// The SID of an account that the user names, or whose SID the user gives. Throws failure.
credutl_sid_t resolve(credutl_account_kind_t kind, const std::string &text);

// Text of a SID; "(no SID)" for a record that is none.
std::string sid_text(const credutl_sid_t &sid);

// Why a function of the kernel-services library failed.
std::string error_text(int error);

// Throws failure, or std::bad_alloc for lack of memory, unless `error` is 0.
void require(int error, const std::string &what);

} // namespace tool

#endif
