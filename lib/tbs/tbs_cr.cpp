#include "tbs/tbs_cr.h"

#include "internal/cr_wire.hpp"
#include "internal/guard.hpp"
#include "internal/owned.hpp"
#include "ks/ks_compress.h"
#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_pfm.h"
#include "ks/ks_xdr.h"

#include <cstring>
#include <initializer_list>
#include <memory>
#include <type_traits>
#include <utility>

using namespace tbs;

namespace {

constexpr char module_name[] = "tbs_cr";
constexpr char source_name[] = "lib/tbs/tbs_cr";
constexpr uint32_t first_encoding = 8192; // bytes

template <class T> bool_t run(XDR *stream, T *value, int line = __builtin_LINE()) noexcept {
    return wire::run(module_name, stream, value, line);
}

template <class T> bool_t run_optional(XDR *stream, T **value, int line = __builtin_LINE()) noexcept {
    return wire::run_optional(module_name, stream, value, line);
}

void assert_narrow_flags(tbs_cr_obj_flags_t flags, const char *condition, int line) {
    if (flags & 0xffff0000) pfm_assert_fail(condition, source_name, line);
}

// ---- streams in memory

class storage_stream {
public:
    ~storage_stream() {
        if (made_) xdrstg_destroy(&xdrs_);
    }
    storage_stream(const storage_stream &) = delete;
    storage_stream &operator=(const storage_stream &) = delete;
    storage_stream() = default;

    // Each gives 0 or an error.
    int encode() { return made(xdrstg_create(&xdrs_, XDR_ENCODE, first_encoding)); }
    int decode(const void *bytes, size_t size) {
        return size > wire::no_maximum ? KS_EFBIG
                                       : made(xdrstg_create_decode_buf(&xdrs_, bytes, static_cast<uint32_t>(size)));
    }
    int release() { return made(xdrstg_create(&xdrs_, XDR_FREE, 0)); }
    XDR *get() { return &xdrs_; }

private:
    int made(int error) {
        made_ = error == 0;
        return error;
    }
    XDR xdrs_{};
    bool made_ = false;
};

struct release_memory {
    void operator()(void *memory) const { stg_free(memory); }
    void operator()(tbs_cr_compressed_t *compressed) const { tbs_cr_free_compressed_stg(compressed); }
};
using owned_memory = std::unique_ptr<void, release_memory>;
using owned_compressed = std::unique_ptr<tbs_cr_compressed_t, release_memory>;

owned_compressed make_compressed() {
    owned_compressed made(static_cast<tbs_cr_compressed_t *>(stg_calloc(1, sizeof(tbs_cr_compressed_t))));
    if (made) made->format_version = TBS_CR_COMPRESSED_CURR_FORMAT;
    return made;
}

// ---- copies

constexpr char *tbs_cr_t::*own_texts[] = {&tbs_cr_t::user,      &tbs_cr_t::group,     &tbs_cr_t::host,
                                          &tbs_cr_t::host_type, &tbs_cr_t::directory, &tbs_cr_t::target,
                                          &tbs_cr_t::command};

// Copies into an area, which keeps what it has been given when a copy fails.
class copier {
public:
    explicit copier(stg_area_t *area) : area_(area) {}

    [[nodiscard]] char *text(const char *from) const {
        if (!from) return nullptr;
        char *copy = stg_area_strdup(area_, from);
        if (!copy) throw std::bad_alloc();
        return copy;
    }
    // An array of objects, with their texts. In an area they lie in one piece; on the heap each is released by itself.
    template <class T>
    void objects(T *const *from, uint32_t count, T **&to, uint32_t &to_count,
                 std::initializer_list<char * T::*> texts_of) const {
        to = array<T *>(count);
        to_count = count;
        T *const piece = area_ && count != 0 ? static_cast<T *>(allocate(count * sizeof(T))) : nullptr;
        for (uint32_t i = 0; i < count; i++) {
            if (!from[i]) continue;
            T *one = to[i] = piece ? piece + i : static_cast<T *>(allocate(sizeof(T)));
            *one = *from[i];
            for (char *T::*member : texts_of) one->*member = nullptr; // until it has its own
            for (char *T::*member : texts_of) one->*member = text(from[i]->*member);
        }
    }
    void texts(char *const *from, uint32_t count, char **&to, uint32_t &to_count) const {
        to = array<char *>(count);
        to_count = count;
        for (uint32_t i = 0; i < count; i++) to[i] = text(from[i]);
    }

private:
    [[nodiscard]] void *allocate(size_t size) const {
        void *memory = stg_alloc(area_, size);
        if (!memory) throw std::bad_alloc();
        return memory;
    }
    // An array of pointers.
    template <class T> [[nodiscard]] T *array(uint32_t count) const {
        static_assert(std::is_pointer_v<T>);
        if (count == 0) return nullptr;
        void *memory = allocate(count * sizeof(void *));
        std::memset(memory, 0, count * sizeof(void *));
        return static_cast<T *>(memory);
    }
    stg_area_t *area_;
};

// A copy that is being made. On the general heap nobody else would release what a failed one has.
class half_made {
public:
    explicit half_made(bool is_on_heap) : is_on_heap_(is_on_heap) {}
    half_made(const half_made &) = delete;
    half_made &operator=(const half_made &) = delete;
    ~half_made() {
        if (is_on_heap_) wire::drop(record);
    }
    tbs_cr_t take() {
        is_on_heap_ = false;
        return record;
    }
    tbs_cr_t record = {};

private:
    bool is_on_heap_;
};

bool has_its_arrays(const tbs_cr_t &cr) {
    return (cr.variables || !cr.variable_count) && (cr.mfs_predefs || !cr.mfs_predef_count) &&
           (cr.fs_predefs || !cr.fs_predef_count) && (cr.options || !cr.option_count) && (cr.vobs || !cr.vob_count) &&
           (cr.mfs_objects || !cr.mfs_object_count) && (cr.slinktexts || !cr.slinktext_count);
}

// The copy is whole at every moment, as far as it goes.
void copy_members(const tbs_cr_t &from, const copier &copy, tbs_cr_t &to) {
    to.format_version = from.format_version;
    to.build_time = from.build_time;
    to.elapsed = from.elapsed;
    to.exit_status = from.exit_status;
    to.target_oid = from.target_oid;
    to.view_uuid = from.view_uuid;
    to.began = from.began;
    to.flags = from.flags;
    for (char *tbs_cr_t::*member : own_texts) to.*member = copy.text(from.*member);
    copy.texts(from.variables, from.variable_count, to.variables, to.variable_count);
    copy.objects(from.mfs_predefs, from.mfs_predef_count, to.mfs_predefs, to.mfs_predef_count,
                 {&tbs_cr_mfs_predef_t::pathname, &tbs_cr_mfs_predef_t::version});
    copy.objects(from.fs_predefs, from.fs_predef_count, to.fs_predefs, to.fs_predef_count,
                 {&tbs_cr_fs_predef_t::pathname, &tbs_cr_fs_predef_t::checksum});
    copy.texts(from.options, from.option_count, to.options, to.option_count);
    copy.objects(from.vobs, from.vob_count, to.vobs, to.vob_count, {&tbs_cr_vob_desc_t::pathname});
    copy.objects(from.mfs_objects, from.mfs_object_count, to.mfs_objects, to.mfs_object_count,
                 {&tbs_cr_mfs_obj_desc_t::name});
    copy.objects(from.slinktexts, from.slinktext_count, to.slinktexts, to.slinktext_count,
                 {&tbs_cr_slinktext_rec_t::text});
}

// ---- release

void free_texts(char **&texts, uint32_t &count) {
    for (uint32_t i = 0; texts && i < count; i++) stg_free(texts[i]);
    stg_free(std::exchange(texts, nullptr));
    count = 0;
}

template <class T, class F> void free_objects(T **&objects, uint32_t &count, F free_members) {
    for (uint32_t i = 0; objects && i < count; i++) {
        if (objects[i]) free_members(*objects[i]);
        stg_free(objects[i]);
    }
    stg_free(std::exchange(objects, nullptr));
    count = 0;
}

} // namespace

// ---- formats

extern "C" int32_t tbs_cr_get_fmt_vers(const tbs_cr_t *cr) noexcept {
    if (!cr) return wire::cr_narrow_format;
    for (uint32_t i = 0; cr->fs_predefs && i < cr->fs_predef_count; i++) {
        const tbs_cr_fs_predef_t *file = cr->fs_predefs[i];
        if (!file) continue;
        assert_narrow_flags(file->result_obj_flags, "!(non_mvfs_p->result_obj_flags & 0xffff0000)", 421);
        if (fileutl_chk_large_file_overflow(file->size, 0)) return wire::cr_wide_format;
    }
    for (uint32_t i = 0; cr->mfs_objects && i < cr->mfs_object_count; i++) {
        const tbs_cr_mfs_obj_desc_t *object = cr->mfs_objects[i];
        if (!object) continue;
        assert_narrow_flags(object->result_obj_flags, "!(mvfs_p->result_obj_flags & 0xffff0000)", 438);
    }
    return wire::cr_narrow_format;
}

extern "C" tbs_boolean_t tbs_cr_is_supported_fmt(const int32_t *format_version) noexcept {
    return format_version && static_cast<uint32_t>(*format_version) - 4u < 3u;
}

// ---- the compressed form

extern "C" tbs_status_t tbs_cr_to_compressed(tbs_cr_t *cr, tbs_cr_compressed_t **compressed_out) noexcept {
    if (!cr || !compressed_out) return TBS_ST_EINVAL;
    storage_stream stream;
    if (const int error = stream.encode()) return tbs_errno2status(error);
    if (!xdr_tbs_cr_t(stream.get(), cr)) return TBS_ST_ERROR;
    owned_compressed made = make_compressed();
    if (!made) return TBS_ST_ERROR;
    size_t length = 0;
    made->data =
        static_cast<uint8_t *>(compress_compress(xdrstg_buffer(stream.get()), XDR_GETPOS(stream.get()), &length));
    if (!made->data) return TBS_ST_ERROR;
    made->length = length;
    *compressed_out = made.release();
    return 0;
}

extern "C" tbs_status_t tbs_cr_compressed_to_cr(const tbs_cr_compressed_t *compressed, tbs_cr_t *cr_out) noexcept {
    if (!compressed || !cr_out) return TBS_ST_EINVAL;
    if (compressed->format_version != TBS_CR_COMPRESSED_CURR_FORMAT)
        pfm_assert_fail("(ccr_p->format_version == TBS_CR_COMPRESSED_CURR_FORMAT)", source_name, 193);
    size_t size = 0;
    const owned_memory content(compress_uncompress(compressed->data, compressed->length, &size));
    if (!content) return TBS_ST_ERROR;
    storage_stream stream;
    if (const int error = stream.decode(content.get(), size)) return tbs_errno2status(error);
    return xdr_tbs_cr_t(stream.get(), cr_out) ? 0 : TBS_ST_ERROR;
}

extern "C" tbs_status_t tbs_cr_vx_to_cr_compressed(const tbs_cr_compressed_t *transfer,
                                                   tbs_cr_compressed_t **compressed_out) noexcept {
    if (!transfer || !compressed_out) return TBS_ST_EINVAL;
    if (transfer->format_version != TBS_CR_COMPRESSED_CURR_FORMAT) return TBS_ST_ERROR;
    if (transfer->length && !transfer->data) return TBS_ST_ERROR;
    owned_compressed made = make_compressed();
    if (!made) return TBS_ST_ERROR;
    made->data = static_cast<uint8_t *>(stg_malloc(transfer->length));
    if (!made->data) return TBS_ST_ERROR;
    made->length = transfer->length;
    if (transfer->length) std::memcpy(made->data, transfer->data, transfer->length);
    *compressed_out = made.release();
    return 0;
}

// ---- copies, and their end

extern "C" tbs_status_t tbs_cr_copy_cr(const tbs_cr_t *cr, stg_area_t *area, tbs_cr_t *cr_out) noexcept {
    if (!cr || !cr_out || !has_its_arrays(*cr)) return TBS_ST_EINVAL;
    return call(module_name, [&]() -> tbs_status_t {
        half_made made(area == nullptr);
        copy_members(*cr, copier(area), made.record);
        *cr_out = made.take();
        return 0;
    });
}

extern "C" void tbs_cr_free_cr_xdr(tbs_cr_t *cr) noexcept {
    if (!cr) return;
    storage_stream stream;
    if (stream.release() == 0) xdr_tbs_cr_t(stream.get(), cr);
}

extern "C" void tbs_cr_free_cr_stg(tbs_cr_t *cr) noexcept {
    if (!cr) return;
    for (char *tbs_cr_t::*member : own_texts) stg_free(std::exchange(cr->*member, nullptr));
    free_texts(cr->variables, cr->variable_count);
    free_objects(cr->mfs_predefs, cr->mfs_predef_count, [](tbs_cr_mfs_predef_t &one) {
        stg_free(one.pathname);
        stg_free(one.version);
    });
    free_objects(cr->fs_predefs, cr->fs_predef_count, [](tbs_cr_fs_predef_t &one) { stg_free(one.pathname); });
    free_texts(cr->options, cr->option_count);
    free_objects(cr->vobs, cr->vob_count, [](tbs_cr_vob_desc_t &one) { stg_free(one.pathname); });
    free_objects(cr->mfs_objects, cr->mfs_object_count, [](tbs_cr_mfs_obj_desc_t &one) { stg_free(one.name); });
}

extern "C" void tbs_cr_free_compressed_stg(tbs_cr_compressed_t *compressed) noexcept {
    if (!compressed) return;
    stg_free(compressed->data);
    stg_free(compressed);
}

// ---- XDR routines

extern "C" bool_t xdr_tbs_cr_t(XDR *stream, tbs_cr_t *cr) noexcept {
    if (wire::is_direction(stream) && cr && stream->x_op == XDR_ENCODE) cr->format_version = tbs_cr_get_fmt_vers(cr);
    return run(stream, cr);
}
extern "C" bool_t xdr_tbs_cr_compressed_t(XDR *stream, tbs_cr_compressed_t *compressed) noexcept {
    return run(stream, compressed);
}
extern "C" bool_t xdr_tbs_cr_vob_desc_t(XDR *stream, tbs_cr_vob_desc_t *vob) noexcept { return run(stream, vob); }
extern "C" bool_t xdr__tbs_cr_vob_desc_t(XDR *stream, tbs_cr_vob_desc_t *vob) noexcept { return run(stream, vob); }
extern "C" bool_t xdr_tbs_cr_vob_desc_p_t(XDR *stream, tbs_cr_vob_desc_t **vob) noexcept {
    return run_optional(stream, vob);
}
extern "C" bool_t xdr_tbs_cr_mfs_predef_t(XDR *stream, tbs_cr_mfs_predef_t *object) noexcept {
    return run(stream, object);
}
extern "C" bool_t xdr__tbs_cr_mfs_predef_t(XDR *stream, tbs_cr_mfs_predef_t *object) noexcept {
    return run(stream, object);
}
extern "C" bool_t xdr_tbs_cr_mfs_predef_p_t(XDR *stream, tbs_cr_mfs_predef_t **object) noexcept {
    return run_optional(stream, object);
}
extern "C" bool_t xdr_tbs_cr_slinktext_rec_t(XDR *stream, tbs_cr_slinktext_rec_t *link) noexcept {
    return run(stream, link);
}
extern "C" bool_t xdr__tbs_cr_slinktext_rec_t(XDR *stream, tbs_cr_slinktext_rec_t *link) noexcept {
    return run(stream, link);
}
extern "C" bool_t xdr_tbs_cr_slinktext_rec_p_t(XDR *stream, tbs_cr_slinktext_rec_t **link) noexcept {
    return run_optional(stream, link);
}
extern "C" bool_t xdr_tbs_cr_fs_predef_t(XDR *stream, tbs_cr_fs_predef_t *file) noexcept { return run(stream, file); }
extern "C" bool_t xdr__tbs_cr_fs_predef_t(XDR *stream, tbs_cr_fs_predef_t *file) noexcept {
    return run(stream, file);
}
extern "C" bool_t xdr_tbs_cr_fs_predef_p_t(XDR *stream, tbs_cr_fs_predef_t **file) noexcept {
    return run_optional(stream, file);
}
extern "C" bool_t xdr_tbs_cr_mfs_obj_desc_t(XDR *stream, tbs_cr_mfs_obj_desc_t *object) noexcept {
    return run(stream, object);
}
extern "C" bool_t xdr__tbs_cr_mfs_obj_desc_t(XDR *stream, tbs_cr_mfs_obj_desc_t *object) noexcept {
    return run(stream, object);
}
extern "C" bool_t xdr_tbs_cr_mfs_obj_desc_p_t(XDR *stream, tbs_cr_mfs_obj_desc_t **object) noexcept {
    return run_optional(stream, object);
}
extern "C" bool_t xdr_tbs_cr_fs_predef_v6_t(XDR *stream, tbs_cr_fs_predef_t *file) noexcept {
    return run(stream, static_cast<wire::narrow_fs_predef *>(file));
}
extern "C" bool_t xdr_tbs_cr_mfs_obj_desc_v6_t(XDR *stream, tbs_cr_mfs_obj_desc_t *object) noexcept {
    return run(stream, static_cast<wire::narrow_mfs_obj_desc *>(object));
}
extern "C" bool_t xdr_tbs_cr_flags_t(XDR *stream, tbs_cr_flags_t *flags) noexcept { return run(stream, flags); }
extern "C" bool_t xdr_tbs_cr_obj_flags_t(XDR *stream, tbs_cr_obj_flags_t *flags) noexcept {
    return run(stream, flags);
}
extern "C" bool_t xdr_tbs_cr_ftype_t(XDR *stream, tbs_cr_ftype_t *kind) noexcept { return run(stream, kind); }
extern "C" bool_t xdr_tbs_cr_mtype_t(XDR *stream, tbs_cr_mtype_t *kind) noexcept { return run(stream, kind); }
extern "C" bool_t xdr_tbs_cr_dep_hash_t(XDR *stream, tbs_cr_dep_hash_t *hash) noexcept { return run(stream, hash); }
