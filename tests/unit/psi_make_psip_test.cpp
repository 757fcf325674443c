// Generated VCT and MGT sections, byte by byte. A/65 6.2 and 6.3.1.
#include "support/guardedBuffer.h"
#include "support/makeFixture.h"
#include "support/mutation.h"

namespace psitest {
namespace {

/* ------------------------------------------------------------------------------------------------------------------
 * VCT
 * ---------------------------------------------------------------------------------------------------------------- */

class MakeVct : public MakeTest {
protected:
    static PlainProgram channel(u16 progNo, std::size_t streams = 0, const PlainDescriptors &descriptors = {})
    {
        PlainProgram plain;
        plain.progNo = progNo;
        plain.pcrPid = 0x1001;
        plain.major = 0x155;
        plain.minor = 0x2AA;
        plain.channelTsid = 0x0808;
        plain.sourceId = 0x0101;
        plain.modulationMode = 4;
        plain.vctServiceType = 2;
        plain.name = {0, 'W', 0, 'X', 0, 'Y', 0, 'Z', 0, '1', 0, '2', 0, '3'};
        plain.streams.resize(streams, {0x02, 0x1001, {}, {}});
        plain.sdtDescriptors = descriptors;
        return plain;
    }
    static PlainModel modelWith(const std::vector<PlainProgram> &channels, const PlainDescriptors &additional = {})
    {
        PlainModel plain;
        plain.tsId = 0x0807;
        plain.sdtVersion = 17;
        plain.programs = channels;
        plain.vctDescriptors = additional;
        return plain;
    }
    /** @brief A channel that takes @p bytes bytes. */
    static PlainProgram channelOf(std::size_t bytes, u16 progNo = 1)
    {
        return channel(progNo, 0, fillerDescriptors(bytes - 37));
    }
    std::vector<Bytes> make(const PlainModel &plain)
    {
        return makeFrom(plain, vctMakeSection, PSI_VCT, expectedVct(plain));
    }
};

TEST_F(MakeVct, OneChannelWithTwoStreams)
{
    PlainProgram one = channel(0x0003, 1);
    one.streams.push_back({0x81, 0x0034, {}, {{0x05, {1, 2, 3, 4}}, {0x0A, {'e', 'n', 'g', 0}}}});
    const std::vector<Bytes> vct = make(modelWith({one}));
    ASSERT_EQ(1U, vct.size());
    const Bytes expected = {0xC8, 0xF0, 64,   0x08, 0x07, 0xE3, 0,    0,    0,    1,    0,    'W',  0,    'X',  0, 'Y',
                            0,    'Z',  0,    '1',  0,    '2',  0,    '3',  0xF5, 0x56, 0xAA, 0x04, 0,    0,    0, 0,
                            0x08, 0x08, 0x00, 0x03, 0x0D, 0xC2, 0x01, 0x01, 0xFC, 17,   0xA1, 15,   0xF0, 0x01, 2, 0x02,
                            0xF0, 0x01, 0,    0,    0,    0x81, 0xE0, 0x34, 'e',  'n',  'g',  0xFC, 0x00};
    Bytes counted = expected;
    setSectionLength(counted, static_cast<unsigned>(expected.size() - 3 + 4));
    EXPECT_EQ(sealed(counted), vct[0]);
    EXPECT_EQ(62, sectionLength(vct[0]));
}

TEST_F(MakeVct, WithoutChannelsIsOneSectionWithTheAdditionalDescriptors)
{
    const std::vector<Bytes> vct = make(modelWith({}, {{0xAA, {1}}}));
    ASSERT_EQ(1U, vct.size());
    EXPECT_EQ(sealed({0xC8, 0xF0, 16, 0x08, 0x07, 0xE3, 0, 0, 0, 0, 0xFC, 3, 0xAA, 1, 1}), vct[0]);
}

TEST_F(MakeVct, ShortNamesArePaddedTo14BytesOrCutThere)
{
    for (std::size_t len = 0; len <= 255; ++len) {
        SCOPED_TRACE(len);
        ASSERT_EQ(0, clearMakeTableInfo(id));
        PlainProgram one = channel(1);
        one.name = counting(len, 1);
        make(modelWith({one}));
    }
}

TEST_F(MakeVct, AnAbsentNameWithALengthIsWrittenAsZeros)
{
    addProgram(model, channel(1))->snameLen = 9;
    psi_buddy_free(model->progList->sname);
    model->progList->sname = nullptr;
    EXPECT_EQ(0, vctMakeSection(model));
    const Bytes vct = sections(PSI_VCT).at(0);
    EXPECT_EQ(repeated(14, 0), Bytes(vct.begin() + 10, vct.begin() + 24));
}

TEST_F(MakeVct, ALanguageDescriptorOfLength2GivesAZeroCode)
{
    PlainProgram one = channel(1);
    one.streams = {{0x81, 0x34, {}, {{0x0A, {'e', 'n'}}, {0x0A, {'d', 'e', 'u', 0}}}}};
    const Bytes vct = make(modelWith({one}))[0];
    EXPECT_EQ(repeated(3, 0), Bytes(vct.begin() + 50, vct.begin() + 53)) << "only the first one is looked at";
}

TEST_F(MakeVct, AServiceLocationDescriptorOfTheModelIsReplaced)
{
    const std::vector<Bytes> vct = make(modelWith({channel(1, 1, {{0xA1, counting(50)}, {0xA0, {7}}, {0xA1, {}}})}));
    EXPECT_EQ(13 + 32 + 11 + 3, sectionLength(vct.at(0)));
}

TEST_F(MakeVct, NumbersAreMaskedToTheirTenBits)
{
    addProgram(model, channel(1));
    model->progList->major_channel_number = 0xFC01;
    model->progList->minor_channel_number = 0xFC02;
    EXPECT_EQ(0, vctMakeSection(model));
    const Bytes vct = sections(PSI_VCT).at(0);
    EXPECT_EQ((Bytes{0xF0, 0x04, 0x02}), Bytes(vct.begin() + 24, vct.begin() + 27));
}

TEST_F(MakeVct, TheServiceTypeIsNotMasked)
{
    addProgram(model, channel(1));
    model->progList->service_type = 0x7F;
    EXPECT_EQ(0, vctMakeSection(model));
    EXPECT_EQ(0xFF, sections(PSI_VCT).at(0)[37]);
}

TEST_F(MakeVct, ASizeOf1007BytesIsOneSection)
{
    EXPECT_EQ(1U, make(modelWith({channelOf(500), channelOf(400, 2)}, fillerDescriptors(107))).size());
}

TEST_F(MakeVct, ASizeOf1008BytesHasAnEmptyLastSectionAsTheByteCountDemands)
{
    const std::vector<Bytes> vct = make(modelWith({channelOf(500), channelOf(400, 2)}, fillerDescriptors(108)));
    ASSERT_EQ(2U, vct.size());
    EXPECT_EQ(1024U, vct[0].size());
    EXPECT_EQ(13, sectionLength(vct[1]));
}

TEST_F(MakeVct, ASizeOf2016BytesFillsTwoSectionsAndHasAnEmptyThird)
{
    const std::vector<Bytes> vct = make(modelWith({channelOf(1008), channelOf(1008, 2)}));
    ASSERT_EQ(3U, vct.size());
    EXPECT_EQ(1024U, vct[1].size());
    EXPECT_EQ(13, sectionLength(vct[2]));
}

TEST_F(MakeVct, OfTheSizeOnly16BitsCount)
{
    std::vector<PlainProgram> channels(65, channelOf(1008));
    channels.push_back(channelOf(40)); // 65560 bytes, of which 24 count
    const std::vector<Bytes> vct = make(modelWith(channels));
    ASSERT_EQ(1U, vct.size());
    EXPECT_EQ(1024U, vct[0].size());
}

TEST_F(MakeVct, AFullSectionTakesNoAdditionalDescriptor)
{
    const std::vector<Bytes> vct = make(modelWith({channelOf(600), channelOf(600, 2)}, {{0xAA, {}}}));
    ASSERT_EQ(2U, vct.size());
    EXPECT_EQ(613, sectionLength(vct[0]));
    EXPECT_EQ(615, sectionLength(vct[1]));
    EXPECT_EQ(1, vct[0][9]);
    EXPECT_EQ(1, vct[1][9]);
}

TEST_F(MakeVct, AdditionalDescriptorsCarryOverToTheNextSection)
{
    EXPECT_EQ(3U, make(modelWith({channelOf(600)}, fillerDescriptors(1500))).size());
}

TEST_F(MakeVct, AChannelThatNeverFitsLeavesOutAllBehindItAndTheAdditionalDescriptors)
{
    const std::vector<Bytes> vct = make(modelWith({channelOf(100), channelOf(1009, 2), channelOf(40, 3)}, {{1, {}}}));
    ASSERT_EQ(2U, vct.size());
    EXPECT_EQ(113, sectionLength(vct[0]));
    EXPECT_EQ(13, sectionLength(vct[1]));
}

TEST_F(MakeVct, AChannelOfExactlyOneSectionFits)
{
    const std::vector<Bytes> vct = make(modelWith({channelOf(1008)}));
    ASSERT_EQ(2U, vct.size());
    EXPECT_EQ(1024U, vct[0].size());
}

TEST_F(MakeVct, ManyStreamsOverflowTheLengthByteButNotTheSection)
{
    make(modelWith({channel(1, 100)}));
}

TEST_F(MakeVct, SaysWhatItMadeAtInfoLevelAndFilesItUnderTheTransportStreamId)
{
    fillModel(model, modelWith({channelOf(600), channelOf(600, 2)}));
    setPsiMakeRPTLevel(3);
    EXPECT_EQ(0, vctMakeSection(model));
    EXPECT_LOG(log, info("psiMake", "vctMakeSection: lastSectionNumber = 1"),
               info("psiMake", "vctMakeSection: section make OK! sectionNo=0, sectionLen=616"),
               info("psiMake", "vctMakeSection: section make OK! sectionNo=1, sectionLen=616"));
    const sectionData *second = nodes(PSI_VCT).at(1);
    EXPECT_EQ(1, second->sectionNo);
    EXPECT_EQ(0x0807, second->idExt);
    EXPECT_EQ(0, second->pid);
}

/* ------------------------------------------------------------------------------------------------------------------
 * MGT
 * ---------------------------------------------------------------------------------------------------------------- */

class MakeMgt : public MakeTest {
protected:
    void SetUp() override
    {
        MakeTest::SetUp();
        model->sdtHead.version_number = 11;
    }
    Bytes make()
    {
        EXPECT_EQ(0, mgtMakeSection(model));
        const std::vector<Bytes> mgt = sections(PSI_MGT);
        EXPECT_EQ(1U, mgt.size());
        return mgt.empty() ? Bytes() : mgt[0];
    }
    Bytes patch(const Bytes &mgtTemplate)
    {
        while (model->sectionList != nullptr)
            sectionDataDestroy(&model->sectionList, model->sectionList);
        storeSection(&model->sectionList, PSI_VCT, sectionOfSize(0x123));
        storeSection(&model->sectionList, PSI_MGT, mgtTemplate);
        return make();
    }
    /** @brief The section list as it was, and this line. */
    void expectRefused(const Bytes &mgtTemplate, const LogLines &lines)
    {
        storeSection(&model->sectionList, PSI_MGT, mgtTemplate);
        const std::vector<sectionData *> before = nodesOf(model->sectionList);
        EXPECT_EQ(-1, mgtMakeSection(model));
        EXPECT_EQ(lines, log.take());
        EXPECT_EQ(before, nodesOf(model->sectionList));
        EXPECT_EQ(std::vector<Bytes>{mgtTemplate}, sections(PSI_MGT));
    }
    static Bytes minimal(u8 version, u16 vctLength)
    {
        return MgtBuilder().table(0, 0x1FFB, version, vctLength).build();
    }
};

TEST_F(MakeMgt, WithoutVctAndTemplateIsAMinimalSectionThatAnnouncesNoBytes)
{
    EXPECT_EQ(
        sealed({0xC7, 0xF0, 0x19, 0, 0, 0xC1, 0, 0, 0, 0, 1, 0, 0, 0xFF, 0xFB, 0xEB, 0, 0, 0, 0, 0xF0, 0, 0xF0, 0}),
        make());
    EXPECT_EQ(28, nodes(PSI_MGT)[0]->len);
}

TEST_F(MakeMgt, AnnouncesTheLengthOfTheVctSection)
{
    storeSection(&model->sectionList, PSI_VCT, sectionOfSize(62));
    const Bytes mgt = make();
    EXPECT_EQ((Bytes{0x00, 0x00, 0xFF, 0xFB, 0xEB, 0x00, 0x00, 0x00, 0x3E}), Bytes(mgt.begin() + 11, mgt.begin() + 20));
}

TEST_F(MakeMgt, OnlyTheFirstOfSeveralVctSectionsCounts)
{
    storeSection(&model->sectionList, PSI_VCT, sectionOfSize(0x234));
    storeSection(&model->sectionList, PSI_VCT, sectionOfSize(0x345));
    EXPECT_EQ(minimal(11, 0x234), make());
}

TEST_F(MakeMgt, TheTableVersionIsNotMasked)
{
    model->sdtHead.version_number = 0x1F;
    EXPECT_EQ(0xFF, make()[15]);
    model->sdtHead.version_number = 0x21;
    make();
    while (model->sectionList != nullptr)
        sectionDataDestroy(&model->sectionList, model->sectionList);
    EXPECT_EQ(0xE1, make()[15]);
}

TEST_F(MakeMgt, RewritesTheTerrestrialEntryOfATemplateAndNothingElse)
{
    const auto mgt = [](u16 pid, u8 version, u32 bytes) {
        return MgtBuilder()
            .version(23)
            .idExt(0x0102)
            .table(0x0100, 0x1D00, 1, 77, descriptor(0x80, counting(9)))
            .table(0x0000, pid, version, bytes, descriptor(0x81, counting(5)))
            .table(0x0002, 0x1FFB, 3, 99)
            .desc(descriptor(0x82, counting(255)))
            .build();
    };
    EXPECT_EQ(mgt(0x1FFB, 11, 0x123), patch(mgt(0x1234, 30, 0xFFFFFFFF)));
}

TEST_F(MakeMgt, TurnsTheLastCableEntryIntoATerrestrialOneWhenThereIsNoOther)
{
    const Bytes mgt = MgtBuilder()
                          .table(0x0002, 0x1111, 1, 1)
                          .table(0x0200, 0x1D01, 2, 2)
                          .table(0x0002, 0x1222, 3, 3, descriptor(0x80, {1}))
                          .table(0x0301, 0x1D02, 4, 4)
                          .build();
    const Bytes expected = MgtBuilder()
                               .table(0x0002, 0x1111, 1, 1)
                               .table(0x0200, 0x1D01, 2, 2)
                               .table(0x0000, 0x1FFB, 11, 0x123, descriptor(0x80, {1}))
                               .table(0x0301, 0x1D02, 4, 4)
                               .build();
    EXPECT_EQ(expected, patch(mgt));
}

TEST_F(MakeMgt, PrefersTheFirstTerrestrialEntryToCableEntriesOnBothSides)
{
    const auto mgt = [](u16 pid, u8 version, u32 bytes) {
        return MgtBuilder()
            .table(0x0002, 0x1111, 1, 1)
            .table(0x0000, pid, version, bytes)
            .table(0x0000, 0x1333, 5, 5)
            .table(0x0002, 0x1444, 6, 6)
            .build();
    };
    EXPECT_EQ(mgt(0x1FFB, 11, 0x123), patch(mgt(0x1222, 2, 2)));
}

TEST_F(MakeMgt, ATemplateWithoutSuchAnEntryIsReplacedByAMinimalSection)
{
    EXPECT_EQ(minimal(11, 0x123), patch(MgtBuilder().version(9).table(0x0100, 0x1D00, 1, 77).build()));
    EXPECT_EQ(minimal(11, 0x123), patch(MgtBuilder().version(9).desc(descriptor(1, {1})).build()));
}

TEST_F(MakeMgt, LooksAtNoMoreEntriesThanTablesDefined)
{
    const Bytes mgt = MgtBuilder().table(0x0100, 1, 1, 1).table(0x0000, 2, 2, 2).forcedTables(1).build();
    EXPECT_EQ(minimal(11, 0x123), patch(mgt));
}

TEST_F(MakeMgt, OfADescriptorsLengthOnlyTheLowByteMovesTheWalk)
{
    // 0x102 bytes are announced and stand there; the walk goes on 2 bytes behind the entry.
    const Bytes inner = Bytes{0xEE, 0xEE} + BitWriter().put(16, 0).put(16, 0xE123).put(8, 0xE5).put(32, 9).bytes();
    const auto mgt = [](const Bytes &descriptors) {
        return MgtBuilder().table(0x0100, 1, 1, 1, descriptors).table(0x0300, 2, 2, 2).build();
    };
    const Bytes before = inner + repeated(0x102 - inner.size(), 0xEE);
    const Bytes patched =
        Bytes{0xEE, 0xEE} + BitWriter().put(16, 0).put(16, 0xFFFB).put(8, 0xEB).put(32, 0x123).bytes();
    EXPECT_EQ(mgt(patched + repeated(0x102 - inner.size(), 0xEE)), patch(mgt(before)));
}

TEST_F(MakeMgt, WhatANodeHasBehindItsTemplateIsNotCopied)
{
    const auto mgt = [](u16 pid, u8 version, u32 bytes) { return MgtBuilder().table(0, pid, version, bytes).build(); };
    EXPECT_EQ(mgt(0x1FFB, 11, 0x123), patch(mgt(0x1FFB, 5, 6) + Bytes{0xEE, 0xEE, 0xEE}));
}

TEST_F(MakeMgt, ATemplateMayBeLongerThan1024Bytes)
{
    const auto mgt = [](u16 pid, u8 version, u32 bytes) {
        MgtBuilder builder;
        for (u16 i = 0; i < 300; ++i)
            builder.table(static_cast<u16>(0x100 + i), 0x1D00, 1, i);
        return builder.table(0, pid, version, bytes).build();
    };
    EXPECT_EQ(mgt(0x1FFB, 11, 0x123), patch(mgt(3, 4, 5)));
}

TEST_F(MakeMgt, ATemplateMayBeAsLongAsSectionLengthTells)
{
    const auto mgt = [](u16 pid, u8 version, u32 bytes) {
        const Bytes loop = loopOf(fillerDescriptors(4095 - 14 - 11));
        return MgtBuilder().table(0, pid, version, bytes).desc(loop).build();
    };
    EXPECT_EQ(4095, sectionLength(mgt(3, 4, 5)));
    EXPECT_EQ(mgt(0x1FFB, 11, 0x123), patch(mgt(3, 4, 5)));
    EXPECT_EQ(4098, nodes(PSI_MGT).at(0)->len);
}

TEST_F(MakeMgt, TheVctOfTheListIsNotTouched)
{
    patch(MgtBuilder().table(0, 1, 1, 1).build());
    EXPECT_EQ(std::vector<Bytes>{sectionOfSize(0x123)}, sections(PSI_VCT));
}

TEST_F(MakeMgt, ADamagedTemplateIsRefusedAndTheListStays)
{
    Bytes mgt = MgtBuilder().table(0, 1, 1, 1).build();
    mgt[12] ^= 1;
    expectRefused(mgt, {error("psiMake", "mgtMakeSection analyseMgt: tsCrcPsi ERROR ")});
}

TEST_F(MakeMgt, ATemplateThatClaimsMoreThanItsNodeHasIsRefused)
{
    Bytes mgt = MgtBuilder().table(0, 1, 1, 1).build();
    mgt.pop_back();
    expectRefused(mgt, {error("psiMake", "mgtMakeSection analyseMgt: tsCrcPsi ERROR ")});
}

TEST_F(MakeMgt, ATemplateThatEndsInsideItsHeaderIsRefused)
{
    const Bytes header = {0xC7, 0xF0, 0, 0, 0, 0xC1, 0, 0, 0, 0, 0};
    for (std::size_t size = 3; size <= header.size(); ++size) {
        SCOPED_TRACE(size);
        ASSERT_EQ(0, clearMakeTableInfo(id));
        Bytes cut(header.begin(), header.begin() + static_cast<std::ptrdiff_t>(size));
        setSectionLength(cut, static_cast<unsigned>(size - 3 + 4));
        if (size < header.size())
            expectRefused(sealed(cut), {error("psiMake", "mgtMakeSection analyseMgt: section length ERROR ")});
        else
            EXPECT_EQ(minimal(0, 0x123), patch(sealed(cut))) << "a header without entries is whole";
    }
}

TEST_F(MakeMgt, AWrongTableIdIsRefusedSilently)
{
    expectRefused(MgtBuilder().tableId(0xC8).table(0, 1, 1, 1).build(), {});
    ASSERT_EQ(0, clearMakeTableInfo(id));
    expectRefused(sealed({0xC8, 0xF0, 4}), {}); // the table_id is looked at before the length
}

TEST_F(MakeMgt, ATemplateWithoutBytesIsRefused)
{
    sectionDataCreat(&model->sectionList)->psiType = PSI_MGT;
    EXPECT_EQ(-1, mgtMakeSection(model));
    EXPECT_LOG(log, error("psiMake", "mgtMakeSection analyseMgt: tsCrcPsi ERROR "));
}

TEST_F(MakeMgt, OnlyTheFirstTemplateCountsAndAllAreRemoved)
{
    storeSection(&model->sectionList, PSI_MGT, MgtBuilder().version(1).table(0, 1, 1, 1).build());
    storeSection(&model->sectionList, PSI_MGT, MgtBuilder().version(2).table(0, 2, 2, 2).build());
    EXPECT_EQ(MgtBuilder().version(1).table(0, 0x1FFB, 11, 0).build(), make());
}

TEST_F(MakeMgt, SaysThatItIsDoneAndFilesTheSectionUnderNoId)
{
    setPsiMakeRPTLevel(3);
    make();
    EXPECT_LOG(log, info("psiMake", "mgtMakeSection: section make OK!"));
    EXPECT_EQ(0, nodes(PSI_MGT)[0]->idExt);
    EXPECT_EQ(0, nodes(PSI_MGT)[0]->sectionNo);
}

/** @brief Sections with hostile lengths, in front of a page that must not be read. */
class MakeMgtHostile : public MakeMgt {
protected:
    /** @brief Read the template to the point where it would be replaced. */
    void tryTemplate(const Bytes &bytes)
    {
        sectionData node = {};
        node.psiType = PSI_MGT;
        node.len = static_cast<u16>(bytes.size());
        node.buf = guarded.place(bytes);
        // The node is none of the pool's: it stands alone on the list and the removal fails, behind all reading.
        sectionData *list = &node;
        tsInfo loose = {};
        loose.sectionList = list;
        const FaultPlan plan(Call::Delete, 1);
        EXPECT_EQ(-1, mgtMakeSection(&loose));
        EXPECT_EQ(list, loose.sectionList);
    }
    GuardedBuffer guarded;
};

TEST_F(MakeMgtHostile, NoLengthFieldLeadsOutsideTheTemplate)
{
    const Bytes mgt = MgtBuilder()
                          .table(0x0002, 0x1111, 1, 1, descriptor(0x80, counting(3)))
                          .table(0x0100, 0x1222, 2, 2)
                          .table(0x0002, 0x1333, 3, 3)
                          .build();
    unsigned tried = 0;
    const auto attempt = [&](const Bytes &section, const std::string &how) {
        SCOPED_TRACE(how);
        tryTemplate(section);
        ++tried;
    };
    setPsiMakeRPTLevel(0);
    forEachByteChange(mgt, nastyValues(), attempt);
    forEachTruncation(mgt, Truncated::Raw, attempt);
    forEachTruncation(mgt, Truncated::Resealed, attempt);
    EXPECT_LT(200U, tried);
}

TEST_F(MakeMgtHostile, AnEntryThatRunsPastTheEndIsNotPatched)
{
    const Bytes whole = MgtBuilder().table(0x0100, 1, 1, 1).table(0x0000, 2, 2, 2).build();
    // The second entry starts at byte 22; fixed fields that CRC_32 cuts off make it no entry.
    for (std::size_t size = 24; size < 33; ++size) {
        Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        setSectionLength(cut, static_cast<unsigned>(size + 4 - 3));
        EXPECT_EQ(minimal(11, 0x123), patch(sealed(cut))) << size;
    }
    Bytes complete(whole.begin(), whole.begin() + 33);
    setSectionLength(complete, 33 + 4 - 3);
    const Bytes patched = patch(sealed(complete));
    EXPECT_EQ(37U, patched.size());
    EXPECT_EQ(0x1FFB | 0xE000, patched[24] << 8 | patched[25]);
}

TEST_F(MakeMgtHostile, SectionLengthsBelowTheHeaderAreNoTrouble)
{
    for (unsigned length = 0; length < 20; ++length) {
        SCOPED_TRACE(length);
        Bytes section = {0xC7, 0xF0, 0x00, 0, 0, 0xC1, 0, 0, 0, 0xFF, 0xFF, 0, 0, 0, 0, 0};
        section.resize(length < 4 ? 3 : length - 1);
        setSectionLength(section, length);
        tryTemplate(length < 4 ? section + repeated(length, 0) : sealed(section));
    }
}

} // namespace
} // namespace psitest
