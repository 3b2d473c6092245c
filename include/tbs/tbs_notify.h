/*
 * tbs_notify.h - notification by mail.
 *
 * A notification is one text for any number of recipients. It is handed to the mail server of this host's settings in
 * one SMTP session (HELO, MAIL FROM, RCPT TO, DATA, QUIT). Settings, under the product's common key of the registry:
 *
 *   "SmtpServer"   parameter 42, text      host that takes mail, a name or an address of at most 64 characters
 *   "MailDomain"   parameter 66, text      domain of the sender, at most 1023 characters; when there is none, the
 *                                          name of this host; when it is empty, senders have no domain
 *   "SmtpPort"     number, 1 to 65535      port of the server; 25 when there is none
 *   "SmtpTimeout"  number, 1 to 3600000    milliseconds within which the server must take the connection, each piece
 *                                          that is sent, and answer each command; 60000 when there is none
 *
 * The sender is the login name of the process's user, "Tessivane" when there is none, with the domain. All addresses of
 * the server are tried in turn. The host's resolver has time limits of its own.
 *
 * What could forge a command or a header is refused before anything is sent: a recipient with a control character
 * counts as not accepted and is not named in the mail; a subject, a sender, a domain or a host name with one makes the
 * delivery fail.
 *
 * Every function may be called from any thread. One mutex lets one notification go after the other, so a sink of
 * messages (see ks_imsg.h) must not notify. No signal is raised when the server hangs up.
 */
#ifndef TBS_NOTIFY_H
#define TBS_NOTIFY_H

#include "tbs_status.h"
#include "tbs_types.h"

#include <stdio.h>

TBS_BEGIN_C

/** Kinds of delivery: bits of a tbs_notify_delivery_mask_t. */
enum {
    TBS_NOTIFY_BY_EMAIL = 0x1 /**< by mail */
};

/**
 * Sends a text as mail.
 *
 * Failures print their cause, and "Unable to deliver notification via email." (severity 6). A server that does not
 * answer as it must is told RSET and QUIT. A recipient that the server refuses costs the cause (severity 6) and a
 * warning (severity 4), "Recipient "..." not accepted."; the others get the mail, with one more warning, "Partial email
 * recipient delivery (2 out of 3).".
 *
 * @param mask             kinds of delivery; 0 sends nothing. Bits other than #TBS_NOTIFY_BY_EMAIL fail, after the
 *                         mail was sent: "Unrecognized notification delivery kind mask "0x..."." (severity 4).
 * @param recipient_count  number of recipients.
 * @param recipients       their addresses, sent as they are; may be NULL when there are none.
 * @param subject          subject; "": the mail has none.
 * @param text             the message.
 * @retval 0               sent to at least one recipient, or nothing was to be sent
 * @retval TBS_ST_ERROR    (1001) not sent, or the mask has other bits
 * @retval TBS_ST_EINVAL   (1072) a pointer is NULL, or the number of recipients is negative
 * @retval TBS_ST_ENOMEM   (1062) no memory
 */
TBS_API tbs_status_t tbs_notify(tbs_notify_delivery_mask_t mask, int32_t recipient_count,
                                const char *const *recipients, const char *subject, const char *text) TBS_NOEXCEPT;

/**
 * Sends the content of a file as mail; as tbs_notify().
 *
 * @param pathname  product path of the file, read whole, also when the mask is 0. A file that cannot be read, is
 *                  longer than 1 GiB or holds a NUL gives 1001: "Problem reading notify message from file "..."."
 *                  (severity 6), and nothing is sent.
 * @param charset   character set of the file and the subject by its IANA name, "ISO-8859-1"; NULL or "" for UTF-8.
 */
TBS_API tbs_status_t tbs_notify_pname(tbs_notify_delivery_mask_t mask, int32_t recipient_count,
                                      const char *const *recipients, const char *subject, const char *pathname,
                                      const char *charset) TBS_NOEXCEPT;

/**
 * Sends the rest of a stream as mail; as tbs_notify_pname(), with "Problem reading notify message from stream.". The
 * stream stays open.
 */
TBS_API tbs_status_t tbs_notify_fp(tbs_notify_delivery_mask_t mask, int32_t recipient_count,
                                   const char *const *recipients, const char *subject, FILE *stream,
                                   const char *charset) TBS_NOEXCEPT;

/**
 * Switches on the trace of what is sent and received (severity 8: "SMTP Send: ...", "SMTP Rcvd: ..."), each line as a
 * message: "SMTP Send: " stands before the first line of what is sent at once. It is on as well while the verbosity is
 * at least 2 and the module "tbs_notify" traces at level 2 (see ks_imsg.h).
 *
 * @param flag  non-zero: on; 0: as the verbosity says.
 */
TBS_API void tbs_notify_trace(int flag) TBS_NOEXCEPT;

/**
 * Gives what stands behind the name in the sender's address: "@" and the mail domain, or "@" and this host's name when
 * no domain can be read, or "" when the domain is empty.
 *
 * @param buffer  receives the text, always terminated; "" when it does not fit: half a domain is another one.
 * @param size    its size in bytes; with 0 nothing is written. 1025 always suffices.
 */
TBS_API void tbs_notify_my_mail_domain_name(char *buffer, size_t size) TBS_NOEXCEPT;

/**
 * Writes kinds of delivery as names: "<none>", "email", a number "0x00000002" for other bits, with "," between them.
 *
 * @return  the text: belongs to the calling thread, valid until its next text of flags; "" when there is no memory.
 */
TBS_API const char *tbs_notify_utl_delivery_mask_to_str(tbs_notify_delivery_mask_t mask) TBS_NOEXCEPT;

/**
 * Reads kinds of delivery, without regard to case: what tbs_notify_utl_delivery_mask_to_str() writes.
 *
 * @return  the mask; 0, which sends nothing, for NULL and for a text with an unknown name.
 */
TBS_API tbs_notify_delivery_mask_t tbs_notify_utl_delivery_mask_from_str(const char *text) TBS_NOEXCEPT;

TBS_END_C

#endif
