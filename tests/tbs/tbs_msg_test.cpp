#include "ks/ks_imsg.h"
#include "support/sink.hpp"
#include "tbs/tbs_msg.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

struct row {
    unsigned index;
    unsigned number;
    const char *text;
};

// clang-format off
constexpr row common_rows[] = {
    {0, 1, "%s"},
    {1, 2, "\n"},
    {2, 3, "%s\n"},
    {3, 4, "\"%s\""},
    {4, 5, " "},
    {5, 6, ","},
    {6, 7, ", "},
    {7, 8, "\t"},
    {8, 9, "("},
    {9, 10, ")"},
    {10, 11, "error detected by Tessivane subsystem"},
    {11, 12, "Tessivane object not found"},
    {12, 13, "not a Tessivane object"},
    {13, 14, "timed out trying to communicate with Tessivane remote server"},
    {14, 15, "reference to non-existent Tessivane object"},
    {15, 16, "Option requires an argument (-%c).\n"},
    {16, 17, "Duplicate option (-%c).\n"},
    {17, 18, "Conflicting options (-%c and -%c).\n"},
    {18, 19, "Unable to open file \"%s\": %s.\n"},
    {19, 20, "Unable to close file \"%s\": %s.\n"},
    {20, 21, "Unable to read file \"%s\": %s.\n"},
    {21, 22, "Unable to write file \"%s\": %s.\n"},
    {22, 23, "Unable to unlink file \"%s\": %s.\n"},
    {23, 24, "Unable to remove \"%s\": %s.\n"},
    {24, 25, "Unable to copy \"%s\" to \"%s\": %s.\n"},
    {25, 26, "Unable to access \"%s\": %s.\n"},
    {26, 27, "Unable to create directory \"%s\": %s.\n"},
    {27, 28, "Unable to create symbolic link to \"%s\" at \"%s\": %s.\n"},
    {28, 29, "Unable to create pipe: %s.\n"},
    {29, 30, "Unable to exec command \"%s\": %s.\n"},
    {30, 31, "Unable to fork process: %s.\n"},
    {31, 32, "Error in select system call: %s.\n"},
    {32, 33, "Unable to read from pipe: %s.\n"},
    {33, 34, "\001\001" "1BINTERNAL ERROR\001\001" "0B detected and logged in \"%s\".\n"},
    {34, 35, "Internal Error detected in \"%s\" line %d\n"},
    {35, 36, "Unexpected error.\n"},
    {36, 37, "Unexpected error (\"%s\":%d).\n"},
    {37, 38, "Not yet implemented.\n"},
    {38, 39, "Invalid input arguments to \"%s\".\n"},
    {39, 40, "Unable to allocate storage.\n"},
    {40, 41, "Unable to create storage (stg) area.\n"},
    {41, 42, "Unable to create linked list.\n"},
    {42, 43, "Unable to allocate hash table.\n"},
    {43, 44, "Error deleting hash table.\n"},
    {44, 45, "Error deleting storage (stg) area.\n"},
    {45, 46, "String buffer too small.\n"},
    {46, 47, "Operation \"%s\" failed: %s.\n"},
    {47, 48, "Operation \"%s\" failed (\"%s\"): %s.\n"},
    {48, 49, "Expected configuration record format %d, found %d.\n"},
    {49, 50, "Unable to rename \"%s\" to \"%s\": %s.\n"},
    {50, 51, "Unable to change permissions of \"%s\": %s.\n"},
    {51, 52, "Unable to link file \"%s\": %s.\n"},
    {52, 53, "Operation \"%s\" on object (dbid %d) failed: %s.\n"},
    {53, 54, "no version selected in configuration specification"},
    {55, 56, "incompatible versions of Tessivane software and/or databases"},
    {56, 57, "unknown error in view_server"},
    {57, 58, "unknown error in VOB"},
    {58, 59, "unknown error in VOB database"},
    {59, 60, "unknown error in MVFS file system"},
    {60, 61, "no configuration specification set"},
    {61, 62, "directory not selected in configuration specification"},
    {62, 63, "view cleartext fetch failure"},
    {63, 64, "VOB unknown to view_server"},
    {64, 65, "VOB has been renamed or recreated"},
    {65, 66, "view has been renamed or recreated"},
    {66, 67, "VOB database needs recovery"},
    {67, 68, "VOB database is locked"},
    {68, 69, "Required command argument is missing.\n"},
    {69, 70, "Conflicting arguments given.\n"},
    {70, 71, "Too many arguments given.\n"},
    {71, 72, "Invalid date/time format: \"%s\".\n"},
    {72, 73, "Invalid wildcard syntax: \"%s\".\n"},
    {73, 74, "Unable to open directory \"%s\": %s.\n"},
    {74, 75, "Unable to close directory \"%s\": %s.\n"},
    {75, 76, "Unable to read directory \"%s\": %s.\n"},
    {77, 78, "..."},
    {78, 79, "  "},
    {79, 80, "view database needs recovery"},
    {80, 81, "view database needs reformatting"},
    {81, 82, "VOB database needs reformatting"},
    {82, 83, "Unrecognized command option: \"%s\".\n"},
    {83, 84, "Unable to get current directory: %s.\n"},
    {84, 85, "Option requires an argument (%s).\n"},
    {85, 86, "Duplicate option (%s).\n"},
    {86, 87, "Conflicting options (%s and %s).\n"},
    {87, 89, "Unable to determine host:pathname for local pathname \"%s\".\n"},
    {88, 90, "Unable to determine local pathname for \"%s:%s\".\n"},
    {89, 91, "Unable to open mount table: %s.\n"},
    {90, 92, "Unable to find name of host.\n"},
    {91, 93, "Unable to remove directory \"%s\": %s.\n"},
    {92, 94, "Unable to change directory to \"%s\": %s.\n"},
    {93, 95, "Unable to create file \"%s\": %s.\n"},
    {94, 96, ":"},
    {95, 97, "error in configuration specification"},
    {96, 98, "Comments for \"%s\":\n"},
    {97, 99, "Comment for all listed objects:\n"},
    {98, 100, "Invalid integer value: \"%s\".\n"},
    {99, 101, "Extra arguments: \"%s\"\n"},
    {100, 102, "Internal error: no code for known flag.\n"},
    {101, 103, "Comment text missing.\n"},
    {102, 104, "registry has been modified"},
    {103, 105, "replay of VOB operation already done"},
    {104, 106, "unable to replay VOB operation because of missing input"},
    {105, 107, "specified host is not a registry server"},
    {107, 109, "database timed out"},
    {108, 110, "Unrecognized status \"%d\" (from a newer server?)"},
    {109, 111, "operation requires a view"},
    {110, 112, "Hostname too long (\"%s\")\n"},
    {111, 113, "Locale name too long (\"%s\")\n"},
    {112, 117, "Bad command line syntax -- %s\n"},
    {113, 118, "Bad command line syntax -- unknown type manager operation: \"%s\".\n"},
    {114, 119, "This program should only be indirectly invoked through tessitool.\n"},
    {115, 120, "success, with exception"},
    {116, 121, "Unable to replace \"%s\" with \"%s\": %s.\n"},
    {117, 122, "Region \"%s\" not defined.\n"},
    {118, 123, "Region name too long (\"%s\")\n"},
    {119, 124, "error detected by Tessivane subsystem (container modified by another process)"},
    {120, 125, "error detected by Tessivane subsystem (retryable during Ambrelode replay)"},
    {121, 126, "view storage directory or control files unavailable --\nadditional information may be present in the view server host's view log"},
    {122, 127, "view contact error - view unavailable"},
    {123, 128, "checkouts prevent the operation completing"},
    {124, 129, "the requested operation is denied"},
    {125, 130, "object locks prevent the operation completing"},
    {126, 131, "not the master of the object"},
    {127, 132, "Unable to create tempfile: %s.\n"},
    {128, 133, "Unable to create temporary directory: %s.\n"},
    {131, 136, "The feature level of the VOB family is not high enough to permit this operation.\n"},
    {134, 140, "The %s_object registry for \"%s\" specifies incorrect hostname for server; expected hostname: %s actual hostname: %s. Use tessitool unregister/register -%s to correct.\n"},
    {135, 141, "The pathname \"%s\" contains a nfs soft mount point. Use umount/mount to correct.\n"},
    {136, 142, "The replica that you are trying to connect to has been marked as not having IP connectivity."},
    {137, 143, "Cannot access VOB containing replica \001\001" "1B\"%s\"\001\001" "0B: %s\n"},
    {138, 144, "(oid:%s)"},
    {139, 145, "(dbid:%lu)"},
    {140, 149, "File \"%s\" is greater than 2Gigabytes in length and too large for Tessivane.\n"},
    {141, 150, "object is a UCM object"},
    {142, 152, "Please contact Customer Support for assistance.\n"},
    {143, 153, "error detected by synchronization management server"},
    {144, 154, "synchronization management server memory exhausted"},
    {145, 155, "internal error in synchronization management server"},
    {146, 156, "error detected by synchronization management server's database subsystem"},
    {147, 157, "could not find a required object in the synchronization management server's database"},
    {148, 158, "error in synchronization management server database: no more space in the filesystem holding its syncmgrdb directory"},
    {149, 159, "synchronization management server is not active"},
    {150, 160, "synchronization management server is shutting down"},
    {151, 161, "synchronization management server has reached the limit of export jobs that it can activate"},
    {152, 162, "internal error in synchronization management server due to an invalid function argument"},
    {153, 163, "config spec needs to be synchronized with the stream"},
    {154, 164, "must merge the latest version into the checkout before checking it in"},
    {155, 165, "checkout version is not LATEST on the branch"},
    {156, 166, "activity already exists"},
    {157, 167, "VOB was reformatted. Client version tree data is invalid"},
    {158, 168, "client is too old for this server. Please upgrade client software"},
    {159, 169, "client is too new for this server. Please revert client software"},
    {160, 170, "stream already exists"},
    {161, 171, "unable to start deliver - the list of activities to deliver is invalid"},
    {162, 172, "the proposed configuration change to the stream is invalid"},
    {163, 173, "cannot login to the server"},
    {164, 174, "version discordance detected"},
    {165, 175, "unable to process request: session expired"},
    {166, 176, "the operation was canceled while in progress"},
    {167, 177, "object mastership has transferred to the requesting replica"},
    {168, 178, "Deliver in progress"},
    {169, 179, "Deliver from project integration stream not allowed"},
    {170, 180, "object is not the last version on the branch"},
    {171, 182, "server too busy to perform the operation"},
    {172, 183, "unable to encode character"},
    {173, 184, "RPC XID stale - older than last seen on transport address"},
    {174, 186, "RPC reply too big for UDP transport"},
    {175, 187, "Access control list too long, storage pool file system misconfigured for ACLs, or unknown user/group in ACL"},
    {176, 188, "Access control list too long to send in RPC over UDP transport"},
    {177, 189, "database updated but a file system operation failed"},
    {178, 191, "invalid matcher for find"},
    {179, 192, "Unable to create symbolic link to \"%s\" at \"%s\": %s.\nYou must run in an elevated process or enable Developer Mode to perform this operation.\n"},
};

constexpr row general_rows[] = {
    {0, 1, "\001\001" "1BThis product is not installed correctly.\001\001" "0B\n"},
    {1, 2, "Can't find logfile directory, tried: \"%s\".\n"},
    {2, 3, "%s on line %d in type file \"%s\".\n"},
    {3, 4, "Bad format output from '%s' command:\n\t%s.\n"},
    {4, 5, "Magic value beyond %d bytes on line %d in type file \"%s\".\n"},
    {5, 6, "block device"},
    {6, 7, "character device"},
    {7, 8, "directory"},
    {8, 9, "named pipe"},
    {9, 10, "symbolic link"},
    {10, 11, "null"},
    {11, 12, "file"},
    {12, 13, "type %u"},
    {13, 14, "Profile file syntax error at line %d in %s.\n"},
    {14, 15, "The MVFS file system is not installed or not loaded,\nor the 'viewroot' is not mounted or is inaccessible: %s.\n"},
    {15, 16, "Unable to resolve magic (file typing) names:  %s\n"},
    {16, 17, "Couldn't start the help system.  NT Error %d\n"},
    {17, 18, "INTERNAL ERROR detected and logged with the NT Event Service.\nSee the Event Viewer for the error message.\n"},
    {18, 19, "Search path buffer for default file typing path too small.\n"},
    {19, 20, "Unable to get domain: %s.\n"},
    {20, 21, "Operation \"%s\" unavailable for manager \"%s\"\n"},
    {21, 22, "\t(Operation pathname was: \"%s\")\n"},
    {22, 23, "Unable to invoke operation \"%s\" for manager \"%s\": %s\n"},
    {23, 24, "Usage: %s <mgr name> <op name> <mgr args> ...\n"},
    {24, 25, "Can't generate a UUID (possible network/adapter configuration problem) - UuidCreate error %d\n"},
    {25, 26, "The UUID generator can't get the IEEE 802 (ethernet) address for this computer\n"},
    {29, 30, "Web browser \"%s\" failed with exit status %d.\n"},
    {30, 31, "Web browser \"%s\" terminated by signal %d.\n"},
    {31, 32, "Unable to start Web browser \"%s\":  %s\n"},
    {32, 33, "Unable to determine view root directory:  %s\n"},
    {33, 34, "Unable to start Web browser \"%s\":  %s\n"},
    {34, 35, "URL too long for buffer (size = %d):  %s\n"},
    {35, 39, "Testfixes detected:\n"},
    {36, 41, "Graphical help command invocation failure.\n"},
    {37, 43, "Invalid regular expression '%s' on line %d in type file \"%s\".\n"},
};

constexpr row acl_rows[] = {
    {0, 1, "Unrecognized ACL identity type (%d).\n"},
    {1, 2, "Unrecognized ACL identity type \"%s\".\n"},
    {2, 3, "Unrecognized ACL permission: \"%s\".\n"},
    {3, 4, "ACL identity's domain must not be empty.\n"},
    {4, 5, "ACL identity's name must not be empty.\n"},
    {5, 6, "%s: Problem decoding (possibly corrupt) ACL at or around byte offset %d\n"},
    {6, 8, "Excluded ACL permission specified: \"%s\".\n"},
    {7, 9, "Syntax error on line %d.\n"},
    {8, 10, "Problem parsing identity \"%s\" on line %d.\n"},
    {9, 11, "Problem parsing permission set \"%s\" on line %d: %s.\n"},
    {10, 12, "Unable to set ACL entry for line %d: %s.\n"},
    {11, 15, "Empty permission set.\n"},
    {12, 16, "Each ACL entry has the form:\n    identity_type:identity access_type\n"},
    {13, 21, "Identity %s must be a role.\n"},
    {14, 24, "Role: %s is circularly defined.\n"},
    {15, 25, "Unable to set role-identity binding for line %d.\n"},
    {16, 26, "The role name \"%s\" is not defined in the specified policy.\n"},
    {17, 27, "# <empty acl>\n"},
    {18, 28, "    # <empty rolemap>\n"},
    {19, 29, "    %s %s\n"},
    {20, 30, "    %s\n"},
    {21, 31, "      %s\n"},
    {22, 32, "ACL identity's role name must not be empty.\n"},
    {23, 33, "Unknown ACL identity: %s%s%s.\n"},
    {24, 35, "Unable to convert identity \"%s\" to an account/group name.\n"},
    {25, 36, "Each rolemap entry has the form: \"Role:identity --> identity_type:identity\"\n"},
    {26, 37, "%s %s\n"},
    {27, 38, "%*s"},
    {28, 39, "      # <empty acl>\n"},
    {29, 40, "Invalid role name \"%s\".\n"},
};

constexpr row notify_rows[] = {
    {0, 1, "Unable to connect to mailer program \"%s\": %s\n"},
    {1, 2, "Mailer exited with non-zero status: 0x%x\n"},
    {2, 3, "Unable to deliver notification via email.\n"},
    {3, 4, "Unable to get IP address for host \"%s\".\n"},
    {4, 5, "SMTP send error: %s.\n"},
    {5, 6, "SMTP receive error: %s.\n"},
    {6, 7, "Wrong SMTP response status: %s.\n"},
    {7, 8, "SMTP partial send error (%d of %d bytes sent).\n"},
    {8, 9, "Unable to get email domain string.\n"},
    {9, 10, "Unable to create socket: %s.\n"},
    {10, 11, "Unable to connect to SMTP server \"%s\": %s.\n"},
    {11, 12, "No acceptable email recipients.\n"},
    {12, 13, "Partial email recipient delivery (%d out of %d).\n"},
    {13, 14, "Unrecognized notification delivery kind mask \"0x%x\".\n"},
    {14, 15, "Recipient \"%s\" not accepted.\n"},
    {15, 16, "Unable to get SMTP Server Host Name from Window's registry key: 0x%x.\n"},
    {16, 17, "Problem reading notify message from file \"%s\".\n"},
    {17, 18, "Unrecognized kind \"%d\".\n"},
    {18, 19, "Problem reading notify message from stream.\n"},
    {19, 20, "Parts of multiline response have different status codes: previous code is %s, while the current code is %s"},
};

// clang-format on

struct expected_table {
    const imsg_table_t *table;
    const char *module;
    unsigned module_number;
    unsigned count;
    const row *rows;
    size_t row_count;
    std::set<unsigned> reserved_numbers;
};

const expected_table expected_tables[] = {
    {tbs_cmsg_tbs_msg_table_adr(),
     "tbs",
     1,
     180,
     common_rows,
     std::size(common_rows),
     {55, 77, 108, 134, 135, 137, 138}},
    {tbs_tbs_msg_table_adr(), "tbs", 3, 38, general_rows, std::size(general_rows), {27, 28, 29}},
    {tbs_acl_tbs_msg_table_adr(), "tbs_acl", 4, 30, acl_rows, std::size(acl_rows), {}},
    {tbs_notify_tbs_msg_table_adr(), "tbs_notify", 5, 20, notify_rows, std::size(notify_rows), {}},
};

TEST(MessageTables, SayWhatTheyAre) {
    for (const expected_table &expected : expected_tables) {
        ASSERT_NE(expected.table, nullptr);
        EXPECT_STREQ(expected.table->catalogue, "tbs_lib");
        EXPECT_STREQ(expected.table->module, expected.module);
        EXPECT_EQ(expected.table->module_number, expected.module_number);
        EXPECT_EQ(expected.table->count, expected.count);
    }
}

TEST(MessageTables, HaveEveryTextUnderItsIndexAndNumber) {
    for (const expected_table &expected : expected_tables) {
        for (size_t i = 0; i < expected.row_count; i++) {
            const row &wanted = expected.rows[i];
            SCOPED_TRACE(std::string(expected.module) + " " + std::to_string(wanted.index));
            EXPECT_STREQ(expected.table->texts[wanted.index], wanted.text);
            EXPECT_EQ(expected.table->numbers[wanted.index], wanted.number);
        }
    }
}

TEST(MessageTables, HaveAscendingNumbers) {
    for (const expected_table &expected : expected_tables) {
        EXPECT_EQ(expected.table->numbers[0], 1);
        for (unsigned i = 1; i < expected.count; i++) {
            EXPECT_LT(expected.table->numbers[i - 1], expected.table->numbers[i]) << expected.module << i;
        }
    }
}

TEST(MessageTables, MarkEntriesThatNobodyUses) {
    for (const expected_table &expected : expected_tables) {
        std::set<unsigned> reserved;
        for (unsigned i = 0; i < expected.count; i++) {
            if (std::string(expected.table->texts[i]) == "(reserved)\n") reserved.insert(expected.table->numbers[i]);
        }
        EXPECT_EQ(reserved, expected.reserved_numbers) << expected.module << expected.module_number;
        EXPECT_EQ(reserved.size() + expected.row_count, expected.count);
    }
}

TEST(MessageTables, NumberAndIndexDifferBehindARetiredMessage) {
    EXPECT_EQ(tbs_tbs_msg_table_adr()->numbers[35], 39);
    EXPECT_EQ(tbs_acl_tbs_msg_table_adr()->numbers[5], 6);
    EXPECT_EQ(tbs_acl_tbs_msg_table_adr()->numbers[6], 8);
}

TEST(MessageTables, KeepTheMarksOfEmphasisAndPrintWithoutThem) {
    EXPECT_STREQ(tbs_tbs_msg_table_adr()->texts[0], "\001\001"
                                                    "1BThis product is not installed correctly.\001\001"
                                                    "0B\n");
    recording_sink sink;
    imsg_print(IMSG_PLAIN, tbs_tbs_msg_table_adr(), 0);
    EXPECT_EQ(sink.text(), "This product is not installed correctly.\n");
}

TEST(MessageTables, AreGivenAsTheSameAddressAgain) {
    EXPECT_EQ(tbs_tbs_msg_table_adr(), tbs_tbs_msg_table_adr());
    EXPECT_NE(tbs_tbs_msg_table_adr(), tbs_cmsg_tbs_msg_table_adr());
}

} // namespace
