#include "output/lineTree.h"

#include <cstdio>

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

/** What stands in front of a node's lines. */
struct Lead {
    std::string first;
    std::string next;
};

class Renderer {
public:
    Renderer(const Look &look, LongLines longLines)
        : look_(look), longLines_(longLines), style_(look.branches == Branches::unicode ? unicodeStyle : asciiStyle)
    {
    }

    /** @param tone of its own line */
    void node(const LineTree &tree, const Lead &lead, Tone tone)
    {
        lines(tree.text, lead, tone);
        for (const LineTree &child : tree.children) {
            const bool last = &child == &tree.children.back();
            node(child,
                 {lead.next + (last ? style_.last : style_.middle), lead.next + (last ? style_.gap : style_.pass)},
                 child.tone);
        }
    }

    const std::string &text() const { return text_; }

private:
    /** A line that is too long goes on with the branches of those below it. */
    void lines(const std::string &text, const Lead &lead, Tone tone)
    {
        if (look_.width == 0) {
            line(text, lead.first, tone);
            return;
        }
        const std::size_t taken = columnsOf(lead.first);
        const std::size_t room = look_.width > taken ? look_.width - taken : 0;
        const std::vector<std::string> pieces =
            longLines_ == LongLines::cut ? std::vector<std::string>{cut(text, room)} : wrapped(text, room);
        for (std::size_t i = 0; i < pieces.size(); ++i)
            line(pieces[i], i == 0 ? lead.first : lead.next, tone);
    }

    void line(const std::string &text, const std::string &branches, Tone tone)
    {
        look_.add(text_, branches, Tone::hint);
        look_.add(text_, text, tone);
        text_ += '\n';
    }

    const Look &look_;
    LongLines longLines_;
    const BranchStyle &style_;
    std::string text_;
};

} // namespace

std::string renderTree(const LineTree &root, const Look &look, LongLines longLines)
{
    Renderer renderer(look, longLines);
    renderer.node(root, {}, root.tone == Tone::plain ? Tone::heading : root.tone);
    return renderer.text();
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

std::string groupedDecimal(double value, int digits)
{
    const std::string text = decimal(value, digits);
    const std::size_t point = text.find('.');
    return grouped(std::stoull(text)) + (point == std::string::npos ? "" : text.substr(point));
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

std::string counted(std::uint64_t count, const std::string &noun, const std::string &behind)
{
    const std::string text = grouped(count) + " ";
    if (count == 1 || noun.empty())
        return text + noun + behind;
    if (noun.size() > 2 && noun.compare(noun.size() - 2, 2, "ty") == 0)
        return text + noun.substr(0, noun.size() - 1) + "ies" + behind;
    return text + noun + (noun.back() == 's' ? "es" : "s") + behind;
}

} // namespace psitool
