#include "input/sectionTree.h"

#include "describe/fieldChange.h"

namespace psitool {

std::optional<Fields> sectionTree(ByteView section, const TableKind &kind)
{
    const DescribedSection described = describeSection(section, &kind, kind.standard);
    if (!described.parsed)
        return std::nullopt;
    return editable(described.fields);
}

std::string sectionBytes(const Fields &tree, const TableKind &kind)
{
    WriteReport report;
    return writeSection(tree, {&kind, kind.standard}, report, {});
}

} // namespace psitool
