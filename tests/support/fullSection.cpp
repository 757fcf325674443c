#include "support/fullSection.h"

namespace psitest {
namespace {

Bytes samplePmt()
{
    return PmtBuilder(0x0102)
        .version(3)
        .pcrPid(0x0111)
        .programDescriptor(descriptor(0x05, bytesOf("HDMV")))
        .stream(0x1B, 0x0112, descriptor(0x52, {0x07}) + descriptor(0x6A))
        .build();
}

Bytes sampleSdt(bool other)
{
    SdtService service;
    service.serviceId = 0x0301;
    service.eitPresentFollowing = 1;
    service.freeCaMode = 1;
    service.descriptors = serviceDescriptor(0x19, "Hill", "One");
    SdtBuilder sdt;
    if (other)
        sdt.other();
    return sdt.tsId(0x0405).originalNetworkId(0x0607).service(service).build();
}

template <typename Builder> Bytes sampleNetwork(Builder builder)
{
    return builder.idExt(0x0A0B)
        .desc(networkNameDescriptor("Dale"))
        .transportStream(0x0C0D, 0x0E0F, descriptor(0x41, {0x03, 0x01, 0x19}))
        .build();
}

Bytes sampleMgt()
{
    return MgtBuilder()
        .version(9)
        .table(0x0000, 0x1FFB, 4, 0xFFFFFFFF, descriptor(0x80, {0x01}))
        .desc(descriptor(0x81, {0x02, 0x03}))
        .build();
}

} // namespace

EbitTable fullEbit()
{
    EbitChannel channel;
    channel.word0 = 0x1111;
    channel.word1 = 0x2222;
    channel.word2 = 0x1234;
    channel.pid = 0x0333;
    channel.descriptors = descriptor(0x05, {0x0A, 0x0B});
    channel.streams = {{0x04, 0x0444, descriptor(0x0A, bytesOf("eng"))}};
    EbitMessage message;
    message.word0 = 0x0102;
    message.id = counting(18, 0xA0);
    message.word20 = 0x2021;
    message.word22 = 0x2223;
    message.value24 = 0x242526;
    message.word27 = 0x2728;
    message.value29 = 0x293031;
    message.high37 = 0x0C;
    message.low37 = 0x03;
    message.resources = {counting(12, 0xF1)};
    message.channel = channel;
    return {{message}, bytesOf("sign")};
}

EbctTable fullEbct()
{
    EbctContent content;
    content.word = 0x7A686F00;
    content.byte4 = 4;
    content.byte5 = 5;
    content.byte6 = 6;
    content.byte7 = 0xFD;
    content.text = bytesOf("Flood");
    content.agency = bytesOf("Weir");
    content.auxiliary = {{0x61, counting(6)}};
    return {counting(18, 0xB0), {content}, bytesOf("sign"), {0x00}};
}

EbcatTable fullEbcat()
{
    return {{bytesOf("authority")}, {bytesOf("certificate")}, bytesOf("sign")};
}

EbcctTable fullEbcct()
{
    return {{{0x21, bytesOf("restart")}}, bytesOf("sign")};
}

Bytes fullSection(u32 type)
{
    switch (type) {
    case PSI_PAT:
        return PatBuilder().tsId(0x1234).version(5).network(0x0010).program(0x0102, 0x0100).build();
    case PSI_PMT:
        return samplePmt();
    case PSI_SDT_ACTUAL:
    case PSI_SDT_OTHER:
        return sampleSdt(type == PSI_SDT_OTHER);
    case PSI_NIT_ACTUAL:
        return sampleNetwork(NitBuilder());
    case PSI_NIT_OTHER:
        return sampleNetwork(NitBuilder().other());
    case PSI_BAT:
        return sampleNetwork(BatBuilder());
    case PSI_CAT:
        return CatBuilder().desc(caDescriptor(0x0500, 0x0300) + descriptor(0x65)).build();
    case PSI_MGT:
        return sampleMgt();
    case PSI_EBIT:
        return ebitOf(fullEbit()).build();
    case PSI_EBCT:
        return ebctOf(fullEbct()).build();
    case PSI_EBCAT:
        return ebcatOf(fullEbcat()).build();
    default:
        return ebcctOf(fullEbcct()).build();
    }
}

} // namespace psitest
