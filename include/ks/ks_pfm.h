/*
 * ks_pfm.h - interruption and assertions.
 */
#ifndef KS_PFM_H
#define KS_PFM_H

#include "ks_types.h"

KS_BEGIN_C

/**
 * Blocks SIGINT, SIGTERM, SIGHUP and SIGQUIT for the calling thread until the matching pfm_enable(). Calls nest; the
 * outermost remembers the thread's signal mask.
 */
KS_API void pfm_inhibit(void) KS_NOEXCEPT;

/** Ends one pfm_inhibit(); the outermost restores the signal mask. Without a matching pfm_inhibit() it does nothing. */
KS_API void pfm_enable(void) KS_NOEXCEPT;

/**
 * Reports a broken invariant and ends the process: prints "Assertion failed: condition (source:line)", writes it to
 * the log that the thread has open, if any, and aborts.
 *
 * @param condition  text of the condition that does not hold.
 * @param source     module that holds it.
 * @param line       its line.
 */
KS_NORETURN KS_API void pfm_assert_fail(const char *condition, const char *source, int line) KS_NOEXCEPT;

KS_END_C

#endif
