#include "tbs/tbs_product.h"

#include "ks/ks_errno.h"
#include "nt/nt_regy.h"
#include "nt/nt_sys.h"
#include "support/env.hpp"
#include "support/new_process.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

bool version_is_told = true;

} // namespace

extern "C" [[gnu::visibility("default")]] int nt_get_version(nt_version_t *version_out) noexcept {
    static const auto next = reinterpret_cast<decltype(&nt_get_version)>(dlsym(RTLD_NEXT, "nt_get_version"));
    return version_is_told ? next(version_out) : KS_EIO;
}

namespace {

using directory_function = char *(*)(char *, const char *);

struct place {
    const char *name;
    directory_function function;
    const char *directory; // below the base
};

const std::vector<place> installed = {
    {"script", tbs_product_script_dir, "bin"},           {"tool", tbs_product_tool_dir, "bin"},
    {"server", tbs_product_server_dir, "bin"},           {"etc", tbs_product_etc_dir, "etc"},
    {"utils", tbs_product_utils_dir, "etc\\utils"},      {"sql", tbs_product_sql_dir, "etc\\sql"},
    {"library", tbs_product_library_dir, "lib"},         {"config", tbs_product_config_dir, "config"},
    {"common", tbs_product_common_dir, "common"},        {"ui config", tbs_product_ui_config_dir, "config\\ui"},
    {"ui uid", tbs_product_ui_uid_dir, "lib\\X11/uid"},  {"mgrs", tbs_product_mgrs_dir, "lib\\mgrs"},
    {"quoted tool", tbs_product_tool_dir_quoted, "bin"}, {"quoted server", tbs_product_server_dir_quoted, "bin"},
};
const std::vector<place> of_host = {
    {"log", tbs_product_log_dir, "log"},
    {"cache", tbs_product_cache_dir, "cache"},
    {"host config", tbs_product_host_config_dir, "config"},
    {"rgy", tbs_product_rgy_dir, "rgy"},
};

class Product : public testing::Test {
protected:
    // Fills a buffer in which nothing but the text is touched.
    static std::string call(directory_function function, const char *leaf) {
        std::string buffer(TBS_PATH_SIZE, '#');
        EXPECT_EQ(function(buffer.data(), leaf), buffer.data());
        buffer.resize(buffer.find('\0'));
        return buffer;
    }

    const scoped_env product{"ORSIK_PRODUCT_DIR", "/opt/tessivane"}, host{"ORSIK_HOSTDATA_DIR", "/var/data"};
};

TEST_F(Product, DirectoriesLieBelowTheirBase) {
    for (const auto &[base, places] : {std::pair{"/opt/tessivane\\", installed}, {"/var/data\\", of_host}}) {
        for (const place &one : places) {
            const std::string directory = std::string(base) + one.directory;
            EXPECT_EQ(call(one.function, nullptr), directory) << one.name;
            EXPECT_EQ(call(one.function, "leaf"), directory + "\\leaf") << one.name;
            EXPECT_EQ(call(one.function, "a\\b/c"), directory + "\\a\\b/c") << one.name;
            EXPECT_EQ(call(one.function, ""), directory + "\\") << one.name;
        }
    }
}

TEST_F(Product, BasesAreThemselvesWithAnEmptyLeaf) {
    const std::pair<directory_function, std::string> bases[] = {{tbs_product_dir, "/opt/tessivane"},
                                                                {tbs_product_host_priv_dir, "/var/data"}};
    for (const auto &[function, base] : bases) {
        EXPECT_EQ(call(function, nullptr), base);
        EXPECT_EQ(call(function, ""), base);
        EXPECT_EQ(call(function, "x"), base + "\\x");
    }
}

TEST_F(Product, LogfileHasNoLeaf) {
    char buffer[TBS_PATH_SIZE];
    EXPECT_EQ(tbs_product_logfile_pn(buffer), buffer);
    EXPECT_STREQ(buffer, "/var/data\\log\\error_log");
}

TEST_F(Product, LongPathsAreCutWithinTheBuffer) {
    for (const place &one : installed)
        EXPECT_EQ(call(one.function, std::string(5000, 'x').c_str()).size(), TBS_PATH_SIZE - 1u);
}

TEST_F(Product, ANullBufferGivesNull) {
    for (const auto &places : {installed, of_host})
        for (const place &one : places) EXPECT_EQ(one.function(nullptr, "x"), nullptr) << one.name;
    EXPECT_EQ(tbs_product_dir(nullptr, "x"), nullptr);
    EXPECT_EQ(tbs_product_host_priv_dir(nullptr, nullptr), nullptr);
    EXPECT_EQ(tbs_product_logfile_pn(nullptr), nullptr);
}

TEST_F(Product, QuotesPathsThatAreNotOneWord) {
    EXPECT_EQ(call(tbs_product_tool_dir_quoted, "a-b_c.d"), "/opt/tessivane\\bin\\a-b_c.d");
    EXPECT_EQ(call(tbs_product_tool_dir_quoted, "my tool"), "\"/opt/tessivane\\bin\\my tool\"");
    EXPECT_EQ(call(tbs_product_server_dir_quoted, "a&b"), "\"/opt/tessivane\\bin\\a&b\"");
    const scoped_env blanks("ORSIK_PRODUCT_DIR", "/Program Files/x");
    EXPECT_EQ(call(tbs_product_tool_dir_quoted, nullptr), "\"/Program Files/x\\bin\"");
    EXPECT_EQ(call(tbs_product_tool_dir, nullptr), "/Program Files/x\\bin");
    const std::string cut = call(tbs_product_server_dir_quoted, std::string(5000, ' ').c_str());
    EXPECT_EQ(cut.size(), TBS_PATH_SIZE - 1u);
    EXPECT_EQ(cut.back(), '"');
}

// ---- name and version

TEST(ProductName, AndVersionAreConstant) {
    EXPECT_STREQ(tbs_product_name(), "Tessivane");
    EXPECT_STREQ(tbs_product_version(), "11.0.0.1");
    EXPECT_EQ(tbs_product_name(), tbs_product_name());
}

TEST(ProductName, IsCopiedForOthersAsFarAsItFits) {
    char buffer[32] = "";
    EXPECT_EQ(tbs_product_name_for_vb(buffer, sizeof buffer), 9u);
    EXPECT_STREQ(buffer, "Tessivane");
    EXPECT_EQ(tbs_product_name_for_vb(buffer, 5), 4u);
    EXPECT_STREQ(buffer, "Tess");
    EXPECT_EQ(tbs_product_version_for_vb(buffer, sizeof buffer), 8u);
    EXPECT_STREQ(buffer, "11.0.0.1");
    EXPECT_EQ(tbs_product_version_for_vb(buffer, 1), 0u);
    EXPECT_STREQ(buffer, "");
    buffer[0] = '#';
    EXPECT_EQ(tbs_product_name_for_vb(buffer, 0), 0u);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(tbs_product_name_for_vb(nullptr, 9), 0u);
    EXPECT_EQ(tbs_product_version_for_vb(nullptr, 9), 0u);
}

TEST(PrintVerid, NamesLibraryVersionTimeAndWordSize) {
    recording_sink sink;
    liborsiktbs_print_verid();
    const auto messages = sink.take();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].severity, IMSG_PLAIN);
    const std::string name = "liborsiktbs", padding(33 - name.size(), ' ');
    EXPECT_THAT(messages[0].text, testing::StartsWith(name + padding + " 11.0.0.1 ("));
    EXPECT_THAT(messages[0].text,
                testing::MatchesRegex(".* \\([A-Z][a-z]{2} [ 0-9][0-9] [0-9]{4} [0-9:]{8}\\) 64-bit\n"));
}

// ---- switches

TEST(UseNative, IsFalseForCteOnly) {
    {
        const scoped_env unset("TESVA_USE_GUI", nullptr);
        EXPECT_EQ(tbs_product_use_native(), 1);
    }
    for (const char *value : {"", "NATIVE", "native", "Native", "CTE2", " CTE", "no"}) {
        const scoped_env set("TESVA_USE_GUI", value);
        EXPECT_EQ(tbs_product_use_native(), 1) << value;
    }
    for (const char *value : {"CTE", "cte", "Cte"}) {
        const scoped_env set("TESVA_USE_GUI", value);
        EXPECT_EQ(tbs_product_use_native(), 0) << value;
    }
    const scoped_env too_long("TESVA_USE_GUI", std::string(300, 'C'));
    EXPECT_EQ(tbs_product_use_native(), 1);
}

TEST(ViewInterop, IsParameter26) {
    const temp_dir dir;
    const scoped_env host("ORSIK_HOSTDATA_DIR", dir.str());
    EXPECT_EQ(tbs_product_view_interop(), 0);
    EXPECT_EQ(tbs_product_set_view_interop(7), 0);
    EXPECT_EQ(tbs_product_view_interop(), 1);
    uint32_t value = 0;
    ASSERT_EQ(ntregy_get_param(26, &value, sizeof value), 0);
    EXPECT_EQ(value, 1u);
    EXPECT_EQ(tbs_product_set_view_interop(0), 0);
    EXPECT_EQ(tbs_product_view_interop(), 0);
    ASSERT_EQ(ntregy_set_param(26, NTREGY_SZ, "0", 2), 0);
    EXPECT_EQ(tbs_product_view_interop(), 0);
    value = 5;
    ASSERT_EQ(ntregy_set_param(26, NTREGY_DWORD, &value, sizeof value), 0);
    EXPECT_EQ(tbs_product_view_interop(), 1);
}

// ---- test fixes

class TestFixes : public testing::Test {
protected:
    std::vector<std::string> listed() {
        recording_sink sink;
        EXPECT_EQ(tbs_product_list_hotfixes(), 0);
        std::vector<std::string> lines;
        for (const recorded_message &message : sink.take()) {
            EXPECT_EQ(message.severity, IMSG_PLAIN);
            lines.push_back(message.text);
        }
        return lines;
    }

    const temp_dir dir;
    const scoped_env product{"ORSIK_PRODUCT_DIR", dir.str()};
};

TEST_F(TestFixes, AreListedUnderOneHeading) {
    dir.write("doc/testfix/fix-1", "");
    dir.write("doc/testfix/fix-2", "");
    const std::vector<std::string> lines = listed();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "Testfixes detected:\n");
    EXPECT_EQ(std::set<std::string>(lines.begin() + 1, lines.end()),
              (std::set<std::string>{"\tfix-1\n", "\tfix-2\n"}));
}

TEST_F(TestFixes, AreNotMentionedWhenThereAreNone) {
    EXPECT_THAT(listed(), testing::IsEmpty());
    std::filesystem::create_directories(dir.path() / "doc/testfix");
    EXPECT_THAT(listed(), testing::IsEmpty());
}

// ---- platform: learnt once in each process, so every case is one

TEST(PlatformInfo, HandsOutTheSameTextsEveryTime) {
    in_new_process([] {
        const char *name = nullptr, *version = nullptr, *processor = nullptr;
        ASSERT_EQ(tbs_platform_info(&name, &version, &processor), 1);
        const char *name2 = nullptr, *version2 = nullptr, *processor2 = nullptr;
        ASSERT_EQ(tbs_platform_info(&name2, &version2, &processor2), 1);
        EXPECT_EQ(name, name2);
        EXPECT_EQ(version, version2);
        EXPECT_EQ(processor, processor2);
        EXPECT_THAT(version, testing::MatchesRegex("[0-9]+\\.[0-9]+ \\(build [0-9]+\\) .*"));
    });
}

TEST(PlatformInfo, StandsNulls) {
    in_new_process([] {
        EXPECT_EQ(tbs_platform_info(nullptr, nullptr, nullptr), 1);
        const char *processor = nullptr;
        EXPECT_EQ(tbs_platform_info(nullptr, nullptr, &processor), 1);
        EXPECT_NE(processor, nullptr);
    });
}

TEST(PlatformInfo, IsNotKnownUntilTheSystemTellsItsVersion) {
    in_new_process([] {
        const char *const none = "(untouched)", *name = none, *version = none, *processor = none;
        version_is_told = false;
        EXPECT_EQ(tbs_platform_info(&name, &version, &processor), 0);
        for (const char *one : {name, version, processor}) EXPECT_EQ(one, none);
        version_is_told = true;
        EXPECT_EQ(tbs_platform_info(&name, &version, &processor), 1);
        for (const char *one : {name, version, processor}) EXPECT_NE(one, none);
    });
}

TEST(PlatformInfo, IsTheSameForThreadsThatAskTogether) {
    in_new_process([] {
        const char *seen[8] = {};
        std::vector<std::thread> threads;
        for (const char *&one : seen) threads.emplace_back([&one] { tbs_platform_info(nullptr, &one, nullptr); });
        for (std::thread &one : threads) one.join();
        for (const char *one : seen) EXPECT_EQ(one, seen[0]);
        EXPECT_NE(seen[0], nullptr);
    });
}

} // namespace
