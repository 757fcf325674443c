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

/** A descriptor that nobody in front of it claims. */
bool has(const Field *loop, u8 tag, std::size_t leastBytes)
{
    return loop && std::any_of(loop->descriptors.begin(), loop->descriptors.end(), [=](const ReadDescriptor &one) {
               return one.tag == tag && one.privateDataSpecifier == 0 && one.payload.size() >= leastBytes;
           });
}

constexpr u8 systemManagementTag = 0xFE;
constexpr u8 terrestrialDeliveryTag = 0xFA;
constexpr u8 tsInformationTag = 0xCD;

/** Asked of every stream: where no byte looks like one of the tags, the NIT need not be read. */
bool mayBeIsdb(ByteView nit)
{
    return std::any_of(nit.begin(), nit.end(),
                       [](u8 byte) { return byte == systemManagementTag || byte == terrestrialDeliveryTag; });
}

/**
 * ARIB's descriptors come without a private_data_specifier, but in Japan always with system_management_descriptor in
 * the NIT. Brazil leaves that out: its streams have terrestrial delivery and TS information. ABNT NBR 15603-1.
 */
bool isIsdb(const Field *network, const Field *stream)
{
    return has(network, systemManagementTag, 2) ||
           (has(stream, terrestrialDeliveryTag, 4) && has(stream, tsInformationTag, 2));
}

} // namespace

void learnFromNit(DescriptorContext &usual, ByteView nit)
{
    constexpr u8 nitActual = 0x40;
    if (!mayBeIsdb(nit))
        return;
    const DescribedSection section = describeSection(nit, tableKindOf(nitActual), Standard::dvb);
    const Field *streams = findField(section.fields, "transport_streams");
    const bool any = streams && !streams->items.empty();
    const Field *stream = any ? findField(streams->items[0], "descriptors") : nullptr;
    if (!isIsdb(findField(section.fields, "descriptors"), stream))
        return;
    if (usual.privateDataSpecifier == 0)
        usual.privateDataSpecifier = aribSpecifier;
    if (*usual.charset == '\0' && any && isJapanese(numberOf(streams->items[0], "original_network_id", 0)))
        usual.charset = charsetNamed("ARIB-STD-B24");
}

} // namespace psi::describe
