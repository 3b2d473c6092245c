/*
 * tbs_product.h - where the product is, what it is called, what it runs on.
 *
 * The directories lie below two bases: the installation directory (ks_product_dir()) and the host data directory
 * (ks_hostdata_dir()). Functions that name one fill a buffer of at least #TBS_PATH_SIZE bytes and give it back: the
 * directory, and when @p leaf is not NULL "\" and the leaf behind it, even when the leaf is empty. A longer path is
 * cut. A NULL buffer gives NULL. Nothing is looked up on the disk, nothing is printed.
 *
 * Every function may be called from any thread.
 */
#ifndef TBS_PRODUCT_H
#define TBS_PRODUCT_H

#include "tbs_status.h"

TBS_BEGIN_C

/** Size in bytes of a buffer for a path, terminator included. */
#define TBS_PATH_SIZE 1024

/* ---- directories of the installation ------------------------------------------------------------------------- */

/** The installation directory; here an empty leaf adds nothing. @return @p buffer. */
TBS_API char *tbs_product_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** Scripts: "bin". @return @p buffer. */
TBS_API char *tbs_product_script_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** Tools: "bin". @return @p buffer. */
TBS_API char *tbs_product_tool_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** Servers: "bin". @return @p buffer. */
TBS_API char *tbs_product_server_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** As tbs_product_tool_dir(); a path with anything but letters, digits and \ / : . _ - stands in double quotes.
 *  @return @p buffer. */
TBS_API char *tbs_product_tool_dir_quoted(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** As tbs_product_server_dir(), quoted like tbs_product_tool_dir_quoted(). @return @p buffer. */
TBS_API char *tbs_product_server_dir_quoted(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** "etc". @return @p buffer. */
TBS_API char *tbs_product_etc_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** Utilities: "etc\utils". @return @p buffer. */
TBS_API char *tbs_product_utils_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** Database scripts: "etc\sql". @return @p buffer. */
TBS_API char *tbs_product_sql_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** Libraries: "lib". @return @p buffer. */
TBS_API char *tbs_product_library_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** Configuration that comes with the product: "config". @return @p buffer. */
TBS_API char *tbs_product_config_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** "common". @return @p buffer. */
TBS_API char *tbs_product_common_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** Configuration of user interfaces: "config\ui". @return @p buffer. */
TBS_API char *tbs_product_ui_config_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** Compiled user interfaces: "lib\X11/uid". @return @p buffer. */
TBS_API char *tbs_product_ui_uid_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** Type managers: "lib\mgrs". @return @p buffer. */
TBS_API char *tbs_product_mgrs_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;

/* ---- directories of the host's data -------------------------------------------------------------------------- */

/** The host data directory; here an empty leaf adds nothing. @return @p buffer. */
TBS_API char *tbs_product_host_priv_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** Logs: "log". @return @p buffer. */
TBS_API char *tbs_product_log_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** The log of internal errors: "log\error_log". @return @p buffer. */
TBS_API char *tbs_product_logfile_pn(char *buffer) TBS_NOEXCEPT;
/** "cache". @return @p buffer. */
TBS_API char *tbs_product_cache_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** Configuration of this host: "config". @return @p buffer. */
TBS_API char *tbs_product_host_config_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;
/** The product's registry servers: "rgy". @return @p buffer. */
TBS_API char *tbs_product_rgy_dir(char *buffer, const char *leaf) TBS_NOEXCEPT;

/* ---- name, version, switches --------------------------------------------------------------------------------- */

/** The product's name, "Tessivane". @return a constant text. */
TBS_API const char *tbs_product_name(void) TBS_NOEXCEPT;

/** The product's version, "11.0.0.1". @return a constant text. */
TBS_API const char *tbs_product_version(void) TBS_NOEXCEPT;

/**
 * Copies the product's name, for callers that cannot take a text from a pointer.
 *
 * @param buffer  receives the name, cut to fit and terminated.
 * @param size    its size in bytes; with 0 nothing is written.
 * @return  the copied length without terminator.
 */
TBS_API size_t tbs_product_name_for_vb(char *buffer, size_t size) TBS_NOEXCEPT;

/** Copies the product's version; as tbs_product_name_for_vb(). @return the copied length. */
TBS_API size_t tbs_product_version_for_vb(char *buffer, size_t size) TBS_NOEXCEPT;

/** Whether views of other kinds of hosts may be used together: parameter 26 of the registry. @return 1 when it is
 *  there and not zero, else 0. */
TBS_API tbs_boolean_t tbs_product_view_interop(void) TBS_NOEXCEPT;

/**
 * Sets parameter 26 of the registry.
 *
 * @param on  non-zero writes 1, zero 0.
 * @return  0; else what ntregy_set_param() gives: EINVAL, EACCES, EBUSY, ENOSPC, EIO, ENOMEM by their numbers.
 */
TBS_API tbs_status_t tbs_product_set_view_interop(tbs_boolean_t on) TBS_NOEXCEPT;

/**
 * Whether programs show their native interface: the environment variable TESVA_USE_GUI. Case does not count.
 *
 * @return  0 for "CTE"; 1 for anything else, and when the variable is not set.
 */
TBS_API tbs_boolean_t tbs_product_use_native(void) TBS_NOEXCEPT;

/**
 * Prints the installed test fixes, the entries of "doc\testfix" in the installation directory, in the order of the
 * directory: "Testfixes detected:" and a line for each, at severity 0. Without any, nothing.
 *
 * @return  0, also when there is no such directory; else the error of closing it.
 */
TBS_API tbs_status_t tbs_product_list_hotfixes(void) TBS_NOEXCEPT;

/** Prints the library's name, version, time of building and word size in one line, at severity 0. */
TBS_API void liborsiktbs_print_verid(void) TBS_NOEXCEPT;

/**
 * Tells the system and processor, worked out once in each process.
 *
 * @param[out] os_name_out     "Windows NT", "Windows 95", ..., "unknown" on a system of another kind; may be NULL.
 * @param[out] os_version_out  "6.1 (build 0) " and the service pack; on Linux that is "Linux " and the kernel's
 *                             release; may be NULL.
 * @param[out] processor_out   "x64", "ARM64", ...; may be NULL.
 * @return  1; 0 when the system does not tell its version: the outputs are untouched, and a later call tries again.
 *          The texts live as long as the process.
 */
TBS_API tbs_boolean_t tbs_platform_info(const char **os_name_out, const char **os_version_out,
                                        const char **processor_out) TBS_NOEXCEPT;

TBS_END_C

#endif
