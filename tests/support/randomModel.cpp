#include "support/randomModel.h"

namespace psitest {

PlainModel RandomModels::next(Standard standard)
{
    PlainModel model;
    model.tsId = word();
    model.originalNetworkId = standard == dvb ? word() : u16{0};
    model.netFlag = static_cast<u8>(below(2));
    model.netPid = model.netFlag == 1 ? pid() : u16{0};
    model.patVersion = version();
    model.sdtVersion = version();
    model.catVersion = version();
    model.tableMask = 1U << PSI_CAT;
    u32 number = 0;
    const u32 step = 65000 / limits_.programs;
    for (u32 left = 1 + below(limits_.programs); left > 0; --left) {
        number += 1 + below(step);
        model.programs.push_back(program(static_cast<u16>(number), standard));
    }
    model.catCa = cas();
    model.catDescriptors = descriptors(0x10);
    if (standard == atsc)
        model.vctDescriptors = descriptors(0xB0);
    return model;
}

Bytes RandomModels::bytes(u32 most)
{
    Bytes some(below(most + 1));
    for (u8 &one : some)
        one = byte();
    return some;
}

PlainCas RandomModels::cas()
{
    PlainCas list(below(limits_.descriptors + 1));
    for (PlainCa &ca : list)
        ca = {word(), pid(), bytes(limits_.privateBytes)};
    return list;
}

PlainDescriptors RandomModels::descriptors(u8 firstTag)
{
    PlainDescriptors list(below(limits_.descriptors + 1));
    for (PlainDescriptor &desc : list)
        desc = {static_cast<u8>(firstTag + below(8)), bytes(limits_.descriptorBytes)};
    return list;
}

PlainStream RandomModels::stream()
{
    PlainStream one = {byte(), pid(), cas(), descriptors(0x50)};
    if (below(2) == 0)
        one.descriptors.push_back({0x0A, bytes(5)});
    return one;
}

PlainProgram RandomModels::program(u16 number, Standard standard)
{
    PlainProgram one;
    one.progNo = number;
    one.pmtPid = pid();
    one.pcrPid = pid();
    one.pmtVersion = version();
    one.ca = cas();
    one.pmtDescriptors = descriptors(0x50);
    for (u32 streams = below(limits_.streams + 1); streams > 0; --streams)
        one.streams.push_back(stream());
    one.sdtDescriptors = descriptors(0x50);
    if (standard == atsc)
        addChannel(one);
    else
        addService(one);
    return one;
}

void RandomModels::addService(PlainProgram &one)
{
    one.freeCaMode = static_cast<u8>(below(2));
    one.runningStatus = static_cast<u8>(below(8));
    one.serviceType = byte();
    one.eitSchedule = static_cast<u8>(below(2));
    one.eitPresentFollowing = static_cast<u8>(below(2));
    one.provider = bytes(limits_.providerBytes);
    one.name = bytes(limits_.nameBytes);
}

void RandomModels::addChannel(PlainProgram &one)
{
    one.name = counting(14, byte());
    one.major = static_cast<u16>(below(1024));
    one.minor = static_cast<u16>(below(1024));
    one.channelTsid = word();
    one.sourceId = word();
    one.modulationMode = byte();
    one.vctServiceType = static_cast<u8>(below(64));
}

} // namespace psitest
