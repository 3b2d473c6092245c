/*
 * ks_str.h - strings: comparison without case, flag sets as text, bounded copies, well-formed names.
 *
 * Texts are UTF-8 and never depend on the process locale. Every function may be called from any thread.
 */
#ifndef KS_STR_H
#define KS_STR_H

#include "ks_types.h"
#include <stdio.h>

KS_BEGIN_C

/**
 * Compares two texts by Unicode default case folding (Unicode 5.18, CaseFolding.txt status C and F).
 *
 * The result does not depend on the locale: ASCII folds as ASCII everywhere. Bytes that are not UTF-8 sort behind
 * all characters and compare by value. The result is a total order; it is 0 only for texts equal but for case.
 *
 * @param a  terminated text; NULL sorts before every text.
 * @param b  terminated text; NULL sorts before every text.
 * @return  negative, 0 or positive.
 */
KS_API int strutl_stricoll(const char *a, const char *b) KS_NOEXCEPT;

/**
 * Hashes a text so that texts equal under strutl_stricoll() have equal hashes.
 *
 * @param text  terminated text; NULL counts as "".
 * @param seed  start value; chains the hashes of several texts.
 * @return  the hash. It is salted for each process: never store or send it.
 */
KS_API uint64_t strutl_fold_hash(const char *text, uint64_t seed) KS_NOEXCEPT;

/** What strutl_cvt_case_string() does to a text. */
enum {
    STRUTL_CASE_FOLD = 0 /**< folds it: texts equal under strutl_stricoll() become the same */
};

/**
 * Converts the case of a text (Unicode default case folding, whatever the locale; bytes that are not UTF-8 stay).
 *
 * @param text    terminated text.
 * @param mode    #STRUTL_CASE_FOLD.
 * @param buffer  receives the text, always terminated; cut to fit on failure. May not overlap @p text.
 * @param size    its size in bytes, at least 1.
 * @retval 0                converted
 * @retval KS_ENAMETOOLONG  it does not fit
 * @retval KS_EINVAL        a pointer is NULL, the size is 0 or the mode unknown
 */
KS_API int strutl_cvt_case_string(const char *text, int mode, char *buffer, size_t size) KS_NOEXCEPT;

/** A named set of bits. */
typedef struct strutl_flag {
    const char *name;
    uint32_t value;
} strutl_flag_t;

/**
 * Writes a set of bits as names of a table.
 *
 * The table is walked in order. A row whose name is NULL or equals an earlier row's (without case, whether that one
 * was taken or not) is skipped. A row is taken when all its bits are in @p flags and at least one of them is not yet
 * named; a row of value 0 only when @p flags is 0 and has no name yet. Bits that no row names are appended as one
 * number "0x%.8x". Reading the text back never widens the set.
 *
 * @param flags      the set.
 * @param table      rows; may be NULL when @p count is 0.
 * @param count      number of rows.
 * @param separator  text between names.
 * @return  the text: belongs to the calling thread, valid until its next call. NULL with ks_errno set: KS_ENOMEM, or
 *          KS_EINVAL for a pointer that is NULL.
 */
KS_API const char *strutl_flags_to_str(uint32_t flags, const strutl_flag_t *table, size_t count,
                                       const char *separator) KS_NOEXCEPT;

/**
 * Gives the names of a set of bits one by one; the same names as strutl_flags_to_str().
 *
 * @param flags           the set.
 * @param table           rows; may be NULL when @p count is 0.
 * @param count           number of rows.
 * @param[out] names_out  the names, released with strutl_free_str_list(); untouched on failure.
 * @param[out] count_out  their number; untouched on failure.
 * @retval 0           given
 * @retval KS_ENOMEM   no memory
 * @retval KS_EINVAL   a pointer is NULL
 */
KS_API int strutl_flags_to_str_list(uint32_t flags, const strutl_flag_t *table, size_t count, char ***names_out,
                                    uint32_t *count_out) KS_NOEXCEPT;

/**
 * Reads a set of bits from names of a table, or numbers "0x..." of hexadecimal digits. Names are compared without case,
 * the first row of a name counts, and blanks around a name do not. What strutl_flags_to_str() writes is read back as
 * the same set.
 *
 * @param      text       names with the separator between them; "" is the empty set.
 * @param      table      rows; may be NULL when @p count is 0.
 * @param      count      number of rows.
 * @param      separator  text between names, not empty.
 * @param[out] flags_out  the set; untouched on failure.
 * @retval 0           read
 * @retval KS_EINVAL   a pointer is NULL, the separator is empty, or a name is neither in the table nor a number
 * @retval KS_ENOMEM   no memory
 */
KS_API int strutl_flags_from_str(const char *text, const strutl_flag_t *table, size_t count, const char *separator,
                                 uint32_t *flags_out) KS_NOEXCEPT;

/**
 * Releases a list of texts.
 *
 * @param names_variable  the caller's variable, set to NULL; NULL or a variable that holds NULL is ignored.
 * @param count           number of texts.
 */
KS_API void strutl_free_str_list(char ***names_variable, uint32_t count) KS_NOEXCEPT;

/**
 * Copies a text into a buffer, cut to fit and always terminated.
 *
 * @param buffer  the caller's buffer.
 * @param size    its size in bytes; with 0 nothing is written.
 * @param text    terminated text; NULL counts as "".
 * @return  the copied length without the terminator; less than the text's length means that it was cut.
 */
KS_API size_t strutl_cpy_buf(char *buffer, size_t size, const char *text) KS_NOEXCEPT;

/**
 * Joins texts in a buffer, cut to fit and always terminated.
 *
 * @param buffer  the caller's buffer.
 * @param size    its size in bytes; with 0 nothing is written.
 * @param texts   the texts in order; a NULL among them counts as "".
 * @param count   their number.
 * @return  the length of the whole text without terminator, whether it fits or not; 0 for a NULL.
 */
KS_API size_t strutl_concat(char *buffer, size_t size, const char *const *texts, size_t count) KS_NOEXCEPT;

/**
 * Finds the first place where a text holds another, byte by byte.
 *
 * @param text    terminated text to look in; NULL holds nothing.
 * @param wanted  terminated text to look for; "" is found at the start, NULL nowhere.
 * @return  the place inside @p text; NULL when there is none.
 */
KS_API const char *strutl_find_str(const char *text, const char *wanted) KS_NOEXCEPT;

/**
 * Reads a number of at most 32 bits. The whole text is the number: no sign, no blanks, nothing behind it.
 *
 * @param      text        terminated text.
 * @param      base        2 to 36, or 0: the text tells, by "0x" or "0X" for 16, another leading "0" for 8, else 10.
 *                         With 16 the text may have that prefix too.
 * @param[out] number_out  the number; untouched on failure.
 * @retval 0           read
 * @retval KS_EINVAL   a pointer is NULL, the base is none of those, or the text is no such number
 * @retval KS_ERANGE   it needs more than 32 bits
 */
KS_API int strutl_strtoul(const char *text, int base, uint32_t *number_out) KS_NOEXCEPT;

/**
 * Copies a text with everything made visible that could forge a line or hide a part of one, as messages show inserted
 * texts (see ks_imsg.h): control characters as "^X", other bytes as "\xnn". Cut to fit and always terminated.
 *
 * @param buffer  the caller's buffer; four times the text's size always suffices.
 * @param size    its size in bytes; with 0 nothing is written.
 * @param text    terminated text; NULL counts as "".
 * @return  the length of the whole text without terminator, whether it fits or not.
 */
KS_API size_t strutl_visible(char *buffer, size_t size, const char *text) KS_NOEXCEPT;

/**
 * Tests whether a text is a well-formed name: not empty, only letters, digits, bytes of 0x80 and above and the
 * characters of @p allowed, and its first character is none of @p not_first.
 *
 * @param name       terminated text; NULL is not a name.
 * @param not_first  characters refused at the start; NULL for none.
 * @param allowed    characters allowed besides letters and digits; NULL for none.
 * @return  1 for a well-formed name, else 0.
 */
KS_API int strutl_is_ok_name(const char *name, const char *not_first, const char *allowed) KS_NOEXCEPT;

/**
 * Tells whether a character is printable, by Unicode and whatever the locale.
 *
 * @param character  code point; what is none is not printable.
 * @return  1 or 0.
 */
KS_API int strutl_is_printable(uint32_t character) KS_NOEXCEPT;

/**
 * Formats into a buffer like C99 snprintf, independent of the locale (see ks_imsg.h for the conversions).
 *
 * @param buffer  the caller's buffer; may be NULL when @p size is 0.
 * @param size    its size in bytes.
 * @param format  the format.
 * @return  the length of the whole text without terminator, whether it fits or not.
 */
KS_API size_t strutl_snprintf(char *buffer, size_t size, const char *format, ...) KS_NOEXCEPT;

/**
 * Converts a text of 16-bit units (UTF-16) to UTF-8, cut between characters to fit and always terminated. A unit that
 * is no character becomes U+FFFD.
 *
 * @param buffer  the caller's buffer.
 * @param size    its size in bytes; with 0 nothing is written.
 * @param wide    terminated text; NULL counts as "".
 * @return  the converted length without the terminator.
 */
KS_API size_t strutl_cvt_wide_str_to_str(char *buffer, size_t size, const uint16_t *wide) KS_NOEXCEPT;

/** Most bytes of a text that strutl_read() and strutl_read_fp() read. */
#define STRUTL_READ_MAX ((size_t)1 << 30)

/**
 * Reads a file as one text.
 *
 * @param      path      product path of a file, or of what else can be read to its end (a pipe).
 * @param[out] text_out  the text, terminated, released with stg_free(); untouched on failure.
 * @return  0; KS_EILSEQ when it holds a NUL, KS_EFBIG for more than #STRUTL_READ_MAX bytes, KS_EISDIR, KS_ENOENT,
 *          KS_EACCES, KS_ENAMETOOLONG, KS_ENOMEM, KS_EINVAL for a NULL, or what else the host says, translated.
 */
KS_API int strutl_read(const char *path, char **text_out) KS_NOEXCEPT;

/**
 * Reads a stream to its end as one text.
 *
 * @param      stream    the stream, from where it stands; stays open.
 * @param[out] text_out  as in strutl_read().
 * @return  as strutl_read().
 */
KS_API int strutl_read_fp(FILE *stream, char **text_out) KS_NOEXCEPT;

/**
 * Removes leading and trailing white space (blank and the characters 9 to 13) in place.
 *
 * @param text  terminated text, changed in place.
 * @return  the first character that stays, inside @p text.
 */
KS_API char *strutl_strip(char *text) KS_NOEXCEPT;

KS_END_C

#endif
