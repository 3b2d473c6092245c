/*
 * ks_imsg.h - messages: numbered tables, formatting, printing, tracing, logs, lists, translations.
 *
 * A message is an entry of a constant table, addressed by its 0-based index. Printing formats it, prefixes it by
 * severity and hands it to the first that takes it: the log that the calling thread has open, the sink that the
 * program installed, the standard streams. A message reaches its log with one write, and its stream, which is flushed
 * behind it, as a whole. Printing cannot fail: without memory for a line of more than 2000 bytes the line is cut and
 * ends with "...". It leaves errno and ks_errno as they are.
 *
 * Formats are those of C99 printf without floating point: flags "-+ #0", width and precision (also "*"), lengths hh,
 * h, l, ll, z, j, t and the Windows I64 and I32 for numbers, conversions d i u o x X c s p and %%. A NULL text is
 * shown as "(null)", a NULL pointer as "(nil)". A width, or a precision of numbers, counts at most as 1048576. An
 * unknown conversion is copied as it stands and ends the reading of arguments: behind it only %% is special. Nothing
 * depends on the locale.
 *
 * When a message is printed, control characters in inserted texts (C0 but TAB, DEL, C1, bidirectional controls, line
 * and paragraph separators, bytes that are not UTF-8) are shown as "^X" or "\xNN": an argument cannot forge a line.
 * Widths and precisions count the bytes of the argument.
 *
 * Emphasis in a text: "\001\0011B" switches bold on, "\001\0010B" off. It is shown on a terminal, unless NO_COLOR is
 * set and not empty, and left out everywhere else. An argument cannot bring marks.
 *
 * Unless it says otherwise a function may be called from any thread at any time.
 */
#ifndef KS_IMSG_H
#define KS_IMSG_H

#include "ks_types.h"
#include <stdarg.h>

KS_BEGIN_C

/** A message table: constant, made by the module that owns the messages. */
typedef struct imsg_table {
    const char *catalogue;    /**< name of the message catalogue that translates it */
    const char *module;       /**< module name shown with the message */
    uint16_t module_number;   /**< set number in the catalogue */
    uint16_t count;           /**< number of entries */
    const char *const *texts; /**< format of each entry */
    const uint16_t *numbers;  /**< published number of each entry, strictly ascending */
} imsg_table_t;

/** Index that says: the table argument is a literal format (const char *). */
#define IMSG_LITERAL 0xFFFFFFFFu

/**
 * Severities. Where the module name is empty the prefix is just the word, "Error: ". Any other number is printed as
 * #IMSG_ERROR is.
 */
enum {
    IMSG_PLAIN = 0,       /**< standard output, no prefix */
    IMSG_WARNING = 4,     /**< standard error, "module: Warning: " */
    IMSG_ERROR = 6,       /**< standard error, "module: Error: " */
    IMSG_FOLLOW_UP = 7,   /**< standard error, no prefix: belongs to the error before it */
    IMSG_TRACE = 8,       /**< standard error, no prefix */
    IMSG_CONTINUATION = 9 /**< stream of the thread's previous message (at first standard output), no prefix */
};

/**
 * Prints a message under its table's module name.
 *
 * @param severity  one of the severities above.
 * @param table     the table (const imsg_table_t *), or a literal format (const char *) when @p index is
 *                  #IMSG_LITERAL.
 * @param index     0-based index; one beyond the table prints nothing, nor does a table that is NULL.
 */
KS_API void imsg_print(int severity, const void *table, uint32_t index, ...) KS_NOEXCEPT;

/** As imsg_print(), with the arguments in a list. */
KS_API void imsg_printv(int severity, const void *table, uint32_t index, va_list arguments) KS_NOEXCEPT;

/** As imsg_print(), under the module name @p module instead of the table's; NULL is "". */
KS_API void imsg_print_shared(int severity, const char *module, const void *table, uint32_t index, ...) KS_NOEXCEPT;

/** As imsg_print_shared(), with the arguments in a list. */
KS_API void imsg_print_sharedv(int severity, const char *module, const void *table, uint32_t index,
                               va_list arguments) KS_NOEXCEPT;

/**
 * Formats an entry into a buffer that is known to be large enough.
 *
 * @param buffer  receives the terminated text; inserted texts stand as they are, emphasis marks too. NULL only counts.
 * @param table   the table, or a literal format when @p index is #IMSG_LITERAL.
 * @param index   0-based index; one beyond the table gives "".
 * @return  the length of the text.
 */
KS_API size_t imsg_sprintf(char *buffer, const void *table, uint32_t index, ...) KS_NOEXCEPT;

/**
 * As imsg_sprintf(), cut to fit.
 *
 * @param size  size of @p buffer in bytes; with 0 nothing is written.
 * @return  the length of the whole text, whether it fits or not.
 */
KS_API size_t imsg_snprintf(char *buffer, size_t size, const void *table, uint32_t index, ...) KS_NOEXCEPT;

/** As imsg_snprintf(), with the arguments in a list. */
KS_API size_t imsg_vsnprintf(char *buffer, size_t size, const void *table, uint32_t index,
                             va_list arguments) KS_NOEXCEPT;

/**
 * Gives an entry's format, translated when a catalogue is in use.
 *
 * @return  the format, valid for the life of the process; NULL when @p table is NULL or @p index beyond it.
 */
KS_API const char *imsg_text(const imsg_table_t *table, uint32_t index) KS_NOEXCEPT;

/**
 * Gives the system's text for an error number of the Windows run-time library or of Windows Sockets.
 *
 * @param error  any int.
 * @return  never NULL; constant, or for a number without text "Unknown error N" in a buffer of the calling thread
 *          that its next call overwrites. Does not depend on the locale.
 */
KS_API const char *imsg_strerror(int error) KS_NOEXCEPT;

/**
 * Gives the verbosity that the program wants: the number in the environment variable ORSIK_VERBOSITY, 0 when there is
 * none, until it is set. The environment is read once, and not by a program that runs with raised privileges.
 */
KS_API int imsg_get_desired_verbosity(void) KS_NOEXCEPT;

/** Sets the verbosity for all threads. */
KS_API void imsg_set_desired_verbosity(int verbosity) KS_NOEXCEPT;

/**
 * Tells whether a module traces at a level. Set by the environment variable ORSIK_TRACE, "tbs_acl:3,tbs_notify:2",
 * where "*" stands for every module that is not named itself; a module that is not listed does not trace. Of several
 * levels for one name the last counts. The variable is read as ORSIK_VERBOSITY is.
 *
 * @param module  module name; compared exactly. NULL does not trace.
 * @param level   from 1, what matters most, upwards.
 * @return  1 when the module's level is at least @p level, else 0.
 */
KS_API int imsg_should_trace(const char *module, int level) KS_NOEXCEPT;

/**
 * Replaces what ORSIK_TRACE said, for all threads.
 *
 * @param list  as in the variable; NULL or "" switches all tracing off. A part that is no "name:number" is ignored.
 * @retval 0          set
 * @retval KS_ENOMEM  no memory; the old setting stays
 */
KS_API int imsg_set_trace(const char *list) KS_NOEXCEPT;

/**
 * Receives messages in place of the standard streams.
 *
 * @param context   the pointer given to imsg_set_sink().
 * @param severity  the severity.
 * @param module    module name shown; "" for a literal format printed with imsg_print().
 * @param table     the table; NULL for a literal format.
 * @param index     index, or #IMSG_LITERAL.
 * @param text      the formatted text without prefix and emphasis marks, safe to show; valid during the call.
 *
 * Called from any thread that prints, several at once. It is not to print itself (what it prints goes to the log or
 * the standard streams) nor to install a sink (which does nothing), and nothing may be thrown from it.
 */
typedef void (*imsg_sink_t)(void *context, int severity, const char *module, const imsg_table_t *table,
                            uint32_t index, const char *text);

/**
 * Installs a sink for all threads.
 *
 * @param sink     the sink; NULL restores the standard streams.
 * @param context  handed to the sink. When the call returns no thread is inside the former sink.
 */
KS_API void imsg_set_sink(imsg_sink_t sink, void *context) KS_NOEXCEPT;

/** A log that a thread has open. */
typedef struct imsg_log imsg_log_t;

/**
 * Redirects the calling thread's messages into a log file until imsg_end_log(). Calls nest.
 *
 * The file is made when missing (mode 0640, its directory too, mode 0750, and the host data directory above it unless
 * ORSIK_HOSTDATA_DIR names that), opened for appending, never through a symbolic link, and closed on exec; only a
 * regular file is a log. Each message is one record, appended with one write:
 *
 *     2026-11-21T03:50:00.123456Z host program[process.thread] category module number severity text
 *
 * The time is UTC. Fields are separated by one blank; inside one "_" stands for a blank or control character, and "-"
 * for an empty field. The number is the published one, 0 for a literal format. The text is the rest: its line breaks
 * become a break and a TAB, those at its end are left out, and so are marks of emphasis. A record ends with a line
 * break. A record that cannot be written goes where messages went before the log was started. Logs that a thread
 * leaves open are ended with it.
 *
 * @param path           product path of the file.
 * @param event_service  non-zero: each record, from the category on, also goes to the system's event service (syslog,
 *                       LOG_USER, LOG_ERR).
 * @param durable        non-zero: the file is forced to the disk when the log ends.
 * @return  the log, owned by the thread until imsg_end_log(); NULL when it cannot be opened (ks_errno says why):
 *          messages then go where they went before, and imsg_end_log() must still be called.
 */
KS_API imsg_log_t *imsg_start_log(const char *path, int event_service, int durable) KS_NOEXCEPT;

/** Ends the log that the calling thread started last. Without one it does nothing. */
KS_API void imsg_end_log(void) KS_NOEXCEPT;

/** Gives the calling thread's event category: what it set, else the program's name. Never NULL. */
KS_API const char *imsg_get_app_name(void) KS_NOEXCEPT;

/**
 * Sets the calling thread's event category.
 *
 * @param category  borrowed until replaced: a constant, or what imsg_get_app_name() gave. NULL restores the
 *                  program's name.
 */
KS_API void imsg_nt_set_category(const char *category) KS_NOEXCEPT;

/** A list of formatted messages that is printed later. Belongs to one thread at a time. */
typedef struct imsg_list imsg_list_t;

/**
 * Makes an empty list.
 *
 * @return  the list, released with imsg_list_free(); NULL when there is no memory.
 */
KS_API imsg_list_t *imsg_list_create(void) KS_NOEXCEPT;

/**
 * Formats a message as for printing, and appends it.
 *
 * @retval 0           appended
 * @retval KS_ENOMEM   no memory; the list is as it was
 * @retval KS_EINVAL   a pointer is NULL, or @p index is beyond the table
 */
KS_API int imsg_list_add_msg(imsg_list_t *list, const imsg_table_t *table, uint32_t index, ...) KS_NOEXCEPT;

/** Counts the messages; 0 for NULL. */
KS_API size_t imsg_list_count(const imsg_list_t *list) KS_NOEXCEPT;

/** Gives a message's text, marks of emphasis included, valid as long as the list; NULL beyond the end. */
KS_API const char *imsg_list_text(const imsg_list_t *list, size_t position) KS_NOEXCEPT;

/** Prints all messages in order, each with its table and index, at one severity. The list stays. */
KS_API void imsg_list_print(const imsg_list_t *list, int severity) KS_NOEXCEPT;

/** Releases a list and sets the caller's variable to NULL; NULL is ignored. */
KS_API void imsg_list_free(imsg_list_t **list) KS_NOEXCEPT;

/**
 * Opens the message catalogues again, by the locale and NLSPATH of now (catopen with NL_CAT_LOCALE).
 *
 * Catalogues are opened by themselves when a table's first message is formatted. An entry is taken from the
 * catalogue (set = module number, message = published number) only when its conversions equal the built-in text's in
 * kind, length, precision and order, and its marks of emphasis come in pairs; else the built-in text stands, as it does
 * for want of memory, and for tables beyond the first few dozen. Texts given out before stay valid.
 */
KS_API void imsg_reload_catalogues(void) KS_NOEXCEPT;

KS_END_C

#endif
