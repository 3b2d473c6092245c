/*
 * ks_xdr.h - XDR (RFC 4506): streams over storage, and routines of the basic types that the host's library lacks.
 *
 * The XDR type, its primitives (xdr_int(), xdr_u_int(), ...) and xdrmem_create() are those of the host's RPC library,
 * so that every routine works with generated code and RPC transports. A routine takes a stream, whose x_op says
 * encode, decode or free, and a pointer to the value; it gives TRUE when all went well. After a failure the position
 * of the stream is undefined. In the free direction nothing of the stream is read but x_op.
 *
 * Threads: a stream belongs to one thread at a time.
 */
#ifndef KS_XDR_H
#define KS_XDR_H

#include "ks_cred.h"
#include "ks_stg.h"
#include <rpc/xdr.h>

KS_BEGIN_C

/** A time stamp: seconds since 1970-01-01 00:00 UTC and microseconds, 32 bits each on every host. */
typedef struct ks_timeval {
    int32_t tv_sec;
    int32_t tv_usec;
} ks_timeval_t;

/** Link of a record to the storage area that it was made in. It means nothing to a peer. */
typedef stg_area_t *stg_area_rpc_ptr_t;

/* ---- streams over storage ------------------------------------------------------------------------------------ *
 *
 * A stream with a buffer of its own only takes data, and one over bytes of the caller's only delivers them, whatever
 * x_op says: so a stream can be lent to a pass that releases. XDR_SETPOS() goes anywhere in the buffer. XDR_INLINE()
 * gives places that are aligned for whole words and refuses others.
 */

/**
 * Makes a stream over a buffer of its own, which grows as it is written.
 *
 * @param[out] stream   the stream, ended with xdrstg_destroy(); untouched on failure.
 * @param op            XDR_ENCODE; or XDR_FREE for a pass that only releases: then no buffer is taken.
 * @param initial_size  bytes to begin with; 0 takes none until something is written.
 * @retval 0            made
 * @retval KS_EINVAL    @p stream is NULL or @p op is another
 * @retval KS_ENOMEM    no memory
 */
KS_API int xdrstg_create(XDR *stream, enum xdr_op op, uint32_t initial_size) KS_NOEXCEPT;

/**
 * Makes a stream that decodes bytes which stay the caller's.
 *
 * @param[out] stream  the stream, ended with xdrstg_destroy(); untouched on failure.
 * @param buffer       the bytes, of any alignment; must live as long as the stream. May be NULL when @p size is 0.
 * @param size         their number.
 * @retval 0           made
 * @retval KS_EINVAL   a pointer is NULL
 */
KS_API int xdrstg_create_decode_buf(XDR *stream, const void *buffer, uint32_t size) KS_NOEXCEPT;

/**
 * Gives what has been written; its length is XDR_GETPOS().
 *
 * @param stream  a stream of xdrstg_create().
 * @return  the first byte: belongs to the stream, valid until more is written; NULL when nothing was ever written.
 */
KS_API const void *xdrstg_buffer(const XDR *stream) KS_NOEXCEPT;

/** Ends a stream of this header and releases its buffer, if it is the stream's own. NULL and ended ones are ignored. */
KS_API void xdrstg_destroy(XDR *stream) KS_NOEXCEPT;

/**
 * Tells how many bytes a stream can still deliver or take without growing: so a length that a peer claims can be
 * compared before memory is taken for it.
 *
 * @param stream         an encoding or decoding stream.
 * @param[out] left_out  the bytes; untouched when they are not known.
 * @return  non-zero for streams of this header and of xdrmem_create(); 0 for others, which cannot tell.
 */
KS_API int xdr_ks_bytes_left(const XDR *stream, uint32_t *left_out) KS_NOEXCEPT;

/* ---- basic types --------------------------------------------------------------------------------------------- */

/** A 32-bit file offset: one signed unit. */
KS_API bool_t xdr_ks_off32_t(XDR *stream, int32_t *offset) KS_NOEXCEPT;

/** A 64-bit file offset: two units, the high word first. */
KS_API bool_t xdr_ks_off64_t(XDR *stream, int64_t *offset) KS_NOEXCEPT;

/** An unsigned number: one unit. */
KS_API bool_t xdr_ks_uint32_t(XDR *stream, uint32_t *number) KS_NOEXCEPT;

/** A time stamp: two signed units, seconds and microseconds. */
KS_API bool_t xdr_timeval(XDR *stream, ks_timeval_t *time) KS_NOEXCEPT;

/** A SID: a fixed opaque of its 34 bytes, with 2 bytes of padding. Any bytes pass, the all-zero record too. */
KS_API bool_t xdr_credutl_sid_t(XDR *stream, credutl_sid_t *sid) KS_NOEXCEPT;

/**
 * A link to a storage area: one zero word, since an address means nothing elsewhere. NULL after decoding; decoding
 * fails for a word that is not zero. Freeing does not touch the area.
 */
KS_API bool_t xdr_stg_area_rpc_ptr_t(XDR *stream, stg_area_rpc_ptr_t *link) KS_NOEXCEPT;

KS_END_C

#endif
