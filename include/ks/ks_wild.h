/*
 * ks_wild.h - patterns with wildcards.
 *
 * "*" matches any text, "?" any character, "[set]" a character of the set, "[!set]" one that is not in it; "\" takes the
 * special meaning from the character behind it. A set lists characters and ranges ("a-z"); "]" is in it when it stands
 * first. A character is one of UTF-8; a byte that is none is one by itself. Case matters. No separator is special.
 *
 * Every function may be called from any thread.
 */
#ifndef KS_WILD_H
#define KS_WILD_H

#include "ks_types.h"

KS_BEGIN_C

/** What wild_compile_pattern() gives instead of a length. */
enum {
    WILD_PLAIN = -1, /**< there is no wildcard and no "\" in the pattern: compare the text itself */
    WILD_BAD = -2    /**< no pattern: a set without end or with a range turned round, a "\" at the end, or no room */
};

/**
 * Compiles a pattern.
 *
 * @param pattern  terminated pattern.
 * @param buffer   receives the compiled form, terminated; undefined unless the result is a length.
 * @param size     its size in bytes.
 * @return  the length of the compiled form without terminator, #WILD_PLAIN, or #WILD_BAD, also for a NULL.
 */
KS_API int wild_compile_pattern(const char *pattern, char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Matches a whole text. The time is bounded by the product of both lengths, whatever the pattern.
 *
 * @param compiled  what wild_compile_pattern() made.
 * @param text      terminated text.
 * @param flags     0.
 * @return  1 when it matches, else 0; 0 for a NULL or other flags.
 */
KS_API int wild_match(const char *compiled, const char *text, int flags) KS_NOEXCEPT;

KS_END_C

#endif
