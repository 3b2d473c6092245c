// under_sanitizer.hpp - whether a sanitizer watches: for tests whose work is large beside what it can find, and for what
// cannot stand beside it.
#ifndef TESTS_SUPPORT_UNDER_SANITIZER_HPP
#define TESTS_SUPPORT_UNDER_SANITIZER_HPP

#if defined(__has_feature)
#define ORSIK_HAS_FEATURE(name) __has_feature(name)
#else
#define ORSIK_HAS_FEATURE(name) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || ORSIK_HAS_FEATURE(address_sanitizer)
#define ORSIK_ADDRESS_SANITIZER 1
#else
#define ORSIK_ADDRESS_SANITIZER 0
#endif
#if defined(__SANITIZE_THREAD__) || ORSIK_HAS_FEATURE(thread_sanitizer)
#define ORSIK_THREAD_SANITIZER 1
#else
#define ORSIK_THREAD_SANITIZER 0
#endif
#define ORSIK_SANITIZED (ORSIK_ADDRESS_SANITIZER || ORSIK_THREAD_SANITIZER)

inline constexpr bool under_address_sanitizer = ORSIK_ADDRESS_SANITIZER;
inline constexpr bool under_thread_sanitizer = ORSIK_THREAD_SANITIZER;
inline constexpr bool under_sanitizer = ORSIK_SANITIZED;

#endif
