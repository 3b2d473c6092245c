#include "internal/ks_sys_os.hpp"

#include "internal/ks_os.hpp"
#include "ks/ks_errno.h"
#include "ks_account_database.hpp"

#include <cerrno>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace ks::os {

int host_name(char *buffer, size_t size) noexcept {
    // It cuts with or without an error, and need not terminate then.
    if (gethostname(buffer, size) != 0 && errno != ENAMETOOLONG) {
        return ks_errno_from_host(errno);
    }
    buffer[size - 1] = '\0';
    return 0;
}

int login_name(std::string &name) {
    std::vector<char> buffer;
    passwd record, *found = nullptr;
    const int error = ask_database(buffer, found, [&](char *at, size_t size, passwd **entry) {
        return getpwuid_r(getuid(), &record, at, size, entry);
    });
    if (error == 0) name = found->pw_name;
    return error;
}

int home_directory(const char *login, std::string &directory) {
    std::vector<char> buffer;
    passwd record, *found = nullptr;
    const int error = ask_database(buffer, found, [&](char *at, size_t size, passwd **entry) {
        return getpwnam_r(login, &record, at, size, entry);
    });
    if (error != 0) return error;
    const char *chosen = found->pw_uid == getuid() ? trusted_getenv("HOME") : nullptr;
    directory = chosen && *chosen == '/' ? chosen : found->pw_dir;
    return 0;
}

} // namespace ks::os
