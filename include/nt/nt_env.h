/*
 * nt_env.h - the process environment, read safely.
 */
#ifndef NT_ENV_H
#define NT_ENV_H

#include "nt_types.h"

KS_BEGIN_C

/**
 * Copies the value of an environment variable.
 *
 * Unset, empty and unreadable are three answers: an unset variable is 2, an empty one is 0 with "".
 *
 * @param name    the variable.
 * @param buffer  receives the value; always terminated when @p size is not 0, and "" unless the result is 0.
 * @param size    size of @p buffer in bytes.
 * @retval 0                 set, copied whole
 * @retval KS_ENOENT         not set
 * @retval KS_ENAMETOOLONG   set, but longer than the buffer: refused, never cut
 * @retval KS_EINVAL         a pointer is NULL, @p size is 0, or @p name is empty or holds "="
 *
 * Takes nt_environment_lock() for the time of the call.
 */
NT_API int nt_getenv_safe(const char *name, char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Takes the lock that readers and writers of the environment share. Recursive: nt_getenv_safe() may be called under
 * it.
 */
NT_API void nt_environment_lock(void) KS_NOEXCEPT;

/** Releases nt_environment_lock(). */
NT_API void nt_environment_unlock(void) KS_NOEXCEPT;

KS_END_C

#endif
