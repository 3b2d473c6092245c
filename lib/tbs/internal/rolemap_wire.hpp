// rolemap_wire.hpp - the records of role maps.
#ifndef TBS_INTERNAL_ROLEMAP_WIRE_HPP
#define TBS_INTERNAL_ROLEMAP_WIRE_HPP

#include "acl_wire.hpp"
#include "tbs/tbs_rolemap.h"

namespace tbs::wire {

// The bindings, as they come.
struct plain_rolemap {
    uint64_t count;
    tbs_role_binding_t *bindings;
};

// One member a line.
// clang-format off

template <> struct record<tbs_role_binding_t> : rows<
    part<&tbs_role_binding_t::role>,
    array<&tbs_role_binding_t::id_count, &tbs_role_binding_t::ids>> {};

template <> struct record<plain_rolemap> : rows<
    array<&plain_rolemap::count, &plain_rolemap::bindings>> {};

// clang-format on

} // namespace tbs::wire

#endif
