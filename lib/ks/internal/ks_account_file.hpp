// ks_account_file.hpp - the accounts file: its parser and what was read, immutable and ready for questions.
#ifndef KS_INTERNAL_KS_ACCOUNT_FILE_HPP
#define KS_INTERNAL_KS_ACCOUNT_FILE_HPP

#include "ks/ks_cred.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ks {

struct file_account {
    credutl_account_kind_t kind;
    credutl_sid_t sid;
    uint32_t id;
    std::string name; // "DOMAIN\name"
};

// A line that was left out. The reason is a constant.
struct file_problem {
    uint32_t line;
    const char *reason;
};

class account_table {
public:
    // Longest part of a name in bytes, so that each part fits a buffer of 256.
    static constexpr size_t max_part = 255;
    // This many problems are kept one by one, the rest only counted.
    static constexpr size_t max_problems = 20;

    // Reads the text of an accounts file. Lines that are wrong are left out and noted. Throws std::bad_alloc.
    static account_table parse(std::string_view text, std::string_view local_domain);

    [[nodiscard]] const file_account *by_name(credutl_account_kind_t kind, const char *fq_name) const noexcept;
    [[nodiscard]] const file_account *by_sid(credutl_account_kind_t kind, const credutl_sid_t &sid) const noexcept;
    [[nodiscard]] const file_account *by_id(credutl_account_kind_t kind, uint32_t id) const noexcept;

    // Names of the groups that the file gives to a user, in the order of its lines: the first is the primary one.
    [[nodiscard]] std::vector<std::string> groups_of(const char *user) const;

    [[nodiscard]] const std::vector<file_problem> &problems() const noexcept { return problems_; }
    [[nodiscard]] size_t problem_count() const noexcept { return problem_count_; }
    [[nodiscard]] size_t account_count() const noexcept { return accounts_.size(); }

private:
    // Open addressing over positions plus one; a power of two, at most half full.
    class index {
    public:
        template <class Equal> [[nodiscard]] uint32_t find(uint64_t hash, Equal &&equal) const noexcept;
        template <class Hash> void add(uint32_t position, Hash &&hash_of);

    private:
        std::vector<uint32_t> slots_;
        size_t used_ = 0;
    };

    struct membership {
        std::string user;
        std::string group;
        uint32_t next; // of the same user
        uint32_t last; // of the same user, kept in the first one
    };

    const char *read_line(std::string_view line, std::string_view local_domain);
    const char *add_account(file_account account);
    const char *add_membership(std::string user, std::string group);
    void note(uint32_t line, const char *reason);

    std::vector<file_account> accounts_;
    index names_, sids_, ids_;
    std::vector<membership> memberships_;
    index members_;
    std::vector<file_problem> problems_;
    size_t problem_count_ = 0;
};

} // namespace ks

#endif
