#include "ks/ks_errno.h"
#include "ks/ks_imsg.h"
#include "support/faults.hpp"
#include "tbs/tbs_status.h"

#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

// clang-format off
struct condition {
    int number;
    int symbol;
    const char *text;
};
constexpr condition conditions[] = {
    {1001, TBS_ST_ERROR, "error detected by Tessivane subsystem"},
    {1002, TBS_ST_NOT_FOUND, "Tessivane object not found"},
    {1003, TBS_ST_NOT_OBJECT, "not a Tessivane object"},
    {1004, TBS_ST_TIMEOUT, "timed out trying to communicate with Tessivane remote server"},
    {1005, TBS_ST_STALE_REFERENCE, "reference to non-existent Tessivane object"},
    {1007, TBS_ST_VERSION_MISMATCH, "incompatible versions of Tessivane software and/or databases"},
    {1008, TBS_ST_VIEW_ERROR, "unknown error in view_server"},
    {1009, TBS_ST_VOB_ERROR, "unknown error in VOB"},
    {1010, TBS_ST_VOB_DB_ERROR, "unknown error in VOB database"},
    {1011, TBS_ST_MVFS_ERROR, "unknown error in MVFS file system"},
    {1012, TBS_ST_NO_CONFIG_SPEC, "no configuration specification set"},
    {1013, TBS_ST_DIR_NOT_SELECTED, "directory not selected in configuration specification"},
    {1014, TBS_ST_NO_VERSION_SELECTED, "no version selected in configuration specification"},
    {1015, TBS_ST_CLEARTEXT_FETCH, "view cleartext fetch failure"},
    {1016, TBS_ST_VOB_UNKNOWN_TO_VIEW, "VOB unknown to view_server"},
    {1017, TBS_ST_VOB_RECREATED, "VOB has been renamed or recreated"},
    {1018, TBS_ST_VIEW_RECREATED, "view has been renamed or recreated"},
    {1019, TBS_ST_VOB_DB_NEEDS_RECOVERY, "VOB database needs recovery"},
    {1020, TBS_ST_VOB_DB_LOCKED, "VOB database is locked"},
    {1022, TBS_ST_VIEW_DB_NEEDS_RECOVERY, "view database needs recovery"},
    {1023, TBS_ST_VIEW_DB_NEEDS_REFORMAT, "view database needs reformatting"},
    {1024, TBS_ST_VOB_DB_NEEDS_REFORMAT, "VOB database needs reformatting"},
    {1025, TBS_ST_CONFIG_SPEC_ERROR, "error in configuration specification"},
    {1026, TBS_ST_REGISTRY_MODIFIED, "registry has been modified"},
    {1027, TBS_ST_REPLAY_DONE, "replay of VOB operation already done"},
    {1028, TBS_ST_REPLAY_MISSING_INPUT, "unable to replay VOB operation because of missing input"},
    {1029, TBS_ST_NOT_REGISTRY_SERVER, "specified host is not a registry server"},
    {1031, TBS_ST_DB_TIMEOUT, "database timed out"},
    {1032, TBS_ST_NEEDS_VIEW, "operation requires a view"},
    {1033, TBS_ST_SUCCESS_WITH_EXCEPTION, "success, with exception"},
    {1034, TBS_ST_CONTAINER_MODIFIED, "error detected by Tessivane subsystem (container modified by another process)"},
    {1035, TBS_ST_RETRY_IN_REPLAY, "error detected by Tessivane subsystem (retryable during Ambrelode replay)"},
    {1036, TBS_ST_VIEW_STORAGE_UNAVAILABLE, "view storage directory or control files unavailable --\nadditional information may be present in the view server host's view log"},
    {1037, TBS_ST_VIEW_UNAVAILABLE, "view contact error - view unavailable"},
    {1038, TBS_ST_CHECKOUTS_PREVENT, "checkouts prevent the operation completing"},
    {1039, TBS_ST_DENIED, "the requested operation is denied"},
    {1040, TBS_ST_LOCKS_PREVENT, "object locks prevent the operation completing"},
    {1041, TBS_ST_NOT_MASTER, "not the master of the object"},
    {1043, TBS_ST_FEATURE_LEVEL_LOW, "The feature level of the VOB family is not high enough to permit this operation.\n"},
    {1044, TBS_ST_NO_IP_CONNECTIVITY, "The replica that you are trying to connect to has been marked as not having IP connectivity."},
    {1045, TBS_ST_UCM_OBJECT, "object is a UCM object"},
    {1046, TBS_ST_CANCELED, "the operation was canceled while in progress"},
    {1047, TBS_ST_MASTERSHIP_TRANSFERRED, "object mastership has transferred to the requesting replica"},
    {1048, TBS_ST_NOT_LAST_VERSION, "object is not the last version on the branch"},
    {1049, TBS_ST_RPC_XID_STALE, "RPC XID stale - older than last seen on transport address"},
    {1050, TBS_ST_FS_OP_FAILED, "database updated but a file system operation failed"},
    {1101, TBS_ST_SYNCMGR_ERROR, "error detected by synchronization management server"},
    {1102, TBS_ST_SYNCMGR_NOMEM, "synchronization management server memory exhausted"},
    {1103, TBS_ST_SYNCMGR_INTERNAL, "internal error in synchronization management server"},
    {1104, TBS_ST_SYNCMGR_INVALID_ARG, "internal error in synchronization management server due to an invalid function argument"},
    {1105, TBS_ST_SYNCMGR_DB_ERROR, "error detected by synchronization management server's database subsystem"},
    {1106, TBS_ST_SYNCMGR_DB_NOT_FOUND, "could not find a required object in the synchronization management server's database"},
    {1107, TBS_ST_SYNCMGR_DB_NOSPACE, "error in synchronization management server database: no more space in the filesystem holding its syncmgrdb directory"},
    {1108, TBS_ST_SYNCMGR_INACTIVE, "synchronization management server is not active"},
    {1109, TBS_ST_SYNCMGR_SHUTDOWN, "synchronization management server is shutting down"},
    {1110, TBS_ST_SYNCMGR_JOB_LIMIT, "synchronization management server has reached the limit of export jobs that it can activate"},
    {1111, TBS_ST_RPC_REPLY_TOO_BIG, "RPC reply too big for UDP transport"},
    {1112, TBS_ST_ACL_TOO_LONG, "Access control list too long, storage pool file system misconfigured for ACLs, or unknown user/group in ACL"},
    {1113, TBS_ST_ACL_TOO_LONG_FOR_UDP, "Access control list too long to send in RPC over UDP transport"},
    {100001, TBS_ST_LOGIN_FAILED, "cannot login to the server"},
    {100002, TBS_ST_SESSION_EXPIRED, "unable to process request: session expired"},
    {100003, TBS_ST_CSPEC_NEEDS_SYNC, "config spec needs to be synchronized with the stream"},
    {100004, TBS_ST_ACTIVITY_EXISTS, "activity already exists"},
    {100005, TBS_ST_STREAM_EXISTS, "stream already exists"},
    {100006, TBS_ST_MUST_MERGE_LATEST, "must merge the latest version into the checkout before checking it in"},
    {100007, TBS_ST_CLIENT_TOO_OLD, "client is too old for this server. Please upgrade client software"},
    {100008, TBS_ST_CLIENT_TOO_NEW, "client is too new for this server. Please revert client software"},
    {100009, TBS_ST_CHECKOUT_NOT_LATEST, "checkout version is not LATEST on the branch"},
    {100010, TBS_ST_VERSION_DISCORDANCE, "version discordance detected"},
    {100011, TBS_ST_VOB_REFORMATTED, "VOB was reformatted. Client version tree data is invalid"},
    {100012, TBS_ST_BAD_DELIVER_LIST, "unable to start deliver - the list of activities to deliver is invalid"},
    {100013, TBS_ST_BAD_STREAM_CHANGE, "the proposed configuration change to the stream is invalid"},
    {100014, TBS_ST_DELIVER_IN_PROGRESS, "Deliver in progress"},
    {100015, TBS_ST_DELIVER_FROM_INTEGRATION, "Deliver from project integration stream not allowed"},
    {100022, TBS_ST_SERVER_BUSY, "server too busy to perform the operation"},
    {100023, TBS_ST_ENCODE_CHARACTER, "unable to encode character"},
    {100024, TBS_ST_BAD_FIND_MATCHER, "invalid matcher for find"},
};

struct errno_row {
    int number;
    int symbol;
    int out;
    int in;
};
constexpr errno_row errno_rows[] = {
    {1046, TBS_ST_CANCELED, 105, 105},
    {1051, TBS_ST_EPERM, 1, 1},
    {1052, TBS_ST_ENOENT, 2, 2},
    {1055, TBS_ST_EIO, 5, 5},
    {1056, TBS_ST_ENXIO, 6, 6},
    {1062, TBS_ST_ENOMEM, 12, 12},
    {1063, TBS_ST_EACCES, 13, 13},
    {1067, TBS_ST_EEXIST, 17, 17},
    {1068, TBS_ST_EXDEV, 18, 18},
    {1069, TBS_ST_ENODEV, 19, 19},
    {1070, TBS_ST_ENOTDIR, 20, 20},
    {1071, TBS_ST_EISDIR, 21, 21},
    {1072, TBS_ST_EINVAL, 22, 22},
    {1077, TBS_ST_EFBIG, 27, 27},
    {1078, TBS_ST_ENOSPC, 28, 28},
    {1080, TBS_ST_EROFS, 30, 30},
    {1081, TBS_ST_EMLINK, 31, 31},
    {1083, TBS_ST_ELOOP, 10062, 114},
    {1083, TBS_ST_ELOOP, 10062, 10062},
    {1084, TBS_ST_ENAMETOOLONG, 38, 38},
    {1085, TBS_ST_ENOTEMPTY, 41, 41},
    {1087, TBS_ST_ESTALE, 10070, 10070},
    {1088, TBS_ST_EBUSY, 16, 16},
    {1089, TBS_ST_EPFNOSUPPORT, 10046, 10046},
};

// Conditions that are told as a near error.
const std::map<int, int> near_errors = {
    {-1, 5},       {1012, 2},     {1013, 10070}, {1014, 2}, {1016, 10070}, {1017, 10070}, {1020, 30}, {1022, 30},
    {1023, 5},     {1024, 5},     {1025, 5},     {1031, 5}, {1102, 12},    {1104, 22},    {1107, 28},
};
// clang-format on

std::string unrecognized(int status) {
    return "Unrecognized status \"" + std::to_string(status) + "\" (from a newer server?)";
}

const condition *condition_of(int status) {
    for (const condition &row : conditions) {
        if (row.number == status) return &row;
    }
    return nullptr;
}

int errno_of(int status) {
    for (const errno_row &row : errno_rows) {
        if (row.number == status) return row.out;
    }
    const auto near_error = near_errors.find(status);
    if (near_error != near_errors.end()) return near_error->second;
    return status < 1000 ? status : 5;
}

std::string text_of(int status) {
    if (const condition *row = condition_of(status)) return row->text;
    if ((status >= 1000 && status <= 1050) || status >= 1090) return unrecognized(status);
    return imsg_strerror(errno_of(status));
}

std::vector<int> all_interesting() {
    std::vector<int> all = {INT_MIN, INT_MIN + 1, -10070, INT_MAX, INT_MAX - 1, 200000, 99999, 100000};
    for (int status = -20; status <= 1200; status++) all.push_back(status);
    for (int status = 99990; status <= 100050; status++) all.push_back(status);
    return all;
}

TEST(TbsStatus, HasTheNumbersThatPeersKnow) {
    EXPECT_EQ(TBS_ST_OK, 0);
    for (const condition &row : conditions) EXPECT_EQ(row.symbol, row.number);
    for (const errno_row &row : errno_rows) EXPECT_EQ(row.symbol, row.number);
    EXPECT_EQ(TBS_ST_ECANCELED, 1046);
    EXPECT_EQ(TBS_ST_WSAEPFNOSUPPORT, 1089);
}

TEST(TbsStrerror, GivesTheTextOfEveryCondition) {
    for (const condition &row : conditions) EXPECT_STREQ(tbs_strerror(row.number), row.text) << row.number;
}

TEST(TbsStrerror, HasAnAnswerForEveryNumber) {
    for (const int status : all_interesting()) EXPECT_EQ(tbs_strerror(status), text_of(status)) << status;
}

TEST(TbsStrerror, TellsNumbersOfNewerServersApart) {
    for (const int status :
         {1000, 1006, 1021, 1030, 1042, 1090, 1099, 1100, 1114, 100000, 100016, 100021, 100025, 200000}) {
        EXPECT_EQ(tbs_strerror(status), unrecognized(status));
    }
}

TEST(TbsStrerror, GivesTheSystemsTextForTheErrnoFamily) {
    EXPECT_STREQ(tbs_strerror(1062), imsg_strerror(12));
    EXPECT_STREQ(tbs_strerror(1062), "Cannot allocate memory");
    EXPECT_STREQ(tbs_strerror(1053), imsg_strerror(5));
    EXPECT_STREQ(tbs_strerror(-1), imsg_strerror(5));
    EXPECT_STREQ(tbs_strerror(-7), "Unknown error -7");
    EXPECT_STREQ(tbs_strerror(0), imsg_strerror(0));
    EXPECT_EQ(tbs_strerror(1052), imsg_strerror(2)) << "the text itself, not a copy";
}

TEST(TbsStrerror, UsesOneBufferAThread) {
    const char *first = tbs_strerror(TBS_ST_DENIED);
    EXPECT_STREQ(first, "the requested operation is denied");
    EXPECT_EQ(tbs_strerror(4711), first);
    EXPECT_EQ(first, unrecognized(4711));
    const char *system = tbs_strerror(1062);
    EXPECT_NE(system, first);
    EXPECT_EQ(first, unrecognized(4711)) << "a system text leaves the buffer alone";
}

TEST(TbsStrerror, NeedsNoMemory) {
    tbs_strerror(TBS_ST_DENIED); // the message tables are looked at once
    EXPECT_EQ(faults::count_allocations([] {
                  tbs_strerror(TBS_ST_DENIED);
                  tbs_strerror(TBS_ST_ENOMEM);
                  tbs_strerror(123456);
              }),
              0);
}

TEST(TbsStrerror, KeepsTheTextsOfThreadsApart) {
    constexpr int threads = 16;
    std::vector<std::thread> all;
    std::vector<int> wrong(threads, 0);
    for (int i = 0; i < threads; i++) {
        all.emplace_back([i, &wrong] {
            for (int round = 0; round < 1000; round++) {
                const int status = 2000 + i;
                const char *text = tbs_strerror(status);
                if (text != unrecognized(status)) wrong[i]++;
            }
        });
    }
    for (std::thread &thread : all) thread.join();
    EXPECT_EQ(wrong, std::vector<int>(threads, 0));
}

TEST(TbsStatus2Errno, FollowsTheTables) {
    for (const int status : all_interesting()) EXPECT_EQ(tbs_status2errno(status), errno_of(status)) << status;
    EXPECT_EQ(tbs_status2errno(1099), 5);
    EXPECT_EQ(tbs_status2errno(999), 999);
    EXPECT_EQ(tbs_status2errno(1083), 10062);
}

TEST(TbsErrno2Status, FollowsTheTables) {
    std::map<int, int> expected;
    for (const errno_row &row : errno_rows) expected[row.in] = row.number;
    std::vector<int> all = {INT_MIN, -1, INT_MAX};
    for (int err = 0; err < 20000; err++) all.push_back(err);
    for (const int err : all) {
        const auto row = expected.find(err);
        EXPECT_EQ(tbs_errno2status(err), row == expected.end() ? 1001 : row->second) << err;
    }
    EXPECT_EQ(tbs_errno2status(114), 1083);
    EXPECT_EQ(tbs_errno2status(10062), 1083);
    EXPECT_EQ(tbs_errno2status(0), 1001);
}

} // namespace
