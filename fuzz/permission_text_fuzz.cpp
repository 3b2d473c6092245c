// Permission texts and sets of any content, under any generic map: nothing that is written reads back as more.
// Input: four masks of the map, two values of the caller's names, a set (28 bytes); then the text.

#include "acl_fuzz_support.hpp"

using namespace acl_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    prepare();
    uint32_t words[7] = {};
    const size_t head = size < sizeof words ? size : sizeof words;
    if (head != 0) std::memcpy(words, data, head);
    const std::string text(reinterpret_cast<const char *>(data + head), size - head);
    const tbs_acl_generic_map_t generic{words[0], words[1], words[2], words[3]};
    const tbs_acl_perm_name_t extra[] = {{"First", words[4]}, {"DELETE", words[5]}, {"first", 0xFFFFFFFF}};
    const size_t count = sizeof extra / sizeof *extra;

    constexpr tbs_acl_permission_set_t untouched = 0xA5A5A5A5;
    tbs_acl_permission_set_t granted = untouched, combined = untouched;
    const tbs_status_t status = tbs_acl_utl_perm_set_from_str(text.c_str(), extra, count, &generic, &granted);
    demand(status == 0 || (status == TBS_ST_EINVAL && granted == untouched), "a refused text leaves the set");
    const tbs_status_t both =
        tbs_acl_utl_perm_set_from_combined_strings(text.c_str(), text.c_str(), extra, count, &generic, &combined);
    demand(both == status, "a text is refused or accepted in every place");
    demand(both != 0 || (combined & ~(granted | words[0] | words[1] | words[2] | words[3])) == 0,
           "no bit from nowhere");

    // Folding undoes expanding only for maps that hold no generic bits themselves.
    constexpr uint32_t generic_bits = TBS_ACL_PERM_GENERIC_OTHER;
    if ((words[0] | words[1] | words[2] | words[3] | words[4] | words[5]) & generic_bits) return 0;
    const tbs_acl_permission_set_t perms = words[6] & ~generic_bits;
    const char *written = tbs_acl_utl_perm_set_to_str(perms, extra, count, &generic);
    demand(written != nullptr, "every set has a text");
    std::string named = written;
    const size_t number = named.rfind("0x");
    tbs_acl_permission_set_t unnamed = 0;
    if (number != std::string::npos) {
        unnamed = static_cast<uint32_t>(std::strtoul(named.c_str() + number, nullptr, 16));
        named.resize(number == 0 ? 0 : number - 1);
    }
    tbs_acl_permission_set_t back = 0;
    if (named.size() < TBS_ACL_TEXT_SIZE) {
        demand(tbs_acl_utl_perm_set_from_str(named.c_str(), extra, count, &generic, &back) == 0, "it is read again");
        demand((back | unnamed) == perms, "as the same set");
    }
    return 0;
}
