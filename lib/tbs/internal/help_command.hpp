// help_command.hpp - the command that opens the graphical help at a topic. Needs nothing of the library but its
// directories, so that the tool can show the command without starting it.
#ifndef TBS_INTERNAL_HELP_COMMAND_HPP
#define TBS_INTERNAL_HELP_COMMAND_HPP

#include "ks/ks_file.h"
#include "ks/ks_str.h"
#include "tbs/tbs_product.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace tbs::help {

struct topic_row {
    const char *keyword, *document;
};
inline constexpr topic_row topics[] = {
    {"CONTENTS", "/index.html"},
    {"TUTORIAL", "/tutorial/index.html"},
    {"ABOUT_VOBS", "/topics/vobs.html"},
    {"ABOUT_VIEWS", "/topics/views.html"},
    {"ABOUT_PROJECTS", "/topics/projects.html"},
    {"ABOUT_BASECC", "/topics/base.html"},
    {"ABOUT_UCM", "/topics/ucm.html"},
};

struct viewer {
    const char *program, *directory; // the directory below the installation directory
};
inline constexpr viewer viewers[] = {{"help_start.topic.bat", "doc\\"}, {"tvhelp.exe", "bin\\"}}; // by mode

// No document is a keyword, so one look-up does what a chain of comparisons would.
inline const char *document_of(const char *topic) {
    const auto found = std::find_if(std::begin(topics), std::end(topics),
                                    [topic](const topic_row &row) { return std::strcmp(row.keyword, topic) == 0; });
    return found == std::end(topics) ? topic : found->document;
}

// Joins texts; false when the result does not fit.
template <size_t Size, class... Text> bool join(char (&buffer)[Size], Text... texts) {
    const char *const all[] = {texts...};
    return strutl_concat(buffer, Size, all, sizeof...(texts)) < Size;
}

enum class building { done, no_directory, too_long };

inline constexpr size_t command_size = 1025; // 1024 characters

inline building build_command(const char *topic, const viewer &with, char (&command)[command_size]) {
    char installation[TBS_PATH_SIZE], expanded[TBS_PATH_SIZE], base[TBS_PATH_SIZE];
    char document[TBS_PATH_SIZE], directory[TBS_PATH_SIZE];
    tbs_product_dir(installation, "");
    if (fileutl_expand_mapped_pn(installation, expanded, sizeof expanded) != 0) return building::no_directory;
    const bool fits = join(base, expanded, "\\") && join(document, document_of(topic)) &&
                      join(directory, base, with.directory) &&
                      join(command, "cd /d \"", directory, "\" && \"", with.program, "\" ", document);
    return fits ? building::done : building::too_long;
}

} // namespace tbs::help

#endif
