// The same texts, comparisons and decisions under every locale.

#include "acl_check_support.hpp"

#include <clocale>

using namespace acl_test;

namespace {

class AclUnderLocale : public testing::TestWithParam<const char *> {
protected:
    void SetUp() override {
        if (!std::setlocale(LC_ALL, "C")) FAIL();
    }
    void TearDown() override { std::setlocale(LC_ALL, "C"); }

    // What holds an answer under the locale C, and under the locale of this case.
    template <class F> void expect_same(F &&answer) {
        const auto plain_answer = answer();
        if (!std::setlocale(LC_ALL, GetParam())) GTEST_SKIP() << "this host has no locale " << GetParam();
        const auto local_answer = answer();
        EXPECT_EQ(local_answer, plain_answer);
        EXPECT_FALSE(plain_answer.empty());
    }

    accounts known_;
    recorder seen_;
    temp_dir dir_;
};
INSTANTIATE_TEST_SUITE_P(Of, AclUnderLocale, testing::Values("C", "C.UTF-8", "tr_TR.UTF-8", "de_DE.UTF-8"),
                         [](const auto &param) {
                             std::string name = param.param;
                             std::replace_if(
                                 name.begin(), name.end(), [](char c) { return !std::isalnum(c); }, '_');
                             return name;
                         });

// Letters whose case the Turkish locale, or the German one, sees with other eyes.
constexpr const char *spellings[] = {"TITANIUM\\iris",        "titanium\\IRIS",    "t\xC4\xB1tanium\\iris",
                                     "T\xC4\xB0TANIUM\\IRIS", "CORP\\wei\xC3\x9F", "corp\\WEISS",
                                     "CORP\\WEI\xE1\xBA\x9E", "CORP\\j\xC3\xB6rg", "CORP\\J\xC3\x96RG",
                                     "CORP\\jo\xCC\x88rg",    "CORP\\fred",        "CORP\\FRED",
                                     "CORP\\fre\xFF"};

TEST_P(AclUnderLocale, KindWordsAreTheSame) {
    expect_same([&] {
        lines answers;
        for (const char *text :
             {"OWNER-USER:", "owner-group:", "DOMAIN:x", "DOMA\xC4\xB0N:x", "doma\xC4\xB1n:x", "ROLE:r", "EVERYONE",
              "U\xC5\xBF"
              "er:a\\b",
              "GROUP:a\\b", "group:A\\B"}) {
            tbs_acl_id_t id{};
            const tbs_status_t status = tbs_acl_utl_id_from_str(text, &id);
            answers.push_back(std::to_string(status) + ' ' + std::to_string(status == 0 ? id.kind : 0));
            tbs_acl_free_id(&id);
        }
        EXPECT_EQ(answers[0], "0 5");
        EXPECT_EQ(answers[2], "0 3");
        EXPECT_EQ(answers[3], "1072 0");
        EXPECT_EQ(answers[4], "1072 0");
        for (const std::string &line : seen_.take()) answers.push_back(line);
        return answers;
    });
}

TEST_P(AclUnderLocale, PermissionNamesAreTheSame) {
    expect_same([&] {
        const tbs_acl_perm_name_t extra[] = {{"LIST", 1},
                                             {"mod\xC4\xB1"
                                              "fy",
                                              2},
                                             {"Tr\xC4\xB0m", 4},
                                             {"T\xC3\xBCr", 8}};
        lines answers;
        for (const char *text :
             {"list", "LIST", "l\xC4\xB1st", "L\xC4\xB0ST", "modify", "MODIFY", "tr\xC4\xB0m", "trim", "TRIM",
              "T\xC3\x9CR", "SPECIFICOTHER", "specificother", "ACLWRITE", "delete"}) {
            tbs_acl_permission_set_t perms = 0;
            const tbs_status_t status = tbs_acl_utl_perm_set_from_str(text, extra, std::size(extra), &map, &perms);
            answers.push_back(std::to_string(status) + ' ' + std::to_string(perms));
        }
        EXPECT_EQ(answers[0], "0 1");
        EXPECT_EQ(answers[2], "1072 0");
        EXPECT_EQ(answers[5], "1072 0");
        EXPECT_EQ(answers[10], "0 125894655");
        answers.emplace_back(tbs_acl_utl_perm_set_to_str(0x0181FFFF, extra, std::size(extra), &map));
        answers.emplace_back(tbs_acl_utl_perm_set_to_str(0x00001234, extra, std::size(extra), &map));
        return answers;
    });
}

TEST_P(AclUnderLocale, AccountsAreTheSame) {
    expect_same([&] {
        lines answers;
        for (const char *text : spellings) {
            tbs_sid_acl_id_t id{};
            const tbs_status_t status = tbs_sid_acl_utl_id_from_str((std::string("User:") + text).c_str(), &id);
            char sid_as_text[CREDUTL_SID_STR_SIZE] = "";
            credutl_sid_to_str(&id.sid, sid_as_text, sizeof sid_as_text);
            answers.push_back(std::to_string(status) + ' ' + sid_as_text);
            tbs_sid_acl_free_id(&id);
        }
        EXPECT_EQ(answers[0], answers[1]);
        EXPECT_NE(answers[0], answers[2]);
        EXPECT_NE(answers[0], answers[3]);
        EXPECT_EQ(answers[4], answers[5]);
        EXPECT_EQ(answers[4], answers[6]);
        EXPECT_EQ(answers[7], answers[8]);
        EXPECT_EQ(answers[10], answers[11]);
        return answers;
    });
}

TEST_P(AclUnderLocale, IdentitiesCompareTheSame) {
    expect_same([&] {
        std::string answers;
        for (const char *stored : spellings) {
            for (const char *sought : spellings) {
                const classic_ptr acl = make_classic();
                set(acl, TBS_ACL_ID_ROLE, nullptr, stored, 1);
                set(acl, TBS_ACL_ID_DOMAIN, stored, nullptr, 1);
                const tbs_acl_id_t role = classic_id(TBS_ACL_ID_ROLE, "", sought);
                const tbs_acl_id_t domain = classic_id(TBS_ACL_ID_DOMAIN, sought, "");
                answers += tbs_acl_find_entry(acl.get(), &role) ? '1' : '0';
                answers += tbs_acl_find_entry(acl.get(), &domain) ? '1' : '0';
            }
        }
        return answers;
    });
}

TEST_P(AclUnderLocale, DecisionsAreTheSame) {
    expect_same([&] {
        std::string answers;
        for (const char *stored : spellings) {
            const std::string text = stored;
            const size_t split = text.find('\\');
            const classic_ptr acl = make_classic();
            set(acl, TBS_ACL_ID_USER, text.substr(0, split).c_str(), text.substr(split + 1).c_str(), 1);
            set(acl, TBS_ACL_ID_DOMAIN, text.substr(split + 1).c_str(), nullptr, 2);
            for (const char *sought : spellings) {
                const std::string name = sought;
                const client_ptr named = named_person{name.substr(name.find('\\') + 1), name, "", {}}.client();
                answers += std::to_string(check(acl, 1, named).granted);
                answers += std::to_string(check(acl, 2, named).granted);
                credutl_sid_t user{};
                tbs_acl_user_to_usid(name.substr(0, name.find('\\')).c_str(),
                                     name.substr(name.find('\\') + 1).c_str(), &user);
                const client_ptr by_sid = sid_person{"x", user, CREDUTL_SID_NOBODY, {}}.client();
                answers += std::to_string(check(acl, 1, by_sid).granted);
            }
        }
        return answers;
    });
}

TEST_P(AclUnderLocale, FilesAreReadAndWrittenTheSame) {
    std::string content = "# T\xC4\xB0TANIUM\n";
    for (const char *text :
         {"User:TITANIUM\\IRIS LIST,mount", "user:titanium\\iris LIST,MODIFY", "USER:corp\\WEISS full",
          "Role:STRASSE read",
          "ROLE:stra\xC3\x9F"
          "e EXECUTE",
          "role:d\xC4\xB1l List", "role:DIL List", "OWNER-USER: SPECIFICOTHER", "Group:CORP\\DOMAIN USERS list"}) {
        content += std::string(text) + '\n';
    }
    const std::string path = dir_.write("acl", content);
    expect_same([&] {
        tbs_sid_acl_h_t acl = nullptr;
        EXPECT_EQ(tbs_sid_acl_utl_parse(path.c_str(), names, name_count, &map, &acl), 0);
        const sid_ptr owner(acl);
        tbs_sid_acl_utl_print(acl, names, name_count, &map);
        const file_ptr stream(std::tmpfile());
        EXPECT_EQ(tbs_sid_acl_utl_output(stream.get(), acl, names, name_count, &map), 0);
        std::string text(static_cast<size_t>(std::ftell(stream.get())), '\0');
        std::rewind(stream.get());
        EXPECT_EQ(std::fread(text.data(), 1, text.size(), stream.get()), text.size());
        EXPECT_EQ(text, "User:TITANIUM\\iris List,Modify\nUser:CORP\\wei\xC3\x9F Full\n"
                        "Role:stra\xC3\x9F"
                        "e Execute\nRole:d\xC4\xB1l List\nRole:DIL List\n"
                        "Owner-User: List,Modify,Create,Mount,Execute,0x0780ffe0\nGroup:CORP\\Domain Users List\n");
        lines all = seen_.take();
        all.push_back(text);
        return all;
    });
}

TEST_P(AclUnderLocale, NumbersAreWrittenTheSame) {
    expect_same([&] {
        const tracing on(3, "tbs_acl:3");
        const sid_ptr acl = make_sid();
        set(acl, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 0x07654321);
        check(acl, 0x07FFFFFF, sid_person{"x", sid(1234567), sid(staff), {}}.whole());
        lines all = seen_.take();
        all.emplace_back(tbs_acl_utl_id_kind_to_str(123456789));
        EXPECT_EQ(all.back(), "Unrecognized ACL identity type (123456789).\n");
        return all;
    });
}

} // namespace
