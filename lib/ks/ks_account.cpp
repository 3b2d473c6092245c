#include "ks/ks_cred.h"

#include "internal/ks_account.hpp"
#include "internal/ks_account_file.hpp"
#include "internal/ks_account_os.hpp"
#include "internal/ks_call.hpp"
#include "internal/ks_os.hpp"
#include "internal/ks_sys_os.hpp"
#include "ks/ks_dir.h"
#include "ks/ks_file.h"
#include "ks/ks_imsg.h"
#include "ks/ks_str.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <shared_mutex>

namespace ks {
namespace {

constexpr size_t max_file_size = size_t{64} << 20;
constexpr size_t max_name = CREDUTL_NAME_SIZE - 1;

using table_ptr = std::shared_ptr<const account_table>;

// What to print about the accounts file once no lock is held: a sink may do as it likes.
struct load_report {
    std::string path;
    int error = 0;
    bool writable_by_others = false;
    table_ptr table;

    void print() const noexcept;
};

void load_report::print() const noexcept {
    const auto warn = [](const char *format, auto... arguments) {
        imsg_print_shared(IMSG_WARNING, "ks", format, IMSG_LITERAL, arguments...);
    };
    if (error != 0) {
        warn("%s: cannot read the accounts file: %s\n", path.c_str(), imsg_strerror(error));
    }
    if (writable_by_others) {
        warn("%s: others than the owner may change the accounts file\n", path.c_str());
    }
    if (!table) {
        return;
    }
    for (const file_problem &problem : table->problems()) {
        warn("%s:%u: %s; the line is left out\n", path.c_str(), problem.line, problem.reason);
    }
    if (const size_t more = table->problem_count() - table->problems().size()) {
        warn("%s: %u more lines are left out\n", path.c_str(), static_cast<unsigned>(more));
    }
}

// The accounts file as it was last read, or why it cannot be.
class accounts_file {
public:
    // Gives what the file says now; nullptr when there is none. It looks at the file each time, so it belongs behind
    // the cache. changed: answers given before may be wrong.
    int current(table_ptr &table, bool &changed);

    // Reads the file again at the next question, wherever it is by then.
    void forget() noexcept;

private:
    enum class state { unknown, absent, failed, read };

    [[nodiscard]] bool is_current() const;
    void choose_path();
    int load(load_report &report);

    std::shared_mutex mutex_;
    state state_ = state::unknown;
    std::string path_;
    bool must_exist_ = false; // named by the administrator
    int failure_ = 0;         // as it was printed
    os::file_identity identity_;
    table_ptr table_;
};

int accounts_file::current(table_ptr &table, bool &changed) {
    changed = false;
    {
        const std::shared_lock lock(mutex_);
        if (is_current()) {
            table = table_;
            return 0;
        }
    }
    load_report report;
    int error = 0;
    {
        const std::unique_lock lock(mutex_);
        if (!is_current()) { // another thread may have been quicker
            const bool first = state_ == state::unknown;
            const bool had_failed = state_ == state::failed;
            error = load(report);
            changed = !first && !(had_failed && state_ == state::failed);
        }
        table = table_;
    }
    report.print();
    return error;
}

bool accounts_file::is_current() const {
    if (state_ == state::unknown || state_ == state::failed) {
        return false;
    }
    os::file_identity now;
    const int error = os::identify_file(path_, now);
    return state_ == state::absent ? error == KS_ENOENT : error == 0 && now == identity_;
}

void accounts_file::choose_path() {
    const char *named = os::trusted_getenv("ORSIK_ACCOUNTS");
    char standard[KS_PATH_SIZE];
    path_ = named ? named : ks_config_dir(standard, "accounts");
    must_exist_ = named != nullptr;
}

int accounts_file::load(load_report &report) {
    if (state_ == state::unknown) {
        choose_path();
    }
    report.path = path_;
    os::file_content content;
    const int error = os::read_file(path_, max_file_size, content);
    if (error == KS_ENOMEM) {
        return error;
    }
    if (error == 0) {
        auto fresh =
            std::make_shared<const account_table>(account_table::parse(content.bytes, credutl_local_domain()));
        table_ = std::move(fresh);
        identity_ = content.identity;
        state_ = state::read;
        failure_ = 0;
        report.table = table_;
        report.writable_by_others = content.writable_by_others;
        return 0;
    }
    table_ = nullptr;
    if (error == KS_ENOENT && !must_exist_) {
        state_ = state::absent;
        failure_ = 0;
        return 0;
    }
    state_ = state::failed;
    report.error = error == failure_ ? 0 : error;
    failure_ = error;
    return KS_EIO;
}

void accounts_file::forget() noexcept {
    const std::unique_lock lock(mutex_);
    state_ = state::unknown;
    failure_ = 0;
    table_ = nullptr;
}

// All that the chain keeps between questions. Made by the first one and never destroyed: threads may ask while the
// process ends.
struct account_service {
    account_cache cache{os::milliseconds};
    accounts_file file;
};

std::atomic<account_service *> the_service{nullptr};

account_service &service() {
    account_service *present = the_service.load(std::memory_order_acquire);
    if (!present) {
        auto fresh = std::make_unique<account_service>();
        if (the_service.compare_exchange_strong(present, fresh.get(), std::memory_order_acq_rel)) {
            present = fresh.release();
        }
    }
    return *present;
}

void answer_from_file(const file_account &account, account_answer &answer) {
    answer.sid = account.sid;
    answer.id = account.id;
    answer.name = account.name;
    answer.source = "accounts";
}

int ask_for_name(const account_table *table, credutl_account_kind_t kind, std::string_view text,
                 account_answer &answer) {
    const name_parts parts = split_name(text);
    const bool here = !parts.qualified || parts.domain == ".";
    const std::string domain(here ? credutl_local_domain() : parts.domain);
    const std::string name(parts.name);
    if (domain.empty() || name.empty() || split_name(name).qualified) {
        return KS_ENOENT;
    }
    std::string fq_name = domain + '\\' + name;
    if (fq_name.size() > max_name) {
        return KS_ENAMETOOLONG;
    }
    if (const file_account *account = table ? table->by_name(kind, fq_name.c_str()) : nullptr) {
        answer_from_file(*account, answer);
        return 0;
    }
    for (const os::domain_source &source : os::domain_sources()) {
        os::domain_account found;
        const int error = source.by_name(kind, domain, name, found);
        if (error == 0 && sid_is_account(found.sid)) {
            answer.sid = found.sid;
            answer.id = found.id;
            answer.name = std::move(fq_name);
            answer.source = source.name;
            return 0;
        }
        if (error != 0 && error != KS_ENOENT) {
            return error;
        }
    }
    // A name of another domain never becomes an account of this host.
    if (strutl_stricoll(domain.c_str(), credutl_local_domain()) != 0) {
        return KS_ENOENT;
    }
    uint32_t id = CREDUTL_NO_ID;
    const int error = os::local_by_name(kind, name, id);
    if (error != 0 || id >= CREDUTL_NO_ID) {
        return error != 0 ? error : KS_ENOENT;
    }
    answer.sid = host_sid(kind, id);
    answer.id = id;
    answer.name = std::move(fq_name);
    answer.source = "nss";
    return 0;
}

// What a source beside the accounts file calls the SID.
int ask_sources_for_sid(credutl_account_kind_t kind, const credutl_sid_t &sid, account_answer &answer) {
    os::domain_account found;
    if (is_host_authority(sid)) {
        answer.source = "nss";
        found.domain = credutl_local_domain();
        if (!host_sid_id(kind, sid, found.id)) {
            return KS_ENOENT;
        }
        if (const int error = os::local_by_id(kind, found.id, found.name)) {
            return error;
        }
    } else {
        int error = KS_ENOENT;
        for (const os::domain_source &source : os::domain_sources()) {
            answer.source = source.name;
            error = source.by_sid(kind, sid, found);
            if (error != KS_ENOENT) {
                break;
            }
        }
        if (error != 0) {
            return error;
        }
    }
    if (found.domain.empty() || found.name.empty() || split_name(found.domain).qualified ||
        split_name(found.name).qualified) {
        return KS_ENOENT;
    }
    answer.sid = sid;
    answer.id = found.id;
    answer.name = found.domain + '\\' + found.name;
    return answer.name.size() <= max_name ? 0 : KS_ENOENT;
}

int ask_for_sid(const account_table *table, credutl_account_kind_t kind, const credutl_sid_t &sid,
                account_answer &answer) {
    if (!sid_is_account(sid)) {
        return KS_ENOENT;
    }
    if (const file_account *account = table ? table->by_sid(kind, sid) : nullptr) {
        answer_from_file(*account, answer);
        return 0;
    }
    if (const int error = ask_sources_for_sid(kind, sid, answer)) {
        return error;
    }
    // A name is given only when it leads back here: an earlier source may know it as somebody else.
    account_answer back;
    const int error = ask_for_name(table, kind, answer.name, back);
    if (error != 0) {
        return error;
    }
    return sid_equal(back.sid, sid) ? 0 : KS_ENOENT;
}

int ask_for_id(const account_table *table, credutl_account_kind_t kind, uint32_t id, account_answer &answer) {
    if (id >= CREDUTL_NO_ID) {
        return KS_ENOENT;
    }
    answer.id = id;
    if (const file_account *account = table ? table->by_id(kind, id) : nullptr) {
        answer_from_file(*account, answer);
        return 0;
    }
    for (const os::domain_source &source : os::domain_sources()) {
        const int error = source.sid_of_id(kind, id, answer.sid);
        if (error == 0 && sid_is_account(answer.sid)) {
            answer.source = source.name;
            return 0;
        }
        if (error != 0 && error != KS_ENOENT) {
            return error;
        }
    }
    answer.sid = host_sid(kind, id);
    answer.source = "nss";
    return 0;
}

int ask(const account_table *table, const account_question &question, account_answer &answer) {
    switch (question.about) {
    case account_question::by_name: return ask_for_name(table, question.kind, question.name, answer);
    case account_question::by_sid: return ask_for_sid(table, question.kind, *question.sid, answer);
    case account_question::by_id: break;
    }
    return ask_for_id(table, question.kind, question.id, answer);
}

// Answers from the cache, else from the sources; calls use(const account_answer &) when the account is known.
template <class Use> int look_up(const account_question &question, Use &&use) {
    account_service &all = service();
    bool known = false;
    const bool kept = all.cache.find(question, [&](const account_answer &answer) {
        known = answer.known;
        if (known) {
            use(answer);
        }
    });
    if (kept) {
        return known ? 0 : KS_ENOENT;
    }
    uint64_t generation = all.cache.generation();
    table_ptr table;
    bool changed = false;
    int error = all.file.current(table, changed);
    if (changed) {
        generation = all.cache.forget_all();
    }
    if (error != 0) {
        return error;
    }
    account_answer answer;
    error = ask(table.get(), question, answer);
    if (error == KS_ENOENT) {
        answer = {};
    } else if (error != 0) {
        return error;
    }
    answer.known = error == 0;
    all.cache.keep(generation, question, answer);
    if (answer.known) {
        use(answer);
    }
    return error;
}

template <class Use> int look_up_name(credutl_account_kind_t kind, const char *name, Use &&use) {
    if (!is_account_kind(kind) || !name) {
        return KS_EINVAL;
    }
    const std::string_view text(name, strnlen(name, max_name + 1));
    if (text.size() > max_name) {
        return KS_ENAMETOOLONG;
    }
    if (split_name(text).name.empty()) {
        return KS_EINVAL;
    }
    return look_up(account_question::of_name(kind, text), std::forward<Use>(use));
}

template <class Use> int look_up_sid(credutl_account_kind_t kind, const credutl_sid_t &sid, Use &&use) {
    if (!is_account_kind(kind) || !sid_is_well_formed(sid)) {
        return KS_EINVAL;
    }
    return look_up(account_question::of_sid(kind, sid), std::forward<Use>(use));
}

template <class Use> int look_up_id(credutl_account_kind_t kind, uint32_t id, Use &&use) {
    if (!is_account_kind(kind)) {
        return KS_EINVAL;
    }
    return look_up(account_question::of_id(kind, id), std::forward<Use>(use));
}

void copy_account(credutl_account_kind_t kind, const account_answer &answer, credutl_account_t &account) noexcept {
    account.kind = kind;
    account.sid = answer.sid;
    account.id = answer.id;
    account.source = answer.source;
    std::memcpy(account.name, answer.name.c_str(), answer.name.size() + 1);
}

// The name by which the host is known as a domain. Upper case by ASCII: host names are ASCII.
struct local_domain {
    char name[account_table::max_part + 1];

    local_domain() noexcept {
        char host[account_table::max_part + 1];
        if (os::host_name(host, sizeof host) != 0) {
            host[0] = '\0';
        }
        const size_t length = std::strcspn(host, ".");
        for (size_t i = 0; i < length; i++) {
            const char c = host[i];
            name[i] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        }
        name[length] = '\0';
        if (length == 0 || split_name(name).qualified) {
            std::strcpy(name, "LOCALHOST");
        }
    }
};

template <class F> uint32_t id_or_none(const credutl_sid_t *sid, F &&find) noexcept {
    uint32_t id = CREDUTL_NO_ID;
    const int error = call([&]() -> int { return sid ? find(*sid, id) : KS_EINVAL; });
    return error == 0 ? id : CREDUTL_NO_ID;
}

} // namespace

int find_account(credutl_account_kind_t kind, const char *name, account_answer &answer) {
    return look_up_name(kind, name, [&](const account_answer &found) { answer = found; });
}

int find_account(credutl_account_kind_t kind, const credutl_sid_t &sid, account_answer &answer) {
    return look_up_sid(kind, sid, [&](const account_answer &found) { answer = found; });
}

int find_sid(credutl_account_kind_t kind, const char *name, credutl_sid_t &sid) {
    return look_up_name(kind, name, [&](const account_answer &found) { sid = found.sid; });
}

int find_sid(credutl_account_kind_t kind, uint32_t id, credutl_sid_t &sid) {
    return look_up_id(kind, id, [&](const account_answer &found) { sid = found.sid; });
}

int find_name(credutl_account_kind_t kind, const credutl_sid_t &sid, char *buffer, size_t size) {
    bool fits = false;
    const int error = look_up_sid(kind, sid, [&](const account_answer &found) {
        fits = found.name.size() < size;
        if (fits) {
            std::memcpy(buffer, found.name.c_str(), found.name.size() + 1);
        }
    });
    return error == 0 && !fits ? KS_ENAMETOOLONG : error;
}

int find_id(credutl_account_kind_t kind, const credutl_sid_t &sid, uint32_t &id) {
    if (host_sid_id(kind, sid, id)) {
        return 0;
    }
    uint32_t found_id = CREDUTL_NO_ID;
    const int error = look_up_sid(kind, sid, [&](const account_answer &found) { found_id = found.id; });
    if (error != 0 || found_id == CREDUTL_NO_ID) {
        return error != 0 ? error : KS_ENOENT;
    }
    id = found_id;
    return 0;
}

int file_groups(const char *user, std::vector<std::string> &groups) {
    table_ptr table;
    bool changed = false;
    account_service &all = service();
    const int error = all.file.current(table, changed);
    if (changed) {
        all.cache.forget_all();
    }
    if (error == 0 && table) {
        groups = table->groups_of(user);
    }
    return error;
}

} // namespace ks

using namespace ks;

extern "C" int credutl_account_by_name(credutl_account_kind_t kind, const char *name,
                                       credutl_account_t *account_out) noexcept {
    return call([&]() -> int {
        if (!account_out) {
            return KS_EINVAL;
        }
        return look_up_name(kind, name,
                            [&](const account_answer &found) { copy_account(kind, found, *account_out); });
    });
}

extern "C" int credutl_account_by_sid(credutl_account_kind_t kind, const credutl_sid_t *sid,
                                      credutl_account_t *account_out) noexcept {
    return call([&]() -> int {
        if (!sid || !account_out) {
            return KS_EINVAL;
        }
        return look_up_sid(kind, *sid, [&](const account_answer &found) { copy_account(kind, found, *account_out); });
    });
}

extern "C" int credutl_account_by_id(credutl_account_kind_t kind, uint32_t id,
                                     credutl_account_t *account_out) noexcept {
    return call([&]() -> int {
        if (!account_out) {
            return KS_EINVAL;
        }
        account_answer answer;
        int error = look_up_id(kind, id, [&](const account_answer &found) { answer = found; });
        if (error != 0) {
            return error;
        }
        account_answer named;
        error = find_account(kind, answer.sid, named);
        if (error == KS_ENOENT) {
            char text[CREDUTL_SID_STR_SIZE];
            format_sid(answer.sid, text);
            answer.name = text;
        } else if (error != 0) {
            return error;
        } else {
            answer.name = std::move(named.name);
            answer.source = named.source;
        }
        answer.id = id;
        copy_account(kind, answer, *account_out);
        return 0;
    });
}

extern "C" int credutl_uid_to_sid(uint32_t uid, credutl_sid_t *sid_out) noexcept {
    return call([&]() -> int { return sid_out ? find_sid(CREDUTL_USER, uid, *sid_out) : KS_EINVAL; });
}

extern "C" int credutl_gid_to_sid(uint32_t gid, credutl_sid_t *sid_out) noexcept {
    return call([&]() -> int { return sid_out ? find_sid(CREDUTL_GROUP, gid, *sid_out) : KS_EINVAL; });
}

extern "C" uint32_t credutl_sid_to_uid(const credutl_sid_t *sid) noexcept {
    return id_or_none(sid, [](const credutl_sid_t &user, uint32_t &id) { return find_id(CREDUTL_USER, user, id); });
}

extern "C" uint32_t credutl_sid_to_gid(const credutl_sid_t *sid) noexcept {
    return id_or_none(sid,
                      [](const credutl_sid_t &group, uint32_t &id) { return find_id(CREDUTL_GROUP, group, id); });
}

extern "C" const char *credutl_local_domain(void) noexcept {
    static const local_domain domain;
    return domain.name;
}

extern "C" int credutl_domain_sid(credutl_sid_t *sid_out) noexcept {
    return call([&]() -> int {
        if (!sid_out) {
            return KS_EINVAL;
        }
        for (const os::domain_source &source : os::domain_sources()) {
            credutl_sid_t sid;
            const int error = source.domain_sid(sid);
            if (error == 0) {
                *sid_out = sid;
            }
            if (error != KS_ENOENT) {
                return error;
            }
        }
        return KS_ENOENT;
    });
}

extern "C" void credutl_flush_accounts(void) noexcept {
    account_service *present = the_service.load(std::memory_order_acquire);
    if (present) {
        present->file.forget();
        present->cache.forget_all();
    }
}
