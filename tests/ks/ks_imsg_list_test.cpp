// Lists of messages that are printed later.
#include "ks/ks_imsg.h"

#include "imsg_test_support.hpp"
#include "ks/ks_errno.h"
#include "support/faults.hpp"
#include "support/sink.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace imsg_test;

struct list_deleter {
    void operator()(imsg_list_t *list) const { imsg_list_free(&list); }
};
using owned_list = std::unique_ptr<imsg_list_t, list_deleter>;

TEST(ImsgList, KeepsFormattedMessagesInOrder) {
    const owned_list list(imsg_list_create());
    ASSERT_TRUE(list);
    EXPECT_EQ(imsg_list_count(list.get()), 0u);
    std::string argument = "first";
    EXPECT_EQ(imsg_list_add_msg(list.get(), &table, two_texts, argument.c_str(), "second"), 0);
    argument = "gone!";
    EXPECT_EQ(imsg_list_add_msg(list.get(), &table, plain_text), 0);
    EXPECT_EQ(imsg_list_count(list.get()), 2u);
    EXPECT_STREQ(imsg_list_text(list.get(), 0), "first and second\n");
    EXPECT_STREQ(imsg_list_text(list.get(), 1), "plain text\n");
    EXPECT_EQ(imsg_list_text(list.get(), 2), nullptr);
}

TEST(ImsgList, TextsLiveAsLongAsTheList) {
    const owned_list list(imsg_list_create());
    ASSERT_EQ(imsg_list_add_msg(list.get(), &table, number, 1), 0);
    const char *first = imsg_list_text(list.get(), 0);
    for (int i = 2; i < 200; i++) ASSERT_EQ(imsg_list_add_msg(list.get(), &table, number, i), 0);
    EXPECT_EQ(imsg_list_text(list.get(), 0), first);
    EXPECT_STREQ(first, "number 1\n");
}

TEST(ImsgList, GuardsInsertedTextsAndKeepsMarks) {
    const owned_list list(imsg_list_create());
    EXPECT_EQ(imsg_list_add_msg(list.get(), &table, bold, "a\n\001"), 0);
    EXPECT_STREQ(imsg_list_text(list.get(), 0), "\001\0011BBOLD\001\0010B: a^J^A\n");
}

TEST(ImsgList, PrintsEachMessageWithItsTableAndIndex) {
    const owned_list list(imsg_list_create());
    imsg_list_add_msg(list.get(), &table, two_texts, "50%s", "b\n");
    imsg_list_add_msg(list.get(), &table, bold, "x");
    recording_sink sink;
    imsg_list_print(list.get(), IMSG_ERROR);
    const std::vector<recorded_message> expected = {
        {IMSG_ERROR, "test_module", &table, two_texts, "50%s and b^J\n"},
        {IMSG_ERROR, "test_module", &table, bold, "BOLD: x\n"},
    };
    EXPECT_EQ(sink.take(), expected);
    imsg_list_print(list.get(), IMSG_PLAIN);
    EXPECT_EQ(sink.count(), 2u);
    EXPECT_EQ(imsg_list_count(list.get()), 2u);
}

TEST(ImsgList, PrintsWithThePrefixOfTheSeverity) {
    const caught printed = in_child([] {
        const owned_list list(imsg_list_create());
        imsg_list_add_msg(list.get(), &table, number, 1);
        imsg_list_add_msg(list.get(), &table, bold, "x");
        imsg_list_print(list.get(), IMSG_WARNING);
        imsg_list_print(list.get(), IMSG_PLAIN);
    });
    EXPECT_EQ(printed.err, "test_module: Warning: number 1\ntest_module: Warning: BOLD: x\n");
    EXPECT_EQ(printed.out, "number 1\nBOLD: x\n");
}

TEST(ImsgList, RefusesWhatIsNotThere) {
    const owned_list list(imsg_list_create());
    const imsg_table_t no_texts = {"c", "m", 1, 3, nullptr, numbers};
    for (const auto &[where, what, index] :
         std::vector<std::tuple<imsg_list_t *, const imsg_table_t *, uint32_t>>{{nullptr, &table, 0},
                                                                                {list.get(), nullptr, 0},
                                                                                {list.get(), &table, table.count},
                                                                                {list.get(), &table, IMSG_LITERAL},
                                                                                {list.get(), &no_texts, 0}}) {
        ks_errno = 0;
        EXPECT_EQ(imsg_list_add_msg(where, what, index), KS_EINVAL);
        EXPECT_EQ(ks_errno, KS_EINVAL);
    }
    EXPECT_EQ(imsg_list_count(list.get()), 0u);
}

TEST(ImsgList, NullIsAnEmptyList) {
    EXPECT_EQ(imsg_list_count(nullptr), 0u);
    EXPECT_EQ(imsg_list_text(nullptr, 0), nullptr);
    imsg_list_print(nullptr, IMSG_ERROR);
    imsg_list_free(nullptr);
    imsg_list_t *none = nullptr;
    imsg_list_free(&none);
    EXPECT_EQ(none, nullptr);
}

TEST(ImsgList, FreeingForgetsTheList) {
    imsg_list_t *list = imsg_list_create();
    imsg_list_add_msg(list, &table, number, 1);
    imsg_list_free(&list);
    EXPECT_EQ(list, nullptr);
}

TEST(ImsgList, WithoutMemoryItIsAsItWas) {
    imsg_text(&table, 0);
    const int refused = faults::each_allocation([](int, bool) {
        ks_errno = 0;
        imsg_list_t *list = imsg_list_create();
        EXPECT_EQ(list == nullptr, ks_errno == KS_ENOMEM);
        if (!list) return;
        size_t expected = 0;
        for (int i = 0; i < 3; i++) {
            const int error = imsg_list_add_msg(list, &table, number, i);
            if (error == 0) expected++;
            EXPECT_TRUE(error == 0 || (error == KS_ENOMEM && ks_errno == KS_ENOMEM));
            EXPECT_EQ(imsg_list_count(list), expected);
            EXPECT_EQ(imsg_list_text(list, expected), nullptr);
        }
        imsg_list_free(&list);
    });
    EXPECT_GE(refused, 5);
}

} // namespace
