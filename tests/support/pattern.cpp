#include "support/pattern.h"

#include <regex>

namespace psitest {

std::vector<Match> matchesIn(const std::string &text, const std::string &pattern)
{
    const std::regex expression(pattern);
    std::vector<Match> matches;
    for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at)
        matches.emplace_back(at->begin(), at->end());
    return matches;
}

} // namespace psitest
