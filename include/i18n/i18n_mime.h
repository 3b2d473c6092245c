/*
 * i18n_mime.h - texts in mail: headers as encoded words (RFC 2047), bodies in a transfer encoding (RFC 2045).
 *
 * What is made here consists of printable ASCII, TAB, blanks and CRLF (and the escape sequences of a 7-bit character
 * set, in a plain body), holds no line too long for any mail server and none that begins with ".", and can therefore
 * be sent as it is.
 *
 * Character sets. A text is in UTF-8 or in the character set that the caller names, and is sent in that one. So that
 * a program's own UTF-8 text can stand beside a file of another character set, a text with characters beyond ASCII
 * that is well-formed UTF-8 is taken as UTF-8, and every other text as being in the named character set. Names are
 * those of IANA, without case ("ISO-8859-1", "iso-2022-jp"). What cannot be done that way never loses a character:
 *
 *   no name (NULL or "")                                       the character set is UTF-8
 *   a name that is unknown, or of a character set in which     the character set is UTF-8
 *     ASCII text does not stand for itself (UTF-16, EBCDIC)
 *   a character that the character set cannot hold             the whole text is sent in UTF-8
 *   nothing beyond ASCII in the text                           the text is sent as US-ASCII
 *   bytes that are no character of the text's character set    U+FFFD takes their place (in UTF-8: that of each
 *                                                              longest part that could begin a character)
 *
 * Every function may be called from any thread at any time. None prints anything.
 */
#ifndef I18N_MIME_H
#define I18N_MIME_H

#include "i18n_types.h"

KS_BEGIN_C

/** How a text is encoded. */
typedef int32_t i18n_mime_kind_t;
enum {
    I18N_MIME_PLAIN = 0,            /**< as it stands; as an argument: whatever suits the text best */
    I18N_MIME_QUOTED_PRINTABLE = 1, /**< "quoted-printable"; "Q" in a header */
    I18N_MIME_BASE64 = 2            /**< "base64"; "B" in a header */
};

/** Characters that the first line of an encoded header leaves free for "Subject: ". */
#define I18N_MIME_NAME_ROOM 9

/**
 * Encodes the text of an unstructured header, such as a subject.
 *
 * Plain ASCII text stays as it is, folded where it is long: CRLF goes before a blank, so that unfolding gives the
 * text back. Text is encoded as a whole when it has other characters, begins or ends with a blank, holds "=?", or
 * has a word too long for a line. Encoded words have at most 75 characters, hold whole characters, begin and end in
 * the initial state of their character set, and stand one in a line. No line is longer than 76 characters, the
 * first one with I18N_MIME_NAME_ROOM characters before it.
 *
 * Control characters cannot start another header: each (CR, LF, the other C0 controls but TAB, DEL, C1, U+2028 and
 * U+2029) becomes a blank, CR LF one for both. Line ends at the end of the text are left out.
 *
 * @param text     terminated text.
 * @param charset  its character set, see above.
 * @param kind     I18N_MIME_PLAIN: the text decides. I18N_MIME_QUOTED_PRINTABLE or I18N_MIME_BASE64: encoded words of
 *                 this kind, even for plain text.
 * @param ratio    where the text decides and must be encoded: "Q" if at least this share of its bytes in UTF-8 needs
 *                 no escape, else "B".
 * @return  the value of the header: terminated, without a name and without a line end behind it, released with
 *          i18n_mime_free(); "" for "". NULL on failure, with ks_errno KS_EINVAL (@p text is NULL or @p kind is none)
 *          or KS_ENOMEM.
 */
I18N_API char *i18n_mime_encode_header(const char *text, const char *charset, i18n_mime_kind_t kind,
                                       double ratio) KS_NOEXCEPT;

/**
 * Encodes a body of type text/plain.
 *
 * LF, CR and CR LF all end a line and become CRLF. The end of the last line is left out of plain and quoted-printable
 * bodies, since whoever sends the body ends its last line (SMTP does before the closing dot): "a" and "a\n" arrive
 * alike, with one line end, and nothing is added to a text that has its own. Base64 keeps or lacks it as the text does.
 *
 *   I18N_MIME_PLAIN              lines of at most 998 bytes, none beginning with "."; 7-bit bytes, no controls but TAB
 *                                (and the escape sequences of a 7-bit character set)
 *   I18N_MIME_QUOTED_PRINTABLE   lines of at most 76 characters; blanks at the end of a line, and "." at its
 *                                beginning, are escaped
 *   I18N_MIME_BASE64             lines of at most 76 characters, no line end behind the last
 *
 * @param      text         terminated text.
 * @param      charset      its character set, see above.
 * @param      kind         I18N_MIME_PLAIN: the text decides; plain whenever it can be. Else the kind to use.
 * @param      ratio        where the text decides and cannot be plain: quoted-printable if at least this share of
 *                          its bytes in UTF-8 needs no escape, else base64.
 * @param[out] kind_out     the kind used; untouched on failure.
 * @param[out] charset_out  the preferred MIME name of the character set used, never empty; a constant that stays
 *                          valid. Untouched on failure.
 * @return  the encoded body, terminated, released with i18n_mime_free(); "" for "". NULL on failure, with ks_errno
 *          KS_EINVAL (a pointer other than @p charset is NULL, or @p kind is none) or KS_ENOMEM.
 */
I18N_API char *i18n_mime_encode(const char *text, const char *charset, i18n_mime_kind_t kind, double ratio,
                                i18n_mime_kind_t *kind_out, const char **charset_out) KS_NOEXCEPT;

/**
 * Releases an encoded text and sets the caller's variable to NULL.
 *
 * @param text_variable  the variable; NULL, or one that holds NULL, is ignored.
 */
I18N_API void i18n_mime_free(char **text_variable) KS_NOEXCEPT;

KS_END_C

#endif
