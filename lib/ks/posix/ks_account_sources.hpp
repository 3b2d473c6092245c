// ks_account_sources.hpp - the two daemons that know domain accounts, if they are there.
#ifndef KS_POSIX_KS_ACCOUNT_SOURCES_HPP
#define KS_POSIX_KS_ACCOUNT_SOURCES_HPP

#include "internal/ks_account_os.hpp"

namespace ks::os {

int sssd_by_name(credutl_account_kind_t kind, const std::string &domain, const std::string &name,
                 domain_account &found);
int sssd_by_sid(credutl_account_kind_t kind, const credutl_sid_t &sid, domain_account &found);
int sssd_sid_of_id(credutl_account_kind_t kind, uint32_t id, credutl_sid_t &sid);
int sssd_domain_sid(credutl_sid_t &sid);

int winbind_by_name(credutl_account_kind_t kind, const std::string &domain, const std::string &name,
                    domain_account &found);
int winbind_by_sid(credutl_account_kind_t kind, const credutl_sid_t &sid, domain_account &found);
int winbind_sid_of_id(credutl_account_kind_t kind, uint32_t id, credutl_sid_t &sid);
int winbind_domain_sid(credutl_sid_t &sid);

// A shared library that is opened when it is there, and stays open.
class back_end {
public:
    explicit back_end(const char *file) noexcept;

    // The address of a function; nullptr when the library has none of that name.
    template <class Function> [[nodiscard]] Function *function(const char *name) const noexcept {
        return reinterpret_cast<Function *>(symbol(name));
    }

private:
    [[nodiscard]] void *symbol(const char *name) const noexcept;

    void *handle_;
};

} // namespace ks::os

#endif
