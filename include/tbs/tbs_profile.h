/*
 * tbs_profile.h - a user's own defaults for the product's commands.
 *
 * The profile is the file that the environment variable TESSIVANE_PROFILE names, a regular one with a path of at most
 * 1024 characters; when that is not set or empty, ".tessivane_profile" in the home directory of the user that the
 * process belongs to. A line holds a command ("*" for every command), a name and perhaps a value: the rest of the line
 * without the blanks around it. "#" begins a comment, tabs count as blanks, empty lines do not count. Lines longer
 * than 254 characters go on as further lines.
 *
 * The file is read by the first look-up, once in each process, also when it has no entries. When it cannot be read, or
 * a line of it is wrong, the next look-up tries again; a wrong line, one with a command but no name, is printed:
 * "Profile file syntax error at line N in FILE." (module "tbs", severity 6), where N counts the entries before it, and
 * not the lines, plus 1. Those entries stay: once the line is mended, they stand before what the file says then. A
 * file that everybody may write to is used, and a warning names it.
 *
 * Commands and names are compared exactly. Every function may be called from any thread.
 */
#ifndef TBS_PROFILE_H
#define TBS_PROFILE_H

#include "tbs_status.h"

TBS_BEGIN_C

/**
 * Looks up a default.
 *
 * @param      command    the command.
 * @param      name       what is set.
 * @param[out] value_out  the value of the first line, in the order of the file, that has this command or "*" and this
 *                        name; NULL when the line has none. It lives as long as the process. Untouched when the result
 *                        is 0.
 * @return  1 when there is such a line; 0 when there is none, the profile cannot be read, or an argument is NULL.
 */
TBS_API int tbs_check_profile(const char *command, const char *name, const char **value_out) TBS_NOEXCEPT;

/**
 * Looks up the first default of several names: the first line, in the order of the file, that has any of them.
 *
 * @param      command     the command.
 * @param      names       the names; a NULL among them matches nothing.
 * @param      name_count  their number.
 * @param[out] value_out   its value, as in tbs_check_profile(); untouched when the result is -1.
 * @return  position of the line's name in @p names, from 0; -1 when there is no such line, the profile cannot be
 *          read, or an argument is NULL.
 */
TBS_API int tbs_multi_check_profile(const char *command, const char *const *names, int name_count,
                                    const char **value_out) TBS_NOEXCEPT;

TBS_END_C

#endif
