// The type files that come with the product: every definition is reached, by the example that is kept for it.
#include "lib/tbs/typing/program.hpp"
#include "lib/tbs/typing/reader.hpp"

#include "support/temp_dir.hpp"

#include <clocale>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using namespace tbs::typing;

namespace {

constexpr char rules_path[] = ORSIK_SOURCE_DIR "/data/magic/default.magic";
constexpr char examples_path[] = ORSIK_SOURCE_DIR "/data/magic/default.examples";
constexpr size_t fewest_definitions = 150;

std::string content_of(const char *path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// What reading complained of, a line each.
class complaints final : public listener {
public:
    void bad_syntax(const char *what, const char *, uint32_t line) noexcept override { note(what, line); }
    void beyond_content(const char *, uint32_t line) noexcept override { note("beyond content", line); }
    std::string text;

private:
    void note(const char *what, uint32_t line) { text += std::to_string(line) + ": " + what + '\n'; }
};

std::string names_of(const definition &one) {
    std::string text;
    for (const char *const *name = one.names; *name; name++) text += (text.empty() ? "" : " ") + std::string(*name);
    return text;
}

// How a definition is called in what a failed test says.
std::string described(const definition *one) {
    return one ? names_of(*one) + " of line " + std::to_string(one->line) : "no definition";
}

struct example {
    std::string name, file, content;
    bool is_directory;
};

std::string decoded(const std::string &digits) {
    std::string bytes;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

std::vector<example> examples() {
    std::vector<example> all;
    std::istringstream lines(content_of(examples_path));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('#')) continue;
        const size_t first = line.find('\t'), second = line.find('\t', first + 1);
        if (first == std::string::npos || second == std::string::npos) {
            ADD_FAILURE() << "fields are missing: " << line;
            continue;
        }
        const std::string digits = line.substr(second + 1);
        EXPECT_TRUE(digits.size() % 2 == 0 && digits.find_first_not_of("0123456789abcdef") == std::string::npos)
            << line;
        std::string file = line.substr(first + 1, second - first - 1);
        const bool is_directory = file.ends_with('/');
        if (is_directory) file.pop_back();
        all.push_back({line.substr(0, first), file, decoded(digits), is_directory});
    }
    return all;
}

class DefaultRules : public testing::TestWithParam<const char *> {
protected:
    DefaultRules() {
        read_text(rules_, rules_path, content_of(rules_path));
        for (const definition *one = rules_.first(); one; one = one->next) definitions_.push_back(one);
    }
    void SetUp() override {
        if (!std::setlocale(LC_ALL, GetParam())) GTEST_SKIP() << "this host has no locale " << GetParam();
    }
    void TearDown() override { std::setlocale(LC_ALL, "C"); }

    complaints said_;
    scoped_rule_set rules_{said_};
    std::vector<const definition *> definitions_;
};
INSTANTIATE_TEST_SUITE_P(Of, DefaultRules, testing::Values("C", "C.UTF-8"),
                         [](const auto &param) { return std::string(param.param) == "C" ? "C" : "Utf8"; });

} // namespace

TEST_P(DefaultRules, AreReadWithoutComplaint) {
    EXPECT_EQ(said_.text, "");
    EXPECT_GE(definitions_.size(), fewest_definitions);
}

TEST_P(DefaultRules, HaveTheSameNamesWhereverTheFirstIsTheSame) {
    std::map<std::string, const definition *> known;
    for (const definition *one : definitions_) {
        const definition *first = known.try_emplace(one->names[0], one).first->second;
        EXPECT_EQ(names_of(*one), names_of(*first)) << described(one) << ", " << described(first);
    }
}

TEST_P(DefaultRules, EndInWhatAManagerGoesBy) {
    for (const definition *one : definitions_) {
        const std::string names = names_of(*one), last = names.substr(names.rfind(' ') + 1);
        EXPECT_TRUE(last == "text_file" || last == "binary_file" || last == "directory") << described(one);
    }
}

TEST_P(DefaultRules, HaveAnExampleEachThatTheyAndNoOthersType) {
    const program rules(rules_.first());
    const std::vector<example> all = examples();
    ASSERT_EQ(all.size(), definitions_.size());
    const temp_dir dir;
    for (size_t i = 0; i < all.size(); i++) {
        const example &one = all[i];
        EXPECT_EQ(one.name, definitions_[i]->names[0]) << described(definitions_[i]);
        const std::string leaf = std::to_string(i) + '/' + one.file, path = dir / leaf;
        if (one.is_directory) {
            std::filesystem::create_directories(path);
        } else {
            dir.write(leaf, one.content);
        }
        examined_file file(path.c_str(), TBS_FT_NOT_OPEN, nullptr, nullptr, TBS_FT_BY_ALL);
        const definition *found = rules.find(file);
        EXPECT_EQ(found, definitions_[i])
            << one.file << " is " << described(found) << ", not " << described(definitions_[i]);
    }
}
