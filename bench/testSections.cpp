#include "testSections.h"

namespace psibench {

using namespace psitest;

namespace {

template <typename Builder> Bytes network(Builder builder, u16 streams, u8 delivery)
{
    builder.desc(networkNameDescriptor("Network"));
    for (u16 i = 0; i < streams; ++i) {
        const Bytes services = counting(12);
        builder.transportStream(static_cast<u16>(1000 + i), 1,
                                descriptor(delivery, counting(11)) + descriptor(0x41, services)); // service_list
    }
    return builder.build();
}

} // namespace

Bytes patSection(u16 first, u16 programs, u8 number, u8 last)
{
    PatBuilder pat;
    pat.tsId(1).number(number, last);
    for (u16 i = 0; i < programs; ++i) {
        const u16 program = static_cast<u16>(first + i);
        pat.program(program, pmtPidOf(program));
    }
    return pat.build();
}

Bytes pmtSection(u16 program, u16 streams)
{
    PmtBuilder pmt(program);
    pmt.pcrPid(0x1000);
    for (u16 i = 0; i < streams; ++i) {
        const Bytes language = descriptor(0x0A, bytesOf("eng") + Bytes{0});
        const Bytes component = descriptor(0x52, {static_cast<u8>(i)}); // stream_identifier
        const Bytes maximumBitrate = descriptor(0x0E, {0xC0, 0x12, 0x34});
        pmt.stream(0x03, static_cast<u16>(0x1000 + i), language + component + maximumBitrate);
    }
    return pmt.build();
}

Bytes sdtSection(u16 first, u16 services)
{
    SdtBuilder sdt;
    sdt.tsId(1).originalNetworkId(1);
    for (u16 i = 0; i < services; ++i) {
        const Bytes service = serviceDescriptor(1, "Provider", "Service " + std::to_string(i));
        const Bytes authority = descriptor(0x73, bytesOf("example.com"));
        const Bytes scrambling = descriptor(0x53, {0x01, 0x00}); // CA_identifier
        const Bytes linkage = descriptor(0x4A, counting(7));
        sdt.service(static_cast<u16>(first + i), service + authority + scrambling + linkage);
    }
    return sdt.build();
}

Bytes nitSection(u16 networkId, u16 streams)
{
    NitBuilder nit;
    nit.networkId(networkId);
    return network(nit, streams, 0x43); // satellite_delivery_system
}

Bytes batSection(u16 bouquet, u16 streams)
{
    BatBuilder bat;
    bat.bouquetId(bouquet);
    return network(bat, streams, 0x5F); // private_data_specifier and alike: bytes to a parser
}

Bytes mgtSection(u16 tables)
{
    MgtBuilder mgt;
    for (u16 i = 0; i < tables; ++i)
        mgt.table(static_cast<u16>(0x100 + i), static_cast<u16>(0x1D00 + i), 1, 1000);
    return mgt.build();
}

} // namespace psibench
