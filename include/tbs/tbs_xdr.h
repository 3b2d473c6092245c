/*
 * tbs_xdr.h - XDR routines (RFC 4506) of the base types.
 *
 * Each routine takes a stream, whose x_op says encode, decode or free, and a pointer to the value, and gives TRUE when
 * all went well. It is FALSE when the stream ends or refuses, when the value does not fit its form, for a NULL, and
 * for lack of memory (the message is printed). After a failure the position of the stream is undefined, and what was
 * decoded is released by the same routine in the free direction. There nothing of the stream is read but x_op, and a
 * NULL is no failure where the type owns nothing.
 *
 * Decoding into a record overwrites it unread: texts and lists that it holds are to be released before.
 *
 * Routines that have a stream of xdrmem_create(), of ks_xdr.h or of a transport behind them send the same bytes on
 * all of them. Any routine may be called from any thread; a stream belongs to one thread at a time.
 */
#ifndef TBS_XDR_H
#define TBS_XDR_H

#include "../ks/ks_xdr.h"
#include "tbs_fstat.h"
#include "tbs_status.h"
#include "tbs_text_mode.h"
#include "tbs_uuid.h"

TBS_BEGIN_C

/** Name of a host, terminated. */
typedef char tbs_hostname_t[64];
/** Name of an object, terminated. */
typedef char tbs_name_t[256];
/** Pathname, terminated. */
typedef char tbs_pname_t[1024];
/** Text in a buffer of the caller's. */
typedef char *tbs_string_t;
/** Text that owns its storage. */
typedef char *tbs_string_p_t;

/** Entry of a directory listing. */
typedef struct tbs_dirent {
    uint32_t number;
    tbs_dbid_t dbid;
    char *name; /**< storage of the caller's */
} tbs_dirent_t;

/* ---- one 32-bit unit ----------------------------------------------------------------------------------------- */

/** A status, signed. */
TBS_API bool_t xdr_tbs_status_t(XDR *stream, tbs_status_t *status) TBS_NOEXCEPT;
/** A truth value, as it stands. */
TBS_API bool_t xdr_tbs_boolean_t(XDR *stream, tbs_boolean_t *truth) TBS_NOEXCEPT;
/** A process id, signed. */
TBS_API bool_t xdr_pid_t(XDR *stream, int32_t *pid) TBS_NOEXCEPT;
/** A transaction id. */
TBS_API bool_t xdr_xid_t(XDR *stream, uint32_t *xid) TBS_NOEXCEPT;
/** A database id. */
TBS_API bool_t xdr_tbs_dbid_t(XDR *stream, tbs_dbid_t *dbid) TBS_NOEXCEPT;
/** A file kind. */
TBS_API bool_t xdr_tbs_ftype_t(XDR *stream, tbs_ftype_t *type) TBS_NOEXCEPT;
/** A permission word. */
TBS_API bool_t xdr_tbs_fmode_t(XDR *stream, tbs_fmode_t *mode) TBS_NOEXCEPT;
/** A delivery mask. */
TBS_API bool_t xdr_tbs_notify_delivery_mask_t(XDR *stream, tbs_notify_delivery_mask_t *mask) TBS_NOEXCEPT;
/** A generation number. */
TBS_API bool_t xdr_vob_gen_num_t(XDR *stream, vob_gen_num_t *number) TBS_NOEXCEPT;
/** An IPv4 address: the value of the 32 bits of an in_addr. */
TBS_API bool_t xdr_in_addr(XDR *stream, uint32_t *address) TBS_NOEXCEPT;
/** A byte; of a decoded unit the low 8 bits. */
TBS_API bool_t xdr_tbs_byte_t(XDR *stream, tbs_byte_t *byte) TBS_NOEXCEPT;
/** A text mode; unknown ones pass. */
TBS_API bool_t xdr_tbs_text_mode_t(XDR *stream, tbs_text_mode_t *mode) TBS_NOEXCEPT;
/** A kind of repository object; unknown ones pass. */
TBS_API bool_t xdr_vob_mtype_t(XDR *stream, vob_mtype_t *kind) TBS_NOEXCEPT;

/* ---- 64 bits in one 32-bit unit: encoding a value that does not fit fails ------------------------------------- */

/** A size, unsigned. */
TBS_API bool_t xdr_size_t(XDR *stream, uint64_t *size) TBS_NOEXCEPT;
/** An unsigned number. */
TBS_API bool_t orsik_xdr_uint64(XDR *stream, uint64_t *number) TBS_NOEXCEPT;
/** A time in seconds since 1970, signed. */
TBS_API bool_t xdr_time_t(XDR *stream, int64_t *time) TBS_NOEXCEPT;
/** A signed number. */
TBS_API bool_t orsik_xdr_int64(XDR *stream, int64_t *number) TBS_NOEXCEPT;

/* ---- texts: a length, the characters, padding; a text with a NUL inside is refused on decode ------------------ */

/** A host name of at most 63 characters, held in a tbs_hostname_t. Free releases nothing. */
TBS_API bool_t xdr_tbs_hostname_t(XDR *stream, char *name) TBS_NOEXCEPT;
/** A name of at most 255 characters, held in a tbs_name_t. Free releases nothing. */
TBS_API bool_t xdr_tbs_name_t(XDR *stream, char *name) TBS_NOEXCEPT;
/** A pathname of at most 1023 characters, held in a tbs_pname_t. Free releases nothing. */
TBS_API bool_t xdr_tbs_pname_t(XDR *stream, char *name) TBS_NOEXCEPT;
/**
 * A text of any length in a buffer of the caller's, which must be large enough for whatever arrives: only for peers
 * that are trusted. Free releases nothing.
 */
TBS_API bool_t xdr_tbs_string_t(XDR *stream, tbs_string_t text) TBS_NOEXCEPT;
/**
 * A text of any length. NULL is refused on encode. On decode NULL becomes a new text, #stg_empty_string when it is
 * empty, which nobody may write to; any other is decoded into. Released on free, then NULL.
 */
TBS_API bool_t xdr_tbs_string_p_t(XDR *stream, tbs_string_p_t *text) TBS_NOEXCEPT;

/* ---- identifiers --------------------------------------------------------------------------------------------- */

/**
 * An identifier in 16 bytes: time_low; time_hi_and_version before time_mid; the other 8 bytes in order. The order of
 * the second unit is that of all peers, though not of the record.
 */
TBS_API bool_t xdr_tbs_uuid_t(XDR *stream, tbs_uuid_t *uuid) TBS_NOEXCEPT;
/** An object identifier; as xdr_tbs_uuid_t(). */
TBS_API bool_t xdr_tbs_oid_t(XDR *stream, tbs_oid_t *oid) TBS_NOEXCEPT;

/* ---- directory entries --------------------------------------------------------------------------------------- */

/**
 * A directory entry: number, database id, name of at most 255 characters.
 *
 * @param stream  the stream.
 * @param entry   the entry; on decode its name points to storage of 256 bytes. Free releases nothing.
 * @return  FALSE too when the name is NULL.
 */
TBS_API bool_t xdr_tbs_dirent_t(XDR *stream, tbs_dirent_t *entry) TBS_NOEXCEPT;

/**
 * A directory listing whose names travel apart, in one pool: a count, then number, database id and the name's offset
 * into the pool for each entry.
 *
 * @param stream     the stream.
 * @param entries    the array. On decode NULL becomes a new one, which free releases (the variable is set to NULL);
 *                   any other must hold @p max entries. Offsets are not checked on decode: the caller knows the size
 *                   of the pool.
 * @param name_base  first byte of the pool.
 * @param count      number of entries.
 * @param max        most entries.
 * @return  FALSE too when there are more entries than @p max (before memory is taken; the count is untouched), when
 *          there are entries and @p name_base is NULL, or a name to encode lies before the pool or 4 GiB behind its
 *          beginning.
 */
TBS_API bool_t xdr_tbs_dirent_array(XDR *stream, tbs_dirent_t **entries, char *name_base, uint32_t *count,
                                    uint32_t max) TBS_NOEXCEPT;

/* ---- file status records ------------------------------------------------------------------------------------- */

/** A file status: 17 units in the order of the record. */
TBS_API bool_t xdr_tbs_fstat_t(XDR *stream, tbs_fstat_t *status) TBS_NOEXCEPT;

/** A database file status, in the order of the record; of the size the low 32 bits come first. */
TBS_API bool_t xdr_tbs_fstat_db_t(XDR *stream, tbs_fstat_db_t *status) TBS_NOEXCEPT;

/* ---- remote procedures --------------------------------------------------------------------------------------- */

/** Argument of the null procedure, version 1: a number. Decoding fails unless its low 8 bits are zero. */
TBS_API bool_t xdr_tbs_program_null_V1_over(XDR *stream, int32_t *number) TBS_NOEXCEPT;
/** Result of the null procedure, version 1: a number. */
TBS_API bool_t xdr_tbs_program_null_V1_back(XDR *stream, int32_t *number) TBS_NOEXCEPT;
/** Argument of a server's exit request: nothing. @return always TRUE. */
TBS_API bool_t xdr_server_exit_req(XDR *stream, void *nothing) TBS_NOEXCEPT;
/** Result of a server's exit request: a status. */
TBS_API bool_t xdr_server_exit_reply(XDR *stream, tbs_status_t *status) TBS_NOEXCEPT;

TBS_END_C

#endif
