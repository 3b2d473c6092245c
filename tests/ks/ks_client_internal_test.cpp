#include "internal/ks_client.hpp"
#include "internal/ks_client_os.hpp"
#include "ks/ks_errno.h"
#include "support/env.hpp"
#include "support/temp_dir.hpp"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using bytes = std::vector<unsigned char>;

// An exported name of the Kerberos mechanism (RFC 1964, section 2.1.3).
bytes exported(const std::string &name) {
    bytes token = {0x04, 0x01, 0x00, 0x0B, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x12, 0x01, 0x02, 0x02};
    for (int shift = 24; shift >= 0; shift -= 8) {
        token.push_back(static_cast<unsigned char>(name.size() >> shift));
    }
    token.insert(token.end(), name.begin(), name.end());
    return token;
}

TEST(PrincipalOfExportedName, ReadsAKerberosName) {
    std::string principal;
    EXPECT_TRUE(ks::os::principal_of_exported_name(exported("alice@CORP.EXAMPLE"), principal));
    EXPECT_EQ(principal, "alice@CORP.EXAMPLE");
}

TEST(PrincipalOfExportedName, RefusesEveryPrefixAndWhatFollows) {
    const bytes whole = exported("alice@CORP");
    std::string principal = "old";
    for (size_t n = 0; n < whole.size(); n++) {
        EXPECT_FALSE(ks::os::principal_of_exported_name({whole.data(), n}, principal)) << n;
    }
    bytes longer = whole;
    longer.push_back('X');
    EXPECT_FALSE(ks::os::principal_of_exported_name(longer, principal));
    EXPECT_EQ(principal, "old");
}

TEST(PrincipalOfExportedName, RefusesOtherMechanisms) {
    std::string principal;
    for (size_t i = 0; i < 15; i++) {
        bytes other = exported("alice@CORP");
        other[i] ^= 1;
        EXPECT_FALSE(ks::os::principal_of_exported_name(other, principal)) << i;
    }
}

TEST(PrincipalOfExportedName, RefusesNamesThatNoAccountHas) {
    std::string principal;
    for (const std::string &name :
         {std::string(), std::string("host/server@CORP"), std::string("a\\@b@CORP"), std::string("CORP\\alice@CORP"),
          std::string("al\0ice@CORP", 11), std::string("alice\n@CORP"), std::string("alice\x7F@CORP")}) {
        EXPECT_FALSE(ks::os::principal_of_exported_name(exported(name), principal)) << name;
    }
}

class ClientOfPrincipal : public testing::Test {
protected:
    ClientOfPrincipal() { credutl_flush_accounts(); }
    ~ClientOfPrincipal() override { credutl_flush_accounts(); }

    // The domain and the user's SID, or the error number.
    std::string client(const std::string &principal) {
        credutl_client_t *out = nullptr;
        if (const int error = ks::client_of_principal(principal, &out)) {
            EXPECT_EQ(out, nullptr);
            return std::to_string(error);
        }
        char domain[256];
        char text[CREDUTL_SID_STR_SIZE] = "";
        credutl_cracked_t cracked{};
        EXPECT_EQ(credutl_crack_client(out, domain, sizeof domain, &cracked), 0);
        EXPECT_EQ(cracked.form, CREDUTL_FORM_SID);
        credutl_sid_to_str(&cracked.sids->user, text, sizeof text);
        credutl_free_cracked(&cracked);
        credutl_client_free(&out);
        return std::string(domain) + ' ' + text;
    }

    const std::string host = credutl_local_domain();
    temp_dir folder;
    const scoped_env accounts{"ORSIK_ACCOUNTS", folder.write("accounts", "CORP\\alice user S-1-5-21-1-1\n"
                                                                         "CORP.EXAMPLE\\alice user S-1-5-21-1-2\n"
                                                                         "CORP\\bob user S-1-5-21-1-3\n" +
                                                                             host + "\\carol user S-1-5-21-1-4\n")};
};

TEST_F(ClientOfPrincipal, RealmIsTheDomainElseItsFirstLabelIs) {
    EXPECT_EQ(client("alice@CORP.EXAMPLE"), "CORP.EXAMPLE S-1-5-21-1-2");
    EXPECT_EQ(client("alice@corp.example"), "CORP.EXAMPLE S-1-5-21-1-2");
    EXPECT_EQ(client("alice@CORP"), "CORP S-1-5-21-1-1");
    EXPECT_EQ(client("bob@CORP.EXAMPLE"), "CORP S-1-5-21-1-3");
    EXPECT_EQ(client("bob@CORP.OTHER"), "CORP S-1-5-21-1-3");
}

TEST_F(ClientOfPrincipal, UnknownPrincipalIsNeverALocalAccount) {
    const std::string enoent = std::to_string(KS_ENOENT);
    EXPECT_EQ(client("root@CORP.EXAMPLE"), enoent);
    EXPECT_EQ(client("root@" + host), enoent);
    EXPECT_EQ(client("root@" + host + ".EXAMPLE"), enoent);
    EXPECT_EQ(client("carol@" + host), host + " S-1-5-21-1-4") << "the accounts file makes it a domain account";
}

TEST_F(ClientOfPrincipal, TextWithoutBothPartsIsNoPrincipal) {
    for (const char *text : {"", "alice", "@", "@CORP", "alice@", "carol@.", "carol@.CORP"}) {
        EXPECT_EQ(client(text), std::to_string(KS_EACCES)) << text;
    }
}

TEST_F(ClientOfPrincipal, IsNotSoughtElsewhereWhenASourceCannotAnswer) {
    ASSERT_EQ(client("bob@CORP.EXAMPLE"), "CORP S-1-5-21-1-3");
    std::filesystem::remove(folder / "accounts");
    credutl_flush_accounts();
    EXPECT_EQ(client("bob@CORP.EXAMPLE"), std::to_string(KS_EIO));
}

} // namespace
