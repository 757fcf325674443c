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

struct Sign {
    u8 tag;
    u8 leastBytes;
};
constexpr Sign systemManagement = {0xFE, 2};
constexpr Sign terrestrialDelivery = {0xFA, 4};
constexpr Sign tsInformation = {0xCD, 2};

/** A descriptor that nobody in front of it claims. */
bool has(const Field *loop, const Sign &sign)
{
    return loop && std::any_of(loop->descriptors.begin(), loop->descriptors.end(), [=](const ReadDescriptor &one) {
               return one.tag == sign.tag && one.privateDataSpecifier == 0 && one.payload.size() >= sign.leastBytes;
           });
}

/** Asked of every stream: where no two bytes look like the head of such a descriptor, the NIT need not be read. */
bool mayBeIsdb(ByteView nit)
{
    const auto heads = [](u8 tag, u8 length) {
        return (tag == systemManagement.tag && length >= systemManagement.leastBytes) ||
               (tag == terrestrialDelivery.tag && length >= terrestrialDelivery.leastBytes);
    };
    return std::adjacent_find(nit.begin(), nit.end(), heads) != nit.end();
}

/**
 * ARIB's descriptors come without a private_data_specifier, but in Japan always with system_management_descriptor in
 * the NIT. Brazil leaves that out: its streams have terrestrial delivery and TS information. ABNT NBR 15603-1.
 */
bool isIsdb(const Field *network, const Field *stream)
{
    return has(network, systemManagement) || (has(stream, terrestrialDelivery) && has(stream, tsInformation));
}

/** Programmes for handhelds have their PMT there. ARIB TR-B14. */
bool isPmtOfHandhelds(u16 pid)
{
    return pid >= 0x1FC8 && pid <= 0x1FCF;
}

/** A data_component_descriptor of captions or of the broadcast applications of Brazil. */
bool hasDataComponent(const Field *loop)
{
    constexpr u8 dataComponent = 0xFD;
    constexpr u16 components[] = {0x0008, 0x00A0, 0x00A3};
    return loop && std::any_of(loop->descriptors.begin(), loop->descriptors.end(), [&](const ReadDescriptor &one) {
               return one.tag == dataComponent && one.privateDataSpecifier == 0 && one.payload.size() >= 2 &&
                      std::find(std::begin(components), std::end(components), one.payload[0] << 8 | one.payload[1]) !=
                          std::end(components);
           });
}

} // namespace

bool isIsdb(const DescriptorContext &context)
{
    return context.privateDataSpecifier == aribSpecifier;
}

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
    if (*usual.charset != '\0')
        return;
    if (any && isJapanese(numberOf(streams->items[0], "original_network_id", 0)))
        usual.charset = charsetNamed("ARIB-STD-B24");
    else if (!has(findField(section.fields, "descriptors"), systemManagement))
        usual.charset = charsetNamed("ISO-8859-15"); // ABNT NBR 15603-1
}

void learnFromPmt(DescriptorContext &usual, u16 pid, ByteView pmt)
{
    constexpr u8 programMap = 0x02;
    if (usual.privateDataSpecifier != 0 || !isPmtOfHandhelds(pid))
        return;
    const DescribedSection section = describeSection(pmt, tableKindOf(programMap), Standard::dvb);
    bool found = hasDataComponent(findField(section.fields, "descriptors"));
    if (const Field *streams = findField(section.fields, "streams"))
        for (const Fields &stream : streams->items)
            found = found || hasDataComponent(findField(stream, "descriptors"));
    if (found)
        usual.privateDataSpecifier = aribSpecifier;
}

} // namespace psi::describe
