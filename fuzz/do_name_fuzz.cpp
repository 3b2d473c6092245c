// Names of any bytes: taken apart as derived objects' and as version-extended ones, stripped and extended again.

#include "acl_fuzz_support.hpp"
#include "ks/ks_str.h"
#include "tbs/tbs_mfs.h"

#include <cstring>
#include <string>
#include <string_view>

using acl_fuzz::demand;

namespace {

constexpr std::string_view separators = "\\/";

std::string_view symbol() {
    static char text[TBS_PATH_SIZE];
    if (!*text) demand(tbs_version_ext_pname_sil(text, nullptr, nullptr, 1) == 0 && *text, "there is a symbol");
    return text;
}

bool has_symbol_at(std::string_view name, size_t at) { return name.substr(at).starts_with(symbol()); }

// The symbol, and behind it the end or a separator.
bool has_suffix_at(std::string_view name, size_t at) {
    if (!has_symbol_at(name, at)) return false;
    const std::string_view behind = name.substr(at + symbol().size());
    return behind.empty() || separators.find(behind.front()) != behind.npos;
}

void decode(const std::string &name) {
    size_t index = 0;
    uint32_t number = 0, again = 0;
    const tbs_status_t status = tbs_decode_do_pname(name.c_str(), &index, &number);
    demand(tbs_decode_do_pname(name.c_str(), nullptr, nullptr) == status, "the same without results");
    if (status != 0) {
        demand(status == TBS_ST_ERROR && index == 0 && number == 0, "a refused name gives nothing");
        return;
    }
    demand(index <= name.size() && has_symbol_at(name, index), "the symbol stands there");
    demand(name.find(symbol(), index + 1) == name.npos, "it is the last one");
    const std::string identifier = name.substr(index + symbol().size());
    demand(identifier.find_first_of(separators) == identifier.npos, "one part of a path");
    const size_t dot = identifier.rfind('.');
    demand(dot != identifier.npos && strutl_strtoul(identifier.c_str() + dot + 1, 0, &again) == 0 && again == number,
           "the number stands at the end");
    const std::string decimal = name.substr(0, index + symbol().size() + dot + 1) + std::to_string(number);
    size_t index_again = 0;
    demand(tbs_decode_do_pname(decimal.c_str(), &index_again, &again) == 0, "so does a decimal one");
    demand(index_again == index && again == number, "with the same results");
}

void split(const std::string &name) {
    size_t index = SIZE_MAX;
    const bool found = tbs_pname_contains_version_suffix_at_index(name.c_str(), &index) != 0;
    demand((tbs_pname_contains_version_suffix(name.c_str()) != 0) == found, "both say the same");
    demand(found ? index < name.size() && has_suffix_at(name, index) : index == SIZE_MAX, "a suffix stands there");
    for (size_t at = found ? index + 1 : 0; at < name.size(); at++)
        demand(!has_suffix_at(name, at), "none behind it");
}

void strip(const std::string &name) {
    std::string stripped = name;
    tbs_strip_ver_ext_chars(stripped.data());
    stripped.resize(std::strlen(stripped.c_str()));
    demand(name == (name.ends_with(symbol()) ? stripped + std::string(symbol()) : stripped), "one symbol is cut off");
}

void extend(const std::string &name) {
    char text[TBS_PATH_SIZE];
    demand(tbs_version_ext_pname(text, name.c_str(), nullptr) == 0, "every name can be extended");
    const std::string whole = name + std::string(symbol());
    demand(whole.substr(0, TBS_PATH_SIZE - 1) == text, "as far as it fits");
    size_t index = 0;
    if (whole.size() < TBS_PATH_SIZE) {
        demand(tbs_pname_contains_version_suffix_at_index(text, &index) && index == name.size(), "at the end");
        tbs_strip_ver_ext_chars(text);
        demand(name == text, "and taken off again");
    }
    char directory[TBS_PATH_SIZE];
    const tbs_status_t status = tbs_version_prefix_pname(directory, name.c_str(), nullptr);
    demand(status == 0 || status == TBS_ST_ERROR, "split or too long");
    demand(status != 0 || std::strlen(directory) < TBS_PATH_SIZE, "terminated");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    const std::string name(bytes.substr(0, bytes.find('\0')));
    decode(name);
    split(name);
    strip(name);
    extend(name);
    return 0;
}
