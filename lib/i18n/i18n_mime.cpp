#include "i18n/i18n_mime.h"

#include "internal/mime_encode.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_stg.h"

#include <new>
#include <utility>

namespace {

bool is_kind(i18n_mime_kind_t kind) { return kind >= I18N_MIME_PLAIN && kind <= I18N_MIME_BASE64; }

char *failed(int error) {
    ks_errno = error;
    return nullptr;
}

} // namespace

extern "C" char *i18n_mime_encode_header(const char *text, const char *charset, i18n_mime_kind_t kind,
                                         double ratio) noexcept try {
    if (!text || !is_kind(kind)) return failed(KS_EINVAL);
    return i18n::encode_header(text, charset, kind, ratio).release();
} catch (const std::bad_alloc &) {
    return failed(KS_ENOMEM);
}

extern "C" char *i18n_mime_encode(const char *text, const char *charset, i18n_mime_kind_t kind, double ratio,
                                  i18n_mime_kind_t *kind_out, const char **charset_out) noexcept try {
    if (!text || !is_kind(kind) || !kind_out || !charset_out) return failed(KS_EINVAL);
    const char *charset_used = nullptr;
    i18n::stg_text encoded = i18n::encode_body(text, charset, kind, ratio, charset_used);
    *kind_out = kind;
    *charset_out = charset_used;
    return encoded.release();
} catch (const std::bad_alloc &) {
    return failed(KS_ENOMEM);
}

extern "C" void i18n_mime_free(char **text_variable) noexcept {
    if (text_variable) stg_free(std::exchange(*text_variable, nullptr));
}
