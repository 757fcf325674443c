/**
 * @file look.h
 * @brief How text looks where it goes: branches, colours, and the width of the lines.
 */
#ifndef PSITOOL_LOOK_H
#define PSITOOL_LOOK_H

#include "output/console.h"

#include <cstddef>
#include <string>
#include <vector>

namespace psitool {

/** @brief How the branches of a tree look. */
enum class Branches { ascii, unicode };

/** @brief What the locale of the environment can show. */
Branches branchesOfLocale();

/** @brief When there are colours. */
enum class ColorChoice { automatic, always, never };

/** @brief What a line is, for its colour. */
enum class Tone { plain, heading, trouble, hint };

/** @brief How text looks. A file or a pipe has no width: it gets every line whole. */
struct Look {
    Look(Branches how) : branches(how) {} // NOLINT(google-explicit-constructor): that alone is a look
    Branches branches;
    bool colours = false;
    std::size_t width = 0; /**< columns; 0: no limit */

    /** @brief The text in the colour of what it is. */
    std::string coloured(const std::string &text, Tone tone) const;
    /** @brief The same at the end of another. */
    void add(std::string &out, const std::string &text, Tone tone) const;
};

/**
 * @brief How text looks on standard output.
 *
 * Colours by themselves only on a terminal that is not dumb, and not when NO_COLOR says something.
 */
Look lookOf(const Output &output, ColorChoice choice);

/** @brief Columns that a text takes in the locale that is set. */
std::size_t columnsOf(const std::string &text);

/** @brief As much of a text as fits, with dots for what does not. @param width columns; 0: no limit */
std::string cut(const std::string &text, std::size_t width);

/**
 * @brief A line in pieces that fit, taken apart between words where that is possible.
 *
 * The pieces behind the first begin with blanks, below the last column that the line has.
 * @param width columns; 0: no limit
 */
std::vector<std::string> wrapped(const std::string &line, std::size_t width);

/** @brief Text of several lines, each wrapped and of one tone. */
std::string fitted(const std::string &text, const Look &look, Tone tone = Tone::plain);

} // namespace psitool

#endif
