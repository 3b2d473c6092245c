// tbs acl apply: lets the operating system enforce a policy on files.
#include "client.hpp"
#include "effective.hpp"
#include "ks/ks_acl.h"
#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_stg.h"
#include "progress.hpp"
#include "tbs/tbs_status.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <map>
#include <new>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {
namespace {

using owned_system_acl = owned<sysutl_acl_t *, sysutl_acl_free>;

struct options {
    std::vector<std::string> files;
    std::string policy, required, owner;
    std::optional<std::string> role_map, group, permissions;
    bool dry_run = false;
    bool as_json = false;
};

// Why one file keeps the ACL that it has; the others are gone on with.
struct refusal {
    std::string reason;
};

[[noreturn]] void refuse(int error) { throw refusal{imsg_strerror(error)}; }
[[noreturn]] void refuse_for_errno() { refuse(ks_errno_from_host(errno)); }

enum class result { changed, unchanged, refused };

constexpr struct {
    result is;
    const char *name;
    const char *tried; // in a dry run
} results[] = {{result::changed, "changed", "would change"},
               {result::unchanged, "unchanged", "unchanged"},
               {result::refused, "refused", "refused"}};

const char *name_of(result is, bool dry_run) {
    const auto &row = results[static_cast<size_t>(is)];
    return dry_run ? row.tried : row.name;
}

struct outcome {
    const std::string &file;
    result is;
    std::string reason; // "" unless refused
};

tbs_acl_sid_pair_t owners_of(const options &o) {
    tbs_acl_sid_pair_t owners = {resolve(CREDUTL_USER, o.owner), CREDUTL_SID_NOBODY};
    owners.group = o.group ? resolve(CREDUTL_GROUP, *o.group) : requester::of_account(o.owner).sids().group;
    if (credutl_sid_eq(&owners.group, &CREDUTL_SID_NOBODY)) {
        throw failure("\"" + o.owner + "\" has no primary group", "Name the group of the files with --group.");
    }
    const bool is_known =
        credutl_sid_to_uid(&owners.user) != CREDUTL_NO_ID && credutl_sid_to_gid(&owners.group) != CREDUTL_NO_ID;
    if (!is_known) {
        throw failure("\"" + o.owner + "\" or its group has no id on this host",
                      "Name an owner and a group that the host knows.");
    }
    return owners;
}

// The system ACLs that a policy makes: one for each mode that files have, made once.
class system_acls {
public:
    explicit system_acls(const options &o)
        : words_(o.permissions), required_(words_.request(o.required)), owners_(owners_of(o)),
          acl_(effective_acl(o.policy, o.role_map, words_)) {
        if (tbs_sid_acl_num_entries(acl_.get()) == 0) {
            throw failure(o.policy, 0, "the effective ACL is empty: there is nothing to put on files",
                          "Let the policy name someone, and the role map those who hold its roles.");
        }
        owned_system_acl trial;
        if (const tbs_status_t status = convert(0, trial)) {
            throw failure(o.policy, 0, std::string("no system ACL can be made: ") + tbs_strerror(status),
                          "Look for two names of one account, and for a system without ACLs.");
        }
    }

    [[nodiscard]] const vocabulary &words() const { return words_; }
    [[nodiscard]] tbs_acl_permission_set_t required() const { return required_; }
    [[nodiscard]] const tbs_acl_sid_pair_t &owners() const { return owners_; }
    [[nodiscard]] const std::map<uint32_t, owned_system_acl> &by_mode() const { return by_mode_; }

    // Whether an ACL is one of those made so far. To make it again from a file that has it changes nothing.
    [[nodiscard]] bool made(const sysutl_acl_t *acl) const {
        return std::any_of(by_mode_.begin(), by_mode_.end(),
                           [&](const auto &one) { return sysutl_acl_equal(acl, one.second.get()); });
    }

    // Throws refusal.
    const sysutl_acl_t *for_mode(uint32_t mode) {
        const auto [at, is_new] = by_mode_.try_emplace(mode);
        if (!is_new) return at->second.get();
        if (const tbs_status_t status = convert(mode, at->second)) {
            by_mode_.erase(at);
            throw refusal{tbs_strerror(status)};
        }
        return at->second.get();
    }

    // Those to whom the policy gives what is required, but whom no system ACL can name.
    [[nodiscard]] std::vector<std::string> left_out() const {
        std::vector<std::string> names;
        uint32_t cursor = 0;
        while (const tbs_acl_cooked_ent_t *entry = tbs_sid_acl_next_entry(acl_.get(), &cursor)) {
            if ((entry->perms & required_) == required_ && !has_host_id(entry->id)) {
                names.push_back(identity_text(entry->id));
            }
        }
        return names;
    }

private:
    static bool has_host_id(const tbs_sid_acl_id_t &id) {
        switch (id.kind) {
        case TBS_ACL_ID_USER: return credutl_sid_to_uid(&id.sid) != CREDUTL_NO_ID;
        case TBS_ACL_ID_GROUP: return credutl_sid_to_gid(&id.sid) != CREDUTL_NO_ID;
        case TBS_ACL_ID_EVERYONE:
        case TBS_ACL_ID_OWNER_USER:
        case TBS_ACL_ID_OWNER_GROUP: return true;
        default: return false;
        }
    }

    tbs_status_t convert(uint32_t mode, owned_system_acl &made) const {
        const tbs_status_t status =
            tbs_sid_acl_convert_to_sysutl_acl(acl_.get(), &owners_, mode, required_, made.put());
        if (status == TBS_ST_ENOMEM) throw std::bad_alloc();
        return status;
    }

    vocabulary words_;
    tbs_acl_permission_set_t required_;
    tbs_acl_sid_pair_t owners_;
    owned_sid_acl acl_;
    std::map<uint32_t, owned_system_acl> by_mode_;
};

// A regular file that stays the same one, whatever becomes of its name meanwhile.
class held_file {
public:
    // Throws refusal.
    explicit held_file(const std::string &path) {
        char host_path[PATH_MAX];
        if (const int error = fileutl_host_path(path.c_str(), host_path, sizeof host_path)) refuse(error);
        descriptor_ = open(host_path, O_PATH | O_NOFOLLOW | O_CLOEXEC);
        if (descriptor_ < 0) refuse_for_errno();
        try {
            look();
        } catch (...) {
            close(descriptor_);
            throw;
        }
    }
    ~held_file() { close(descriptor_); }
    held_file(const held_file &) = delete;
    held_file &operator=(const held_file &) = delete;

    [[nodiscard]] uint32_t mode() const { return mode_; }
    // A path that leads to this file alone.
    [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    void look() {
        struct stat status;
        if (fstat(descriptor_, &status) != 0) refuse_for_errno();
        if (S_ISLNK(status.st_mode)) throw refusal{"it is a symbolic link: name the file that it leads to"};
        if (S_ISDIR(status.st_mode)) throw refusal{"it is a directory: name the files in it"};
        if (!S_ISREG(status.st_mode)) throw refusal{"it is no regular file"};
        mode_ = status.st_mode & 0777;
    }

    int descriptor_ = -1;
    uint32_t mode_ = 0;
};

// The entries of a system ACL, "user::rw-" and the like.
std::vector<std::string> entries_of_system(const sysutl_acl_t *acl) {
    char *text = nullptr;
    require(sysutl_acl_to_text(acl, &text), "the system ACL has no text");
    const struct text_owner {
        char *text;
        ~text_owner() { stg_free(text); }
    } owner{text};
    std::vector<std::string> entries;
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view entry = rest.substr(0, rest.find('\n'));
        if (!entry.empty()) entries.emplace_back(entry);
        rest.remove_prefix(std::min(entry.size() + 1, rest.size()));
    }
    return entries;
}

// The bits of the entry that begins so, as "group::rw-"; without one, `otherwise`.
uint32_t bits_of(const std::vector<std::string> &entries, const std::string &tag, uint32_t otherwise) {
    for (const std::string &entry : entries) {
        if (!entry.starts_with(tag)) continue;
        uint32_t bits = 0;
        for (size_t i = 0; i < 3; i++)
            bits = bits << 1 | (entry.substr(tag.size()).substr(i, 1) == std::string(1, "rwx"[i]));
        return bits;
    }
    return otherwise;
}

// The mode with what the owning group itself has. Behind an ACL the mode shows the mask there, and to take that for the
// group's would give everyone named what one of them has.
uint32_t mode_of(uint32_t mode, const sysutl_acl_t *acl) {
    const std::vector<std::string> entries = entries_of_system(acl);
    const uint32_t group = bits_of(entries, "group::", 0) & bits_of(entries, "mask::", 07);
    return (mode & 0707) | group << 3;
}

void require_done(int error) {
    if (error == KS_ENOMEM) throw std::bad_alloc();
    if (error == KS_ENOSYS) throw refusal{"its file system keeps no ACLs"};
    if (error) refuse(error);
}

result apply_to(const std::string &path, system_acls &acls, bool dry_run) {
    const held_file file(path);
    owned_system_acl now;
    require_done(sysutl_acl_get_file(file.path().c_str(), now.put()));
    if (acls.made(now.get())) return result::unchanged;
    const sysutl_acl_t *wanted = acls.for_mode(mode_of(file.mode(), now.get()));
    if (sysutl_acl_equal(now.get(), wanted)) return result::unchanged;
    if (!dry_run) require_done(sysutl_acl_set_file(file.path().c_str(), wanted));
    return result::changed;
}

std::vector<outcome> apply_to_all(const options &o, system_acls &acls) {
    std::vector<outcome> all;
    all.reserve(o.files.size());
    progress_bar bar(o.files.size());
    for (const std::string &file : o.files) {
        try {
            all.push_back({file, apply_to(file, acls, o.dry_run), ""});
        } catch (const refusal &why) {
            all.push_back({file, result::refused, why.reason});
        }
        bar.advance();
    }
    return all;
}

size_t count_of(const std::vector<outcome> &all, result wanted) {
    return static_cast<size_t>(
        std::count_if(all.begin(), all.end(), [&](const outcome &one) { return one.is == wanted; }));
}

std::string octal(uint32_t mode) {
    char text[8];
    std::snprintf(text, sizeof text, "%04o", mode);
    return text;
}

// ---- text

void print_text(const options &o, const system_acls &acls, const std::vector<outcome> &all) {
    if (o.dry_run) {
        for (const auto &[mode, acl] : acls.by_mode()) {
            print("files of mode " + octal(mode) + " get:");
            end_line();
            for (const std::string &entry : entries_of_system(acl.get())) {
                print("    " + entry);
                end_line();
            }
        }
    }
    for (const std::string &name : acls.left_out()) {
        print("left out: " + name + " has no id on this host");
        end_line();
    }
    for (const outcome &one : all) {
        if (one.is != result::refused) continue;
        print("refused: " + one.file + ": " + one.reason);
        end_line();
    }
    std::string summary;
    for (const auto &row : results) {
        if (!summary.empty()) summary += ", ";
        summary += std::to_string(count_of(all, row.is)) + ' ' + name_of(row.is, o.dry_run);
    }
    print(std::to_string(all.size()) + (all.size() == 1 ? " file: " : " files: ") + summary);
    end_line();
}

// ---- JSON

json acls_as_json(const system_acls &acls) {
    json list = json::array();
    for (const auto &[mode, acl] : acls.by_mode()) {
        list.push_back({{"mode", octal(mode)}, {"entries", entries_of_system(acl.get())}});
    }
    return list;
}

void print_as_json(const options &o, const system_acls &acls, const std::vector<outcome> &all, int status) {
    json files = json::array();
    for (const outcome &one : all) {
        files.push_back({{"file", one.file},
                         {"result", name_of(one.is, false)},
                         {"reason", one.reason.empty() ? json(nullptr) : json(one.reason)}});
    }
    json answer = {{"policy", o.policy},
                   {"role_map", o.role_map ? json(*o.role_map) : json(nullptr)},
                   {"required", acls.words().as_json(acls.required())},
                   {"owner", sid_text(acls.owners().user)},
                   {"group", sid_text(acls.owners().group)},
                   {"dry_run", o.dry_run},
                   {"system_acls", acls_as_json(acls)},
                   {"left_out", acls.left_out()},
                   {"files", std::move(files)}};
    for (const auto &row : results) answer[row.name] = count_of(all, row.is);
    answer["exit_status"] = status;
    print_json(answer);
}

int apply(const options &o) {
    system_acls acls(o);
    const std::vector<outcome> all = apply_to_all(o, acls);
    const int status = count_of(all, result::refused) ? exit_negative : exit_done;
    o.as_json ? print_as_json(o, acls, all, status) : print_text(o, acls, all);
    return status;
}

} // namespace

void add_acl_apply(command parent, action &chosen) {
    const auto o = std::make_shared<options>();
    const command apply_command = parent.add("apply", "Let the operating system enforce a policy on files");
    apply_command.positional("file", o->files, "FILE", "Files that get the system ACL").required();
    apply_command.option("--policy", o->policy, "FILE", "ACL file").required();
    apply_command.option("--rolemap", o->role_map, "FILE", "Who holds the policy's roles");
    apply_command.option("--required", o->required, "NAMES", "Permissions that let someone read a file, as Read")
        .required();
    apply_command.option("--owner", o->owner, "USER", "Owner of the object").required();
    apply_command.option("--group", o->group, "GROUP", "Group of the object; else the owner's primary group");
    apply_command.option("--permissions", o->permissions, "FILE", "Permission names and generic map");
    apply_command.flag("--dry-run", o->dry_run, "Tell what would be done, and do nothing");
    apply_command.flag("--json", o->as_json, "Answer in JSON");
    apply_command.footer(
        "Whom the ACL lets read, a file's mode may let write and execute. Owners of the files stay as they\n"
        "are. Each file gets the whole ACL or keeps what it has. Links and directories are not followed.\n"
        "Exit status: 0 done, 1 some files refused, 2 bad input, and no file was touched.");
    apply_command.runs([o] { return apply(*o); }, chosen);
}

} // namespace tool
