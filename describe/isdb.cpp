#include "describe/isdb.h"

#include "describe/sections.h"
#include "describe/structures/structures.h"
#include "describe/tableKinds.h"
#include "describe/text.h"

#include <algorithm>
#include <iterator>

namespace psi::describe {

namespace {

/** Networks in Japan write their texts in a code of their own. ARIB TR-B14, TR-B15. */
bool isJapanese(u64 originalNetworkId)
{
    constexpr u64 satellites[] = {0x0004, 0x0006, 0x0007, 0x000A};
    const bool terrestrial = originalNetworkId >= 0x7880 && originalNetworkId <= 0x7FE8;
    return terrestrial ||
           std::find(std::begin(satellites), std::end(satellites), originalNetworkId) != std::end(satellites);
}

/** ARIB's descriptors come without a private_data_specifier, but always with this one in the NIT. */
bool isIsdb(const std::vector<ReadDescriptor> &network)
{
    constexpr u8 systemManagementTag = 0xFE;
    constexpr std::size_t identifierBytes = 2;
    return std::any_of(network.begin(), network.end(), [](const ReadDescriptor &one) {
        return one.tag == systemManagementTag && one.privateDataSpecifier == 0 && one.payload.size() >= identifierBytes;
    });
}

} // namespace

void learnFromNit(DescriptorContext &usual, ByteView nit)
{
    constexpr u8 nitActual = 0x40;
    const DescribedSection section = describeSection(nit, tableKindOf(nitActual), Standard::dvb);
    const Field *network = findField(section.fields, "descriptors");
    if (!network || !isIsdb(network->descriptors))
        return;
    if (usual.privateDataSpecifier == 0)
        usual.privateDataSpecifier = aribSpecifier;
    const Field *streams = findField(section.fields, "transport_streams");
    const bool any = streams && !streams->items.empty();
    if (*usual.charset == '\0' && any && isJapanese(numberOf(streams->items[0], "original_network_id", 0)))
        usual.charset = charsetNamed("ARIB-STD-B24");
}

} // namespace psi::describe
