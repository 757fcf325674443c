#include "describe/sections.h"

#include "describe/layoutReader.h"
#include "describe/structures/tables.h"

namespace psi::describe {

namespace {

constexpr std::size_t shortHeader = 3;
constexpr std::size_t longHeader = 8;
constexpr std::size_t crcBytes = 4;
constexpr u8 syntaxIndicator = 0x80;

/** The standard that a table belongs to counts. */
DescriptorContext contextOf(const TableKind *kind, DescriptorContext usual)
{
    if (kind && kind->standard != Standard::unknown)
        usual.standard = kind->standard;
    return usual;
}

bool isLong(ByteView section)
{
    return section.size() > 1 && (section[1] & syntaxIndicator) != 0;
}

bool endsWithCrc(const TableKind *kind, bool longForm)
{
    if (!kind)
        return longForm;
    return kind->end == SectionEnd::crc || (kind->end == SectionEnd::either && longForm);
}

/* ---- reading --------------------------------------------------------------------------------------------------------
 */

/** What can be said of a section without knowing its table, or of one that its layout does not fit. */
void describeBytes(ByteView section, bool longForm, Fields &fields)
{
    LayoutReader reader(section, {});
    if (longForm && section.size() >= longHeader)
        reader.read(anyLongLayout, fields);
    else if (section.size() >= shortHeader)
        reader.read(anyShortLayout, fields);
    else
        reader.read(bodyLayout, fields);
}

constexpr const char *refusal = "the library cannot parse it (-v tells why): its bytes follow";
constexpr const char *noPrograms = "it has no programs, and the library parses no such PAT";

void readTable(ByteView body, const TableKind &kind, const DescriptorContext &usual, DescribedSection &tree)
{
    LayoutReader reader(body, contextOf(&kind, usual));
    tree.parsed = reader.read(*kind.layout, tree.fields);
    if (tree.parsed) {
        reader.takeExtra(tree.fields);
        tree.notes = reader.notes();
        const Field *programs = kind.psiType == PSI_PAT ? findField(tree.fields, "programs") : nullptr;
        if (programs && programs->items.empty())
            tree.notes.emplace_back(noPrograms);
        return;
    }
    tree.fields.clear();
    tree.notes.emplace_back(refusal);
    tree.notes.push_back("what does not fit: " + reader.place());
}

} // namespace

std::optional<SectionCrc> crcOf(ByteView section)
{
    ByteReader header(section);
    const TableKind *kind = tableKindOf(section, std::nullopt);
    header.u8Field();
    const u16 lengthField = header.u16Field();
    const std::size_t size = shortHeader + (lengthField & 0xFFFU);
    const bool crc = endsWithCrc(kind, isLong(section));
    const std::size_t smallest = (isLong(section) || kind ? longHeader : shortHeader) + crcBytes;
    if (!crc || size < smallest || size > section.size())
        return std::nullopt;
    ByteReader stored(section.part(size - crcBytes));
    return SectionCrc{stored.u32Field(), psiCalculateCrc(section.data(), static_cast<u32>(size - crcBytes))};
}

namespace {

/** What its section_length says; of less than a header nobody knows. */
std::size_t sizeOf(ByteView section)
{
    return section.size() < shortHeader ? 0 : shortHeader + ((section[1] & 0x0FU) << 8 | section[2]);
}

} // namespace

DescribedSection describeSection(ByteView bytes, const TableKind *kind, const DescriptorContext &usual)
{
    DescribedSection tree;
    const std::size_t said = sizeOf(bytes);
    const ByteView section = said > 0 ? bytes.part(0, said) : bytes;
    const std::optional<SectionCrc> crc = crcOf(section);
    const ByteView body = section.part(0, section.size() - (crc ? crcBytes : 0));
    const bool whole = crc || (section.size() == said && kind && !endsWithCrc(kind, isLong(section)));
    if (kind && whole)
        readTable(body, *kind, usual, tree);
    if (crc && kind && kind->end == SectionEnd::crc && !isLong(section) && !kind->isShort())
        tree.notes.emplace_back("section_syntax_indicator is 0, although the table has the long form");
    if (!tree.parsed)
        describeBytes(body, crc || isLong(section), tree.fields);
    if (crc) {
        LayoutReader reader(section, {});
        reader.skip(body.size());
        reader.read(crcLayout, tree.fields);
        tree.fields.back().computed = true;
    }
    return tree;
}

/* ---- writing --------------------------------------------------------------------------------------------------------
 */

namespace {

class SectionWriter {
public:
    SectionWriter(const Fields &tree, const SectionTerms &terms, WriteReport &report, const FieldPlace &place)
        : tree_(tree), terms_(terms), kind_(terms.kind), record_(tree, place), writer_(context(tree), report)
    {
    }

    std::string write()
    {
        const bool bytesOnly = findField(tree_, "body") != nullptr;
        const Field *crc = record_.find("CRC_32");
        const Layout &layout = bytesOnly ? anyLayout() : tableLayout();
        writer_.write(layout, record_);
        writer_.finish(layout, record_);
        std::string &bytes = writer_.out().text();
        const bool withCrc = bytesOnly ? crc || hasRoomForCrc() : endsWithCrc(kind_, isLong(ByteView(bytes)));
        const std::size_t size = bytes.size() + (withCrc ? crcBytes : 0);
        if (bytesOnly && !findField(tree_, "table_id") && size >= shortHeader)
            throw FieldError(FieldPlace{&record_.place(), "body"}.pointer(),
                             "has a section's header in it: give the section's \"data\"");
        if (size >= shortHeader)
            writer_.putLength(withCrc || !bytesOnly ? size - shortHeader : givenLength(size), record_.place());
        if (withCrc)
            putCrc(crc);
        return std::move(bytes);
    }

private:
    DescriptorContext context(const Fields &tree)
    {
        if (!kind_) {
            const bool splice = findField(tree, "splice_command_type") || findField(tree, "pts_adjustment");
            const u8 start[] = {static_cast<u8>(numberOf(tree, "table_id", 0xFF)), splice ? u8{0} : syntaxIndicator};
            kind_ = findField(tree, "table_id") ? tableKindOf({start, sizeof start}, terms_.pid) : nullptr;
        }
        return contextOf(kind_, terms_.usual);
    }

    const Layout &anyLayout() const
    {
        if (findField(tree_, "version_number"))
            return anyLongLayout;
        return findField(tree_, "table_id") ? anyShortLayout : bodyLayout;
    }

    const Layout &tableLayout() const
    {
        if (kind_)
            return *kind_->layout;
        static constexpr Row<1> item = number(8, "table_id");
        const Field *id = findField(tree_, "table_id");
        const std::string unknown =
            "is none of the tables that are known here: give the section's \"body\" or \"data\"";
        if (id)
            numberFrom(*id, item.items[0], record_.place());
        throw FieldError(FieldPlace{&record_.place(), "table_id"}.pointer(), id ? unknown : "is missing");
    }

    /** A section that is only bytes, and was whole with the CRC_32 that is not given now. */
    bool hasRoomForCrc() const
    {
        const std::size_t withCrc = writer_.out().bytes().size() + crcBytes - shortHeader;
        return terms_.crc != CrcTerms::none && findField(tree_, "version_number") &&
               numberOf(tree_, "section_length", withCrc) == withCrc;
    }

    /** One that was cut short says how long it was. */
    u64 givenLength(std::size_t size) const
    {
        const Field *length = findField(tree_, "section_length");
        return length && length->kind == Field::Kind::number ? length->number : size - shortHeader;
    }

    void putCrc(const Field *given)
    {
        const std::string &bytes = writer_.out().text();
        u64 crc = psiCalculateCrc(ByteView(bytes).data(), static_cast<u32>(bytes.size()));
        if (given && terms_.crc == CrcTerms::kept)
            crc = numberFrom(*given, crcLayout.items[0], record_.place());
        writer_.out().put(crc, 32);
    }

    const Fields &tree_;
    const SectionTerms &terms_;
    const TableKind *kind_;
    OpenRecord record_;
    LayoutWriter writer_;
};

} // namespace

std::string writeSection(const Fields &tree, const SectionTerms &terms, WriteReport &report, const FieldPlace &place)
{
    return SectionWriter(tree, terms, report, place).write();
}

} // namespace psi::describe
