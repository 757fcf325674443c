#include "support/pattern.h"

#include <regex.h> // the C++ library's takes the compiler seconds
#include <stdexcept>

namespace psitest {

namespace {

class Expression {
public:
    explicit Expression(const std::string &pattern)
    {
        if (regcomp(&compiled_, pattern.c_str(), REG_EXTENDED) != 0)
            throw std::invalid_argument("no regular expression: " + pattern);
    }
    ~Expression() { regfree(&compiled_); }
    Expression(const Expression &) = delete;
    Expression &operator=(const Expression &) = delete;

    /** @return nothing when it is nowhere. @param at where to begin; gets the place behind the match */
    Match next(const std::string &text, std::size_t &at) const
    {
        std::vector<regmatch_t> places(compiled_.re_nsub + 1);
        if (regexec(&compiled_, text.c_str() + at, places.size(), places.data(), at > 0 ? REG_NOTBOL : 0) != 0)
            return {};
        Match match;
        for (const regmatch_t &place : places)
            match.push_back(place.rm_so < 0 ? std::string()
                                            : text.substr(at + static_cast<std::size_t>(place.rm_so),
                                                          static_cast<std::size_t>(place.rm_eo - place.rm_so)));
        at += static_cast<std::size_t>(places[0].rm_eo);
        return match;
    }

private:
    regex_t compiled_ = {};
};

} // namespace

std::vector<Match> matchesIn(const std::string &text, const std::string &pattern)
{
    const Expression expression(pattern);
    std::vector<Match> matches;
    std::size_t at = 0;
    for (Match match = expression.next(text, at); !match.empty() && !match[0].empty();
         match = expression.next(text, at))
        matches.push_back(match);
    return matches;
}

std::string replaced(std::string text, const std::string &word, const std::string &by)
{
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + by.size()))
        text.replace(at, word.size(), by);
    return text;
}

} // namespace psitest
