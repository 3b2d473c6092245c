#include "nt/nt_regy.h"

#include "nt/registry_support.hpp"
#include "support/faults.hpp"
#include "support/sink.hpp"

#include <atomic>
#include <csignal>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace registry_test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace fs = std::filesystem;

// Runs a body in a child process; 0 when it gave true.
int in_child(const std::function<bool()> &body) {
    const pid_t child = fork();
    if (child == 0) _exit(body() ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Another user, who has none of root's rights, while it lives. Without root the tests have none anyway.
class as_nobody {
public:
    as_nobody() {
        constexpr uid_t nobody = 65534;
        if (is_root) {
            EXPECT_EQ(setegid(nobody), 0);
            EXPECT_EQ(seteuid(nobody), 0);
        }
    }
    ~as_nobody() {
        if (is_root) {
            EXPECT_EQ(seteuid(0), 0);
            EXPECT_EQ(setegid(0), 0);
        }
    }
    as_nobody(const as_nobody &) = delete;
    as_nobody &operator=(const as_nobody &) = delete;

private:
    const bool is_root = geteuid() == 0;
};

// Files of at most so many bytes, while it lives.
class small_files {
public:
    explicit small_files(rlim_t size) : signal_(std::signal(SIGXFSZ, SIG_IGN)) {
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &before_), 0);
        const rlimit least{size, before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &least), 0);
    }
    ~small_files() {
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before_), 0);
        std::signal(SIGXFSZ, signal_);
    }
    small_files(const small_files &) = delete;
    small_files &operator=(const small_files &) = delete;

private:
    rlimit before_{};
    void (*signal_)(int);
};

// Lets go of the connection, so that the next call opens the file with the rights that it has then.
void disconnect() {
    const registry other;
    EXPECT_EQ(text_of("A", "v"), "error 2");
}

mode_t mode_of(const std::string &path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

// Changes a file as somebody would who replaces it: it is another file then.
void replace(const std::string &path, const std::string &content) {
    std::ofstream(path + ".new", std::ios::binary) << content;
    fs::rename(path + ".new", path);
}

std::string with_bytes(std::string content, size_t at, std::string_view bytes) {
    return content.replace(at, bytes.size(), bytes);
}

// ---- names

TEST(NtregyGetCommonKey, GivesTheProductsKey) {
    char text[64];
    EXPECT_EQ(ntregy_get_common_key(text, sizeof text), 0);
    EXPECT_STREQ(text, "SOFTWARE\\Tessivane");
    char exact[sizeof "SOFTWARE\\Tessivane"];
    EXPECT_EQ(ntregy_get_common_key(exact, sizeof exact), 0);
    EXPECT_EQ(ntregy_get_common_key(exact, sizeof exact - 1), KS_ENAMETOOLONG);
    EXPECT_STREQ(exact, "");
    EXPECT_EQ(ntregy_get_common_key(nullptr, 10), KS_EINVAL);
    EXPECT_EQ(ntregy_get_common_key(text, 0), KS_EINVAL);
}

TEST(NtregyParamName, KnowsTheProductsParametersAndNumbersTheOthers) {
    const auto name = [](uint32_t number) {
        char text[64];
        return ntregy_param_name(number, text, sizeof text) == 0 ? std::string(text) : "?";
    };
    EXPECT_EQ(name(26), "ViewInterop");
    EXPECT_EQ(name(42), "SmtpServer");
    EXPECT_EQ(name(52), "NamingSymbol");
    EXPECT_EQ(name(66), "MailDomain");
    EXPECT_EQ(name(0), "Parameter0");
    EXPECT_EQ(name(UINT32_MAX), "Parameter4294967295");
    char small[5];
    EXPECT_EQ(ntregy_param_name(7, small, sizeof small), KS_ENAMETOOLONG);
    EXPECT_STREQ(small, "");
    EXPECT_EQ(ntregy_param_name(7, nullptr, 5), KS_EINVAL);
}

// ---- values

TEST(NtregySetValue, KeepsEachTypeAsItIs) {
    const registry own;
    const std::vector<value> all = {
        {NTREGY_NONE, "\x01\x00\x02"s},
        {NTREGY_NONE, ""},
        {NTREGY_SZ, "text\0"s},
        {NTREGY_SZ, "\0"s},
        {NTREGY_EXPAND_SZ, "%PATH%;\xC3\xA4\0"s},
        {NTREGY_BINARY, std::string(300, '\xFF')},
        {NTREGY_BINARY, ""},
        {NTREGY_DWORD, bytes_of(uint32_t{0x12345678})},
        {NTREGY_QWORD, bytes_of(uint64_t{0x123456789ABCDEF0})},
        {NTREGY_MULTI_SZ, "\0"s},
        {NTREGY_MULTI_SZ, "one\0two\0\0"s},
        {5, "any\0thing"s},
        {0xFFFF0012, "x"},
    };
    for (size_t i = 0; i < all.size(); i++) {
        SCOPED_TRACE(i);
        EXPECT_EQ(set("A\\B", "value" + std::to_string(i), all[i].type, all[i].data), 0);
        EXPECT_EQ(get("A\\B", "value" + std::to_string(i)), all[i]);
    }
}

TEST(NtregySetValue, RefusesDataThatDoNotFitTheType) {
    const registry own;
    const std::vector<value> all = {
        {NTREGY_SZ, ""},
        {NTREGY_SZ, "text"},
        {NTREGY_SZ, "two\0texts\0"s},
        {NTREGY_SZ, "\xE4\0"s},
        {NTREGY_SZ, "\xED\xA0\x80\0"s},
        {NTREGY_EXPAND_SZ, "text"},
        {NTREGY_DWORD, "\1\2\3"},
        {NTREGY_DWORD, "\1\2\3\4\5"},
        {NTREGY_DWORD, ""},
        {NTREGY_QWORD, "\1\2\3\4"},
        {NTREGY_MULTI_SZ, ""},
        {NTREGY_MULTI_SZ, "a"},
        {NTREGY_MULTI_SZ, "a\0"s},
        {NTREGY_MULTI_SZ, "\0\0"s},
        {NTREGY_MULTI_SZ, "a\0\0b\0\0"s},
        {NTREGY_MULTI_SZ, "a\0\0\0"s},
        {NTREGY_MULTI_SZ, "\xFF\0\0"s},
    };
    for (size_t i = 0; i < all.size(); i++) {
        EXPECT_EQ(set("A", "v", all[i].type, all[i].data), KS_EINVAL) << i;
        EXPECT_EQ(ks_errno, KS_EINVAL);
    }
    EXPECT_FALSE(own.exists());
}

TEST(NtregySetValue, TakesOneMebibyteAndNoMore) {
    const registry own;
    const std::string most(NTREGY_MAX_DATA, 'm');
    EXPECT_EQ(set("A", "v", NTREGY_BINARY, most), 0);
    EXPECT_EQ(set("A", "v", NTREGY_BINARY, most + 'x'), KS_E2BIG);
    EXPECT_EQ(get("A", "v"), (value{NTREGY_BINARY, most}));
}

TEST(NtregySetValue, ReplacesTypeAndDataButKeepsTheFirstName) {
    const registry own;
    EXPECT_EQ(set("Soft\\Key", "Name", NTREGY_SZ, "one\0"sv), 0);
    EXPECT_EQ(set("SOFT\\KEY", "NAME", NTREGY_DWORD, bytes_of(uint32_t{2})), 0);
    EXPECT_EQ(values("soft\\key"), (std::vector<named_value>{{"Name", {NTREGY_DWORD, bytes_of(uint32_t{2})}}}));
    EXPECT_THAT(subkeys(""), ElementsAre("Soft:0"));
    EXPECT_THAT(subkeys("soft"), ElementsAre("Key:1"));
}

TEST(NtregySetValue, ComparesNamesWithoutCaseBeyondAscii) {
    const registry own;
    EXPECT_EQ(set("\xC3\x84pfel\\Stra\xC3\x9F"
                  "e",
                  "\xCE\xA3\xCE\xB1", NTREGY_SZ, "found\0"sv),
              0);
    EXPECT_EQ(text_of("\xC3\xA4PFEL\\STRASSE", "\xCF\x83\xCE\x91"), "found");
    EXPECT_EQ(text_of("apfel\\strasse", "\xCF\x83\xCE\x91"), "error 2");
}

TEST(NtregySetValue, TakesTheEmptyNameForTheDefaultValue) {
    const registry own;
    EXPECT_EQ(ntregy_set_string(hklm, "A", nullptr, "default"), 0);
    EXPECT_EQ(text_of("a", ""), "default");
    EXPECT_EQ(set("A", "", NTREGY_SZ, "new\0"sv), 0);
    char text[16];
    EXPECT_EQ(ntregy_get_string(hklm, "A", nullptr, text, sizeof text), 0);
    EXPECT_STREQ(text, "new");
}

TEST(NtregySetValue, RefusesBadArguments) {
    const registry own;
    const auto refused = [](ntregy_root_t root, const char *key, const char *name) {
        return ntregy_set_value(root, key, name, NTREGY_BINARY, "x", 1);
    };
    for (const ntregy_root_t root : {0u, 1u, 3u, UINT32_MAX}) EXPECT_EQ(refused(root, "A", "v"), KS_EINVAL) << root;
    for (const char *key : {"", "\\", "\\A", "A\\", "A\\\\B", "A\nB", "A\x7F", "A\xC2\x85", "\xFF", "A\xC3"}) {
        EXPECT_EQ(refused(hklm, key, "v"), KS_EINVAL) << key;
    }
    for (const char *name : {"a\nb", "\x01", "\xC3", "\xF5\x80\x80\x80"}) {
        EXPECT_EQ(refused(hklm, "A", name), KS_EINVAL) << name;
    }
    EXPECT_EQ(refused(hklm, nullptr, "v"), KS_EINVAL);
    EXPECT_EQ(ntregy_set_value(hklm, "A", "v", NTREGY_BINARY, nullptr, 1), KS_EINVAL);
    EXPECT_EQ(ntregy_set_value(hklm, "A", "v", NTREGY_BINARY, nullptr, 0), 0);
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", nullptr), KS_EINVAL);
    EXPECT_EQ(ntregy_create_key(hklm, nullptr), KS_EINVAL);
    EXPECT_EQ(ntregy_create_key(1, "A"), KS_EINVAL);
    EXPECT_EQ(ntregy_create_key(hklm, ""), KS_EINVAL);
    EXPECT_EQ(ntregy_delete_key(hklm, ""), KS_EINVAL);
    EXPECT_EQ(ntregy_delete_key(hklm, nullptr), KS_EINVAL);
    EXPECT_EQ(ntregy_delete_value(hklm, nullptr, "v"), KS_EINVAL);
}

TEST(NtregySetValue, TakesNamesUpToTheStatedSize) {
    const registry own;
    const std::string longest(NTREGY_KEY_SIZE - 1, 'k');
    // U+0390 folds to three characters, the most there is.
    std::string folding;
    while (folding.size() + 2 < NTREGY_KEY_SIZE) folding += "\xCE\x90";
    EXPECT_EQ(ntregy_set_string(hklm, longest.c_str(), longest.c_str(), "ascii"), 0);
    EXPECT_EQ(ntregy_set_string(hklm, folding.c_str(), folding.c_str(), "folding"), 0);
    EXPECT_EQ(text_of(longest, longest), "ascii");
    EXPECT_EQ(text_of(folding, folding), "folding");
    EXPECT_EQ(ntregy_set_string(hklm, (longest + 'k').c_str(), "v", "x"), KS_ENAMETOOLONG);
    EXPECT_EQ(ntregy_set_string(hklm, "A", (longest + 'k').c_str(), "x"), KS_ENAMETOOLONG);
    EXPECT_EQ(text_of(longest + 'k', "v"), "error 38");
    EXPECT_EQ(text_of("A", longest + 'k'), "error 38");
}

TEST(NtregySetValue, MakesKeysAsDeepAsAPathCanBe) {
    const registry own;
    std::string path = "a";
    while (path.size() + 2 < NTREGY_KEY_SIZE) path += "\\a";
    EXPECT_EQ(ntregy_set_string(hklm, path.c_str(), "v", "deep"), 0);
    EXPECT_EQ(text_of(path, "V"), "deep");
    EXPECT_EQ(ntregy_export(hklm, "", (own.dir / "deep.reg").c_str()), 0);
    EXPECT_EQ(ntregy_delete_key(hklm, "A"), 0);
    EXPECT_THAT(subkeys(""), IsEmpty());
    EXPECT_EQ(ntregy_import((own.dir / "deep.reg").c_str(), nullptr, nullptr), 0);
    EXPECT_EQ(text_of(path, "V"), "deep");
}

TEST(NtregyGetValue, TellsTheSizeAndLeavesTheBufferWhenItDoesNotFit) {
    const registry own;
    EXPECT_EQ(set("A", "v", NTREGY_BINARY, "12345"), 0);
    char data[8] = "-------";
    ntregy_type_t type = 99;
    size_t size = 4;
    EXPECT_EQ(ntregy_get_value(hklm, "A", "v", &type, data, &size), KS_ERANGE);
    EXPECT_EQ(ks_errno, KS_ERANGE);
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(type, NTREGY_BINARY);
    EXPECT_STREQ(data, "-------");
    EXPECT_EQ(ntregy_get_value(hklm, "A", "v", nullptr, data, &size), 0);
    EXPECT_EQ(size, 5u);
    EXPECT_STREQ(data, "12345--");
    size = 0;
    EXPECT_EQ(ntregy_get_value(hklm, "A", "v", nullptr, nullptr, &size), KS_ERANGE);
    EXPECT_EQ(size, 5u);
}

TEST(NtregyGetValue, FailsWithoutTouchingAnything) {
    const registry own;
    EXPECT_EQ(set("A", "v", NTREGY_BINARY, "1"), 0);
    char data = '-';
    ntregy_type_t type = 99;
    size_t size = 1;
    EXPECT_EQ(ntregy_get_value(hklm, "A", "w", &type, &data, &size), KS_ENOENT);
    EXPECT_EQ(ntregy_get_value(hklm, "B", "v", &type, &data, &size), KS_ENOENT);
    EXPECT_EQ(ntregy_get_value(hklm, "A\\v", "", &type, &data, &size), KS_ENOENT);
    EXPECT_EQ(ntregy_get_value(1, "A", "v", &type, &data, &size), KS_EINVAL);
    EXPECT_EQ(ntregy_get_value(hklm, nullptr, "v", &type, &data, &size), KS_EINVAL);
    EXPECT_EQ(ntregy_get_value(hklm, "", "v", &type, &data, &size), KS_EINVAL);
    EXPECT_EQ(ntregy_get_value(hklm, "A\\", "v", &type, &data, &size), KS_EINVAL);
    EXPECT_EQ(ntregy_get_value(hklm, "A", "v", &type, nullptr, &size), KS_EINVAL);
    EXPECT_EQ(ntregy_get_value(hklm, "A", "v", &type, &data, nullptr), KS_EINVAL);
    EXPECT_EQ(type, 99u);
    EXPECT_EQ(size, 1u);
    EXPECT_EQ(data, '-');
}

TEST(NtregyGetString, GivesTextsOnly) {
    const registry own;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "sz", "12345"), 0);
    EXPECT_EQ(set("A", "expand", NTREGY_EXPAND_SZ, "%A%\0"sv), 0);
    EXPECT_EQ(set("A", "bytes", NTREGY_BINARY, "abc\0"sv), 0);
    EXPECT_EQ(set("A", "list", NTREGY_MULTI_SZ, "a\0\0"sv), 0);
    char text[6] = "-----";
    EXPECT_EQ(ntregy_get_string(hklm, "A", "sz", text, sizeof text), 0);
    EXPECT_STREQ(text, "12345");
    EXPECT_EQ(ntregy_get_string(hklm, "A", "expand", text, sizeof text), 0);
    EXPECT_STREQ(text, "%A%");
    const auto failing = [&](const char *key, const char *name, size_t size) {
        std::strcpy(text, "-----");
        const int error = ntregy_get_string(hklm, key, name, text, size);
        EXPECT_STREQ(text, "");
        return error;
    };
    EXPECT_EQ(failing("A", "sz", 5), KS_ERANGE);
    EXPECT_EQ(failing("A", "bytes", 6), KS_EINVAL);
    EXPECT_EQ(failing("A", "list", 6), KS_EINVAL);
    EXPECT_EQ(failing("A", "none", 6), KS_ENOENT);
    EXPECT_EQ(failing(nullptr, "sz", 6), KS_EINVAL);
    EXPECT_EQ(ntregy_get_string(hklm, "A", "sz", nullptr, 6), KS_EINVAL);
    EXPECT_EQ(ntregy_get_string(hklm, "A", "sz", text, 0), KS_EINVAL);
}

TEST(NtregyCreateKey, MakesTheKeyAndThoseAboveIt) {
    const registry own;
    EXPECT_EQ(ntregy_create_key(hklm, "A\\B\\C"), 0);
    EXPECT_EQ(ntregy_create_key(hklm, "a\\b\\c"), 0);
    EXPECT_THAT(subkeys(""), ElementsAre("A:0"));
    EXPECT_THAT(subkeys("A\\b"), ElementsAre("C:0"));
    int error = -1;
    EXPECT_THAT(subkeys("A\\B\\C", &error), IsEmpty());
    EXPECT_EQ(error, 0);
    subkeys("A\\C", &error);
    EXPECT_EQ(error, KS_ENOENT);
}

TEST(NtregyDelete, TakesAwayWhatIsNamedAndNothingElse) {
    const registry own;
    for (const char *key : {"A", "A\\B", "A\\B\\C", "A B", "A-", "AB", "B"}) {
        EXPECT_EQ(ntregy_set_string(hklm, key, "v", key), 0);
        EXPECT_EQ(ntregy_set_string(hklm, key, "w", key), 0);
    }
    EXPECT_EQ(ntregy_delete_value(hklm, "a\\b", "V"), 0);
    EXPECT_EQ(ntregy_delete_value(hklm, "a\\b", "V"), KS_ENOENT);
    EXPECT_EQ(ks_errno, KS_ENOENT);
    EXPECT_EQ(text_of("A\\B", "w"), "A\\B");
    EXPECT_EQ(ntregy_delete_key(hklm, "a"), 0);
    EXPECT_EQ(ntregy_delete_key(hklm, "a"), KS_ENOENT);
    EXPECT_EQ(ntregy_delete_key(hklm, "none"), KS_ENOENT);
    EXPECT_THAT(subkeys(""), ElementsAre("A B:2", "A-:2", "AB:2", "B:2"));
    for (const char *key : {"A B", "A-", "AB", "B"}) EXPECT_EQ(text_of(key, "v"), key);
    for (const char *key : {"A", "A\\B", "A\\B\\C"}) EXPECT_EQ(text_of(key, "w"), "error 2");
}

TEST(NtregyDelete, DoesNotMakeARegistry) {
    const registry own;
    EXPECT_EQ(ntregy_delete_key(hklm, "A"), KS_ENOENT);
    EXPECT_EQ(ntregy_delete_value(hklm, "A", "v"), KS_ENOENT);
    EXPECT_FALSE(own.exists());
}

// ---- listing

TEST(NtregyEnum, ListsInTheOrderOfNamesWithoutCase) {
    const registry own;
    for (const char *name : {"b", "A", "C", "a b", "\xC3\xA4", "a-b", "Z"}) {
        EXPECT_EQ(ntregy_create_key(hklm, ("K\\"s + name).c_str()), 0);
        EXPECT_EQ(ntregy_create_key(hklm, ("K\\"s + name + "\\x\\y").c_str()), 0);
        EXPECT_EQ(ntregy_set_string(hklm, "K", name, name), 0);
    }
    EXPECT_EQ(ntregy_set_string(hklm, "K", "", "default"), 0);
    EXPECT_THAT(subkeys("k"), ElementsAre("A:0", "a b:0", "a-b:0", "b:0", "C:0", "Z:0", "\xC3\xA4:0"));
    EXPECT_THAT(names(values("k")), ElementsAre("", "A", "a b", "a-b", "b", "C", "Z", "\xC3\xA4"));
    EXPECT_THAT(subkeys(""), ElementsAre("K:8"));
    int error = -1;
    EXPECT_THAT(values("", &error), IsEmpty());
    EXPECT_EQ(error, 0);
}

TEST(NtregyEnum, EndsWhenTheFunctionSaysSo) {
    const registry own;
    for (const char *name : {"a", "b", "c"}) {
        EXPECT_EQ(ntregy_create_key(hklm, name), 0);
        EXPECT_EQ(ntregy_set_string(hklm, "k", name, ""), 0);
    }
    const auto key = [](void *count, const char *, size_t) { return ++*static_cast<int *>(count) == 2 ? -7 : 0; };
    const auto one = [](void *count, const char *, ntregy_type_t, const void *, size_t) {
        return ++*static_cast<int *>(count) == 2 ? 77 : 0;
    };
    int keys = 0, all = 0;
    EXPECT_EQ(ntregy_enum_subkeys(hklm, "", key, &keys), -7);
    EXPECT_EQ(ntregy_enum_values(hklm, "k", one, &all), 77);
    EXPECT_EQ(keys, 2);
    EXPECT_EQ(all, 2);
}

TEST(NtregyEnum, ShowsNothingOfWhatItsFunctionChanges) {
    const registry own;
    for (const char *name : {"a", "b", "c"}) EXPECT_EQ(ntregy_create_key(hklm, name), 0);
    std::vector<std::string> seen;
    const auto each = [](void *to, const char *name, size_t) {
        static_cast<std::vector<std::string> *>(to)->push_back(name);
        return ntregy_create_key(hklm, (name + "x"s).c_str()) + (name == "a"s ? ntregy_delete_key(hklm, "b") : 0);
    };
    EXPECT_EQ(ntregy_enum_subkeys(hklm, "", each, &seen), 0);
    EXPECT_THAT(seen, ElementsAre("a", "b", "c"));
    EXPECT_THAT(subkeys(""), ElementsAre("a:0", "ax:0", "bx:0", "c:0", "cx:0"));
}

TEST(NtregyEnum, RefusesBadArguments) {
    const registry own;
    int error = -1;
    subkeys("none", &error);
    EXPECT_EQ(error, KS_ENOENT);
    values("none", &error);
    EXPECT_EQ(error, KS_ENOENT);
    subkeys("a\\", &error);
    EXPECT_EQ(error, KS_EINVAL);
    EXPECT_EQ(ntregy_enum_subkeys(hklm, "", nullptr, nullptr), KS_EINVAL);
    EXPECT_EQ(ntregy_enum_values(hklm, "", nullptr, nullptr), KS_EINVAL);
    const auto each = [](void *, const char *, size_t) { return 0; };
    EXPECT_EQ(ntregy_enum_subkeys(1, "", each, nullptr), KS_EINVAL);
    EXPECT_EQ(ntregy_enum_subkeys(hklm, nullptr, each, nullptr), KS_EINVAL);
}

// ---- parameters

TEST(NtregyParam, IsAValueOfTheCommonKey) {
    const registry own;
    const uint32_t number = 1;
    EXPECT_EQ(ntregy_set_param(26, NTREGY_DWORD, &number, sizeof number), 0);
    EXPECT_EQ(values("software\\tessivane"),
              (std::vector<named_value>{{"ViewInterop", {NTREGY_DWORD, bytes_of(number)}}}));
    EXPECT_EQ(ntregy_set_string(hklm, "SOFTWARE\\Tessivane", "Parameter7", "seven"), 0);
    char text[16];
    EXPECT_EQ(ntregy_get_param(7, text, sizeof text), 0);
    EXPECT_STREQ(text, "seven");
    EXPECT_EQ(ntregy_get_mvfs_param(7, text, sizeof text), 0);
}

TEST(NtregyParam, HasItsSizeUnlessItIsText) {
    const registry own;
    const uint32_t number = 5;
    EXPECT_EQ(ntregy_set_param(1, NTREGY_DWORD, &number, sizeof number), 0);
    EXPECT_EQ(ntregy_set_param(2, NTREGY_SZ, "@@", 3), 0);
    EXPECT_EQ(ntregy_set_param(3, NTREGY_BINARY, "abc", 3), 0);
    char data[8] = "-------";
    EXPECT_EQ(ntregy_get_param(1, data, 3), KS_EINVAL);
    EXPECT_EQ(ntregy_get_param(1, data, 5), KS_EINVAL);
    EXPECT_EQ(ntregy_get_param(2, data, 2), KS_ERANGE);
    EXPECT_EQ(ntregy_get_param(3, data, 4), KS_EINVAL);
    EXPECT_EQ(ntregy_get_param(4, data, 4), KS_ENOENT);
    EXPECT_EQ(ntregy_get_param(1, nullptr, 4), KS_EINVAL);
    EXPECT_STREQ(data, "-------");
    EXPECT_EQ(ntregy_get_param(2, data, sizeof data), 0);
    EXPECT_STREQ(data, "@@");
    uint32_t read = 0;
    EXPECT_EQ(ntregy_get_param(1, &read, sizeof read), 0);
    EXPECT_EQ(read, number);
    EXPECT_EQ(ntregy_set_param(1, NTREGY_DWORD, &number, 3), KS_EINVAL);
}

// ---- the file

TEST(RegistryFile, ThatIsNotThereIsAnEmptyRegistry) {
    const registry own;
    int error = -1;
    EXPECT_THAT(subkeys("", &error), IsEmpty());
    EXPECT_EQ(error, 0);
    subkeys("A", &error);
    EXPECT_EQ(error, KS_ENOENT);
    EXPECT_EQ(text_of("A", "v"), "error 2");
    EXPECT_EQ(ntregy_export(hklm, "", (own.dir / "all.reg").c_str()), 0);
    EXPECT_EQ(ntregy_export(hklm, "A", (own.dir / "a.reg").c_str()), KS_ENOENT);
    EXPECT_FALSE(own.exists());
}

TEST(RegistryFile, IsMadeForTheOwnerToWriteAndAllToRead) {
    for (const mode_t mask : {022u, 077u, 0u}) {
        const temp_dir dir;
        const scoped_env variable("ORSIK_HOSTDATA_DIR", dir / "new/deep");
        const mode_t before = umask(mask);
        const int error = ntregy_create_key(hklm, "A");
        umask(before);
        EXPECT_EQ(error, 0);
        EXPECT_EQ(mode_of(dir / "new/deep/registry.db"), 0644u) << mask;
        EXPECT_FALSE(fs::exists(dir / "new/deep/registry.db-journal"));
    }
}

TEST(RegistryFile, ThatIsEmptyIsAnEmptyRegistry) {
    const registry own;
    own.dir.write("registry.db", "");
    EXPECT_EQ(text_of("A", "v"), "error 2");
    EXPECT_THAT(subkeys(""), IsEmpty());
    EXPECT_EQ(ntregy_delete_key(hklm, "A"), KS_ENOENT);
    EXPECT_EQ(fs::file_size(own.file()), 0u);
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), 0);
    EXPECT_EQ(text_of("A", "v"), "x");
}

// All that can be asked of a registry that is none; the file stays as it is.
void expect_refused(const registry &own, const std::string &why) {
    SCOPED_TRACE(why);
    const std::string before = own.dir.read("registry.db");
    for (int round = 0; round < 2; round++) {
        EXPECT_EQ(text_of("A", "v"), "error 5");
        EXPECT_EQ(ks_errno, KS_EIO);
        EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "new"), KS_EIO);
        EXPECT_EQ(ntregy_create_key(hklm, "A"), KS_EIO);
        EXPECT_EQ(ntregy_delete_key(hklm, "A"), KS_EIO);
        EXPECT_EQ(ntregy_delete_value(hklm, "A", "v"), KS_EIO);
        int error = 0;
        EXPECT_THAT(subkeys("", &error), IsEmpty());
        EXPECT_EQ(error, KS_EIO);
        EXPECT_EQ(ntregy_export(hklm, "", (own.dir / "out.reg").c_str()), KS_EIO);
    }
    EXPECT_FALSE(fs::exists(own.dir / "out.reg"));
    EXPECT_FALSE(fs::exists(own.file() + "-journal"));
    EXPECT_EQ(own.dir.read("registry.db"), before);
}

TEST(RegistryFile, ThatIsNoDataBaseIsRefused) {
    const registry own;
    for (const std::string &content : {"x"s, "no data base"s, std::string(8192, 'n'), std::string(8192, '\0')}) {
        replace(own.file(), content);
        expect_refused(own, content.substr(0, 20));
    }
}

TEST(RegistryFile, OfAnotherProgramOrALaterVersionIsRefused) {
    const registry own;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), 0);
    const std::string good = own.dir.read("registry.db");
    constexpr size_t version_at = 60, application_at = 68, write_format_at = 18; // the data base's header
    replace(own.file(), with_bytes(good, application_at, "\1"));
    expect_refused(own, "application");
    replace(own.file(), with_bytes(good, version_at, "\0\0\0\2"sv));
    expect_refused(own, "version");
    const size_t schema = good.find("fold BLOB");
    ASSERT_NE(schema, std::string::npos);
    replace(own.file(), with_bytes(good, schema, "FOLD"));
    expect_refused(own, "schema");
    replace(own.file(), with_bytes(good, write_format_at, "\3\3"));
    expect_refused(own, "format");
    replace(own.file(), good);
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "y"), 0);
}

TEST(RegistryFile, ThatIsDamagedIsNeverWritten) {
    const registry own;
    for (int i = 0; i < 100; i++) {
        EXPECT_EQ(set("A", "v" + std::to_string(i), NTREGY_BINARY, std::string(1000, 'x')), 0);
    }
    const std::string good = own.dir.read("registry.db");
    // A page in the middle, which neither the schema nor the way to "w" needs.
    const size_t page = good.size() / 2 / 4096 * 4096;
    for (const std::string &damaged : {with_bytes(good, page, std::string(4096, '\xEE')), good.substr(0, page)}) {
        replace(own.file(), damaged);
        EXPECT_EQ(ntregy_set_string(hklm, "Other", "w", "new"), KS_EIO);
        EXPECT_EQ(ntregy_delete_key(hklm, "A"), KS_EIO);
        EXPECT_EQ(own.dir.read("registry.db"), damaged);
    }
    replace(own.file(), good);
    EXPECT_EQ(get("A", "v99"), (value{NTREGY_BINARY, std::string(1000, 'x')}));
}

TEST(RegistryFile, ThatIsNoFileIsRefused) {
    const registry own;
    fs::create_directory(own.file());
    EXPECT_EQ(text_of("A", "v"), "error 5");
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), KS_EIO);
    fs::remove(own.file());
    own.dir.write("elsewhere.db", "");
    fs::create_symlink(own.dir / "elsewhere.db", own.file());
    EXPECT_EQ(text_of("A", "v"), "error 5");
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), KS_EIO);
    EXPECT_EQ(own.dir.read("elsewhere.db"), "");
    fs::remove(own.file());
    EXPECT_EQ(mkfifo(own.file().c_str(), 0600), 0);
    EXPECT_EQ(text_of("A", "v"), "error 5");
}

TEST(RegistryFile, InADirectoryWhosePathIsTooLongIsRefused) {
    const registry own;
    const scoped_env variable("ORSIK_HOSTDATA_DIR", "/" + std::string(1010, 'd'));
    EXPECT_EQ(text_of("A", "v"), "error 5");
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), KS_EIO);
}

TEST(RegistryFile, IsFoundAgainWhereverItIsThen) {
    const registry first;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "first"), 0);
    {
        const registry second;
        EXPECT_EQ(text_of("A", "v"), "error 2");
        EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "second"), 0);
        fs::copy_file(second.file(), second.dir / "copy");
        EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "third"), 0);
        EXPECT_EQ(text_of("A", "v"), "third");
        fs::rename(second.dir / "copy", second.file());
        EXPECT_EQ(text_of("A", "v"), "second");
        fs::remove(second.file());
        EXPECT_EQ(text_of("A", "v"), "error 2");
        EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "fourth"), 0);
        fs::resize_file(second.file(), 0);
        EXPECT_EQ(text_of("A", "v"), "error 2");
        EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "fifth"), 0);
        EXPECT_EQ(text_of("A", "v"), "fifth");
    }
    EXPECT_EQ(text_of("A", "v"), "first");
}

TEST(RegistryFile, IsReadByThoseWhoMayNotWriteItOrItsDirectory) {
    const registry own;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), 0);
    fs::permissions(own.dir.path(), fs::perms(0555));
    disconnect();
    {
        const as_nobody rightless;
        EXPECT_EQ(text_of("A", "v"), "x");
        EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "y"), KS_EACCES);
        EXPECT_EQ(ntregy_create_key(hklm, "B"), KS_EACCES);
        EXPECT_EQ(ntregy_delete_key(hklm, "A"), KS_EACCES);
        EXPECT_THAT(subkeys(""), ElementsAre("A:1"));
    }
    fs::permissions(own.dir.path(), fs::perms(0755));
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "y"), 0) << "allowed by now";
    EXPECT_EQ(text_of("A", "v"), "y");
}

TEST(RegistryFile, ThatMayNotBeReadGivesAnError) {
    const registry own;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), 0);
    fs::permissions(own.dir.path(), fs::perms(0755));
    fs::permissions(own.file(), fs::perms(0));
    const auto expect_refused_access = [] {
        disconnect();
        const as_nobody rightless;
        EXPECT_EQ(text_of("A", "v"), "error 13");
        EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "y"), KS_EACCES);
    };
    expect_refused_access();
    fs::permissions(own.file(), fs::perms(0644));
    fs::permissions(own.dir.path(), fs::perms(0));
    expect_refused_access();
    fs::permissions(own.dir.path(), fs::perms(0755));
    EXPECT_EQ(text_of("A", "v"), "x");
}

TEST(RegistryFile, CannotBeMadeWhereTheCallerMayNot) {
    const registry own;
    fs::permissions(own.dir.path(), fs::perms(0555));
    {
        const as_nobody rightless;
        EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), KS_EACCES);
        const scoped_env below("ORSIK_HOSTDATA_DIR", own.dir / "new/deep");
        EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), KS_EACCES) << "nor its directory";
    }
    fs::permissions(own.dir.path(), fs::perms(0755));
    EXPECT_FALSE(own.exists());
    EXPECT_FALSE(fs::exists(own.dir / "new"));
}

TEST(RegistryFile, StaysAsItWasWhenTheDiskIsFull) {
    const registry own;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "old"), 0);
    {
        const small_files full(32 << 10);
        EXPECT_EQ(set("A", "v", NTREGY_BINARY, std::string(200 << 10, 'l')), KS_ENOSPC);
        EXPECT_EQ(text_of("A", "v"), "old");
        EXPECT_EQ(ntregy_set_string(hklm, "A", "w", "fits"), 0);
    }
    disconnect();
    EXPECT_EQ(text_of("A", "v"), "old");
    EXPECT_EQ(text_of("A", "w"), "fits");
}

TEST(RegistryFile, IsExportedWholeOrNotAtAll) {
    const registry own;
    const std::string file = own.dir.write("out.reg", "what was there");
    EXPECT_EQ(set("A", "v", NTREGY_BINARY, std::string(5000, 'x')), 0);
    const auto count = [&] { return std::distance(fs::directory_iterator(own.dir.path()), {}); };
    const auto before = count();
    {
        const small_files full(4096);
        EXPECT_EQ(ntregy_export(hklm, "", file.c_str()), ks_errno_from_host(EFBIG));
    }
    EXPECT_EQ(own.dir.read("out.reg"), "what was there");
    EXPECT_EQ(count(), before) << "nothing is left of it";
    EXPECT_EQ(ntregy_export(hklm, "", (own.dir / std::string(250, 'x')).c_str()), KS_ENAMETOOLONG);
    EXPECT_EQ(ntregy_export(hklm, "", file.c_str()), 0);
    EXPECT_GT(fs::file_size(file), 5000u);
}

// ---- content that this library has not written

// Changes the only place where a text stands in a registry's file. The data base itself stays right.
void change(const registry &own, const std::string &content, std::string_view from, std::string_view to) {
    const size_t at = content.find(from);
    ASSERT_NE(at, std::string::npos);
    ASSERT_EQ(content.find(from, at + 1), std::string::npos);
    replace(own.file(), with_bytes(content, at, to));
}

class RegistryContent : public testing::Test {
protected:
    RegistryContent() {
        EXPECT_EQ(ntregy_set_string(hklm, "Upper\\Lower", "Label", "text"), 0);
        good = own.dir.read("registry.db");
    }
    void expect_damage_in(std::string_view from, std::string_view to, bool (*is_refused)()) {
        SCOPED_TRACE(std::string(to));
        change(own, good, from, to);
        EXPECT_TRUE(is_refused());
        EXPECT_EQ(ks_errno, KS_EIO);
        EXPECT_EQ(ntregy_export(hklm, "", (own.dir / "out.reg").c_str()), KS_EIO);
        EXPECT_FALSE(fs::exists(own.dir / "out.reg"));
        replace(own.file(), good);
        EXPECT_EQ(text_of("Upper\\Lower", "Label"), "text");
    }
    static bool has_no_values() {
        int error = 0;
        return values("Upper\\Lower", &error).empty() && error == KS_EIO;
    }
    static bool has_no_subkeys() {
        int error = 0;
        return subkeys("Upper", &error).empty() && error == KS_EIO;
    }
    static bool has_no_keys() {
        int error = 0;
        return subkeys("", &error).empty() && error == KS_EIO;
    }

    const registry own;
    std::string good;
};

TEST_F(RegistryContent, ThatDoesNotFitItsTypeIsDamage) {
    expect_damage_in("Labeltext\0"sv, "Labeltext!"sv, has_no_values); // the end of the text
    expect_damage_in("Labeltext\0"sv, "Labelte\0t\0"sv, has_no_values);
    change(own, good, "Labeltext\0"sv, "Labeltext!"sv);
    EXPECT_EQ(text_of("Upper\\Lower", "Label"), "error 5");
}

TEST_F(RegistryContent, ThatIsFoundByAnotherNameIsDamage) {
    expect_damage_in("Label", "Babel", has_no_values);
    expect_damage_in("Label", "Lab\0l"sv, has_no_values);
    expect_damage_in("Label", "Lab\xFFl", has_no_values);
    expect_damage_in("Lower", "Power", has_no_subkeys);
    expect_damage_in("Lower", "Low\\r", has_no_subkeys);
}

TEST_F(RegistryContent, ThatLacksTheKeyAboveItIsDamage) {
    // The upper key's own row: its path, and the name behind it.
    expect_damage_in("upperUpper", "tpperTpper", has_no_keys);
    change(own, good, "upperUpper", "tpperTpper");
    EXPECT_EQ(ntregy_export(hklm, "Upper\\Lower", (own.dir / "out.reg").c_str()), KS_EIO);
    EXPECT_FALSE(fs::exists(own.dir / "out.reg"));
}

// ---- who else may write it

TEST(RegistryWarning, NamesAFileThatOthersMayWriteOnce) {
    const recording_sink sink;
    const registry own;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), 0);
    EXPECT_TRUE(sink.empty());
    fs::permissions(own.file(), fs::perms(0664));
    EXPECT_EQ(text_of("A", "v"), "x");
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "y"), 0);
    EXPECT_EQ(text_of("A", "v"), "y");
    ASSERT_EQ(sink.count(), 1u);
    const recorded_message only = sink.messages()[0];
    EXPECT_EQ(only.severity, IMSG_WARNING);
    EXPECT_EQ(only.module, "nt");
    EXPECT_EQ(only.text, own.file() + ": others than the owner may change the registry\n");
}

TEST(RegistryWarning, NamesAFileWhoseDirectoryOthersMayFill) {
    const recording_sink sink;
    const registry own;
    fs::permissions(own.dir.path(), fs::perms(01777));
    EXPECT_EQ(text_of("A", "v"), "error 2");
    EXPECT_TRUE(sink.empty());
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), 0);
    EXPECT_THAT(sink.text(), HasSubstr(own.file()));
    EXPECT_EQ(sink.count(), 1u);
}

TEST(RegistryWarning, MayComeToASinkThatReadsTheRegistry) {
    const registry own;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), 0);
    fs::permissions(own.file(), fs::perms(0666));
    std::string seen;
    const auto sink = [](void *to, int, const char *, const imsg_table_t *, uint32_t, const char *) {
        *static_cast<std::string *>(to) = text_of("A", "v");
    };
    imsg_set_sink(sink, &seen);
    EXPECT_EQ(text_of("A", "v"), "x");
    imsg_set_sink(nullptr, nullptr);
    EXPECT_EQ(seen, "x");
}

// ---- threads, forks, memory

TEST(RegistryThreads, ReadAndWriteAtTheSameTime) {
    const registry own;
    constexpr int rounds = 20;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "shared", "0"), 0);
    std::atomic<int> failures{0};
    const auto writer = [&](const char *name) {
        for (int i = 0; i < rounds; i++) {
            failures += ntregy_set_string(hklm, "A", name, std::to_string(i).c_str()) != 0;
        }
    };
    std::thread one(writer, "one"), two(writer, "two");
    for (int i = 0; i < 10 * rounds; i++) {
        failures += text_of("A", "shared") != "0";
        failures += values("A").empty();
    }
    one.join();
    two.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(text_of("A", "one"), std::to_string(rounds - 1));
    EXPECT_EQ(text_of("A", "two"), std::to_string(rounds - 1));
}

TEST(RegistryFork, LeavesBothProcessesWithTheRegistry) {
    const registry own;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "parent"), 0);
    EXPECT_EQ(in_child([] {
                  return text_of("A", "v") == "parent" && ntregy_set_string(hklm, "A", "v", "child") == 0 &&
                         in_child([] { return text_of("A", "v") == "child"; }) == 0;
              }),
              0);
    EXPECT_EQ(text_of("A", "v"), "child");
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "parent again"), 0);
}

TEST(RegistryFork, MayHappenWhileOtherThreadsUseTheRegistry) {
    const registry own;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), 0);
    std::atomic<bool> ends{false};
    std::atomic<int> failures{0};
    std::thread reader([&] {
        while (!ends) failures += text_of("A", "v") != "x";
    });
    std::thread writer([&] {
        while (!ends) failures += ntregy_set_string(hklm, "A", "w", "y") != 0;
    });
    for (int i = 0; i < 20; i++) EXPECT_EQ(in_child([] { return text_of("A", "v") == "x"; }), 0);
    ends = true;
    reader.join();
    writer.join();
    EXPECT_EQ(failures, 0);
}

// What is called when memory is short, on a registry where value "v" of key "A" is "x".
std::vector<std::function<int()>> calls(const registry &own) {
    const std::string file = own.dir / "out.reg";
    return {[] {
                char text[16];
                return ntregy_get_string(hklm, "A", "v", text, sizeof text);
            },
            [] { return ntregy_set_string(hklm, "A", "w", "y"); },
            [] { return ntregy_create_key(hklm, "B"); },
            [] {
                return ntregy_enum_subkeys(
                    hklm, "", [](void *, const char *, size_t) { return 0; }, nullptr);
            },
            [] {
                const auto each = [](void *, const char *, ntregy_type_t, const void *, size_t) { return 0; };
                return ntregy_enum_values(hklm, "A", each, nullptr);
            },
            [file] { return ntregy_export(hklm, "", file.c_str()); },
            [file] { return ntregy_import(file.c_str(), nullptr, nullptr); }};
}

TEST(RegistryMemory, MayBeRefusedAtAnyTime) {
    const registry own;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), 0);
    for (const auto &body : calls(own)) {
        const int refused = faults::each_allocation([&](int, bool) {
            {
                const faults::suspend unrefused;
                disconnect();
            }
            const int error = body();
            const faults::suspend unrefused;
            EXPECT_TRUE(error == 0 || error == KS_ENOMEM) << error;
            EXPECT_EQ(text_of("A", "v"), "x");
        });
        EXPECT_GT(refused, 0);
    }
}

// The data base takes its memory by itself. A limit on it is of the whole process, so only a test sets one.
TEST(RegistryMemory, MayBeRefusedToTheDataBase) {
    const auto limit = reinterpret_cast<int64_t (*)(int64_t)>(dlsym(RTLD_DEFAULT, "sqlite3_hard_heap_limit64"));
    const auto used = reinterpret_cast<int64_t (*)()>(dlsym(RTLD_DEFAULT, "sqlite3_memory_used"));
    ASSERT_TRUE(limit && used);
    const registry own;
    EXPECT_EQ(ntregy_set_string(hklm, "A", "v", "x"), 0);
    EXPECT_EQ(ntregy_export(hklm, "", (own.dir / "out.reg").c_str()), 0);
    for (const auto &body : calls(own)) {
        int refused = 0, error = KS_ENOMEM;
        for (int64_t room = 1; error != 0; room += 1500) {
            disconnect();
            limit(used() + room);
            error = body();
            limit(0);
            refused += error == KS_ENOMEM;
            EXPECT_TRUE(error == 0 || error == KS_ENOMEM) << error;
            EXPECT_EQ(text_of("A", "v"), "x");
            ASSERT_LT(room, 10 << 20);
        }
        EXPECT_GT(refused, 0);
    }
}

} // namespace
