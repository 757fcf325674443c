#include "describe/parsedSection.h"
#include "describe/times.h"
#include "output/described.h"
#include "output/lines.h"
#include "scan/scan.h"

namespace psitool {

namespace {

constexpr u8 networkNameTag = 0x40;
constexpr u8 bouquetNameTag = 0x47;

/** What the sections of one sub-table say together. */
struct SubTable {
    u16 id = 0;
    std::vector<const sectionData *> sections;
};

std::string nameIn(const descInfo *list, u8 tag)
{
    for (const descInfo &descriptor : nodes(list))
        if (descriptor.descTag == tag)
            return quotedBehind(decodeDvbText({descriptor.descData, descriptor.descLen}));
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
    for (const sectionData *section : table.sections)
        if (const ParsedSection<Section> tree{section->psiType, bytesOf(*section)}) {
            streams += length(tree->stream_info);
            if (name.empty())
                name = nameIn(outerDescriptors(*tree), nameTag);
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
    for (const sectionData *section : table.sections)
        if (const ParsedSection<sdtSection> tree{section->psiType, bytesOf(*section)}) {
            services += length(tree->service_info);
            network = ", original_network_id " + hexDec(tree->original_network_id);
        }
    return "transport_stream_id " + hexDec(table.id) + network + ": " + counted(services, "service");
}

std::string systemTimeText(const SubTable &table)
{
    ByteReader reader(bytesOf(*table.sections.front()));
    reader.bytes(9);
    const u32 systemTime = reader.u32Field();
    return "system_time " + gpsTimeText(systemTime, reader.u8Field());
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

/** The library's name of a table but for the one that the field calls otherwise. */
std::string tableName(u32 psiType)
{
    return psiType == PSI_VCT ? "VCT" : showPsiTypeStr(psiType);
}

void addTable(LineTree &root, const ModelView &view, u32 psiType)
{
    const std::size_t count = view.sectionCount(psiType);
    if (count == 0)
        return;
    LineTree &node = root.add(labelled(tableName(psiType), counted(count, "section")));
    const SubTableText text = subTableText(psiType);
    if (!text)
        return;
    const std::map<u16, std::vector<const sectionData *>> tables = view.subTables(psiType);
    for (const auto &[id, sections] : tables) {
        const std::string share = tables.size() > 1 ? ", " + counted(sections.size(), "section") : "";
        node.add(text({id, sections}) + share);
    }
}

} // namespace

LineTree tablesTree(const ModelView &view)
{
    LineTree root{"Tables acquired", {}};
    constexpr u32 order[] = {PSI_PAT,        PSI_CAT,       PSI_PMT,  PSI_NIT_ACTUAL, PSI_NIT_OTHER,
                             PSI_SDT_ACTUAL, PSI_SDT_OTHER, PSI_BAT,  PSI_MGT,        PSI_VCT,
                             PSI_STT,        PSI_EBIT,      PSI_EBCT, PSI_EBCAT,      PSI_EBCCT};
    for (const u32 type : order)
        addTable(root, view, type);
    if (root.children.empty())
        root.add("none");
    return root;
}

} // namespace psitool
