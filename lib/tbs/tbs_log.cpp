#include "internal/product.hpp"
#include "internal/report.hpp"
#include "ks/ks_pfm.h"
#include "tbs/tbs_msg.h"
#include "tbs/tbs_product.h"
#include "tbs/tbs_status.h"

#include <cstdarg>
#include <cstring>

namespace {

// Holds signals back, so that none leaves a log redirected.
struct inhibited {
    inhibited() noexcept { pfm_inhibit(); }
    ~inhibited() { pfm_enable(); }
    inhibited(const inhibited &) = delete;
    inhibited &operator=(const inhibited &) = delete;
};

// A path that fills its buffer may have been cut: no log is opened then, rather than a file of another name.
imsg_log_t *start_log(const char (&path)[TBS_PATH_SIZE], bool event_service, bool durable) noexcept {
    const bool whole = std::strlen(path) < sizeof path - 1;
    return imsg_start_log(whole ? path : nullptr, event_service, durable);
}

} // namespace

namespace tbs {

void report_no_memory(const char *module) noexcept {
    say<common_messages, 46>(IMSG_ERROR, module, module, tbs_strerror(TBS_ST_ENOMEM));
}

void report_internal(const char *module, int line) noexcept {
    tbs_log_int_error(module, &common_table, 35, module, line, nullptr);
}

} // namespace tbs

extern "C" void tbs_log_int_error(const char *module, const void *table, uint32_t index, const char *source_file,
                                  int source_line, imsg_log_t **log_handle_out, ...) noexcept {
    char path[TBS_PATH_SIZE];
    tbs_product_logfile_pn(path);
    tbs::say<tbs::general_messages, 17>(IMSG_ERROR, module);
    const inhibited no_signals;
    imsg_log_t *log = start_log(path, true, true);
    if (log_handle_out) *log_handle_out = log;
    imsg_print(IMSG_PLAIN, &tbs::common_table, 34, source_file, source_line);
    va_list arguments;
    va_start(arguments, log_handle_out);
    imsg_print_sharedv(IMSG_ERROR, module, table, index, arguments);
    va_end(arguments);
    if (!log_handle_out) imsg_end_log();
}

extern "C" void tbs_log_access_failure(const char *module, const void *table, uint32_t index, ...) noexcept {
    char path[TBS_PATH_SIZE];
    tbs::product::access_log_path(path);
    const inhibited no_signals;
    start_log(path, false, false);
    const char *category = imsg_get_app_name();
    imsg_nt_set_category("access");
    va_list arguments;
    va_start(arguments, index);
    imsg_print_sharedv(IMSG_ERROR, module, table, index, arguments);
    va_end(arguments);
    imsg_nt_set_category(category);
    imsg_end_log();
}
