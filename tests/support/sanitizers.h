/**
 * @file sanitizers.h
 * @brief Whether a sanitizer takes memory and time besides the program's, many times what that takes.
 */
#ifndef PSITEST_SANITIZERS_H
#define PSITEST_SANITIZERS_H

namespace psitest {

#ifdef PSITEST_SANITIZED // the tests themselves may be compiled without
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

} // namespace psitest

#endif // PSITEST_SANITIZERS_H
