/*
 * ks_dir.h - where the product and the host's data are.
 */
#ifndef KS_DIR_H
#define KS_DIR_H

#include "ks_types.h"

KS_BEGIN_C

/**
 * Names a directory of the installed product: the environment variable ORSIK_PRODUCT_DIR, else the directory above
 * the one that holds this library; then "\" and the leaf, when it is not empty.
 *
 * @param buffer  at least #KS_PATH_SIZE bytes; always terminated, cut when the path is longer.
 * @param leaf    name of a directory or file below; NULL counts as "".
 * @return  @p buffer. Any thread. The variable is not honoured in a program that runs with raised privileges.
 */
KS_API char *ks_product_dir(char *buffer, const char *leaf) KS_NOEXCEPT;

/**
 * Names a directory or a file of the host's data: the environment variable ORSIK_HOSTDATA_DIR, else
 * "/var/lib/tessivane", or for a user who cannot write there "tessivane" below XDG_STATE_HOME (or below ".local/state"
 * in the home directory); then "\" and the leaf, when it is not empty. What the host has under the leaf serves that
 * user all the same: a directory that he may write into, and any file, so that the host's settings are everybody's.
 *
 * @param buffer  at least #KS_PATH_SIZE bytes; always terminated, cut when the path is longer.
 * @param leaf    name of a directory or file below; NULL counts as "".
 * @return  @p buffer. Any thread. The variables are not honoured in a program that runs with raised privileges.
 */
KS_API char *ks_hostdata_dir(char *buffer, const char *leaf) KS_NOEXCEPT;

/**
 * Names a directory of the host's configuration: "/etc/tessivane", or the product's "config" directory when that
 * does not exist; then "\" and the leaf, when it is not empty.
 *
 * @param buffer  at least #KS_PATH_SIZE bytes; always terminated, cut when the path is longer.
 * @param leaf    name of a directory or file below; NULL counts as "".
 * @return  @p buffer. Any thread.
 */
KS_API char *ks_config_dir(char *buffer, const char *leaf) KS_NOEXCEPT;

KS_END_C

#endif
