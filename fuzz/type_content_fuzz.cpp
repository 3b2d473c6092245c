// Content of files, typed by the rules that come with the product. The first byte chooses the name, the second the
// locale and the options; the rest is the content.

#include "type_fuzz_support.hpp"

#include <clocale>
#include <filesystem>
#include <fstream>
#include <iterator>

using namespace type_fuzz;

namespace {

// Without an ending that tells all: mostly names that are typed by their content as well.
constexpr const char *names[] = {
    "data",    "x.h",    "x.m",   "x.d",   "x.ts",     "x.pl",      "x.pro",    "x.pp",  "x.v",   "x.cl",
    "x.fs",    "x.ll",   "x.mod", "x.def", "x.vhd",    "x.dts",     "x.so",     "x.o",   "x.obj", "x.pem",
    "x.crt",   "x.txt",  "x.log", "x.1",   "x.asc",    "x.pc",      "x.dot",    "x.inc", "x.cgi", "x.tar.gz",
    "x.plist", "x.reg",  "x.pot", "x.key", "x.stl",    "x.ply",     "x.pyc",    "x.la",  "x.pnm", "x.tfm",
    "x.lzma",  "x.ps",   "HEAD",  ".git",  "Entries",  "d.c/main",  "x.frm",    "x.ctl", "x.cls", "x.ms",
    "x~",      ".x.swp", "x.xs",  "x.sig", "x.doc\\x", "\xff.xpm.", "x.cm\xc3", "x.ali", "x.tt",  ""};

struct default_rules {
    default_rules() {
        const auto root = std::filesystem::path(__FILE__).parent_path().parent_path();
        std::ifstream in(root / "data/magic/default.magic", std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(in), {}};
        demand(!text.empty(), "the rules are there");
        read_text(rules, "default.magic", text);
    }
    default_rules(const default_rules &) = delete;
    default_rules &operator=(const default_rules &) = delete;

    silent unheard;
    tbs::typing::scoped_rule_set rules{unheard};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2) return 0;
    static const default_rules read;
    static const tbs::typing::program made(read.rules.first());
    static const memory_file held;
    const std::string_view content(reinterpret_cast<const char *>(data) + 2, size - 2);
    held.hold(content.data(), content.size());
    demand(std::setlocale(LC_ALL, data[1] & 0x80 ? "C" : "C.UTF-8") != nullptr, "the locale is there");
    compare(read.rules.first(), made, held, content, names[data[0] % std::size(names)],
            data[1] & 0x40 ? data[1] % 16U : uint32_t{TBS_FT_BY_ALL});
    return 0;
}
