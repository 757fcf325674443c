#include "output/look.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <langinfo.h>

namespace psitool {

namespace {

constexpr const char *endColour = "\x1B[0m";

const char *colourOf(Tone tone)
{
    switch (tone) {
    case Tone::heading:
        return "\x1B[1m";
    case Tone::trouble:
        return "\x1B[31m";
    case Tone::hint:
        return "\x1B[2m";
    default:
        return "";
    }
}

/** A variable of the environment; the process has one thread that reads it. */
std::string variable(const char *name)
{
    const char *value = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
    return value ? value : "";
}

/** A character of a text, and how wide it is. */
struct Letter {
    std::size_t bytes;
    std::size_t columns;
};

/** Bytes that are no character of the locale take a column each. */
Letter letterAt(const std::string &text, std::size_t place)
{
    if (const char letter = text[place]; letter >= ' ' && letter <= '~') // nearly all, and no call
        return {1, 1};
    wchar_t wide = 0;
    std::mbstate_t state{};
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the state is not the shared one
    const std::size_t bytes = std::mbrtowc(&wide, text.data() + place, text.size() - place, &state);
    if (bytes == 0 || bytes > text.size() - place)
        return {1, 1};
    return {bytes, static_cast<std::size_t>(std::max(0, wcwidth(wide)))};
}

/** How many bytes of a text from a place on fit. */
std::size_t bytesThatFit(const std::string &text, std::size_t place, std::size_t width)
{
    const std::size_t begin = place;
    for (std::size_t columns = 0; place < text.size();) {
        const Letter letter = letterAt(text, place);
        columns += letter.columns;
        if (columns > width)
            break;
        place += letter.bytes;
    }
    return place - begin;
}

/** Where the last column begins that leaves room behind it: what follows two blanks. */
std::size_t hangOf(const std::string &line, std::size_t width)
{
    constexpr std::size_t otherwise = 4;
    const std::size_t most = width * 2 / 3;
    std::size_t hang = otherwise;
    for (std::size_t at = line.find("  "); at != std::string::npos; at = line.find("  ", at)) {
        at = line.find_first_not_of(' ', at);
        if (at == std::string::npos)
            break;
        const std::size_t columns = columnsOf(line.substr(0, at));
        if (columns > most)
            break;
        hang = columns;
    }
    return std::min(hang, most);
}

} // namespace

Branches branchesOfLocale()
{
    // The process has one thread that reads or sets the locale.
    std::setlocale(LC_CTYPE, ""); // NOLINT(concurrency-mt-unsafe)
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0 ? Branches::unicode : Branches::ascii;
}

Look lookOf(const Output &output, ColorChoice choice)
{
    Look look(branchesOfLocale());
    look.width = output.terminalWidth();
    const bool welcome = look.width > 0 && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
    look.colours = choice == ColorChoice::always || (choice == ColorChoice::automatic && welcome);
    return look;
}

void Look::add(std::string &out, const std::string &text, Tone tone) const
{
    const bool plain = !colours || tone == Tone::plain || text.empty();
    if (!plain)
        out += colourOf(tone);
    out += text;
    if (!plain)
        out += endColour;
}

std::string Look::coloured(const std::string &text, Tone tone) const
{
    std::string out;
    add(out, text, tone);
    return out;
}

std::size_t columnsOf(const std::string &text)
{
    std::size_t columns = 0;
    for (std::size_t place = 0; place < text.size();) {
        const Letter letter = letterAt(text, place);
        columns += letter.columns;
        place += letter.bytes;
    }
    return columns;
}

std::string cut(const std::string &text, std::size_t width)
{
    constexpr const char *dots = "...";
    constexpr std::size_t dotColumns = 3;
    if (width == 0 || columnsOf(text) <= width)
        return text;
    return width <= dotColumns ? text.substr(0, bytesThatFit(text, 0, width))
                               : text.substr(0, bytesThatFit(text, 0, width - dotColumns)) + dots;
}

std::vector<std::string> wrapped(const std::string &line, std::size_t width)
{
    constexpr std::size_t narrowest = 20;
    if (width < narrowest || columnsOf(line) <= width)
        return {line};
    const std::string indent(hangOf(line, width), ' ');
    std::vector<std::string> pieces;
    for (std::size_t place = 0; place < line.size();) {
        const std::string lead = pieces.empty() ? "" : indent;
        std::size_t bytes = bytesThatFit(line, place, width - lead.size());
        const std::size_t blank = line.rfind(' ', place + bytes);
        const bool isCut = place + bytes < line.size();
        if (isCut && blank != std::string::npos && blank > line.find_first_not_of(' ', place))
            bytes = blank - place;
        pieces.push_back(lead + line.substr(place, bytes));
        place = line.find_first_not_of(' ', place + bytes);
        if (place == std::string::npos)
            break;
    }
    return pieces;
}

std::string fitted(const std::string &text, const Look &look, Tone tone)
{
    std::string out;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        for (const std::string &piece : wrapped(text.substr(begin, end - begin), look.width))
            out += look.coloured(piece, tone) + "\n";
        begin = end + 1;
    }
    return out;
}

} // namespace psitool
