#include "internal/acl.hpp"
#include "internal/acl_wire.hpp"

#include <algorithm>

using namespace tbs::acl;
namespace wire = tbs::wire;

namespace {

constexpr uint32_t sent_as_null = 1, sent_as_list = 0; // the first word of a SID handle and of a fragment

template <class T> bool_t run(XDR *stream, T *value, int line = __builtin_LINE()) noexcept {
    return wire::run(module_name, stream, value, line);
}

// ---- classic ACLs

wire::classic_entries entries_of(tbs_acl_h_t acl) { return {acl->count, acl->entries}; }

// Decoded entries, released when the scope ends.
template <class T> struct decoded : T {
    decoded() : T() {}
    ~decoded() { wire::drop(static_cast<T &>(*this)); }
    decoded(const decoded &) = delete;
    decoded &operator=(const decoded &) = delete;
};

// A new ACL of decoded entries, each set in turn.
tbs_status_t build(const wire::classic_entries &plain, tbs_acl_h_t *acl_out) {
    owned_acl acl(new_acl());
    for (const tbs_acl_ent_t &entry : std::span(plain.entries, static_cast<size_t>(plain.count))) {
        const tbs_status_t status = tbs_acl_set_entry(acl.get(), entry.id, entry.perms);
        if (status) return status;
    }
    *acl_out = acl.release();
    return 0;
}

wire::cursor put_classic(wire::sink &s, wire::cursor at, tbs_acl_h_t acl) {
    at = s.word(at, acl != nullptr);
    return at && acl ? wire::put(s, at, wire::classic_handle{entries_of(acl)}) : at;
}

wire::cursor get_classic(wire::source &s, wire::cursor at, tbs_acl_h_t &acl) {
    uint32_t present = 0;
    acl = nullptr;
    at = s.word(at, present);
    if (!at || !present) return at;
    decoded<wire::classic_handle> plain;
    at = wire::get(s, at, static_cast<wire::classic_handle &>(plain));
    return at && build(plain, &acl) == 0 ? at : nullptr;
}

// ---- SID ACLs

wire::cursor put_sid(wire::sink &s, wire::cursor at, tbs_sid_acl_h_t acl) {
    at = s.word(at, acl ? sent_as_list : sent_as_null);
    return at && acl ? wire::put(s, at, *acl->entries) : at;
}

using sid_entries = wire::entry_array<&tbs_acl_cooked_info_t::count, &tbs_acl_cooked_info_t::entries>;

// Puts entries into a new handle's own list, as they come.
wire::cursor get_list(wire::source &s, wire::cursor at, tbs_sid_acl_h_t acl) {
    uint32_t count = 0;
    at = s.word(at, count);
    return at ? sid_entries::get_more(s, at, *acl->entries, count) : nullptr;
}

wire::cursor get_sid(wire::source &s, wire::cursor at, tbs_sid_acl_h_t &acl) {
    uint32_t flag = 0;
    acl = nullptr;
    at = s.word(at, flag);
    if (!at || flag != sent_as_list) return at;
    acl = new_sid_acl();
    return get_list(s, at, acl);
}

// ---- fragments

constexpr uint32_t after_piece(uint32_t cursor, uint32_t piece, uint32_t total) {
    return total - cursor > piece ? cursor + piece : 0;
}

wire::cursor put_fragment(wire::sink &s, wire::cursor at, tbs_sid_acl_h_t acl, uint32_t &cursor) {
    if (!acl) return s.word(at, sent_as_null);
    const uint32_t total = acl->entries->count;
    if (cursor > total) return nullptr;
    const uint32_t piece = std::min<uint32_t>(total - cursor, TBS_SID_ACL_FRAGMENT_ENTRIES);
    at = s.word(at, sent_as_list);
    if (at) at = s.word(at, piece);
    if (at) at = s.word(at, total);
    if (at) at = s.elements(at, acl->entries->entries + cursor, piece, wire::shape_of<tbs_acl_cooked_ent_t>);
    if (at) cursor = after_piece(cursor, piece, total);
    return at;
}

wire::cursor get_fragment(wire::source &s, wire::cursor at, tbs_sid_acl_h_t &acl, uint32_t &cursor) {
    uint32_t flag = 0, piece = 0, total = 0;
    const bool first = cursor == 0 || !acl;
    if (first) acl = nullptr;
    at = s.word(at, flag);
    if (!at) return nullptr;
    if (flag != sent_as_list) return first ? at : s.refuse(at - wire::unit);
    at = s.word(at, piece);
    if (at) at = s.word(at, total);
    if (!at) return nullptr;
    const bool progresses = piece > 0 || total == cursor;
    if (piece > TBS_SID_ACL_FRAGMENT_ENTRIES || cursor > total || piece > total - cursor || !progresses)
        return nullptr;
    if (first) {
        acl = new_sid_acl();
        if (piece > 1) enlarge(acl->entries->entries, 0, piece); // just for the piece
    }
    reserve(acl->entries->entries, acl->entries->count, uint64_t{acl->entries->count} + piece);
    at = sid_entries::get_more(s, at, *acl->entries, piece);
    if (at) cursor = after_piece(cursor, piece, total);
    return at;
}

// ---- self-contained bytes

// An encoding never takes more than this: peers count on it.
struct byte_bounds {
    uint64_t an_entry, beside;
};
constexpr byte_bounds classic_bounds = {544, 152}, sid_bounds = {652, 152};

void free_bytes(void **bytes) { stg_free(*bytes); }
using owned_bytes = tbs::owned<void *, free_bytes>;

// An encoding that outgrows its bound is reported like memory that there is none of.
template <class Put>
tbs_status_t encode(uint64_t count, byte_bounds bounds, uint32_t *length_out, void **buffer_out, Put put) {
    return call([&]() -> tbs_status_t {
        const bool countable = count <= (wire::no_maximum - bounds.beside) / bounds.an_entry;
        const uint64_t size = count * bounds.an_entry + bounds.beside;
        owned_bytes buffer(countable ? stg_malloc(size) : nullptr);
        if (!buffer.get()) throw std::bad_alloc();
        XDR stream;
        xdrmem_create(&stream, static_cast<char *>(buffer.get()), static_cast<u_int>(size), XDR_ENCODE);
        wire::sink s(&stream);
        if (!s.finish(put(s, s.begin()))) throw std::bad_alloc();
        *length_out = XDR_GETPOS(&stream);
        *buffer_out = buffer.release();
        return 0;
    });
}

// Runs the layout over the caller's bytes; says where they stop making sense.
template <class Get> tbs_status_t decode(const char *operation, uint32_t length, const void *buffer, Get get) {
    XDR stream;
    xdrstg_create_decode_buf(&stream, buffer, length);
    wire::source s(&stream);
    if (s.finish(get(s, s.begin()))) return 0;
    error<5>(operation, XDR_GETPOS(&stream));
    return TBS_ST_ERROR;
}

// ---- plain forms

// Copies entries as they are into an array of just their number; throws when there is no memory, with all that was
// copied counted.
template <class Entry, class Count> void copy_plain(std::span<const Entry> from, Entry *entries, Count &count) {
    for (const Entry &entry : from) {
        entries[count] = {copy_id(entry.id), entry.perms};
        count++;
    }
}

template <class Entry, class Count>
void copy_behind_header(std::span<const Entry> from, Entry *&entries, Count &count) {
    free_array(entries);
    entries = new_array<Entry>(from.size());
    copy_plain(from, entries, count);
}

} // namespace

extern "C" tbs_status_t tbs_acl_encode(tbs_acl_h_t acl, uint32_t *length_out, void **buffer_out) noexcept {
    if (!acl || !length_out || !buffer_out) return TBS_ST_EINVAL;
    return encode(acl->count, classic_bounds, length_out, buffer_out, [&](wire::sink &s, wire::cursor at) {
        return wire::put(s, at, wire::classic_bytes{entries_of(acl)});
    });
}

extern "C" tbs_status_t tbs_sid_acl_encode(tbs_sid_acl_h_t acl, uint32_t *length_out, void **buffer_out) noexcept {
    if (!acl || !length_out || !buffer_out) return TBS_ST_EINVAL;
    return encode(acl->entries->count, sid_bounds, length_out, buffer_out,
                  [&](wire::sink &s, wire::cursor at) { return wire::put(s, at, wire::sid_bytes{acl->entries}); });
}

extern "C" tbs_status_t tbs_acl_decode(uint32_t length, const void *buffer, tbs_acl_h_t *acl_out) noexcept {
    if (!buffer || !acl_out) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        decoded<wire::classic_bytes> plain;
        const tbs_status_t status = decode("tbs_acl_decode", length, buffer, [&](wire::source &s, wire::cursor at) {
            return wire::get(s, at, static_cast<wire::classic_bytes &>(plain));
        });
        return status ? status : build(plain, acl_out);
    });
}

extern "C" tbs_status_t tbs_sid_acl_decode(uint32_t length, const void *buffer, tbs_sid_acl_h_t *acl_out) noexcept {
    if (!buffer || !acl_out) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        owned_sid_acl acl(new_sid_acl());
        const tbs_status_t status =
            decode("tbs_sid_acl_decode", length, buffer, [&](wire::source &s, wire::cursor at) {
                // By hand, for the entries go into the handle's own list.
                uint32_t present = 0;
                at = wire::always<1>::get(s, at, *acl.get());
                if (at) at = s.word(at, present);
                return at && present ? get_list(s, at, acl.get()) : at;
            });
        if (status == 0) *acl_out = acl.release();
        return status;
    });
}

extern "C" tbs_status_t tbs_acl_get_acl(tbs_acl_h_t acl, tbs_acl_t *plain_out) noexcept {
    if (!acl || !plain_out) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        const std::span<const tbs_acl_ent_t> from = list_of(acl).all();
        decoded<wire::classic_entries> plain;
        if (!from.empty()) {
            plain.entries = static_cast<tbs_acl_ent_t *>(stg_calloc(from.size(), sizeof(tbs_acl_ent_t)));
            if (!plain.entries) throw std::bad_alloc();
        }
        copy_plain(from, plain.entries, plain.count);
        *plain_out = {std::exchange(plain.count, 0), std::exchange(plain.entries, nullptr), nullptr};
        return 0;
    });
}

extern "C" tbs_status_t tbs_acl_set_acl(tbs_acl_h_t *acl_out, const tbs_acl_t *plain) noexcept {
    if (!acl_out || !plain || (plain->count && !plain->entries)) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        owned_acl acl(new_acl());
        copy_behind_header(std::span<const tbs_acl_ent_t>(plain->entries, static_cast<size_t>(plain->count)),
                           acl->entries, acl->count);
        *acl_out = acl.release();
        return 0;
    });
}

extern "C" void tbs_acl_free_acl(tbs_acl_h_t *acl_variable) noexcept { tbs_acl_free(acl_variable); }

extern "C" tbs_status_t tbs_sid_acl_get_acl(tbs_sid_acl_h_t acl, tbs_acl_cooked_info_t *plain_out) noexcept {
    if (!acl || !plain_out) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        decoded<tbs_acl_cooked_info_t> plain;
        copy_behind_header(std::span<const tbs_acl_cooked_ent_t>(list_of(acl).all()), plain.entries, plain.count);
        *plain_out = {std::exchange(plain.count, 0), std::exchange(plain.entries, nullptr)};
        return 0;
    });
}

extern "C" tbs_status_t tbs_sid_acl_set_acl(tbs_sid_acl_h_t *acl_out, const tbs_acl_cooked_info_t *plain) noexcept {
    if (!acl_out || !plain || (plain->count && !plain->entries)) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        owned_sid_acl acl(new_sid_acl());
        copy_behind_header(std::span<const tbs_acl_cooked_ent_t>(plain->entries, plain->count), acl->entries->entries,
                           acl->entries->count);
        *acl_out = acl.release();
        return 0;
    });
}

extern "C" void tbs_sid_acl_free_acl(tbs_sid_acl_h_t *acl_variable) noexcept { tbs_sid_acl_free(acl_variable); }

extern "C" bool_t xdr_tbs_acl_id_kind_t(XDR *stream, tbs_acl_id_kind_t *kind) noexcept { return run(stream, kind); }

extern "C" bool_t xdr_tbs_acl_permission_set_t(XDR *stream, tbs_acl_permission_set_t *perms) noexcept {
    return run(stream, perms);
}

extern "C" bool_t xdr_tbs_acl_id_t(XDR *stream, tbs_acl_id_t *id) noexcept { return run(stream, id); }

extern "C" bool_t xdr_tbs_sid_acl_id_t(XDR *stream, tbs_sid_acl_id_t *id) noexcept { return run(stream, id); }

extern "C" bool_t xdr_tbs_acl_cooked_ent_t(XDR *stream, tbs_acl_cooked_ent_t *entry) noexcept {
    return run(stream, entry);
}

extern "C" bool_t xdr_tbs_acl_cooked_info_t(XDR *stream, tbs_acl_cooked_info_t *list) noexcept {
    return run(stream, list);
}

extern "C" bool_t xdr_tbs_acl_generic_map_t(XDR *stream, tbs_acl_generic_map_t *map) noexcept {
    return run(stream, map);
}

extern "C" bool_t xdr_tbs_acl_h_t(XDR *stream, tbs_acl_h_t *acl) noexcept {
    return wire::pass_handle(module_name, stream, acl, tbs_acl_free, put_classic, get_classic);
}

extern "C" bool_t xdr_tbs_sid_acl_h_t(XDR *stream, tbs_sid_acl_h_t *acl) noexcept {
    return wire::pass_handle(module_name, stream, acl, tbs_sid_acl_free, put_sid, get_sid);
}

extern "C" bool_t xdr_tbs_sid_acl_fragment_t(XDR *stream, tbs_sid_acl_h_t *acl, uint32_t *cursor) noexcept {
    if (!cursor && !(stream && stream->x_op == XDR_FREE)) return FALSE;
    // The cursor moves only when the whole piece has gone through.
    uint32_t moved = cursor ? *cursor : 0;
    const bool_t passed = wire::pass_handle(
        module_name, stream, acl, tbs_sid_acl_free,
        [&](wire::sink &s, wire::cursor at, tbs_sid_acl_h_t handle) { return put_fragment(s, at, handle, moved); },
        [&](wire::source &s, wire::cursor at, tbs_sid_acl_h_t &handle) {
            return get_fragment(s, at, handle, moved);
        });
    if (passed && cursor) *cursor = moved;
    return passed;
}
