// Bytes as the data of a compressed configuration record: read, or refused and released all the same. What is read is
// compressed again, and read again.

#include "acl_fuzz_support.hpp"
#include "tbs/tbs_cr.h"

#include <cstdint>
#include <vector>

namespace {

using acl_fuzz::demand;

struct record {
    record() = default;
    record(const record &) = delete;
    record &operator=(const record &) = delete;
    ~record() { tbs_cr_free_cr_xdr(&cr); }
    tbs_cr_t cr = {};
};

// Flags beyond 16 bits come in with format 6 and end the process that encodes them.
void narrow_flags(tbs_cr_t &cr) {
    for (uint32_t i = 0; i < cr.fs_predef_count; i++) cr.fs_predefs[i]->result_obj_flags &= 0xFFFF;
    for (uint32_t i = 0; i < cr.mfs_object_count; i++) cr.mfs_objects[i]->result_obj_flags &= 0xFFFF;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool ready = (imsg_set_sink(acl_fuzz::judge, nullptr), true);
    if (!ready || size == 0) return 0;
    std::vector<uint8_t> copy(data, data + size);
    const tbs_cr_compressed_t came = {TBS_CR_COMPRESSED_CURR_FORMAT, copy.size(), copy.data()};
    tbs_cr_compressed_t *owned = nullptr;
    demand(tbs_cr_vx_to_cr_compressed(&came, &owned) == 0, "any data is copied");
    record first, again;
    const tbs_status_t status = tbs_cr_compressed_to_cr(owned, &first.cr);
    tbs_cr_free_compressed_stg(owned);
    demand(status == 0 || status == TBS_ST_ERROR, "a status that is known");
    if (status != 0) return 0;
    narrow_flags(first.cr);
    tbs_cr_compressed_t *sent = nullptr;
    demand(tbs_cr_to_compressed(&first.cr, &sent) == 0, "what was read is compressed");
    demand(tbs_cr_compressed_to_cr(sent, &again.cr) == 0, "and read again");
    tbs_cr_free_compressed_stg(sent);
    return 0;
}
