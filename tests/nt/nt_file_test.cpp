#include "nt/nt_file.h"

#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

struct closer {
    void operator()(FILE *stream) const { std::fclose(stream); }
};
using stream_owner = std::unique_ptr<FILE, closer>;

stream_owner open(const std::string &path, const char *mode) {
    ks_errno = 0;
    return stream_owner(unix_nt_fopen(path.c_str(), mode));
}

std::string contents(FILE *stream) {
    char buffer[64];
    return {buffer, unix_nt_fread(buffer, sizeof buffer, stream)};
}

std::string with_backslashes(std::string path) {
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
}

TEST(UnixNtFopen, TakesProductPaths) {
    const temp_dir dir;
    dir.write("a/b.txt", "text");
    const auto stream = open(with_backslashes(dir / "a/b.txt"), "r");
    ASSERT_TRUE(stream);
    EXPECT_EQ(contents(stream.get()), "text");
    EXPECT_EQ(ks_errno, 0);
}

TEST(UnixNtFopen, ClosesOnExec) {
    const temp_dir dir;
    const auto stream = open(dir / "f", "w");
    ASSERT_TRUE(stream);
    EXPECT_TRUE(fcntl(fileno(stream.get()), F_GETFD) & FD_CLOEXEC);
}

// What a mode does to a file of "old", and whether one that is missing is made.
struct mode_case {
    const char *mode;
    bool reads, writes, makes;
    const char *after; // content when "new" is written and the stream closed
};

TEST(UnixNtFopen, DoesWhatEachModeSays) {
    for (const mode_case &c : {mode_case{"r", true, false, false, "old"},
                               {"rb", true, false, false, "old"},
                               {"r+", true, true, false, "new"},
                               {"r+b", true, true, false, "new"},
                               {"rb+", true, true, false, "new"},
                               {"w", false, true, true, "new"},
                               {"wb", false, true, true, "new"},
                               {"w+", true, true, true, "new"},
                               {"wb+", true, true, true, "new"},
                               {"a", false, true, true, "oldnew"},
                               {"a+", true, true, true, "oldnew"},
                               {"ab+", true, true, true, "oldnew"}}) {
        SCOPED_TRACE(c.mode);
        const temp_dir dir;
        dir.write("f", "old");
        {
            const auto stream = open(dir / "f", c.mode);
            ASSERT_TRUE(stream);
            const int access = fcntl(fileno(stream.get()), F_GETFL) & O_ACCMODE;
            EXPECT_EQ(access, c.reads && c.writes ? O_RDWR : c.reads ? O_RDONLY : O_WRONLY);
            std::fputs("new", stream.get());
        }
        EXPECT_EQ(dir.read("f"), c.after);
        EXPECT_EQ(open(dir / "missing", c.mode) != nullptr, c.makes);
        EXPECT_EQ(ks_errno, c.makes ? 0 : KS_ENOENT);
    }
}

TEST(UnixNtFopen, MakesOnlyNewFilesWithX) {
    const temp_dir dir;
    for (const char *mode : {"wx", "wbx", "w+x", "wxb", "w+bx"}) {
        SCOPED_TRACE(mode);
        dir.write("old", "old");
        EXPECT_FALSE(open(dir / "old", mode));
        EXPECT_EQ(ks_errno, KS_EEXIST);
        EXPECT_EQ(dir.read("old"), "old");
        EXPECT_TRUE(open(dir / mode, mode));
    }
}

TEST(UnixNtFopen, RefusesBadModes) {
    const temp_dir dir;
    dir.write("f", "old");
    for (const char *mode :
         {"", "x", "b", "+", "rw", "r++", "rbb", "rx", "ax", "wxx", "r,ccs=UTF-8", "re", " r", "R"}) {
        EXPECT_FALSE(open(dir / "f", mode)) << mode;
        EXPECT_EQ(ks_errno, KS_EINVAL) << mode;
    }
    EXPECT_EQ(unix_nt_fopen(nullptr, "r"), nullptr);
    EXPECT_EQ(unix_nt_fopen("f", nullptr), nullptr);
    EXPECT_EQ(dir.read("f"), "old");
}

TEST(UnixNtFopen, RefusesADirectoryAtOnce) {
    const temp_dir dir;
    for (const char *mode : {"r", "r+", "w", "a", "a+"}) {
        EXPECT_FALSE(open(dir.str(), mode)) << mode;
        EXPECT_EQ(ks_errno, KS_EISDIR) << mode;
    }
}

TEST(UnixNtFopen, LeaksNoDescriptorWhenItRefusesADirectory) {
    const temp_dir dir;
    const int before = dup(0);
    close(before);
    for (int i = 0; i < 10; i++) EXPECT_FALSE(open(dir.str(), "r"));
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
}

TEST(UnixNtFopen, TranslatesTheHostsError) {
    const temp_dir dir;
    dir.write("f", "");
    EXPECT_FALSE(open(dir / "f/below", "r"));
    EXPECT_EQ(ks_errno, KS_ENOTDIR);
    EXPECT_FALSE(open("", "r"));
    EXPECT_EQ(ks_errno, KS_ENOENT);
    std::filesystem::create_symlink("loop", dir.path() / "loop");
    EXPECT_FALSE(open(dir / "loop", "r"));
    EXPECT_EQ(ks_errno, KS_ELOOP);
    EXPECT_FALSE(open(dir / std::string(300, 'x'), "r"));
    EXPECT_EQ(ks_errno, KS_ENAMETOOLONG);
    EXPECT_FALSE(open(std::string(KS_PATH_SIZE, '/'), "r"));
    EXPECT_EQ(ks_errno, KS_ENAMETOOLONG);
}

TEST(UnixNtFopen, OpensWhatIsNoRegularFile) {
    const auto null = open("/dev/null", "r");
    ASSERT_TRUE(null);
    EXPECT_EQ(contents(null.get()), "");

    const temp_dir dir;
    const std::string fifo = dir / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::thread writer([&] {
        const auto stream = open(fifo, "w"); // waits for the reader
        std::fputs("through", stream.get());
    });
    const auto reader = open(fifo, "r");
    EXPECT_EQ(contents(reader.get()), "through");
    writer.join();
}

TEST(UnixNtFread, GivesWhatIsThere) {
    const temp_dir dir;
    dir.write("f", std::string("a\0b\r\n", 5));
    const auto stream = open(dir / "f", "r");
    char buffer[8];
    EXPECT_EQ(unix_nt_fread(buffer, 2, stream.get()), 2u);
    EXPECT_EQ(unix_nt_fread(buffer, sizeof buffer, stream.get()), 3u);
    EXPECT_EQ(std::string(buffer, 3), "b\r\n");
    EXPECT_EQ(unix_nt_fread(buffer, sizeof buffer, stream.get()), 0u);
    EXPECT_FALSE(std::ferror(stream.get()));
    EXPECT_EQ(ks_errno, 0);
}

TEST(UnixNtFread, SaysWhyItFailed) {
    const temp_dir dir;
    const auto stream = open(dir / "f", "w");
    char buffer[8];
    EXPECT_EQ(unix_nt_fread(buffer, sizeof buffer, stream.get()), 0u);
    EXPECT_TRUE(std::ferror(stream.get()));
    EXPECT_EQ(ks_errno, KS_EBADF);
}

TEST(UnixNtFread, RefusesNull) {
    char buffer[8];
    EXPECT_EQ(unix_nt_fread(buffer, 1, nullptr), 0u);
    const auto stream = open("/dev/null", "r");
    ks_errno = 0;
    EXPECT_EQ(unix_nt_fread(nullptr, 1, stream.get()), 0u);
    EXPECT_EQ(ks_errno, KS_EINVAL);
}

// ---- access

TEST(UnixNtAccess, TellsWhatMayBeDone) {
    const temp_dir dir;
    const std::string file = dir.write("file", "x");
    for (const int mode : {0, 2, 4, 6}) EXPECT_EQ(unix_nt_access(with_backslashes(file).c_str(), mode), 0) << mode;
    EXPECT_EQ(unix_nt_access(dir.str().c_str(), 0), 0);
}

TEST(UnixNtAccess, IsNegativeOnFailure) {
    const temp_dir dir;
    const auto failure = [](const char *path, int mode) {
        ks_errno = 0;
        EXPECT_EQ(unix_nt_access(path, mode), -1);
        return ks_errno;
    };
    EXPECT_EQ(failure((dir / "none").c_str(), 0), KS_ENOENT);
    EXPECT_EQ(failure(nullptr, 0), KS_EINVAL);
    EXPECT_EQ(failure("/", 1), KS_EINVAL);
    EXPECT_EQ(failure("/", 8), KS_EINVAL);
    EXPECT_EQ(failure(std::string(KS_PATH_SIZE, 'x').c_str(), 0), KS_ENAMETOOLONG);
}

TEST(UnixNtAccess, KnowsTheEffectiveUser) {
    if (geteuid() == 0) GTEST_SKIP() << "the superuser may write to every file";
    const temp_dir dir;
    const std::string file = dir.write("file", "x");
    ASSERT_EQ(chmod(file.c_str(), 0400), 0);
    EXPECT_EQ(unix_nt_access(file.c_str(), 4), 0);
    EXPECT_EQ(unix_nt_access(file.c_str(), 2), -1);
    EXPECT_EQ(ks_errno, KS_EACCES);
}

// ---- settings

TEST(UnixNtFopenSettings, OpensARegularFile) {
    const temp_dir dir;
    const std::string file = dir.write("map", "text");
    int others = -1;
    stream_owner stream(unix_nt_fopen_settings(with_backslashes(file).c_str(), &others));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(contents(stream.get()), "text");
    EXPECT_EQ(others, 0);
    EXPECT_TRUE(fcntl(fileno(stream.get()), F_GETFD) & FD_CLOEXEC);
}

TEST(UnixNtFopenSettings, TellsWhetherEverybodyMayWrite) {
    const temp_dir dir;
    const std::string file = dir.write("map", "text");
    for (const auto &[mode, expected] : {std::pair{0644, 0}, {0664, 0}, {0646, 1}, {0602, 1}}) {
        ASSERT_EQ(chmod(file.c_str(), static_cast<mode_t>(mode)), 0);
        int others = -1;
        EXPECT_NE(stream_owner(unix_nt_fopen_settings(file.c_str(), &others)), nullptr);
        EXPECT_EQ(others, expected) << std::oct << mode;
    }
    EXPECT_NE(stream_owner(unix_nt_fopen_settings(file.c_str(), nullptr)), nullptr);
}

TEST(UnixNtFopenSettings, RefusesWhatIsNoFileAndWaitsForNobody) {
    const temp_dir dir;
    const std::string fifo = dir / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    int others = -1;
    const auto failure = [&](const char *path) {
        ks_errno = 0;
        EXPECT_EQ(unix_nt_fopen_settings(path, &others), nullptr);
        return ks_errno;
    };
    EXPECT_EQ(failure(fifo.c_str()), KS_EINVAL);
    EXPECT_EQ(failure("/dev/null"), KS_EINVAL);
    EXPECT_EQ(failure(dir.str().c_str()), KS_EISDIR);
    EXPECT_EQ(failure((dir / "none").c_str()), KS_ENOENT);
    EXPECT_EQ(failure(std::string(KS_PATH_SIZE, 'x').c_str()), KS_ENAMETOOLONG);
    EXPECT_EQ(failure(nullptr), KS_EINVAL);
    EXPECT_EQ(others, -1);
}

// ---- content

TEST(UnixNtReadContent, ReadsTheBeginningByPathOrDescriptor) {
    const temp_dir dir;
    const std::string file = dir.write("file", "0123456789");
    char buffer[16] = "";
    size_t size = 99;
    EXPECT_EQ(unix_nt_read_content(with_backslashes(file).c_str(), UNIX_NT_NOT_OPEN, buffer, 4, &size), 0);
    EXPECT_EQ(std::string(buffer, size), "0123");
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(lseek(fd, 7, SEEK_SET), 7);
    EXPECT_EQ(unix_nt_read_content(nullptr, fd, buffer, sizeof buffer, &size), 0);
    EXPECT_EQ(std::string(buffer, size), "0123456789");
    EXPECT_EQ(lseek(fd, 0, SEEK_CUR), 7);
    close(fd);
    EXPECT_EQ(unix_nt_read_content(dir.write("empty", "").c_str(), UNIX_NT_NOT_OPEN, buffer, 4, &size), 0);
    EXPECT_EQ(size, 0u);
}

TEST(UnixNtReadContent, RefusesWhatIsNoFileAndWaitsForNobody) {
    const temp_dir dir;
    const std::string fifo = dir / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    char buffer[4];
    size_t size = 99;
    const auto failure = [&](const char *path, int fd) {
        ks_errno = 0;
        const int error = unix_nt_read_content(path, fd, buffer, sizeof buffer, &size);
        EXPECT_EQ(error, ks_errno);
        return error;
    };
    EXPECT_EQ(failure(fifo.c_str(), UNIX_NT_NOT_OPEN), KS_EINVAL);
    EXPECT_EQ(failure(dir.str().c_str(), UNIX_NT_NOT_OPEN), KS_EINVAL);
    EXPECT_EQ(failure("/dev/null", UNIX_NT_NOT_OPEN), KS_EINVAL);
    EXPECT_EQ(failure((dir / "none").c_str(), UNIX_NT_NOT_OPEN), KS_ENOENT);
    EXPECT_EQ(failure(nullptr, UNIX_NT_NOT_OPEN), KS_EINVAL);
    EXPECT_EQ(failure("x", -1), KS_EINVAL);
    EXPECT_EQ(failure("x", 1'000'000), KS_EBADF);
    EXPECT_EQ(unix_nt_read_content("/etc/passwd", UNIX_NT_NOT_OPEN, nullptr, 4, &size), KS_EINVAL);
    EXPECT_EQ(unix_nt_read_content("/etc/passwd", UNIX_NT_NOT_OPEN, buffer, 4, nullptr), KS_EINVAL);
    EXPECT_EQ(size, 99u);
}

} // namespace
