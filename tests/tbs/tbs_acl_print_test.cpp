// ACLs written as text: printed, into message lists, to streams.

#include "acl_test_support.hpp"

using namespace acl_test;

namespace {

class AclPrint : public testing::Test {
protected:
    // Every kind that the form has, with permissions of every sort.
    static classic_ptr classic_of_all_kinds() {
        classic_ptr acl = make_classic();
        EXPECT_EQ(set(acl, TBS_ACL_ID_USER, "CORP", "fred", 0x00020001), 0);
        EXPECT_EQ(set(acl, TBS_ACL_ID_GROUP, "CORP", "Domain Users", 0x00010011), 0);
        EXPECT_EQ(set(acl, TBS_ACL_ID_DOMAIN, "CORP", nullptr, 0x00030007), 0);
        EXPECT_EQ(set(acl, TBS_ACL_ID_EVERYONE, nullptr, nullptr, 0x00000100), 0);
        EXPECT_EQ(set(acl, TBS_ACL_ID_OWNER_USER, nullptr, nullptr, 0x0007001F), 0);
        EXPECT_EQ(set(acl, TBS_ACL_ID_OWNER_GROUP, nullptr, nullptr, 0x0000000A), 0);
        EXPECT_EQ(set(acl, TBS_ACL_ID_ROLE, nullptr, "dev", 0x00000010), 0);
        return acl;
    }
    static sid_ptr sid_of_all_kinds() {
        sid_ptr acl = make_sid();
        EXPECT_EQ(set(acl, TBS_ACL_ID_USER, sid(fred), 0x00020001), 0);
        EXPECT_EQ(set(acl, TBS_ACL_ID_GROUP, sid(domain_users), 0x00010011), 0);
        EXPECT_EQ(set(acl, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 0x00000100), 0);
        EXPECT_EQ(set(acl, TBS_ACL_ID_OWNER_USER, CREDUTL_SID_NOBODY, 0x0007001F), 0);
        EXPECT_EQ(set(acl, TBS_ACL_ID_OWNER_GROUP, CREDUTL_SID_NOBODY, 0x0000000A), 0);
        EXPECT_EQ(set_role(acl, "dev", 0x00000010), 0);
        return acl;
    }
    static lines classic_texts() {
        return {"User:CORP\\fred Read\n", "Group:CORP\\Domain Users List,Mount,Delete\n",
                "Domain:CORP Change\n",   "Everyone: 0x00000100\n",
                "Owner-User: Full\n",     "Owner-Group: Modify,Execute\n",
                "Role:dev Mount\n"};
    }
    static lines sid_texts() {
        lines texts = classic_texts();
        texts.erase(texts.begin() + 2);
        return texts;
    }

    tbs_status_t print(const classic_ptr &acl) { return tbs_acl_utl_print(acl.get(), names, name_count, &map); }
    tbs_status_t print(const sid_ptr &acl) { return tbs_sid_acl_utl_print(acl.get(), names, name_count, &map); }
    tbs_status_t add(const classic_ptr &acl, const list_ptr &list) {
        return tbs_acl_to_imsg_list(acl.get(), names, name_count, &map, list.get());
    }
    tbs_status_t add(const sid_ptr &acl, const list_ptr &list) {
        return tbs_sid_acl_to_imsg_list(acl.get(), names, name_count, &map, list.get());
    }
    // What goes to a stream.
    std::string output(const sid_ptr &acl, tbs_status_t expected = 0) {
        const file_ptr stream(std::tmpfile());
        EXPECT_EQ(tbs_sid_acl_utl_output(stream.get(), acl.get(), names, name_count, &map), expected);
        std::string text(static_cast<size_t>(std::ftell(stream.get())), '\0');
        std::rewind(stream.get());
        EXPECT_EQ(std::fread(text.data(), 1, text.size(), stream.get()), text.size());
        return text;
    }
    static lines texts_of(const list_ptr &list) {
        lines texts;
        for (size_t i = 0; i < imsg_list_count(list.get()); i++) texts.emplace_back(imsg_list_text(list.get(), i));
        return texts;
    }
    static lines indented(const lines &texts, size_t indent) {
        lines printed;
        for (const std::string &text : texts) {
            printed.push_back(plain(27, std::string(indent, ' ')));
            printed.push_back(plain(26, text));
        }
        return printed;
    }
    static lines unknown_account(unsigned rid) {
        return {error(24, "Unable to convert identity \"" + sid_text(rid) + "\" to an account/group name.\n")};
    }

    accounts known_;
    recorder seen_;
};

lines operator+(lines all, const lines &more) {
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

// ---- classic ------------------------------------------------------------------------------------------------------

using TbsAclUtlPrint = AclPrint;

TEST_F(TbsAclUtlPrint, PrintsOneIndentedLineAnEntry) {
    const classic_ptr acl = classic_of_all_kinds();
    EXPECT_EQ(print(acl), 0);
    lines expected;
    for (const std::string &text : classic_texts()) expected.push_back(plain(19, "    " + text));
    EXPECT_EQ(seen_.take(), expected);
}

TEST_F(TbsAclUtlPrint, PrintsAnEmptyAclAsAComment) {
    const classic_ptr acl = make_classic();
    EXPECT_EQ(print(acl), 0);
    EXPECT_EQ(seen_.take(), lines{plain(17, "# <empty acl>\n")});
}

TEST_F(TbsAclUtlPrint, WritesNumbersWithoutNamesAndMap) {
    const classic_ptr acl = make_classic();
    ASSERT_EQ(set(acl, TBS_ACL_ID_EVERYONE, nullptr, nullptr, 0x00020001), 0);
    EXPECT_EQ(tbs_acl_utl_print(acl.get(), nullptr, 0, nullptr), 0);
    EXPECT_EQ(seen_.take(), lines{plain(19, "    Everyone: AclRead,0x00000001\n")});
}

TEST_F(TbsAclUtlPrint, EndsAtAnIdentityLongerThanTheBuffer) {
    const classic_ptr acl = make_classic();
    const std::string fits(1018, 'r'), too_long(1019, 'r');
    ASSERT_EQ(set(acl, TBS_ACL_ID_ROLE, nullptr, fits.c_str(), 1), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_ROLE, nullptr, too_long.c_str(), 1), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_EVERYONE, nullptr, nullptr, 1), 0);
    EXPECT_EQ(print(acl), TBS_ST_ENAMETOOLONG);
    EXPECT_EQ(seen_.take(), (lines{plain(19, "    Role:" + fits + " List\n"), too_small()}));
}

TEST_F(TbsAclUtlPrint, EndsAtAnIdentityThatHasNoText) {
    const classic_ptr acl = make_classic();
    ASSERT_EQ(set(acl, TBS_ACL_ID_ROLE, nullptr, "r", 1), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_EVERYONE, nullptr, nullptr, 1), 0);
    acl->entries[0].id.kind = 9;
    EXPECT_EQ(print(acl), TBS_ST_EINVAL);
    EXPECT_EQ(seen_.take(), lines{error(0, "Unrecognized ACL identity type (9).\n")});
    const list_ptr list(imsg_list_create());
    EXPECT_EQ(add(acl, list), TBS_ST_EINVAL);
    EXPECT_EQ(imsg_list_count(list.get()), 0u);
    acl->entries[0].id.kind = TBS_ACL_ID_ROLE;
}

TEST_F(TbsAclUtlPrint, CannotBeMadeToForgeALine) {
    const classic_ptr acl = make_classic();
    ASSERT_EQ(set(acl, TBS_ACL_ID_USER, "a\nb\r", "c Full\n    Everyone: Full\x1b[2J", 1), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_ROLE, nullptr, "\xFF\x7F\xE2\x80\xAE", 1), 0);
    EXPECT_EQ(print(acl), 0);
    const lines printed = seen_.take();
    EXPECT_EQ(printed, (lines{plain(19, "    User:a^Jb^M\\c Full^J    Everyone: Full^[[2J List\n"),
                              plain(19, "    Role:\\xff^?\\xe2\\x80\\xae List\n")}));
}

TEST_F(TbsAclUtlPrint, RefusesNull) {
    const classic_ptr acl = classic_of_all_kinds();
    EXPECT_EQ(tbs_acl_utl_print(nullptr, names, name_count, &map), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_utl_print(acl.get(), nullptr, 1, &map), TBS_ST_EINVAL);
    EXPECT_EQ(seen_.take(), lines{});
}

// ---- message lists ------------------------------------------------------------------------------------------------

using AclToImsgList = AclPrint;

TEST_F(AclToImsgList, AppendsWhatWouldBePrinted) {
    const list_ptr list(imsg_list_create());
    ASSERT_EQ(imsg_list_add_msg(list.get(), tbs_cmsg_tbs_msg_table_adr(), 2, "before"), 0);
    EXPECT_EQ(add(classic_of_all_kinds(), list), 0);
    lines expected{"before\n"};
    for (const std::string &text : classic_texts()) expected.push_back("    " + text);
    EXPECT_EQ(texts_of(list), expected);
    EXPECT_EQ(add(sid_of_all_kinds(), list), 0);
    for (const std::string &text : sid_texts()) expected.push_back("    " + text);
    EXPECT_EQ(texts_of(list), expected);
    EXPECT_EQ(seen_.take(), lines{});
    imsg_list_print(list.get(), IMSG_PLAIN);
    EXPECT_EQ(seen_.take()[1], plain(19, "    User:CORP\\fred Read\n"));
}

TEST_F(AclToImsgList, AppendsNothingForAnEmptyAcl) {
    const list_ptr list(imsg_list_create());
    EXPECT_EQ(add(make_classic(), list), 0);
    EXPECT_EQ(add(make_sid(), list), 0);
    EXPECT_EQ(imsg_list_count(list.get()), 0u);
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(AclToImsgList, EndsAtAnIdentityWithoutText) {
    const list_ptr list(imsg_list_create());
    const sid_ptr acl = make_sid();
    ASSERT_EQ(set(acl, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 1), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_GROUP, sid(stranger), 1), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_OWNER_USER, CREDUTL_SID_NOBODY, 1), 0);
    EXPECT_EQ(add(acl, list), TBS_ST_ERROR);
    EXPECT_EQ(texts_of(list), lines{"    Everyone: List\n"});
    EXPECT_EQ(seen_.take(), unknown_account(stranger));

    const classic_ptr classic = make_classic();
    ASSERT_EQ(set(classic, TBS_ACL_ID_ROLE, nullptr, std::string(2000, 'r').c_str(), 1), 0);
    EXPECT_EQ(add(classic, list), TBS_ST_ENAMETOOLONG);
    EXPECT_EQ(imsg_list_count(list.get()), 1u);
    EXPECT_EQ(seen_.take(), lines{too_small()});

    const sid_ptr long_role = make_sid();
    ASSERT_EQ(set_role(long_role, std::string(1019, 'r').c_str(), 1), 0);
    EXPECT_EQ(add(long_role, list), TBS_ST_ENAMETOOLONG);
    EXPECT_EQ(seen_.take(), lines{too_small()});
}

TEST_F(AclToImsgList, RefusesNull) {
    const list_ptr list(imsg_list_create());
    const classic_ptr classic = classic_of_all_kinds();
    const sid_ptr by_sid = sid_of_all_kinds();
    EXPECT_EQ(tbs_acl_to_imsg_list(nullptr, names, name_count, &map, list.get()), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_to_imsg_list(classic.get(), nullptr, 1, &map, list.get()), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_to_imsg_list(classic.get(), names, name_count, &map, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_to_imsg_list(nullptr, names, name_count, &map, list.get()), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_to_imsg_list(by_sid.get(), nullptr, 1, &map, list.get()), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_to_imsg_list(by_sid.get(), names, name_count, &map, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(imsg_list_count(list.get()), 0u);
}

// ---- SID, printed -------------------------------------------------------------------------------------------------

using TbsSidAclUtlPrintIndent = AclPrint;

TEST_F(TbsSidAclUtlPrintIndent, PrintsTheIndentThenTheEntry) {
    const sid_ptr acl = sid_of_all_kinds();
    for (const int indent : {0, 1, 4, 10, 100}) {
        EXPECT_EQ(tbs_sid_acl_utl_print_indent(acl.get(), names, name_count, &map, indent), 0);
        EXPECT_EQ(seen_.take(), indented(sid_texts(), static_cast<size_t>(indent)));
    }
}

TEST_F(TbsSidAclUtlPrintIndent, IsFourForPlainPrinting) {
    EXPECT_EQ(print(sid_of_all_kinds()), 0);
    EXPECT_EQ(seen_.take(), indented(sid_texts(), 4));
    EXPECT_EQ(print(make_sid()), 0);
    EXPECT_EQ(seen_.take(), lines{plain(28, "      # <empty acl>\n")});
}

TEST_F(TbsSidAclUtlPrintIndent, PrintsAnEmptyAclWithSixBlanksAlways) {
    const sid_ptr acl = make_sid();
    for (const int indent : {0, 4, 10}) {
        EXPECT_EQ(tbs_sid_acl_utl_print_indent(acl.get(), names, name_count, &map, indent), 0);
        EXPECT_EQ(seen_.take(), lines{plain(28, "      # <empty acl>\n")});
    }
}

TEST_F(TbsSidAclUtlPrintIndent, EndsAtAnIdentityWithoutTextAndStillGivesZero) {
    for (const tbs_acl_id_kind_t kind : {TBS_ACL_ID_USER, TBS_ACL_ID_GROUP}) {
        const sid_ptr acl = make_sid();
        ASSERT_EQ(set_role(acl, "r", 1), 0);
        ASSERT_EQ(set(acl, kind, sid(stranger), 1), 0);
        ASSERT_EQ(set(acl, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 1), 0);
        EXPECT_EQ(print(acl), 0);
        EXPECT_EQ(seen_.take(), indented({"Role:r List\n"}, 4) + unknown_account(stranger));
    }
}

TEST_F(TbsSidAclUtlPrintIndent, EndsAtADomain) {
    const sid_ptr acl = make_sid();
    const tbs_sid_acl_id_t domain = sid_id(TBS_ACL_ID_DOMAIN, CREDUTL_SID_NOBODY, "CORP");
    ASSERT_EQ(tbs_sid_acl_set_entry(acl.get(), domain, 1), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 1), 0);
    EXPECT_EQ(print(acl), 0);
    EXPECT_EQ(seen_.take(), lines{error(0, "Unrecognized ACL identity type (3).\n")});
    EXPECT_EQ(output(acl, TBS_ST_EINVAL), "");
    EXPECT_EQ(seen_.take(), lines{error(0, "Unrecognized ACL identity type (3).\n")});
}

TEST_F(TbsSidAclUtlPrintIndent, EndsAtAnIdentityLongerThanTheBuffer) {
    const sid_ptr acl = make_sid();
    const std::string fits(1018, 'r'), too_long(1019, 'r');
    ASSERT_EQ(set_role(acl, fits.c_str(), 1), 0);
    ASSERT_EQ(set_role(acl, too_long.c_str(), 1), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 1), 0);
    EXPECT_EQ(print(acl), 0);
    EXPECT_EQ(seen_.take(), indented({"Role:" + fits + " List\n"}, 4) + lines{too_small()});
    EXPECT_EQ(output(acl, TBS_ST_ENAMETOOLONG), "Role:" + fits + " List\n");
    EXPECT_EQ(seen_.take(), lines{too_small()});
}

TEST_F(TbsSidAclUtlPrintIndent, GivesZeroForNull) {
    const sid_ptr acl = sid_of_all_kinds();
    EXPECT_EQ(tbs_sid_acl_utl_print_indent(nullptr, names, name_count, &map, 4), 0);
    EXPECT_EQ(tbs_sid_acl_utl_print_indent(acl.get(), nullptr, 1, &map, 4), 0);
    EXPECT_EQ(tbs_sid_acl_utl_print(nullptr, names, name_count, &map), 0);
}

// ---- SID, to a stream ---------------------------------------------------------------------------------------------

class TbsSidAclUtlOutput : public AclPrint {
protected:
    sid_ptr parsed(const std::string &text) {
        tbs_sid_acl_h_t acl = nullptr;
        EXPECT_EQ(tbs_sid_acl_utl_parse(dir_.write("acl", text).c_str(), names, name_count, &map, &acl), 0);
        return sid_ptr(acl);
    }

    temp_dir dir_;
};

TEST_F(TbsSidAclUtlOutput, WritesOneLineAnEntry) {
    std::string expected;
    for (const std::string &text : sid_texts()) expected += text;
    EXPECT_EQ(output(sid_of_all_kinds()), expected);
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(TbsSidAclUtlOutput, WritesNothingForAnEmptyAcl) {
    EXPECT_EQ(output(make_sid()), "");
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(TbsSidAclUtlOutput, EndsAtAnIdentityWithoutText) {
    const sid_ptr acl = make_sid();
    ASSERT_EQ(set_role(acl, "r", 1), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_USER, sid(stranger), 1), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 1), 0);
    EXPECT_EQ(output(acl, TBS_ST_ERROR), "Role:r List\n");
    EXPECT_EQ(seen_.take(), unknown_account(stranger));
}

TEST_F(TbsSidAclUtlOutput, IsReadBackAsAnEqualAcl) {
    sid_ptr acl = make_sid();
    for (unsigned i = 0; i < numbered_accounts; i++) {
        ASSERT_EQ(set(acl, TBS_ACL_ID_USER, sid(first_user_rid + i), 0x00020001 | i % 0x20), 0);
        ASSERT_EQ(set(acl, TBS_ACL_ID_GROUP, sid(first_group_rid + i), 0x00010000 | i % 0x20), 0);
        ASSERT_EQ(set_role(acl, ("r" + std::to_string(i)).c_str(), 1 + i % 0x1F), 0);
    }
    ASSERT_EQ(set(acl, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 0x007F0000), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_GROUP, sid(domain_users), 0x0007001F), 0);
    const std::string text = output(acl);
    const sid_ptr back = parsed(text);
    const tbs_sid_acl_h_t a = acl.get(), b = back.get();
    EXPECT_EQ(tbs_sid_acl_cmp_acl(&a, &b), 1);
    EXPECT_EQ(tbs_sid_acl_cmp_acl(&b, &a), 1);
    EXPECT_EQ(output(back), text);
}

TEST_F(TbsSidAclUtlOutput, CannotBeMadeToForgeALine) {
    // A list as a hostile peer could have sent it.
    const classic_ptr classic = make_classic(); // does not check the names of roles
    const std::string line_ends(1018, '\r');
    ASSERT_EQ(set(classic, TBS_ACL_ID_ROLE, nullptr, "r Read\nEveryone: Full\n#\r\x1b[2J\x7f", 1), 0);
    ASSERT_EQ(set(classic, TBS_ACL_ID_ROLE, nullptr, line_ends.c_str(), 1), 0);
    const credutl_sid_credentials_t nobody{};
    credutl_client_t *client = nullptr;
    ASSERT_EQ(credutl_client_from_sids(nullptr, &nobody, &client), 0);
    const client_ptr owner(client);
    tbs_boolean_t granted = 1;
    ASSERT_EQ(tbs_acl_check_permission(classic.get(), 1, client, 0, 0, &granted), 0);
    const std::string text = output(take_cooked(classic));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
    EXPECT_EQ(text.find_first_of("\r\v\f"), std::string::npos) << text;
    EXPECT_TRUE(text.starts_with("Role:r Read")) << text;
}

TEST_F(TbsSidAclUtlOutput, LeavesErrorsInTheStream) {
    const file_ptr full(std::fopen("/dev/full", "w"));
    ASSERT_NE(full, nullptr);
    EXPECT_EQ(tbs_sid_acl_utl_output(full.get(), sid_of_all_kinds().get(), names, name_count, &map), 0);
    EXPECT_TRUE(std::fflush(full.get()) != 0 || std::ferror(full.get()));
}

TEST_F(TbsSidAclUtlOutput, RefusesNull) {
    const sid_ptr acl = sid_of_all_kinds();
    EXPECT_EQ(tbs_sid_acl_utl_output(nullptr, acl.get(), names, name_count, &map), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_utl_output(stdout, nullptr, names, name_count, &map), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_utl_output(stdout, acl.get(), nullptr, 1, &map), TBS_ST_EINVAL);
}

// ---- refused allocations ------------------------------------------------------------------------------------------

using AclPrintWithoutMemory = AclPrint;

// Prints what may come out of a listing that a refused allocation cut short: a beginning of it, then messages.
void expect_beginning(const lines &printed, const lines &whole) {
    size_t same = 0;
    while (same < printed.size() && same < whole.size() && printed[same] == whole[same]) same++;
    for (size_t i = same; i < printed.size(); i++) EXPECT_EQ(printed[i].substr(0, 2), "6 ") << printed[i];
}

TEST_F(AclPrintWithoutMemory, ClassicListingsEndEarly) {
    const classic_ptr acl = classic_of_all_kinds();
    ASSERT_EQ(print(acl), 0);
    const lines whole = seen_.take();
    refuse_each([] { return 0; },
                [&](int) {
                    const tbs_status_t status = print(acl);
                    return [&, status](bool disturbed) {
                        const lines printed = seen_.take();
                        EXPECT_TRUE(status == 0 || (disturbed && status == TBS_ST_ENOMEM)) << status;
                        if (status == 0) {
                            EXPECT_EQ(printed, whole);
                        } else {
                            expect_beginning(printed, whole);
                            EXPECT_EQ(printed.back(), no_memory());
                        }
                    };
                });
    EXPECT_EQ(print(acl), 0); // the lock was given back
}

TEST_F(AclPrintWithoutMemory, SidListingsEndEarly) {
    const sid_ptr acl = sid_of_all_kinds();
    ASSERT_EQ(print(acl), 0);
    const lines whole = seen_.take();
    const auto forget = [] { return credutl_flush_accounts(), 0; };
    refuse_each(forget, [&](int) {
        const tbs_status_t status = print(acl);
        return [&, status](bool disturbed) {
            const lines printed = seen_.take();
            EXPECT_EQ(status, 0);
            if (disturbed) {
                expect_beginning(printed, whole);
            } else {
                EXPECT_EQ(printed, whole);
            }
        };
    });
    EXPECT_EQ(print(acl), 0);
}

TEST_F(AclPrintWithoutMemory, MessageListsKeepWhatTheyHold) {
    const classic_ptr classic = classic_of_all_kinds();
    const sid_ptr by_sid = sid_of_all_kinds();
    const auto setup = [] {
        credutl_flush_accounts();
        return list_ptr(imsg_list_create());
    };
    const auto check = [&](auto &acl, size_t entries) {
        const int met = refuse_each(setup, [&](list_ptr &list) {
            const tbs_status_t status = add(acl, list);
            return [&, status](bool disturbed) {
                const lines printed = seen_.take();
                if (status == 0) {
                    EXPECT_EQ(imsg_list_count(list.get()), entries);
                } else {
                    EXPECT_TRUE(disturbed);
                    EXPECT_LT(imsg_list_count(list.get()), entries);
                    EXPECT_TRUE(status == TBS_ST_ENOMEM || status == TBS_ST_ERROR) << status;
                    EXPECT_FALSE(printed.empty());
                }
            };
        });
        EXPECT_GE(met, static_cast<int>(entries));
    };
    check(classic, 7);
    check(by_sid, 6);
}

} // namespace
