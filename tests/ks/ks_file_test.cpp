#include "ks/ks_file.h"

#include "ks/ks_errno.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <string>

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

} // namespace
