#include "tbs/tbs_xdr.h"

#include "internal/base_wire.hpp"

#include <cstring>

using namespace tbs;

namespace {

constexpr char module_name[] = "tbs_xdr";

template <class T> bool_t run(XDR *stream, T *value, int line = __builtin_LINE()) noexcept {
    return wire::run(module_name, stream, value, line);
}

template <class F> bool_t boundary(F &&body, int line = __builtin_LINE()) noexcept {
    return guard<bool_t>(
        module_name, FALSE, FALSE, [&]() -> bool_t { return body(); }, line);
}

bool frees(const XDR *stream) { return stream->x_op == XDR_FREE; }

// A text in storage of a fixed size, or of unknown size: it is decoded in place and never released.
bool_t held_text(XDR *stream, char *text, uint32_t max) noexcept {
    if (!wire::is_direction(stream)) return FALSE;
    if (frees(stream)) return TRUE;
    if (!text) return FALSE;
    const bool bounded = max != wire::no_maximum;
    if (stream->x_op == XDR_ENCODE && bounded && !std::memchr(text, '\0', size_t{max} + 1)) return FALSE;
    return boundary([&] { return wire::pass_text(stream, &text, max); });
}

bool send_listing(XDR *stream, const tbs_dirent_t *entries, char *pool, uint32_t count) {
    wire::sink s(stream);
    s.pool = pool;
    wire::cursor at = s.word(s.begin(), count);
    if (at) at = s.elements(at, entries, count, wire::shape_of<tbs_dirent_t>);
    return s.finish(at);
}

bool receive_listing(XDR *stream, tbs_dirent_t *&entries, char *pool, uint32_t &count, uint32_t max) {
    wire::source s(stream);
    s.pool = pool;
    uint32_t wanted = 0;
    wire::cursor at = s.word(s.begin(), wanted);
    if (!at || wanted > max || (wanted && !pool)) return false;
    if (!entries) {
        wire::slot built(entries, count);
        at = s.elements(at, wanted, built.memory, built.elements, wire::shape_of<tbs_dirent_t>);
    } else {
        at = wire::get_elements<tbs_dirent_t>(s, at, entries, wanted);
        count = wanted;
    }
    return s.finish(at);
}

} // namespace

// ---- one unit

extern "C" bool_t xdr_tbs_status_t(XDR *stream, tbs_status_t *status) noexcept { return run(stream, status); }
extern "C" bool_t xdr_tbs_boolean_t(XDR *stream, tbs_boolean_t *truth) noexcept { return run(stream, truth); }
extern "C" bool_t xdr_pid_t(XDR *stream, int32_t *pid) noexcept { return run(stream, pid); }
extern "C" bool_t xdr_xid_t(XDR *stream, uint32_t *xid) noexcept { return run(stream, xid); }
extern "C" bool_t xdr_tbs_dbid_t(XDR *stream, tbs_dbid_t *dbid) noexcept { return run(stream, dbid); }
extern "C" bool_t xdr_tbs_ftype_t(XDR *stream, tbs_ftype_t *type) noexcept { return run(stream, type); }
extern "C" bool_t xdr_tbs_fmode_t(XDR *stream, tbs_fmode_t *mode) noexcept { return run(stream, mode); }
extern "C" bool_t xdr_tbs_notify_delivery_mask_t(XDR *stream, tbs_notify_delivery_mask_t *mask) noexcept {
    return run(stream, mask);
}
extern "C" bool_t xdr_vob_gen_num_t(XDR *stream, vob_gen_num_t *number) noexcept { return run(stream, number); }
extern "C" bool_t xdr_in_addr(XDR *stream, uint32_t *address) noexcept { return run(stream, address); }
extern "C" bool_t xdr_tbs_byte_t(XDR *stream, tbs_byte_t *byte) noexcept { return run(stream, byte); }
extern "C" bool_t xdr_tbs_text_mode_t(XDR *stream, tbs_text_mode_t *mode) noexcept { return run(stream, mode); }
extern "C" bool_t xdr_vob_mtype_t(XDR *stream, vob_mtype_t *kind) noexcept { return run(stream, kind); }

// ---- 64 bits in one unit

extern "C" bool_t xdr_size_t(XDR *stream, uint64_t *size) noexcept { return run(stream, size); }
extern "C" bool_t orsik_xdr_uint64(XDR *stream, uint64_t *number) noexcept { return run(stream, number); }
extern "C" bool_t xdr_time_t(XDR *stream, int64_t *time) noexcept { return run(stream, time); }
extern "C" bool_t orsik_xdr_int64(XDR *stream, int64_t *number) noexcept { return run(stream, number); }

// ---- texts

extern "C" bool_t xdr_tbs_hostname_t(XDR *stream, char *name) noexcept {
    return held_text(stream, name, sizeof(tbs_hostname_t) - 1);
}
extern "C" bool_t xdr_tbs_name_t(XDR *stream, char *name) noexcept {
    return held_text(stream, name, sizeof(tbs_name_t) - 1);
}
extern "C" bool_t xdr_tbs_pname_t(XDR *stream, char *name) noexcept {
    return held_text(stream, name, sizeof(tbs_pname_t) - 1);
}
extern "C" bool_t xdr_tbs_string_t(XDR *stream, tbs_string_t text) noexcept {
    return held_text(stream, text, wire::no_maximum);
}
extern "C" bool_t xdr_tbs_string_p_t(XDR *stream, tbs_string_p_t *text) noexcept {
    if (!wire::is_direction(stream) || !text || (stream->x_op == XDR_ENCODE && !*text)) return FALSE;
    return boundary([&] { return wire::pass_text(stream, text, wire::no_maximum); });
}

// ---- identifiers

extern "C" bool_t xdr_tbs_uuid_t(XDR *stream, tbs_uuid_t *uuid) noexcept { return run(stream, uuid); }
extern "C" bool_t xdr_tbs_oid_t(XDR *stream, tbs_oid_t *oid) noexcept { return run(stream, oid); }

// ---- directory entries

extern "C" bool_t xdr_tbs_dirent_t(XDR *stream, tbs_dirent_t *entry) noexcept {
    if (!wire::is_direction(stream)) return FALSE;
    if (frees(stream)) return TRUE;
    if (!entry) return FALSE;
    if (!xdr_u_int(stream, &entry->number) || !xdr_tbs_dbid_t(stream, &entry->dbid)) return FALSE;
    return held_text(stream, entry->name, sizeof(tbs_name_t) - 1);
}

extern "C" bool_t xdr_tbs_dirent_array(XDR *stream, tbs_dirent_t **entries, char *name_base, uint32_t *count,
                                       uint32_t max) noexcept {
    if (!wire::is_direction(stream) || !entries) return FALSE;
    if (frees(stream)) {
        stg_free(std::exchange(*entries, nullptr));
        return TRUE;
    }
    if (!count) return FALSE;
    if (stream->x_op == XDR_DECODE) {
        return boundary([&] { return receive_listing(stream, *entries, name_base, *count, max); });
    }
    if (*count > max || (*count && (!*entries || !name_base))) return FALSE;
    return boundary([&] { return send_listing(stream, *entries, name_base, *count); });
}

// ---- file status records

extern "C" bool_t xdr_tbs_fstat_t(XDR *stream, tbs_fstat_t *status) noexcept { return run(stream, status); }
extern "C" bool_t xdr_tbs_fstat_db_t(XDR *stream, tbs_fstat_db_t *status) noexcept { return run(stream, status); }

// ---- remote procedures

extern "C" bool_t xdr_tbs_program_null_V1_over(XDR *stream, int32_t *number) noexcept {
    constexpr int32_t low_byte = 0xFF;
    if (!run(stream, number)) return FALSE;
    return stream->x_op != XDR_DECODE || (*number & low_byte) == 0;
}
extern "C" bool_t xdr_tbs_program_null_V1_back(XDR *stream, int32_t *number) noexcept { return run(stream, number); }
extern "C" bool_t xdr_server_exit_req(XDR *, void *) noexcept { return TRUE; }
extern "C" bool_t xdr_server_exit_reply(XDR *stream, tbs_status_t *status) noexcept { return run(stream, status); }
