// settings_file.hpp - files of settings, which decide what a program does: opened with care.
#ifndef TBS_INTERNAL_SETTINGS_FILE_HPP
#define TBS_INTERNAL_SETTINGS_FILE_HPP

#include "ks/ks_imsg.h"
#include "mutex_hold.hpp"
#include "nt/nt_file.h"

#include <atomic>
#include <cstdio>
#include <memory>

namespace tbs {

struct close_file {
    void operator()(FILE *stream) const { std::fclose(stream); }
};
using settings_stream = std::unique_ptr<FILE, close_file>;

// Opens a regular file for reading; null with ks_errno. A file that everybody may write to is used, and named in a
// warning, once as long as the flag is clear.
inline settings_stream open_settings(const char *path, const char *module, std::atomic_flag &warned) {
    int others_may_write = 0;
    settings_stream stream(unix_nt_fopen_settings(path, &others_may_write));
    if (others_may_write && !warned.test_and_set()) {
        imsg_print_shared(IMSG_WARNING, module, "Everybody on this host may write to the file \"%s\".\n",
                          IMSG_LITERAL, path);
    }
    return stream;
}

} // namespace tbs

#endif
