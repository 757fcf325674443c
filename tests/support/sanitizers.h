/**
 * @file sanitizers.h
 * @brief Whether a sanitizer takes memory and time besides the program's, many times what that takes.
 */
#ifndef PSITEST_SANITIZERS_H
#define PSITEST_SANITIZERS_H

namespace psitest {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif
#else
constexpr bool sanitized = false;
#endif

} // namespace psitest

#endif // PSITEST_SANITIZERS_H
