// ACL files, and the cases of data/acl_canonical.txt and data/acl_should_fail.txt.

#include "acl_test_support.hpp"

#include <unistd.h>

using namespace acl_test;

namespace {

// The two forms behind one face, so that what holds for both is tested on both.
struct classic_form {
    using handle = tbs_acl_h_t;
    using owner = classic_ptr;
    static constexpr const char *name = "classic", *create = "tbs_acl_create";
    static tbs_status_t parse(const char *path, const tbs_acl_perm_name_t *extra, size_t count,
                              const tbs_acl_generic_map_t *generic, handle *out) {
        return tbs_acl_utl_parse(path, extra, count, generic, out);
    }
    static std::string written(handle acl) {
        std::string text;
        uint32_t cursor = 0;
        while (const tbs_acl_ent_t *entry = tbs_acl_next_entry(acl, &cursor)) {
            char identity[TBS_ACL_TEXT_SIZE] = "?";
            EXPECT_EQ(tbs_acl_utl_id_to_str(&entry->id, sizeof identity, identity), 0);
            if (!text.empty()) text += '\n';
            text += std::string(identity) + ' ' + tbs_acl_utl_perm_set_to_str(entry->perms, names, name_count, &map);
        }
        return text;
    }
};

struct sid_form {
    using handle = tbs_sid_acl_h_t;
    using owner = sid_ptr;
    static constexpr const char *name = "sid", *create = "tbs_sid_acl_create";
    static tbs_status_t parse(const char *path, const tbs_acl_perm_name_t *extra, size_t count,
                              const tbs_acl_generic_map_t *generic, handle *out) {
        return tbs_sid_acl_utl_parse(path, extra, count, generic, out);
    }
    static std::string written(handle acl) {
        std::string text;
        uint32_t cursor = 0;
        while (const tbs_acl_cooked_ent_t *entry = tbs_sid_acl_next_entry(acl, &cursor)) {
            char identity[TBS_ACL_TEXT_SIZE] = "?";
            EXPECT_EQ(tbs_sid_acl_utl_id_to_str(&entry->id, sizeof identity, identity), 0);
            if (!text.empty()) text += '\n';
            text += std::string(identity) + ' ' + tbs_acl_utl_perm_set_to_str(entry->perms, names, name_count, &map);
        }
        return text;
    }
};

struct outcome {
    tbs_status_t status;
    std::string acl; // its lines; empty when there is none
};

template <class Form> class AclFile : public testing::Test {
protected:
    // Parses a file; a refused one must hand over nothing.
    outcome parse_file(const std::string &path) {
        typename Form::handle untouched = reinterpret_cast<typename Form::handle>(this);
        typename Form::handle acl = untouched;
        const tbs_status_t status = Form::parse(path.c_str(), names, name_count, &map, &acl);
        if (status != 0) {
            EXPECT_EQ(acl, untouched);
            return {status, {}};
        }
        const typename Form::owner owner(acl);
        return {0, Form::written(acl)};
    }
    outcome parse(std::string_view content) { return parse_file(dir_.write("acl", content)); }

    static std::string error_text(int error) { return imsg_strerror(error); }

    temp_dir dir_;
    accounts known_;
    recorder seen_;
};
using Forms = testing::Types<classic_form, sid_form>;
struct form_names {
    template <class Form> static std::string GetName(int) { return Form::name; }
};
TYPED_TEST_SUITE(AclFile, Forms, form_names);

// ---- the tables of cases ------------------------------------------------------------------------------------------

struct file_case {
    int number; // line in the table
    std::string form, input, result;
};

std::string unescape(std::string_view text) {
    if (text == "(none)") return {};
    std::string plain;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == '%') {
            plain += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

std::vector<file_case> cases_of(const char *file) {
    std::ifstream in(std::string(ORSIK_TEST_DATA_DIR "/") + file);
    std::vector<file_case> cases;
    std::string line;
    for (int number = 1; std::getline(in, line); number++) {
        if (line.empty() || line[0] == '#') continue;
        const size_t form = line.find(' ');
        const size_t input = line.find_first_not_of(' ', form);
        const size_t arrow = line.find(" -> ", input);
        if (arrow == std::string::npos) throw std::runtime_error(line);
        cases.push_back(
            {number, line.substr(0, form), unescape(line.substr(input, arrow - input)), line.substr(arrow + 4)});
    }
    return cases;
}

template <class Form> bool concerns(const file_case &row) { return row.form == "both" || row.form == Form::name; }

TYPED_TEST(AclFile, IsReadAsTheCanonicalCasesSay) {
    int count = 0;
    for (const file_case &row : cases_of("acl_canonical.txt")) {
        if (!concerns<TypeParam>(row)) continue;
        SCOPED_TRACE("acl_canonical.txt:" + std::to_string(row.number));
        const outcome result = this->parse(row.input);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.acl, unescape(row.result));
        EXPECT_EQ(this->seen_.take(), lines{});
        // What was written is read again, and is written the same, unless it holds a number.
        if (result.acl.find("0x") == std::string::npos) {
            EXPECT_EQ(this->parse(result.acl).acl, result.acl);
        }
        count++;
    }
    EXPECT_GT(count, 45);
}

TYPED_TEST(AclFile, IsRefusedAsTheFailingCasesSay) {
    int count = 0;
    for (const file_case &row : cases_of("acl_should_fail.txt")) {
        if (!concerns<TypeParam>(row)) continue;
        SCOPED_TRACE("acl_should_fail.txt:" + std::to_string(row.number));
        EXPECT_EQ(this->parse(row.input).status, std::stoi(row.result.substr(row.result.rfind(' ') + 1)));
        const lines printed = this->seen_.take();
        std::string indices;
        for (const std::string &line : printed) {
            EXPECT_TRUE(line.starts_with("6 acl[")) << line;
            indices += ' ' + line.substr(6, line.find(']') - 6);
        }
        const size_t comma = row.result.find(',');
        EXPECT_EQ(indices, row.result.substr(comma + 1, row.result.rfind(',') - comma - 1));
        const std::string on_line = " line " + row.result.substr(0, comma);
        ASSERT_FALSE(printed.empty());
        const std::string &cited = printed[0].starts_with("6 acl[7]") ? printed.front() : printed.back();
        EXPECT_TRUE(cited.find(on_line + '.') != std::string::npos || cited.find(on_line + ':') != std::string::npos)
            << cited;
        count++;
    }
    EXPECT_GT(count, 40);
}

// ---- messages -----------------------------------------------------------------------------------------------------

const std::string form_hint = error(12, "Each ACL entry has the form:\n    identity_type:identity access_type\n");

TYPED_TEST(AclFile, NamesTheLineOfASyntaxErrorAndTheForm) {
    EXPECT_EQ(this->parse("# one\n\nUser:CORP\\fred\nbad\n").status, TBS_ST_ERROR);
    EXPECT_EQ(this->seen_.take(), (lines{error(7, "Syntax error on line 3.\n"), form_hint}));
}

TYPED_TEST(AclFile, NamesTheIdentityThatItCannotRead) {
    EXPECT_EQ(this->parse("\n  Nobody:CORP/x  \t Read,Bogus \n").status, TBS_ST_EINVAL);
    EXPECT_EQ(this->seen_.take(), (lines{error(1, "Unrecognized ACL identity type \"Nobody\".\n"),
                                         error(8, "Problem parsing identity \"Nobody:CORP/x\" on line 2.\n")}));
}

TYPED_TEST(AclFile, NamesThePermissionsThatItCannotRead) {
    EXPECT_EQ(this->parse("Everyone: Read,Bogus,x").status, TBS_ST_EINVAL);
    EXPECT_EQ(this->seen_.take(), (lines{error(2, "Unrecognized ACL permission: \"Bogus\".\n"),
                                         error(9, "Problem parsing permission set \"Read,Bogus,x\" on line 1: " +
                                                      std::string(tbs_strerror(TBS_ST_EINVAL)) + ".\n")}));
}

TYPED_TEST(AclFile, NamesTheLineThatItCannotSet) {
    EXPECT_EQ(this->parse("Everyone: Reserved").status, TBS_ST_EINVAL);
    EXPECT_EQ(this->seen_.take(), (lines{error(11, "Empty permission set.\n"),
                                         error(10, "Unable to set ACL entry for line 1: " +
                                                       std::string(tbs_strerror(TBS_ST_EINVAL)) + ".\n")}));
    const bool by_sid = std::is_same_v<TypeParam, sid_form>;
    EXPECT_EQ(this->parse("Role: Read").status, by_sid ? 1 : TBS_ST_ERROR);
    EXPECT_EQ(this->seen_.take(),
              (lines{by_sid ? error(22, "ACL identity's role name must not be empty.\n")
                            : error(4, "ACL identity's name must not be empty.\n"),
                     error(10, "Unable to set ACL entry for line 1: " +
                                   std::string(tbs_strerror(by_sid ? 1 : TBS_ST_ERROR)) + ".\n")}));
}

TYPED_TEST(AclFile, RefusesAnEmptySetAsTheGenericMapMakesIt) {
    typename TypeParam::handle acl = nullptr;
    const std::string path = this->dir_.write("acl", "Everyone: Full,Read");
    EXPECT_EQ(TypeParam::parse(path.c_str(), nullptr, 0, nullptr, &acl), TBS_ST_EINVAL);
    EXPECT_EQ(acl, nullptr);
    EXPECT_EQ(this->seen_.take().front(), error(11, "Empty permission set.\n"));
}

TYPED_TEST(AclFile, CannotBeMadeToForgeAMessage) {
    const std::string evil = "User:\r\x1b[2J\x07\xC2\x9B"
                             "31m\xE2\x80\xAE\x7F\\x";
    this->parse(evil + " Read,\x1b]0;x\x07\n");
    this->parse("\x1b[1m:x Read\n");
    this->parse("Role:a\x1b\xFF "
                "Read\n"
                "Role:\x08 Bogus\x08\n");
    for (const std::string &line : this->seen_.take()) {
        for (size_t i = 0; i + 1 < line.size(); i++) {
            const auto byte = static_cast<unsigned char>(line[i]);
            EXPECT_TRUE(byte >= 0x20 && byte != 0x7F) << line;
            EXPECT_NE(byte, 0xFF) << line;
        }
        EXPECT_EQ(line.find("\xC2\x9B"), std::string::npos);
        EXPECT_EQ(line.find("\xE2\x80\xAE"), std::string::npos);
        EXPECT_EQ(line.back(), '\n');
    }
}

// ---- lines and pieces ---------------------------------------------------------------------------------------------

std::string blanks(size_t count) { return std::string(count, ' '); }

TYPED_TEST(AclFile, CountsPiecesOf1023BytesAsLines) {
    const struct {
        size_t blanks;
        int line; // of what stands behind them
    } cases[] = {{0, 2}, {1021, 2}, {1022, 2}, {1023, 3}, {2045, 3}, {2046, 4}, {10'000'000, 9777}};
    for (const auto &row : cases) {
        EXPECT_EQ(this->parse(blanks(row.blanks) + "\nx\n").status, TBS_ST_ERROR);
        EXPECT_EQ(this->seen_.take().front(), error(7, "Syntax error on line " + std::to_string(row.line) + ".\n"));
    }
}

TYPED_TEST(AclFile, TreatsEachPieceAsALine) {
    // The entry ends with the first piece, another one is all of the second.
    const std::string first = "Everyone: " + blanks(1009) + "Read";
    ASSERT_EQ(first.size(), 1023u);
    EXPECT_EQ(this->parse(first + "Role:r Delete\n").acl, "Everyone: Read\nRole:r Delete");
    // A cut permission name is another name.
    EXPECT_EQ(this->parse(blanks(1023 - 12) + "Role:r Delete").status, TBS_ST_EINVAL);
    EXPECT_EQ(this->seen_.take().front(), error(2, "Unrecognized ACL permission: \"Delet\".\n"));
}

TYPED_TEST(AclFile, EndsACommentWithItsPiece) {
    const std::string comment = "#" + std::string(1022, 'c');
    EXPECT_EQ(this->parse(comment + "Everyone: Read\n").acl, "Everyone: Read");
    EXPECT_EQ(this->parse(comment + "\nEveryone: Read\n").acl, "Everyone: Read");
    EXPECT_EQ(this->parse(comment + "cc\n").status, TBS_ST_ERROR);
    EXPECT_EQ(this->seen_.take(), (lines{error(7, "Syntax error on line 2.\n"), form_hint}));
}

TYPED_TEST(AclFile, StandsALineOfTenMegabytes) {
    const size_t size = 10'000'000;
    EXPECT_EQ(this->parse(std::string(size, '#')).status, 0);
    EXPECT_EQ(this->parse(std::string(size, '#') + "\nEveryone: Read").acl, "Everyone: Read");
    EXPECT_EQ(this->seen_.take(), lines{});
    EXPECT_EQ(this->parse(std::string(size, 'x')).status, TBS_ST_ERROR);
    EXPECT_EQ(this->seen_.take(), (lines{error(7, "Syntax error on line 1.\n"), form_hint}));
    EXPECT_EQ(this->parse(std::string(size, '\0')).status, TBS_ST_ERROR);
    EXPECT_EQ(this->seen_.take(), (lines{error(7, "Syntax error on line 1.\n"), form_hint}));
    EXPECT_EQ(this->parse(std::string(size, ' ') + "Role:r Read").acl, "Role:r Read");
}

TYPED_TEST(AclFile, TakesTheLongestIdentityThatAPieceHolds) {
    const std::string entry = "Role:" + std::string(1023 - 5 - 5, 'r') + " Read";
    ASSERT_EQ(entry.size(), 1023u);
    EXPECT_EQ(this->parse(entry).acl, entry);
    EXPECT_EQ(this->parse(entry + "\n" + entry).acl, entry);
}

TYPED_TEST(AclFile, IsReadTheSameWhereverAnEntryBegins) {
    const std::string entry = "Role:" + std::string(1023 - 5 - 5, 'r') + " Read";
    for (size_t block = 2048; block <= 65536; block *= 2) { // sizes in which files are read
        for (const size_t before_its_end : {1030, 1025, 1024, 1023, 1022, 1021, 1020, 500, 10, 5, 4, 1, 0}) {
            const std::string blank_lines(block - before_its_end, '\n');
            EXPECT_EQ(this->parse(blank_lines + entry + "\nEveryone: Read").acl, entry + "\nEveryone: Read");
        }
    }
}

TYPED_TEST(AclFile, HoldsManyEntries) {
    std::string content, expected;
    for (int i = 0; i < 20'000; i++) content += "Role:r" + std::to_string(i % 10'000) + " List\n";
    for (int i = 0; i < 10'000; i++) expected += (i ? "\nRole:r" : "Role:r") + std::to_string(i) + " List";
    EXPECT_EQ(this->parse(content).acl, expected);
}

TYPED_TEST(AclFile, MayHoldBytesThatAreNotUtf8) {
    const outcome result = this->parse("Role:a\xFF\xC3 Read\n# \xFF\xFE\xC0\nRole:A\xFF\xC3 Delete");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.acl, "Role:A\xFF\xC3 Delete");
}

TYPED_TEST(AclFile, KnowsOnlyTheCallersNames) {
    const std::string path = this->dir_.write("acl", "Everyone: Mount");
    typename TypeParam::handle acl = nullptr;
    EXPECT_EQ(TypeParam::parse(path.c_str(), nullptr, 0, &map, &acl), TBS_ST_EINVAL);
    const tbs_acl_perm_name_t extra[] = {{"MOUNT", 0x0400}};
    ASSERT_EQ(TypeParam::parse(path.c_str(), extra, 1, nullptr, &acl), 0);
    const typename TypeParam::owner owner(acl);
    uint32_t cursor = 0;
    if constexpr (std::is_same_v<TypeParam, sid_form>) {
        EXPECT_EQ(tbs_sid_acl_next_entry(acl, &cursor)->perms, 0x0400u);
    } else {
        EXPECT_EQ(tbs_acl_next_entry(acl, &cursor)->perms, 0x0400u);
    }
}

// ---- files --------------------------------------------------------------------------------------------------------

TYPED_TEST(AclFile, MayBeMissing) {
    const std::string path = this->dir_ / "missing";
    EXPECT_EQ(this->parse_file(path).status, TBS_ST_ENOENT);
    EXPECT_EQ(this->seen_.take(),
              lines{common(18, "Unable to open file \"" + path + "\": " + this->error_text(2) + ".\n")});
    EXPECT_EQ(this->parse_file("").status, TBS_ST_ENOENT);
    EXPECT_EQ(this->seen_.take(), lines{common(18, "Unable to open file \"\": " + this->error_text(2) + ".\n")});
}

TYPED_TEST(AclFile, MayBeADirectory) {
    EXPECT_EQ(this->parse_file(this->dir_.str()).status, TBS_ST_EISDIR);
    EXPECT_EQ(this->seen_.take(),
              lines{common(18, "Unable to open file \"" + this->dir_.str() + "\": " + this->error_text(21) + ".\n")});
}

TYPED_TEST(AclFile, MayHaveAFileOnItsPath) {
    const std::string path = this->dir_.write("file", "") + "/acl";
    EXPECT_EQ(this->parse_file(path).status, TBS_ST_ENOTDIR);
    EXPECT_EQ(this->seen_.take(),
              lines{common(18, "Unable to open file \"" + path + "\": " + this->error_text(20) + ".\n")});
}

TYPED_TEST(AclFile, MayBeUnreadable) {
    if (geteuid() == 0) GTEST_SKIP() << "root reads every file";
    const std::string path = this->dir_.write("acl", "Everyone: Read\n");
    std::filesystem::permissions(path, std::filesystem::perms::none);
    EXPECT_EQ(this->parse_file(path).status, TBS_ST_EACCES);
    EXPECT_EQ(this->seen_.take(),
              lines{common(18, "Unable to open file \"" + path + "\": " + this->error_text(13) + ".\n")});
}

TYPED_TEST(AclFile, MayFailWhileItIsRead) {
    const std::string path = "/proc/self/mem"; // opens well, and has nothing at offset 0
    EXPECT_EQ(this->parse_file(path).status, TBS_ST_EIO);
    EXPECT_EQ(this->seen_.take(),
              lines{common(20, "Unable to read file \"" + path + "\": " + this->error_text(5) + ".\n")});
}

TYPED_TEST(AclFile, IsAProductPath) {
    this->dir_.write("sub/acl", "Everyone: Read\n");
    EXPECT_EQ(this->parse_file(this->dir_.str() + "\\sub\\acl").acl, "Everyone: Read");
}

TYPED_TEST(AclFile, IsClosedOnEveryWayOut) {
    const auto open_files = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto before = open_files();
    for (const char *content : {"Everyone: Read", "x", "x: Read", "Everyone: x", "Everyone: Reserved", "\0"}) {
        this->parse(content);
    }
    this->parse_file("/proc/self/mem");
    EXPECT_EQ(open_files(), before);
}

TYPED_TEST(AclFile, RefusesNull) {
    typename TypeParam::handle acl = nullptr;
    const std::string path = this->dir_.write("acl", "Everyone: Read");
    EXPECT_EQ(TypeParam::parse(nullptr, nullptr, 0, &map, &acl), TBS_ST_EINVAL);
    EXPECT_EQ(TypeParam::parse(path.c_str(), nullptr, 1, &map, &acl), TBS_ST_EINVAL);
    EXPECT_EQ(acl, nullptr);
    EXPECT_EQ(TypeParam::parse(path.c_str(), nullptr, 0, &map, nullptr), TBS_ST_EINVAL);
}

TYPED_TEST(AclFile, EveryAllocationMayFail) {
    using handle = typename TypeParam::handle;
    const std::string path = this->dir_.write(
        "acl", "# comment\nUser:CORP\\fred Read\nGroup:CORP\\staff Full\nRole:r List\nUser:CORP\\wilma Read\n"
               "User:corp\\FRED List\nEveryone: Read\n");
    const auto forget = [] { return credutl_flush_accounts(), 0; };
    const int met = refuse_each(forget, [&](int) {
        handle acl = nullptr;
        const tbs_status_t status = TypeParam::parse(path.c_str(), names, name_count, &map, &acl);
        return [this, status, acl](bool disturbed) {
            const typename TypeParam::owner owner(acl);
            const lines printed = this->seen_.take();
            if (status == 0) {
                ASSERT_NE(acl, nullptr);
                const std::string user = std::is_same_v<TypeParam, sid_form> ? "User:CORP\\fred" : "User:corp\\FRED";
                EXPECT_EQ(TypeParam::written(acl), user + " List\nGroup:CORP\\staff Full\nRole:r List\n"
                                                          "User:CORP\\wilma Read\nEveryone: Read");
                return;
            }
            EXPECT_TRUE(disturbed);
            EXPECT_EQ(acl, nullptr);
            EXPECT_FALSE(printed.empty());
            EXPECT_TRUE(status == TBS_ST_ENOMEM || (std::is_same_v<TypeParam, sid_form> && status == TBS_ST_ERROR))
                << status;
        };
    });
    EXPECT_GT(met, 10);
}

TYPED_TEST(AclFile, SaysThatItsAclCannotBeMade) {
    const std::string path = this->dir_.write("acl", "Everyone: Read");
    typename TypeParam::handle acl = nullptr;
    tbs_status_t status = 0;
    {
        const faults::refuse all(1, true);
        status = TypeParam::parse(path.c_str(), names, name_count, &map, &acl);
    }
    EXPECT_EQ(status, TBS_ST_ENOMEM);
    EXPECT_EQ(acl, nullptr);
    EXPECT_EQ(this->seen_.take(), (lines{no_memory(), no_memory(TypeParam::create)}));
}

// ---- one line -----------------------------------------------------------------------------------------------------

class TbsSidAclUtlParseStr : public testing::Test {
protected:
    tbs_status_t parse(std::string line, int number = 7) {
        return tbs_sid_acl_utl_parse_str(line.data(), number, names, name_count, &map, acl_.get());
    }
    std::string acl() { return sid_form::written(acl_.get()); }

    accounts known_;
    recorder seen_;
    sid_ptr acl_ = make_sid();
};

TEST_F(TbsSidAclUtlParseStr, AddsAnEntry) {
    EXPECT_EQ(parse("User:CORP\\fred Read"), 0);
    EXPECT_EQ(parse(" \tGroup:corp/staff\tDelete \r\n"), 0);
    EXPECT_EQ(parse("user:CORP\\fred List\n"), 0);
    EXPECT_EQ(acl(), "User:CORP\\fred List\nGroup:CORP\\staff Delete");
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(TbsSidAclUtlParseStr, TakesBlankLinesAndComments) {
    for (const char *line : {"", "\n", " \t\r\n", "#", "# x", "   # x\n", "\t#Everyone: Read"}) {
        EXPECT_EQ(parse(line), 0) << line;
    }
    EXPECT_EQ(acl(), "");
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(TbsSidAclUtlParseStr, CitesTheGivenNumber) {
    EXPECT_EQ(parse("x", 0), TBS_ST_ERROR);
    EXPECT_EQ(parse("x", 2147483647), TBS_ST_ERROR);
    EXPECT_EQ(parse("x", -5), TBS_ST_ERROR);
    EXPECT_EQ(seen_.take(),
              (lines{error(7, "Syntax error on line 0.\n"), form_hint, error(7, "Syntax error on line 2147483647.\n"),
                     form_hint, error(7, "Syntax error on line -5.\n"), form_hint}));
}

TEST_F(TbsSidAclUtlParseStr, ReportsEachFault) {
    EXPECT_EQ(parse("User:CORP\\ghost Read"), TBS_ST_ERROR);
    EXPECT_EQ(seen_.take(), (lines{error(23, "Unknown ACL identity: CORP\\ghost.\n"),
                                   error(8, "Problem parsing identity \"User:CORP\\ghost\" on line 7.\n")}));
    EXPECT_EQ(parse("Domain:CORP Read"), TBS_ST_EINVAL);
    EXPECT_EQ(seen_.take(), (lines{error(1, "Unrecognized ACL identity type \"Domain\".\n"),
                                   error(8, "Problem parsing identity \"Domain:CORP\" on line 7.\n")}));
    const std::string invalid = tbs_strerror(TBS_ST_EINVAL), plain_one = tbs_strerror(1);
    EXPECT_EQ(parse("User:CORP\\fred Read,,List"), TBS_ST_EINVAL);
    EXPECT_EQ(seen_.take(),
              (lines{error(2, "Unrecognized ACL permission: \"\".\n"),
                     error(9, "Problem parsing permission set \"Read,,List\" on line 7: " + invalid + ".\n")}));
    EXPECT_EQ(parse("Role:a b Read"), 1);
    EXPECT_EQ(seen_.take(), (lines{error(29, "Invalid role name \"a b\".\n"),
                                   error(10, "Unable to set ACL entry for line 7: " + plain_one + ".\n")}));
    EXPECT_EQ(parse("Everyone Reserved"), TBS_ST_EINVAL);
    EXPECT_EQ(seen_.take(), (lines{error(11, "Empty permission set.\n"),
                                   error(10, "Unable to set ACL entry for line 7: " + invalid + ".\n")}));
}

TEST_F(TbsSidAclUtlParseStr, LeavesTheAclAsItWasOnFailure) {
    ASSERT_EQ(parse("Everyone: Read"), 0);
    for (const char *line : {"x", "x: y", "Everyone: Bogus", "Everyone: Reserved", "Role:- Read", "User:x Read"}) {
        EXPECT_NE(parse(line), 0);
        EXPECT_EQ(acl(), "Everyone: Read");
    }
}

TEST_F(TbsSidAclUtlParseStr, RefusesNull) {
    char line[] = "Everyone: Read";
    EXPECT_EQ(tbs_sid_acl_utl_parse_str(nullptr, 1, nullptr, 0, &map, acl_.get()), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_utl_parse_str(line, 1, nullptr, 1, &map, acl_.get()), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_utl_parse_str(line, 1, nullptr, 0, &map, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(acl(), "");
}

TEST_F(TbsSidAclUtlParseStr, EveryAllocationMayFail) {
    char line[] = "User:CORP\\wilma Read"; // changed by each run, written anew before the next
    refuse_each(
        [&] {
            credutl_flush_accounts();
            acl_ = make_sid();
            EXPECT_EQ(parse("Everyone: Read"), 0);
            std::snprintf(line, sizeof line, "User:CORP\\wilma Read");
            return 0;
        },
        [&](int) {
            const tbs_status_t status = tbs_sid_acl_utl_parse_str(line, 1, names, name_count, &map, acl_.get());
            return [this, status](bool disturbed) {
                EXPECT_EQ(acl(), status == 0 ? "Everyone: Read\nUser:CORP\\wilma Read" : "Everyone: Read");
                if (!disturbed) {
                    EXPECT_EQ(status, 0);
                }
                seen_.take();
            };
        });
}

} // namespace
