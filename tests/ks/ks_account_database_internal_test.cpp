#include "posix/ks_account_database.hpp"

#include <gtest/gtest.h>
#include <vector>

namespace {

// A database function that fails so, one error after the other, and then finds an entry.
struct scripted {
    std::vector<int> errors;
    std::vector<size_t> sizes; // of the buffers that it was given
    int entry = 7;

    int ask() {
        std::vector<char> buffer;
        int *found = nullptr;
        const int result = ks::os::ask_database(buffer, found, [&](char *at, size_t size, int **out) {
            EXPECT_NE(at, nullptr);
            sizes.push_back(size);
            if (sizes.size() <= errors.size()) {
                return errors[sizes.size() - 1];
            }
            *out = &entry;
            return 0;
        });
        EXPECT_EQ(found, result == 0 ? &entry : nullptr);
        return result;
    }
};

TEST(AskDatabase, FindsAnEntry) { EXPECT_EQ(scripted{}.ask(), 0); }

TEST(AskDatabase, GrowsTheBufferUntilTheEntryFits) {
    scripted database{{ERANGE, ERANGE, ERANGE}, {}};
    EXPECT_EQ(database.ask(), 0);
    EXPECT_EQ(database.sizes, (std::vector<size_t>{1024, 4096, 16384, 65536}));
}

TEST(AskDatabase, GivesUpOnAnEntryThatNeverFits) {
    scripted database{std::vector<int>(100, ERANGE), {}};
    EXPECT_EQ(database.ask(), KS_EIO);
    EXPECT_EQ(database.sizes.back(), ks::os::max_database_buffer);
}

TEST(AskDatabase, AsksAgainWhenInterrupted) {
    scripted database{{EINTR, EINTR}, {}};
    EXPECT_EQ(database.ask(), 0);
    EXPECT_EQ(database.sizes.size(), 3u);
}

TEST(AskDatabase, TellsUnknownFromFailed) {
    for (const int error : {0, ENOENT, ESRCH}) {
        EXPECT_EQ((scripted{{error}, {}}.ask()), KS_ENOENT) << error;
    }
    for (const int error : {EIO, EMFILE, ENFILE, EAGAIN, EPERM, EBADF, ECONNREFUSED, ETIMEDOUT}) {
        EXPECT_EQ((scripted{{error}, {}}.ask()), KS_EIO) << error;
    }
    EXPECT_EQ((scripted{{ENOMEM}, {}}.ask()), KS_ENOMEM);
}

} // namespace
