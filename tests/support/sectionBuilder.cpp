#include "support/sectionBuilder.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace psitest {
namespace {

u32 counted(int forced, std::size_t length)
{
    return forced < 0 ? static_cast<u32>(length) : static_cast<u32>(forced);
}

/** A bit after the other. */
std::array<u32, 256> crcOfEachByte()
{
    std::array<u32, 256> table = {};
    for (u32 byte = 0; byte < table.size(); ++byte) {
        u32 crc = byte << 24;
        for (unsigned bit = 0; bit < 8; ++bit)
            crc = (crc << 1) ^ (crc >> 31 != 0 ? 0x04C11DB7U : 0U);
        table[byte] = crc;
    }
    return table;
}

} // namespace

BitWriter &BitWriter::put(unsigned bits, u32 value)
{
    while (bits > 0) {
        if (used_ == 0)
            bytes_.push_back(0);
        const unsigned taken = std::min(bits, 8U - used_);
        bits -= taken;
        const u32 part = (value >> bits) & ((1U << taken) - 1U);
        bytes_.back() = static_cast<u8>(bytes_.back() | (part << (8U - used_ - taken)));
        used_ = (used_ + taken) % 8U;
    }
    return *this;
}

BitWriter &BitWriter::append(const Bytes &bytes)
{
    if (used_ == 0) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    for (const u8 byte : bytes)
        put(8, byte);
    return *this;
}

Bytes operator+(const Bytes &a, const Bytes &b)
{
    Bytes sum = a;
    sum.insert(sum.end(), b.begin(), b.end());
    return sum;
}

Bytes bytesOf(const std::string &text)
{
    return {text.begin(), text.end()};
}

Bytes repeated(std::size_t count, u8 value)
{
    return Bytes(count, value);
}

Bytes counting(std::size_t count, u8 start)
{
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), start);
    return bytes;
}

u32 crc32Mpeg(const u8 *data, std::size_t len)
{
    static const std::array<u32, 256> ofByte = crcOfEachByte();
    u32 crc = 0xFFFFFFFFU;
    for (std::size_t i = 0; i < len; ++i)
        crc = (crc << 8) ^ ofByte[(crc >> 24) ^ data[i]];
    return crc;
}

u16 sectionLength(const Bytes &section)
{
    return static_cast<u16>((section.at(1) & 0x0FU) << 8 | section.at(2));
}

void setSectionLength(Bytes &section, unsigned length)
{
    section.at(1) = static_cast<u8>((section.at(1) & 0xF0U) | ((length >> 8) & 0x0FU));
    section.at(2) = static_cast<u8>(length & 0xFFU);
}

Bytes withRightCrc(Bytes section)
{
    if (section.size() < 3)
        return section;
    const std::size_t total = sectionLength(section) + std::size_t{3};
    if (total < 7 || total > section.size())
        return section;
    const Bytes crc = BitWriter().put(32, crc32Mpeg(section.data(), total - 4)).bytes();
    std::copy(crc.begin(), crc.end(), section.begin() + static_cast<std::ptrdiff_t>(total - 4));
    return section;
}

Bytes sealed(Bytes withoutCrc)
{
    const u32 crc = crc32Mpeg(withoutCrc.data(), withoutCrc.size());
    return withoutCrc + BitWriter().put(32, crc).bytes();
}

Bytes descriptor(u8 tag, const Bytes &payload)
{
    return BitWriter().put(8, tag).put(8, static_cast<u32>(payload.size())).append(payload).bytes();
}

Bytes caDescriptor(u16 systemId, u16 pid, const Bytes &privateData)
{
    return descriptor(0x09, BitWriter().put(16, systemId).put(3, 7).put(13, pid).append(privateData).bytes());
}

Bytes serviceDescriptor(u8 type, const std::string &provider, const std::string &name)
{
    return descriptor(0x48, Bytes{type} + Bytes{static_cast<u8>(provider.size())} + bytesOf(provider) +
                                Bytes{static_cast<u8>(name.size())} + bytesOf(name));
}

Bytes networkNameDescriptor(const std::string &name)
{
    return descriptor(0x40, bytesOf(name));
}

template <typename Self> Bytes SectionBuilder<Self>::finish(const Bytes &body) const
{
    BitWriter out;
    out.put(8, tableId_).put(1, syntaxIndicator_).put(1, privateIndicator_).put(2, reserved_);
    out.put(12, counted(forcedLength_, 5 + body.size() + 4));
    out.put(16, idExt_).put(2, 3).put(5, version_).put(1, currentNext_);
    out.put(8, sectionNumber_).put(8, lastSectionNumber_).append(body);
    return sealed(out.bytes());
}

template class SectionBuilder<LongSectionBuilder>;
template class SectionBuilder<PatBuilder>;
template class SectionBuilder<PmtBuilder>;
template class SectionBuilder<CatBuilder>;
template class SectionBuilder<SdtBuilder>;
template class SectionBuilder<NitBuilder>;
template class SectionBuilder<BatBuilder>;
template class SectionBuilder<VctBuilder>;
template class SectionBuilder<MgtBuilder>;

Bytes sectionOfSize(std::size_t size, u8 tableId)
{
    return LongSectionBuilder(tableId).body(counting(size - 12)).build();
}

PatBuilder &PatBuilder::program(u16 number, u16 pid)
{
    loop_.put(16, number).put(3, 7).put(13, pid);
    return *this;
}

PmtBuilder &PmtBuilder::stream(u8 type, u16 pid, const Bytes &descriptors)
{
    BitWriter entry;
    entry.put(8, type).put(3, 7).put(13, pid).put(4, 15).put(12, static_cast<u32>(descriptors.size()));
    return rawStream(entry.append(descriptors).bytes());
}

Bytes PmtBuilder::build() const
{
    BitWriter body;
    body.put(3, 7).put(13, pcrPid_).put(4, 15).put(12, counted(forcedInfoLength_, programInfo_.size()));
    return finish(body.append(programInfo_).append(streams_).bytes());
}

SdtBuilder &SdtBuilder::service(const SdtService &service)
{
    loop_.put(16, service.serviceId).put(6, service.reservedFutureUse);
    loop_.put(1, service.eitSchedule).put(1, service.eitPresentFollowing);
    loop_.put(3, service.runningStatus).put(1, service.freeCaMode);
    loop_.put(12, counted(service.forcedLoopLength, service.descriptors.size())).append(service.descriptors);
    return *this;
}

SdtBuilder &SdtBuilder::service(u16 serviceId, const Bytes &descriptors)
{
    SdtService entry;
    entry.serviceId = serviceId;
    entry.descriptors = descriptors;
    return service(entry);
}

Bytes SdtBuilder::build() const
{
    return finish(BitWriter().put(16, originalNetworkId_).put(8, 0xFF).append(loop_.bytes()).bytes());
}

template <typename Self>
Self &NetworkBuilder<Self>::transportStream(u16 tsId, u16 originalNetworkId, const Bytes &descriptors)
{
    BitWriter entry;
    entry.put(16, tsId).put(16, originalNetworkId).put(4, 15).put(12, static_cast<u32>(descriptors.size()));
    return this->set(streams_, streams_ + entry.append(descriptors).bytes());
}

template <typename Self> Bytes NetworkBuilder<Self>::build() const
{
    BitWriter body;
    body.put(4, 15).put(12, counted(forcedDescriptorsLength_, descriptors_.size())).append(descriptors_);
    body.put(4, 15).put(12, counted(forcedStreamLoopLength_, streams_.size())).append(streams_);
    return this->finish(body.bytes());
}

template class NetworkBuilder<NitBuilder>;
template class NetworkBuilder<BatBuilder>;

VctBuilder &VctBuilder::channel(const VctChannel &channel)
{
    for (std::size_t i = 0; i < 7; ++i)
        loop_.put(16, i < channel.shortName.size() ? static_cast<u8>(channel.shortName[i]) : 0);
    loop_.put(4, 15).put(10, channel.major).put(10, channel.minor).put(8, channel.modulationMode);
    loop_.put(32, channel.carrierFrequency).put(16, channel.channelTsid).put(16, channel.programNumber);
    loop_.put(2, channel.etmLocation).put(1, channel.accessControlled).put(1, channel.hidden);
    loop_.put(2, 3).put(1, channel.hideGuide).put(3, 7).put(6, channel.serviceType).put(16, channel.sourceId);
    loop_.put(6, 0x3F).put(10, static_cast<u32>(channel.descriptors.size())).append(channel.descriptors);
    ++channels_;
    return *this;
}

Bytes VctBuilder::build() const
{
    BitWriter body;
    body.put(8, 0).put(8, counted(forcedChannels_, channels_)).append(loop_.bytes());
    body.put(6, 0x3F).put(10, static_cast<u32>(additional_.size())).append(additional_);
    return finish(body.bytes());
}

MgtBuilder &MgtBuilder::table(u16 type, u16 pid, u8 version, u32 numberBytes, const Bytes &descriptors)
{
    loop_.put(16, type).put(3, 7).put(13, pid).put(3, 7).put(5, version).put(32, numberBytes);
    loop_.put(4, 15).put(12, static_cast<u32>(descriptors.size())).append(descriptors);
    ++tables_;
    return *this;
}

Bytes MgtBuilder::build() const
{
    BitWriter body;
    body.put(8, 0).put(16, counted(forcedTables_, tables_)).append(loop_.bytes());
    body.put(4, 15).put(12, static_cast<u32>(descriptors_.size())).append(descriptors_);
    return finish(body.bytes());
}

} // namespace psitest
