/**
 * @file analyseLines.h
 * @brief What the analysers say.
 */
#ifndef PSITEST_ANALYSE_LINES_H
#define PSITEST_ANALYSE_LINES_H

#include "support/logCapture.h"

#include <string>

namespace psitest {

inline LogLine analyseError(const std::string &text)
{
    return error("psiAnalyse", text);
}

inline LogLine analyseInfo(const std::string &text)
{
    return info("psiAnalyse", text);
}

} // namespace psitest

#endif // PSITEST_ANALYSE_LINES_H
