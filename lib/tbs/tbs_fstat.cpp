#include "tbs/tbs_fstat.h"

#include "internal/report.hpp"
#include "ks/ks_date.h"
#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_pfm.h"
#include "ks/ks_str.h"
#include "ks/ks_sys.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <tuple>

namespace {

constexpr uint32_t classic_block_size = 1024;

// ---- times

bool is_later(const tbs_timeval_t &a, const tbs_timeval_t &b) {
    return std::tie(a.tv_sec, a.tv_usec) > std::tie(b.tv_sec, b.tv_usec);
}

const tbs_timeval_t &later(const tbs_timeval_t &mtime, const tbs_timeval_t &ctime) {
    return is_later(mtime, ctime) ? mtime : ctime;
}

// The nearest time that a record holds.
tbs_timeval_t time_of(int64_t seconds) {
    using limits = std::numeric_limits<int32_t>;
    return {static_cast<int32_t>(std::clamp<int64_t>(seconds, limits::min(), limits::max())), 0};
}

// ---- kinds

struct kind_row {
    uint32_t host;
    tbs_ftype_t type;
};

// Devices are not among them: a device number means nothing on another host.
constexpr kind_row kinds[] = {{FILEUTL_REGULAR, TBS_FTYPE_FILE},
                              {FILEUTL_DIRECTORY, TBS_FTYPE_DIRECTORY},
                              {FILEUTL_FIFO, TBS_FTYPE_NAMED_PIPE},
                              {FILEUTL_LINK, TBS_FTYPE_SYMBOLIC_LINK}};

tbs_ftype_t type_of(uint32_t host_mode) {
    for (const kind_row &kind : kinds) {
        if ((host_mode & FILEUTL_KIND) == kind.host) return kind.type;
    }
    return TBS_FTYPE_NULL;
}

constexpr uint32_t unnamed_type = 12;

// Index of the name of each kind in the general messages.
constexpr uint32_t name_indices[] = {10, 11, 7, 5, 6, 9, 8};

// ---- texts

// A time as the formats take it: with its line end, or without where the format has its own.
class time_text {
public:
    explicit time_text(const tbs_timeval_t &time) { date_ctime(time.tv_sec, text_, sizeof text_); }
    const char *line() const { return text_; }
    const char *bare() {
        *std::find(text_, std::end(text_) - 1, '\n') = '\0';
        return text_;
    }

private:
    char text_[DATE_CTIME_SIZE];
};

class sid_text {
public:
    explicit sid_text(const credutl_sid_t &sid) { credutl_sid_to_str(&sid, text_, sizeof text_); }
    const char *c_str() const { return text_; }

private:
    char text_[CREDUTL_SID_STR_SIZE];
};

// Longer than any record's text.
constexpr size_t text_size = 1024;
static_assert(text_size > 4 * DATE_CTIME_SIZE + 2 * CREDUTL_SID_STR_SIZE + 16 * 20 + 200,
              "times, SIDs, numbers, labels");

// As the formats' %lu takes it.
unsigned long wide(uint32_t number) { return number; }

// What every formatter begins with. False when there is nothing to write, or no place for it.
bool can_write(const void *record, size_t size, char *buffer) {
    if (!buffer) return false;
    if (!record && size != 0) *buffer = '\0';
    return record != nullptr;
}

// Formats the whole text, then copies what fits. True when it was cut.
template <class... A> bool write_cut(char *buffer, size_t size, const char *format, A... arguments) {
    char text[text_size];
    const size_t length = strutl_snprintf(text, sizeof text, format, arguments...);
    return strutl_cpy_buf(buffer, size, text) < length;
}

} // namespace

// ---- from one form to another

extern "C" tbs_status_t tbs_fstat_cvt_from_db(const tbs_fstat_db_t *record, tbs_boolean_t with_ids,
                                              tbs_fstat_t *fstat_out) noexcept {
    if (!record || !fstat_out) return TBS_ST_EINVAL;
    if (fileutl_chk_large_file_overflow(record->size, 0)) return TBS_ST_EFBIG;
    fstat_out->type = record->type;
    fstat_out->mode = record->mode;
    fstat_out->nlink = record->nlink;
    fstat_out->uid = with_ids ? credutl_sid_to_uid(&record->usid) : CREDUTL_NO_ID;
    fstat_out->gid = with_ids ? credutl_sid_to_gid(&record->gsid) : CREDUTL_NO_ID;
    fstat_out->size = static_cast<uint32_t>(record->size);
    fstat_out->blsz = classic_block_size;
    fstat_out->blks = 0;
    fstat_out->ino = record->ino;
    fstat_out->atime = record->atime;
    fstat_out->mtime = record->mtime;
    fstat_out->ctime = record->ctime;
    return 0;
}

extern "C" tbs_status_t tbs_fstat_cvt_to_db(const tbs_fstat_t *fstat, tbs_boolean_t with_ids,
                                            tbs_fstat_db_t *record_out) noexcept {
    if (!fstat || !record_out) return TBS_ST_EINVAL;
    credutl_sid_t usid = CREDUTL_SID_NOBODY, gsid = CREDUTL_SID_NOBODY;
    if (with_ids) { // an id without a SID leaves nobody
        credutl_uid_to_sid(fstat->uid, &usid);
        credutl_gid_to_sid(fstat->gid, &gsid);
    }
    *record_out = {.type = fstat->type,
                   .mode = fstat->mode,
                   .nlink = fstat->nlink,
                   .reserved = 0,
                   .usid = usid,
                   .gsid = gsid,
                   .size = fstat->size,
                   .ino = fstat->ino,
                   .xtime = later(fstat->mtime, fstat->ctime),
                   .atime = fstat->atime,
                   .mtime = fstat->mtime,
                   .ctime = fstat->ctime};
    return 0;
}

extern "C" tbs_status_t tbs_fstat_cvt_to_full(const tbs_fstat_db_t *record, tbs_fstat_full_t *full_out) noexcept {
    if (!record || !full_out) return TBS_ST_EINVAL;
    *full_out = {.type = record->type,
                 .mode = record->mode,
                 .rolemap_dbid = 0,
                 .nlink = record->nlink,
                 .reserved = record->reserved,
                 .usid = record->usid,
                 .gsid = record->gsid,
                 .size = record->size,
                 .ino = record->ino,
                 .xtime = record->xtime,
                 .atime = record->atime,
                 .mtime = record->mtime,
                 .ctime = record->ctime};
    return 0;
}

extern "C" tbs_status_t tbs_fstat_cvt_from_full(const tbs_fstat_full_t *full, tbs_fstat_db_t *record_out) noexcept {
    if (!full || !record_out) return TBS_ST_EINVAL;
    *record_out = {.type = full->type,
                   .mode = full->mode,
                   .nlink = full->nlink,
                   .reserved = full->reserved,
                   .usid = full->usid,
                   .gsid = full->gsid,
                   .size = full->size,
                   .ino = full->ino,
                   .xtime = full->xtime,
                   .atime = full->atime,
                   .mtime = full->mtime,
                   .ctime = full->ctime};
    return 0;
}

// ---- from disk

extern "C" tbs_boolean_t tbs_get_fstat_db(const char *path, int follow, tbs_fstat_db_t *record_out,
                                          int *error_out) noexcept {
    if (!error_out) return 1;
    if (!record_out) return *error_out = KS_EINVAL, 1;
    fileutl_status_t status;
    if (fileutl_stat(path, follow, &status) < 0) return *error_out = ks_errno, 1;
    const tbs_timeval_t mtime = time_of(status.mtime), ctime = time_of(status.ctime);
    *record_out = {.type = type_of(status.mode),
                   .mode = tbs_mode_t_to_fmode_t(status.mode),
                   .nlink = status.nlink,
                   .reserved = 0,
                   .usid = CREDUTL_SID_NOBODY,
                   .gsid = CREDUTL_SID_NOBODY,
                   .size = static_cast<uint64_t>(status.size),
                   .ino = 0,
                   .xtime = later(mtime, ctime),
                   .atime = time_of(status.atime),
                   .mtime = mtime,
                   .ctime = ctime};
    return 0;
}

// ---- texts

extern "C" tbs_boolean_t tbs_format_fstat(const tbs_fstat_t *fstat, size_t size, char *buffer) noexcept {
    if (!can_write(fstat, size, buffer)) return 1;
    const time_text atime(fstat->atime), mtime(fstat->mtime);
    time_text ctime(fstat->ctime);
    return write_cut(buffer, size,
                     "ino: %lu; type: %lu; mode: 0%lo; uid: %lu; gid: %lu\n"
                     "nlink: %u; size: %lu; blsz: %lu; blks: %lu fsid: %lu; rdev %lu\n"
                     "atime: %smtime: %sctime: %s",
                     wide(fstat->ino), wide(fstat->type), wide(fstat->mode), wide(fstat->uid), wide(fstat->gid),
                     fstat->nlink, wide(fstat->size), wide(fstat->blsz), wide(fstat->blks), wide(fstat->fsid),
                     wide(fstat->rdev), atime.line(), mtime.line(), ctime.bare());
}

extern "C" tbs_boolean_t tbs_format_fstat_db(const tbs_fstat_db_t *record, size_t size, char *buffer) noexcept {
    return tbs_format_fstat_db_new(record, size, 0, buffer);
}

extern "C" tbs_boolean_t tbs_format_fstat_db_new(const tbs_fstat_db_t *record, size_t size, int verbose,
                                                 char *buffer) noexcept {
    if (!can_write(record, size, buffer)) return 1;
    const sid_text usid(record->usid), gsid(record->gsid);
    const time_text atime(record->atime), mtime(record->mtime);
    time_text ctime(record->ctime);
    if (verbose != 1) {
        return write_cut(buffer, size,
                         "ino: %lu; type: %lu; mode: 0%lo\nusid: %s\ngsid: %s\nnlink: %u; size: %I64d\n"
                         "atime: %smtime: %sctime: %s",
                         wide(record->ino), wide(record->type), wide(record->mode), usid.c_str(), gsid.c_str(),
                         record->nlink, record->size, atime.line(), mtime.line(), ctime.bare());
    }
    return write_cut(buffer, size,
                     "ino: %lu; type: %lu; mode: 0%lo\nusid: %s\ngsid: %s\nnlink: %u; size: %I64d\n"
                     "atime: %s       (%I64d.%I64d)\nmtime: %s       (%I64d.%I64d)\n"
                     "ctime: %s\n       (%I64d.%I64d)",
                     wide(record->ino), wide(record->type), wide(record->mode), usid.c_str(), gsid.c_str(),
                     record->nlink, record->size, atime.line(), int64_t{record->atime.tv_sec},
                     int64_t{record->atime.tv_usec}, mtime.line(), int64_t{record->mtime.tv_sec},
                     int64_t{record->mtime.tv_usec}, ctime.bare(), int64_t{record->ctime.tv_sec},
                     int64_t{record->ctime.tv_usec});
}

extern "C" tbs_boolean_t tbs_format_fstat_full(const tbs_fstat_full_t *full, size_t size, char *buffer) noexcept {
    if (!can_write(full, size, buffer)) return 1;
    const sid_text usid(full->usid), gsid(full->gsid);
    const time_text xtime(full->xtime), atime(full->atime), mtime(full->mtime);
    time_text ctime(full->ctime);
    const size_t length = strutl_snprintf(
        buffer, size,
        "ino: %lu; type: %lu; mode: 0%lo; rolemap dbid: %#lx\nusid: %s\ngsid: %s\nnlink: %lu; size: %I64d\n"
        "xtime: %satime: %smtime: %sctime: %s",
        wide(full->ino), wide(full->type), wide(full->mode), wide(full->rolemap_dbid), usid.c_str(), gsid.c_str(),
        wide(full->nlink), full->size, xtime.line(), atime.line(), mtime.line(), ctime.bare());
    return length > size;
}

extern "C" char *tbs_ftype_to_str(tbs_ftype_t type, char *buffer) noexcept {
    const uint32_t index = type < std::size(name_indices) ? name_indices[type] : unnamed_type;
    if (buffer) imsg_snprintf(buffer, TBS_FTYPE_STR_SIZE, &tbs::general_table, index, type);
    return buffer;
}

// ---- access

extern "C" tbs_boolean_t tbs_access_fstat(const tbs_fstat_db_t *record, uint32_t *access_out,
                                          int *error_out) noexcept {
    if (!error_out) return 1;
    credutl_sid_credentials_t *caller = nullptr;
    if (!record || !access_out || credutl_get_sid_credentials(&caller) != 0) return *error_out = KS_EINVAL, 1;
    unsigned shift = 0;
    if (credutl_sid_eq(&caller->user, &record->usid)) {
        shift = 6;
    } else if (credutl_has_group_sid(caller, &record->gsid)) {
        shift = 3;
    }
    credutl_free_sid_credentials(&caller);
    *access_out = (record->mode >> shift) & (TBS_FSTAT_READ | TBS_FSTAT_WRITE | TBS_FSTAT_EXECUTE);
    return 0;
}

// ---- permission words

extern "C" uint32_t tbs_fmode_t_to_mode_t(tbs_fmode_t mode) noexcept {
    return mode == TBS_FMODE_NONE ? mode : mode & TBS_FMODE_BITS;
}

extern "C" tbs_fmode_t tbs_mode_t_to_fmode_t(uint32_t host_mode) noexcept { return host_mode & TBS_FMODE_BITS; }

extern "C" tbs_fmode_t tbs_umask_fmode(tbs_fmode_t mode) noexcept {
    uint32_t mask = 0;
    if (sysutl_get_umask(&mask) != 0) {
        pfm_assert_fail("sysutl_get_umask(&mask) == KS_ST_OK", "lib/tbs/tbs_fstat", 595);
    }
    return mode & ~tbs_mode_t_to_fmode_t(mask);
}

extern "C" tbs_fmode_t tbs_fmode_make_writable(tbs_fmode_t mode) noexcept {
    mode |= 0200;
    if (mode & 0040) mode |= 0020;
    if (mode & 0004) mode |= 0002;
    return tbs_umask_fmode(mode);
}
