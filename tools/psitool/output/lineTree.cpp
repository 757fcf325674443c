#include "output/lineTree.h"

#include <clocale>
#include <cstdio>
#include <cstring>
#include <langinfo.h>

namespace psitool {

namespace {

struct BranchStyle {
    const char *middle;
    const char *last;
    const char *pass;
    const char *gap;
};

constexpr BranchStyle asciiStyle = {"|-- ", "`-- ", "|   ", "    "};
constexpr BranchStyle unicodeStyle = {"├── ", "└── ", "│   ", "    "};

void renderChildren(const LineTree &node, const BranchStyle &style, const std::string &prefix, std::string &out)
{
    for (const LineTree &child : node.children) {
        const bool last = &child == &node.children.back();
        out += prefix + (last ? style.last : style.middle) + child.text + "\n";
        renderChildren(child, style, prefix + (last ? style.gap : style.pass), out);
    }
}

} // namespace

Branches branchesOfLocale()
{
    // The process has one thread that reads or sets the locale.
    std::setlocale(LC_CTYPE, ""); // NOLINT(concurrency-mt-unsafe)
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0 ? Branches::unicode : Branches::ascii;
}

std::string renderTree(const LineTree &root, Branches branches)
{
    std::string out = root.text + "\n";
    renderChildren(root, branches == Branches::unicode ? unicodeStyle : asciiStyle, "", out);
    return out;
}

std::string hex(std::uint64_t value, unsigned digits)
{
    char text[24];
    std::snprintf(text, sizeof text, "0x%0*llX", static_cast<int>(digits), static_cast<unsigned long long>(value));
    return text;
}

std::string hexDec(std::uint64_t value, unsigned digits)
{
    return hex(value, digits) + " (" + std::to_string(value) + ")";
}

std::string grouped(std::uint64_t value)
{
    std::string text = std::to_string(value);
    for (std::size_t place = text.size(); place > 3; place -= 3)
        text.insert(place - 3, ",");
    return text;
}

std::string padded(const std::string &text, std::size_t width)
{
    return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

std::string rightOf(const std::string &text, std::size_t width)
{
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

std::string decimal(double value, int digits)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

std::string durationText(double seconds)
{
    return seconds < 1 ? decimal(seconds * 1e3, 0) + " ms" : decimal(seconds, 3) + " s";
}

std::string bitrateText(double bitrate)
{
    return bitrate < 1e6 ? decimal(bitrate / 1e3, 1) + " kbit/s" : decimal(bitrate / 1e6, 3) + " Mbit/s";
}

std::string counted(std::uint64_t count, const std::string &noun)
{
    const std::string text = grouped(count) + " ";
    if (count == 1 || noun.empty())
        return text + noun;
    if (noun.size() > 2 && noun.compare(noun.size() - 2, 2, "ty") == 0)
        return text + noun.substr(0, noun.size() - 1) + "ies";
    return text + noun + (noun.back() == 's' ? "es" : "s");
}

} // namespace psitool
