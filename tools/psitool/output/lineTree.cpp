#include "output/lineTree.h"

#include <algorithm>
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

class Renderer {
public:
    Renderer(std::string &out, const Look &look, LongLines longLines)
        : out_(out), look_(look), longLines_(longLines),
          style_(look.branches == Branches::unicode ? unicodeStyle : asciiStyle)
    {
    }

    /** @param branch in front of its first line @param below in front of the others, and of what is below it
     * @param tone of its own line */
    void node(const LineTree &tree, const char *branch, const char *below, Tone tone)
    {
        lines(tree.text, branch, below, tone);
        const std::size_t outer = lead_.size();
        lead_ += below;
        for (const LineTree &child : tree.children) {
            const bool last = &child == &tree.children.back();
            node(child, last ? style_.last : style_.middle, last ? style_.gap : style_.pass, child.tone);
        }
        lead_.resize(outer);
    }

private:
    /** A line that is too long goes on with the branches of those below it. */
    void lines(const std::string &text, const char *branch, const char *below, Tone tone)
    {
        if (look_.width == 0) {
            line(text, branch, tone);
            return;
        }
        const std::size_t taken = columnsOf(lead_ + branch);
        const std::size_t room = look_.width > taken ? look_.width - taken : 0;
        const std::vector<std::string> pieces =
            longLines_ == LongLines::cut ? std::vector<std::string>{cut(text, room)} : wrapped(text, room);
        for (std::size_t i = 0; i < pieces.size(); ++i)
            line(pieces[i], i == 0 ? branch : below, tone);
    }

    void line(const std::string &text, const char *branch, Tone tone)
    {
        const std::size_t outer = lead_.size();
        lead_ += branch;
        look_.add(out_, lead_, Tone::hint);
        lead_.resize(outer);
        look_.add(out_, text, tone);
        out_ += '\n';
    }

    std::string &out_;
    const Look &look_;
    LongLines longLines_;
    const BranchStyle &style_;
    std::string lead_; /**< the branches of the nodes around the one in hand */
};

} // namespace

void addTree(std::string &out, const LineTree &root, const Look &look, LongLines longLines)
{
    Renderer(out, look, longLines).node(root, "", "", root.tone == Tone::plain ? Tone::heading : root.tone);
}

std::string renderTree(const LineTree &root, const Look &look, LongLines longLines)
{
    std::string out;
    addTree(out, root, look, longLines);
    return out;
}

std::string hex(std::uint64_t value, unsigned digits)
{
    std::string text; // from the last digit to the first
    do {
        text += "0123456789ABCDEF"[value & 0xF];
        value >>= 4;
    } while (value != 0);
    text.append(digits > text.size() ? digits - text.size() : 0, '0');
    text += "x0";
    std::reverse(text.begin(), text.end());
    return text;
}

std::string hexDec(std::uint64_t value, unsigned digits)
{
    return hex(value, digits) + " (" + std::to_string(value) + ")";
}

std::string groupedDecimal(double value, int digits)
{
    return grouped(decimal(value, digits));
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
    return bitrate < 1e6 ? groupedDecimal(bitrate / 1e3, 1) + " kbit/s" : groupedDecimal(bitrate / 1e6, 3) + " Mbit/s";
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
