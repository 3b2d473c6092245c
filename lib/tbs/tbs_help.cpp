#include "tbs/tbs_help.h"

#include "internal/help_command.hpp"
#include "internal/report.hpp"
#include "ks/ks_process.h"

using namespace tbs;
using namespace tbs::help;

namespace {

constexpr char module_name[] = "tbs";
constexpr char trace_module[] = "tbs_help_viewer";

void trace_command(const char *command) {
    if (imsg_get_desired_verbosity() < 1 || !imsg_should_trace(trace_module, 1)) return;
    imsg_print_shared(IMSG_TRACE, trace_module, "Launching help viewer: %s\n", IMSG_LITERAL, command);
}

} // namespace

extern "C" tbs_status_t tbs_show_graphical_help(const char *topic) noexcept {
    return tbs_show_graphical_help_util(topic, TBS_HELP_VIEWER);
}

extern "C" tbs_status_t tbs_show_graphical_help_util(const char *topic, int mode) noexcept {
    if (!topic) return TBS_ST_ERROR;
    if (mode != TBS_HELP_TOPIC_SCRIPT && mode != TBS_HELP_VIEWER) return TBS_ST_EINVAL;
    char command[command_size];
    const building built = build_command(topic, viewers[mode], command);
    if (built == building::too_long) say<common_messages, 45>(IMSG_ERROR, module_name);
    if (built != building::done) return TBS_ST_ERROR;
    trace_command(command);
    if (sysutl_invoke_no_window_no_wait(command) == 0) return 0;
    say<general_messages, 36>(IMSG_ERROR, module_name);
    return TBS_ST_ERROR;
}

extern "C" tbs_status_t tbs_graphical_help_not_available(void) noexcept {
    char path[TBS_PATH_SIZE], expanded[TBS_PATH_SIZE], command[TBS_PATH_SIZE + 256];
    tbs_product_tool_dir(path, "tessiprompt");
    if (std::strlen(path) == sizeof path - 1) return TBS_ST_ERROR; // cut, it might name another program
    if (fileutl_expand_mapped_pn(path, expanded, sizeof expanded) != 0) return TBS_ST_ERROR;
    const bool fits = join(command, "\"\"", expanded,
                           "\" proceed -type warning -default proceed -mask proceed "
                           "-prompt \"Graphical help not available\" -prefer_gui\"");
    return fits && sysutl_invoke_no_window_no_wait(command) == 0 ? 0 : TBS_ST_ERROR;
}
