// Translations from message catalogues: which are used, which are refused, and what a reload does.
#include "ks/ks_imsg.h"

#include "imsg_test_support.hpp"
#include "support/env.hpp"
#include "support/faults.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <set>
#include <string>

namespace {

using namespace imsg_test;

constexpr const char usual_entries[] = R"(
1 "einfacher Text\n"
3 "Nummer %d\n"
4 "%s und %s\n"
20 "\001\001\061BFETT\001\001\060B: %s\n"
)";

// Catalogues of the table's name, made with gencat, each in a directory of its own.
class ImsgCatalogue : public testing::Test {
protected:
    // Gives a value for NLSPATH.
    std::string make(const std::string &name, const std::string &entries, int set = table.module_number) {
        const std::string source = dir.write(name + "/source.msg", "$ codeset=UTF-8\n$quote \"\n$set " +
                                                                       std::to_string(set) + "\n" + entries);
        const std::string target = dir / (name + "/" + table.catalogue);
        EXPECT_EQ(std::system(("gencat '" + target + "' '" + source + "'").c_str()), 0);
        return dir / (name + "/%N");
    }

    std::string text(uint32_t index) { return imsg_text(&table, index); }

    temp_dir dir;
};

TEST_F(ImsgCatalogue, IsUsedFromTheFirstMessageOn) {
    const scoped_env path("NLSPATH", make("usual", usual_entries));
    in_child([&] {
        char buffer[100];
        EXPECT_EQ(imsg_sprintf(buffer, &table, number, 5), 9u);
        EXPECT_STREQ(buffer, "Nummer 5\n");
        EXPECT_EQ(imsg_sprintf(buffer, &table, plain_text), 15u);
        EXPECT_STREQ(buffer, "einfacher Text\n");
        EXPECT_EQ(text(no_line_end), "no line end"); // not in it
        recording_sink sink;
        imsg_print(IMSG_ERROR, &table, two_texts, "a", "b");
        imsg_print(IMSG_ERROR, &table, bold, "x");
        EXPECT_EQ(sink.text(), "a und b\nFETT: x\n");
        imsg_list_t *list = imsg_list_create();
        EXPECT_EQ(imsg_list_add_msg(list, &table, number, 6), 0);
        EXPECT_STREQ(imsg_list_text(list, 0), "Nummer 6\n");
        imsg_list_free(&list);
    });
}

TEST_F(ImsgCatalogue, WithoutOneTheBuiltInTextsStand) {
    for (const std::string &value : {dir / "none/%N", std::string()}) {
        const scoped_env path("NLSPATH", value);
        in_child([&] {
            EXPECT_EQ(imsg_text(&table, number), texts[number]);
            EXPECT_EQ(imsg_text(&table, plain_text), texts[plain_text]);
        });
    }
    dir.write(std::string("broken/") + table.catalogue, "this is no catalogue");
    const scoped_env path("NLSPATH", dir / "broken/%N");
    in_child([&] { EXPECT_EQ(imsg_text(&table, number), texts[number]); });
}

TEST_F(ImsgCatalogue, ASetOfAnotherModuleIsNotUsed) {
    const scoped_env path("NLSPATH", make("other", usual_entries, table.module_number + 1));
    in_child([&] { EXPECT_EQ(imsg_text(&table, number), texts[number]); });
}

TEST_F(ImsgCatalogue, ATableWithoutCatalogueOrNumbersIsNotTranslated) {
    const scoped_env path("NLSPATH", make("usual", usual_entries));
    in_child([] {
        imsg_table_t nameless = table, numberless = table;
        nameless.catalogue = nullptr;
        numberless.numbers = nullptr;
        EXPECT_EQ(imsg_text(&nameless, number), texts[number]);
        EXPECT_EQ(imsg_text(&numberless, number), texts[number]);
    });
}

TEST_F(ImsgCatalogue, ATextWithOtherConversionsIsNotUsed) {
    struct text_case {
        uint32_t index;
        const char *translation;
        bool used;
    };
    int n = 0;
    for (const text_case &c : {text_case{number, "Nr. %d", true},
                               {number, "Nr. %5d", true},
                               {number, "%d %%", true},
                               {number, "Nr.", false},
                               {number, "Nr. %s", false},
                               {number, "Nr. %ld", false},
                               {number, "%d %d", false},
                               {number, "%d %n", false},
                               {number, "%1$d", false},
                               {number, "%d %", false},
                               {number, "%*d", false},
                               {plain_text, "100%", false},
                               {plain_text, "%s", false},
                               {plain_text, "100%%", true},
                               {two_texts, "%2$s, %1$s", false},
                               {two_texts, "%.5s %s", false},
                               {indented, "%*s|%s", true},
                               {indented, "%s|%s", false},
                               {indented, "%*s", false},
                               {bold, "%s", true},
                               {bold, "\\001\\001\\061B%s\\001\\001\\060B", true},
                               {bold, "\\001\\001\\061B%s", false},
                               {bold, "%s\\001\\001\\060B", false},
                               {bold, "\\001%s", false},
                               {number, "", false}}) {
        const std::string entry = std::to_string(numbers[c.index]) + " \"" + c.translation + "\"\n";
        const scoped_env path("NLSPATH", make("case" + std::to_string(n++), entry));
        in_child([&] { EXPECT_EQ(imsg_text(&table, c.index) != texts[c.index], c.used) << c.translation; });
    }
}

TEST_F(ImsgCatalogue, IsOpenedAgainOnReloading) {
    const std::string first = make("first", usual_entries), second = make("second", "3 \"No %d\\n\"\n");
    const scoped_env path("NLSPATH", first);
    in_child([&] {
        const char *german = imsg_text(&table, number);
        EXPECT_STREQ(german, "Nummer %d\n");
        setenv("NLSPATH", second.c_str(), 1);
        EXPECT_EQ(imsg_text(&table, number), german);
        imsg_reload_catalogues();
        EXPECT_STREQ(imsg_text(&table, number), "No %d\n");
        EXPECT_EQ(imsg_text(&table, plain_text), texts[plain_text]);
        unsetenv("NLSPATH");
        imsg_reload_catalogues();
        EXPECT_EQ(imsg_text(&table, number), texts[number]);
        EXPECT_STREQ(german, "Nummer %d\n");
    });
}

TEST_F(ImsgCatalogue, ReloadingAgainAndAgainKeepsNoTextTwice) {
    const std::string first = make("first", usual_entries), second = make("second", "3 \"No %d\\n\"\n");
    in_child([&] {
        std::set<const char *> given;
        for (int i = 0; i < 20; i++) {
            setenv("NLSPATH", (i % 2 ? first : second).c_str(), 1);
            imsg_reload_catalogues();
            given.insert(imsg_text(&table, number));
        }
        EXPECT_EQ(given.size(), 2u);
    });
}

TEST_F(ImsgCatalogue, WithoutMemoryTheBuiltInTextStandsForNow) {
    const scoped_env path("NLSPATH", make("usual", usual_entries));
    in_child([] {
        const int refused = faults::each_allocation([](int, bool) {
            imsg_reload_catalogues();
            const char *found = imsg_text(&table, number);
            EXPECT_TRUE(found == texts[number] || std::string_view(found) == "Nummer %d\n");
        });
        EXPECT_EQ(refused, 4);
        EXPECT_STREQ(imsg_text(&table, number), "Nummer %d\n");
        {
            const faults::refuse all(1, true);
            imsg_reload_catalogues();
            EXPECT_EQ(imsg_text(&table, number), texts[number]);
        }
        EXPECT_STREQ(imsg_text(&table, number), "Nummer %d\n");
    });
}

TEST_F(ImsgCatalogue, FollowsTheLocale) {
    make("de_DE", usual_entries);
    const scoped_env path("NLSPATH", dir / "%l_%t/%N");
    in_child([&] {
        EXPECT_EQ(imsg_text(&table, number), texts[number]);
        if (!std::setlocale(LC_MESSAGES, "de_DE.UTF-8")) return; // the host does not have it
        EXPECT_EQ(imsg_text(&table, number), texts[number]);
        imsg_reload_catalogues();
        EXPECT_STREQ(imsg_text(&table, number), "Nummer %d\n");
    });
}

TEST_F(ImsgCatalogue, OpeningTouchesNoErrorNumber) {
    const scoped_env path("NLSPATH", dir / "none/%N");
    in_child([] {
        errno = EDOM;
        imsg_text(&table, number);
        EXPECT_EQ(errno, EDOM);
    });
}

} // namespace
