#include "ks/ks_cred.h"
#include "ks/ks_errno.h"
#include "ks/ks_imsg.h"
#include "ks/ks_sys.h"
#include "support/env.hpp"
#include "support/faults.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <gtest/gtest.h>
#include <map>
#include <pwd.h>
#include <spawn.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// What the host's calls answer in place of the truth.
struct host_answers {
    std::vector<int> reads; // errors of the next ones
    bool has_no_name = false;
    uint32_t id_of_ghost = 0; // of the user "ghost"; 0: there is none
};
host_answers scripted;

} // namespace

extern "C" [[gnu::visibility("default")]] ssize_t read(int fd, void *buffer, size_t size) {
    if (scripted.reads.empty()) return syscall(SYS_read, fd, buffer, size);
    errno = scripted.reads.back();
    scripted.reads.pop_back();
    return -1;
}

extern "C" [[gnu::visibility("default")]] int gethostname(char *name, size_t size) noexcept {
    static const auto next = reinterpret_cast<decltype(&gethostname)>(dlsym(RTLD_NEXT, "gethostname"));
    if (!scripted.has_no_name) return next(name, size);
    errno = EPERM;
    return -1;
}

extern "C" [[gnu::visibility("default")]] int getpwnam_r(const char *name, passwd *record, char *buffer, size_t size,
                                                         passwd **found) {
    static const auto next = reinterpret_cast<decltype(&getpwnam_r)>(dlsym(RTLD_NEXT, "getpwnam_r"));
    if (scripted.id_of_ghost == 0 || std::strcmp(name, "ghost") != 0) return next(name, record, buffer, size, found);
    *record = {};
    record->pw_uid = scripted.id_of_ghost;
    *found = record;
    return 0;
}

namespace {

using strings = std::vector<std::string>;

std::string sid_text(const credutl_sid_t &sid) {
    char text[CREDUTL_SID_STR_SIZE] = "";
    credutl_sid_to_str(&sid, text, sizeof text);
    return text;
}

credutl_sid_t sid(const char *text) {
    credutl_sid_t out{};
    EXPECT_EQ(credutl_str_to_sid(text, &out), 0) << text;
    return out;
}

strings texts_of(const recording_sink &sink) {
    strings texts;
    for (const recorded_message &each : sink.messages()) {
        texts.push_back(std::to_string(each.severity) + ' ' + each.module + ' ' +
                        each.text.substr(0, each.text.find('\n')));
    }
    return texts;
}

const char accounts_text[] = "CORP\\alice user S-1-5-21-1-2-3-1001 700001\n"
                             "CORP\\bob user S-1-5-21-1-2-3-1002\n"
                             "CORP\\Domain Users group S-1-5-21-1-2-3-513 700000\n"
                             "CORP\\Developers group S-1-5-21-1-2-3-1100\n"
                             "CORP\\alice member CORP\\Domain Users\n"
                             "CORP\\alice member CORP\\Developers\n"
                             "CORP\\alice member CORP\\Nowhere\n"
                             "CORP\\bob member CORP\\Nowhere\n";

// In this process, with an accounts file of its own.
class Accounts : public testing::Test {
protected:
    Accounts() { use(folder.write("accounts", accounts_text)); }
    ~Accounts() override {
        credutl_flush_accounts();
        scripted = {};
    }
    void use(const std::string &path) {
        setenv("ORSIK_ACCOUNTS", path.c_str(), 1);
        credutl_flush_accounts();
    }
    int by_name(credutl_account_kind_t kind, const std::string &name) {
        account = {};
        return credutl_account_by_name(kind, name.c_str(), &account);
    }

    const scoped_env restored{"ORSIK_ACCOUNTS", "/dev/null"};
    temp_dir folder;
    credutl_account_t account{};
};

TEST_F(Accounts, FileAnswersByNameSidAndId) {
    ASSERT_EQ(by_name(CREDUTL_USER, "corp/ALICE"), 0);
    EXPECT_EQ(account.kind, CREDUTL_USER);
    EXPECT_STREQ(account.name, "CORP\\alice");
    EXPECT_EQ(sid_text(account.sid), "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(account.id, 700001u);
    EXPECT_STREQ(account.source, "accounts");

    const credutl_sid_t users = sid("S-1-5-21-1-2-3-513");
    ASSERT_EQ(credutl_account_by_sid(CREDUTL_GROUP, &users, &account), 0);
    EXPECT_STREQ(account.name, "CORP\\Domain Users");
    ASSERT_EQ(credutl_account_by_id(CREDUTL_GROUP, 700000, &account), 0);
    EXPECT_TRUE(credutl_sid_eq(&account.sid, &users));
    EXPECT_STREQ(account.name, "CORP\\Domain Users");
    EXPECT_STREQ(account.source, "accounts");
    EXPECT_EQ(credutl_sid_to_gid(&users), 700000u);
}

TEST_F(Accounts, WhatNoSourceKnowsIsUnknown) {
    const credutl_sid_t nobody = CREDUTL_SID_NOBODY;
    const credutl_sid_t stranger = sid("S-1-5-21-9-9-9-9");
    ks_errno = 0;
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\carol"), KS_ENOENT);
    EXPECT_EQ(ks_errno, KS_ENOENT);
    EXPECT_EQ(by_name(CREDUTL_GROUP, "CORP\\alice"), KS_ENOENT);
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\Domain Users"), KS_ENOENT);
    EXPECT_EQ(credutl_account_by_sid(CREDUTL_USER, &nobody, &account), KS_ENOENT);
    EXPECT_EQ(credutl_account_by_sid(CREDUTL_USER, &stranger, &account), KS_ENOENT);
    EXPECT_EQ(credutl_sid_to_uid(&stranger), CREDUTL_NO_ID);
    EXPECT_EQ(credutl_sid_to_uid(&nobody), CREDUTL_NO_ID);
}

TEST_F(Accounts, AccountWithoutAnIdHasNone) {
    const credutl_sid_t bob = sid("S-1-5-21-1-2-3-1002");
    EXPECT_EQ(credutl_sid_to_uid(&bob), CREDUTL_NO_ID);
    ASSERT_EQ(credutl_account_by_sid(CREDUTL_USER, &bob, &account), 0);
    EXPECT_EQ(account.id, CREDUTL_NO_ID);
}

TEST_F(Accounts, BadArgumentsAreRefused) {
    credutl_sid_t out{};
    const credutl_sid_t empty{};
    EXPECT_EQ(by_name(CREDUTL_USER, ""), KS_EINVAL);
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\"), KS_EINVAL);
    EXPECT_EQ(by_name(static_cast<credutl_account_kind_t>(3), "CORP\\alice"), KS_EINVAL);
    EXPECT_EQ(by_name(CREDUTL_USER, std::string(CREDUTL_NAME_SIZE, 'x')), KS_ENAMETOOLONG);
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\" + std::string(CREDUTL_NAME_SIZE - 6, 'x')), KS_ENOENT);
    EXPECT_EQ(by_name(CREDUTL_USER, std::string(CREDUTL_NAME_SIZE - 1, 'x')), KS_ENAMETOOLONG) << "with the domain";
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\a\\b"), KS_ENOENT);
    EXPECT_EQ(by_name(CREDUTL_USER, "\\alice"), KS_ENOENT);
    EXPECT_EQ(credutl_account_by_name(CREDUTL_USER, nullptr, &account), KS_EINVAL);
    EXPECT_EQ(credutl_account_by_name(CREDUTL_USER, "CORP\\alice", nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_account_by_sid(CREDUTL_USER, nullptr, &account), KS_EINVAL);
    EXPECT_EQ(credutl_account_by_sid(CREDUTL_USER, &CREDUTL_SID_NOBODY, nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_account_by_sid(CREDUTL_USER, &empty, &account), KS_EINVAL);
    EXPECT_EQ(credutl_account_by_id(CREDUTL_USER, 1, nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_account_by_id(static_cast<credutl_account_kind_t>(3), 1, &account), KS_EINVAL);
    EXPECT_EQ(credutl_account_by_id(CREDUTL_USER, CREDUTL_NO_ID, &account), KS_ENOENT);
    EXPECT_EQ(credutl_account_by_id(CREDUTL_USER, UINT32_MAX, &account), KS_ENOENT);
    EXPECT_EQ(credutl_uid_to_sid(UINT32_MAX, &out), KS_ENOENT);
    EXPECT_EQ(credutl_uid_to_sid(1, nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_gid_to_sid(1, nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_sid_to_uid(nullptr), CREDUTL_NO_ID);
    EXPECT_EQ(credutl_sid_to_gid(nullptr), CREDUTL_NO_ID);
}

TEST_F(Accounts, HostsOwnAccountsHaveTheirOwnSids) {
    const std::string host = credutl_local_domain();
    passwd *root = getpwuid(0);
    ASSERT_NE(root, nullptr);
    const std::string name = root->pw_name;
    for (const std::string &text : {host + "\\" + name, ".\\" + name, name, host + "/" + name}) {
        ASSERT_EQ(by_name(CREDUTL_USER, text), 0) << text;
        EXPECT_EQ(sid_text(account.sid), "S-1-22-1-0");
        EXPECT_EQ(account.id, 0u);
        EXPECT_EQ(account.name, host + "\\" + name);
        EXPECT_STREQ(account.source, "nss");
    }
    const credutl_sid_t uid0 = sid("S-1-22-1-0");
    ASSERT_EQ(credutl_account_by_sid(CREDUTL_USER, &uid0, &account), 0);
    EXPECT_EQ(account.name, host + "\\" + name);
    EXPECT_EQ(credutl_account_by_sid(CREDUTL_GROUP, &uid0, &account), KS_ENOENT);
    EXPECT_EQ(credutl_sid_to_uid(&uid0), 0u);
    EXPECT_EQ(credutl_sid_to_gid(&uid0), CREDUTL_NO_ID);
}

TEST_F(Accounts, NoLocalAccountStandsInForOneOfAnotherDomain) {
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\root"), KS_ENOENT);
    EXPECT_EQ(by_name(CREDUTL_USER, "ELSEWHERE\\root"), KS_ENOENT);
    EXPECT_EQ(by_name(CREDUTL_GROUP, "CORP\\root"), KS_ENOENT);
}

TEST_F(Accounts, LocalNamesAreTakenExactly) {
    const std::string name = getpwuid(0)->pw_name;
    std::string upper = name;
    upper[0] = static_cast<char>(std::toupper(upper[0]));
    EXPECT_EQ(by_name(CREDUTL_USER, upper), KS_ENOENT);
    EXPECT_EQ(by_name(CREDUTL_USER, name), 0);
    EXPECT_EQ(by_name(CREDUTL_USER, upper), KS_ENOENT);
}

TEST_F(Accounts, LocalUserWithTheIdOfNobodyIsNoAccount) {
    for (const uint32_t id : {CREDUTL_NO_ID, UINT32_MAX}) {
        scripted.id_of_ghost = id;
        credutl_flush_accounts();
        EXPECT_EQ(by_name(CREDUTL_USER, "ghost"), KS_ENOENT) << id;
    }
    scripted.id_of_ghost = 77;
    credutl_flush_accounts();
    EXPECT_EQ(by_name(CREDUTL_USER, "ghost"), 0);
    EXPECT_EQ(sid_text(account.sid), "S-1-22-1-77");
}

// An id that nobody has, neither as user nor as group.
uint32_t free_id() {
    uint32_t id = 3'900'000'000u;
    while (getpwuid(id) || getgrgid(id)) {
        id++;
    }
    return id;
}

TEST_F(Accounts, IdWithoutAnAccountStillHasItsSid) {
    const uint32_t id = free_id();
    const std::string text = "S-1-22-1-" + std::to_string(id);
    ASSERT_EQ(credutl_account_by_id(CREDUTL_USER, id, &account), 0);
    EXPECT_EQ(sid_text(account.sid), text);
    EXPECT_EQ(account.name, text);
    EXPECT_EQ(account.id, id);
    EXPECT_STREQ(account.source, "nss");
    credutl_sid_t out{};
    EXPECT_EQ(credutl_uid_to_sid(id, &out), 0);
    EXPECT_EQ(sid_text(out), text);
    EXPECT_EQ(credutl_sid_to_uid(&out), id);
    EXPECT_EQ(credutl_account_by_sid(CREDUTL_USER, &out, &account), KS_ENOENT);
    EXPECT_EQ(credutl_gid_to_sid(id, &out), 0);
    EXPECT_EQ(sid_text(out), "S-1-22-2-" + std::to_string(id));
}

TEST_F(Accounts, FileTakesALocalNameOver) {
    const std::string host = credutl_local_domain();
    const std::string name = getpwuid(0)->pw_name;
    use(folder.write("taken", ".\\" + name + " user S-1-5-21-5-5-5-500\n"));
    ASSERT_EQ(by_name(CREDUTL_USER, name), 0);
    EXPECT_EQ(sid_text(account.sid), "S-1-5-21-5-5-5-500");
    EXPECT_EQ(account.name, host + "\\" + name);
    // The name would lead elsewhere, so the SID of uid 0 is given none.
    const credutl_sid_t uid0 = sid("S-1-22-1-0");
    EXPECT_EQ(credutl_account_by_sid(CREDUTL_USER, &uid0, &account), KS_ENOENT);
    ASSERT_EQ(credutl_account_by_id(CREDUTL_USER, 0, &account), 0);
    EXPECT_STREQ(account.name, "S-1-22-1-0");
}

TEST_F(Accounts, ChangedFileIsReadAgainByAQuestionThatIsNotKept) {
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\alice"), 0);
    folder.write("accounts", "CORP\\alice user S-1-5-21-1-2-3-2001\nCORP\\dave user S-1-5-21-1-2-3-2002\n");
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\dave"), 0);
    ASSERT_EQ(by_name(CREDUTL_USER, "CORP\\alice"), 0);
    EXPECT_EQ(sid_text(account.sid), "S-1-5-21-1-2-3-2001");
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\bob"), KS_ENOENT);
}

TEST_F(Accounts, FileThatWasNamedMustBeThere) {
    recording_sink said;
    use(folder / "absent");
    EXPECT_EQ(by_name(CREDUTL_USER, "root"), KS_EIO);
    EXPECT_EQ(by_name(CREDUTL_USER, "root"), KS_EIO);
    credutl_sid_t out{};
    EXPECT_EQ(credutl_uid_to_sid(0, &out), KS_EIO);
    EXPECT_EQ(texts_of(said), strings{"4 ks " + (folder / "absent") +
                                      ": cannot read the accounts file: " + imsg_strerror(KS_ENOENT)});
    folder.write("absent", "CORP\\eve user S-1-5-21-1\n");
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\eve"), 0);
    EXPECT_EQ(by_name(CREDUTL_USER, "root"), 0);
}

TEST_F(Accounts, FileThatVanishesFailsClosed) {
    recording_sink said;
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\alice"), 0);
    std::filesystem::remove(folder / "accounts");
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\carol"), KS_EIO);
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\alice"), KS_EIO);
    EXPECT_EQ(said.count(), 1u);
}

TEST_F(Accounts, DirectoryIsNoAccountsFile) {
    recording_sink said;
    use(folder.str());
    EXPECT_EQ(by_name(CREDUTL_USER, "root"), KS_EIO);
    EXPECT_EQ(said.count(), 1u);
}

TEST_F(Accounts, FileThatIsTooLargeIsRefused) {
    recording_sink said;
    const std::string path = folder.write("large", "");
    ASSERT_EQ(truncate(path.c_str(), (off_t{64} << 20) + 1), 0);
    use(path);
    EXPECT_EQ(by_name(CREDUTL_USER, "root"), KS_EIO);
    use("/dev/zero");
    EXPECT_EQ(by_name(CREDUTL_USER, "root"), KS_EIO);
    EXPECT_EQ(said.count(), 2u);
}

TEST_F(Accounts, FileIsReadOnAfterAnInterruptionAndNotAfterAFailure) {
    const recording_sink said;
    scripted.reads = {EINTR, EINTR};
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\alice"), 0);
    EXPECT_TRUE(scripted.reads.empty());
    credutl_flush_accounts();
    scripted.reads = {EIO};
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\alice"), KS_EIO);
    EXPECT_EQ(texts_of(said),
              strings{"4 ks " + (folder / "accounts") + ": cannot read the accounts file: " + imsg_strerror(KS_EIO)});
}

TEST_F(Accounts, FileForWhichMemoryIsShortIsReadOnceThereIsSome) {
    const recording_sink said;
    scripted.reads = {ENOMEM};
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\alice"), KS_ENOMEM);
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\alice"), 0);
    EXPECT_TRUE(said.empty());
}

TEST_F(Accounts, EmptyDeviceAndSilentPipeAreEmptyFiles) {
    use("/dev/null");
    EXPECT_EQ(by_name(CREDUTL_USER, "root"), 0);
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\alice"), KS_ENOENT);
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    use(pipe);
    EXPECT_EQ(by_name(CREDUTL_USER, "root"), 0);
}

TEST_F(Accounts, ProductPathMayUseBackslashes) {
    std::string path = folder.write("accounts", accounts_text);
    std::replace(path.begin(), path.end(), '/', '\\');
    use(path);
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\alice"), 0);
}

TEST_F(Accounts, WarnsOnceAboutWrongLinesAndLooseModes) {
    recording_sink said;
    const std::string path = folder.write("loose", "CORP\\a user S-1-5-21-1\nwrong\nCORP\\a user S-1-5-21-2\n");
    chmod(path.c_str(), 0664);
    use(path);
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\a"), 0);
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\b"), KS_ENOENT);
    const std::string start = "4 ks " + path;
    EXPECT_EQ(texts_of(said), (strings{start + ": others than the owner may change the accounts file",
                                       start + ":2: neither an account nor a membership; the line is left out",
                                       start + ":3: name is already defined; the line is left out"}));
}

TEST_F(Accounts, WrongLinesAreNamedOneByOneUpToTwenty) {
    std::string text = "CORP\\a user S-1-5-21-1\n";
    for (int i = 0; i < 23; i++) text += "wrong\n";
    const recording_sink said;
    const std::string path = folder.write("wrong", text);
    use(path);
    EXPECT_EQ(by_name(CREDUTL_USER, "CORP\\a"), 0);
    const strings texts = texts_of(said);
    ASSERT_EQ(texts.size(), 21u);
    EXPECT_EQ(texts[19], "4 ks " + path + ":21: neither an account nor a membership; the line is left out");
    EXPECT_EQ(texts[20], "4 ks " + path + ": 3 more lines are left out");
}

TEST_F(Accounts, SixteenThreadsResolveWhileOneFlushes) {
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    std::atomic<bool> done{false};
    for (int t = 0; t < 16; t++) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 200; i++) {
                credutl_account_t found{};
                credutl_sid_t out{};
                char name[CREDUTL_NAME_SIZE];
                wrong += credutl_account_by_name(CREDUTL_USER, "CORP\\alice", &found) != 0 ||
                         sid_text(found.sid) != "S-1-5-21-1-2-3-1001";
                wrong += credutl_account_by_name(CREDUTL_USER, ("CORP\\x" + std::to_string(t)).c_str(), &found) !=
                         KS_ENOENT;
                wrong += sysutl_group_to_gsid("CORP\\Developers", SYSUTL_FORM_NAME, &out) != 0;
                wrong += sysutl_gsid_to_group(&out, SYSUTL_FORM_NAME, name, sizeof name) != 0 ||
                         std::string(name) != "CORP\\Developers";
                wrong += credutl_uid_to_sid(700001, &out) != 0 || sid_text(out) != "S-1-5-21-1-2-3-1001";
            }
        });
    }
    std::thread flusher([&] {
        while (!done) {
            credutl_flush_accounts();
            std::this_thread::yield();
        }
    });
    for (std::thread &thread : threads) {
        thread.join();
    }
    done = true;
    flusher.join();
    EXPECT_EQ(wrong, 0);
}

TEST_F(Accounts, EveryAllocationMayFail) {
    const credutl_sid_t users = sid("S-1-5-21-1-2-3-513");
    const auto every = [&](const char *what, auto question) {
        const int refused = faults::each_allocation([&](int, bool) {
            {
                const faults::suspend unrefused;
                credutl_flush_accounts();
            }
            const int error = question();
            const faults::suspend unrefused;
            EXPECT_TRUE(error == 0 || error == KS_ENOMEM) << what << ' ' << error;
        });
        EXPECT_GT(refused, 0) << what;
        EXPECT_EQ(question(), 0) << what;
    };
    every("name", [&] { return credutl_account_by_name(CREDUTL_USER, "CORP\\alice", &account); });
    every("sid", [&] { return credutl_account_by_sid(CREDUTL_GROUP, &users, &account); });
    every("id", [&] { return credutl_account_by_id(CREDUTL_USER, 700001, &account); });
    every("local name", [&] { return credutl_account_by_name(CREDUTL_USER, "root", &account); });
    every("local id", [&] { return credutl_account_by_id(CREDUTL_USER, 0, &account); });
}

TEST(CredutlLocalDomain, IsTheHostsShortNameInUpperCase) {
    char host[256];
    ASSERT_EQ(sysutl_myhostname(host, sizeof host), 0);
    std::string expected = host;
    for (char &c : expected) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    EXPECT_EQ(credutl_local_domain(), expected);
    EXPECT_EQ(credutl_local_domain(), credutl_local_domain());
}

// In a process of its own: the name is asked for once.
TEST(CredutlLocalDomain, OfAHostThatCannotTellItsNameIsLocalhost) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto is_localhost = [] {
        scripted.has_no_name = true;
        return std::string(credutl_local_domain()) == "LOCALHOST";
    };
    EXPECT_EXIT(std::exit(is_localhost() ? 0 : 1), testing::ExitedWithCode(0), "");
}

// ---- in a process of its own, with the stand-ins of sssd and winbind ----

using variables = std::map<std::string, std::string>;

class Probe : public testing::Test {
protected:
    Probe() {
        environment["ORSIK_ACCOUNTS"] = "/dev/null";
        environment["LD_LIBRARY_PATH"] = ORSIK_TEST_FAKE_DIR;
    }

    // Answers of the probe, a line each.
    strings ask(const strings &questions) {
        const std::string out = folder / "out";
        const std::string program = std::string(ORSIK_TEST_PROGRAMS_DIR) + "/accounts_probe";
        variables all = environment;
        for (char **each = environ; *each; each++) {
            const std::string text = *each;
            const size_t at = text.find('=');
            std::string &value = all[text.substr(0, at)];
            if (text.starts_with("LD_LIBRARY_PATH=")) {
                value += ':' + text.substr(at + 1);
            } else if (!environment.contains(text.substr(0, at))) {
                value = text.substr(at + 1);
            }
        }
        strings pairs;
        for (const auto &[name, value] : all) {
            pairs.push_back(name + '=' + value);
        }
        std::vector<char *> environment_list;
        for (std::string &pair : pairs) {
            environment_list.push_back(pair.data());
        }
        environment_list.push_back(nullptr);
        strings words = questions;
        words.insert(words.begin(), program);
        std::vector<char *> arguments;
        for (std::string &word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        pid_t child = -1;
        EXPECT_EQ(posix_spawn(&child, program.c_str(), &actions, nullptr, arguments.data(), environment_list.data()),
                  0)
            << program;
        posix_spawn_file_actions_destroy(&actions);
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        return lines_of(out);
    }

    static strings lines_of(const std::string &path) {
        std::ifstream file(path);
        strings lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    temp_dir folder;
    variables environment;
};

const char sssd_accounts[] = "alice@corp.test,u,S-1-5-21-1-1-1-1001,800001;"
                             "staff@corp.test,g,S-1-5-21-1-1-1-1100,800100;"
                             "CORP\\a@b,u,S-1-5-21-1-1-1-1002,800002;"
                             "both@corp.test,b,S-1-5-21-1-1-1-1003,800003;"
                             "short,u,S-1-5-21-1-1-1-1004,800004;"
                             "deep@corp.test,u,S-1-5-1-2-3-4-5-6-7,800005;"
                             "none@corp.test,u,S-1-0-0,800006";

TEST_F(Probe, BackEndsThatDoNotRunAreSkipped) {
    EXPECT_EQ(ask({"user=corp.test\\alice", "uid=0", "usid=S-1-5-21-1-1-1-1001"}),
              (strings{"2", ask({"user=root"})[0], "2"}));
    environment.erase("LD_LIBRARY_PATH");
    EXPECT_EQ(ask({"user=corp.test\\alice", "usid=S-1-5-21-1-1-1-1001"}), (strings{"2", "2"}));
}

TEST_F(Probe, BackEndThatIsNoLibraryOrLacksFunctionsIsSkipped) {
    const char *const libraries[] = {"libsss_nss_idmap.so.0", "libwbclient.so.0"};
    const strings questions = {"user=corp.test\\alice", "usid=S-1-5-21-1-1-1-1001", "uid=0", "domain"};
    const strings expected = {"2", "2", ask({"user=root"})[0], "2 "};
    environment["FAKE_SSSD"] = "alice@corp.test,u,S-1-5-21-1-1-1-1001,800001";
    environment["FAKE_WINBIND"] = "corp.test\\alice,1,1001,600001";
    environment["LD_LIBRARY_PATH"] = folder.str();
    for (const char *each : libraries) folder.write(each, "no library");
    EXPECT_EQ(ask(questions), expected);
    for (const char *each : libraries) {
        std::filesystem::remove(folder / each);
        std::filesystem::create_symlink(std::string(ORSIK_BINARY_DIR) + "/lib/liborsiknt.so", folder / each);
    }
    EXPECT_EQ(ask(questions), expected);
}

TEST_F(Probe, SssdAnswersByNameSidAndId) {
    environment["FAKE_SSSD"] = sssd_accounts;
    const std::string alice = "0 sssd corp.test\\alice S-1-5-21-1-1-1-1001 800001";
    const std::string staff = "0 sssd corp.test\\staff S-1-5-21-1-1-1-1100 800100";
    EXPECT_EQ(ask({"user=corp.test\\alice", "user=corp.test/alice", "usid=S-1-5-21-1-1-1-1001", "uid=800001",
                   "to-uid=S-1-5-21-1-1-1-1001", "group=corp.test\\staff", "gsid=S-1-5-21-1-1-1-1100", "gid=800100",
                   "to-gid=S-1-5-21-1-1-1-1100"}),
              (strings{alice, alice, alice, alice, "800001", staff, staff, staff, "800100"}));
}

TEST_F(Probe, SssdNeverAnswersForTheOtherKind) {
    environment["FAKE_SSSD"] = sssd_accounts;
    EXPECT_EQ(ask({"group=corp.test\\alice", "user=corp.test\\staff", "gsid=S-1-5-21-1-1-1-1001",
                   "usid=S-1-5-21-1-1-1-1100", "user=corp.test\\both", "group=corp.test\\both"}),
              (strings{"2", "2", "2", "2", "0 sssd corp.test\\both S-1-5-21-1-1-1-1003 800003",
                       "0 sssd corp.test\\both S-1-5-21-1-1-1-1003 800003"}));
}

TEST_F(Probe, SssdsBackslashFormIsTriedToo) {
    environment["FAKE_SSSD"] = sssd_accounts;
    EXPECT_EQ(
        ask({"user=CORP\\a@b", "usid=S-1-5-21-1-1-1-1002"}),
        (strings{"0 sssd CORP\\a@b S-1-5-21-1-1-1-1002 800002", "0 sssd CORP\\a@b S-1-5-21-1-1-1-1002 800002"}));
}

TEST_F(Probe, SssdNamesAndSidsThatCannotBeUsedAreUnknown) {
    environment["FAKE_SSSD"] = sssd_accounts;
    EXPECT_EQ(ask({"usid=S-1-5-21-1-1-1-1004", "uid=800004", "user=corp.test\\deep", "user=corp.test\\none"}),
              (strings{"2", "0 sssd S-1-5-21-1-1-1-1004 S-1-5-21-1-1-1-1004 800004", "2", "2"}));
}

TEST_F(Probe, AccountWhoseNameOrDomainCannotBeWrittenHasNoName) {
    const credutl_sid_t alice = sid("S-1-5-21-1-1-1-1001");
    for (const char *name : {"@corp.test", "alice@", "CORP\\a\\b", "/alice", "a@b/c"}) {
        environment["FAKE_SSSD"] = std::string(name) + ",u," + sid_text(alice) + ",800001";
        EXPECT_EQ(ask({"usid=" + sid_text(alice)}), strings{"2"}) << name;
    }
    environment["FAKE_SSSD"] = sssd_accounts;
    environment["FAKE_SSSD_NO_TEXT"] = "";
    EXPECT_EQ(ask({"usid=S-1-5-21-1-1-1-1001", "user=corp.test\\alice"}), (strings{"2", "2"}));
}

TEST_F(Probe, AccountsFileGoesBeforeSssd) {
    environment["FAKE_SSSD"] = sssd_accounts;
    environment["ORSIK_ACCOUNTS"] = folder.write("accounts", "corp.test\\alice user S-1-5-21-9-9-9-9 900001\n");
    // The SID that sssd has for alice would come back as another one: it is given no name.
    EXPECT_EQ(ask({"user=corp.test\\alice", "usid=S-1-5-21-1-1-1-1001", "group=corp.test\\staff"}),
              (strings{"0 accounts corp.test\\alice S-1-5-21-9-9-9-9 900001", "2",
                       "0 sssd corp.test\\staff S-1-5-21-1-1-1-1100 800100"}));
}

TEST_F(Probe, SssdThatCannotAnswerIsAnErrorAndNotKept) {
    environment["FAKE_SSSD"] = sssd_accounts;
    environment["FAKE_SSSD_ERROR"] = std::to_string(ETIME);
    environment["FAKE_WINBIND"] = "corp.test\\alice,1,1001,1";
    EXPECT_EQ(ask({"user=corp.test\\alice", "usid=S-1-5-21-1-1-1-1001", "uid=800001", "user=root",
                   "set=FAKE_SSSD_ERROR=2", "user=root", "user=corp.test\\alice"}),
              (strings{"5", "5", "5", "5", "0 nss " + std::string(credutl_local_domain()) + "\\root S-1-22-1-0 0",
                       "0 winbind corp.test\\alice S-1-5-21-7-7-7-1001 1"}));
    for (const int error : {EIO, EAGAIN, EFAULT}) {
        environment["FAKE_SSSD_ERROR"] = std::to_string(error);
        EXPECT_EQ(ask({"user=corp.test\\alice"}), strings{"5"}) << error;
    }
    for (const int error : {ENOENT, ENETUNREACH, ENOSYS, EINVAL}) {
        environment["FAKE_SSSD_ERROR"] = std::to_string(error);
        EXPECT_EQ(ask({"user=corp.test\\alice"}), strings{"0 winbind corp.test\\alice S-1-5-21-7-7-7-1001 1"})
            << error;
    }
    environment["FAKE_SSSD_ERROR"] = std::to_string(ENOMEM);
    EXPECT_EQ(ask({"user=corp.test\\alice"}), strings{"12"});
}

TEST_F(Probe, IdThatSssdCannotTellIsAnError) {
    environment["FAKE_SSSD"] = sssd_accounts;
    environment["FAKE_SSSD_ERROR"] = std::to_string(ETIME);
    environment["FAKE_SSSD_ERROR_OF"] = "idbysid";
    EXPECT_EQ(ask({"user=corp.test\\alice", "usid=S-1-5-21-1-1-1-1001"}), (strings{"5", "5"}));
    environment["FAKE_SSSD_ERROR"] = std::to_string(ENOENT);
    EXPECT_EQ(ask({"user=corp.test\\alice"}), strings{"0 sssd corp.test\\alice S-1-5-21-1-1-1-1001 4294967294"});
}

// A name is given only when it leads back, and an id only a name that could be asked for.
TEST_F(Probe, QuestionBehindTheQuestionThatSssdCannotAnswerIsAnError) {
    environment["FAKE_SSSD"] = sssd_accounts;
    environment["FAKE_SSSD_ERROR"] = std::to_string(ETIME);
    environment["FAKE_SSSD_ERROR_OF"] = "sidbyusername";
    EXPECT_EQ(ask({"usid=S-1-5-21-1-1-1-1001"}), strings{"5"});
    environment["FAKE_SSSD_ERROR_OF"] = "namebysid";
    EXPECT_EQ(ask({"uid=800001"}), strings{"5"});
    environment["FAKE_SSSD_ERROR_OF"] = "sidbygid";
    EXPECT_EQ(ask({"client=root"}), strings{"5"}) << "its groups";
}

TEST_F(Probe, GroupThatCannotBeAskedForIsNotLeftOut) {
    environment["FAKE_SSSD"] = sssd_accounts;
    environment["ORSIK_ACCOUNTS"] = folder.write("accounts", accounts_text);
    const std::string list = "strings=CORP\\alice,CORP\\Developers,corp.test\\none,corp.test\\staff";
    EXPECT_EQ(ask({list}), strings{"0 S-1-5-21-1-2-3-1001|S-1-5-21-1-2-3-1100|S-1-5-21-1-1-1-1100"});
    environment["FAKE_SSSD_ERROR"] = std::to_string(ETIME);
    EXPECT_EQ(ask({list}), strings{"5"});
}

TEST_F(Probe, AnswersAreKeptUntilTheFlush) {
    environment["FAKE_SSSD"] = sssd_accounts;
    environment["FAKE_SSSD_LOG"] = folder / "log";
    ask({"user=corp.test\\alice", "user=corp.test\\alice", "user=corp.test\\alice"});
    EXPECT_EQ(lines_of(folder / "log"), (strings{"sidbyusername alice@corp.test", "idbysid S-1-5-21-1-1-1-1001"}));
    std::filesystem::remove(folder / "log");
    ask({"group=corp.test\\x", "group=corp.test\\x", "flush", "group=corp.test\\x"});
    EXPECT_EQ(lines_of(folder / "log"), (strings{"sidbyname x@corp.test", "sidbyname corp.test\\x",
                                                 "sidbyname x@corp.test", "sidbyname corp.test\\x"}));
}

TEST_F(Probe, NobodyAsksADomainAboutTheHostsOwnSids) {
    environment["FAKE_SSSD"] = "evil@corp.test,u,S-1-22-1-0,0";
    environment["FAKE_SSSD_LOG"] = folder / "log";
    EXPECT_EQ(ask({"to-uid=S-1-22-1-0", "usid=S-1-22-3-0", "usid=S-1-22-1", "usid=S-1-22-2-0"}),
              (strings{"0", "2", "2", "2"}));
    EXPECT_EQ(lines_of(folder / "log"), strings{});
}

TEST_F(Probe, WinbindAnswersByNameSidAndId) {
    environment["FAKE_WINBIND"] = "CORP\\alice,1,1001,600001;CORP\\staff,2,1100,600100;CORP\\local,4,1200,600200;"
                                  "CORP\\domain,3,1300,600300";
    const std::string alice = "0 winbind CORP\\alice S-1-5-21-7-7-7-1001 600001";
    const std::string staff = "0 winbind CORP\\staff S-1-5-21-7-7-7-1100 600100";
    EXPECT_EQ(ask({"user=CORP\\alice", "usid=S-1-5-21-7-7-7-1001", "uid=600001", "to-uid=S-1-5-21-7-7-7-1001",
                   "group=CORP\\staff", "gsid=S-1-5-21-7-7-7-1100", "gid=600100", "to-gid=S-1-5-21-7-7-7-1100",
                   "group=CORP\\local"}),
              (strings{alice, alice, alice, "600001", staff, staff, staff, "600100",
                       "0 winbind CORP\\local S-1-5-21-7-7-7-1200 600200"}));
    EXPECT_EQ(ask({"group=CORP\\alice", "user=CORP\\staff", "user=CORP\\domain", "group=CORP\\domain",
                   "usid=S-1-5-21-7-7-7-1100", "user=CORP\\carol"}),
              (strings{"2", "2", "2", "2", "2", "2"}));
}

TEST_F(Probe, WinbindThatCannotAnswerIsAnError) {
    environment["FAKE_WINBIND"] = "CORP\\alice,1,1001,600001";
    for (const auto &[error, expected] : std::map<int, std::string>{
             {1, "5"}, {2, "5"}, {3, "12"}, {4, "2"}, {6, "2"}, {7, "2"}, {8, "5"}, {9, "5"}, {11, "2"}, {12, "2"}}) {
        environment["FAKE_WINBIND_ERROR"] = std::to_string(error);
        EXPECT_EQ(ask({"user=CORP\\alice"}), strings{expected}) << error;
        EXPECT_EQ(ask({"usid=S-1-5-21-7-7-7-1001"}), strings{expected}) << error;
    }
}

TEST_F(Probe, WinbindsEmptyAnswersAreNone) {
    environment["FAKE_WINBIND"] = "CORP\\alice,1,1001,600001";
    environment["FAKE_WINBIND_DOMAIN"] = "CORP";
    environment["FAKE_WINBIND_EMPTY"] = "";
    EXPECT_EQ(ask({"user=CORP\\alice", "usid=S-1-5-21-7-7-7-1001", "uid=600001", "domain"}),
              (strings{"2", "2", "0 nss S-1-22-1-600001 S-1-22-1-600001 600001", "2 "}));
}

TEST_F(Probe, SssdGoesBeforeWinbind) {
    environment["FAKE_SSSD"] = "alice@CORP,u,S-1-5-21-1-1-1-1001,800001";
    environment["FAKE_WINBIND"] = "CORP\\alice,1,1001,600001;CORP\\bob,1,1002,600002";
    EXPECT_EQ(ask({"user=CORP\\alice", "user=CORP\\bob", "usid=S-1-5-21-7-7-7-1001"}),
              (strings{"0 sssd CORP\\alice S-1-5-21-1-1-1-1001 800001",
                       "0 winbind CORP\\bob S-1-5-21-7-7-7-1002 600002", "2"}));
}

TEST_F(Probe, FlushReadsTheVariableAgain) {
    environment["ORSIK_ACCOUNTS"] = folder.write("one", "CORP\\a user S-1-5-21-1\n");
    const std::string two = folder.write("two", "CORP\\a user S-1-5-21-2\n");
    EXPECT_EQ(ask({"user=CORP\\a", "set=ORSIK_ACCOUNTS=" + two, "user=CORP\\a", "flush", "user=CORP\\a"}),
              (strings{"0 accounts CORP\\a S-1-5-21-1 4294967294", "0 accounts CORP\\a S-1-5-21-1 4294967294",
                       "0 accounts CORP\\a S-1-5-21-2 4294967294"}));
}

TEST_F(Probe, ClientOfAnAccountHasTheGroupsOfTheFileInOrder) {
    environment["ORSIK_ACCOUNTS"] = folder.write("accounts", accounts_text);
    EXPECT_EQ(ask({"client=corp\\alice", "client=CORP\\bob", "client=CORP\\carol"}),
              (strings{"0 CORP|S-1-5-21-1-2-3-1001|S-1-5-21-1-2-3-513|S-1-5-21-1-2-3-1100", "2", "2"}));
}

TEST_F(Probe, ClientOfADomainWhoseNameIsTooLongIsRefused) {
    const std::string domain(257, 'd'), name = domain + "\\alice";
    environment["FAKE_SSSD"] = "alice@" + domain + ",u,S-1-5-21-1-1-1-1001,800001";
    EXPECT_EQ(ask({"user=" + name, "client=" + name}),
              (strings{"0 sssd " + name + " S-1-5-21-1-1-1-1001 800001", std::to_string(KS_ENAMETOOLONG)}));
}

std::string short_host_name() {
    char host[256];
    EXPECT_EQ(gethostname(host, sizeof host), 0);
    const std::string whole = host;
    return whole.substr(0, whole.find('.'));
}

TEST_F(Probe, AHostThatStandsAloneHasNoDomain) {
    EXPECT_EQ(ask({"domain"}), (strings{"2 "}));
    environment.erase("LD_LIBRARY_PATH");
    EXPECT_EQ(ask({"domain"}), (strings{"2 "}));
}

TEST_F(Probe, SssdKnowsTheDomainByTheHostsAccount) {
    environment["FAKE_SSSD"] = short_host_name() + "$,u,S-1-5-21-11-12-13-1105,0";
    EXPECT_EQ(ask({"domain", "nt-domain"}), (strings{"0 S-1-5-21-11-12-13", "0 S-1-5-21-11-12-13"}));
    for (const char *no_account : {"S-1-5-32-544", "S-1-5-21-11-12", "S-1-5-21-11-12-13-14-15", "S-1-22-1-0"}) {
        environment["FAKE_SSSD"] = short_host_name() + "$,u," + no_account + ",0";
        EXPECT_EQ(ask({"domain"}), (strings{"2 "})) << no_account;
    }
}

TEST_F(Probe, WinbindKnowsTheDomain) {
    environment["FAKE_WINBIND"] = "";
    EXPECT_EQ(ask({"domain"}), (strings{"2 "}));
    environment["FAKE_WINBIND_DOMAIN"] = "";
    EXPECT_EQ(ask({"domain"}), (strings{"2 "}));
    environment["FAKE_WINBIND_DOMAIN"] = "CORP";
    EXPECT_EQ(ask({"domain", "nt-domain"}), (strings{"0 S-1-5-21-7-7-7", "0 S-1-5-21-7-7-7"}));
}

TEST_F(Probe, ADomainThatCannotBeAskedIsAnError) {
    environment["FAKE_SSSD_ERROR"] = std::to_string(ETIME);
    EXPECT_EQ(ask({"domain", "nt-domain"}), (strings{"5 ", "5 "}));
    environment.erase("FAKE_SSSD_ERROR");
    environment["FAKE_WINBIND_ERROR"] = "1";
    EXPECT_EQ(ask({"domain", "nt-domain"}), (strings{"5 ", "5 "}));
    environment["FAKE_WINBIND_ERROR"] = "3";
    EXPECT_EQ(ask({"domain", "nt-domain"}), (strings{"12 ", "12 "}));
}

TEST(CredutlDomainSid, RefusesANull) {
    ks_errno = 0;
    EXPECT_EQ(credutl_domain_sid(nullptr), KS_EINVAL);
    EXPECT_EQ(ks_errno, KS_EINVAL);
}

} // namespace
