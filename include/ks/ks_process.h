/*
 * ks_process.h - starting programs. No shell is ever involved.
 *
 * Programs are started with the caller's environment and working directory, with no signal blocked or ignored, and
 * with no open file of the caller's but the standard streams. Every function may be called from any thread.
 */
#ifndef KS_PROCESS_H
#define KS_PROCESS_H

#include "ks_types.h"

KS_BEGIN_C

/**
 * Runs a program with an argument vector and waits for its end. It has the caller's standard streams.
 *
 * @param      program          product path of the program; the search path is not used.
 * @param      arguments        the vector, the program's own name first, NULL at the end.
 * @param[out] exit_status_out  its exit status; 128 and the signal's number when a signal ended it. Untouched on
 *                              failure.
 * @return  0 when it ran; else why it could not be started, also in ks_errno: KS_ENOENT, KS_EACCES, KS_ENOEXEC,
 *          KS_ENAMETOOLONG, KS_ENOMEM, KS_EAGAIN, KS_EINVAL for a NULL or an empty vector, or what else the host says.
 */
KS_API int sysutl_invokev_redirect(const char *program, char *const *arguments, int *exit_status_out) KS_NOEXCEPT;

/**
 * Starts what a command line says, without a window and without waiting. The program is in a session of its own,
 * reads nothing and writes nowhere; it leaves no zombie when it ends.
 *
 * Two forms are understood, and nothing else:
 *
 *   cd /d "DIRECTORY" && "PROGRAM" ARGUMENTS    the program of this name in the directory, which it starts in
 *   ""PROGRAM" ARGUMENTS"                       a program by path, the whole in quotes
 *
 * Arguments are separated by blanks; double quotes hold one together. On hosts where programs have no extension a
 * program "NAME.exe" or "NAME.bat" that is not there is sought as "NAME".
 *
 * @param command  the command line.
 * @return  0 when the program runs; else why it could not be started, also in ks_errno: KS_EINVAL for a NULL or
 *          another form; KS_ENOENT, KS_EACCES, KS_ENOEXEC, KS_ENOTDIR, KS_ENAMETOOLONG, KS_ENOMEM, KS_EAGAIN, or what
 *          else the host says.
 */
KS_API int sysutl_invoke_no_window_no_wait(const char *command) KS_NOEXCEPT;

KS_END_C

#endif
