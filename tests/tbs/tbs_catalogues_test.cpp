// The catalogues that come with the library: the English one is its tables, and every translation can be used.
#include "tbs/tbs_msg.h"

#include <gtest/gtest.h>

#include <nl_types.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

const std::vector<const imsg_table_t *> tables = {tbs_tbs_msg_table_adr(), tbs_acl_tbs_msg_table_adr(),
                                                  tbs_cmsg_tbs_msg_table_adr(), tbs_notify_tbs_msg_table_adr()};

class catalogue {
public:
    explicit catalogue(const std::string &locale)
        : path_(ORSIK_BINARY_DIR "/locale/" + locale + "/LC_MESSAGES/tbs_lib"), opened_(catopen(path_.c_str(), 0)) {}
    ~catalogue() {
        if (is_open()) catclose(opened_);
    }
    catalogue(const catalogue &) = delete;
    catalogue &operator=(const catalogue &) = delete;

    bool is_open() const { return opened_ != reinterpret_cast<nl_catd>(-1); }
    const char *text(const imsg_table_t *table, size_t index) const {
        return catgets(opened_, table->module_number, table->numbers[index], nullptr);
    }

private:
    std::string path_;
    nl_catd opened_;
};

TEST(Catalogues, TheEnglishOneHoldsTheTables) {
    const catalogue english("en");
    ASSERT_TRUE(english.is_open());
    for (const imsg_table_t *table : tables) {
        for (size_t i = 0; i < table->count; i++) {
            const char *text = english.text(table, i);
            if (std::string_view(table->texts[i]) == "(reserved)\n") {
                EXPECT_EQ(text, nullptr) << table->module << ' ' << i;
            } else {
                EXPECT_STREQ(text, table->texts[i]);
            }
        }
    }
}

// The layer refuses a translation that does not fit: one that it does not give is a mistake in the source.
TEST(Catalogues, EveryGermanTextIsUsed) {
    const catalogue german("de_DE");
    ASSERT_TRUE(german.is_open());
    setenv("NLSPATH", ORSIK_BINARY_DIR "/locale/de_DE/LC_MESSAGES/%N", 1);
    imsg_reload_catalogues();
    size_t translated = 0;
    for (const imsg_table_t *table : tables) {
        for (size_t i = 0; i < table->count; i++) {
            const char *text = german.text(table, i);
            if (!text) continue;
            translated++;
            EXPECT_STREQ(imsg_text(table, static_cast<uint32_t>(i)), text);
            EXPECT_STRNE(text, table->texts[i]);
            EXPECT_EQ(std::string_view(text).ends_with('\n'), std::string_view(table->texts[i]).ends_with('\n'))
                << text;
        }
    }
    EXPECT_GT(translated, 60u);
    unsetenv("NLSPATH");
    imsg_reload_catalogues();
}

} // namespace
