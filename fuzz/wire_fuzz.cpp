// Bytes as any record that a routine decodes, chosen by the first byte. What is decoded encodes, and decodes to the
// same again; with or without, one free pass releases it.

#include "acl_fuzz_support.hpp"
#include "ezrpc/ezrpc_xdr.h"
#include "ks/ks_xdr.h"
#include "lib/tbs/internal/vob_types.hpp"
#include "tbs/tbs_cr.h"
#include "tbs/tbs_rolemap.h"
#include "tbs/tbs_xdr.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

namespace {

using acl_fuzz::demand;
using bytes = std::vector<char>;

struct routine {
    xdrproc_t pass;
    size_t size; // of the object, zero-filled before it is decoded
};

template <class T> routine of(bool_t (*pass)(XDR *, T *)) { return {reinterpret_cast<xdrproc_t>(pass), sizeof(T)}; }

// A listing with its count; names lie in a pool that nobody reads.
struct listing {
    tbs_dirent_t *entries;
    uint32_t count;
};
bool_t pass_listing(XDR *stream, listing *list) {
    static char pool[1];
    return xdr_tbs_dirent_array(stream, &list->entries, pool, &list->count, UINT32_MAX);
}

// A text in an array, and a directory entry with its storage.
struct name {
    tbs_name_t text;
};
bool_t pass_name(XDR *stream, name *object) { return xdr_tbs_name_t(stream, object->text); }
struct entry {
    tbs_dirent_t fields;
    tbs_name_t text;
};
bool_t pass_entry(XDR *stream, entry *object) {
    object->fields.name = object->text;
    return xdr_tbs_dirent_t(stream, &object->fields);
}

struct fragment {
    tbs_sid_acl_h_t acl;
    uint32_t cursor;
};
bool_t pass_fragment(XDR *stream, fragment *object) {
    object->cursor = 0;
    return xdr_tbs_sid_acl_fragment_t(stream, &object->acl, &object->cursor);
}

const routine base_routines[] = {
    of(xdr_tbs_sid_acl_h_t),
    of(xdr_tbs_acl_h_t),
    of(xdr_tbs_acl_cooked_info_t),
    of(xdr_tbs_acl_cooked_ent_t),
    of(xdr_tbs_sid_acl_id_t),
    of(xdr_tbs_acl_id_t),
    of(pass_fragment),
    of(pass_listing),
    of(pass_entry),
    of(pass_name),
    of(xdr_tbs_string_p_t),
    of(xdr_tbs_uuid_t),
    of(xdr_tbs_fstat_t),
    of(xdr_tbs_fstat_db_t),
    of(xdr_size_t),
    of(xdr_time_t),
    of(xdr_tbs_byte_t),
    of(xdr_tbs_program_null_V1_over),
    of(xdr_timeval),
    of(xdr_credutl_sid_t),
    of(xdr_ks_off64_t),
    of(xdr_stg_area_rpc_ptr_t),
    of(xdr_tbs_rolemap_acl_h_t),
    of(xdr_tbs_cr_compressed_t),
    of(xdr_tbs_cr_vob_desc_p_t),
    of(xdr_tbs_cr_mfs_predef_p_t),
    of(xdr_tbs_cr_slinktext_rec_p_t),
    of(xdr_tbs_cr_fs_predef_p_t),
    of(xdr_tbs_cr_fs_predef_v6_t),
    of(xdr_tbs_cr_mfs_obj_desc_p_t),
    of(xdr_tbs_cr_mfs_obj_desc_v6_t),
    of(xdr_tbs_cr_dep_hash_t),
};

// Those, then the whole family of repository records. What is no record is 0xFF.
const std::vector<routine> &routines() {
    static const std::vector<routine> all = [] {
        std::vector<routine> some(std::begin(base_routines), std::end(base_routines));
        for (const tbs::wire::wire_type &type : tbs::wire::vob_types()) some.push_back({type.pass, type.size});
        return some;
    }();
    return all;
}

bool decode(const routine &r, const void *from, size_t size, bytes &object) {
    object.assign(r.size, 0);
    XDR stream;
    demand(xdrstg_create_decode_buf(&stream, from, static_cast<uint32_t>(size)) == 0, "a stream over bytes");
    return r.pass(&stream, object.data());
}

bytes encode(const routine &r, bytes &object) {
    XDR stream;
    demand(xdrstg_create(&stream, XDR_ENCODE, 0) == 0, "a stream that grows");
    demand(r.pass(&stream, object.data()), "what was decoded encodes");
    const auto *first = static_cast<const char *>(xdrstg_buffer(&stream));
    bytes sent(first, first + XDR_GETPOS(&stream));
    xdrstg_destroy(&stream);
    return sent;
}

void pass(const routine &r, const uint8_t *data, size_t size) {
    bytes object, again;
    if (decode(r, data, size, object)) {
        const bytes sent = encode(r, object);
        demand(sent.size() <= size + 3 || r.pass == of(pass_fragment).pass,
               "what is sent is no longer than what came");
        // A role map that is built in another order may be refused; it has been merged once already.
        const bool decoded = decode(r, sent.data(), sent.size(), again);
        demand(decoded || r.pass == of(xdr_tbs_rolemap_acl_h_t).pass, "what was encoded decodes");
        demand(!decoded || encode(r, again) == sent, "decoding and encoding change nothing");
        xdr_ez_free(r.pass, again.data());
    }
    xdr_ez_free(r.pass, object.data());
}

// The self-contained encodings.
void pass_bytes(const uint8_t *data, size_t size) {
    tbs_sid_acl_h_t by_sid = nullptr;
    tbs_acl_h_t classic = nullptr;
    uint32_t length = 0;
    void *buffer = nullptr;
    if (tbs_sid_acl_decode(static_cast<uint32_t>(size), data, &by_sid) == 0 &&
        tbs_sid_acl_encode(by_sid, &length, &buffer) == 0) {
        tbs_sid_acl_h_t again = nullptr;
        demand(tbs_sid_acl_decode(length, buffer, &again) == 0, "an encoded SID ACL decodes");
        demand(tbs_sid_acl_num_entries(again) == tbs_sid_acl_num_entries(by_sid), "with all its entries");
        tbs_sid_acl_free(&again);
    }
    stg_free(std::exchange(buffer, nullptr));
    if (tbs_acl_decode(static_cast<uint32_t>(size), data, &classic) == 0 &&
        tbs_acl_encode(classic, &length, &buffer) == 0) {
        tbs_acl_h_t again = nullptr;
        demand(tbs_acl_decode(length, buffer, &again) == 0, "an encoded classic ACL decodes");
        demand(tbs_acl_cmp_acl(&again, &classic), "to an equal one");
        tbs_acl_free(&again);
    }
    stg_free(buffer);
    tbs_sid_acl_free(&by_sid);
    tbs_acl_free(&classic);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool ready = (imsg_set_sink(acl_fuzz::judge, nullptr), true);
    if (!ready || size == 0) return 0;
    if (data[0] == 0xFF) {
        pass_bytes(data + 1, size - 1);
    } else {
        pass(routines()[data[0] % routines().size()], data + 1, size - 1);
    }
    return 0;
}
