// What the system supplies for directories: the cases that depend on who runs the test are met here one by one.
#include "internal/ks_os.hpp"
#include "support/env.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <filesystem>
#include <string>
#include <unistd.h>

static const char *file_of_library = nullptr; // what the loader says, in place of the truth

extern "C" [[gnu::visibility("default")]] int dladdr(const void *address, Dl_info *info) noexcept {
    static const auto next = reinterpret_cast<decltype(&dladdr)>(dlsym(RTLD_NEXT, "dladdr"));
    const int found = next(address, info);
    if (file_of_library) info->dli_fname = file_of_library;
    return found;
}

namespace {

using ks::os::can_fill_directory;

std::string state_directory(size_t size = 256) {
    std::string buffer(256, '#');
    return ks::os::user_state_directory(buffer.data(), size) ? buffer.substr(0, buffer.find('\0')) : "none";
}

TEST(CanFillDirectory, AsksTheDirectoryOrTheOneAboveWhenMissing) {
    const temp_dir dir;
    EXPECT_TRUE(can_fill_directory(dir.str().c_str()));
    EXPECT_TRUE(can_fill_directory((dir / "missing").c_str()));
    EXPECT_FALSE(can_fill_directory((dir / "missing/below").c_str()));
    EXPECT_FALSE(can_fill_directory((dir.write("file", "") + "/below").c_str()));
}

TEST(CanFillDirectory, IsNotForAReadOnlyDirectory) {
    if (geteuid() == 0) GTEST_SKIP() << "root may write everywhere";
    const temp_dir dir;
    std::filesystem::permissions(dir.path(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    EXPECT_FALSE(can_fill_directory(dir.str().c_str()));
    EXPECT_FALSE(can_fill_directory((dir / "missing").c_str()));
    std::filesystem::permissions(dir.path(), std::filesystem::perms::owner_all);
}

TEST(UserStateDirectory, IsTheVariableWhenItIsAbsolute) {
    const scoped_env home("HOME", "/users/u");
    {
        const scoped_env state("XDG_STATE_HOME", "/state");
        EXPECT_EQ(state_directory(), "/state");
        EXPECT_EQ(state_directory(7), "/state");
        EXPECT_EQ(state_directory(6), "none");
    }
    for (const char *value : {"relative/state", "", static_cast<const char *>(nullptr)}) {
        const scoped_env state("XDG_STATE_HOME", value);
        EXPECT_EQ(state_directory(), "/users/u/.local/state");
        EXPECT_EQ(state_directory(20), "none");
    }
}

TEST(UserStateDirectory, IsNotThereWithoutAHome) {
    const scoped_env state("XDG_STATE_HOME", nullptr);
    for (const char *value : {"relative", "", static_cast<const char *>(nullptr)}) {
        const scoped_env home("HOME", value);
        EXPECT_EQ(state_directory(), "none");
    }
}

TEST(IsDirectory, IsForDirectoriesOnly) {
    const temp_dir dir;
    EXPECT_TRUE(ks::os::is_directory(dir.str().c_str()));
    EXPECT_FALSE(ks::os::is_directory(dir.write("file", "").c_str()));
    EXPECT_FALSE(ks::os::is_directory((dir / "missing").c_str()));
}

TEST(DirectoryAboveLibrary, IsAbsoluteAlsoForAProgramThatHoldsTheLibrary) {
    char buffer[256];
    ks::os::directory_above_library(buffer, sizeof buffer);
    EXPECT_EQ(std::filesystem::path(buffer),
              std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path());
}

TEST(DirectoryAboveLibrary, IsThatOfTheProgramWhereTheLoaderKnowsNoPath) {
    char buffer[256];
    file_of_library = "a name that is no path";
    ks::os::directory_above_library(buffer, sizeof buffer);
    file_of_library = nullptr;
    EXPECT_EQ(std::filesystem::path(buffer),
              std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path());
}

TEST(Entropy, DiffersFromCallToCall) { EXPECT_NE(ks::os::entropy(), ks::os::entropy()); }

} // namespace
