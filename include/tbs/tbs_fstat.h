/*
 * tbs_fstat.h - file status records.
 */
#ifndef TBS_FSTAT_H
#define TBS_FSTAT_H

#include "../ks/ks_cred.h"
#include "../ks/ks_xdr.h"
#include "tbs_types.h"

TBS_BEGIN_C

/** Time stamp: seconds since 1970-01-01 00:00 UTC, microseconds. */
typedef ks_timeval_t tbs_timeval_t;

/** Kind of a file. The values appear on the wire. */
typedef uint32_t tbs_ftype_t;
enum {
    TBS_FTYPE_NULL = 0, /**< none, or unknown */
    TBS_FTYPE_FILE = 1,
    TBS_FTYPE_DIRECTORY = 2,
    TBS_FTYPE_BLOCK_DEVICE = 3,
    TBS_FTYPE_CHARACTER_DEVICE = 4,
    TBS_FTYPE_SYMBOLIC_LINK = 5,
    TBS_FTYPE_NAMED_PIPE = 6
};

/** Permission word: the nine permission bits of POSIX, 0x400 set-group-id, 0x800 set-user-id. */
typedef uint32_t tbs_fmode_t;

/** The permission word that says that no mode is given. */
#define TBS_FMODE_NONE 0xFFFFFFFFu

/** File status as older peers exchange it. */
typedef struct tbs_fstat {
    tbs_ftype_t type;
    tbs_fmode_t mode;
    uint32_t nlink; /**< links */
    uint32_t uid;
    uint32_t gid;
    uint32_t size; /**< bytes */
    uint32_t blsz; /**< bytes of a block */
    uint32_t rdev; /**< device number of a device file */
    uint32_t blks; /**< blocks allocated */
    uint32_t fsid; /**< file system */
    uint32_t ino;  /**< file number */
    tbs_timeval_t atime;
    tbs_timeval_t mtime;
    tbs_timeval_t ctime;
} tbs_fstat_t;

/** File status as databases keep it. */
typedef struct tbs_fstat_db {
    tbs_ftype_t type;
    tbs_fmode_t mode;
    uint32_t nlink;    /**< links */
    uint32_t reserved; /**< 0 */
    credutl_sid_t usid;
    credutl_sid_t gsid;
    uint64_t size;       /**< bytes */
    uint32_t ino;        /**< file number */
    tbs_timeval_t xtime; /**< the later of mtime and ctime when the record was made */
    tbs_timeval_t atime;
    tbs_timeval_t mtime;
    tbs_timeval_t ctime;
} tbs_fstat_db_t;

TBS_END_C

#endif
