// notify.hpp - where the text of a notification comes from, and what becomes of it.
#ifndef TBS_INTERNAL_NOTIFY_HPP
#define TBS_INTERNAL_NOTIFY_HPP

#include "tbs/tbs_notify.h"

namespace tbs::notify {

enum class source_kind { text, file, stream };

struct source {
    source_kind kind;
    const char *text; // the message, or the pathname of the file that holds it
    FILE *stream;
};

// Gets the text and delivers it by each kind of the mask. May throw.
tbs_status_t dispatch(tbs_notify_delivery_mask_t mask, int32_t recipient_count, const char *const *recipients,
                      const char *subject, const source &from, const char *charset);

} // namespace tbs::notify

#endif
