/*
 * ezrpc_xdr.h - XDR (RFC 4506) texts, arrays and optional objects that can be read from anybody.
 *
 * The routines send what xdr_string(), xdr_array(), xdr_pointer() and xdr_vector() of the host's RPC library send,
 * and can stand in their place. What they add is care for what a peer claims: memory is taken for what the stream can
 * still hold or has delivered, never for a mere count (a first piece of at most 4 KiB, then doubling); sizes are
 * multiplied checked; objects nest at most 64 deep. After a failed decode the object is released by the same routine
 * in the free direction.
 *
 * Memory is that of stg_malloc(). A pointer that is NULL is given fresh memory on decode; any other is decoded into,
 * as far as the maximum allows, and belongs to the caller; #stg_empty_string counts as NULL. Free releases all that
 * is there, whatever the routines of elements and objects answer, and sets the pointer to NULL; it never fails.
 *
 * Element routines are called with a third argument, the largest maximum, so that xdr_ez_string8() is one. An element
 * takes at least one unit on the wire: a count that the rest of the stream has no room for is refused at once.
 *
 * Threads: every function may be called from any thread; a stream belongs to one thread at a time. Nothing is printed.
 */
#ifndef EZRPC_XDR_H
#define EZRPC_XDR_H

#include "ezrpc_types.h"
#include <rpc/xdr.h>

KS_BEGIN_C

/** Objects within objects that these routines follow. */
#define EZRPC_NESTING_LIMIT 64

/**
 * A text: its length, the characters, padding.
 *
 * @param stream  the stream.
 * @param text    the text; NULL is sent as "". On decode NULL becomes a new text, stg_empty_string when it is empty;
 *                any other pointer receives at most @p max characters and a terminator, and "" on failure.
 * @param max     most characters.
 * @return  FALSE when the stream ends or refuses, the text is longer than @p max, a decoded text holds a NUL, or there
 *          is no memory.
 */
EZRPC_API bool_t xdr_ez_string8(XDR *stream, char **text, u_int max) KS_NOEXCEPT;

/**
 * An array: its count, then the elements.
 *
 * @param stream    the stream.
 * @param elements  the array; may be NULL when the count is 0. A decoded array of no element is NULL.
 * @param count     number of elements. After a failed decode that of the elements that there is memory for.
 * @param max       most elements.
 * @param size      bytes of an element.
 * @param element   routine of an element.
 * @return  FALSE when the stream or an element fails, the count is above @p max, or there is no memory.
 */
EZRPC_API bool_t xdr_ez_array(XDR *stream, char **elements, u_int *count, u_int max, u_int size,
                              xdrproc_t element) KS_NOEXCEPT;

/**
 * An array of pointers to objects of their own, sent like an array of the objects. On decode each object is taken
 * zero-filled.
 *
 * @param stream   the stream.
 * @param objects  the array of pointers; may be NULL when the count is 0.
 * @param count    number of pointers.
 * @param max      most pointers.
 * @param size     bytes of an object.
 * @param object   routine of an object.
 * @return  as xdr_ez_array(); FALSE too for a NULL pointer to encode.
 */
EZRPC_API bool_t xdr_ez_parray(XDR *stream, char **objects, u_int *count, u_int max, u_int size,
                               xdrproc_t object) KS_NOEXCEPT;

/**
 * An optional object: a word that is not zero when it is present, then the object.
 *
 * @param stream  the stream.
 * @param object  the object; NULL when absent. On decode NULL becomes a new, zero-filled one.
 * @param size    bytes of the object.
 * @param proc    its routine.
 * @return  FALSE when the stream or the object fails, it nests too deep, or there is no memory.
 */
EZRPC_API bool_t xdr_ez_pointer(XDR *stream, char **object, u_int size, xdrproc_t proc) KS_NOEXCEPT;

/**
 * An array of fixed length: the elements alone.
 *
 * @param stream    the stream.
 * @param elements  the array.
 * @param count     number of elements.
 * @param size      bytes of an element.
 * @param element   routine of an element.
 * @return  FALSE when an element fails.
 */
EZRPC_API bool_t xdr_ez_vector(XDR *stream, char *elements, u_int count, u_int size, xdrproc_t element) KS_NOEXCEPT;

/**
 * Releases what a routine has decoded: calls it once in the free direction.
 *
 * @param proc    the routine.
 * @param object  the object; NULLs are ignored.
 */
EZRPC_API void xdr_ez_free(xdrproc_t proc, void *object) KS_NOEXCEPT;

KS_END_C

#endif
