#include "mvfs/mvfs_view_root.h"

#include "ks/ks_errno.h"
#include "nt/registry_support.hpp"
#include "support/faults.hpp"
#include "support/sink.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>

namespace {

using registry_test::hklm;

// A registry of its own, and directories to name in it.
class MvfsViewRoot : public testing::Test {
protected:
    static void name(const char *type, const char *value, const std::string &text) {
        const std::string key = std::string("SOFTWARE\\Tessivane\\ViewRoots\\") + type;
        ASSERT_EQ(ntregy_set_string(hklm, key.c_str(), value, text.c_str()), 0);
    }
    std::string make_directory(const char *leaf) const {
        std::filesystem::create_directory(dir.path() / leaf);
        return dir / leaf;
    }
    // What opening gives. What was opened is closed.
    static int open(mvfs_view_root_type_t type, int silent = 0) {
        mvfs_view_root_t *root = nullptr;
        ks_errno = 0;
        const int error = mvfs_view_root_open_sil_type(type, &root, silent);
        EXPECT_EQ(root != nullptr, error == 0);
        EXPECT_EQ(ks_errno, error);
        mvfs_view_root_close_type(type, &root);
        EXPECT_EQ(root, nullptr);
        return error;
    }
    static std::string ask(mvfs_view_root_type_t type, int command, size_t size = 256) {
        mvfs_view_root_t *root = nullptr;
        EXPECT_EQ(mvfs_view_root_open_type(type, &root), 0);
        std::string text(size, 'x');
        const int error = mvfs_cmd(root, command, text.data(), text.size());
        mvfs_view_root_close_type(type, &root);
        EXPECT_TRUE(error == 0 || text[0] == '\0');
        return error == 0 ? text.c_str() : "error " + std::to_string(error);
    }

    registry_test::registry registry;
    temp_dir dir;
    recording_sink sink;
};

TEST_F(MvfsViewRoot, IsNotThereWhenTheRegistryNamesNone) {
    EXPECT_EQ(open(DYVWROOT), KS_ENOENT);
    EXPECT_EQ(open(AUVWROOT), KS_ENOENT);
    EXPECT_FALSE(registry.exists());
    name("Dynamic", "Path", "");
    EXPECT_EQ(open(DYVWROOT), KS_ENOENT);
    EXPECT_TRUE(sink.empty());
}

TEST_F(MvfsViewRoot, OfEachTypeIsTheDirectoryThatTheRegistryNames) {
    name("Dynamic", "Path", make_directory("dynamic"));
    EXPECT_EQ(open(DYVWROOT), 0);
    EXPECT_EQ(open(AUVWROOT), KS_ENOENT);
    name("Automatic", "Path", make_directory("automatic"));
    EXPECT_EQ(open(AUVWROOT), 0);
    EXPECT_EQ(ask(DYVWROOT, MVFS_CMD_GET_VIEW_ROOT), dir / "dynamic");
    EXPECT_EQ(ask(AUVWROOT, MVFS_CMD_GET_VIEW_ROOT), dir / "automatic");
    EXPECT_TRUE(sink.empty());
}

TEST_F(MvfsViewRoot, MayBeNamedWithEitherSeparator) {
    std::string path = make_directory("dynamic");
    std::replace(path.begin(), path.end(), '/', '\\');
    name("Dynamic", "Path", path);
    EXPECT_EQ(ask(DYVWROOT, MVFS_CMD_GET_VIEW_ROOT), path);
}

TEST_F(MvfsViewRoot, ThatCannotBeOpenedIsReported) {
    const std::string path = dir / "gone";
    name("Dynamic", "Path", path);
    EXPECT_EQ(open(DYVWROOT), KS_ENOENT);
    const auto messages = sink.take();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].severity, IMSG_ERROR);
    EXPECT_EQ(messages[0].module, "mvfs");
    EXPECT_EQ(messages[0].text, "Unable to open the view root \"" + path + "\": " + imsg_strerror(KS_ENOENT) + ".\n");
    mvfs_view_root_t *root = nullptr;
    EXPECT_EQ(mvfs_view_root_open_type(DYVWROOT, &root), KS_ENOENT);
    EXPECT_EQ(sink.take().size(), 1u);
    EXPECT_EQ(open(DYVWROOT, 1), KS_ENOENT);
    EXPECT_TRUE(sink.empty());
}

TEST_F(MvfsViewRoot, IsAnAbsoluteDirectory) {
    name("Dynamic", "Path", dir.write("file", ""));
    EXPECT_EQ(open(DYVWROOT), KS_ENOTDIR);
    name("Dynamic", "Path", "views");
    EXPECT_EQ(open(DYVWROOT), KS_EINVAL);
    EXPECT_EQ(registry_test::set("SOFTWARE\\Tessivane\\ViewRoots\\Dynamic", "Path", NTREGY_DWORD,
                                 registry_test::bytes_of(uint32_t{1})),
              0);
    EXPECT_EQ(open(DYVWROOT), KS_EINVAL);
    EXPECT_EQ(sink.take().size(), 3u);
}

TEST_F(MvfsViewRoot, CannotBeToldFromADamagedRegistry) {
    registry.dir.write("registry.db", std::string(8192, 'x'));
    EXPECT_EQ(open(DYVWROOT), KS_EIO);
    EXPECT_EQ(sink.text(), std::string("Unable to open the view root \"Dynamic\": ") + imsg_strerror(KS_EIO) + ".\n");
}

TEST_F(MvfsViewRoot, HasANamingSymbolWhenOneIsConfigured) {
    name("Dynamic", "Path", make_directory("dynamic"));
    EXPECT_EQ(ask(DYVWROOT, MVFS_CMD_GET_NAMING_SYMBOL), "error 2");
    name("Dynamic", "NamingSymbol", "");
    EXPECT_EQ(ask(DYVWROOT, MVFS_CMD_GET_NAMING_SYMBOL), "error 2");
    name("Dynamic", "NamingSymbol", "%%%");
    EXPECT_EQ(ask(DYVWROOT, MVFS_CMD_GET_NAMING_SYMBOL), "%%%");
    EXPECT_EQ(ask(DYVWROOT, MVFS_CMD_GET_NAMING_SYMBOL, 4), "%%%");
    EXPECT_EQ(ask(DYVWROOT, MVFS_CMD_GET_NAMING_SYMBOL, 3), "error 34");
}

TEST_F(MvfsViewRoot, NeverCutsItsPath) {
    const std::string path = make_directory("dynamic");
    name("Dynamic", "Path", path);
    EXPECT_EQ(ask(DYVWROOT, MVFS_CMD_GET_VIEW_ROOT, path.size() + 1), path);
    EXPECT_EQ(ask(DYVWROOT, MVFS_CMD_GET_VIEW_ROOT, path.size()), "error 34");
}

TEST_F(MvfsViewRoot, RefusesBadArguments) {
    name("Dynamic", "Path", make_directory("dynamic"));
    EXPECT_EQ(open(-1), KS_EINVAL);
    EXPECT_EQ(open(2), KS_EINVAL);
    EXPECT_EQ(mvfs_view_root_open_sil_type(DYVWROOT, nullptr, 0), KS_EINVAL);
    EXPECT_EQ(mvfs_view_root_open_type(DYVWROOT, nullptr), KS_EINVAL);
    EXPECT_EQ(ask(DYVWROOT, 12), "error 22");
    mvfs_view_root_t *root = nullptr;
    char text[16] = "x";
    EXPECT_EQ(mvfs_cmd(nullptr, MVFS_CMD_GET_VIEW_ROOT, text, sizeof text), KS_EINVAL);
    EXPECT_STREQ(text, "");
    ASSERT_EQ(mvfs_view_root_open_type(DYVWROOT, &root), 0);
    EXPECT_EQ(mvfs_cmd(root, MVFS_CMD_GET_VIEW_ROOT, nullptr, 16), KS_EINVAL);
    *text = 'x';
    EXPECT_EQ(mvfs_cmd(root, MVFS_CMD_GET_VIEW_ROOT, text, 0), KS_ERANGE);
    EXPECT_STREQ(text, "x");
    mvfs_view_root_close_type(DYVWROOT, &root);
    mvfs_view_root_close_type(DYVWROOT, &root);
    mvfs_view_root_close_type(DYVWROOT, nullptr);
    EXPECT_TRUE(sink.empty());
}

TEST_F(MvfsViewRoot, SaysWhenThereIsNoMemory) {
    name("Dynamic", "Path", make_directory("dynamic"));
    const int refused = faults::each_allocation([&](int n, bool) {
        mvfs_view_root_t *root = nullptr;
        const int error = mvfs_view_root_open_type(DYVWROOT, &root);
        const faults::suspend unrefused;
        EXPECT_TRUE(error == 0 || error == KS_ENOMEM) << n << ": " << error;
        EXPECT_EQ(root != nullptr, error == 0) << n;
        mvfs_view_root_close_type(DYVWROOT, &root);
    });
    EXPECT_GT(refused, 0);
}

} // namespace
