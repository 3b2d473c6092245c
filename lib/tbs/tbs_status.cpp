#include "tbs/tbs_status.h"

#include "internal/msg_rows.hpp"
#include "internal/report.hpp"
#include "ks/ks_imsg.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

using tbs::common_rows;

struct condition {
    tbs_status_t status;
    uint32_t message; // index of the text in the common table
};

constexpr condition conditions[] = {
#define X(name, number, message) {number, message},
    TBS_STATUS_LIST(X)
#undef X
};

struct pair {
    tbs_status_t status;
    int error;
};

constexpr pair errno_family[] = {{TBS_ST_CANCELED, 105},
#define X(name, number, error) {number, error},
                                 TBS_ERRNO_STATUS_LIST(X)
#undef X
};

// Conditions folded onto a near error on purpose; all others become EIO.
constexpr pair near_errors[] = {
    {-1, 5},
    {TBS_ST_NO_CONFIG_SPEC, 2},
    {TBS_ST_DIR_NOT_SELECTED, 10070},
    {TBS_ST_NO_VERSION_SELECTED, 2},
    {TBS_ST_VOB_UNKNOWN_TO_VIEW, 10070},
    {TBS_ST_VOB_RECREATED, 10070},
    {TBS_ST_VOB_DB_LOCKED, 30},
    {TBS_ST_VIEW_DB_NEEDS_RECOVERY, 30},
    {TBS_ST_VIEW_DB_NEEDS_REFORMAT, 5},
    {TBS_ST_VOB_DB_NEEDS_REFORMAT, 5},
    {TBS_ST_CONFIG_SPEC_ERROR, 5},
    {TBS_ST_DB_TIMEOUT, 5},
    {TBS_ST_SYNCMGR_NOMEM, 12},
    {TBS_ST_SYNCMGR_INVALID_ARG, 22},
    {TBS_ST_SYNCMGR_DB_NOSPACE, 28},
};

template <class Row, size_t N> constexpr bool ascending(const Row (&rows)[N]) {
    return std::is_sorted(rows, rows + N, [](const Row &a, const Row &b) { return a.status <= b.status; });
}
static_assert(ascending(conditions) && ascending(errno_family) && ascending(near_errors),
              "peers know these numbers: never reordered, never reused");
static_assert(std::all_of(std::begin(conditions), std::end(conditions),
                          [](const condition &c) { return c.message < std::size(common_rows); }));

constexpr tbs_status_t first_library = 1000, first_errno = 1051, last_errno = 1089;
constexpr tbs_status_t first_tier = 100001;
constexpr uint32_t no_message = 0, unrecognized_message = 108; // message 0 is no status text
constexpr int other_error = 5;
constexpr int loop_error = 114; // ELOOP of the run-time library; 10062 is that of the sockets

// The message of each condition by number, one dense range for the library and one for the tier.
template <tbs_status_t First, tbs_status_t Last> constexpr auto messages_by_number() {
    std::array<uint8_t, Last - First + 1> messages{};
    for (const condition &c : conditions) {
        if (c.status >= First && c.status <= Last) messages[c.status - First] = static_cast<uint8_t>(c.message);
    }
    return messages;
}
constexpr auto library_messages = messages_by_number<first_library, TBS_ST_ACL_TOO_LONG_FOR_UDP>();
constexpr auto tier_messages = messages_by_number<first_tier, TBS_ST_BAD_FIND_MATCHER>();
static_assert(std::size(common_rows) <= 256);

template <size_t N> uint32_t at(const std::array<uint8_t, N> &messages, int64_t position) {
    return position >= 0 && position < static_cast<int64_t>(N) ? messages[static_cast<size_t>(position)] : no_message;
}

uint32_t message_of(tbs_status_t status) {
    const int64_t number = status;
    return number < first_tier ? at(library_messages, number - first_library)
                               : at(tier_messages, number - first_tier);
}

template <size_t N> const pair *row_of(const pair (&rows)[N], tbs_status_t status) {
    const pair *row = std::lower_bound(rows, rows + N, status, [](const pair &p, int s) { return p.status < s; });
    return row != rows + N && row->status == status ? row : nullptr;
}

} // namespace

extern "C" int tbs_status2errno(tbs_status_t status) noexcept {
    if (const pair *row = row_of(errno_family, status)) return row->error;
    if (const pair *row = row_of(near_errors, status)) return row->error;
    return status < first_library ? status : other_error;
}

extern "C" tbs_status_t tbs_errno2status(int err) noexcept {
    if (err == loop_error) return TBS_ST_ELOOP;
    for (const pair &row : errno_family) {
        if (row.error == err) return row.status;
    }
    return TBS_ST_ERROR;
}

extern "C" const char *tbs_strerror(tbs_status_t status) noexcept {
    static thread_local char text[TBS_STRERROR_SIZE];
    if (const uint32_t message = message_of(status)) {
        imsg_snprintf(text, sizeof text, &tbs::common_table, message);
        return text;
    }
    const bool errno_text = status < first_library || (status >= first_errno && status <= last_errno);
    if (errno_text) return imsg_strerror(tbs_status2errno(status));
    imsg_snprintf(text, sizeof text, &tbs::common_table, unrecognized_message, status);
    return text;
}
