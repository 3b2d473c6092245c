// Rules of file types: reading those that come with the product, and what many of them cost a query.

#include "lib/tbs/typing/program.hpp"
#include "lib/tbs/typing/reader.hpp"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

using namespace tbs::typing;

namespace {

// The rules are good; a wrong one would make figures of nothing.
class unforgiving final : public listener {
public:
    void bad_syntax(const char *, const char *, uint32_t) noexcept override { std::abort(); }
    void beyond_content(const char *, uint32_t) noexcept override { std::abort(); }
};

std::string default_rules() {
    std::ifstream in(ORSIK_SOURCE_DIR "/data/magic/default.magic", std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void load(benchmark::State &state) {
    const std::string text = default_rules();
    unforgiving heard_by;
    for (auto _ : state) {
        scoped_rule_set rules(heard_by);
        read_text(rules, "default.magic", text);
        const program made(rules.first());
        if (!rules.first()) state.SkipWithError("no rules");
        benchmark::DoNotOptimize(&made);
    }
}

// Rules by name in the proportions of real ones: whole names, endings, and now and then a beginning.
std::string generated_rules(int64_t count) {
    std::string text;
    for (int64_t i = 0; i < count; i++) {
        const std::string number = std::to_string(i);
        text += "type" + number + " text_file : -name \"*.x" + number + "\" | -name \"Name" + number + "\"";
        if (i % 16 == 0) text += " | -name \"begin" + number + ".*\"";
        text += ";\n";
    }
    return text;
}

// A name that matches nothing is the one for which most has to be looked up.
void find_among(benchmark::State &state) {
    unforgiving heard_by;
    scoped_rule_set rules(heard_by);
    read_text(rules, "generated.magic", generated_rules(state.range(0)));
    const program made(rules.first());
    const std::string last = "some/where/main.x" + std::to_string(state.range(0) - 1);
    for (auto _ : state) {
        for (const char *path : {last.c_str(), "some/where/main.cpp", "some/where/begin7"}) {
            examined_file file(path, TBS_FT_NOT_OPEN, nullptr, nullptr, TBS_FT_BY_NAME);
            benchmark::DoNotOptimize(made.find(file));
        }
    }
}

BENCHMARK(load)->Name("type_rules_load/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(find_among)->Name("type_rules_growth/ours")->Arg(100)->Arg(1'000)->Arg(10'000);

} // namespace
