// cr_fuzz_support.hpp - configuration records of unknown content.
#ifndef FUZZ_CR_FUZZ_SUPPORT_HPP
#define FUZZ_CR_FUZZ_SUPPORT_HPP

#include "acl_fuzz_support.hpp"
#include "tbs/tbs_cr.h"

#include <cstdint>

namespace cr_fuzz {

// A record, released at its end.
struct record {
    record() = default;
    record(const record &) = delete;
    record &operator=(const record &) = delete;
    ~record() { tbs_cr_free_cr_xdr(&cr); }
    tbs_cr_t cr = {};
};

// Flags beyond 16 bits come in with format 6 and end the process that encodes them.
inline void narrow_flags(tbs_cr_t &cr) {
    for (uint32_t i = 0; i < cr.fs_predef_count; i++) cr.fs_predefs[i]->result_obj_flags &= 0xFFFF;
    for (uint32_t i = 0; i < cr.mfs_object_count; i++) cr.mfs_objects[i]->result_obj_flags &= 0xFFFF;
}

} // namespace cr_fuzz

#endif
