// The corners of the layouts: shortest sections, absent parts, fields whose other bits do not count.
#include "support/fullSection.h"
#include "support/libraryFixture.h"
#include "support/syntaxTree.h"

namespace psitest {
namespace {

class SyntaxEdge : public LibraryTest {
protected:
    void TearDown() override
    {
        EXPECT_NO_LOG(log);
        LibraryTest::TearDown();
    }
};

TEST_F(SyntaxEdge, APatWithOneProgramIsTheShortest)
{
    const Bytes pat = PatBuilder().program(0, 0x1FFF).build();
    ASSERT_EQ(13U, sectionLength(pat));
    const ParsedTree tree(PSI_PAT, pat);
    ASSERT_EQ(0, tree.result());
    const auto programs = nodesOf(tree.as<patSection>()->prog_info);
    ASSERT_EQ(1U, programs.size());
    EXPECT_EQ(0U, programs[0]->program_number) << "a network PID is stored as any other entry";
    EXPECT_EQ(0x1FFFU, programs[0]->program_map_PID);
}

TEST_F(SyntaxEdge, AProgramInfoThatFillsThePmtLeavesNoStreams)
{
    const Bytes pmt = PmtBuilder(1).programDescriptor(descriptor(0x05, bytesOf("HDMV"))).build();
    const ParsedTree tree(PSI_PMT, pmt);
    ASSERT_EQ(0, tree.result());
    EXPECT_EQ(tree.as<pmtSection>()->section_length, tree.as<pmtSection>()->program_info_length + 13);
    EXPECT_EQ(1U, nodesOf(tree.as<pmtSection>()->prog_descriptor).size());
    EXPECT_EQ(nullptr, tree.as<pmtSection>()->es_info);
}

TEST_F(SyntaxEdge, ADescriptorOfLengthZeroHasNoData)
{
    const ParsedTree tree(PSI_CAT, CatBuilder().desc(descriptor(0x65) + descriptor(0x66, {0x01})).build());
    const auto descriptors = nodesOf(tree.as<catSection>()->cat_descriptor);
    ASSERT_EQ(2U, descriptors.size());
    EXPECT_EQ(0x65U, descriptors[0]->descTag);
    EXPECT_EQ(0U, descriptors[0]->descLen);
    EXPECT_EQ(nullptr, descriptors[0]->descData);
    EXPECT_EQ(Bytes{0x01}, bytesAt(descriptors[1]->descData, descriptors[1]->descLen));
}

TEST_F(SyntaxEdge, ACatWithoutDescriptorsIsEmpty)
{
    const ParsedTree tree(PSI_CAT, CatBuilder().build());
    ASSERT_EQ(0, tree.result());
    EXPECT_EQ(9U, tree.as<catSection>()->section_length);
    EXPECT_EQ(nullptr, tree.as<catSection>()->cat_descriptor);
}

TEST_F(SyntaxEdge, NitAndSdtKeepWhichTableItWas)
{
    EXPECT_EQ(0x40U, ParsedTree(PSI_NIT_ACTUAL, NitBuilder().build()).as<nitSection>()->table_id);
    EXPECT_EQ(0x41U, ParsedTree(PSI_NIT_ACTUAL, NitBuilder().other().build()).as<nitSection>()->table_id);
    EXPECT_EQ(0x42U, ParsedTree(PSI_SDT_OTHER, SdtBuilder().build()).as<sdtSection>()->table_id);
    EXPECT_EQ(0x46U, ParsedTree(PSI_SDT_OTHER, SdtBuilder().other().build()).as<sdtSection>()->table_id);
}

TEST_F(SyntaxEdge, AnSdtMayHaveNoServices)
{
    const ParsedTree tree(PSI_SDT_ACTUAL, SdtBuilder().originalNetworkId(0x233A).build());
    ASSERT_EQ(0, tree.result());
    EXPECT_EQ(12U, tree.as<sdtSection>()->section_length);
    EXPECT_EQ(0x233AU, tree.as<sdtSection>()->original_network_id);
    EXPECT_EQ(nullptr, tree.as<sdtSection>()->service_info);
}

TEST_F(SyntaxEdge, ServiceFlagsShareBytesWithTheLoopLength)
{
    // 0x9F 0xFF behind the EIT flags: running_status 4, free_CA_mode 1, loop of 4095 bytes, which a section that takes
    // all of section_length's values cannot hold together with what stands in front of it.
    for (const bool schedule : {false, true}) {
        SdtService service;
        service.serviceId = 7;
        service.eitSchedule = schedule;
        service.eitPresentFollowing = !schedule;
        service.runningStatus = 4;
        service.freeCaMode = 1;
        service.descriptors = descriptor(0x80, counting(253)); // 0x0FF bytes
        const Bytes sdt = SdtBuilder().service(service).build();
        EXPECT_EQ(0x90U, sdt[14] & 0xF0U);
        const ParsedTree tree(PSI_SDT_ACTUAL, sdt);
        ASSERT_EQ(0, tree.result());
        const psiSdtService *node = tree.as<sdtSection>()->service_info;
        EXPECT_EQ(4U, node->running_status);
        EXPECT_EQ(1U, node->free_CA_mode);
        EXPECT_EQ(0x0FFU, node->descriptors_loop_length);
        EXPECT_EQ(schedule, node->EIT_schedule_flag != 0);
        EXPECT_EQ(!schedule, node->EIT_present_following_flag != 0);
    }
}

TEST_F(SyntaxEdge, NetworkLoopsMayBeEmpty)
{
    const ParsedTree nit(PSI_NIT_ACTUAL, NitBuilder().build());
    ASSERT_EQ(0, nit.result());
    EXPECT_EQ(nullptr, nit.as<nitSection>()->net_descriptor);
    EXPECT_EQ(nullptr, nit.as<nitSection>()->stream_info);
    const ParsedTree bat(PSI_BAT, BatBuilder().transportStream(1, 2).build());
    ASSERT_EQ(1U, nodesOf(bat.as<batSection>()->stream_info).size());
    EXPECT_EQ(0U, bat.as<batSection>()->stream_info->transport_descriptors_length);
    EXPECT_EQ(nullptr, bat.as<batSection>()->stream_info->descriptor);
}

TEST_F(SyntaxEdge, BytesBehindTheStreamLoopAreNotLookedAt)
{
    const Bytes nit = NitBuilder().transportStream(1, 2).transportStream(3, 4).forcedStreamLoopLength(6).build();
    const ParsedTree tree(PSI_NIT_ACTUAL, nit);
    ASSERT_EQ(0, tree.result());
    EXPECT_EQ(1U, nodesOf(tree.as<nitSection>()->stream_info).size());
}

TEST_F(SyntaxEdge, AnMgtMayBeEmpty)
{
    const ParsedTree tree(PSI_MGT, MgtBuilder().build());
    ASSERT_EQ(0, tree.result());
    EXPECT_EQ(0U, tree.as<mgtSection>()->tables_defined);
    EXPECT_EQ(nullptr, tree.as<mgtSection>()->table_info);
    EXPECT_EQ(nullptr, tree.as<mgtSection>()->mgt_desc_info);
}

TEST_F(SyntaxEdge, AnMgtKeepsAll32BitsOfNumberBytes)
{
    const ParsedTree tree(PSI_MGT, MgtBuilder().table(0, 0x1FFB, 31, 0xFFFFFFFF).table(1, 2, 0, 0x01020304).build());
    const auto tables = nodesOf(tree.as<mgtSection>()->table_info);
    ASSERT_EQ(2U, tables.size());
    EXPECT_EQ(0xFFFFFFFFU, tables[0]->number_bytes);
    EXPECT_EQ(31U, tables[0]->table_type_version_number);
    EXPECT_EQ(0x01020304U, tables[1]->number_bytes);
}

TEST_F(SyntaxEdge, PrivateIndicatorIsKeptAndDoesNotDisturbTheLength)
{
    for (const u8 indicator : {u8{0}, u8{1}}) {
        const Bytes mgt = MgtBuilder().privateIndicator(indicator).build();
        const ParsedTree tree(PSI_MGT, mgt);
        ASSERT_EQ(0, tree.result());
        EXPECT_EQ(indicator, tree.as<mgtSection>()->private_indicator);
        EXPECT_EQ(1U, tree.as<mgtSection>()->section_syntax_indicator);
        EXPECT_EQ(sectionLength(mgt), tree.as<mgtSection>()->section_length);
    }
}

TEST_F(SyntaxEdge, EmergencyTablesMayBeEmpty)
{
    const ParsedTree ebcat(PSI_EBCAT, ebcatOf({}).build());
    ASSERT_EQ(0, ebcat.result());
    EXPECT_EQ(nullptr, ebcat.as<ebcatSection>()->calist);
    EXPECT_EQ(nullptr, ebcat.as<ebcatSection>()->ct);
    EXPECT_EQ(nullptr, ebcat.as<ebcatSection>()->signature);
    const ParsedTree ebit(PSI_EBIT, ebitOf({}).build());
    ASSERT_EQ(0, ebit.result());
    EXPECT_EQ(nullptr, ebit.as<ebitSection>()->message);
    EXPECT_EQ(nullptr, ebit.as<ebitSection>()->signature);
}

TEST_F(SyntaxEdge, AnEbcctCommandMayHaveNoData)
{
    const ParsedTree tree(PSI_EBCCT, ebcctOf({{{0x77, {}}}, {}}).build());
    ASSERT_EQ(0, tree.result());
    EXPECT_EQ(0x77U, tree.as<ebcctSection>()->cmd->cmd_tag);
    EXPECT_EQ(0U, tree.as<ebcctSection>()->cmd->cmd_data_length);
    EXPECT_EQ(nullptr, tree.as<ebcctSection>()->cmd->cmd_data);
    EXPECT_EQ(nullptr, tree.as<ebcctSection>()->signature);
}

TEST_F(SyntaxEdge, TheSmallestEbitMessageHasFortyBytes)
{
    const Bytes none = ebitOf({}).build();
    const Bytes two = ebitOf({{EbitMessage(), EbitMessage()}, {}}).build();
    EXPECT_EQ(none.size() + 80, two.size());
    const ParsedTree tree(PSI_EBIT, two);
    const auto messages = nodesOf(tree.as<ebitSection>()->message);
    ASSERT_EQ(2U, messages.size());
    for (const ebitMessage *message : messages) {
        EXPECT_EQ(nullptr, message->resource);
        EXPECT_EQ(nullptr, message->channel);
    }
}

TEST_F(SyntaxEdge, OfDetailsWord2TheFirstByteDoesNotCount)
{
    const ParsedTree tree(PSI_EBIT, fullSection(PSI_EBIT));
    const ebitDetailsChannel *channel = tree.as<ebitSection>()->message->channel;
    EXPECT_EQ(0x34U, channel->details_word2) << "of 0x1234";
    EXPECT_EQ(0x1111U, channel->details_word0);
    EXPECT_EQ(0x2222U, channel->details_word1);
}

TEST_F(SyntaxEdge, OfIdentifiersAndResourcesTheFirstFourBitsDoNotCount)
{
    const ParsedTree tree(PSI_EBIT, fullSection(PSI_EBIT));
    const ebitMessage *message = tree.as<ebitSection>()->message;
    EXPECT_EQ(Bytes{0x00} + counting(17, 0xA1), bytesAt(message->ebm_id, 18));
    EXPECT_EQ(Bytes{0x01} + counting(11, 0xF2), bytesAt(message->resource->resource_code, 12));
}

} // namespace
} // namespace psitest
