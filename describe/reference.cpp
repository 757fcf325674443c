#include "describe/reference.h"

#include "describe/layoutReader.h"
#include "describe/structures/structures.h"
#include "describe/tableKinds.h"

#include <cstdio>

namespace psi::describe {

namespace {

std::string hexText(u64 value, int digits)
{
    char text[24];
    std::snprintf(text, sizeof text, "0x%0*llX", digits, static_cast<unsigned long long>(value));
    return text;
}

std::string code(std::string_view text)
{
    return "`" + std::string(text) + "`";
}

/** "0 or 2", "1 to 3" */
std::string valuesOf(const Item &when)
{
    const std::string low = std::to_string(when.low);
    return (when.inverse ? "not " : "") + (when.low == when.high ? low : low + " to " + std::to_string(when.high));
}

std::string meaningsOf(const Item &item)
{
    constexpr std::size_t most = 8; // longer tables stand in the standard
    std::string text;
    if (item.meanings.count > most)
        return std::to_string(item.meanings.count) + " names";
    for (u32 i = 0; i < item.meanings.count; ++i) {
        const NamedRange &range = item.meanings.ranges[i];
        text += (i ? ", " : "") + std::to_string(range.first);
        text += (range.last != range.first ? " to " + std::to_string(range.last) : "") + " " + range.name;
    }
    return text;
}

/** Rows of a layout's table, those of inner items behind dots. */
class Rows {
public:
    std::string of(const Layout &layout)
    {
        rows("", "", layout);
        return text_;
    }

private:
    void add(const std::string &name, const std::string &bits, const std::string &what)
    {
        const bool bare = what.compare(0, 2, "; ") == 0; // a condition, and nothing in front of it
        text_ += "| " + name + " | " + bits + " | " + what.substr(bare ? 2 : 0) + " |\n";
    }

    void rows(const std::string &depth, const std::string &condition, const Layout &layout)
    {
        for (std::size_t i = 0; i < layout.count; i += 1U + layout.items[i].inside)
            row(depth, condition, layout.items[i]);
    }

    void row(const std::string &depth, const std::string &condition, const Item &item)
    {
        const std::string key = depth + (item.key ? code(item.key) : "");
        const std::string bits = std::to_string(item.bits);
        const std::string suffix = condition.empty() ? "" : "; " + condition;
        switch (item.shape) {
        case Shape::number:
            return add(key, bits, meaningsOf(item) + suffix);
        case Shape::length:
            return add(key, bits, "computed" + suffix);
        case Shape::count:
            return add(item.key ? key : depth + "count", bits,
                       "entries of " + code(item.of) + (item.high ? " less one" : "") + suffix);
        case Shape::lengthOf:
            return add(item.key ? key : depth + "length", bits, "bytes of " + code(item.of) + suffix);
        case Shape::announces:
            return add(depth + "flag", "1", std::to_string(item.low) + ": " + code(item.of) + " is there" + suffix);
        case Shape::reserved:
            return add(depth + "reserved", bits, suffix);
        case Shape::run:
            return run(key, suffix, item);
        case Shape::sized:
            if (item.counted) // its length stands in front already
                return rows(depth + "· ", condition, insideOf(item));
            add(item.key ? key : depth + "length", bits, "bytes of what follows" + suffix);
            return rows(depth + "· ", condition, insideOf(item));
        case Shape::list:
            add(key, "", (item.counted ? "list, as many as counted" : "list to the end") + suffix);
            return rows(depth + "· ", condition, insideOf(item));
        case Shape::when:
            return rows(depth,
                        (condition.empty() ? "" : condition + ", ") + "if " + code(item.of) + " is " + valuesOf(item),
                        insideOf(item));
        case Shape::rest:
            return rows(depth, (condition.empty() ? "" : condition + ", ") + "if there is more", insideOf(item));
        case Shape::attempt:
            add(key, "rest", item.spelling->name + (", when what follows does not fit" + suffix));
            return rows(depth, condition, insideOf(item));
        case Shape::descriptors:
            return add(key, "", "descriptors" + suffix);
        case Shape::ahead:
        case Shape::note:
            return;
        }
    }

    void run(const std::string &key, const std::string &suffix, const Item &item)
    {
        std::string bits = item.bits ? std::to_string(item.bits) : "rest";
        if (item.lengthBits)
            bits = std::to_string(item.lengthBits) + " + n·8";
        else if (item.counted)
            bits = "n·8";
        const std::string more = item.high ? " + " + std::to_string(item.high) : "";
        const std::string length = !item.of       ? ""
                                   : item.counted ? ", " + code(item.of) + more + " bytes"
                                                  : ", its length in " + code(item.of);
        add(key, bits, item.spelling->name + length + suffix);
    }

    std::string text_;
};

std::string section(const std::string &title, const char *clause, const Layout &layout)
{
    return "### " + title + "\n\n" + clause + "\n\n| field | bits | |\n|---|---|---|\n" + Rows().of(layout) + "\n";
}

std::string descriptors(const char *title, const char *standard, const StructureList &list)
{
    std::string text = "## " + std::string(title) + "\n\n";
    for (const Structure &structure : list) {
        const char first = structure.clause[0];
        const bool own = (first >= '0' && first <= '9') || structure.clause[1] == '.'; // of an annex: "D.3"
        const std::string clause = (own ? std::string(standard) + " " : "") + structure.clause;
        text += section(hexText(structure.tag, 2) + " " + structure.name, clause.c_str(), structure.layout);
    }
    return text;
}

constexpr const char *introduction = "# Structures\n\n"
                                     "Every table and descriptor that is taken apart and put together, in the order of "
                                     "its syntax table. This page is made\n"
                                     "from the descriptions in `describe/structures/`. A key stands in `code`; · is a "
                                     "level further in. What has no key is\n"
                                     "computed, or shown as `reserved` when it is not as the standard wants it. A text "
                                     "that its bytes do not follow from has\n"
                                     "them beside it as `KEY_bytes`; bytes behind the last field are `extra`.\n\n";

} // namespace

std::string referencePage()
{
    std::string text = introduction + std::string("## Tables\n\n");
    for (const TableKind &kind : tableKinds()) {
        const std::string last = kind.lastTableId ? " to " + hexText(kind.lastTableId, 2) : "";
        text +=
            section(std::string(kind.title) + " (" + hexText(kind.tableId, 2) + last + ")", kind.clause, *kind.layout);
    }
    text += descriptors("Descriptors of ISO/IEC 13818-1", "ISO/IEC 13818-1", mpegDescriptors);
    text += descriptors("Descriptors behind tag 0x3F, by descriptor_tag_extension", "ISO/IEC 13818-1",
                        mpegExtensionDescriptors);
    text += descriptors("Descriptors of EN 300 468", "EN 300 468", dvbDescriptors);
    text += descriptors("Delivery systems", "EN 300 468", deliveryDescriptors);
    text +=
        descriptors("Descriptors behind tag 0x7F, by descriptor_tag_extension", "EN 300 468", dvbExtensionDescriptors);
    text += descriptors("Delivery systems behind tag 0x7F", "EN 300 468", deliveryExtensionDescriptors);
    text += descriptors("Descriptors of A/65 and SCTE", "", atscDescriptors);
    text += descriptors("Descriptors of application information", "", aitDescriptors);
    text += descriptors("Descriptors of splice information", "", spliceDescriptors);
    text += descriptors("Descriptors of IP/MAC notification", "", ipMacDescriptors);
    text += descriptors("Descriptors of update notification", "", updateDescriptors);
    text += descriptors("Descriptors of resolution provider notification", "", resolutionDescriptors);
    for (std::size_t i = 0; i < privateStructuresCount; ++i) {
        const PrivateStructures &owner = privateStructures[i];
        const bool specified = owner.firstSpecifier != aribSpecifier;
        const std::string title = std::string("Private descriptors of ") + owner.owner +
                                  (specified ? ", private_data_specifier " + hexText(owner.firstSpecifier, 8) : "");
        text += descriptors(title.c_str(), "", *owner.list);
    }
    return text;
}

} // namespace psi::describe
