#include "tbs/tbs_text_mode.h"

#include "ks/ks_pfm.h"

#include <cstring>
#include <iterator>

namespace {

struct spelling {
    const char *text;
    tbs_text_mode_t mode;
};

constexpr spelling spellings[] = {
    {"msdos", TBS_TEXT_MODE_MSDOS}, {"pc", TBS_TEXT_MODE_MSDOS},         {"insert_cr", TBS_TEXT_MODE_MSDOS},
    {"unix", TBS_TEXT_MODE_UNIX},   {"normal", TBS_TEXT_MODE_UNIX},      {"transparent", TBS_TEXT_MODE_UNIX},
    {"mac", TBS_TEXT_MODE_MAC},     {"cvt_nl_to_cr", TBS_TEXT_MODE_MAC}, {"strip_cr", TBS_TEXT_MODE_STRIP_CR}};

constexpr const char *names[] = {"unix", "msdos", "mac", "strip_cr"};

} // namespace

extern "C" tbs_status_t tbs_str_to_text_mode(const char *text, tbs_text_mode_t *mode_out) noexcept {
    if (!text || !mode_out) return TBS_ST_EINVAL;
    for (const spelling &known : spellings) {
        if (std::strcmp(text, known.text) != 0) continue;
        *mode_out = known.mode;
        return 0;
    }
    return TBS_ST_ERROR;
}

extern "C" const char *tbs_text_mode_to_str(tbs_text_mode_t mode) noexcept {
    if (static_cast<unsigned>(mode) >= std::size(names)) {
        pfm_assert_fail("text_mode < sizeof(names) / sizeof(char *)", "lib/tbs/tbs_text_mode", 77);
    }
    return names[mode];
}
