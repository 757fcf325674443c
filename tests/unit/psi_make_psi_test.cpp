// Generated PAT, PMT and CAT sections, byte by byte. ISO/IEC 13818-1 2.4.4.
#include "support/makeFixture.h"

namespace psitest {
namespace {

PlainProgram program(u16 progNo, u16 pmtPid = 0x100)
{
    PlainProgram plain;
    plain.progNo = progNo;
    plain.pmtPid = pmtPid;
    return plain;
}

/* ------------------------------------------------------------------------------------------------------------------
 * PAT
 * ---------------------------------------------------------------------------------------------------------------- */

class MakePat : public MakeTest {
protected:
    static PlainModel modelWith(std::size_t programs, u8 netFlag)
    {
        PlainModel plain;
        plain.tsId = 0xBEEF;
        plain.netFlag = netFlag;
        plain.netPid = 0x1FF0;
        plain.patVersion = 21;
        for (std::size_t i = 0; i < programs; ++i)
            plain.programs.push_back(program(static_cast<u16>(0x0100 + i * 3), static_cast<u16>(0x20 + i)));
        return plain;
    }
    std::vector<Bytes> make(const PlainModel &plain)
    {
        return makeFrom(plain, patMakeSection, PSI_PAT, expectedPat(plain));
    }
};

TEST_F(MakePat, WithoutProgramsIsOneSectionOfHeaderAndCrc)
{
    const std::vector<Bytes> pat = make(modelWith(0, 0));
    ASSERT_EQ(1U, pat.size());
    EXPECT_EQ(sealed({0x00, 0xB0, 0x09, 0xBE, 0xEF, 0xEB, 0x00, 0x00}), pat[0]);
}

TEST_F(MakePat, WritesNetworkEntryAndProgramsInTheOrderOfTheList)
{
    PlainModel plain = modelWith(0, 1);
    plain.programs = {program(9, 0x1FFE), program(2, 0x0020)};
    const std::vector<Bytes> pat = make(plain);
    ASSERT_EQ(1U, pat.size());
    EXPECT_EQ(sealed({0x00, 0xB0, 0x15, 0xBE, 0xEF, 0xEB, 0x00, 0x00, 0x00, 0x00,
                      0xFF, 0xF0, 0x00, 0x09, 0xFF, 0xFE, 0x00, 0x02, 0xE0, 0x20}),
              pat[0]);
}

TEST_F(MakePat, OnlyANetFlagOfExactlyOneGivesTheNetworkEntry)
{
    for (const u8 flag : Bytes{0, 2, 3, 0xFF}) {
        model->netFlag = flag;
        EXPECT_EQ(0, patMakeSection(model));
        EXPECT_EQ(12U, sections(PSI_PAT).at(0).size()) << int{flag};
    }
    model->netFlag = 1;
    EXPECT_EQ(0, patMakeSection(model));
    EXPECT_EQ(16U, sections(PSI_PAT).at(0).size());
}

TEST_F(MakePat, A252ProgramTableIsOneSection)
{
    EXPECT_EQ(1U, make(modelWith(252, 0)).size());
}

TEST_F(MakePat, A253ProgramTableHasAnEmptyLastSectionAsTheByteCountDemands)
{
    const std::vector<Bytes> pat = make(modelWith(253, 0));
    ASSERT_EQ(2U, pat.size());
    EXPECT_EQ(1021, sectionLength(pat[0]));
    EXPECT_EQ(9, sectionLength(pat[1]));
    EXPECT_EQ(1, pat[0][7]);
    EXPECT_EQ(1, pat[1][6]);
}

TEST_F(MakePat, A252ProgramTableWithNetworkEntryHasAnEmptyLastSectionToo)
{
    const std::vector<Bytes> pat = make(modelWith(252, 1));
    ASSERT_EQ(2U, pat.size());
    EXPECT_EQ(1021, sectionLength(pat[0]));
    EXPECT_EQ(9, sectionLength(pat[1]));
}

TEST_F(MakePat, A300ProgramTableWithNetworkEntrySplitsAt252Programs)
{
    const std::vector<Bytes> pat = make(modelWith(300, 1));
    ASSERT_EQ(2U, pat.size());
    EXPECT_EQ(9 + 4 * 253, sectionLength(pat[0]));
    EXPECT_EQ(9 + 4 * 48, sectionLength(pat[1]));
}

/** @brief Parameter: programs, about as many as are written while they are counted. */
class MakePatAround : public MakePat, public testing::WithParamInterface<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Programs, MakePatAround, testing::Values(126U, 127U, 128U, 129U, 130U));

TEST_P(MakePatAround, IsWhole)
{
    const std::vector<Bytes> pat = make(modelWith(GetParam(), 0));
    ASSERT_EQ(1U, pat.size());
    EXPECT_EQ(9 + 4 * GetParam(), sectionLength(pat[0]));
}

TEST_P(MakePatAround, IsWholeWithNetworkEntry)
{
    const std::vector<Bytes> pat = make(modelWith(GetParam(), 1));
    ASSERT_EQ(1U, pat.size());
    EXPECT_EQ(13 + 4 * GetParam(), sectionLength(pat[0]));
}

TEST_F(MakePat, A600ProgramTableTakesThreeSections)
{
    EXPECT_EQ(3U, make(modelWith(600, 1)).size());
}

TEST_F(MakePat, A506ProgramTableFillsTwoSectionsAndHasAnEmptyThird)
{
    const std::vector<Bytes> pat = make(modelWith(506, 0));
    ASSERT_EQ(3U, pat.size());
    EXPECT_EQ(1021, sectionLength(pat[1]));
    EXPECT_EQ(9, sectionLength(pat[2]));
}

TEST_F(MakePat, OfThePayloadSizeOnly16BitsCount)
{
    // 16384 entries are 65536 bytes: the count wraps to 0 and one section is made.
    for (u32 i = 0; i < 16384; ++i)
        progInfoCreat(&model->progList);
    EXPECT_EQ(0, patMakeSection(model));
    ASSERT_EQ(1U, nodes(PSI_PAT).size());
    EXPECT_EQ(1024, nodes(PSI_PAT)[0]->len);
    EXPECT_EQ(0, nodes(PSI_PAT)[0]->buf[7]);
}

TEST_F(MakePat, PidsAndVersionAreMaskedToTheirFields)
{
    PlainModel plain = modelWith(0, 1);
    plain.netPid = 0xFFFF;
    plain.patVersion = 0xE1;
    plain.programs = {program(1, 0x8123)};
    fillModel(model, plain);
    EXPECT_EQ(0, patMakeSection(model));
    EXPECT_EQ(sealed({0x00, 0xB0, 0x11, 0xBE, 0xEF, 0xC3, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0x00, 0x01, 0xE1, 0x23}),
              sections(PSI_PAT).at(0));
}

TEST_F(MakePat, FilesItsSectionsUnderTheTransportStreamId)
{
    make(modelWith(300, 0));
    const std::vector<sectionData *> pat = nodes(PSI_PAT);
    for (std::size_t i = 0; i < pat.size(); ++i) {
        EXPECT_EQ(i, pat[i]->sectionNo);
        EXPECT_EQ(0xBEEF, pat[i]->idExt);
        EXPECT_EQ(0, pat[i]->pid);
    }
}

TEST_F(MakePat, SaysWhatItMadeAtInfoLevel)
{
    fillModel(model, modelWith(253, 0));
    setPsiMakeRPTLevel(3);
    EXPECT_EQ(0, patMakeSection(model));
    EXPECT_LOG(log, info("psiMake", "patMakeSection: lastSectionNumber = 1!"),
               info("psiMake", "patMakeSection: section make OK! secitonNo=0, sectionLen=1024"),
               info("psiMake", "patMakeSection: section make OK! secitonNo=1, sectionLen=12"));
}

TEST_F(MakePat, AFailureOnTheWayKeepsTheSectionsMadeSoFar)
{
    fillModel(model, modelWith(300, 0));
    const FaultPlan plan(Call::Malloc, 4);
    EXPECT_EQ(-1, patMakeSection(model));
    EXPECT_EQ(1U, sections(PSI_PAT).size());
    EXPECT_LOG(log, error("psiMake", "patMakeSection: sectionData->buf buddy_malloc failed!"));
}

/* ------------------------------------------------------------------------------------------------------------------
 * PMT
 * ---------------------------------------------------------------------------------------------------------------- */

class MakePmt : public MakeTest {
protected:
    void expectPmt(const PlainProgram &plain)
    {
        addProgram(model, plain);
        EXPECT_EQ(0, pmtMakeOneSection(model, plain.progNo));
        EXPECT_EQ(std::vector<Bytes>{expectedPmt(plain)}, sections(PSI_PMT));
        EXPECT_NO_LOG(log);
    }
    void expectRefused(const PlainProgram &plain, unsigned size)
    {
        addProgram(model, plain);
        EXPECT_EQ(-1, pmtMakeOneSection(model, plain.progNo));
        EXPECT_TRUE(sections(PSI_PMT).empty());
        EXPECT_LOG(log, error("psiMake", format("pmtMakeOneSection: progNo=0x%x, sectionLen = %u, over than 1024!",
                                                plain.progNo, size)));
    }
};

TEST_F(MakePmt, ThreeStreamsWithoutDescriptors)
{
    PlainProgram plain = program(0x1234);
    plain.pcrPid = 0x1001;
    plain.pmtVersion = 31;
    plain.streams = {{0x02, 0x101, {}, {}}, {0x04, 0x102, {}, {}}, {0x06, 0x1FFE, {}, {}}};
    expectPmt(plain);
    EXPECT_EQ(sealed({0x02, 0xB0, 0x1C, 0x12, 0x34, 0xFF, 0x00, 0x00, 0xF0, 0x01, 0xF0, 0x00, 0x02, 0xE1,
                      0x01, 0xF0, 0x00, 0x04, 0xE1, 0x02, 0xF0, 0x00, 0x06, 0xFF, 0xFE, 0xF0, 0x00}),
              sections(PSI_PMT)[0]);
}

TEST_F(MakePmt, WritesTheCaDescriptorsOfALevelBeforeItsOthers)
{
    PlainProgram plain = program(5);
    plain.ca = {{0x0500, 0x1F01, {}}, {0x0100, 0x1F02, counting(251)}};
    plain.pmtDescriptors = {{0x05, bytesOf("CUEI")}, {0x0E, {}}};
    plain.streams = {{0x1B, 0x101, {{0x0600, 0x1F03, {1, 2}}}, {{0x52, {7}}, {0x09, {0}}}}};
    expectPmt(plain);
}

TEST_F(MakePmt, TakesDescriptorsOfLength0And255)
{
    PlainProgram plain = program(5);
    plain.pmtDescriptors = {{0x80, {}}, {0x81, counting(255)}};
    plain.streams = {{0x1B, 0x101, {}, {{0x82, counting(255)}, {0x83, {}}}}};
    expectPmt(plain);
}

TEST_F(MakePmt, DescriptorsOf1008BytesAreTaken)
{
    PlainProgram plain = program(5);
    plain.pmtDescriptors = fillerDescriptors(1008);
    expectPmt(plain);
    EXPECT_EQ(1024U, sections(PSI_PMT)[0].size());
}

TEST_F(MakePmt, DescriptorsOf1009BytesAreRefused)
{
    PlainProgram plain = program(5);
    plain.pmtDescriptors = fillerDescriptors(1009);
    expectRefused(plain, 1025);
}

TEST_F(MakePmt, TheLimitCountsDescriptorsOfEveryKind)
{
    PlainProgram plain = program(0xABC);
    plain.ca = {{1, 2, counting(94)}};
    plain.pmtDescriptors = fillerDescriptors(300);
    plain.streams = {{1, 1, {{3, 4, counting(194)}}, fillerDescriptors(200)}, {2, 2, {}, fillerDescriptors(209)}};
    expectRefused(plain, 1025);
}

TEST_F(MakePmt, TheLimitDoesNotCountTheFiveBytesOfAStream)
{
    PlainProgram plain = program(5);
    plain.pmtDescriptors = fillerDescriptors(1008);
    plain.streams = {{2, 0x101, {}, {}}, {3, 0x102, {}, {}}};
    expectPmt(plain);
    EXPECT_EQ(1034U, sections(PSI_PMT)[0].size());
}

TEST_F(MakePmt, A300StreamProgramFits)
{
    PlainProgram plain = program(5);
    for (u16 i = 0; i < 300; ++i)
        plain.streams.push_back({0x06, static_cast<u16>(0x20 + i), {}, {{0x52, {static_cast<u8>(i)}}}});
    expectPmt(plain);
    EXPECT_EQ(16U + 300 * 8, sections(PSI_PMT)[0].size());
}

TEST_F(MakePmt, ASectionOfExactly4096BytesIsMade)
{
    PlainProgram plain = program(5);
    plain.streams.resize(816, {6, 0x100, {}, {}}); // 16 + 816 * 5 = 4096
    expectPmt(plain);
    EXPECT_EQ(4096U, sections(PSI_PMT)[0].size());
}

TEST_F(MakePmt, ARefusalTellsDescriptorsAndHeaderButNotTheStreamsFiveBytes)
{
    PlainProgram plain = program(5);
    plain.streams.resize(100, {6, 0x100, {}, fillerDescriptors(11)});
    expectRefused(plain, 16 + 1100);
}

TEST_F(MakePmt, ASectionThatWouldPass4096BytesIsRefusedWithItsWholeSize)
{
    PlainProgram plain = program(5);
    plain.streams.resize(816, {6, 0x100, {}, {}});
    plain.streams[0].descriptors = {{1, {}}}; // 4098
    expectRefused(plain, 4098);
}

TEST_F(MakePmt, OfTheDescriptorBytesOnly16BitsAreHeldAgainstTheLimit)
{
    PlainProgram plain = program(5);
    plain.pmtDescriptors = fillerDescriptors(65536 + 1009);
    expectRefused(plain, 1025);
    ASSERT_EQ(0, clearMakeTableInfo(id));
    plain.pmtDescriptors = fillerDescriptors(65536 + 1008);
    expectRefused(plain, 65536 + 1024); // within the limit, but no section can hold it
}

TEST_F(MakePmt, OfAnAbsentProgramRemovesItsSectionAndIsNoFailure)
{
    PlainProgram plain = program(5);
    expectPmt(plain);
    EXPECT_EQ(0, progInfoDestroy(&model->progList, model->progList, 1));
    EXPECT_EQ(0, pmtMakeOneSection(model, 5));
    EXPECT_TRUE(sections(PSI_PMT).empty());
    EXPECT_EQ(0, pmtMakeOneSection(model, 77));
    EXPECT_NO_LOG(log);
}

TEST_F(MakePmt, OneSectionReplacesOnlyTheFirstOfItsProgram)
{
    const auto store = [&](u8 type, u16 idExt) {
        storeSection(&model->sectionList, type, LongSectionBuilder(2).idExt(idExt).build());
    };
    for (const u16 idExt : std::vector<u16>{4, 5, 5, 6})
        store(PSI_PMT, idExt);
    store(PSI_SDT_ACTUAL, 5);
    const std::vector<sectionData *> before = nodesOf(model->sectionList);
    EXPECT_EQ(0, pmtMakeOneSection(model, 5));
    EXPECT_EQ((std::vector{before[0], before[2], before[3], before[4]}), nodesOf(model->sectionList));
}

TEST_F(MakePmt, OfAProgramNumberTheLow16BitsCount)
{
    addProgram(model, program(5));
    EXPECT_EQ(0, pmtMakeOneSection(model, 0xABCD0005));
    EXPECT_EQ(1U, sections(PSI_PMT).size());
}

TEST_F(MakePmt, OfTwoProgramsWithOneNumberTheFirstIsWritten)
{
    PlainProgram first = program(5);
    first.pcrPid = 0x111;
    PlainProgram second = program(5);
    second.pcrPid = 0x222;
    addProgram(model, first);
    addProgram(model, second);
    EXPECT_EQ(0, pmtMakeSection(model));
    EXPECT_EQ(std::vector<Bytes>{expectedPmt(first)}, sections(PSI_PMT));
}

/** @brief 100 programs with 70 numbers. @return what pmtMakeSection() makes of them */
std::vector<Bytes> addManyPrograms(tsInfo *model)
{
    std::vector<PlainProgram> first;
    for (u16 i = 0; i < 100; ++i) {
        PlainProgram one = program(static_cast<u16>(i % 70 + 1));
        one.pcrPid = static_cast<u16>(0x100 + i);
        addProgram(model, one);
        if (i < 70)
            first.push_back(one);
    }
    // A number that comes again is made anew, of the first program that has it.
    std::vector<Bytes> sections;
    for (u16 i = 30; i < 100; ++i)
        sections.push_back(expectedPmt(first[i % 70]));
    return sections;
}

TEST_F(MakePmt, OfManyProgramsWithOneNumberTheFirstIsMade)
{
    const std::vector<Bytes> expected = addManyPrograms(model);
    EXPECT_EQ(0, pmtMakeSection(model));
    EXPECT_EQ(expected, sections(PSI_PMT));
}

TEST_F(MakePmt, ManyProgramsNeedNoMemoryButForTheirSections)
{
    const std::vector<Bytes> expected = addManyPrograms(model);
    const FaultPlan plan(Call::Malloc, 1);
    EXPECT_EQ(0, pmtMakeSection(model));
    EXPECT_EQ(1U, plan.injected());
    EXPECT_EQ(expected, sections(PSI_PMT));
}

/** @brief How many blocks of the pool pmtMakeSection() takes for so many programs beside those of their sections. */
unsigned furtherBlocksFor(tsInfo *model, u16 programs)
{
    for (u16 i = 1; i <= programs; ++i)
        addProgram(model, program(i));
    constexpr unsigned ofSection = 2; // the node and its bytes
    const FaultPlan plan(Call::Malloc, programs * ofSection + 1);
    EXPECT_EQ(0, pmtMakeSection(model));
    return plan.injected();
}

TEST_F(MakePmt, SixtyFourProgramsTakeBlocksForTheirSectionsOnly)
{
    EXPECT_EQ(0U, furtherBlocksFor(model, 64));
}

TEST_F(MakePmt, MoreProgramsTakeOneBlockMore)
{
    EXPECT_EQ(1U, furtherBlocksFor(model, 65));
}

TEST_F(MakePmt, IsFiledUnderItsProgramWithItsPid)
{
    addProgram(model, program(0x1234, 0x1ABC));
    EXPECT_EQ(0, pmtMakeOneSection(model, 0x1234));
    const sectionData *node = nodes(PSI_PMT).at(0);
    EXPECT_EQ(0x1234, node->idExt);
    EXPECT_EQ(0x1ABC, node->pid);
    EXPECT_EQ(0, node->sectionNo);
}

TEST_F(MakePmt, SaysWhatItMadeAtInfoLevel)
{
    addProgram(model, program(0x1F));
    setPsiMakeRPTLevel(3);
    EXPECT_EQ(0, pmtMakeOneSection(model, 0x1F));
    EXPECT_LOG(log, info("psiMake", "pmtMakeOneSection: section make OK! progNo=0x1f, sectionLen=16"));
}

TEST_F(MakePmt, AllProgramsInTheOrderOfTheList)
{
    const PlainProgram a = program(9);
    const PlainProgram b = program(3);
    addProgram(model, a);
    addProgram(model, b);
    EXPECT_EQ(0, pmtMakeSection(model));
    EXPECT_EQ((std::vector<Bytes>{expectedPmt(a), expectedPmt(b)}), sections(PSI_PMT));
}

TEST_F(MakePmt, AllRefusesANullModel)
{
    EXPECT_EQ(-1, pmtMakeSection(nullptr));
    EXPECT_LOG(log, error("psiMake", "pmtMakeSection: tableMakeObj is NULL!"));
}

TEST_F(MakePmt, AllReportsThatOldSectionsCannotBeDestroyed)
{
    addProgram(model, program(9));
    EXPECT_EQ(0, pmtMakeSection(model));
    const FaultPlan plan(Call::Delete, 1);
    EXPECT_EQ(-1, pmtMakeSection(model));
    EXPECT_LOG(log, error("psiMake", "pmtMakeSection: pmt SectionDataDestroy failed!"));
}

TEST_F(MakePmt, AllGoesOnAfterAProgramThatFails)
{
    PlainProgram large = program(0x1A);
    large.pmtDescriptors = fillerDescriptors(1009);
    const PlainProgram small = program(0x1B);
    addProgram(model, large);
    addProgram(model, small);
    EXPECT_EQ(0, pmtMakeSection(model));
    EXPECT_EQ(std::vector<Bytes>{expectedPmt(small)}, sections(PSI_PMT));
    EXPECT_LOG(log, error("psiMake", "pmtMakeOneSection: progNo=0x1a, sectionLen = 1025, over than 1024!"),
               error("psiMake", "pmtMakeSection: progNO = 0x1a is NULL!"));
}

TEST_F(MakePmt, AllRemovesSectionsOfProgramsThatAreGone)
{
    storeSection(&model->sectionList, PSI_PMT, PmtBuilder(77).build());
    EXPECT_EQ(0, pmtMakeSection(model));
    EXPECT_EQ(nullptr, model->sectionList);
}

TEST_F(MakePmt, ANullPayloadWithALengthIsWrittenAsZeros)
{
    progInfo *prog = addProgram(model, program(5));
    caInfoCreat(&prog->caList)->privateLen = 3;
    descInfoCreat(&prog->pmtDescList)->descLen = 255;
    EXPECT_EQ(0, pmtMakeOneSection(model, 5));
    PlainProgram expected = program(5);
    expected.ca = {{0, 0, repeated(3, 0)}};
    expected.pmtDescriptors = {{0, repeated(255, 0)}};
    EXPECT_EQ(std::vector<Bytes>{expectedPmt(expected)}, sections(PSI_PMT));
}

TEST_F(MakePmt, ACaDescriptorWhoseLengthPasses255IsNotReadBeyondItsData)
{
    // privateLen 252 and more cannot be told in 8 bits of descriptor_length; its bytes are written all the same.
    progInfo *prog = addProgram(model, program(5));
    caInfo *ca = caInfoCreat(&prog->caList);
    ca->privateLen = 255;
    ca->privateData = poolCopy(counting(255));
    EXPECT_EQ(0, pmtMakeOneSection(model, 5));
    const Bytes pmt = sections(PSI_PMT).at(0);
    EXPECT_EQ(16U + 261, pmt.size());
    EXPECT_EQ(3, pmt[13]) << "255 + 4 in 8 bits";
    EXPECT_EQ(counting(255), Bytes(pmt.begin() + 18, pmt.begin() + 18 + 255));
    EXPECT_EQ(0, psiCheckCrc(pmt.data(), static_cast<u32>(pmt.size())));
}

/* ------------------------------------------------------------------------------------------------------------------
 * CAT
 * ---------------------------------------------------------------------------------------------------------------- */

class MakeCat : public MakeTest {
protected:
    static PlainModel modelWith(const PlainCas &cas, const PlainDescriptors &descriptors)
    {
        PlainModel plain;
        plain.tsId = 0x7777;
        plain.tableMask = 1U << PSI_CAT;
        plain.catVersion = 10;
        plain.catCa = cas;
        plain.catDescriptors = descriptors;
        return plain;
    }
    std::vector<Bytes> make(const PlainModel &plain)
    {
        return makeFrom(plain, catMakeSection, PSI_CAT, expectedCat(plain));
    }
    /** @brief CA descriptors that take @p bytes bytes each. */
    static PlainCas cas(std::size_t count, std::size_t bytes)
    {
        PlainCas list;
        for (std::size_t i = 0; i < count; ++i)
            list.push_back({static_cast<u16>(i), static_cast<u16>(i + 9), counting(bytes - 6, static_cast<u8>(i))});
        return list;
    }
};

TEST_F(MakeCat, OneCaDescriptorWithoutPrivateData)
{
    const std::vector<Bytes> cat = make(modelWith({{0x0500, 0x1123, {}}}, {}));
    ASSERT_EQ(1U, cat.size());
    EXPECT_EQ(sealed({0x01, 0xB0, 0x0F, 0xFF, 0xFF, 0xD5, 0x00, 0x00, 0x09, 0x04, 0x05, 0x00, 0xF1, 0x23}), cat[0]);
}

TEST_F(MakeCat, WithoutTheBitOfTheTableMaskIsNoFailureAndRemovesOldSections)
{
    make(modelWith({{1, 2, {}}}, {}));
    model->tableMask = ~(1U << PSI_CAT);
    setPsiMakeRPTLevel(3);
    EXPECT_EQ(0, catMakeSection(model));
    EXPECT_TRUE(sections(PSI_CAT).empty());
    EXPECT_LOG(log, info("psiMake", "catMakeSection: cat not exist. return!"));
}

TEST_F(MakeCat, WithoutDescriptorsIsOneEmptySection)
{
    const std::vector<Bytes> cat = make(modelWith({}, {}));
    ASSERT_EQ(1U, cat.size());
    EXPECT_EQ(9, sectionLength(cat[0]));
}

TEST_F(MakeCat, CaDescriptorsStandBeforeOthers)
{
    make(modelWith(cas(3, 20), {{0x12, {}}, {0x13, counting(255)}}));
}

TEST_F(MakeCat, APayloadOf1011BytesIsOneSection)
{
    EXPECT_EQ(1U, make(modelWith(cas(2, 100), fillerDescriptors(811))).size());
}

TEST_F(MakeCat, APayloadOf1012BytesHasAnEmptyLastSectionAsTheByteCountDemands)
{
    const std::vector<Bytes> cat = make(modelWith(cas(2, 100), fillerDescriptors(812)));
    ASSERT_EQ(2U, cat.size());
    EXPECT_EQ(1021, sectionLength(cat[0]));
    EXPECT_EQ(9, sectionLength(cat[1]));
}

TEST_F(MakeCat, APayloadOf2024BytesFillsTwoSectionsAndHasAnEmptyThird)
{
    const std::vector<Bytes> cat = make(modelWith(cas(8, 253), {}));
    ASSERT_EQ(3U, cat.size());
    EXPECT_EQ(1021, sectionLength(cat[1]));
    EXPECT_EQ(9, sectionLength(cat[2]));
}

TEST_F(MakeCat, OfThePayloadSizeOnly16BitsCount)
{
    // 65536 + 56 bytes are counted as 56: one section, with the four CA descriptors that fit.
    const std::vector<Bytes> cat = make(modelWith(cas(262, 250), fillerDescriptors(92)));
    ASSERT_EQ(1U, cat.size());
    EXPECT_EQ(0, cat[0][7]);
    EXPECT_EQ(9 + 1000, sectionLength(cat[0]));
}

TEST_F(MakeCat, ASectionThatACaDescriptorDoesNotFitTakesNoOtherDescriptor)
{
    const std::vector<Bytes> cat = make(modelWith(cas(9, 200), {{0x12, {}}}));
    ASSERT_EQ(2U, cat.size());
    EXPECT_EQ(9 + 1000, sectionLength(cat[0])) << "the descriptor of two bytes would have fitted";
    EXPECT_EQ(9 + 802, sectionLength(cat[1]));
}

TEST_F(MakeCat, DescriptorsThatStillWaitAfterTheCountedSectionsAreLeftOut)
{
    // Seven of 257 bytes are counted as two sections, each of which takes three.
    const std::vector<Bytes> cat = make(modelWith(cas(7, 257), {}));
    ASSERT_EQ(2U, cat.size());
    for (const Bytes &section : cat)
        EXPECT_EQ(9 + 3 * 257, sectionLength(section));
}

TEST_F(MakeCat, OthersBeginInTheSectionWhereTheCaDescriptorsRunOut)
{
    const std::vector<Bytes> cat = make(modelWith(cas(8, 252), fillerDescriptors(7)));
    ASSERT_EQ(2U, cat.size());
    EXPECT_EQ(9 + 4 * 252, sectionLength(cat[0]));
    EXPECT_EQ(9 + 4 * 252, sectionLength(cat[1])) << "the 7 bytes do not fit behind";
}

TEST_F(MakeCat, IsFiledUnderNoId)
{
    make(modelWith(cas(9, 200), {}));
    const std::vector<sectionData *> cat = nodes(PSI_CAT);
    ASSERT_EQ(2U, cat.size());
    EXPECT_EQ(0, cat[1]->idExt);
    EXPECT_EQ(1, cat[1]->sectionNo);
    EXPECT_EQ(0, cat[1]->pid);
}

TEST_F(MakeCat, SaysWhatItMadeAtInfoLevel)
{
    fillModel(model, modelWith({}, fillerDescriptors(1012)));
    setPsiMakeRPTLevel(3);
    EXPECT_EQ(0, catMakeSection(model));
    EXPECT_LOG(log, info("psiMake", "catMakeSection: lastSectionNumber = 1"),
               info("psiMake", "catMakeSection: section make OK! sectionNo=0, sectionLen=1024"),
               info("psiMake", "catMakeSection: section make OK! sectionNo=1, sectionLen=12"));
}

} // namespace
} // namespace psitest
