/*
 * mvfs_view_root.h - view roots, the directories under which views are mounted, and the commands that they answer.
 *
 * A host has at most one view root of each type. The registry names it: the key "ViewRoots\Dynamic", or
 * "ViewRoots\Automatic", below the product's key (ntregy_get_common_key()) has the values
 *
 *   "Path"           text   the directory, an absolute product path
 *   "NamingSymbol"   text   what separates a name from its version there; may be left out
 *
 * An empty value counts as none. Every function may be called from any thread; a handle serves one thread at a time.
 */
#ifndef MVFS_VIEW_ROOT_H
#define MVFS_VIEW_ROOT_H

#include "mvfs_types.h"

KS_BEGIN_C

/** Type of a view root. */
typedef int32_t mvfs_view_root_type_t;
enum {
    DYVWROOT = 0, /**< dynamic views */
    AUVWROOT = 1  /**< automatic views */
};

/** An open view root: it stays the same directory, whatever happens to its path. */
typedef struct mvfs_view_root mvfs_view_root_t;

/** Commands. */
enum {
    MVFS_CMD_GET_VIEW_ROOT = 11,    /**< gives the path of the view root, as the registry has it */
    MVFS_CMD_GET_NAMING_SYMBOL = 20 /**< gives the extended naming symbol */
};

/**
 * Opens a view root.
 *
 * A view root that the registry does not name is a common state and not reported. Any other failure is, unless
 * @p silent says otherwise: error "Unable to open the view root "path": reason." of module "mvfs".
 *
 * @param      type      the type.
 * @param[out] root_out  the view root, closed with mvfs_view_root_close_type(); untouched on failure.
 * @param      silent    non-zero: report nothing.
 * @retval 0                 open
 * @retval KS_ENOENT         the registry names none, or it is not there
 * @retval KS_ENOTDIR        it is no directory
 * @retval KS_EINVAL         @p root_out is NULL, the type is none, or the registry's value is no absolute path
 * @retval KS_ENOMEM         no memory
 * @return  else what the registry (ntregy_get_value()) or the host says. The error is in ks_errno as well.
 */
MVFS_API int mvfs_view_root_open_sil_type(mvfs_view_root_type_t type, mvfs_view_root_t **root_out,
                                          int silent) KS_NOEXCEPT;

/** Opens a view root and reports failures. @return as mvfs_view_root_open_sil_type() with @p silent 0. */
MVFS_API int mvfs_view_root_open_type(mvfs_view_root_type_t type, mvfs_view_root_t **root_out) KS_NOEXCEPT;

/**
 * Closes a view root and sets the caller's variable to NULL.
 *
 * @param type           its type.
 * @param root_variable  the variable; NULL, or one that holds NULL, is ignored.
 */
MVFS_API void mvfs_view_root_close_type(mvfs_view_root_type_t type, mvfs_view_root_t **root_variable) KS_NOEXCEPT;

/**
 * Gives a view root a command.
 *
 * @param root     the view root.
 * @param command  MVFS_CMD_...
 * @param buffer   receives the answer, a terminated text; "" on failure when @p size is not 0.
 * @param size     its size in bytes.
 * @retval 0                 answered
 * @retval KS_ENOENT         the view root has no such text
 * @retval KS_ERANGE         the answer does not fit
 * @retval KS_EINTR          interrupted: give the command again
 * @retval KS_EINVAL         a pointer is NULL, or the command is none
 * @retval KS_ENOMEM         no memory
 * @return  else what the registry says (ntregy_get_value()). The error is in ks_errno as well. Prints nothing.
 */
MVFS_API int mvfs_cmd(mvfs_view_root_t *root, int command, char *buffer, size_t size) KS_NOEXCEPT;

KS_END_C

#endif
