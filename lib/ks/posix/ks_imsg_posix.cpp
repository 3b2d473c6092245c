#include "internal/ks_imsg_os.hpp"

#include "ks/ks_errno.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <nl_types.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr mode_t log_mode = 0640, log_directory_mode = 0750;

// Without waiting: a pipe or device that was put in the log's place must not hold the program up.
int open_for_append(const char *path) noexcept {
    int file;
    do {
        file = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, log_mode);
    } while (file < 0 && errno == EINTR);
    return file;
}

bool make_directory_of(const char *path) noexcept {
    char directory[PATH_MAX];
    const char *leaf = std::strrchr(path, '/');
    if (!leaf || leaf == path) return false;
    const auto length = static_cast<size_t>(leaf - path);
    if (length >= sizeof directory) return false;
    std::memcpy(directory, path, length);
    directory[length] = '\0';
    return mkdir(directory, log_directory_mode) == 0 || errno == EEXIST;
}

} // namespace

namespace ks::os {

const char *error_text(int host_error) noexcept { return strerrordesc_np(host_error); }

const char *program_name() noexcept { return program_invocation_short_name; }

uint64_t process_id() noexcept { return static_cast<uint64_t>(getpid()); }

uint64_t thread_id() noexcept { return static_cast<uint64_t>(gettid()); }

bool is_terminal(std::FILE *stream) noexcept {
    const int file = fileno(stream);
    return file >= 0 && isatty(file);
}

int open_log(const char *host_path, log_file &file) noexcept {
    int opened = open_for_append(host_path);
    if (opened < 0 && errno == ENOENT && make_directory_of(host_path)) opened = open_for_append(host_path);
    if (opened < 0) return ks_errno_from_host(errno);
    struct stat status;
    if (fstat(opened, &status) != 0 || !S_ISREG(status.st_mode)) {
        close(opened);
        return KS_EINVAL;
    }
    file = opened;
    return 0;
}

bool append_to_log(log_file file, std::string_view bytes) noexcept {
    while (!bytes.empty()) {
        const ssize_t written = write(static_cast<int>(file), bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

void close_log(log_file file, bool durable) noexcept {
    const int kept = errno;
    if (durable) {
        while (fsync(static_cast<int>(file)) != 0 && errno == EINTR) {}
    }
    close(static_cast<int>(file));
    errno = kept;
}

void report_event(const char *text) noexcept { syslog(LOG_USER | LOG_ERR, "%s", text); }

catalogue::catalogue(const char *name) noexcept {
    const int kept = errno;
    const nl_catd none = reinterpret_cast<nl_catd>(-1);
    const nl_catd opened = name ? catopen(name, NL_CAT_LOCALE) : none;
    handle_ = opened == none ? nullptr : opened;
    errno = kept;
}

catalogue::~catalogue() {
    if (handle_) catclose(static_cast<nl_catd>(handle_));
}

const char *catalogue::text(uint16_t set, uint16_t number) const noexcept {
    static const char absent[] = "";
    const int kept = errno;
    const char *found = catgets(static_cast<nl_catd>(handle_), set, number, absent);
    errno = kept;
    return found == absent ? nullptr : found;
}

} // namespace ks::os
