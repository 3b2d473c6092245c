/*
 * tbs_help.h - opening the product's graphical help.
 *
 * The viewer is started without a window of its own, without a shell and without waiting for it; whether the document
 * exists is not known. Every function may be called from any thread.
 */
#ifndef TBS_HELP_H
#define TBS_HELP_H

#include "tbs_status.h"

TBS_BEGIN_C

/** Viewers: the program that is started, and where it lies in the installation directory. */
enum {
    TBS_HELP_TOPIC_SCRIPT = 0, /**< "help_start.topic.bat" in "doc" */
    TBS_HELP_VIEWER = 1        /**< "tvhelp.exe" in "bin" */
};

/**
 * Opens the help at a topic with the viewer #TBS_HELP_VIEWER; as tbs_show_graphical_help_util().
 *
 * @return  as tbs_show_graphical_help_util().
 */
TBS_API tbs_status_t tbs_show_graphical_help(const char *topic) TBS_NOEXCEPT;

/**
 * Opens the help at a topic.
 *
 * Keywords, in capitals: CONTENTS, TUTORIAL, ABOUT_VOBS, ABOUT_VIEWS, ABOUT_PROJECTS, ABOUT_BASECC, ABOUT_UCM. Any
 * other topic is the path of a document. With verbosity 1 and the trace "tbs_help_viewer" the command is traced:
 * "Launching help viewer: COMMAND" (severity 8).
 *
 * @param topic  keyword or document path.
 * @param mode   #TBS_HELP_TOPIC_SCRIPT or #TBS_HELP_VIEWER.
 * @retval 0               the viewer was started
 * @retval TBS_ST_ERROR    @p topic is NULL; a path or the command is too long ("String buffer too small.", severity
 *                         6); or the viewer did not start ("Graphical help command invocation failure.", severity 6)
 * @retval TBS_ST_EINVAL   another mode; nothing is printed
 */
TBS_API tbs_status_t tbs_show_graphical_help_util(const char *topic, int mode) TBS_NOEXCEPT;

/**
 * Shows the warning "Graphical help not available" through the product's prompt utility, "tessiprompt" in the tool
 * directory. Prints nothing.
 *
 * @retval 0              the utility was started
 * @retval TBS_ST_ERROR   it was not
 */
TBS_API tbs_status_t tbs_graphical_help_not_available(void) TBS_NOEXCEPT;

TBS_END_C

#endif
