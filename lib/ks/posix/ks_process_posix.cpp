#include "internal/ks_process_os.hpp"

#include "ks/ks_errno.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

// How a program is started: which files and signals it has.
class spawn_settings {
public:
    spawn_settings() {
        ok_ = posix_spawn_file_actions_init(&files_) == 0;
        ok_ = posix_spawnattr_init(&attributes_) == 0 && ok_;
        sigset_t none, all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        ok_ = posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1) == 0 && ok_;
    }
    ~spawn_settings() {
        posix_spawn_file_actions_destroy(&files_);
        posix_spawnattr_destroy(&attributes_);
    }
    spawn_settings(const spawn_settings &) = delete;
    spawn_settings &operator=(const spawn_settings &) = delete;

    // Error of the host, 0 when the program runs.
    int start(pid_t &child, const char *program, char *const *arguments) const {
        return ok_ ? posix_spawn(&child, program, &files_, &attributes_, arguments, environ) : ENOMEM;
    }

private:
    posix_spawn_file_actions_t files_;
    posix_spawnattr_t attributes_;
    bool ok_;
};

// Keeps the caller's signal handlers out of a child until the child has reset them.
class signals_blocked {
public:
    signals_blocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    ~signals_blocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    signals_blocked(const signals_blocked &) = delete;
    signals_blocked &operator=(const signals_blocked &) = delete;

private:
    sigset_t before_;
};

int wait_for(pid_t child, int &status) {
    pid_t ended;
    do {
        ended = waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    return ended < 0 ? errno : 0;
}

// How a program ended, or the host's error for which it did not start.
struct ending {
    int error, status;
};

ending run_here(const spawn_settings &settings, const char *program, char *const *arguments) {
    ending how{};
    pid_t child = 0;
    how.error = settings.start(child, program, arguments);
    if (how.error == 0) how.error = wait_for(child, how.status);
    return how;
}

// Whether children leave no status behind, because the process ignores them.
bool children_vanish() {
    struct sigaction now;
    return sigaction(SIGCHLD, nullptr, &now) == 0 &&
           (now.sa_handler == SIG_IGN || (now.sa_flags & SA_NOCLDWAIT) != 0);
}

// Lets a process in between, which does not ignore its children, run the program and tell how it ended.
ending run_by_another(const spawn_settings &settings, const char *program, char *const *arguments) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return {errno, 0};
    const signals_blocked no_handlers;
    const pid_t between = fork();
    if (between == 0) {
        struct sigaction plain = {};
        plain.sa_handler = SIG_DFL;
        sigaction(SIGCHLD, &plain, nullptr);
        const ending how = run_here(settings, program, arguments);
        _exit(write(ends[1], &how, sizeof how) == static_cast<ssize_t>(sizeof how) ? 0 : 1);
    }
    ending how{between < 0 ? errno : ECHILD, 0};
    close(ends[1]);
    if (between > 0) {
        ssize_t got;
        do {
            got = read(ends[0], &how, sizeof how);
        } while (got < 0 && errno == EINTR);
        if (got != static_cast<ssize_t>(sizeof how)) how = {ECHILD, 0};
    }
    close(ends[0]);
    return how;
}

// ---- in a child, where only calls that are safe after fork() of a program with threads may be made

void write_error(int pipe_end, int error) {
    while (write(pipe_end, &error, sizeof error) < 0 && errno == EINTR) {}
}

// Not close-on-exec: the descriptor may be that of a standard stream already.
bool silence_streams() {
    const int nowhere = open("/dev/null", O_RDWR); // NOLINT(android-cloexec-open)
    if (nowhere < 0) return false;
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (dup2(nowhere, stream) < 0) return false;
    if (nowhere > STDERR_FILENO) close(nowhere);
    return true;
}

void reset_signals() {
    struct sigaction plain = {};
    plain.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; number++) sigaction(number, &plain, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Becomes the program. The pipe's end closes when that goes well, and tells why when it does not.
[[noreturn]] void become(const char *directory, const char *program, char *const *arguments, int pipe_end) {
    constexpr int error_end = STDERR_FILENO + 1; // the pipe's end may be a standard stream's number
    const int copy = fcntl(pipe_end, F_DUPFD_CLOEXEC, error_end);
    if (copy < 0 || (copy != error_end && dup3(copy, error_end, O_CLOEXEC) < 0)) {
        write_error(pipe_end, errno);
        _exit(127);
    }
    reset_signals();
    closefrom(error_end + 1);
    if (silence_streams() && (!directory || chdir(directory) == 0)) execve(program, arguments, environ);
    write_error(error_end, errno);
    _exit(127);
}

// The first child ends at once, so that the host's first process inherits the second and nobody has to wait for it.
[[noreturn]] void start_second_child(const char *directory, const char *program, char *const *arguments,
                                     int pipe_end) {
    setsid();
    const pid_t second = _Fork();
    if (second < 0) write_error(pipe_end, errno);
    if (second != 0) _exit(0);
    become(directory, program, arguments, pipe_end);
}

// The error that comes through the pipe; 0 when it closes without one.
int read_error(int pipe_end) {
    int error = 0;
    ssize_t got;
    do {
        got = read(pipe_end, &error, sizeof error);
    } while (got < 0 && errno == EINTR);
    return got == static_cast<ssize_t>(sizeof error) ? error : 0;
}

} // namespace

namespace ks::os {

int run(const char *program, char *const *arguments, int &exit_status) noexcept {
    const spawn_settings settings;
    const ending how =
        children_vanish() ? run_by_another(settings, program, arguments) : run_here(settings, program, arguments);
    if (how.error != 0) return ks_errno_from_host(how.error);
    exit_status = WIFEXITED(how.status) ? WEXITSTATUS(how.status) : 128 + WTERMSIG(how.status);
    return 0;
}

int start_detached(const char *directory, const char *program, char *const *arguments) noexcept {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return ks_errno_from_host(errno);
    const signals_blocked no_handlers;
    const pid_t first = fork();
    if (first == 0) start_second_child(directory, program, arguments, ends[1]);
    int error = first < 0 ? errno : 0;
    close(ends[1]);
    if (first > 0) {
        int status;
        wait_for(first, status);
        error = read_error(ends[0]);
    }
    close(ends[0]);
    return error == 0 ? 0 : ks_errno_from_host(error);
}

} // namespace ks::os
