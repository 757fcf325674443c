/**
 * @file asan.h
 * @brief What the pool and the list tell AddressSanitizer and ask it; nothing in any other build.
 */
#ifndef PSI_ASAN_H
#define PSI_ASAN_H

#include <stddef.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PSI_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) && !defined(PSI_ASAN)
#define PSI_ASAN 1
#endif

#ifdef PSI_ASAN
#include <sanitizer/asan_interface.h>
#include <sanitizer/lsan_interface.h>
/** For a function that has to reach into memory that is poisoned for everybody else. */
#define PSI_NO_ASAN __attribute__((no_sanitize("address"), noinline))
#else
#define PSI_NO_ASAN
#endif

/** @brief Forbid access to `bytes` bytes at `at`. */
static inline void asanPoison(const void *at, size_t bytes)
{
#ifdef PSI_ASAN
    __asan_poison_memory_region(at, bytes);
#else
    (void)at;
    (void)bytes;
#endif
}

/** @brief Allow access to `bytes` bytes at `at`. */
static inline void asanUnpoison(const void *at, size_t bytes)
{
#ifdef PSI_ASAN
    __asan_unpoison_memory_region(at, bytes);
#else
    (void)at;
    (void)bytes;
#endif
}

/** @brief What a pointer in `bytes` bytes at `at` leads to is no leak; these are not memory that malloc() gave. */
static inline void asanAddRoots(const void *at, size_t bytes)
{
#ifdef PSI_ASAN
    __lsan_register_root_region(at, bytes);
#else
    (void)at;
    (void)bytes;
#endif
}

/** @brief Take asanAddRoots() back. */
static inline void asanRemoveRoots(const void *at, size_t bytes)
{
#ifdef PSI_ASAN
    __lsan_unregister_root_region(at, bytes);
#else
    (void)at;
    (void)bytes;
#endif
}

/** @brief Whether all of the `bytes` bytes at `at` may be accessed; without the sanitizer always said to be so. */
static inline bool asanMayAccess(void *at, size_t bytes)
{
#ifdef PSI_ASAN
    return __asan_region_is_poisoned(at, bytes) == nullptr;
#else
    (void)at;
    (void)bytes;
    return true;
#endif
}

#endif /* PSI_ASAN_H */
