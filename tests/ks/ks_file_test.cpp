#include "ks/ks_file.h"

#include "ks/ks_errno.h"
#include "ks/ks_str.h"
#include "support/faults.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <fcntl.h>
#include <set>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

struct split {
    const char *path, *directory, *leaf;
};

TEST(FileutlHostPath, TurnsSeparatorsRound) {
    char buffer[32];
    EXPECT_EQ(fileutl_host_path("\\var/lib\\x", buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "/var/lib/x");
    EXPECT_EQ(fileutl_host_path("", buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "");
}

TEST(FileutlHostPath, RefusesWhatDoesNotFit) {
    char buffer[4];
    EXPECT_EQ(fileutl_host_path("abc", buffer, sizeof buffer), 0);
    ks_errno = 0;
    EXPECT_EQ(fileutl_host_path("abcd", buffer, sizeof buffer), KS_ENAMETOOLONG);
    EXPECT_EQ(ks_errno, KS_ENAMETOOLONG);
    EXPECT_STREQ(buffer, "");
}

TEST(FileutlHostPath, NamesNullArguments) {
    char buffer[4] = "abc";
    EXPECT_EQ(fileutl_host_path(nullptr, buffer, sizeof buffer), KS_EINVAL);
    EXPECT_EQ(fileutl_host_path("a", nullptr, 4), KS_EINVAL);
    EXPECT_EQ(fileutl_host_path("a", buffer, 0), KS_EINVAL);
    EXPECT_STREQ(buffer, "abc");
}

TEST(FileutlHostPath, WorksInPlace) {
    char path[] = "a\\b";
    EXPECT_EQ(fileutl_host_path(path, path, sizeof path), 0);
    EXPECT_STREQ(path, "a/b");
}

TEST(FileutlIsDriveStyle, IsForDrivesAndOneLeadingSeparator) {
    for (const char *path : {"C:", "z:\\x", "a:b", "\\", "/", "\\x", "/x/y"}) {
        EXPECT_EQ(fileutl_is_drive_style(path), 1) << path;
    }
    for (const char *path : {"", "x", "C", "1:", "@:", "[:", "`:", "{:", ":", "\\\\host\\share", "//x", "/\\x",
                             "\\/x", "x/y", "\xC3:"}) {
        EXPECT_EQ(fileutl_is_drive_style(path), 0) << path;
    }
    EXPECT_EQ(fileutl_is_drive_style(nullptr), 0);
}

TEST(FileutlStripLeaf, SplitsAtTheLastSeparator) {
    for (const auto &[path, expected_directory, expected_leaf] :
         {split{"a\\b/c", "a\\b", "c"}, split{"a/b\\c", "a/b", "c"}, split{"leaf", "", "leaf"},
          split{"dir/", "dir", ""}, split{"/leaf", "", "leaf"}, split{"", "", ""}, split{"a//b", "a/", "b"}}) {
        char directory[16], leaf[16];
        EXPECT_EQ(fileutl_strip_leaf(path, directory, sizeof directory, leaf, sizeof leaf), 0) << path;
        EXPECT_STREQ(directory, expected_directory);
        EXPECT_STREQ(leaf, expected_leaf);
    }
}

TEST(FileutlStripLeaf, LeavesTheBuffersAloneWhenAPartDoesNotFit) {
    char directory[4] = "D", leaf[4] = "L";
    EXPECT_EQ(fileutl_strip_leaf("abc/def", directory, 4, leaf, 4), 0);
    directory[0] = leaf[0] = '#';
    EXPECT_EQ(fileutl_strip_leaf("abcd/def", directory, 4, leaf, 4), KS_ENAMETOOLONG);
    EXPECT_EQ(fileutl_strip_leaf("abc/defg", directory, 4, leaf, 4), KS_ENAMETOOLONG);
    EXPECT_EQ(fileutl_strip_leaf("", directory, 0, leaf, 4), KS_ENAMETOOLONG);
    EXPECT_EQ(fileutl_strip_leaf("", directory, 4, leaf, 0), KS_ENAMETOOLONG);
    EXPECT_EQ(directory[0], '#');
    EXPECT_EQ(leaf[0], '#');
}

TEST(FileutlStripLeaf, NamesNullArguments) {
    char part[4];
    EXPECT_EQ(fileutl_strip_leaf(nullptr, part, 4, part, 4), KS_EINVAL);
    EXPECT_EQ(fileutl_strip_leaf("a", nullptr, 4, part, 4), KS_EINVAL);
    EXPECT_EQ(fileutl_strip_leaf("a", part, 4, nullptr, 4), KS_EINVAL);
}

RC_GTEST_PROP(FileutlStripLeaf, GivesPartsThatJoinToTheWhole, ()) {
    const auto path = *rc::gen::container<std::string>(rc::gen::element('a', '/', '\\', '.'));
    std::string directory(path.size() + 1, '#'), leaf = directory;
    RC_ASSERT(fileutl_strip_leaf(path.c_str(), directory.data(), directory.size(), leaf.data(), leaf.size()) == 0);
    directory.resize(directory.find('\0'));
    leaf.resize(leaf.find('\0'));
    RC_ASSERT(leaf.find_first_of("\\/") == leaf.npos);
    if (path.find_first_of("\\/") == path.npos) {
        RC_ASSERT(directory.empty() && leaf == path);
    } else {
        RC_ASSERT(directory + path[directory.size()] + leaf == path);
    }
}

// ---- network and mapped paths

TEST(FileutlIsUncPn, NeedsTwoSeparatorsInFront) {
    for (const char *path : {"\\\\host\\share", "//host/share", "\\/x", "\\\\"})
        EXPECT_EQ(fileutl_is_unc_pn(path), 1);
    for (const char *path : {"", "\\", "\\x", "x\\\\y", "c:\\\\"}) EXPECT_EQ(fileutl_is_unc_pn(path), 0) << path;
    EXPECT_EQ(fileutl_is_unc_pn(nullptr), 0);
}

TEST(FileutlExpandMappedPn, GivesThePathWhereNothingIsMapped) {
    char buffer[8];
    EXPECT_EQ(fileutl_expand_mapped_pn("\\a/b", buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "\\a/b");
    EXPECT_EQ(fileutl_expand_mapped_pn("1234567", buffer, sizeof buffer), 0);
    EXPECT_EQ(fileutl_expand_mapped_pn("12345678", buffer, sizeof buffer), KS_ENAMETOOLONG);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(fileutl_expand_mapped_pn(nullptr, buffer, sizeof buffer), KS_EINVAL);
    EXPECT_EQ(fileutl_expand_mapped_pn("x", nullptr, 8), KS_EINVAL);
    EXPECT_EQ(fileutl_expand_mapped_pn("x", buffer, 0), KS_EINVAL);
}

// ---- status

TEST(FileutlStat, TellsKindModeSizeAndTimes) {
    const temp_dir dir;
    const std::string file = dir.write("file", "hello");
    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    const timespec times[2] = {{-86400, 0}, {5000000000, 0}}; // before 1970, behind 2038
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    fileutl_status_t status;
    ASSERT_EQ(fileutl_stat(file.c_str(), 1, &status), 0);
    EXPECT_EQ(status.mode, FILEUTL_REGULAR | 0640u);
    EXPECT_EQ(status.size, 5);
    EXPECT_EQ(status.atime, -86400);
    EXPECT_EQ(status.mtime, 5000000000);
    EXPECT_EQ(status.nlink, 1u);
    EXPECT_EQ(status.uid, geteuid());
    ASSERT_EQ(fileutl_stat(dir.str().c_str(), 1, &status), 0);
    EXPECT_EQ(status.mode & FILEUTL_KIND, static_cast<uint32_t>(FILEUTL_DIRECTORY));
}

TEST(FileutlStat, FollowsLinksWhenAsked) {
    const temp_dir dir;
    const std::string link = dir / "link";
    ASSERT_EQ(symlink(dir.write("file", "x").c_str(), link.c_str()), 0);
    fileutl_status_t status;
    ASSERT_EQ(fileutl_stat(link.c_str(), 1, &status), 0);
    EXPECT_EQ(status.mode & FILEUTL_KIND, static_cast<uint32_t>(FILEUTL_REGULAR));
    ASSERT_EQ(fileutl_stat(link.c_str(), 0, &status), 0);
    EXPECT_EQ(status.mode & FILEUTL_KIND, static_cast<uint32_t>(FILEUTL_LINK));
}

TEST(FileutlStat, IsNegativeOnFailure) {
    const temp_dir dir;
    fileutl_status_t status = {};
    const auto failure = [&](const char *path, fileutl_status_t *out) {
        ks_errno = 0;
        EXPECT_EQ(fileutl_stat(path, 1, out), -1);
        return ks_errno;
    };
    EXPECT_EQ(failure((dir / "none").c_str(), &status), KS_ENOENT);
    EXPECT_EQ(failure((dir.write("file", "") + "\\x").c_str(), &status), KS_ENOTDIR);
    EXPECT_EQ(failure(std::string(2000, 'x').c_str(), &status), KS_ENAMETOOLONG);
    EXPECT_EQ(failure(nullptr, &status), KS_EINVAL);
    EXPECT_EQ(failure("/", nullptr), KS_EINVAL);
    EXPECT_EQ(status.mode, 0u);
}

// ---- directories

TEST(FileutlOpendir, ListsEveryEntry) {
    const temp_dir dir;
    dir.write("one", "");
    dir.write("two/three", "");
    fileutl_dir_t *listing = fileutl_opendir(dir.str().c_str());
    ASSERT_NE(listing, nullptr);
    std::multiset<std::string> names;
    char name[256];
    int result;
    while ((result = fileutl_readdir_r(listing, name, sizeof name)) == 1) names.insert(name);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(names, (std::multiset<std::string>{".", "..", "one", "two"}));
    EXPECT_EQ(fileutl_closedir(listing), 0);
}

TEST(FileutlOpendir, SaysWhyItFails) {
    const temp_dir dir;
    const auto failure = [](const char *path) {
        ks_errno = 0;
        EXPECT_EQ(fileutl_opendir(path), nullptr);
        return ks_errno;
    };
    EXPECT_EQ(failure((dir / "none").c_str()), KS_ENOENT);
    EXPECT_EQ(failure(dir.write("file", "").c_str()), KS_ENOTDIR);
    EXPECT_EQ(failure(std::string(2000, 'x').c_str()), KS_ENAMETOOLONG);
    EXPECT_EQ(failure(nullptr), KS_EINVAL);
    const std::string path = dir.str();
    const faults::refuse refused(1, false);
    EXPECT_EQ(failure(path.c_str()), KS_ENOMEM);
}

TEST(FileutlReaddir, RefusesNamesThatDoNotFit) {
    const temp_dir dir;
    dir.write("long-name", "");
    fileutl_dir_t *listing = fileutl_opendir(dir.str().c_str());
    ASSERT_NE(listing, nullptr);
    char name[4] = "...";
    int refused = 0, result;
    while ((result = fileutl_readdir_r(listing, name, sizeof name)) != 0) {
        if (result > 0) continue;
        EXPECT_EQ(ks_errno, KS_ENAMETOOLONG);
        refused++;
    }
    EXPECT_EQ(refused, 1);
    EXPECT_EQ(fileutl_readdir_r(nullptr, name, sizeof name), -1);
    EXPECT_EQ(fileutl_readdir_r(listing, nullptr, 1), -1);
    EXPECT_EQ(ks_errno, KS_EINVAL);
    fileutl_closedir(listing);
    EXPECT_EQ(fileutl_closedir(nullptr), KS_EINVAL);
}

// ---- files by pattern

struct found_files {
    int error;
    uint32_t index = 99;
    std::vector<std::string> names;
};
found_files resolve(const std::string &list, const char *pattern, uint32_t index) {
    found_files found{0, 99, {}};
    char **names = nullptr;
    uint32_t count = 0;
    found.error = fileutl_resolve_pattern_index(list.c_str(), pattern, index, &found.index, &names, &count);
    if (found.error == 0) {
        found.names.assign(names, names + count);
        strutl_free_str_list(&names, count);
    }
    return found;
}

TEST(FileutlResolvePatternIndex, GivesTheMatchesOfOneDirectoryAfterTheOther) {
    const temp_dir dir;
    for (const char *file : {"a/z.magic", "a/b.MAGIC", "a/x.magi", "b/none", "c/q.magic"}) dir.write(file, "");
    const std::string a = dir / "a", b = dir / "b", c = dir / "c";
    const std::string list = (dir / "none") + ";;" + a + ";" + b + ";" + c + "\\";
    const char *pattern = "*.[Mm][Aa][Gg][Ii][Cc]";
    found_files found = resolve(list, pattern, 0);
    EXPECT_EQ(found.error, 0);
    EXPECT_EQ(found.index, 2u);
    EXPECT_EQ(found.names, (std::vector<std::string>{a + "\\b.MAGIC", a + "\\z.magic"}));
    found = resolve(list, pattern, 3);
    EXPECT_EQ(found.index, 3u);
    EXPECT_TRUE(found.names.empty());
    found = resolve(list, pattern, 4);
    EXPECT_EQ(found.names, (std::vector<std::string>{c + "\\q.magic"}));
    found = resolve(list, pattern, 5);
    EXPECT_EQ(found.error, 2);
    EXPECT_EQ(found.index, 99u);
    EXPECT_EQ(resolve("", pattern, 0).error, 2);
    EXPECT_EQ(resolve(a, "z.magic", 0).names, (std::vector<std::string>{a + "\\z.magic"}));
}

TEST(FileutlResolvePatternIndex, FailsWhereADirectoryCannotBeListedNow) {
    const temp_dir dir;
    dir.write("x.magic", "");
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const int lowest = open("/dev/null", O_RDONLY);
    ASSERT_GE(lowest, 0);
    close(lowest);
    const rlimit none = {static_cast<rlim_t>(lowest), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    uint32_t index = 0, count = 0;
    char **names = nullptr;
    const int error = fileutl_resolve_pattern_index(dir.str().c_str(), "*.magic", 0, &index, &names, &count);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(error, KS_EMFILE) << "a shortage that passes is no missing directory";
    EXPECT_EQ(names, nullptr);
}

TEST(FileutlResolvePatternIndex, SaysWhyItFails) {
    const temp_dir dir;
    dir.write("x", "");
    uint32_t index = 0, count = 0;
    char **names = nullptr;
    EXPECT_EQ(resolve(dir.str(), "[", 0).error, KS_EINVAL);
    EXPECT_EQ(resolve(std::string(2000, 'x'), "*", 0).error, KS_ENAMETOOLONG);
    EXPECT_EQ(fileutl_resolve_pattern_index(nullptr, "*", 0, &index, &names, &count), KS_EINVAL);
    EXPECT_EQ(fileutl_resolve_pattern_index("x", nullptr, 0, &index, &names, &count), KS_EINVAL);
    EXPECT_EQ(fileutl_resolve_pattern_index("x", "*", 0, nullptr, &names, &count), KS_EINVAL);
    EXPECT_EQ(fileutl_resolve_pattern_index("x", "*", 0, &index, nullptr, &count), KS_EINVAL);
    EXPECT_EQ(fileutl_resolve_pattern_index("x", "*", 0, &index, &names, nullptr), KS_EINVAL);
    const std::string path = dir.str();
    const int points = faults::each_allocation([&](int, bool) {
        const int error = fileutl_resolve_pattern_index(path.c_str(), "*", 0, &index, &names, &count);
        const faults::suspend unrefused;
        EXPECT_TRUE(error == 0 || error == KS_ENOMEM) << error;
        if (error == 0) strutl_free_str_list(&names, count);
    });
    EXPECT_GT(points, 3);
}

TEST(FileutlChkLargeFileOverflow, IsBeyondASigned32BitOffset) {
    EXPECT_EQ(fileutl_chk_large_file_overflow(0, 0), 0);
    EXPECT_EQ(fileutl_chk_large_file_overflow(2147483647, 0), 0);
    EXPECT_EQ(fileutl_chk_large_file_overflow(2147483648u, 0), 1);
    EXPECT_EQ(fileutl_chk_large_file_overflow(uint64_t{1} << 32, 0), 1);
    EXPECT_EQ(fileutl_chk_large_file_overflow(UINT64_MAX, 0), 1);
    EXPECT_EQ(fileutl_chk_large_file_overflow(2147483646, 1), 0);
    EXPECT_EQ(fileutl_chk_large_file_overflow(2147483647, 1), 1);
    EXPECT_EQ(fileutl_chk_large_file_overflow(1, UINT64_MAX), 1);
    EXPECT_EQ(fileutl_chk_large_file_overflow(UINT64_MAX, UINT64_MAX), 1);
}

} // namespace
