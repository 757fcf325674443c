/**
 * @file safeUtf8.h
 * @brief Whether text can be shown on a terminal and stand in JSON.
 */
#ifndef PSITEST_SAFE_UTF8_H
#define PSITEST_SAFE_UTF8_H

#include <string_view>

namespace psitest {

/** @brief A checker of its own: well-formed UTF-8 (RFC 3629) without C0 and C1 controls and delete. */
bool isSafeUtf8(std::string_view text);

} // namespace psitest

#endif // PSITEST_SAFE_UTF8_H
