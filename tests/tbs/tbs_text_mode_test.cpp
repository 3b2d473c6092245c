#include "tbs/tbs_text_mode.h"

#include <gtest/gtest.h>
#include <string>

namespace {

struct spelling {
    const char *text;
    tbs_text_mode_t mode;
};

constexpr spelling spellings[] = {
    {"unix", TBS_TEXT_MODE_UNIX},   {"normal", TBS_TEXT_MODE_UNIX},      {"transparent", TBS_TEXT_MODE_UNIX},
    {"msdos", TBS_TEXT_MODE_MSDOS}, {"pc", TBS_TEXT_MODE_MSDOS},         {"insert_cr", TBS_TEXT_MODE_MSDOS},
    {"mac", TBS_TEXT_MODE_MAC},     {"cvt_nl_to_cr", TBS_TEXT_MODE_MAC}, {"strip_cr", TBS_TEXT_MODE_STRIP_CR},
};

TEST(TbsTextMode, HasTheValuesOfTheWire) {
    EXPECT_EQ(TBS_TEXT_MODE_UNIX, 0);
    EXPECT_EQ(TBS_TEXT_MODE_MSDOS, 1);
    EXPECT_EQ(TBS_TEXT_MODE_MAC, 2);
    EXPECT_EQ(TBS_TEXT_MODE_STRIP_CR, 3);
}

TEST(TbsStrToTextMode, KnowsEverySpelling) {
    for (const spelling &known : spellings) {
        SCOPED_TRACE(known.text);
        tbs_text_mode_t mode = known.mode == TBS_TEXT_MODE_UNIX ? TBS_TEXT_MODE_MAC : TBS_TEXT_MODE_UNIX;
        EXPECT_EQ(tbs_str_to_text_mode(known.text, &mode), 0);
        EXPECT_EQ(mode, known.mode);
    }
}

TEST(TbsStrToTextMode, RefusesWhatIsNotSpelledExactly) {
    for (const char *text :
         {"", " unix", "unix ", "Unix", "UNIX", "MSDOS", "uni", "unixx", "stripcr", "strip_cr\n", "0"}) {
        SCOPED_TRACE(text);
        tbs_text_mode_t mode = TBS_TEXT_MODE_MAC;
        EXPECT_EQ(tbs_str_to_text_mode(text, &mode), TBS_ST_ERROR);
        EXPECT_EQ(mode, TBS_TEXT_MODE_MAC);
    }
}

TEST(TbsStrToTextMode, RefusesNull) {
    tbs_text_mode_t mode = TBS_TEXT_MODE_MAC;
    EXPECT_EQ(tbs_str_to_text_mode(nullptr, &mode), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_str_to_text_mode("unix", nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(mode, TBS_TEXT_MODE_MAC);
}

TEST(TbsTextModeToStr, GivesTheCanonicalNames) {
    EXPECT_STREQ(tbs_text_mode_to_str(TBS_TEXT_MODE_UNIX), "unix");
    EXPECT_STREQ(tbs_text_mode_to_str(TBS_TEXT_MODE_MSDOS), "msdos");
    EXPECT_STREQ(tbs_text_mode_to_str(TBS_TEXT_MODE_MAC), "mac");
    EXPECT_STREQ(tbs_text_mode_to_str(TBS_TEXT_MODE_STRIP_CR), "strip_cr");
}

TEST(TbsTextModeToStr, GivesNamesThatParseBack) {
    for (int value = 0; value < 4; value++) {
        tbs_text_mode_t mode{};
        EXPECT_EQ(tbs_str_to_text_mode(tbs_text_mode_to_str(static_cast<tbs_text_mode_t>(value)), &mode), 0);
        EXPECT_EQ(mode, value);
    }
}

TEST(TbsTextModeToStrDeathTest, EndsTheProcessForOtherValues) {
    const std::string report = R"(text_mode < sizeof\(names\) / sizeof\(char \*\) \(lib/tbs/tbs_text_mode:77\))";
    for (const int value : {4, 1000, -1}) {
        SCOPED_TRACE(value);
        EXPECT_DEATH(tbs_text_mode_to_str(static_cast<tbs_text_mode_t>(value)), report);
    }
}

} // namespace
