// under_sanitizer.hpp - whether a sanitizer watches, for tests whose work is large beside what it can find.
#ifndef TESTS_SUPPORT_UNDER_SANITIZER_HPP
#define TESTS_SUPPORT_UNDER_SANITIZER_HPP

#if defined(__has_feature)
#define ORSIK_HAS_FEATURE(name) __has_feature(name)
#else
#define ORSIK_HAS_FEATURE(name) 0
#endif

#if defined(__SANITIZE_THREAD__) || ORSIK_HAS_FEATURE(thread_sanitizer)
inline constexpr bool under_thread_sanitizer = true;
#else
inline constexpr bool under_thread_sanitizer = false;
#endif

#endif
