/*
 * tbs_msg.h - the library's message tables, and the two logs.
 *
 * A message is addressed by its 0-based index; the number that users see, numbers[index], has gaps where a message
 * was retired and is never reused. Entries that no module uses hold the text "(reserved)\n".
 *
 * Every function here may be called from any thread at any time.
 */
#ifndef TBS_MSG_H
#define TBS_MSG_H

#include "../ks/ks_imsg.h"
#include "tbs_types.h"

TBS_BEGIN_C

/** Gives the general table: module "tbs", module number 3, 38 entries. Constant, never NULL. @return the table. */
TBS_API const imsg_table_t *tbs_tbs_msg_table_adr(void) TBS_NOEXCEPT;

/** Gives the table of the ACL module: "tbs_acl", module number 4, 30 entries. @return the table, never NULL. */
TBS_API const imsg_table_t *tbs_acl_tbs_msg_table_adr(void) TBS_NOEXCEPT;

/** Gives the common messages: module "tbs", module number 1, 180 entries. @return the table, never NULL. */
TBS_API const imsg_table_t *tbs_cmsg_tbs_msg_table_adr(void) TBS_NOEXCEPT;

/** Gives the table of the mail module: "tbs_notify", module number 5, 20 entries. @return the table, never NULL. */
TBS_API const imsg_table_t *tbs_notify_tbs_msg_table_adr(void) TBS_NOEXCEPT;

/**
 * Records an internal error in the log "error_log" of the host data directory's "log" directory.
 *
 * Prints "INTERNAL ERROR detected and logged ..." (tbs message 17, severity 6) to the user, then writes two records:
 * "Internal Error detected in "file" line N" and the given message. SIGINT, SIGTERM, SIGHUP and SIGQUIT are held
 * back meanwhile. A log that cannot be opened, or whose path needs more than 1022 bytes, is not an error: the records
 * are printed instead.
 *
 * @param module          module name shown with the messages.
 * @param table           message table, or a literal format when @p index is IMSG_LITERAL.
 * @param index           0-based index of the message.
 * @param source_file     source module that detected the error.
 * @param source_line     its line.
 * @param log_handle_out  NULL: the log is closed again. Else it receives the log (NULL when it cannot be opened),
 *                        which stays open for the calling thread: more lines may be printed into it, and the caller
 *                        ends it with imsg_end_log() in either case.
 */
TBS_API void tbs_log_int_error(const char *module, const void *table, uint32_t index, const char *source_file,
                               int source_line, imsg_log_t **log_handle_out, ...) TBS_NOEXCEPT;

/**
 * Records a refused access in the log "access_log" of the host data directory's "log" directory, under the event
 * category "access". Signals are held back as in tbs_log_int_error(). A log that cannot be opened is no error either:
 * the message is printed instead.
 *
 * @param module  module name shown with the message.
 * @param table   message table, or a literal format when @p index is IMSG_LITERAL.
 * @param index   0-based index of the message.
 */
TBS_API void tbs_log_access_failure(const char *module, const void *table, uint32_t index, ...) TBS_NOEXCEPT;

TBS_END_C

#endif
