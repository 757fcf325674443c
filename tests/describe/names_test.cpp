#include "describe/descriptors.h"
#include "describe/names.h"

#include <gtest/gtest.h>

namespace psi::describe {
namespace {

TEST(Names, StreamTypes)
{
    EXPECT_STREQ(streamTypeName(0x02, 0), "MPEG-2 video");
    EXPECT_STREQ(streamTypeName(0x1B, 0), "H.264/AVC video");
    EXPECT_STREQ(streamTypeName(0x24, 0), "H.265/HEVC video");
    EXPECT_STREQ(streamTypeName(0x33, 0), "H.266/VVC video");
    EXPECT_STREQ(streamTypeName(0x81, 0), "AC-3 audio");
    EXPECT_STREQ(streamTypeName(0x86, 0), "SCTE 35 splice information");
    EXPECT_STREQ(streamTypeName(0x87, 0), "E-AC-3 audio");
    EXPECT_STREQ(streamTypeName(0x50, 0), "reserved");
    EXPECT_STREQ(streamTypeName(0xFF, 0), "user private");
}

TEST(Names, PrivateStreamTypesOfDiscsAreTheirOwn)
{
    constexpr u32 hdmv = 0x48444D56;
    EXPECT_STREQ(streamTypeName(0x86, hdmv), "DTS-HD master audio");
    EXPECT_STREQ(streamTypeName(0x1B, hdmv), "H.264/AVC video");
}

TEST(Names, RegisteredFormats)
{
    EXPECT_STREQ(registeredFormatName(0x41432D33), "AC-3 audio");
    EXPECT_EQ(registeredFormatName(0x41414141), nullptr);
}

TEST(Names, DescriptorTagsAtTheEdgesOfTheirRanges)
{
    EXPECT_STREQ(descriptorName(0x01, Standard::dvb), "forbidden");
    EXPECT_STREQ(descriptorName(0x02, Standard::dvb), "video_stream_descriptor");
    EXPECT_STREQ(descriptorName(0x09, Standard::atsc), "CA_descriptor");
    EXPECT_STREQ(descriptorName(0x3E, Standard::dvb), "reserved");
    EXPECT_STREQ(descriptorName(0x3F, Standard::dvb), "extension_descriptor");
    EXPECT_STREQ(descriptorName(0x40, Standard::dvb), "network_name_descriptor");
    EXPECT_STREQ(descriptorName(0x48, Standard::dvb), "service_descriptor");
    EXPECT_STREQ(descriptorName(0x5A, Standard::dvb), "terrestrial_delivery_system_descriptor");
    EXPECT_STREQ(descriptorName(0x7F, Standard::dvb), "extension_descriptor");
    EXPECT_STREQ(descriptorName(0xA0, Standard::dvb), "user private");
    EXPECT_STREQ(descriptorName(0xA0, Standard::atsc), "extended_channel_name_descriptor");
    EXPECT_STREQ(descriptorName(0xFF, Standard::atsc), "forbidden");
}

TEST(Names, ExtensionDescriptors)
{
    EXPECT_STREQ(dvbExtensionDescriptorName(0x04), "T2_delivery_system_descriptor");
    EXPECT_STREQ(dvbExtensionDescriptorName(0x20), "TTML_subtitling_descriptor");
    EXPECT_STREQ(dvbExtensionDescriptorName(0x7E), "reserved");
    EXPECT_STREQ(dvbExtensionDescriptorName(0x80), "user private");
    EXPECT_STREQ(mpegExtensionDescriptorName(0x14), "JXS_video_descriptor");
}

TEST(Names, CaSystemsByRangeNarrowOnesFirst)
{
    EXPECT_STREQ(caSystemName(0x0000), "reserved");
    EXPECT_STREQ(caSystemName(0x0005), "ARIB");
    EXPECT_STREQ(caSystemName(0x0006), "standardized system");
    EXPECT_STREQ(caSystemName(0x0500), "Viaccess");
    EXPECT_STREQ(caSystemName(0x05FF), "Viaccess");
    EXPECT_STREQ(caSystemName(0x0600), "Irdeto");
    EXPECT_STREQ(caSystemName(0x2600), "BISS");
    EXPECT_STREQ(caSystemName(0x2610), "BISS-CA");
    EXPECT_STREQ(caSystemName(0x2602), "EBU");
    EXPECT_STREQ(caSystemName(0x6789), "unknown system");
    EXPECT_STREQ(caSystemName(0xFFFF), "unknown system");
}

TEST(Names, ServicesAndChannels)
{
    EXPECT_STREQ(serviceTypeName(0x01), "digital television");
    EXPECT_STREQ(serviceTypeName(0x00), "reserved");
    EXPECT_STREQ(serviceTypeName(0xFE), "user defined");
    EXPECT_STREQ(channelServiceTypeName(2), "ATSC digital television");
    EXPECT_STREQ(channelServiceTypeName(63), "reserved");
    EXPECT_STREQ(modulationModeName(4), "8-VSB");
    EXPECT_STREQ(runningStatusName(4), "running");
    EXPECT_STREQ(runningStatusName(7), "reserved");
}

TEST(Names, ComponentTypesBelongToTheirStreamContent)
{
    EXPECT_STREQ(componentTypeName(0x1, 0xF, 0x03), "16:9, 25 Hz");
    EXPECT_STREQ(componentTypeName(0x2, 0xF, 0x03), "stereo");
    EXPECT_STREQ(componentTypeName(0x3, 0xF, 0x10), "DVB subtitles");
    EXPECT_STREQ(componentTypeName(0x5, 0xF, 0x0B), "HD, 16:9, 25 Hz");
    EXPECT_STREQ(componentTypeName(0x9, 0x0, 0x04), "UHD");
    EXPECT_STREQ(componentTypeName(0x9, 0x1, 0x04), "");
    EXPECT_STREQ(componentTypeName(0x4, 0xF, 0x42), "");
}

TEST(Names, ContentsHaveASecondLevel)
{
    EXPECT_STREQ(contentName(0x4, 0x3), "football");
    EXPECT_STREQ(contentName(0x1, 0x8), "adult");
    EXPECT_STREQ(contentName(0x4, 0x0), "");
    EXPECT_STREQ(contentName(0xF, 0x1), "");
}

TEST(Names, IsdbHasItsOwn)
{
    EXPECT_STREQ(isdbServiceTypeName(0x01), "digital television");
    EXPECT_STREQ(isdbServiceTypeName(0xC0), "data");
    EXPECT_STREQ(isdbServiceTypeName(0x19), "reserved");
    EXPECT_EQ(isdbComponentTypeName(0x1, 0xB3), "1080i, 16:9");
    EXPECT_EQ(isdbComponentTypeName(0x5, 0x01), "480i, 4:3");
    EXPECT_EQ(isdbComponentTypeName(0x1, 0xB7), "");
    EXPECT_EQ(isdbComponentTypeName(0x2, 0x09), "3/2 and LFE");
    EXPECT_EQ(isdbComponentTypeName(0x6, 0x09), "3/2 and LFE");
    EXPECT_STREQ(japaneseContentName(0x1), "sports");
    EXPECT_STREQ(japaneseContentName(0xC), "reserved");
}

TEST(Names, AStreamOfADiscIsRegisteredByItselfOrByItsProgram)
{
    constexpr u8 hdmv[] = {0x05, 4, 'H', 'D', 'M', 'V'};
    const DescriptorContext usual;
    const std::vector<ReadDescriptor> registration = readDescriptors(ByteView(hdmv, sizeof hdmv), usual);
    EXPECT_EQ(streamKind(0x82, registration, usual), "DTS audio");
    EXPECT_EQ(streamKind(0x82, {}, registered(usual, formatIdentifierOf(registration))), "DTS audio");
    EXPECT_EQ(streamKind(0x82, {}, usual), streamTypeName(0x82, 0));
    EXPECT_NE(streamKind(0x82, {}, usual), "DTS audio");
}

TEST(Names, Languages)
{
    EXPECT_STREQ(languageName("deu"), "German");
    EXPECT_STREQ(languageName("ger"), "German");
    EXPECT_EQ(languageName("xxx"), nullptr);
    EXPECT_EQ(languageName(""), nullptr);
}

TEST(Names, EveryNumberHasWords)
{
    for (u32 value = 0; value < 0x10000; ++value) {
        const u8 byte = static_cast<u8>(value);
        for (const char *name :
             {streamTypeName(byte, 0), descriptorName(byte, Standard::dvb), descriptorName(byte, Standard::atsc),
              dvbExtensionDescriptorName(byte), mpegExtensionDescriptorName(byte),
              caSystemName(static_cast<u16>(value)), serviceTypeName(byte), channelServiceTypeName(byte),
              modulationModeName(byte), runningStatusName(byte), teletextTypeName(byte),
              streamContentName(byte & 0xF, byte >> 4)})
            ASSERT_TRUE(name && *name) << value;
    }
}

} // namespace
} // namespace psi::describe
