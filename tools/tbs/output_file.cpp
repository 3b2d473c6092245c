#include "output_file.hpp"

#include "byte_file.hpp"
#include "ks/ks_acl.h"
#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_imsg.h"
#include "tool.hpp"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {
namespace {

using owned_system_acl = owned<sysutl_acl_t *, sysutl_acl_free>;

[[noreturn]] void refuse(const std::string &path, const std::string &reason) {
    throw failure(path, 0, "the file cannot be written: " + reason, "What was there before is still there.");
}

[[noreturn]] void refuse(const std::string &path, int host_error) {
    refuse(path, imsg_strerror(ks_errno_from_host(host_error)));
}

struct free_text {
    void operator()(char *text) const { std::free(text); }
};

// The file that is to be replaced: where links lead, or a new one.
std::string target_of(const std::string &path) {
    char host_path[PATH_MAX];
    if (const int error = fileutl_host_path(path.c_str(), host_path, sizeof host_path)) {
        refuse(path, imsg_strerror(error));
    }
    const std::unique_ptr<char, free_text> resolved(realpath(host_path, nullptr));
    if (!resolved) {
        struct stat dangling;
        if (errno != ENOENT || lstat(host_path, &dangling) == 0) refuse(path, errno);
        return host_path;
    }
    // As a product path it would name another file.
    if (std::strchr(resolved.get(), '\\')) refuse(path, "it leads to a name with a backslash");
    return resolved.get();
}

// A file beside the target, removed unless it has taken the target's place.
class temporary_file {
public:
    temporary_file(const std::string &path, const std::string &target) : path_(path), target_(target) {
        const size_t slash = target.rfind('/');
        directory_ = slash == std::string::npos ? "." : target.substr(0, slash + 1);
        name_ = (slash == std::string::npos ? "" : directory_) + ".tbs-XXXXXX";
        descriptor_ = mkostemp(name_.data(), O_CLOEXEC);
        if (descriptor_ < 0) refuse(path_, errno);
    }
    ~temporary_file() {
        if (descriptor_ >= 0) close(descriptor_);
        if (!published_) unlink(name_.c_str());
    }
    temporary_file(const temporary_file &) = delete;
    temporary_file &operator=(const temporary_file &) = delete;

    void write(std::string_view content) const {
        while (!content.empty()) {
            const ssize_t written = ::write(descriptor_, content.data(), content.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) refuse(path_, errno);
            content.remove_prefix(static_cast<size_t>(written));
        }
    }

    // Gives the file the owner, the mode and the access control list of the one that it replaces.
    void look_like(const struct stat &old) const {
        struct stat now;
        if (fstat(descriptor_, &now) != 0) refuse(path_, errno);
        const bool same_owner = now.st_uid == old.st_uid && now.st_gid == old.st_gid;
        if (!same_owner && fchown(descriptor_, old.st_uid, old.st_gid) != 0) refuse(path_, errno);
        if (fchmod(descriptor_, old.st_mode & 07777) != 0) refuse(path_, errno);
        owned_system_acl acl;
        int error = sysutl_acl_get_file(target_.c_str(), acl.put());
        if (error == 0) error = sysutl_acl_set_file(name_.c_str(), acl.get());
        if (error != 0 && error != KS_ENOSYS) refuse(path_, imsg_strerror(error));
    }

    void look_new() const {
        const mode_t mask = umask(0);
        umask(mask);
        if (fchmod(descriptor_, 0666 & ~mask) != 0) refuse(path_, errno);
    }

    // The rename is on the disk too when this comes back.
    void publish() {
        if (fsync(descriptor_) != 0) refuse(path_, errno);
        if (rename(name_.c_str(), target_.c_str()) != 0) refuse(path_, errno);
        published_ = true;
        const int directory = open(directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (directory < 0) return; // may not be read: the new content stands all the same
        fsync(directory);
        close(directory);
    }

private:
    const std::string &path_, &target_;
    std::string directory_, name_;
    int descriptor_ = -1;
    bool published_ = false;
};

} // namespace

void replace_file(const std::string &path, std::string_view content) {
    const std::string target = target_of(path);
    struct stat old;
    const bool exists = lstat(target.c_str(), &old) == 0;
    if (!exists && errno != ENOENT) refuse(path, errno);
    if (exists && !S_ISREG(old.st_mode)) refuse(path, "it is no regular file");
    temporary_file file(path, target);
    file.write(content);
    exists ? file.look_like(old) : file.look_new();
    file.publish();
}

void write_answer(const std::optional<std::string> &path, std::string_view content) {
    if (path) return replace_file(*path, content);
    if (std::fwrite(content.data(), 1, content.size(), stdout) != content.size() || std::fflush(stdout) != 0) {
        throw failure("the answer cannot be written to standard output", "Look for a full disk or a closed pipe.");
    }
}

void write_bytes(const std::optional<std::string> &path, std::span<const uint8_t> content) {
    if (!path && output_is_terminal()) {
        throw failure("the answer is bytes, which are not written to a terminal",
                      "Name a file with --out, or send standard output into a file or a pipe.");
    }
    write_answer(path, as_text(content));
}

} // namespace tool
