#include "mvfs/mvfs_view_root.h"

#include "internal/mvfs_os.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_imsg.h"
#include "ks/ks_str.h"
#include "nt/nt_regy.h"

#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <utility>

struct mvfs_view_root {
    mvfs_view_root_type_t type;
    char path[KS_PATH_SIZE];
    mvfs::os::directory directory;
};

namespace {

constexpr char module_name[] = "mvfs";
constexpr const char *key_names[] = {"Dynamic", "Automatic"};

bool is_type(mvfs_view_root_type_t type) { return static_cast<uint32_t>(type) < std::size(key_names); }

// Reads a text of a view root; KS_ENOENT for an empty one.
int read_setting(mvfs_view_root_type_t type, const char *name, char *buffer, size_t size) {
    char key[NTREGY_KEY_SIZE];
    if (const int error = ntregy_get_common_key(key, sizeof key)) return error;
    const size_t length = std::strlen(key);
    strutl_snprintf(key + length, sizeof key - length, "\\ViewRoots\\%s", key_names[type]);
    const int error = ntregy_get_string(NTREGY_LOCAL_MACHINE, key, name, buffer, size);
    return error == 0 && !*buffer ? KS_ENOENT : error;
}

int open_named(mvfs_view_root &root) {
    if (!fileutl_is_drive_style(root.path) && !fileutl_is_unc_pn(root.path)) return KS_EINVAL;
    char host_path[KS_PATH_SIZE];
    const int error = fileutl_host_path(root.path, host_path, sizeof host_path);
    return error != 0 ? error : root.directory.open(host_path);
}

int open(mvfs_view_root_type_t type, mvfs_view_root_t **root_out, bool silent) {
    if (!root_out || !is_type(type)) return KS_EINVAL;
    std::unique_ptr<mvfs_view_root> root(new (std::nothrow) mvfs_view_root{type, "", {}});
    if (!root) return KS_ENOMEM;
    int error = read_setting(type, "Path", root->path, sizeof root->path);
    if (error == KS_ENOENT) return error;
    if (error == 0) error = open_named(*root);
    if (error == 0) {
        *root_out = root.release();
    } else if (!silent) {
        imsg_print_shared(IMSG_ERROR, module_name, "Unable to open the view root \"%s\": %s.\n", IMSG_LITERAL,
                          *root->path ? root->path : key_names[type], imsg_strerror(error));
    }
    return error;
}

int answer(const mvfs_view_root &root, int command, char *buffer, size_t size) {
    switch (command) {
    case MVFS_CMD_GET_VIEW_ROOT:
        if (std::strlen(root.path) >= size) return KS_ERANGE;
        strutl_cpy_buf(buffer, size, root.path);
        return 0;
    case MVFS_CMD_GET_NAMING_SYMBOL: return read_setting(root.type, "NamingSymbol", buffer, size);
    default: return KS_EINVAL;
    }
}

int failed(int error) {
    if (error != 0) ks_errno = error;
    return error;
}

} // namespace

extern "C" int mvfs_view_root_open_sil_type(mvfs_view_root_type_t type, mvfs_view_root_t **root_out,
                                            int silent) noexcept {
    return failed(open(type, root_out, silent != 0));
}

extern "C" int mvfs_view_root_open_type(mvfs_view_root_type_t type, mvfs_view_root_t **root_out) noexcept {
    return mvfs_view_root_open_sil_type(type, root_out, 0);
}

extern "C" void mvfs_view_root_close_type(mvfs_view_root_type_t, mvfs_view_root_t **root_variable) noexcept {
    if (root_variable) delete std::exchange(*root_variable, nullptr);
}

extern "C" int mvfs_cmd(mvfs_view_root_t *root, int command, char *buffer, size_t size) noexcept {
    if (buffer && size != 0) *buffer = '\0';
    return failed(root && buffer ? answer(*root, command, buffer, size) : KS_EINVAL);
}
