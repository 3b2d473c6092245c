/*
 * tbs_cr.h - configuration records: who built what, where and when, and of what.
 *
 * A build tool fills a record during a build audit; repository servers store it compressed, and peers exchange it over
 * XDR (RFC 4506). The order of the members is that of the wire. Texts may be NULL, which travels as "". Every counted
 * array travels with its count twice: by itself, and before its elements; unequal counts are refused.
 *
 * Two formats are in use. In format 5 flags of objects take 16 bits and sizes of files 32; in format 6 they take 32 and
 * 64. Encoding chooses: format 6 when a file outside the MVFS is too large for 32 bits, else format 5.
 *
 * Functions may be called from any thread; one record belongs to one thread at a time. Nothing is printed unless it is
 * said.
 */
#ifndef TBS_CR_H
#define TBS_CR_H

#include "../ks/ks_stg.h"
#include "tbs_status.h"
#include "tbs_uuid.h"
#include "tbs_xdr.h"

TBS_BEGIN_C

/** Flags of a record. */
typedef uint32_t tbs_cr_flags_t;

/** How an object took part in a build; the low 16 bits alone are in use. */
typedef uint32_t tbs_cr_obj_flags_t;

/** Kind of a file, as tbs_ftype_t in one byte. */
typedef uint8_t tbs_cr_ftype_t;

/** Kind of a repository object, as vob_mtype_t in one byte. */
typedef uint8_t tbs_cr_mtype_t;

/** A repository that objects come from. */
typedef struct tbs_cr_vob_desc {
    char *pathname;        /**< where it is mounted */
    tbs_oid_t family_oid;  /**< of the repository and its replicas */
    tbs_oid_t replica_oid; /**< of this replica */
} tbs_cr_vob_desc_t;

/** An object in the MVFS that the build was told of beforehand. */
typedef struct tbs_cr_mfs_predef {
    char *pathname;
    char *version;  /**< its version, in text */
    uint32_t flags; /**< what the build script declared it to be */
} tbs_cr_mfs_predef_t;

/** Where a symbolic link leads. */
typedef struct tbs_cr_slinktext_rec {
    char *text;      /**< what the link holds */
    uint32_t object; /**< index of the link among the MVFS objects */
} tbs_cr_slinktext_rec_t;

/** A file outside the MVFS that took part. */
typedef struct tbs_cr_fs_predef {
    char *pathname;
    char *checksum; /**< of its content, in text */
    tbs_cr_obj_flags_t result_obj_flags;
    tbs_cr_ftype_t ftype;
    uint8_t host_kind; /**< kind of the host that it is on */
    int64_t size;      /**< bytes */
    uint32_t mode;     /**< permission bits */
    int64_t mtime;     /**< last written, seconds since 1970 */
    int64_t ctime;     /**< status last changed */
} tbs_cr_fs_predef_t;

/** An object in the MVFS that took part. */
typedef struct tbs_cr_mfs_obj_desc {
    tbs_oid_t oid;         /**< of the object: an element's version, a derived object, a view-private file */
    int64_t mtime;         /**< last written, seconds since 1970 */
    tbs_oid_t element_oid; /**< of its element */
    uint16_t vob;          /**< index of its repository among the VOBs */
    tbs_cr_obj_flags_t result_obj_flags;
    tbs_cr_ftype_t ftype;
    tbs_cr_mtype_t mtype;
    uint16_t parent;      /**< index of its directory among the MVFS objects */
    tbs_oid_t branch_oid; /**< of its version's branch */
    char *name;           /**< version-extended pathname below the repository's root */
} tbs_cr_mfs_obj_desc_t;

/** A configuration record. */
typedef struct tbs_cr {
    int32_t format_version; /**< of the record as it was read or last written; encoding sets it */
    int64_t build_time;     /**< when the build ended, seconds since 1970 */
    uint32_t elapsed;       /**< seconds that it took */
    uint32_t exit_status;   /**< of the build script */
    char *user;             /**< who built: login name */
    char *group;            /**< and group */
    char *host;             /**< where */
    char *host_type;        /**< system and processor of the host */
    char *directory;        /**< where the script began */
    tbs_oid_t target_oid;   /**< of the derived object that is described */
    tbs_uuid_t view_uuid;   /**< view that it was built in */
    char *target;           /**< name of the build target */
    ks_timeval_t began;     /**< when the build began */
    char *command;          /**< build script */
    tbs_cr_flags_t flags;
    uint32_t variable_count;
    char **variables; /**< NAME=VALUE */
    uint32_t mfs_predef_count;
    tbs_cr_mfs_predef_t **mfs_predefs;
    uint32_t fs_predef_count;
    tbs_cr_fs_predef_t **fs_predefs;
    uint32_t option_count;
    char **options; /**< of the build tool */
    uint32_t vob_count;
    tbs_cr_vob_desc_t **vobs;
    uint32_t mfs_object_count;
    tbs_cr_mfs_obj_desc_t **mfs_objects;
    uint32_t slinktext_count;
    tbs_cr_slinktext_rec_t **slinktexts;
} tbs_cr_t;

/** What tbs_cr_compressed_t::format_version is. */
#define TBS_CR_COMPRESSED_CURR_FORMAT 1

/** A configuration record in the form in which it is stored and sent. */
typedef struct tbs_cr_compressed {
    int32_t format_version; /**< #TBS_CR_COMPRESSED_CURR_FORMAT */
    uint64_t length;        /**< bytes of the data */
    uint8_t *data;          /**< one zstd frame (see ks_compress.h) of the XDR form of a record */
} tbs_cr_compressed_t;

/** What tells the dependencies of two builds apart. */
typedef struct tbs_cr_dep_hash {
    uint32_t high, low;
} tbs_cr_dep_hash_t;

/* ---- formats ---------------------------------------------------------------------------------------------------- */

/**
 * Chooses the format that a record is written in.
 *
 * The flags of its objects must fit in 16 bits: otherwise it ends the process through pfm_assert_fail(), with
 * "!(non_mvfs_p->result_obj_flags & 0xffff0000)" (line 421) or "!(mvfs_p->result_obj_flags & 0xffff0000)" (line 438)
 * of "lib/tbs/tbs_cr".
 *
 * @param cr  the record.
 * @return  6 when a file outside the MVFS has a size that is not from 0 to 2147483647; what stands behind the first of
 *          these is not looked at. Else 5; also for NULL.
 */
TBS_API int32_t tbs_cr_get_fmt_vers(const tbs_cr_t *cr) TBS_NOEXCEPT;

/** Gives 1 for format numbers 4, 5 and 6, else 0; also for NULL. Of these 4 is known, but neither read nor written. */
TBS_API tbs_boolean_t tbs_cr_is_supported_fmt(const int32_t *format_version) TBS_NOEXCEPT;

/* ---- the compressed form ---------------------------------------------------------------------------------------- */

/**
 * Compresses a record. Sets its format version as encoding does.
 *
 * @param      cr              the record. Flags beyond 16 bits end the process: see tbs_cr_get_fmt_vers().
 * @param[out] compressed_out  the compressed record, released with tbs_cr_free_compressed_stg(); untouched on failure.
 * @retval 0              done
 * @retval TBS_ST_ERROR   the record cannot be encoded, or not compressed
 * @retval TBS_ST_ENOMEM  no memory to begin with
 * @retval TBS_ST_EINVAL  a pointer is NULL
 */
TBS_API tbs_status_t tbs_cr_to_compressed(tbs_cr_t *cr, tbs_cr_compressed_t **compressed_out) TBS_NOEXCEPT;

/**
 * Reads a compressed record. Its format version must be 1: otherwise it ends the process through pfm_assert_fail(),
 * with "(ccr_p->format_version == TBS_CR_COMPRESSED_CURR_FORMAT)" (line 193) of "lib/tbs/tbs_cr".
 *
 * @param      compressed  the compressed record.
 * @param[out] cr_out      receives the record; what it held is overwritten, not released. Untouched when the data cannot
 *                         be made whole again; after a failure later it holds what was read. So begin with a record of
 *                         zeros, and release it with tbs_cr_free_cr_xdr() whatever the result.
 * @retval 0              done
 * @retval TBS_ST_ERROR   the data is missing, damaged, cut off, no zstd frame, beyond the limits of
 *                        compress_uncompress(), or no record of format 5 or 6; no memory (printed when it is the
 *                        record's)
 * @retval TBS_ST_EINVAL  a pointer is NULL
 */
TBS_API tbs_status_t tbs_cr_compressed_to_cr(const tbs_cr_compressed_t *compressed, tbs_cr_t *cr_out) TBS_NOEXCEPT;

/**
 * Copies a compressed record as it arrived in a transfer.
 *
 * @param      transfer        the record.
 * @param[out] compressed_out  the copy, released with tbs_cr_free_compressed_stg(); untouched on failure.
 * @retval 0              done
 * @retval TBS_ST_ERROR   its format version is not 1; its data is missing; no memory
 * @retval TBS_ST_EINVAL  a pointer is NULL
 */
TBS_API tbs_status_t tbs_cr_vx_to_cr_compressed(const tbs_cr_compressed_t *transfer,
                                                tbs_cr_compressed_t **compressed_out) TBS_NOEXCEPT;

/* ---- copies, and their end --------------------------------------------------------------------------------------- */

/**
 * Copies a record into a storage area, with all that it points to.
 *
 * @param      cr      the record.
 * @param      area    the area, which releases the copy as a whole; NULL is the general heap (then see
 *                     tbs_cr_free_cr_stg()).
 * @param[out] cr_out  receives the copy; what it held is overwritten. Untouched on failure.
 * @retval 0              done
 * @retval TBS_ST_ENOMEM  no memory: printed, module "tbs_cr", severity 6. An area keeps what has been copied until it
 *                        is deleted.
 * @retval TBS_ST_EINVAL  a NULL
 */
TBS_API tbs_status_t tbs_cr_copy_cr(const tbs_cr_t *cr, stg_area_t *area, tbs_cr_t *cr_out) TBS_NOEXCEPT;

/** Releases what a record holds that was decoded, as a free pass of xdr_tbs_cr_t(). NULL is ignored. */
TBS_API void tbs_cr_free_cr_xdr(tbs_cr_t *cr) TBS_NOEXCEPT;

/**
 * Releases what a record holds that was put together with stg_malloc() and stg_strdup(): its texts, both lists of texts,
 * the objects with their texts, the arrays. Left to the caller are the second text of each file outside the MVFS
 * (the checksum) and the texts of symbolic links, their records included. The members are NULL and 0 then, but for
 * those. NULL is ignored.
 */
TBS_API void tbs_cr_free_cr_stg(tbs_cr_t *cr) TBS_NOEXCEPT;

/** Releases a compressed record and its data. NULL is ignored. */
TBS_API void tbs_cr_free_compressed_stg(tbs_cr_compressed_t *compressed) TBS_NOEXCEPT;

/* ---- XDR routines: as those of tbs_xdr.h ----------------------------------------------------------------------- */

/**
 * A record. Encoding first sets its format version (see tbs_cr_get_fmt_vers()); decoding takes formats 5 and 6 alone.
 */
TBS_API bool_t xdr_tbs_cr_t(XDR *stream, tbs_cr_t *cr) TBS_NOEXCEPT;

/** A compressed record: format version, length, the length again, the bytes, padding. Unequal lengths are refused. */
TBS_API bool_t xdr_tbs_cr_compressed_t(XDR *stream, tbs_cr_compressed_t *compressed) TBS_NOEXCEPT;

/** A repository. */
TBS_API bool_t xdr_tbs_cr_vob_desc_t(XDR *stream, tbs_cr_vob_desc_t *vob) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr__tbs_cr_vob_desc_t(XDR *stream, tbs_cr_vob_desc_t *vob) TBS_NOEXCEPT;
/** A pointer to one that may be NULL: a presence word first. */
TBS_API bool_t xdr_tbs_cr_vob_desc_p_t(XDR *stream, tbs_cr_vob_desc_t **vob) TBS_NOEXCEPT;

/** A predefined object in the MVFS. */
TBS_API bool_t xdr_tbs_cr_mfs_predef_t(XDR *stream, tbs_cr_mfs_predef_t *object) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr__tbs_cr_mfs_predef_t(XDR *stream, tbs_cr_mfs_predef_t *object) TBS_NOEXCEPT;
/** A pointer to one that may be NULL. */
TBS_API bool_t xdr_tbs_cr_mfs_predef_p_t(XDR *stream, tbs_cr_mfs_predef_t **object) TBS_NOEXCEPT;

/** A symbolic link's text. */
TBS_API bool_t xdr_tbs_cr_slinktext_rec_t(XDR *stream, tbs_cr_slinktext_rec_t *link) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr__tbs_cr_slinktext_rec_t(XDR *stream, tbs_cr_slinktext_rec_t *link) TBS_NOEXCEPT;
/** A pointer to one that may be NULL. */
TBS_API bool_t xdr_tbs_cr_slinktext_rec_p_t(XDR *stream, tbs_cr_slinktext_rec_t **link) TBS_NOEXCEPT;

/** A file outside the MVFS, as in format 6. */
TBS_API bool_t xdr_tbs_cr_fs_predef_t(XDR *stream, tbs_cr_fs_predef_t *file) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr__tbs_cr_fs_predef_t(XDR *stream, tbs_cr_fs_predef_t *file) TBS_NOEXCEPT;
/** As in format 5: of the flags the low 16 bits, of the size the low 32, which decoding takes as a signed number. */
TBS_API bool_t xdr_tbs_cr_fs_predef_v6_t(XDR *stream, tbs_cr_fs_predef_t *file) TBS_NOEXCEPT;
/** A pointer to one as in format 6 that may be NULL. */
TBS_API bool_t xdr_tbs_cr_fs_predef_p_t(XDR *stream, tbs_cr_fs_predef_t **file) TBS_NOEXCEPT;

/** An object in the MVFS, as in format 6. */
TBS_API bool_t xdr_tbs_cr_mfs_obj_desc_t(XDR *stream, tbs_cr_mfs_obj_desc_t *object) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr__tbs_cr_mfs_obj_desc_t(XDR *stream, tbs_cr_mfs_obj_desc_t *object) TBS_NOEXCEPT;
/** As in format 5: of the flags the low 16 bits. */
TBS_API bool_t xdr_tbs_cr_mfs_obj_desc_v6_t(XDR *stream, tbs_cr_mfs_obj_desc_t *object) TBS_NOEXCEPT;
/** A pointer to one as in format 6 that may be NULL. */
TBS_API bool_t xdr_tbs_cr_mfs_obj_desc_p_t(XDR *stream, tbs_cr_mfs_obj_desc_t **object) TBS_NOEXCEPT;

/** The flags of a record: one unit. */
TBS_API bool_t xdr_tbs_cr_flags_t(XDR *stream, tbs_cr_flags_t *flags) TBS_NOEXCEPT;
/** The flags of an object: one unit. */
TBS_API bool_t xdr_tbs_cr_obj_flags_t(XDR *stream, tbs_cr_obj_flags_t *flags) TBS_NOEXCEPT;
/** A kind of file: one unit, of which decoding takes the low 8 bits. */
TBS_API bool_t xdr_tbs_cr_ftype_t(XDR *stream, tbs_cr_ftype_t *kind) TBS_NOEXCEPT;
/** A kind of repository object: one unit, of which decoding takes the low 8 bits. */
TBS_API bool_t xdr_tbs_cr_mtype_t(XDR *stream, tbs_cr_mtype_t *kind) TBS_NOEXCEPT;
/** A dependency hash: two units. */
TBS_API bool_t xdr_tbs_cr_dep_hash_t(XDR *stream, tbs_cr_dep_hash_t *hash) TBS_NOEXCEPT;

TBS_END_C

#endif
