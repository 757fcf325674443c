// How long sections take to JSON and back: psi_describe_run [SECTIONS], 10000 by default.
#include "describe/json/psiDescribe.h"
#include "support/sectionBuilder.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using psitest::Bytes;
using psitest::bytesOf;
using psitest::operator+;

Bytes described(u8 tag, const Bytes &payload)
{
    return psitest::descriptor(tag, payload);
}

/** A multiplex as it is on the air: names, languages, a delivery system. */
std::vector<Bytes> sampleSections()
{
    psitest::PmtBuilder pmt(7);
    pmt.stream(0x1B, 0x101);
    for (const char *language : {"eng", "fra", "deu"})
        pmt.stream(0x06, 0x102, described(0x0A, bytesOf(language) + Bytes{0}) + described(0x6A, {0x80, 0x42}));
    psitest::SdtBuilder sdt;
    for (u16 service = 1; service <= 10; ++service)
        sdt.service(service, described(0x48, Bytes{0x19, 5} + bytesOf("Owner") + Bytes{10} +
                                                 bytesOf("T\xC2\x65l\xC2\x65 News")));
    psitest::NitBuilder nit;
    nit.desc(described(0x40, bytesOf("Network")));
    for (u16 stream = 1; stream <= 10; ++stream)
        nit.transportStream(stream, 1,
                            described(0x43, {0x01, 0x17, 0x57, 0x25, 1, 0x92, 0xB6, 2, 0x75, 0, 3}) +
                                described(0x41, {0, 1, 0x19, 0, 2, 0x19}));
    return {pmt.build(), sdt.build(), nit.build()};
}

} // namespace

int main(int argc, char **argv)
{
    constexpr int usual = 10000;
    const int sections = argc > 1 ? std::atoi(argv[1]) : usual;
    const std::vector<Bytes> samples = sampleSections();
    std::chrono::duration<double, std::milli> out{};
    std::chrono::duration<double, std::milli> back{};
    for (int i = 0; i < sections; ++i) {
        const Bytes &section = samples[static_cast<std::size_t>(i) % samples.size()];
        const auto start = std::chrono::steady_clock::now();
        char *json = psiDescribeSection(section.data(), section.size(), -1, PSI_DESCRIBE_DVB, nullptr);
        const auto middle = std::chrono::steady_clock::now();
        psiDescribeSections *made = psiDescribeCompile(json, std::strlen(json), PSI_DESCRIBE_DVB, nullptr);
        back += std::chrono::steady_clock::now() - middle;
        out += middle - start;
        size_t length = 0;
        const uint8_t *bytes = psiDescribeSectionBytes(made, 0, &length, nullptr);
        if (bytes == nullptr || length != section.size() || std::memcmp(bytes, section.data(), length) != 0) {
            std::fprintf(stderr, "section %d does not come back\n", i);
            return 1;
        }
        psiDescribeSectionsFree(made);
        psiDescribeFree(json);
    }
    std::printf("%d sections: %.0f ms to JSON, %.0f ms back\n", sections, out.count(), back.count());
    return 0;
}
