// Virtual channels as the library analyses them and as they are channelsDescribed: the same fields, also of damaged
// sections.
#include "describe/sections.h"

#include "support/libraryFixture.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

namespace {

using namespace psitest;
using psi::describe::Fields;
using psi::describe::numberOf;

constexpr u16 programs = 40;

/** What is known of a program's channel, for comparing. */
struct Channel {
    std::string fields;
    std::string descriptors;
};
/** By program_number; 0 is the table itself: its descriptors. No program has that number here. */
using Channels = std::map<u32, Channel>;

std::string descriptorText(u8 tag, psi::describe::ByteView payload)
{
    return std::to_string(tag) + ":" + psi::describe::toHex(payload) + " ";
}

template <class... Number> std::string joined(const std::string &name, Number... numbers)
{
    std::ostringstream text;
    text << name;
    ((text << ' ' << +numbers), ...);
    return text.str();
}

/* ---- as the library has them ---- */

std::string textOf(descInfo *list)
{
    std::string text;
    for (const descInfo *one : nodesOf(list))
        text += descriptorText(one->descTag, {one->descData, one->descLen});
    return text;
}

/** @return nothing when the library refuses the section */
std::optional<Channels> analysed(const Bytes &section)
{
    LooseModel model;
    for (u16 number = 1; number <= programs; ++number)
        progInfoCreat(&model->progList)->progNo = number;
    if (analysePsi(model.get(), storeSection(&model->sectionList, PSI_VCT, section), 0) != 0)
        return std::nullopt;
    Channels channels;
    for (progInfo *one : nodesOf(model->progList))
        if (one->sname)
            channels[one->progNo] = {joined(psi::describe::toHex({one->sname, one->snameLen}),
                                            one->major_channel_number, one->minor_channel_number, one->modulation_mode,
                                            one->channel_TSID, one->service_type, one->source_id),
                                     textOf(one->sdtDescList)};
    channels[0] = {joined("", model->tsId, model->sdtHead.version_number, model->sdtHead.current_next,
                          model->sdtHead.section_number, model->sdtHead.last_section_number),
                   textOf(model->vctDescList)};
    return channels;
}

/* ---- as they are channelsDescribed ---- */

std::string textOf(const Fields &record)
{
    std::string text;
    for (const psi::describe::ReadDescriptor &one : psi::describe::findField(record, "descriptors")->descriptors)
        text += descriptorText(one.tag, one.payload);
    return text;
}

/** @return nothing when its layout does not fit the section */
std::optional<Channels> channelsDescribed(const Bytes &section)
{
    using namespace psi::describe;
    const ByteView bytes{section.data(), section.size()};
    const DescribedSection tree = describeSection(bytes, tableKindOf(section[0]), Standard::atsc);
    if (!tree.parsed)
        return std::nullopt;
    const auto number = [](const Fields &record, const char *key) { return numberOf(record, key, ~u64{0}); };
    Channels channels;
    for (const Fields &one : findField(tree.fields, "channels")->items) {
        Channel &channel = channels[static_cast<u32>(number(one, "program_number"))];
        const Field &name = *findField(one, "short_name");
        channel.fields = joined(toHex(bytes.part((name.bit) / 8, name.bits / 8)), number(one, "major_channel_number"),
                                number(one, "minor_channel_number"), number(one, "modulation_mode"),
                                number(one, "channel_TSID"), number(one, "service_type"), number(one, "source_id"));
        channel.descriptors += textOf(one);
    }
    channels[0] = {joined("", number(tree.fields, "transport_stream_id"), number(tree.fields, "version_number"),
                          number(tree.fields, "current_next_indicator"), number(tree.fields, "section_number"),
                          number(tree.fields, "last_section_number")),
                   textOf(tree.fields)};
    return channels;
}

/* ---- both ---- */

class ChannelsOfAVct : public LibraryTest {
protected:
    u32 below(u32 bound) { return static_cast<u32>(random_()) % bound; }

    Bytes descriptors()
    {
        Bytes loop;
        for (u32 i = below(3); i > 0; --i)
            loop =
                loop + descriptor(static_cast<u8>(0x80 + below(0x30)), Bytes(below(12), static_cast<u8>(below(256))));
        return loop;
    }

    Bytes section()
    {
        VctBuilder vct;
        vct.tsId(static_cast<u16>(below(0x10000)));
        const u32 count = below(7);
        for (u32 i = 0; i < count; ++i) {
            VctChannel channel;
            channel.shortName = std::string(below(8), static_cast<char>('A' + below(26)));
            channel.major = static_cast<u16>(below(0x400));
            channel.minor = static_cast<u16>(below(0x400));
            channel.modulationMode = static_cast<u8>(below(256));
            channel.carrierFrequency = static_cast<u32>(random_());
            channel.channelTsid = static_cast<u16>(below(0x10000));
            channel.programNumber = static_cast<u16>(1 + below(programs));
            channel.serviceType = static_cast<u8>(below(64));
            channel.sourceId = static_cast<u16>(below(0x10000));
            channel.descriptors = descriptors();
            vct.channel(channel);
        }
        return vct.additionalDescriptor(descriptors()).build();
    }

    std::mt19937 random_{7};
};

void expectSame(const Bytes &section, int &both)
{
    const std::optional<Channels> library = analysed(section);
    const std::optional<Channels> description = channelsDescribed(section);
    if (!library || !description)
        return;
    ++both;
    ASSERT_EQ(library->size(), description->size()) << psi::describe::toHex({section.data(), section.size()});
    for (const auto &[number, channel] : *library) {
        ASSERT_EQ(channel.fields, description->at(number).fields) << number;
        ASSERT_EQ(channel.descriptors, description->at(number).descriptors) << number;
    }
}

TEST_F(ChannelsOfAVct, AreDescribedAsTheyAreAnalysed)
{
    int both = 0;
    for (int i = 0; i < 300; ++i)
        ASSERT_NO_FATAL_FAILURE(expectSame(section(), both));
    EXPECT_EQ(300, both);
}

TEST_F(ChannelsOfAVct, OfRandomDamageAreDescribedAsTheyAreAnalysed)
{
    int both = 0;
    for (int i = 0; i < 3000; ++i) {
        Bytes damaged = section();
        for (u32 errors = 1 + below(3); errors > 0; --errors)
            damaged[3 + below(static_cast<u32>(damaged.size() - 7))] = static_cast<u8>(below(256));
        ASSERT_NO_FATAL_FAILURE(expectSame(withRightCrc(damaged), both));
    }
    EXPECT_GT(both, 500);
}

} // namespace
