#include "ks/ks_process.h"

#include "ks/ks_errno.h"
#include "support/answer_pipe.hpp"
#include "support/temp_dir.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;

// Runs a script's text through sysutl_invokev_redirect.
struct outcome {
    int error;
    int status;
};
outcome run(std::vector<std::string> words) {
    std::vector<char *> arguments;
    for (std::string &word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    outcome seen{0, -1};
    seen.error = sysutl_invokev_redirect(words[0].c_str(), arguments.data(), &seen.status);
    return seen;
}

std::string script(const temp_dir &dir, const std::string &leaf, const std::string &body) {
    const std::string path = dir.write(leaf, "#!/bin/sh\n" + body);
    chmod(path.c_str(), 0755);
    return path;
}

} // namespace

// ---- sysutl_invokev_redirect

TEST(SysutlInvokev, GivesTheExitStatus) {
    EXPECT_EQ(run({"/bin/true"}).status, 0);
    EXPECT_EQ(run({"/bin/sh", "-c", "exit 37"}).status, 37);
    EXPECT_EQ(run({"/bin/sh", "-c", "kill -9 $$"}).status, 128 + SIGKILL);
}

TEST(SysutlInvokev, GivesArgumentsAsTheyAre) {
    const temp_dir dir;
    const std::string program = script(dir, "print", "for a; do printf '<%s>' \"$a\"; done > " + (dir / "out"));
    EXPECT_EQ(run({program, "a b", "", "$HOME;`x`", "\"", "*", "-n"}).status, 0);
    EXPECT_EQ(dir.read("out"), "<a b><><$HOME;`x`><\"><*><-n>");
}

TEST(SysutlInvokev, TakesProductPaths) {
    const temp_dir dir;
    std::string program = script(dir, "one", "exit 3");
    std::replace(program.begin(), program.end(), '/', '\\');
    EXPECT_EQ(run({program}).status, 3);
}

TEST(SysutlInvokev, SaysWhyAProgramDoesNotStart) {
    const temp_dir dir;
    const std::string plain = dir.write("plain", "no program");
    EXPECT_EQ(run({dir / "none"}).error, KS_ENOENT);
    EXPECT_EQ(run({plain}).error, KS_EACCES);
    chmod(plain.c_str(), 0755);
    EXPECT_EQ(run({plain}).error, KS_ENOEXEC);
    EXPECT_EQ(run({dir.str()}).error, KS_EACCES);
    ks_errno = 0;
    EXPECT_EQ(run({std::string(5000, 'x')}).error, KS_ENAMETOOLONG);
    EXPECT_EQ(ks_errno, KS_ENAMETOOLONG);
}

TEST(SysutlInvokev, DoesNotSearchForPrograms) { EXPECT_EQ(run({"true"}).error, KS_ENOENT); }

TEST(SysutlInvokev, RefusesNulls) {
    char name[] = "/bin/true";
    char *arguments[] = {name, nullptr}, *none[] = {nullptr};
    int status = 5;
    EXPECT_EQ(sysutl_invokev_redirect(nullptr, arguments, &status), KS_EINVAL);
    EXPECT_EQ(sysutl_invokev_redirect(name, nullptr, &status), KS_EINVAL);
    EXPECT_EQ(sysutl_invokev_redirect(name, none, &status), KS_EINVAL);
    EXPECT_EQ(sysutl_invokev_redirect(name, arguments, nullptr), KS_EINVAL);
    EXPECT_EQ(status, 5);
}

TEST(SysutlInvokev, GivesNoOpenFilesAway) {
    const temp_dir dir;
    const int open_file = open("/dev/null", O_RDONLY); // without close-on-exec
    ASSERT_GE(open_file, 3);
    const std::string number = std::to_string(open_file);
    EXPECT_EQ(run({"/bin/sh", "-c", "test ! -e /proc/self/fd/" + number}).status, 0);
    close(open_file);
}

TEST(SysutlInvokev, StartsProgramsWithoutBlockedOrIgnoredSignals) {
    sigset_t blocked, before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigprocmask(SIG_BLOCK, &blocked, &before);
    const auto handler = std::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(run({"/bin/sh", "-c", "kill -TERM $$; exit 1"}).status, 128 + SIGTERM);
    EXPECT_EQ(run({"/bin/sh", "-c", "kill -PIPE $$; exit 1"}).status, 128 + SIGPIPE);
    std::signal(SIGPIPE, handler);
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

TEST(SysutlInvokev, GivesTheExitStatusAlsoWhenChildrenAreIgnored) {
    const auto handler = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(run({"/bin/sh", "-c", "exit 37"}).status, 37);
    EXPECT_EQ(run({"/bin/sh", "-c", "kill -9 $$"}).status, 128 + SIGKILL);
    EXPECT_EQ(run({"/none"}).error, KS_ENOENT);
    std::signal(SIGCHLD, handler);
    while (waitpid(-1, nullptr, 0) > 0) continue; // what was still ending is not taken away by the host any more
}

// ---- sysutl_invoke_no_window_no_wait

TEST(SysutlInvokeNoWait, StartsAProgramInItsDirectory) {
    const temp_dir dir;
    const answer_pipe answer(dir);
    script(dir, "bin dir/viewer", "printf '%s|%s|%s|%s\\n' \"$PWD\" \"$#\" \"$1\" \"$2\" > " + answer.path());
    const std::string command = "cd /d \"" + (dir / "bin dir") + "\\\" && \"viewer\" /topics/a.html \"two words\"";
    ASSERT_EQ(sysutl_invoke_no_window_no_wait(command.c_str()), 0);
    EXPECT_EQ(answer.line(), (dir / "bin dir") + "|2|/topics/a.html|two words");
}

TEST(SysutlInvokeNoWait, StartsAProgramByPath) {
    const temp_dir dir;
    const answer_pipe answer(dir);
    const std::string program =
        script(dir, "prompt", "printf '%s,' \"$@\" > " + answer.path() + "; echo >> " + answer.path());
    ASSERT_EQ(sysutl_invoke_no_window_no_wait(("\"\"" + program + "\" proceed -prompt \"not there\" -gui\"").c_str()),
              0);
    EXPECT_EQ(answer.line(), "proceed,-prompt,not there,-gui,");
}

TEST(SysutlInvokeNoWait, FindsAProgramWithoutItsExtension) {
    const temp_dir dir;
    const answer_pipe answer(dir);
    script(dir, "viewer", "echo plain > " + answer.path());
    const std::string in_directory = "cd /d \"" + dir.str() + "\" && ";
    ASSERT_EQ(sysutl_invoke_no_window_no_wait((in_directory + "\"viewer.exe\" x").c_str()), 0);
    EXPECT_EQ(answer.line(), "plain");
    ASSERT_EQ(sysutl_invoke_no_window_no_wait((in_directory + "\"viewer.bat\"").c_str()), 0);
    EXPECT_EQ(answer.line(), "plain");
    script(dir, "viewer.exe", "echo exact > " + answer.path());
    ASSERT_EQ(sysutl_invoke_no_window_no_wait((in_directory + "\"viewer.exe\" x").c_str()), 0);
    EXPECT_EQ(answer.line(), "exact");
}

TEST(SysutlInvokeNoWait, HandsNothingToAShell) {
    const temp_dir dir;
    const answer_pipe answer(dir);
    script(dir, "viewer", "printf '%s,' \"$@\" > " + answer.path() + "; echo >> " + answer.path());
    const std::string evil = "$(touch " + (dir / "evil") + ");touch && \"echo\" | cat `id`";
    const std::string command = "cd /d \"" + dir.str() + "\" && \"viewer\" " + evil;
    ASSERT_EQ(sysutl_invoke_no_window_no_wait(command.c_str()), 0);
    EXPECT_EQ(answer.line(), "$(touch," + (dir / "evil") + ");touch,&&,echo,|,cat,`id`,");
    EXPECT_NE(access((dir / "evil").c_str(), F_OK), 0);
}

TEST(SysutlInvokeNoWait, LeavesNoChildBehind) {
    ASSERT_EQ(sysutl_invoke_no_window_no_wait("cd /d \"/\" && \"bin\""), KS_EACCES);
    ASSERT_EQ(sysutl_invoke_no_window_no_wait("\"\"/bin/true\"\""), 0);
    errno = 0;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(SysutlInvokeNoWait, RunsInASessionOfItsOwnWithoutStreams) {
    const temp_dir dir;
    const answer_pipe answer(dir);
    script(dir, "viewer",
           "exec 9> " + answer.path() + "; echo \"$(cut -d' ' -f6 /proc/$$/stat) $(readlink /proc/$$/fd/0)\" >&9");
    ASSERT_EQ(sysutl_invoke_no_window_no_wait(("cd /d \"" + dir.str() + "\" && \"viewer\"").c_str()), 0);
    const std::string line = answer.line();
    EXPECT_THAT(line, HasSubstr(" /dev/null"));
    EXPECT_NE(line.substr(0, line.find(' ')), std::to_string(getsid(0)));
}

TEST(SysutlInvokeNoWait, SaysWhyAProgramDoesNotStart) {
    const temp_dir dir;
    dir.write("plain", "no program");
    const auto in_dir = [&](const std::string &program) {
        return sysutl_invoke_no_window_no_wait(("cd /d \"" + dir.str() + "\" && \"" + program + "\" x").c_str());
    };
    EXPECT_EQ(in_dir("none"), KS_ENOENT);
    EXPECT_EQ(in_dir("none.exe"), KS_ENOENT);
    EXPECT_EQ(in_dir("plain"), KS_EACCES);
    EXPECT_EQ(in_dir("../plain"), KS_EINVAL);
    EXPECT_EQ(in_dir("/bin/true"), KS_EINVAL);
    EXPECT_EQ(sysutl_invoke_no_window_no_wait("cd /d \"/none\" && \"true\""), KS_ENOENT);
    EXPECT_EQ(sysutl_invoke_no_window_no_wait("cd /d \"/etc/passwd\" && \"true\""), KS_ENOTDIR);
}

TEST(SysutlInvokeNoWait, UnderstandsNothingElse) {
    for (const char *command :
         {"", "true", "/bin/true", "\"/bin/true\"", "\"\"\"\"", "\"", "\"\"", "\"\"/bin/true\"x\"",
          "cd /d /bin && \"true\"", "cd /d \"/bin\"", "cd /d \"/bin\" && true", "cd /d \"/bin\" & \"true\"",
          "cd /d \"\" && \"true\"", "cd /d \"/bin\" && \"\"", "cd /d \"/bin\" && \"true\"x",
          "cd \"/bin\" && \"true\"", " cd /d \"/bin\" && \"true\"", "cd /d \"/bin && \"true\""}) {
        ks_errno = 0;
        EXPECT_EQ(sysutl_invoke_no_window_no_wait(command), KS_EINVAL) << command;
        EXPECT_EQ(ks_errno, KS_EINVAL);
    }
    EXPECT_EQ(sysutl_invoke_no_window_no_wait(nullptr), KS_EINVAL);
}

TEST(SysutlInvokeNoWait, WorksWhenTheCallersStreamsAreClosed) {
    const temp_dir dir;
    const answer_pipe answer(dir);
    script(dir, "viewer", "echo here > " + answer.path());
    const std::string good = "cd /d \"" + dir.str() + "\" && \"viewer\"",
                      bad = "cd /d \"" + dir.str() + "\" && \"none\"";
    const pid_t child = fork();
    if (child == 0) {
        for (const int stream : {0, 1, 2}) close(stream);
        const bool right = sysutl_invoke_no_window_no_wait(good.c_str()) == 0 &&
                           sysutl_invoke_no_window_no_wait(bad.c_str()) == KS_ENOENT;
        _exit(right ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(answer.line(), "here");
}
