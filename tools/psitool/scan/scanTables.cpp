#include "describe/parsedSection.h"
#include "describe/tableKinds.h"
#include "describe/times.h"
#include "output/described.h"
#include "output/lines.h"
#include "pids/tableTimes.h"
#include "scan/scan.h"

#include <algorithm>
#include <set>

namespace psitool {

namespace {

constexpr u8 networkNameTag = 0x40;
constexpr u8 bouquetNameTag = 0x47;

/** What the sections of one sub-table say together. */
struct SubTable {
    u32 psiType = 0;
    u16 id = 0;
    std::vector<ByteView> sections;
    const char *charset = ""; /**< of texts without a selector */
};

std::string nameIn(const descInfo *list, u8 tag, const char *charset)
{
    for (const descInfo &descriptor : nodes(list))
        if (descriptor.descTag == tag)
            return quotedBehind(decodeDvbText({descriptor.descData, descriptor.descLen}, charset));
    return "";
}

template <typename Node> std::size_t length(const Node *list)
{
    const NodeList<Node> all = nodes(list);
    return static_cast<std::size_t>(std::distance(all.begin(), all.end()));
}

const descInfo *outerDescriptors(const nitSection &section)
{
    return section.net_descriptor;
}

const descInfo *outerDescriptors(const batSection &section)
{
    return section.bouquet_descriptor;
}

/** A NIT or BAT: its name and the transport streams it lists. EN 300 468 5.2.1, 5.2.2. */
template <typename Section> std::string streamListText(const std::string &id, const SubTable &table, u8 nameTag)
{
    std::string name;
    std::size_t streams = 0;
    for (const ByteView section : table.sections)
        if (const ParsedSection<Section> tree{table.psiType, section}) {
            streams += length(tree->stream_info);
            if (name.empty())
                name = nameIn(outerDescriptors(*tree), nameTag, table.charset);
        }
    return id + " " + hexDec(table.id) + name + ": " + counted(streams, "transport stream");
}

std::string networkText(const SubTable &table)
{
    return streamListText<nitSection>("network_id", table, networkNameTag);
}

std::string bouquetText(const SubTable &table)
{
    return streamListText<batSection>("bouquet_id", table, bouquetNameTag);
}

std::string servicesText(const SubTable &table)
{
    std::string network;
    std::size_t services = 0;
    for (const ByteView section : table.sections)
        if (const ParsedSection<sdtSection> tree{table.psiType, section}) {
            services += length(tree->service_info);
            network = ", original_network_id " + hexDec(tree->original_network_id);
        }
    return "transport_stream_id " + hexDec(table.id) + network + ": " + counted(services, "service");
}

std::string systemTimeText(const SubTable &table)
{
    ByteReader reader(table.sections.front());
    reader.bytes(9);
    const u32 systemTime = reader.u32Field();
    return "system_time " + gpsTimeText(systemTime, reader.u8Field()) + " UTC";
}

std::string extensionText(const SubTable &table)
{
    return "table_id_extension " + hexDec(table.id);
}

using SubTableText = std::string (*)(const SubTable &table);

/** Which tables show their sub-tables: those whose content the model does not hold. */
SubTableText subTableText(u32 psiType)
{
    switch (psiType) {
    case PSI_NIT_ACTUAL:
    case PSI_NIT_OTHER:
        return networkText;
    case PSI_SDT_OTHER:
        return servicesText;
    case PSI_BAT:
        return bouquetText;
    case PSI_STT:
        return systemTimeText;
    case PSI_EBIT:
    case PSI_EBCT:
    case PSI_EBCAT:
    case PSI_EBCCT:
        return extensionText;
    default:
        return nullptr;
    }
}

/** As the tables are called everywhere else; the model does not say which VCT it was. */
std::string tableName(u32 psiType)
{
    const std::vector<TableKind> &kinds = tableKinds();
    const auto kind =
        std::find_if(kinds.begin(), kinds.end(), [&](const TableKind &one) { return one.psiType == psiType; });
    return psiType == PSI_VCT || kind == kinds.end() ? "VCT" : kind->title;
}

/** The types of tables that the model is made of, and on which PIDs they came. */
std::set<std::pair<u32, u16>> placesOf(const ModelView &view)
{
    std::set<std::pair<u32, u16>> places;
    for (const sectionData &section : nodes(view.model().sectionList))
        places.insert({section.psiType, section.pid});
    return places;
}

/** ", every 22 to 401 ms (mean 168)": of all its sub-tables together. */
std::string everyText(const ScanResult &result, u32 psiType)
{
    psi::demux::Intervals all;
    const auto collected =
        result.collector ? result.collector->tables() : std::vector<const psi::demux::CollectedTable *>();
    const std::set<std::pair<u32, u16>> places = placesOf(result.view);
    for (const psi::demux::CollectedTable *table : collected) {
        const TableKind *kind = kindOf(*table);
        if (kind && kind->psiType == psiType && places.count({psiType, table->pid}) != 0)
            all.add(table->intervals);
    }
    const std::string text = intervalText(all);
    return text.empty() ? "" : ", every " + text;
}

/** Tables that the model does not take, or not from where they are. */
void addOtherTables(LineTree &root, const ModelView &view, const psi::demux::Collector &collector)
{
    struct Found {
        std::size_t tables = 0;
        std::size_t sections = 0;
        std::set<u16> pids;
    };
    std::map<std::string, Found> titles;
    const std::set<std::pair<u32, u16>> inModel = placesOf(view);
    for (const psi::demux::CollectedTable *table : collector.tables()) {
        const TableKind *kind = kindOf(*table);
        const bool next = table->longForm && table->valid() == nullptr;
        if (!next && kind && inModel.count({kind->psiType, table->pid}) != 0)
            continue;
        Found &found = titles[tableTitle(*table) + (next ? " (next)" : "")];
        ++found.tables;
        found.pids.insert(table->pid);
        for (const psi::demux::TableVersion &version : table->versions)
            found.sections += version.sections.size();
    }
    for (const auto &[title, found] : titles)
        root.add(labelled(title, counted(found.sections, "section") + " of " + counted(found.tables, "table") +
                                     (found.pids.size() == 1 ? ", PID " + hexDec(*found.pids.begin())
                                                             : " on " + counted(found.pids.size(), "PID"))));
}

/** The library takes one network as the actual one, although a capture may go from one to another. */
void addOtherNetworks(std::map<u16, SubTable> &tables, const ScanResult &result, u32 psiType)
{
    const auto collected =
        result.collector ? result.collector->tables() : std::vector<const psi::demux::CollectedTable *>();
    const std::set<std::pair<u32, u16>> places = placesOf(result.view);
    for (const psi::demux::CollectedTable *table : collected) {
        const TableKind *kind = kindOf(*table);
        const psi::demux::TableVersion *valid = table->valid();
        if (!valid || !kind || kind->psiType != psiType || places.count({psiType, table->pid}) == 0 ||
            tables.count(table->extension) != 0)
            continue;
        SubTable &other = tables[table->extension];
        for (const psi::demux::CollectedSection &section : valid->sections)
            other.sections.push_back({section.bytes.data(), section.bytes.size()});
    }
}

std::map<u16, SubTable> subTables(const ScanResult &result, u32 psiType)
{
    std::map<u16, SubTable> tables;
    for (const auto &[id, sections] : result.view.subTables(psiType))
        for (const sectionData *section : sections)
            tables[id].sections.push_back(bytesOf(*section));
    if (psiType == PSI_NIT_ACTUAL)
        addOtherNetworks(tables, result, psiType);
    for (auto &[id, table] : tables) {
        table.psiType = psiType;
        table.id = id;
        table.charset = result.view.context().charset;
    }
    return tables;
}

void addTable(LineTree &root, const ScanResult &result, u32 psiType)
{
    const std::map<u16, SubTable> tables = subTables(result, psiType);
    std::size_t count = 0;
    for (const auto &[id, table] : tables)
        count += table.sections.size();
    if (count == 0)
        return;
    LineTree &node = root.add(labelled(tableName(psiType), counted(count, "section") + everyText(result, psiType)));
    const SubTableText text = subTableText(psiType);
    for (const auto &[id, table] : tables) {
        const std::string share = tables.size() > 1 ? ", " + counted(table.sections.size(), "section") : "";
        if (text)
            node.add(text(table) + share);
    }
}

} // namespace

LineTree tablesTree(const ScanResult &result)
{
    const ModelView &view = result.view;
    LineTree root{"Tables acquired", {}};
    constexpr u32 order[] = {PSI_PAT,        PSI_CAT,       PSI_PMT,  PSI_NIT_ACTUAL, PSI_NIT_OTHER,
                             PSI_SDT_ACTUAL, PSI_SDT_OTHER, PSI_BAT,  PSI_MGT,        PSI_VCT,
                             PSI_STT,        PSI_EBIT,      PSI_EBCT, PSI_EBCAT,      PSI_EBCCT};
    for (const u32 type : order)
        addTable(root, result, type);
    if (result.collector)
        addOtherTables(root, view, *result.collector);
    if (root.children.empty())
        root.add("none");
    return root;
}

} // namespace psitool
