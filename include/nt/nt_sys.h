/*
 * nt_sys.h - which system and which processor this is, in the numbers of 64-bit Windows.
 */
#ifndef NT_SYS_H
#define NT_SYS_H

#include "nt_types.h"

KS_BEGIN_C

/** Platforms; NT_PLATFORM_POSIX is ours for hosts of another kind. */
enum { NT_PLATFORM_WIN32S = 0, NT_PLATFORM_WINDOWS = 1, NT_PLATFORM_NT = 2, NT_PLATFORM_POSIX = 3 };

/** Version of the system. On Linux the numbers are those of the kernel's release. */
typedef struct nt_version {
    uint32_t major_version;
    uint32_t minor_version;
    uint32_t build_number;
    uint32_t platform_id;       /**< NT_PLATFORM_... */
    uint16_t service_pack[128]; /**< UTF-16, terminated; on Linux "Linux " and the kernel's release */
} nt_version_t;

/**
 * Tells the version of the system.
 *
 * @param[out] version_out  the version; untouched on failure.
 * @return  0; KS_EINVAL for a NULL, or what the host says, translated; also in ks_errno. Any thread.
 */
NT_API int nt_get_version(nt_version_t *version_out) KS_NOEXCEPT;

/** Processor architectures. */
enum {
    NT_ARCHITECTURE_X86 = 0,
    NT_ARCHITECTURE_ARM = 5,
    NT_ARCHITECTURE_IA64 = 6,
    NT_ARCHITECTURE_X64 = 9,
    NT_ARCHITECTURE_ARM64 = 12,
    NT_ARCHITECTURE_UNKNOWN = 0xFFFF
};

/** What a processor is. */
typedef struct nt_system_info {
    uint16_t architecture; /**< NT_ARCHITECTURE_... of the running programs */
    uint16_t level;        /**< for x86 the family: 3, 4, 5, 6; else 0 */
    uint32_t page_size;    /**< bytes of a page of memory */
    uint32_t processors;   /**< processors in use, at least 1 */
} nt_system_info_t;

/** Tells about the processor. @param[out] info_out  the answer; a NULL is ignored. Cannot fail. Any thread. */
NT_API void GetSystemInfo(nt_system_info_t *info_out) KS_NOEXCEPT;

KS_END_C

#endif
