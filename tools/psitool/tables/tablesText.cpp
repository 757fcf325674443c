#include "describe/places.h"
#include "describe/tagSpaces.h"
#include "describe/text.h"
#include "output/described.h"
#include "output/lines.h"
#include "pids/pidList.h"
#include "tables/guideNames.h"
#include "tables/tables.h"

namespace psitool {

namespace {

constexpr std::size_t keyWidth = 30; // of the longest keys, transport_descriptors_length and alike
constexpr std::size_t dumpBytes = 16;
constexpr std::size_t inlineBytes = 32;

std::string line(std::string_view key, const std::string &value)
{
    return padded(std::string(key), keyWidth) + value;
}

/* ---- byte runs ------------------------------------------------------------------------------------------------------
 */

/** "0010  fd b0 3c 00 01 c1 00 00  01 00 00 00 00 00 00 00  |..<.............|" */
std::string dumpLine(ByteView bytes, std::size_t offset)
{
    std::string text = hex(static_cast<u32>(offset), 4).substr(2);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        text += (i % 8 == 0 ? "  " : " ") + toHex(bytes.part(i, 1));
    constexpr std::size_t hexEnd = 4 + 3 * dumpBytes + 2;
    return padded(text, hexEnd) + "  |" + printableAscii(bytes) + "|";
}

void addDump(LineTree &node, ByteView bytes)
{
    for (std::size_t offset = 0; offset < bytes.size(); offset += dumpBytes)
        node.add(dumpLine(bytes.part(offset, dumpBytes), offset));
}

/** "0001  b0 1d                11..0  section_length": the bytes that a field is in, and which of their bits it is. */
std::string placeLine(ByteView bytes, const PlacedField &place)
{
    constexpr std::size_t most = 8;
    constexpr std::size_t bytesWidth = 3 * most + 2;
    constexpr std::size_t bitsWidth = 7;
    const std::size_t first = place.bit / 8;
    const std::size_t end = (place.bit + place.bits + 7) / 8;
    std::string digits;
    for (std::size_t i = first; i < std::min(end, first + most); ++i)
        digits += toHex(bytes.part(i, 1)) + " ";
    if (end - first > most)
        digits += "..";
    const std::size_t low = end * 8 - place.bit - place.bits;
    const std::size_t high = low + place.bits - 1;
    const bool whole = place.bit % 8 == 0 && place.bits % 8 == 0;
    const std::string range =
        place.bits == 1 ? std::to_string(high) : std::to_string(high) + ".." + std::to_string(low);
    return hex(static_cast<u32>(first), 4).substr(2) + "  " + padded(digits, bytesWidth) +
           padded(whole ? "" : range, bitsWidth) + (place.path.empty() ? "(not shown)" : place.path);
}

/** Which bytes are which field. */
void addPlaces(LineTree &node, ByteView bytes, const Fields &fields)
{
    for (const PlacedField &place : placesOf(fields, static_cast<u32>(bytes.size() * 8)))
        node.add(placeLine(bytes, place));
}

/** A short run on the line, with its text when it is one; a long one as a dump below it. */
void addByteRun(LineTree &node, const Field &field)
{
    const std::string bytes = fromHex(field.text).value_or("");
    if (bytes.size() > inlineBytes) {
        addDump(node.add(line(field.key, counted(bytes.size(), "byte"))), ByteView(bytes));
        return;
    }
    const std::string ascii = printableAscii(ByteView(bytes));
    node.add(line(field.key, field.text + (ascii == bytes ? "  \"" + ascii + "\"" : "")));
}

/* ---- records --------------------------------------------------------------------------------------------------------
 */

void addRecord(LineTree &node, const Fields &fields);

/** An entry of few values fits on a line. */
bool isShort(const Fields &entry)
{
    constexpr std::size_t most = 7;
    std::size_t values = 0;
    for (const Field &field : entry) {
        if (field.quiet)
            continue;
        if (field.kind == Field::Kind::list || field.text.size() > 2 * inlineBytes)
            return false;
        values += field.kind != Field::Kind::descriptors;
    }
    return values <= most;
}

/** The first value heads an entry that is too long for one line. */
void addEntry(LineTree &node, const Fields &entry)
{
    if (isShort(entry)) {
        addFields(node.add(""), entry, "");
        return;
    }
    LineTree &heading = node.add(std::string(entry.front().key) + " " + valueText(entry.front()));
    addRecord(heading, Fields(entry.begin() + 1, entry.end()));
}

void addLoop(LineTree &node, const Field &field)
{
    const std::size_t count = field.items.size() + field.descriptors.size();
    LineTree &loop = node.add(line(field.key, count == 0 ? "none" : std::to_string(count)));
    for (const Fields &entry : field.items)
        addEntry(loop, entry);
    addDescriptors(loop, field.descriptors);
}

void addField(LineTree &node, const Field &field)
{
    switch (field.kind) {
    case Field::Kind::list:
    case Field::Kind::descriptors:
        addLoop(node, field);
        break;
    case Field::Kind::hex:
        if (!field.text.empty())
            addByteRun(node, field);
        break;
    default:
        node.add(line(field.key, valueText(field)));
    }
}

void addRecord(LineTree &node, const Fields &fields)
{
    for (const Field &field : fields)
        if (!field.quiet)
            addField(node, field);
}

/* ---- sections -------------------------------------------------------------------------------------------------------
 */

std::string titleOf(const TableSection &section)
{
    const std::string title = section.kind ? section.kind->title : "Table " + hex(section.bytes[0], 2);
    return title + (section.pid ? " on PID " + hexDec(*section.pid) : " in " + safeText(section.file));
}

/** What tells a section from the others of its table: its identifier, version and number. */
std::vector<std::string> identityOf(const Fields &fields)
{
    std::vector<std::string> parts;
    const Field *version = findField(fields, "version_number");
    if (!version)
        return parts;
    const auto id = std::find_if(fields.begin(), fields.end(), [](const Field &field) { return field.hexDigits == 4; });
    if (id < fields.begin() + (version - fields.data()))
        parts.push_back(std::string(id->key) + " " + numberText(*id));
    const bool current = numberOf(fields, "current_next_indicator", 1) != 0;
    parts.push_back("version " + std::to_string(version->number) + (current ? "" : " (not yet applicable)"));
    parts.push_back("section " + std::to_string(numberOf(fields, "section_number", 0)) + "/" +
                    std::to_string(numberOf(fields, "last_section_number", 0)));
    return parts;
}

std::string seenText(const SectionSightings &seen)
{
    const bool timed = seen.first.timed() && seen.last.timed();
    const auto momentText = [timed](const psi::demux::Moment &moment) {
        return timed ? durationText(moment.seconds) : std::to_string(moment.packet);
    };
    const std::string first = (timed ? "at " : "packet ") + momentText(seen.first);
    if (seen.count == 1)
        return "seen once, " + first;
    return "seen " + counted(seen.count, "time") + ", " + (timed ? "from " + momentText(seen.first) : first) + " to " +
           momentText(seen.last);
}

std::string headOf(const TableSection &section, const DescribedSection &tree, const GuideNames &names)
{
    std::vector<std::string> parts = identityOf(tree.fields);
    if (const std::string owner = names.ownerOf(section, tree.fields); !owner.empty())
        parts.push_back(owner);
    parts.push_back(counted(section.bytes.size(), "byte"));
    if (section.seen)
        parts.push_back(seenText(*section.seen));
    return titleOf(section) + ": " + joined(parts, ", ");
}

LineTree sectionTree(const TableSection &section, const TablesResult &result, const GuideNames &names)
{
    const DescribedSection tree = describeSection(section.view(), section.kind, result.usual);
    LineTree root{headOf(section, tree, names), {}};
    for (const std::vector<std::string> *notes : {&section.notes, &tree.notes})
        for (const std::string &note : *notes)
            root.add("NOTE: " + note);
    addRecord(root, tree.fields);
    if (result.hex) {
        addPlaces(root.add("fields by their bytes and bits"), section.view(), tree.fields);
        addDump(root.add("bytes"), section.view());
    }
    return root;
}

/* ---- summary --------------------------------------------------------------------------------------------------------
 */

std::string unknownText(const DescriptorCount::Unknown &one)
{
    std::string text = hex(one.tag, 2) + " " + one.name + (one.malformed ? ", malformed" : "");
    if (*one.space)
        text += std::string(" in ") + one.space;
    if (one.privateDataSpecifier)
        text += " of private_data_specifier " + specifierWord(one.privateDataSpecifier);
    return text + ", " + counted(one.count, "time");
}

std::string summaryText(const TablesResult &result, const Look &look)
{
    std::string text;
    DescriptorCount count;
    std::size_t unknown = 0;
    const GuideNames names(result);
    for (const TableSection &section : result.sections) {
        const DescribedSection tree = describeSection(section.view(), section.kind, result.usual);
        text += renderTree({headOf(section, tree, names), {}}, look);
        count.add(tree.fields);
    }
    LineTree root{"", {}};
    for (const DescriptorCount::Unknown &one : count.unknown()) {
        root.add(unknownText(one));
        unknown += one.count;
    }
    root.text = counted(count.decoded(), "descriptor") + (unknown           ? " decoded, " + grouped(unknown) + " not:"
                                                          : count.decoded() ? ", all decoded"
                                                                            : "");
    return text + "\n" + renderTree(root, look);
}

} // namespace

void DescriptorCount::add(const Fields &fields)
{
    for (const Field &field : fields) {
        for (const Fields &item : field.items)
            add(item);
        for (const ReadDescriptor &descriptor : field.descriptors)
            add(descriptor);
    }
}

void DescriptorCount::add(const ReadDescriptor &descriptor)
{
    const DescribedDescriptor &said = descriptor.description;
    const bool malformed = !said.note.empty();
    if (descriptor.known && !malformed) {
        ++decoded_;
        return;
    }
    for (Unknown &one : unknown_)
        if (one.tag == descriptor.tag && one.name == said.name && one.malformed == malformed &&
            one.privateDataSpecifier == descriptor.privateDataSpecifier && one.space == spaceName(descriptor.space)) {
            ++one.count;
            return;
        }
    unknown_.push_back(
        {descriptor.tag, said.name, spaceName(descriptor.space), descriptor.privateDataSpecifier, malformed, 1});
}

bool writeTablesText(const TablesResult &result, const Look &look, const TextSink &sink)
{
    std::string front;
    if (result.input && result.input->interrupted)
        front = "Interrupted: what follows is what was found until then.\n\n";
    if (result.summary)
        return sink(front + summaryText(result, look));
    const GuideNames names(result);
    for (const TableSection &section : result.sections) {
        if (!sink(front + renderTree(sectionTree(section, result, names), look)))
            return false;
        front = "\n";
    }
    return true;
}

} // namespace psitool
