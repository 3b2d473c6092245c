/*
 * ks_compress.h - bytes made smaller, and whole again.
 *
 * The compressed form is one zstd frame (RFC 8878) that tells the size of its content. Any thread.
 */
#ifndef KS_COMPRESS_H
#define KS_COMPRESS_H

#include "ks_types.h"

KS_BEGIN_C

/** No content of more bytes than this is made whole again. */
#define COMPRESS_MOST_CONTENT (256u * 1024 * 1024)

/** Nor one of more than this and more than #COMPRESS_MOST_RATIO times its compressed form. */
#define COMPRESS_MOST_FROM_LITTLE (16u * 1024 * 1024)
/** See #COMPRESS_MOST_FROM_LITTLE. */
#define COMPRESS_MOST_RATIO 1000u

/**
 * Compresses bytes.
 *
 * @param      content   the bytes; may be NULL when @p size is 0.
 * @param      size      their number.
 * @param[out] size_out  bytes of the compressed form; untouched on failure.
 * @return  the compressed form, released with stg_free(); NULL with ks_errno set: KS_EFBIG when
 *          compress_uncompress() would refuse the content for its size, KS_EINVAL for a NULL, KS_ENOMEM.
 */
KS_API void *compress_compress(const void *content, size_t size, size_t *size_out) KS_NOEXCEPT;

/**
 * Makes compressed bytes whole again. What the frame claims of its size is not believed: memory is taken as content
 * arrives, up to the limits above.
 *
 * @param      compressed  one whole frame.
 * @param      size        its bytes.
 * @param[out] size_out    bytes of the content; untouched on failure.
 * @return  the content, released with stg_free(); NULL with ks_errno set: KS_EINVAL for what is no frame, is damaged,
 *          is cut off or followed by anything, KS_EFBIG for content beyond the limits and for a frame that
 *          asks for a window of more than 8 MiB, KS_ENOMEM.
 */
KS_API void *compress_uncompress(const void *compressed, size_t size, size_t *size_out) KS_NOEXCEPT;

KS_END_C

#endif
