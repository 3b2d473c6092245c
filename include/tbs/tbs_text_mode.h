/*
 * tbs_text_mode.h - how line ends of an element's text are converted between the stored form and what a user sees.
 *
 * Every function may be called from any thread at any time.
 */
#ifndef TBS_TEXT_MODE_H
#define TBS_TEXT_MODE_H

#include "tbs_status.h"

TBS_BEGIN_C

/** Text mode. The values appear on the wire. */
typedef int32_t tbs_text_mode_t;
enum {
    TBS_TEXT_MODE_UNIX = 0,    /**< "unix"; also "normal", "transparent" */
    TBS_TEXT_MODE_MSDOS = 1,   /**< "msdos"; also "pc", "insert_cr" */
    TBS_TEXT_MODE_MAC = 2,     /**< "mac"; also "cvt_nl_to_cr" */
    TBS_TEXT_MODE_STRIP_CR = 3 /**< "strip_cr" */
};

/**
 * Reads the name of a text mode, exactly as it is spelled: case counts, nothing is trimmed.
 *
 * @param      text      terminated text.
 * @param[out] mode_out  the mode; untouched on failure.
 * @retval 0               read
 * @retval TBS_ST_ERROR    no such name; nothing is printed
 * @retval TBS_ST_EINVAL   a pointer is NULL
 */
TBS_API tbs_status_t tbs_str_to_text_mode(const char *text, tbs_text_mode_t *mode_out) TBS_NOEXCEPT;

/**
 * Gives the canonical name of a text mode.
 *
 * @param mode  one of the four modes; any other value fails an assertion and ends the process.
 * @return  the name, a constant.
 */
TBS_API const char *tbs_text_mode_to_str(tbs_text_mode_t mode) TBS_NOEXCEPT;

TBS_END_C

#endif
