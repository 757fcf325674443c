#include "describe/fieldChange.h"
#include "diff/diff.h"
#include "output/lines.h"

#include <algorithm>
#include <set>

namespace psitool {

namespace {

/** Fields by which entries of a list are known; others by their place. */
constexpr std::string_view identifiers[] = {"service_id", "program_number", "elementary_PID", "transport_stream_id",
                                            "event_id",   "table_type",     "source_id"};

const Field *identifierOf(const Fields &entry)
{
    for (const std::string_view key : identifiers)
        if (const Field *field = findField(entry, key))
            return field;
    return nullptr;
}

bool isDescriptor(const Fields &entry)
{
    return findField(entry, "tag") && (findField(entry, "fields") || findField(entry, "data"));
}

/** A value as a path selects it. */
std::string selector(const Field &field)
{
    return field.kind == Field::Kind::number ? hexDec(static_cast<u32>(field.number)).substr(0, 6) : field.text;
}

/** What an entry is matched by: "[service_id=0x000A]", ".service_descriptor". Without what tells equal ones apart. */
std::string nameOf(const Fields &entry)
{
    if (isDescriptor(entry)) {
        const Field *name = findField(entry, "name");
        const std::string tag = hex(static_cast<u32>(numberOf(entry, "tag", 0)), 2);
        const bool plain = name && !name->text.empty() &&
                           std::all_of(name->text.begin(), name->text.end(),
                                       [](unsigned char c) { return std::isalnum(c) || c == '_' || c == '-'; });
        return plain && name->text.find("descriptor") != std::string::npos ? "." + name->text : "[" + tag + "]";
    }
    const Field *field = identifierOf(entry);
    return field ? "[" + std::string(field->key) + "=" + selector(*field) + "]" : "";
}

/** Equal names get their number behind them: the path of the entry below its list. */
std::vector<std::string> namesOf(const Field &list)
{
    std::vector<std::string> names;
    std::map<std::string, std::size_t> seen;
    for (std::size_t i = 0; i < list.items.size(); ++i) {
        std::string name = nameOf(list.items[i]);
        const std::size_t nth = seen[name]++;
        if (name.empty() || (nth > 0 && !isDescriptor(list.items[i])))
            name = "[" + std::to_string(i) + "]";
        else if (nth > 0 && name.back() == ']')
            name.insert(name.size() - 1, "#" + std::to_string(nth));
        else if (nth > 0)
            name += "#" + std::to_string(nth);
        names.push_back(std::move(name));
    }
    return names;
}

bool isLeftOut(const Field &field)
{
    return field.computed || field.key == "section_number" || field.key == "last_section_number";
}

std::string textOf(const Field &field)
{
    if (field.kind == Field::Kind::list)
        return counted(field.items.size(), "entry").find("entrys") == std::string::npos
                   ? counted(field.items.size(), "entry")
                   : std::to_string(field.items.size()) + " entries";
    if (field.kind == Field::Kind::hex && field.text.empty())
        return "no bytes";
    return valueText(field);
}

class Comparison {
public:
    void records(const std::string &path, const Fields &a, const Fields &b)
    {
        if (isDescriptor(a) && isDescriptor(b)) // of one tag and name
            return contents(path, a, b);
        for (const Field &field : a) {
            const Field *other = findField(b, field.key);
            if (isLeftOut(field))
                continue;
            if (other)
                fields(pathOf(path, field), field, *other);
            else
                add(pathOf(path, field), &field, nullptr);
        }
        for (const Field &field : b)
            if (!findField(a, field.key) && !isLeftOut(field))
                add(pathOf(path, field), nullptr, &field);
    }

    std::vector<FieldDifference> differences;

private:
    /** What a descriptor says, or its bytes when that is not known of one of them. */
    void contents(const std::string &path, const Fields &a, const Fields &b)
    {
        const Field *ofA = findField(a, "fields");
        const Field *ofB = findField(b, "fields");
        if (ofA && ofB)
            return records(path, ofA->items[0], ofB->items[0]);
        const Field *dataOfA = findField(a, "data");
        const Field *dataOfB = findField(b, "data");
        if (!dataOfA || !dataOfB)
            differences.push_back({path, summary(a), summary(b)});
        else
            fields(path + ".data", *dataOfA, *dataOfB);
    }

    static std::string pathOf(const std::string &path, const Field &field)
    {
        return path + (path.empty() ? "" : ".") + std::string(field.key);
    }

    void add(const std::string &path, const Field *a, const Field *b)
    {
        differences.push_back(
            {path, a ? std::optional(textOf(*a)) : std::nullopt, b ? std::optional(textOf(*b)) : std::nullopt});
    }

    void fields(const std::string &path, const Field &a, const Field &b)
    {
        if (a.kind == Field::Kind::list && b.kind == Field::Kind::list)
            return lists(path, a, b);
        if (a.kind == Field::Kind::record && b.kind == Field::Kind::record)
            return records(path, a.items[0], b.items[0]);
        const bool numbers = a.kind == Field::Kind::number && b.kind == Field::Kind::number;
        if (a.kind != b.kind || (numbers ? a.number != b.number : a.text != b.text))
            return add(path, &a, &b);
        if (a.bytes != b.bytes) // the same text, in other bytes
            differences.push_back({path, toHex(ByteView(a.bytes)), toHex(ByteView(b.bytes))});
    }

    /** Descriptors are known by their names at once, others below their list. */
    static std::string entryPath(const std::string &list, const std::string &name)
    {
        const std::size_t dot = list.rfind('.');
        if (name[0] != '.')
            return list + name;
        return dot == std::string::npos ? name.substr(1) : list.substr(0, dot) + name;
    }

    void lists(const std::string &path, const Field &a, const Field &b)
    {
        const std::vector<std::string> namesOfA = namesOf(a);
        const std::vector<std::string> namesOfB = namesOf(b);
        std::vector<std::string> commonOfA;
        for (std::size_t i = 0; i < namesOfA.size(); ++i) {
            const auto other = std::find(namesOfB.begin(), namesOfB.end(), namesOfA[i]);
            const std::string own = entryPath(path, namesOfA[i]);
            if (other == namesOfB.end()) {
                differences.push_back({own, summary(a.items[i]), std::nullopt});
                continue;
            }
            commonOfA.push_back(namesOfA[i]);
            records(own, a.items[i], b.items[static_cast<std::size_t>(other - namesOfB.begin())]);
        }
        std::vector<std::string> commonOfB;
        for (std::size_t i = 0; i < namesOfB.size(); ++i)
            if (std::find(namesOfA.begin(), namesOfA.end(), namesOfB[i]) == namesOfA.end())
                differences.push_back({entryPath(path, namesOfB[i]), std::nullopt, summary(b.items[i])});
            else
                commonOfB.push_back(namesOfB[i]);
        if (commonOfA != commonOfB)
            differences.push_back({path, "order " + joined(commonOfA, ", "), "order " + joined(commonOfB, ", ")});
    }

    /** The values of an entry that only one side has. */
    static std::string summary(const Fields &entry)
    {
        std::vector<std::string> parts;
        const Field *fields = findField(entry, "fields");
        for (const Field &field : fields && fields->kind == Field::Kind::record ? fields->items[0] : entry)
            if (!isLeftOut(field) && !field.quiet)
                parts.push_back(std::string(field.key) + " " + textOf(field));
        return joined(parts, ", ");
    }
};

/** The sections of a table, by section_number. */
using SectionFields = std::map<u8, Fields>;

SectionFields fieldsOf(const ComparedTable &table, const DescriptorContext &usual)
{
    SectionFields all;
    for (const auto &[number, bytes] : table.sections)
        all[number] = editable(describeSection({bytes.data(), bytes.size()}, table.kind, usual).fields);
    return all;
}

/** All sections of a table as one record. */
Fields merged(const SectionFields &sections)
{
    Fields merged;
    for (const auto &[number, tree] : sections) {
        if (merged.empty()) {
            merged = tree;
            continue;
        }
        for (const Field &field : tree) {
            Field *present = findField(merged, field.key);
            if (present && field.kind == Field::Kind::list)
                present->items.insert(present->items.end(), field.items.begin(), field.items.end());
        }
    }
    return merged;
}

/** Fields but for the lists, which count as one over all sections. */
Fields withoutLists(Fields fields)
{
    fields.erase(std::remove_if(fields.begin(), fields.end(),
                                [](const Field &field) { return field.kind == Field::Kind::list; }),
                 fields.end());
    return fields;
}

/** What is in sections behind the first besides their lists: what is told of the first is not told again. */
void compareLaterSections(Comparison &comparison, const SectionFields &a, const SectionFields &b)
{
    Comparison later;
    for (const auto &[number, tree] : a)
        if (const auto other = b.find(number); other != b.end() && number != a.begin()->first)
            later.records("sections[" + std::to_string(number) + "]", withoutLists(tree), withoutLists(other->second));
    std::vector<FieldDifference> &told = comparison.differences;
    for (FieldDifference &one : later.differences) {
        const std::string path = one.path.substr(one.path.find('.') + 1);
        if (std::none_of(told.begin(), told.end(), [&](const FieldDifference &known) {
                return known.path == path && known.a == one.a && known.b == one.b;
            }))
            told.push_back(std::move(one));
    }
}

} // namespace

std::vector<FieldDifference> compareTables(const ComparedTable &a, const DescriptorContext &usualOfA,
                                           const ComparedTable &b, const DescriptorContext &usualOfB)
{
    Comparison comparison;
    if (a.pid && b.pid && a.pid != b.pid)
        comparison.differences.push_back({"PID", hexDec(*a.pid), hexDec(*b.pid)});
    if (a.sections == b.sections)
        return comparison.differences;
    const std::size_t before = comparison.differences.size();
    const SectionFields sectionsOfA = fieldsOf(a, usualOfA);
    const SectionFields sectionsOfB = fieldsOf(b, usualOfB);
    comparison.records("", merged(sectionsOfA), merged(sectionsOfB));
    compareLaterSections(comparison, sectionsOfA, sectionsOfB);
    if (a.sections.size() != b.sections.size())
        comparison.differences.push_back(
            {"sections", std::to_string(a.sections.size()), std::to_string(b.sections.size())});
    else if (comparison.differences.size() == before) // such as a wrong CRC_32
        comparison.differences.push_back({"bytes", "the fields are the same", "other bytes"});
    return comparison.differences;
}

} // namespace psitool
