#include "diff/diff.h"

#include "describe/text.h"
#include "input/acquire.h"
#include "output/aribText.h"
#include "output/jsonParts.h"
#include "output/lines.h"

#include <algorithm>
#include <iterator>

namespace psitool {

namespace {

/** A table that differs, or that only one input has. */
struct TableDifference {
    const ComparedTable *a = nullptr;
    const ComparedTable *b = nullptr;
    std::vector<FieldDifference> fields;

    const ComparedTable &any() const { return a ? *a : *b; }
};

/** What stays when an id changes: of the tables of the stream itself there is one, of others the table_id_extension
 * tells.
 */
std::string lastingName(const ComparedTable &table)
{
    constexpr u32 ofTheStream[] = {PSI_PAT, PSI_NIT_ACTUAL, PSI_SDT_ACTUAL};
    const bool one = table.kind && std::find(std::begin(ofTheStream), std::end(ofTheStream), table.kind->psiType) !=
                                       std::end(ofTheStream);
    return one ? table.kind->title : table.title;
}

/** The only table of a name that A alone has is that of B, with another id. */
void pairRenamed(std::map<std::string, TableDifference> &all)
{
    std::map<std::string, std::pair<std::vector<TableDifference *>, std::vector<TableDifference *>>> alone;
    for (auto &[key, table] : all)
        if (!table.a || !table.b) {
            auto &[ofA, ofB] = alone[lastingName(table.any())];
            (table.a ? ofA : ofB).push_back(&table);
        }
    for (auto &[name, tables] : alone)
        if (tables.first.size() == 1 && tables.second.size() == 1)
            std::swap(tables.first[0]->b, tables.second[0]->b);
}

std::vector<TableDifference> compare(const ComparedInput &a, const ComparedInput &b)
{
    std::map<std::string, TableDifference> all;
    for (const auto &[key, table] : a.tables)
        all[key].a = &table;
    for (const auto &[key, table] : b.tables)
        all[key].b = &table;
    pairRenamed(all);
    std::vector<TableDifference> differences;
    for (auto &[key, table] : all) {
        if (!table.a && !table.b) // it is in a pair
            continue;
        if (table.a && table.b)
            table.fields = compareTables(*table.a, completed(a.usual, b.usual), *table.b, completed(b.usual, a.usual));
        if (!table.a || !table.b || !table.fields.empty())
            differences.push_back(std::move(table));
    }
    return differences;
}

std::string lineOf(const FieldDifference &field)
{
    if (field.a && field.b)
        return field.path + ": " + *field.a + " -> " + *field.b;
    const std::string &value = field.a ? *field.a : *field.b;
    return field.path + ": only in " + (field.a ? "A" : "B") + (value.empty() ? "" : ": " + value);
}

std::string textOf(const ComparedInput &a, const ComparedInput &b, const std::vector<TableDifference> &differences)
{
    std::string text = "A  " + safeText(a.name) + "\nB  " + safeText(b.name) + "\n";
    for (const TableDifference &table : differences) {
        const bool both = table.a && table.b;
        text += "\n" + table.any().title + (both ? "" : table.a ? ": only in A" : ": only in B") + "\n";
        for (const FieldDifference &field : table.fields)
            text += "  " + lineOf(field) + "\n";
    }
    return text;
}

Json valueJson(const std::optional<std::string> &value)
{
    return value ? Json(*value) : Json(nullptr);
}

Json numberJson(const std::optional<u16> &number)
{
    return number ? Json(*number) : Json(nullptr);
}

std::string jsonOf(const ComparedInput &a, const ComparedInput &b, const std::vector<TableDifference> &differences)
{
    Json object;
    object["psitool"] = {{"schema", "diff"}, {"schema_version", 1}};
    object["a"] = safeText(a.name);
    object["b"] = safeText(b.name);
    object["tables"] = Json::array();
    for (const TableDifference &table : differences) {
        Json entry;
        entry["table"] = table.any().kind ? Json(table.any().kind->title) : Json(nullptr);
        entry["id"] = numberJson(table.any().id);
        entry["pid"] = numberJson(table.any().pid);
        entry["in"] = table.a && table.b ? "both" : table.a ? "a" : "b";
        entry["fields"] = Json::array();
        for (const FieldDifference &field : table.fields)
            entry["fields"].push_back({{"path", field.path}, {"a", valueJson(field.a)}, {"b", valueJson(field.b)}});
        object["tables"].push_back(std::move(entry));
    }
    return psi::describe::jsonText(object);
}

} // namespace

ExitStatus runDiff(const DiffOptions &options, Output &output)
{
    constexpr ExitStatus same = exitFound;
    constexpr ExitStatus different = exitNotFound;
    constexpr ExitStatus trouble = exitWrongUse;
    if (!startLibrary(0))
        return trouble;
    readAribTexts();
    for (const std::string &input : {options.a, options.b})
        endWithReader(input, output, trouble);
    try {
        const ComparedInput a = readCompared(options.a, options.filter);
        const ComparedInput b = readCompared(options.b, options.filter);
        if (a.tables.empty() && b.tables.empty()) {
            reportError(options.a + ", " + options.b + ": there is nothing to compare in either");
            return trouble;
        }
        const std::vector<TableDifference> differences = compare(a, b);
        const std::string text = options.json           ? jsonOf(a, b, differences)
                                 : !differences.empty() ? textOf(a, b, differences)
                                                        : "";
        if (!output.writeOrReport(text))
            return trouble;
        return differences.empty() ? same : different;
    } catch (const std::runtime_error &error) { // they name their input
        reportError(error.what());
        return trouble;
    }
}

} // namespace psitool
