/*
 * tbs_mgr.h - type managers: the programs that store and rebuild the contents of versions.
 *
 * A manager is a name and a set of operations, each a program. Where the program of an operation is, is said by the
 * first of these that knows it:
 *
 *   1. the registry: the value named after the operation in the key "TypeManagers\MANAGER" of the product's common key
 *   2. the file "map" in the managers directory (tbs_product_mgrs_dir()): lines "MANAGER OPERATION LOCATION"
 *   3. the managers directory: "MANAGER\OPERATION"
 *
 * A location is "HKLM\KEY\VALUE" or "HKEY_LOCAL_MACHINE\KEY\VALUE" (the registry value holds the path), an absolute
 * path, or a path in the managers directory. In the map lines that begin with "#" and lines with fewer than three
 * fields are skipped, and a location ends after 1023 characters. A map that everybody may write to is used, and a
 * warning names it once in each process. When the registry or the map is there and cannot be read, nothing is run in
 * its place: a message says so (severity 6) and the status is that of the error.
 *
 * Names are compared exactly, in the registry without regard to case. A name that is no name of a file (it is empty,
 * "." or "..", or has a separator) finds no program in the managers directory. Paths have at most 1023 bytes. Programs
 * get an argument vector; no shell is involved. Every function may be called from any thread.
 */
#ifndef TBS_MGR_H
#define TBS_MGR_H

#include "../ks/ks_stg.h"
#include "tbs_status.h"

TBS_BEGIN_C

/**
 * Lists the managers of the registry, the map and the managers directory, each once, in that order.
 *
 * Prints when a source cannot be read, and goes on: "Operation "ntregy_enum_subkeys" failed (...)" (severity 4),
 * "Unable to open directory ..." and "Unable to access ..." (severity 6).
 *
 * @param      area       storage area for the list; NULL is the general heap.
 * @param[out] count_out  number of managers; untouched on failure.
 * @param[out] names_out  their names, for tbs_mgr_free_mgr_list(); untouched on failure.
 * @retval 0              listed
 * @retval TBS_ST_ENOMEM  no memory
 * @retval TBS_ST_EINVAL  an output is NULL
 */
TBS_API tbs_status_t tbs_mgr_get_mgr_list(stg_area_t *area, uint32_t *count_out, char ***names_out) TBS_NOEXCEPT;

/**
 * Releases a list of tbs_mgr_get_mgr_list(), and sets both variables to zero. A list in an area goes with the area: it
 * may be released before the area is deleted, and need not be.
 *
 * @param count  the caller's variable.
 * @param names  the caller's variable; a NULL in it is ignored.
 * @retval 0              released
 * @retval TBS_ST_EINVAL  an argument is NULL
 */
TBS_API tbs_status_t tbs_mgr_free_mgr_list(uint32_t *count, char ***names) TBS_NOEXCEPT;

/**
 * Tells whether a manager has an operation: its program exists, or the manager is "whole_copy" and the operation one
 * of create_element, create_branch, create_version, create_version64, construct_version, delete_branches_versions,
 * get_cont_info.
 *
 * @param      manager        the manager.
 * @param      operation      the operation.
 * @param[out] supported_out  1 or 0; 0 on failure.
 * @retval 0                     told
 * @retval TBS_ST_ENAMETOOLONG   a key or path is too long; logged as an internal error
 * @retval TBS_ST_ENOMEM         no memory
 * @retval TBS_ST_EINVAL         an argument is NULL
 * @return  else the status of the error for which the registry or the map cannot be read.
 */
TBS_API tbs_status_t tbs_mgr_is_supported_op(const char *manager, const char *operation,
                                             tbs_boolean_t *supported_out) TBS_NOEXCEPT;

/** Tells whether a manager takes versions of 2 GB and more: whether it has "create_version64". @return as
 *  tbs_mgr_is_supported_op(). */
TBS_API tbs_status_t tbs_mgr_supports_large_versions(const char *manager, tbs_boolean_t *supported_out) TBS_NOEXCEPT;

/**
 * Runs an operation of a manager and waits for its end. The program has the caller's standard streams.
 *
 * @param      manager          the manager.
 * @param      operation        the operation.
 * @param      arguments        argument vector, NULL at the end. The first slot is the library's: it holds the
 *                              operation during the call, and NULL afterwards.
 * @param[out] exit_status_out  the program's exit status; untouched on failure.
 * @retval 0                     it ran; what its exit status means is the caller's to judge
 * @retval TBS_ST_ERROR          there is no such program: "Operation "OP" unavailable for manager "MGR"" (severity 6);
 *                               or it did not start: "Unable to invoke operation "OP" for manager "MGR": ..."
 *                               (severity 6); each with the program's path in a second message
 * @retval TBS_ST_ENAMETOOLONG   a key or path is too long; logged as an internal error
 * @retval TBS_ST_ENOMEM         no memory
 * @retval TBS_ST_EINVAL         an argument is NULL
 * @return  else the status of the error for which the registry or the map cannot be read.
 */
TBS_API tbs_status_t tbs_mgr_invoke_op(const char *manager, const char *operation, char **arguments,
                                       int *exit_status_out) TBS_NOEXCEPT;

TBS_END_C

#endif
