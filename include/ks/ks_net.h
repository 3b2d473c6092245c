/*
 * ks_net.h - addresses of hosts and stream sockets with time limits.
 *
 * Names are resolved for IPv4 and IPv6 alike. A socket belongs to one thread at a time; everything else may be called
 * from any thread. No function raises a signal, none is ended by one, and no socket reaches a program that is started.
 */
#ifndef KS_NET_H
#define KS_NET_H

#include "ks_types.h"

KS_BEGIN_C

/* ---- addresses ----------------------------------------------------------------------------------------------- */

/** Address of a service of a host, of any family, as the host's socket functions take it. Copied by assignment. */
typedef struct sysutl_sockaddr {
    uint64_t opaque[16];
} sysutl_sockaddr_t;

/**
 * Resolves a host and a service to the addresses of stream sockets, in the order in which they should be tried. How
 * long it may take is for the host's resolver to say.
 *
 * @param      host           name, or an address as text: "mail.example.com", "192.0.2.1", "2001:db8::1".
 * @param      service        name or decimal number: "25".
 * @param[out] addresses_out  the addresses, at least one, released with stg_free(); untouched on failure.
 * @param[out] count_out      their number; untouched on failure.
 * @retval 0           resolved
 * @retval KS_ENOENT   no such host or service
 * @retval KS_EAGAIN   the resolver cannot tell now
 * @retval KS_EIO      the resolver failed
 * @retval KS_ENOMEM   no memory
 * @retval KS_EINVAL   a pointer is NULL or a text is empty
 */
KS_API int sysutl_host_addr(const char *host, const char *service, sysutl_sockaddr_t **addresses_out,
                            size_t *count_out) KS_NOEXCEPT;

/** Gives how many bytes of an address count, by its family; 0 for NULL and for a family other than IPv4 and IPv6. */
KS_API size_t sysutl_sockaddr_size(const sysutl_sockaddr_t *address) KS_NOEXCEPT;

/**
 * Copies the bytes of an address that count and fills up the rest with zeros.
 *
 * @param[out] to    the copy; untouched on failure.
 * @param      from  where the address begins; no byte beyond its own is read.
 * @return  0; KS_EINVAL for a NULL or another family than IPv4 and IPv6.
 */
KS_API int sysutl_copy_sockaddr(sysutl_sockaddr_t *to, const void *from) KS_NOEXCEPT;

/** Size in bytes of a buffer for the text of any address, terminator included. */
#define SYSUTL_SOCKADDR_STR_SIZE 80

/**
 * Writes an address and its port: "192.0.2.1:25", "[2001:db8::1]:25".
 *
 * @param address  the address.
 * @param buffer   receives the text; "" on failure when @p size is not 0.
 * @param size     its size in bytes; #SYSUTL_SOCKADDR_STR_SIZE suffices.
 * @retval 0                 written
 * @retval KS_ENAMETOOLONG   it does not fit
 * @retval KS_EINVAL         a pointer is NULL, or the family is another
 */
KS_API int sysutl_sockaddr_to_str(const sysutl_sockaddr_t *address, char *buffer, size_t size) KS_NOEXCEPT;

/* ---- sockets ------------------------------------------------------------------------------------------------- */

/** A socket; #KS_NO_SOCKET is none. */
typedef intptr_t ks_socket_t;
/** No socket. */
#define KS_NO_SOCKET ((ks_socket_t)-1)

/**
 * Makes a stream socket of an address's family. What is sent through it leaves at once (TCP_NODELAY), unless more is announced.
 *
 * @param      address     the address that it will be connected to.
 * @param[out] socket_out  the socket, closed with ks_socket_close(); untouched on failure.
 * @return  0; KS_EINVAL for a NULL or another family; KS_EMFILE, KS_ENFILE, or what else the host says, translated.
 */
KS_API int ks_socket_create(const sysutl_sockaddr_t *address, ks_socket_t *socket_out) KS_NOEXCEPT;

/**
 * Connects a socket. After a failure nothing can be sent through it, and nothing is waited for.
 *
 * @param socket    the socket.
 * @param address   the peer.
 * @param limit_ms  how long to wait, in milliseconds.
 * @return  0; KS_ETIMEDOUT; KS_EINVAL for a NULL; or what else the host says, translated (connection refused, host
 *          unreachable).
 */
KS_API int ks_socket_connect(ks_socket_t socket, const sysutl_sockaddr_t *address, uint32_t limit_ms) KS_NOEXCEPT;

/**
 * Sends bytes, all of them unless it fails. After a failure nothing more can be sent.
 *
 * @param      socket    the socket.
 * @param      data      the bytes; may be NULL when @p size is 0.
 * @param      size      their number.
 * @param      more      non-zero: more follows at once, and what was sent may be held back for it a moment.
 * @param      limit_ms  how long the peer may take none of them, in milliseconds.
 * @param[out] sent_out  how many the host took, also on failure.
 * @return  0; KS_ETIMEDOUT; KS_EINVAL for a NULL; or what else the host says, translated.
 */
KS_API int ks_socket_send(ks_socket_t socket, const void *data, size_t size, int more, uint32_t limit_ms,
                          size_t *sent_out) KS_NOEXCEPT;

/**
 * Receives what there is, at least one byte.
 *
 * @param      socket        the socket.
 * @param      buffer        receives the bytes.
 * @param      size          most bytes, at least 1.
 * @param      limit_ms      how long to wait, in milliseconds; 0 does not wait.
 * @param[out] received_out  bytes received; 0: the peer sends no more. Untouched on failure.
 * @return  0; KS_ETIMEDOUT; KS_EINVAL for a NULL or no size; or what else the host says, translated.
 */
KS_API int ks_socket_receive(ks_socket_t socket, void *buffer, size_t size, uint32_t limit_ms,
                             size_t *received_out) KS_NOEXCEPT;

/** Closes a socket and sets the caller's variable to #KS_NO_SOCKET; NULL, or a variable that holds none, is ignored. */
KS_API void ks_socket_close(ks_socket_t *socket) KS_NOEXCEPT;

KS_END_C

#endif
