/**
 * @file sectionBuilder.h
 * @brief Sections for tests, written bit by bit and independently of the library's own writer.
 *
 * Every builder is fluent and ends in build(), which counts the lengths and appends the CRC:
 * `PatBuilder().tsId(1).program(5, 0x100).build()`.
 */
#ifndef PSITEST_SECTION_BUILDER_H
#define PSITEST_SECTION_BUILDER_H

#include "psi.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace psitest {

using Bytes = std::vector<u8>;

/** @brief Appends fields of 1 to 32 bits, most significant bit first. */
class BitWriter {
public:
    BitWriter &put(unsigned bits, u32 value);
    BitWriter &append(const Bytes &bytes);
    const Bytes &bytes() const { return bytes_; }

private:
    Bytes bytes_;
    unsigned used_ = 0; /**< bits of the last byte that are taken, 0 when it is full */
};

Bytes operator+(const Bytes &a, const Bytes &b);
Bytes bytesOf(const std::string &text);
/** @brief @p count bytes of @p value. */
Bytes repeated(std::size_t count, u8 value);
/** @brief @p count bytes start, start + 1, ... */
Bytes counting(std::size_t count, u8 start = 0);

/** @brief CRC-32/MPEG-2, computed bit by bit. */
u32 crc32Mpeg(const u8 *data, std::size_t len);

/** @brief The section_length field of a section. */
u16 sectionLength(const Bytes &section);
/** @brief Write a section_length; the upper four bits of byte 1 stay. */
void setSectionLength(Bytes &section, unsigned length);
/** @brief Make CRC_32 right again, where section_length puts it; nothing when that is outside the bytes. */
Bytes withRightCrc(Bytes section);
/** @brief Append the CRC_32 of the bytes. */
Bytes sealed(Bytes withoutCrc);

/** @name Descriptors, with tag and length @{ */
Bytes descriptor(u8 tag, const Bytes &payload = {});
Bytes caDescriptor(u16 systemId, u16 pid, const Bytes &privateData = {});
Bytes serviceDescriptor(u8 type, const std::string &provider, const std::string &name);
Bytes networkNameDescriptor(const std::string &name);
/** @} */

/** @brief Header of a long section, ISO/IEC 13818-1 2.4.4.11, and what all builders share. */
template <typename Self> class SectionBuilder {
public:
    Self &tableId(u8 value) { return set(tableId_, value); }
    Self &syntaxIndicator(u8 value) { return set(syntaxIndicator_, value); }
    /** @brief The bit behind section_syntax_indicator. */
    Self &privateIndicator(u8 value) { return set(privateIndicator_, value); }
    /** @brief The two reserved bits behind that one. */
    Self &reservedBits(u8 value) { return set(reserved_, value); }
    Self &idExt(u16 value) { return set(idExt_, value); }
    Self &version(u8 value) { return set(version_, value); }
    Self &currentNext(u8 value) { return set(currentNext_, value); }
    Self &number(u8 section, u8 last)
    {
        sectionNumber_ = section;
        return set(lastSectionNumber_, last);
    }
    /** @brief Write this section_length instead of the counted one; the CRC stays at the end of the bytes. */
    Self &forcedLength(unsigned value) { return set(forcedLength_, static_cast<int>(value)); }

protected:
    SectionBuilder(u8 id, u8 privateBit) : tableId_(id), privateIndicator_(privateBit) {}
    Bytes finish(const Bytes &body) const;
    Self &self() { return static_cast<Self &>(*this); }
    template <typename Field, typename Value> Self &set(Field &field, Value value)
    {
        field = value;
        return self();
    }

private:
    u8 tableId_;
    u8 syntaxIndicator_ = 1;
    u8 privateIndicator_;
    u8 reserved_ = 3;
    u16 idExt_ = 1;
    u8 version_ = 0;
    u8 currentNext_ = 1;
    u8 sectionNumber_ = 0;
    u8 lastSectionNumber_ = 0;
    int forcedLength_ = -1;
};

/** @brief Any section with the long header; body() is what stands between the header and CRC_32. */
class LongSectionBuilder : public SectionBuilder<LongSectionBuilder> {
public:
    explicit LongSectionBuilder(u8 id, u8 privateBit = 1) : SectionBuilder(id, privateBit) {}
    LongSectionBuilder &body(const Bytes &bytes) { return set(body_, bytes); }
    Bytes build() const { return finish(body_); }

private:
    Bytes body_;
};

/** @brief A section of @p size bytes in all (12 to 4096), its body counting up. */
Bytes sectionOfSize(std::size_t size, u8 tableId = 0x4A);

/** @brief PAT section. */
class PatBuilder : public SectionBuilder<PatBuilder> {
public:
    PatBuilder() : SectionBuilder(0x00, 0) {}
    PatBuilder &tsId(u16 id) { return idExt(id); }
    PatBuilder &program(u16 number, u16 pid);
    PatBuilder &network(u16 pid) { return program(0, pid); }
    Bytes build() const { return finish(loop_.bytes()); }

private:
    BitWriter loop_;
};

/** @brief PMT section. */
class PmtBuilder : public SectionBuilder<PmtBuilder> {
public:
    explicit PmtBuilder(u16 programNumber) : SectionBuilder(0x02, 0) { idExt(programNumber); }
    PmtBuilder &pcrPid(u16 pid) { return set(pcrPid_, pid); }
    /** @brief Append bytes to the program's descriptors. */
    PmtBuilder &programDescriptor(const Bytes &desc) { return set(programInfo_, programInfo_ + desc); }
    PmtBuilder &stream(u8 type, u16 pid, const Bytes &descriptors = {});
    /** @brief Append raw bytes to the stream loop. */
    PmtBuilder &rawStream(const Bytes &bytes) { return set(streams_, streams_ + bytes); }
    /** @brief Write this program_info_length instead of the counted one. */
    PmtBuilder &forcedProgramInfoLength(unsigned value) { return set(forcedInfoLength_, static_cast<int>(value)); }
    Bytes build() const;

private:
    u16 pcrPid_ = 0x1FFF;
    int forcedInfoLength_ = -1;
    Bytes programInfo_;
    Bytes streams_;
};

/** @brief CAT section. */
class CatBuilder : public SectionBuilder<CatBuilder> {
public:
    CatBuilder() : SectionBuilder(0x01, 0) { idExt(0xFFFF); }
    CatBuilder &desc(const Bytes &bytes) { return set(body_, body_ + bytes); }
    Bytes build() const { return finish(body_); }

private:
    Bytes body_;
};

/** @brief A service of an SDT. */
struct SdtService {
    u16 serviceId = 0;
    Bytes descriptors;
    u8 eitSchedule = 0;
    u8 eitPresentFollowing = 0;
    u8 runningStatus = 4;
    u8 freeCaMode = 0;
    int forcedLoopLength = -1;   /**< descriptors_loop_length instead of the counted one */
    u8 reservedFutureUse = 0x3F; /**< the six bits in front of the EIT flags */
};

/** @brief SDT section; actual (0x42) unless other() is called. */
class SdtBuilder : public SectionBuilder<SdtBuilder> {
public:
    SdtBuilder() : SectionBuilder(0x42, 1) {}
    SdtBuilder &other() { return tableId(0x46); }
    SdtBuilder &tsId(u16 id) { return idExt(id); }
    SdtBuilder &originalNetworkId(u16 id) { return set(originalNetworkId_, id); }
    SdtBuilder &service(const SdtService &service);
    SdtBuilder &service(u16 serviceId, const Bytes &descriptors = {});
    Bytes build() const;

private:
    u16 originalNetworkId_ = 0;
    BitWriter loop_;
};

/** @brief What NIT and BAT sections share: two descriptor loops and the transport streams. EN 300 468 5.2.1, 5.2.2. */
template <typename Self> class NetworkBuilder : public SectionBuilder<Self> {
public:
    Self &desc(const Bytes &bytes) { return this->set(descriptors_, descriptors_ + bytes); }
    Self &transportStream(u16 tsId, u16 originalNetworkId, const Bytes &descriptors = {});
    /** @brief Write this first loop length instead of the counted one. */
    Self &forcedDescriptorsLength(unsigned value)
    {
        return this->set(forcedDescriptorsLength_, static_cast<int>(value));
    }
    /** @brief Write this transport_stream_loop_length instead of the counted one. */
    Self &forcedStreamLoopLength(unsigned value) { return this->set(forcedStreamLoopLength_, static_cast<int>(value)); }
    Bytes build() const;

protected:
    explicit NetworkBuilder(u8 id) : SectionBuilder<Self>(id, 1) {}

private:
    int forcedDescriptorsLength_ = -1;
    int forcedStreamLoopLength_ = -1;
    Bytes descriptors_;
    Bytes streams_;
};

/** @brief NIT section; actual (0x40) unless other() is called. */
class NitBuilder : public NetworkBuilder<NitBuilder> {
public:
    NitBuilder() : NetworkBuilder(0x40) {}
    NitBuilder &other() { return tableId(0x41); }
    NitBuilder &networkId(u16 id) { return idExt(id); }
};

/** @brief BAT section. */
class BatBuilder : public NetworkBuilder<BatBuilder> {
public:
    BatBuilder() : NetworkBuilder(0x4A) {}
    BatBuilder &bouquetId(u16 id) { return idExt(id); }
};

/** @brief A channel of a VCT. A/65 6.3.1. */
struct VctChannel {
    std::string shortName; /**< ASCII, at most seven characters; padded with U+0000 */
    u16 major = 0;
    u16 minor = 0;
    u8 modulationMode = 4;
    u32 carrierFrequency = 0;
    u16 channelTsid = 0;
    u16 programNumber = 0;
    u8 etmLocation = 0;
    u8 accessControlled = 0;
    u8 hidden = 0;
    u8 hideGuide = 0;
    u8 serviceType = 2;
    u16 sourceId = 0;
    Bytes descriptors;
};

/** @brief Terrestrial VCT section. */
class VctBuilder : public SectionBuilder<VctBuilder> {
public:
    VctBuilder() : SectionBuilder(0xC8, 1) {}
    VctBuilder &tsId(u16 id) { return idExt(id); }
    VctBuilder &channel(const VctChannel &channel);
    VctBuilder &additionalDescriptor(const Bytes &desc) { return set(additional_, additional_ + desc); }
    /** @brief Write this num_channels_in_section instead of the counted one. */
    VctBuilder &forcedChannels(u8 value) { return set(forcedChannels_, static_cast<int>(value)); }
    Bytes build() const;

private:
    u8 channels_ = 0;
    int forcedChannels_ = -1;
    BitWriter loop_;
    Bytes additional_;
};

/** @brief MGT section. A/65 6.2. */
class MgtBuilder : public SectionBuilder<MgtBuilder> {
public:
    MgtBuilder() : SectionBuilder(0xC7, 1) { idExt(0); }
    MgtBuilder &table(u16 type, u16 pid, u8 version, u32 numberBytes, const Bytes &descriptors = {});
    MgtBuilder &desc(const Bytes &bytes) { return set(descriptors_, descriptors_ + bytes); }
    /** @brief Write this tables_defined instead of the counted one. */
    MgtBuilder &forcedTables(u16 value) { return set(forcedTables_, static_cast<int>(value)); }
    Bytes build() const;

private:
    u16 tables_ = 0;
    int forcedTables_ = -1;
    BitWriter loop_;
    Bytes descriptors_;
};

} // namespace psitest

#endif // PSITEST_SECTION_BUILDER_H
