// How the module asks view roots, on view roots of the test's own: what is opened, asked and closed, and how often.

#include "nt/registry_support.hpp"

#include "support/new_process.hpp"
#include <gtest/gtest.h>
#include <ks/ks_errno.h>
#include <ks/ks_str.h>
#include <tbs/tbs_mfs.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <latch>
#include <string>
#include <thread>
#include <vector>

// They take the place of the library's.
struct mvfs_view_root {
    mvfs_view_root_type_t type;
};

namespace {

struct fake_root {
    bool opens = false;
    int error_of_path = 0, error_of_symbol = KS_ENOENT;
    std::atomic<int> interruptions{0};
    std::atomic<int> opened{0}, opened_silently{0}, closed{0}, asked_for_path{0}, asked_for_symbol{0};

    int all_opened() const { return opened + opened_silently; }
};

fake_root roots[2];

int open_fake(mvfs_view_root_type_t type, mvfs_view_root_t **root_out) {
    if (!roots[type].opens) return KS_ENOENT;
    *root_out = new mvfs_view_root{type};
    return 0;
}

// Runs a body in a new process, behind which all that was opened is closed.
void in_new_process_that_closes(const std::function<void()> &body) {
    in_new_process([&] {
        body();
        for (const fake_root &root : roots) EXPECT_EQ(root.closed, root.opens ? root.all_opened() : 0);
    });
}

tbs_status_t ask_for_root(mvfs_view_root_type_t type) {
    char text[TBS_PATH_SIZE];
    return tbs_view_root_type(type, text, nullptr);
}

} // namespace

extern "C" int mvfs_view_root_open_type(mvfs_view_root_type_t type, mvfs_view_root_t **root_out) noexcept {
    roots[type].opened++;
    return open_fake(type, root_out);
}

extern "C" int mvfs_view_root_open_sil_type(mvfs_view_root_type_t type, mvfs_view_root_t **root_out,
                                            int silent) noexcept {
    (silent ? roots[type].opened_silently : roots[type].opened)++;
    return open_fake(type, root_out);
}

extern "C" void mvfs_view_root_close_type(mvfs_view_root_type_t type, mvfs_view_root_t **root_variable) noexcept {
    if (!*root_variable) return;
    EXPECT_EQ((*root_variable)->type, type);
    roots[type].closed++;
    delete *root_variable;
    *root_variable = nullptr;
}

extern "C" int mvfs_cmd(mvfs_view_root_t *root, int command, char *buffer, size_t size) noexcept {
    fake_root &fake = roots[root->type];
    if (fake.interruptions > 0) {
        fake.interruptions--;
        return KS_EINTR;
    }
    const bool for_path = command == 11;
    (for_path ? fake.asked_for_path : fake.asked_for_symbol)++;
    EXPECT_TRUE(for_path || command == 20);
    EXPECT_EQ(size, for_path ? 256u : 128u);
    const int error = for_path ? fake.error_of_path : fake.error_of_symbol;
    strutl_cpy_buf(buffer, size, error != 0 ? "" : for_path ? "\\views" : "%%");
    return error;
}

namespace {

class TbsMfsViewRoot : public testing::Test {
protected:
    registry_test::registry registry;
};

TEST_F(TbsMfsViewRoot, FlagsOpenTheSecondTypeOnlyWithoutTheFirst) {
    in_new_process_that_closes([] {
        EXPECT_EQ(tbs_mvfs_ws_flags(), 1u);
        EXPECT_EQ(tbs_mvfs_ws_flags(), 1u);
        EXPECT_EQ(roots[0].opened, 1);
        EXPECT_EQ(roots[1].opened, 1);
        EXPECT_EQ(tbs_mvfs_ws_dyn_flags(), 4u);
        EXPECT_EQ(tbs_mvfs_ws_dyn_flags(), 4u);
        EXPECT_EQ(roots[0].opened, 2);
        EXPECT_EQ(roots[1].opened, 1);
    });
    in_new_process_that_closes([] {
        roots[0].opens = true;
        EXPECT_EQ(tbs_mvfs_ws_flags(), 0u);
        EXPECT_EQ(tbs_mvfs_ws_dyn_flags(), 0u);
        EXPECT_EQ(roots[1].opened, 0);
        EXPECT_EQ(roots[0].opened_silently, 0);
    });
}

TEST_F(TbsMfsViewRoot, PathIsAskedForOnceAndSilently) {
    in_new_process_that_closes([] {
        roots[0].opens = true;
        EXPECT_EQ(ask_for_root(DYVWROOT), 0);
        EXPECT_EQ(ask_for_root(DYVWROOT), 0);
        EXPECT_EQ(roots[0].opened, 1) << "for the flags";
        EXPECT_EQ(roots[0].opened_silently, 1);
        EXPECT_EQ(roots[0].asked_for_path, 1);
    });
}

TEST_F(TbsMfsViewRoot, InterruptedCommandsAreGivenAgain) {
    in_new_process_that_closes([] {
        roots[0].opens = true;
        roots[0].interruptions = 5;
        EXPECT_EQ(ask_for_root(DYVWROOT), 0);
        EXPECT_EQ(roots[0].interruptions, 0);
        EXPECT_EQ(roots[0].asked_for_path, 1);
    });
}

TEST_F(TbsMfsViewRoot, ThatDoesNotTellItsPathIsAskedAgainByTheNextCall) {
    in_new_process_that_closes([] {
        roots[0].opens = true;
        roots[0].error_of_path = KS_EIO;
        EXPECT_EQ(ask_for_root(DYVWROOT), 1002);
        EXPECT_EQ(roots[0].closed, roots[0].all_opened());
        char text[TBS_PATH_SIZE] = "x";
        EXPECT_EQ(tbs_view_root(text, "v"), 1002);
        EXPECT_STREQ(text, "x");
        EXPECT_EQ(roots[0].asked_for_path, 2);
        roots[0].error_of_path = 0;
        EXPECT_EQ(tbs_view_root(text, "v"), 0);
        EXPECT_STREQ(text, "\\views\\v");
    });
}

TEST_F(TbsMfsViewRoot, LackOfMemoryInACommandIsReportedAndNotKept) {
    in_new_process_that_closes([] {
        roots[0].opens = true;
        roots[0].error_of_path = roots[0].error_of_symbol = KS_ENOMEM;
        char text[TBS_PATH_SIZE];
        EXPECT_EQ(ask_for_root(DYVWROOT), TBS_ST_ENOMEM);
        EXPECT_EQ(tbs_version_ext_pname(text, nullptr, nullptr), TBS_ST_ENOMEM);
        EXPECT_EQ(roots[0].closed, roots[0].all_opened());
        roots[0].error_of_path = roots[0].error_of_symbol = 0;
        EXPECT_EQ(ask_for_root(DYVWROOT), 0);
        EXPECT_EQ(tbs_version_ext_pname(text, nullptr, nullptr), 0);
        EXPECT_STREQ(text, "%%");
    });
}

TEST_F(TbsMfsViewRoot, SymbolIsAskedOfOneTypeAndThenTheOther) {
    in_new_process_that_closes([] {
        roots[0].opens = roots[1].opens = true;
        roots[1].error_of_symbol = 0;
        char text[TBS_PATH_SIZE];
        EXPECT_EQ(tbs_version_ext_pname_sil(text, nullptr, nullptr, 1), 0);
        EXPECT_STREQ(text, "%%");
        EXPECT_EQ(tbs_version_ext_pname(text, nullptr, nullptr), 0);
        EXPECT_EQ(roots[0].asked_for_symbol, 1);
        EXPECT_EQ(roots[1].asked_for_symbol, 1);
        EXPECT_EQ(roots[0].opened + roots[1].opened, 0);
    });
    in_new_process_that_closes([] {
        roots[0].opens = roots[1].opens = true;
        roots[0].error_of_symbol = 0;
        char text[TBS_PATH_SIZE];
        EXPECT_EQ(tbs_version_ext_pname(text, nullptr, nullptr), 0);
        EXPECT_EQ(roots[1].all_opened(), 0);
        EXPECT_EQ(roots[0].opened_silently, 0);
    });
    in_new_process_that_closes([] {
        char text[TBS_PATH_SIZE];
        EXPECT_EQ(tbs_version_ext_pname(text, nullptr, nullptr), 0);
        EXPECT_STREQ(text, "@@");
        EXPECT_EQ(roots[0].all_opened(), 1) << "no view roots: none is asked";
        EXPECT_EQ(roots[1].all_opened(), 1);
    });
}

TEST_F(TbsMfsViewRoot, ThreadsThatStartTogetherAskOnce) {
    in_new_process_that_closes([] {
        roots[0].opens = roots[1].opens = true;
        roots[0].error_of_symbol = 0;
        constexpr int count = 8;
        std::latch start(count);
        std::vector<std::thread> threads;
        for (int i = 0; i < count; i++) {
            threads.emplace_back([&] {
                char text[TBS_PATH_SIZE];
                start.arrive_and_wait();
                EXPECT_EQ(tbs_version_ext_pname(text, "a", nullptr), 0);
                EXPECT_STREQ(text, "a%%");
                EXPECT_EQ(ask_for_root(DYVWROOT), 0);
                EXPECT_EQ(ask_for_root(AUVWROOT), 0);
                EXPECT_EQ(tbs_mvfs_ws_flags(), 0u);
                EXPECT_EQ(tbs_mvfs_ws_dyn_flags(), 0u);
            });
        }
        for (std::thread &each : threads) each.join();
        EXPECT_EQ(roots[0].opened, 3) << "flags, symbol, dynamic flags";
        EXPECT_EQ(roots[0].opened_silently, 1);
        EXPECT_EQ(roots[1].all_opened(), 1);
        EXPECT_EQ(roots[0].asked_for_symbol, 1);
        EXPECT_EQ(roots[0].asked_for_path, 1);
        EXPECT_EQ(roots[1].asked_for_path, 1);
    });
}

} // namespace
