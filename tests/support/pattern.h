/**
 * @file pattern.h
 * @brief Texts that follow a pattern.
 */
#ifndef PSITEST_PATTERN_H
#define PSITEST_PATTERN_H

#include <string>
#include <vector>

namespace psitest {

/** @brief A match and what its groups caught. */
using Match = std::vector<std::string>;

/** @brief Every place where @p text follows the extended regular expression of POSIX @p pattern, in their order. */
std::vector<Match> matchesIn(const std::string &text, const std::string &pattern);

/** @brief The text with other words in place of a word. */
std::string replaced(std::string text, const std::string &word, const std::string &by);

} // namespace psitest

#endif // PSITEST_PATTERN_H
