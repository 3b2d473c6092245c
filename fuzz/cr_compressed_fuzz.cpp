// Bytes as the data of a compressed configuration record: read, or refused and released all the same. What is read is
// compressed again, and read again.

#include "cr_fuzz_support.hpp"

#include <cstdint>
#include <vector>

using acl_fuzz::demand;
using cr_fuzz::record;

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
    cr_fuzz::narrow_flags(first.cr);
    tbs_cr_compressed_t *sent = nullptr;
    demand(tbs_cr_to_compressed(&first.cr, &sent) == 0, "what was read is compressed");
    demand(tbs_cr_compressed_to_cr(sent, &again.cr) == 0, "and read again");
    tbs_cr_free_compressed_stg(sent);
    return 0;
}
