// base_wire.hpp - the records of the base types.
#ifndef TBS_INTERNAL_BASE_WIRE_HPP
#define TBS_INTERNAL_BASE_WIRE_HPP

#include "tbs/tbs_fstat.h"
#include "tbs/tbs_xdr.h"
#include "wire.hpp"

namespace tbs::wire {

// One member a line.
// clang-format off

template <> struct record<tbs_fstat_t> : rows<
    scalar<&tbs_fstat_t::type>,
    scalar<&tbs_fstat_t::mode>,
    scalar<&tbs_fstat_t::nlink>,
    scalar<&tbs_fstat_t::uid>,
    scalar<&tbs_fstat_t::gid>,
    scalar<&tbs_fstat_t::size>,
    scalar<&tbs_fstat_t::blsz>,
    scalar<&tbs_fstat_t::rdev>,
    scalar<&tbs_fstat_t::blks>,
    scalar<&tbs_fstat_t::fsid>,
    scalar<&tbs_fstat_t::ino>,
    time<&tbs_fstat_t::atime>,
    time<&tbs_fstat_t::mtime>,
    time<&tbs_fstat_t::ctime>> {};
static_assert(least(record<tbs_fstat_t>{}) == 17 * unit);

template <> struct record<tbs_fstat_db_t> : rows<
    scalar<&tbs_fstat_db_t::type>,
    scalar<&tbs_fstat_db_t::mode>,
    scalar<&tbs_fstat_db_t::nlink>,
    scalar<&tbs_fstat_db_t::reserved>,
    sid<&tbs_fstat_db_t::usid>,
    sid<&tbs_fstat_db_t::gsid>,
    low_first<&tbs_fstat_db_t::size>,
    scalar<&tbs_fstat_db_t::ino>,
    time<&tbs_fstat_db_t::xtime>,
    time<&tbs_fstat_db_t::atime>,
    time<&tbs_fstat_db_t::mtime>,
    time<&tbs_fstat_db_t::ctime>> {};
static_assert(least(record<tbs_fstat_db_t>{}) == 15 * unit + 2 * padded(sizeof(credutl_sid_t)));

// In a listing, whose names lie in one pool.
template <> struct record<tbs_dirent_t> : rows<
    scalar<&tbs_dirent_t::number>,
    scalar<&tbs_dirent_t::dbid>,
    pooled<&tbs_dirent_t::name>> {};

// clang-format on

} // namespace tbs::wire

#endif
