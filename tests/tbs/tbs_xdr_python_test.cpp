// Python's XDR module as a witness of the bytes.

#include "ks/ks_stg.h"
#include "support/xdr_streams.hpp"
#include "tbs/tbs_acl.h"
#include "tbs/tbs_xdr.h"

#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/wait.h>

namespace {

constexpr int no_module = 77; // exit status of the script when Python has no XDR module

class PythonWitness : public testing::Test {
protected:
    static void SetUpTestSuite() {
        FILE *lines = popen("python3 '" ORSIK_SOURCE_DIR "/tests/tbs/xdr_witness.py'", "r");
        ASSERT_TRUE(lines);
        std::array<char, 64> name;
        std::array<char, 4096> hex;
        while (std::fscanf(lines, "%63s %4095s", name.data(), hex.data()) == 2) samples[name.data()] = hex.data();
        status = pclose(lines);
    }
    void SetUp() override {
        if (WIFEXITED(status) && WEXITSTATUS(status) == no_module) GTEST_SKIP() << "this Python has no XDR module";
        ASSERT_EQ(status, 0);
    }

    template <class Routine> static std::string sent(Routine routine, void *object) {
        const auto all = encode(stream_kind::storage, reinterpret_cast<xdrproc_t>(routine), object);
        return all ? hex(all->data(), all->size()) : "failed";
    }
    static std::string hex(const void *first, size_t size) {
        std::string text;
        for (size_t i = 0; i < size; i++) {
            const unsigned byte = static_cast<const uint8_t *>(first)[i];
            text += "0123456789abcdef"[byte >> 4];
            text += "0123456789abcdef"[byte & 15];
        }
        return text;
    }

    static inline std::map<std::string, std::string> samples;
    static inline int status = -1;
};

TEST_F(PythonWitness, AgreesOnAnIdentifier) {
    tbs_uuid_t id{};
    ASSERT_EQ(tbs_str_to_uuid("12345678.9abc1def.8a12.00:11:22:33:44:55", &id), 0);
    EXPECT_EQ(sent(xdr_tbs_uuid_t, &id), samples["identity"]);
}

TEST_F(PythonWitness, AgreesOnAName) {
    tbs_name_t name = "main.c";
    EXPECT_EQ(sent(xdr_tbs_name_t, name), samples["name"]);
}

TEST_F(PythonWitness, AgreesOnNumbers) {
    int64_t time = -1, offset = -2;
    uint64_t size = 4294967295;
    EXPECT_EQ(sent(xdr_time_t, &time) + sent(xdr_size_t, &size) + sent(xdr_ks_off64_t, &offset), samples["times"]);
}

TEST_F(PythonWitness, AgreesOnAClassicAcl) {
    tbs_acl_h_t acl = nullptr;
    char domain[] = "CORP", name[] = "fred";
    ASSERT_EQ(tbs_acl_create(&acl), 0);
    EXPECT_EQ(tbs_acl_set_entry(acl, {TBS_ACL_ID_USER, domain, name}, 0x11), 0);
    EXPECT_EQ(tbs_acl_set_entry(acl, {TBS_ACL_ID_EVERYONE, nullptr, nullptr}, 0x22), 0);
    uint32_t length = 0;
    void *buffer = nullptr;
    EXPECT_EQ(tbs_acl_encode(acl, &length, &buffer), 0);
    EXPECT_EQ(hex(buffer, length), samples["classic_acl"]);
    stg_free(buffer);
    tbs_acl_free(&acl);
}

TEST_F(PythonWitness, AgreesOnASidAcl) {
    tbs_sid_acl_h_t acl = nullptr;
    credutl_sid_t known{};
    char domain[] = "CORP", role[] = "admin";
    ASSERT_EQ(credutl_str_to_sid("S-1-5-32-544", &known), 0);
    ASSERT_EQ(tbs_sid_acl_create(&acl), 0);
    EXPECT_EQ(tbs_sid_acl_set_entry(acl, {TBS_ACL_ID_USER, nullptr, nullptr, known}, 0x11), 0);
    EXPECT_EQ(tbs_sid_acl_set_entry(acl, {TBS_ACL_ID_DOMAIN, domain, nullptr, CREDUTL_SID_NOBODY}, 0x22), 0);
    EXPECT_EQ(tbs_sid_acl_set_entry(acl, {TBS_ACL_ID_ROLE, nullptr, role, CREDUTL_SID_NOBODY}, 0x44), 0);
    uint32_t length = 0;
    void *buffer = nullptr;
    EXPECT_EQ(tbs_sid_acl_encode(acl, &length, &buffer), 0);
    EXPECT_EQ(hex(buffer, length), samples["sid_acl"]);
    stg_free(buffer);
    tbs_sid_acl_free(&acl);
}

} // namespace
