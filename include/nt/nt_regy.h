/*
 * nt_regy.h - the registry: settings of the host, by key path and value name, and by parameter number.
 *
 * Keys form a tree below HKEY_LOCAL_MACHINE. A key path separates its parts with "\"; key and value names are UTF-8
 * without control characters, and compared without regard to case (ASCII and beyond, as strutl_stricoll() does); what
 * was written first is what is listed. A key exists when it, or a key below it, was created or holds a value. The value
 * name "" is the key's default value. The root itself is always there and holds no values.
 *
 * The registry is the file "registry.db" in the host data directory (ks_hostdata_dir()). A file that is not there is
 * an empty registry and is made by the first write, directory included, for its owner alone to write and all to read.
 * Writes of several processes happen one after the other, each whole or not at all, also when the process or the host
 * dies. A damaged file, or one that is no registry, gives KS_EIO and is never written to. A file that others than its
 * owner may write, or whose directory they may, is used, and a warning names it once for each process.
 *
 * Every function may be called from any thread at any time, and after fork() in the child.
 */
#ifndef NT_REGY_H
#define NT_REGY_H

#include "nt_types.h"

KS_BEGIN_C

/** Size in bytes of a buffer for any key path, and of one for any value name, terminator included. */
#define NTREGY_KEY_SIZE 1024

/** Most bytes of a value's data. */
#define NTREGY_MAX_DATA (1024u * 1024u)

/** Root of a key path. HKEY_LOCAL_MACHINE is the only one. */
typedef uint32_t ntregy_root_t;
enum { NTREGY_LOCAL_MACHINE = 2 };

/** Type of a value, numbered as in exported settings: one of these, or any other number of 32 bits. */
typedef uint32_t ntregy_type_t;
enum {
    NTREGY_NONE = 0,      /**< bytes without a meaning */
    NTREGY_SZ = 1,        /**< text: UTF-8, terminated */
    NTREGY_EXPAND_SZ = 2, /**< text with references to environment variables, which nobody expands here */
    NTREGY_BINARY = 3,    /**< bytes */
    NTREGY_DWORD = 4,     /**< number of 32 bits, in the host's byte order */
    NTREGY_MULTI_SZ = 7,  /**< texts one behind the other, each terminated, an empty one at the end */
    NTREGY_QWORD = 11     /**< number of 64 bits, in the host's byte order */
};

/* ---- values by key path -------------------------------------------------------------------------------------- */

/**
 * Gives the key path of the product's settings, without the root: "SOFTWARE\Tessivane".
 *
 * @param buffer  receives the path; always terminated when @p size is not 0.
 * @param size    size of @p buffer in bytes.
 * @retval 0                  written
 * @retval KS_ENAMETOOLONG    it does not fit; the buffer holds ""
 * @retval KS_EINVAL          @p buffer is NULL or @p size is 0
 */
NT_API int ntregy_get_common_key(char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Reads a value of any type.
 *
 * @param         root   the root.
 * @param         key    key path.
 * @param         name   value name; NULL counts as "".
 * @param[out]    type_out  its type, also when it does not fit; may be NULL.
 * @param[out]    data   receives the data; may be NULL when @p size holds 0, to ask for the size.
 * @param[in,out] size   size of @p data in bytes; set to that of the value, also when it does not fit.
 * @retval 0                  read
 * @retval KS_ENOENT          no such value, or no registry
 * @retval KS_ERANGE          @p data is too small; it is untouched
 * @retval KS_EINVAL          a bad root, a NULL, a path that is empty or has an empty part, or a bad name
 * @retval KS_ENAMETOOLONG    the path or the name is longer than #NTREGY_KEY_SIZE allows
 * @retval KS_EACCES          the registry may not be read; or a writer died in it, and the caller may not write it and
 *                            so cannot take back what was half written
 * @retval KS_EBUSY           a writer kept the registry from being read for longer than 10 seconds
 * @retval KS_EIO             the registry is damaged or cannot be read
 * @retval KS_ENOMEM          no memory
 */
NT_API int ntregy_get_value(ntregy_root_t root, const char *key, const char *name, ntregy_type_t *type_out,
                            void *data, size_t *size) KS_NOEXCEPT;

/**
 * Reads a text (NTREGY_SZ or NTREGY_EXPAND_SZ).
 *
 * @param root    the root.
 * @param key     key path.
 * @param name    value name; NULL counts as "".
 * @param buffer  receives the text; always terminated when @p size is not 0, and "" unless the result is 0.
 * @param size    size of @p buffer in bytes.
 * @return  as ntregy_get_value(); KS_EINVAL also when the value is no text, KS_ERANGE when it does not fit.
 */
NT_API int ntregy_get_string(ntregy_root_t root, const char *key, const char *name, char *buffer,
                             size_t size) KS_NOEXCEPT;

/**
 * Writes a value, and makes its key when it is not there. When the function returns 0 the value is on the disk.
 *
 * @param root  the root.
 * @param key   key path.
 * @param name  value name; NULL counts as "".
 * @param type  its type; a number not listed above is kept as it is.
 * @param data  the data; may be NULL when @p size is 0. Texts are terminated, numbers have their type's size.
 * @param size  size of the data in bytes, terminators included.
 * @retval 0                  written
 * @retval KS_EINVAL          a bad root, a NULL, a path that is empty or has an empty part, a bad name, or data that
 *                            do not fit the type (texts that are not UTF-8 among them)
 * @retval KS_ENAMETOOLONG    the path or the name is too long
 * @retval KS_E2BIG           more than #NTREGY_MAX_DATA bytes
 * @retval KS_EACCES          the registry may not be written
 * @retval KS_EBUSY           other writers held the registry for longer than 10 seconds
 * @retval KS_ENOSPC          the disk is full; the registry is as it was
 * @retval KS_EIO             the registry is damaged, or cannot be written
 * @retval KS_ENOMEM          no memory
 */
NT_API int ntregy_set_value(ntregy_root_t root, const char *key, const char *name, ntregy_type_t type,
                            const void *data, size_t size) KS_NOEXCEPT;

/** Writes a text as NTREGY_SZ. @return as ntregy_set_value(). */
NT_API int ntregy_set_string(ntregy_root_t root, const char *key, const char *name, const char *text) KS_NOEXCEPT;

/** Makes a key without values, and the keys above it. @return 0, also when it is there; else as ntregy_set_value(). */
NT_API int ntregy_create_key(ntregy_root_t root, const char *key) KS_NOEXCEPT;

/** Deletes a value. @return 0; KS_ENOENT when it is not there; else as ntregy_set_value(). */
NT_API int ntregy_delete_value(ntregy_root_t root, const char *key, const char *name) KS_NOEXCEPT;

/** Deletes a key with its values and all keys below it. @return 0; KS_ENOENT when it is not there; else as
 *  ntregy_set_value(). */
NT_API int ntregy_delete_key(ntregy_root_t root, const char *key) KS_NOEXCEPT;

/* ---- listing ------------------------------------------------------------------------------------------------- */

/**
 * Is told of a key right below another.
 *
 * @param context      the caller's.
 * @param name         its name, one part of a path; gone when the function returns.
 * @param value_count  how many values it has.
 * @return  0 to go on; any other number ends the listing, which then returns it.
 */
typedef int (*ntregy_subkey_fn)(void *context, const char *name, size_t value_count);

/** Is told of a value; arguments as those of ntregy_set_value(). @return 0 to go on. */
typedef int (*ntregy_value_fn)(void *context, const char *name, ntregy_type_t type, const void *data, size_t size);

/**
 * Lists the keys right below a key, in the order of their names without regard to case. All are of one moment. The
 * functions may call this module; what they change does not show in the listing.
 *
 * @param root     the root.
 * @param key      key path; "" is the root itself.
 * @param each     is called for each.
 * @param context  handed to @p each.
 * @return  0, or what @p each returned; KS_ENOENT when the key is not there; else as ntregy_get_value().
 */
NT_API int ntregy_enum_subkeys(ntregy_root_t root, const char *key, ntregy_subkey_fn each, void *context) KS_NOEXCEPT;

/** Lists the values of a key, as ntregy_enum_subkeys(). */
NT_API int ntregy_enum_values(ntregy_root_t root, const char *key, ntregy_value_fn each, void *context) KS_NOEXCEPT;

/* ---- numbered parameters ------------------------------------------------------------------------------------- *
 *
 * A parameter is a value under the product's common key. Parameters that the product names:
 *
 *   26  "ViewInterop"    number   views of other systems may be used together
 *   42  "SmtpServer"     text     host that takes mail
 *   52  "NamingSymbol"   text     what separates a name from its version
 *   66  "MailDomain"     text     domain of mail addresses without one
 *
 * Any other number is the value "Parameter<number>".
 */

/** Gives the value name of a parameter. @return 0, or as ntregy_get_common_key(). */
NT_API int ntregy_param_name(uint32_t number, char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Reads a parameter: a number as 4 bytes in the host's byte order, a text with its terminator.
 *
 * @param      number  the parameter.
 * @param[out] data    receives the value; untouched unless the result is 0.
 * @param      size    size of @p data in bytes. A text may be shorter; anything else has just this size.
 * @return  as ntregy_get_value(); KS_EINVAL also when the value has another size, or is a text where
 *          the parameter is a number.
 */
NT_API int ntregy_get_param(uint32_t number, void *data, size_t size) KS_NOEXCEPT;

/** As ntregy_get_param(), for the parameters of view roots. They are the same values. */
NT_API int ntregy_get_mvfs_param(uint32_t number, void *data, size_t size) KS_NOEXCEPT;

/** Writes a parameter. @return as ntregy_set_value(). */
NT_API int ntregy_set_param(uint32_t number, ntregy_type_t type, const void *data, size_t size) KS_NOEXCEPT;

/* ---- exported settings --------------------------------------------------------------------------------------- */

/**
 * Writes a key, its values and the keys below it in the text form of exported settings ("Windows Registry Editor
 * Version 5.00", UTF-16LE with a byte order mark, CR LF), as other hosts read it.
 *
 * @param root  the root.
 * @param key   key path; "" exports all.
 * @param path  product path of the file, replaced as a whole.
 * @return  0; KS_ENOENT when the key is not there; else as ntregy_get_value(), or what writing the file gave.
 */
NT_API int ntregy_export(ntregy_root_t root, const char *key, const char *path) KS_NOEXCEPT;

/**
 * Reads exported settings: forms "REGEDIT4" and "Windows Registry Editor Version 5.00", as UTF-8 or UTF-16 with or
 * without a byte order mark, LF or CR LF. "[-key]" deletes a key, "name"=- a value. All of the file takes effect, or
 * nothing does. Keys of other roots are counted and left alone.
 *
 * @param      path         product path of the file, at most 64 MiB.
 * @param[out] line_out     number of the line that is wrong, from 1, else 0; may be NULL.
 * @param[out] skipped_out  how many keys of other roots were left alone, 0 unless the result is 0; may be NULL.
 * @return  0; KS_EINVAL with a line when the text is wrong, KS_ENAMETOOLONG or KS_E2BIG with one when a name is too
 *          long or a value too large; KS_EFBIG for a file that is too large; else as ntregy_set_value(), or what
 *          reading the file gave.
 */
NT_API int ntregy_import(const char *path, uint32_t *line_out, uint32_t *skipped_out) KS_NOEXCEPT;

KS_END_C

#endif
