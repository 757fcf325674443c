/**
 * @file lineTree.h
 * @brief A tree of lines, printed with branches.
 */
#ifndef PSITOOL_LINE_TREE_H
#define PSITOOL_LINE_TREE_H

#include "describe/quantities.h"
#include "output/look.h"
#include "psi.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace psitool {

/** @brief A line with the lines below it. */
struct LineTree {
    std::string text;
    std::vector<LineTree> children;
    Tone tone = Tone::plain;

    /** @brief Add a line below this one. @return the new node, valid until the next one is added */
    LineTree &add(std::string line, Tone what = Tone::plain)
    {
        children.push_back({std::move(line), {}, what});
        return children.back();
    }
};

/** @brief What becomes of a line that is too long. */
enum class LongLines { wrap, cut };

/** @brief The tree as text, the root at the left margin, as a heading when it is nothing else. */
std::string renderTree(const LineTree &root, const Look &look, LongLines longLines = LongLines::wrap);

/** @brief The same behind what is there. @param out gets it */
void addTree(std::string &out, const LineTree &root, const Look &look, LongLines longLines = LongLines::wrap);

/** @brief "0x0100 (256)". @param value the number @param digits hexadecimal digits at least */
std::string hexDec(std::uint64_t value, unsigned digits = 4);

/** @brief "0x1B". @param value the number @param digits hexadecimal digits at least */
std::string hex(std::uint64_t value, unsigned digits);

using psi::describe::grouped;

/** @brief Blanks behind the text up to a width in bytes. */
std::string padded(const std::string &text, std::size_t width);

/** @brief Blanks in front of the text up to a width in bytes. */
std::string rightOf(const std::string &text, std::size_t width);

/** @brief A number with so many digits behind the point. */
std::string decimal(double value, int digits);

/** @brief The same with the digits in groups: "30,869.8". */
std::string groupedDecimal(double value, int digits);

/** @brief "1.995 s", "35 ms". */
std::string durationText(double seconds);

/** @brief "38.015 Mbit/s", "15.9 kbit/s". */
std::string bitrateText(double bitrate);

/** @brief "1 section", "2 sections", "2 losses", "2 discontinuities". @param behind stands behind the noun */
std::string counted(std::uint64_t count, const std::string &noun, const std::string &behind = {});

} // namespace psitool

#endif
