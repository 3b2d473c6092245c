/*
 * tbs_fstat.h - file status records: reading them from disk, their three forms, their texts, who may do what.
 *
 *   classic    tbs_fstat_t       numeric owner and group, 32-bit size; what older peers exchange
 *   database   tbs_fstat_db_t    owner and group by SID, 64-bit size, a fourth time; what databases keep
 *   full       tbs_fstat_full_t  the database form with the role map that governs the object
 *
 * A record is plain data that belongs to the caller: copy it by assignment. Nothing here keeps a pointer that it was
 * given, or shares anything: every function may be called from any thread. Nothing is printed, but for what the
 * sources of accounts warn of (see ks_cred.h) and for a failed assertion. The XDR routines of the records are in
 * tbs_xdr.h.
 *
 * Functions whose result is a tbs_boolean_t give 0 for success and 1 for failure, or for a text that was cut.
 */
#ifndef TBS_FSTAT_H
#define TBS_FSTAT_H

#include "../ks/ks_cred.h"
#include "../ks/ks_xdr.h"
#include "tbs_status.h"

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

/** The bits that a permission word carries; those of a host's mode have the same values. */
#define TBS_FMODE_BITS 0xDFFu

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

/** File status as databases keep it, with the role map that governs the object. */
typedef struct tbs_fstat_full {
    tbs_ftype_t type;
    tbs_fmode_t mode;
    tbs_dbid_t rolemap_dbid; /**< 0 for none */
    uint32_t nlink;          /**< links */
    uint32_t reserved;       /**< 0 */
    credutl_sid_t usid;
    credutl_sid_t gsid;
    uint64_t size;       /**< bytes */
    uint32_t ino;        /**< file number */
    tbs_timeval_t xtime; /**< the later of mtime and ctime when the record was made */
    tbs_timeval_t atime;
    tbs_timeval_t mtime;
    tbs_timeval_t ctime;
} tbs_fstat_full_t;

/* ---- from one form to another -------------------------------------------------------------------------------- */

/**
 * Makes a classic record of a database record. The block size becomes 1024, the number of blocks 0; rdev and fsid are
 * not written, the caller's values stay. The times are copied but for xtime, which the classic form does not have.
 *
 * @param      record     database record.
 * @param      with_ids   non-zero: owner and group become the host's ids, 0xFFFFFFFE where it has none for the SID.
 *                        0: both are 0xFFFFFFFE (#CREDUTL_NO_ID).
 * @param[out] fstat_out  classic record; untouched on failure.
 * @retval 0               converted
 * @retval TBS_ST_EFBIG    (1077) the size is above 2147483647 (see fileutl_chk_large_file_overflow())
 * @retval TBS_ST_EINVAL   a pointer is NULL
 */
TBS_API tbs_status_t tbs_fstat_cvt_from_db(const tbs_fstat_db_t *record, tbs_boolean_t with_ids,
                                           tbs_fstat_t *fstat_out) TBS_NOEXCEPT;

/**
 * Makes a database record of a classic record. reserved becomes 0, xtime the later of mtime and ctime.
 *
 * @param      fstat       classic record.
 * @param      with_ids    non-zero: owner and group become the SIDs of the ids, CREDUTL_SID_NOBODY for an id that has
 *                         none or when the sources of accounts cannot be asked. 0: both are CREDUTL_SID_NOBODY.
 * @param[out] record_out  database record; untouched on failure.
 * @retval 0               converted
 * @retval TBS_ST_EINVAL   a pointer is NULL
 */
TBS_API tbs_status_t tbs_fstat_cvt_to_db(const tbs_fstat_t *fstat, tbs_boolean_t with_ids,
                                         tbs_fstat_db_t *record_out) TBS_NOEXCEPT;

/** Makes a full record, without a role map, of a database record. @return 0; TBS_ST_EINVAL when a pointer is NULL. */
TBS_API tbs_status_t tbs_fstat_cvt_to_full(const tbs_fstat_db_t *record, tbs_fstat_full_t *full_out) TBS_NOEXCEPT;

/** Makes a database record of a full record, without the role map. @return 0; TBS_ST_EINVAL when a pointer is NULL. */
TBS_API tbs_status_t tbs_fstat_cvt_from_full(const tbs_fstat_full_t *full, tbs_fstat_db_t *record_out) TBS_NOEXCEPT;

/* ---- from disk ----------------------------------------------------------------------------------------------- */

/**
 * Makes a database record of a file on disk. Owner and group are CREDUTL_SID_NOBODY and the file number is 0: those
 * of the host mean nothing to a peer. A device or a socket is of kind #TBS_FTYPE_NULL. The times have whole seconds,
 * the nearest that 32 bits hold; xtime is the later of mtime and ctime.
 *
 * @param      path        product path.
 * @param      follow      non-zero: of a symbolic link its target is meant.
 * @param[out] record_out  the record; untouched on failure.
 * @param[out] error_out   receives the error number as in ks_errno.h; untouched on success.
 * @return  0; 1 when there is no such file or it cannot be examined (see fileutl_stat()), or a pointer is NULL.
 */
TBS_API tbs_boolean_t tbs_get_fstat_db(const char *path, int follow, tbs_fstat_db_t *record_out,
                                       int *error_out) TBS_NOEXCEPT;

/* ---- texts --------------------------------------------------------------------------------------------------- *
 *
 * For diagnosis: numbers in decimal, the mode in octal, times as date_ctime() writes them, in the host's time zone or
 * the one that TZ names: no other thread changes the environment meanwhile. A SID that is none is shown as "". No text
 * ends with a line end. A text that is too long is cut to fit, always terminated.
 */

/**
 * Writes a classic record:
 *
 *     ino: 42; type: 1; mode: 0644; uid: 1000; gid: 100
 *     nlink: 1; size: 5; blsz: 1024; blks: 8 fsid: 7; rdev 0
 *     atime: Thu Jan  1 00:00:00 1970
 *     mtime: Thu Jan  1 00:00:01 1970
 *     ctime: Thu Jan  1 00:00:02 1970
 *
 * @param fstat   the record.
 * @param size    size of @p buffer in bytes.
 * @param buffer  receives the text; "" when @p fstat is NULL.
 * @return  0; 1 when the text was cut, or a pointer is NULL.
 */
TBS_API tbs_boolean_t tbs_format_fstat(const tbs_fstat_t *fstat, size_t size, char *buffer) TBS_NOEXCEPT;

/** Writes a database record: tbs_format_fstat_db_new() with @c verbose 0. @return as there. */
TBS_API tbs_boolean_t tbs_format_fstat_db(const tbs_fstat_db_t *record, size_t size, char *buffer) TBS_NOEXCEPT;

/**
 * Writes a database record, without xtime. The size is shown as a signed number.
 *
 *     ino: 42; type: 1; mode: 0644
 *     usid: S-1-22-1-1000
 *     gsid: S-1-22-2-100
 *     nlink: 1; size: 5
 *     atime: Thu Jan  1 00:00:00 1970
 *     mtime: Thu Jan  1 00:00:01 1970
 *     ctime: Thu Jan  1 00:00:02 1970
 *
 * @param record   the record.
 * @param size     size of @p buffer in bytes.
 * @param verbose  1: behind each time stands a line with seven spaces and "(seconds.microseconds)", neither padded.
 * @param buffer   receives the text; "" when @p record is NULL.
 * @return  0; 1 when the text was cut, or a pointer is NULL.
 */
TBS_API tbs_boolean_t tbs_format_fstat_db_new(const tbs_fstat_db_t *record, size_t size, int verbose,
                                              char *buffer) TBS_NOEXCEPT;

/**
 * Writes a full record: as tbs_format_fstat_db(), with "; rolemap dbid: 0x2a" behind the mode ("0" for none) and a
 * line "xtime: ..." before that of atime.
 *
 * @param full    the record.
 * @param size    size of @p buffer in bytes.
 * @param buffer  receives the text; "" when @p full is NULL.
 * @return  0; 1 when the text has more than @p size characters, or a pointer is NULL. One of just @p size characters
 *          loses its last one to the terminator and gives 0.
 */
TBS_API tbs_boolean_t tbs_format_fstat_full(const tbs_fstat_full_t *full, size_t size, char *buffer) TBS_NOEXCEPT;

/** Size in bytes of a buffer for the name of any kind, terminator included. A longer translation is cut. */
#define TBS_FTYPE_STR_SIZE 64

/**
 * Names a kind of files: "null", "file", "directory", "block device", "character device", "symbolic link", "named
 * pipe", or as the message catalogue translates them; "type 7" for a value that has no name.
 *
 * @param type    the kind.
 * @param buffer  receives the name, at least #TBS_FTYPE_STR_SIZE bytes.
 * @return  @p buffer, NULL for NULL.
 */
TBS_API char *tbs_ftype_to_str(tbs_ftype_t type, char *buffer) TBS_NOEXCEPT;

/* ---- access -------------------------------------------------------------------------------------------------- */

/** What a caller may do, combined. */
enum { TBS_FSTAT_EXECUTE = 1, TBS_FSTAT_WRITE = 2, TBS_FSTAT_READ = 4 };

/**
 * Tells what the calling thread may do with an object by its permission word: the owner's bits for the owner, else
 * the group's for a member of the group, else those of others. Only the first class that matches counts: an owner
 * without a permission does not get it as one of the others. No user is above that.
 *
 * @param      record      the record; its type is not looked at.
 * @param[out] access_out  TBS_FSTAT_READ, TBS_FSTAT_WRITE and TBS_FSTAT_EXECUTE, combined; untouched on failure.
 * @param[out] error_out   receives KS_EINVAL (22) on failure; untouched on success.
 * @return  0; 1 when the caller's credentials cannot be had, or a pointer is NULL.
 */
TBS_API tbs_boolean_t tbs_access_fstat(const tbs_fstat_db_t *record, uint32_t *access_out,
                                       int *error_out) TBS_NOEXCEPT;

/* ---- permission words ---------------------------------------------------------------------------------------- */

/** Gives the mode of the host (mode_t) for a permission word: its #TBS_FMODE_BITS; #TBS_FMODE_NONE stays as it is. */
TBS_API uint32_t tbs_fmode_t_to_mode_t(tbs_fmode_t mode) TBS_NOEXCEPT;

/** Gives the permission word for a mode of the host (mode_t): its #TBS_FMODE_BITS, without kind and sticky bit. */
TBS_API tbs_fmode_t tbs_mode_t_to_fmode_t(uint32_t host_mode) TBS_NOEXCEPT;

/**
 * Takes from a permission word what the file mode creation mask denies to new files.
 *
 * @param mode  any word.
 * @return  the word without the bits of the mask. A mask that cannot be read (see sysutl_get_umask()) fails an
 *          assertion and ends the process.
 */
TBS_API tbs_fmode_t tbs_umask_fmode(tbs_fmode_t mode) TBS_NOEXCEPT;

/**
 * Makes a permission word writable for the owner, and for the group and others as far as they may read; then takes
 * what the file mode creation mask denies, as tbs_umask_fmode() does.
 */
TBS_API tbs_fmode_t tbs_fmode_make_writable(tbs_fmode_t mode) TBS_NOEXCEPT;

TBS_END_C

#endif
