// Generated SDT sections, byte by byte. EN 300 468 5.2.3.
#include "support/makeFixture.h"

#include "psiMake.h"

#include <cstdarg>

namespace psitest {
namespace {

class MakeSdt : public MakeTest {
protected:
    static PlainProgram service(u16 id, std::size_t nameLen = 0, const PlainDescriptors &descriptors = {})
    {
        PlainProgram plain;
        plain.progNo = id;
        plain.serviceType = 0x19;
        plain.runningStatus = 4;
        plain.name = counting(nameLen, static_cast<u8>(id));
        plain.sdtDescriptors = descriptors;
        return plain;
    }
    static PlainModel modelWith(const std::vector<PlainProgram> &services)
    {
        PlainModel plain;
        plain.tsId = 0x1001;
        plain.originalNetworkId = 0x233A;
        plain.sdtVersion = 5;
        plain.programs = services;
        return plain;
    }
    /** @brief A service whose entry takes @p bytes bytes. */
    static PlainProgram serviceOf(std::size_t bytes, u16 id = 1)
    {
        return service(id, 0, fillerDescriptors(bytes - 10));
    }
    std::vector<Bytes> make(const PlainModel &plain)
    {
        return makeFrom(plain, sdtaMakeSection, PSI_SDT_ACTUAL, expectedSdt(plain));
    }
};

TEST_F(MakeSdt, OneServiceWithNames)
{
    PlainProgram one = service(0x0102);
    one.provider = bytesOf("ABC");
    one.name = bytesOf("name");
    one.eitPresentFollowing = 1;
    one.freeCaMode = 1;
    const std::vector<Bytes> sdt = make(modelWith({one}));
    ASSERT_EQ(1U, sdt.size());
    EXPECT_EQ(sealed(Bytes{0x42, 0xB0, 29,   0x10, 0x01, 0xCB, 0,    0,  0x23, 0x3A,
                           0xFF, 0x01, 0x02, 0x01, 0x90, 12,   0x48, 10, 0x19, 3} +
                     bytesOf("ABC") + Bytes{4} + bytesOf("name")),
              sdt[0]);
}

TEST_F(MakeSdt, TheReservedBitsInFrontOfTheEitFlagsAreZero)
{
    PlainProgram one = service(1);
    EXPECT_EQ(0x00, make(modelWith({one}))[0][13]);
    model->progList->EIT_flag = 1;
    EXPECT_EQ(0, sdtaMakeSection(model));
    EXPECT_EQ(0x02, sections(PSI_SDT_ACTUAL)[0][13]);
}

TEST_F(MakeSdt, FlagsStatusAndCaModeAreNotMasked)
{
    make(modelWith({service(1)}));
    progInfo &prog = *model->progList;
    prog.EIT_flag = 0x81;
    prog.EIT_pre_flag = 0x10;
    prog.run_stat = 9;
    prog.ca_mode = 3;
    EXPECT_EQ(0, sdtaMakeSection(model));
    const Bytes sdt = sections(PSI_SDT_ACTUAL)[0];
    EXPECT_EQ(0x12, sdt[13]) << "0x10 | 0x81 << 1 in 8 bits";
    EXPECT_EQ(0x30, sdt[14]) << "9 << 5 | 3 << 4 in 8 bits";
}

TEST_F(MakeSdt, AServiceWithoutNamesStillHasAServiceDescriptorOfLength3)
{
    const Bytes sdt = make(modelWith({service(7)}))[0];
    EXPECT_EQ((Bytes{0x48, 3, 0x19, 0, 0}), Bytes(sdt.begin() + 16, sdt.begin() + 21));
}

TEST_F(MakeSdt, NamesOfEveryLengthFrom0To255)
{
    for (std::size_t len = 0; len <= 255; ++len) {
        SCOPED_TRACE(len);
        ASSERT_EQ(0, clearMakeTableInfo(id));
        PlainProgram one = service(1, len);
        one.provider = counting(255 - len, 0x40);
        make(modelWith({one}));
    }
}

TEST_F(MakeSdt, BothNamesOf255BytesKeepTheirBytesAndTheLengthsLow8Bits)
{
    PlainProgram one = service(1, 255);
    one.provider = counting(255, 0x40);
    const Bytes sdt = make(modelWith({one}))[0];
    EXPECT_EQ(12 + 5 + 515, sectionLength(sdt));
    EXPECT_EQ(0x82, sdt[14]);
    EXPECT_EQ(515 & 0xFF, sdt[15]);
    EXPECT_EQ(513 & 0xFF, sdt[17]);
}

TEST_F(MakeSdt, AnAbsentNameWithALengthIsWrittenAsZeros)
{
    progInfo *prog = addProgram(model, service(1));
    prog->snameLen = 200;
    prog->pnameLen = 9;
    EXPECT_EQ(0, sdtaMakeSection(model));
    PlainProgram expected = service(1);
    expected.name = repeated(200, 0);
    expected.provider = repeated(9, 0);
    EXPECT_EQ(expectedSdt([&] {
                  PlainModel plain;
                  plain.programs = {expected};
                  return plain;
              }()),
              sections(PSI_SDT_ACTUAL));
}

TEST_F(MakeSdt, OtherDescriptorsFollowInTheOrderOfTheList)
{
    make(modelWith({service(1, 4, {{0x53, {}}, {0x48, {1, 0, 0}}, {0x5F, counting(255)}})}));
}

TEST_F(MakeSdt, WithoutProgramsFailsSilentlyAndKeepsEarlierSections)
{
    storeSection(&model->sectionList, PSI_SDT_ACTUAL, sectionOfSize(40));
    EXPECT_EQ(-1, sdtaMakeSection(model));
    EXPECT_EQ(std::vector<Bytes>{sectionOfSize(40)}, sections(PSI_SDT_ACTUAL));
    EXPECT_NO_LOG(log);
}

TEST_F(MakeSdt, ALoopOf1008BytesIsOneSection)
{
    EXPECT_EQ(1U, make(modelWith({serviceOf(500), serviceOf(508, 2)})).size());
}

TEST_F(MakeSdt, ALoopOf1009BytesHasAnEmptyLastSectionAsTheByteCountDemands)
{
    const std::vector<Bytes> sdt = make(modelWith({serviceOf(500), serviceOf(509, 2)}));
    ASSERT_EQ(2U, sdt.size());
    EXPECT_EQ(1024U, sdt[0].size());
    EXPECT_EQ(12, sectionLength(sdt[1]));
}

TEST_F(MakeSdt, AServiceThatDoesNotFitOpensTheNextSection)
{
    const std::vector<Bytes> sdt = make(modelWith({serviceOf(500), serviceOf(510, 2)}));
    ASSERT_EQ(2U, sdt.size());
    EXPECT_EQ(512, sectionLength(sdt[0]));
    EXPECT_EQ(522, sectionLength(sdt[1]));
}

TEST_F(MakeSdt, AServiceThatNeverFitsLeavesOutItselfAndAllBehindIt)
{
    const std::vector<Bytes> sdt =
        make(modelWith({serviceOf(20), serviceOf(1010, 2), serviceOf(20, 3), serviceOf(20, 4)}));
    ASSERT_EQ(2U, sdt.size());
    EXPECT_EQ(32, sectionLength(sdt[0]));
    EXPECT_EQ(12, sectionLength(sdt[1]));
}

TEST_F(MakeSdt, AServiceOfExactlyOneSectionFits)
{
    const std::vector<Bytes> sdt = make(modelWith({serviceOf(1009), serviceOf(1009, 2)}));
    ASSERT_EQ(3U, sdt.size());
    EXPECT_EQ(1024U, sdt[0].size());
    EXPECT_EQ(1024U, sdt[1].size());
    EXPECT_EQ(15U, sdt[2].size());
}

TEST_F(MakeSdt, ServicesThatStillWaitAfterTheCountedSectionsAreLeftOut)
{
    // Three of 600 bytes are counted as two sections, each of which takes one.
    const std::vector<Bytes> sdt = make(modelWith({serviceOf(600), serviceOf(600, 2), serviceOf(600, 3)}));
    ASSERT_EQ(2U, sdt.size());
    EXPECT_EQ(612, sectionLength(sdt[1]));
}

TEST_F(MakeSdt, SixHundredServicesComeOutInTheOrderOfTheList)
{
    std::vector<PlainProgram> services;
    for (u16 i = 0; i < 600; ++i)
        services.push_back(service(static_cast<u16>(6000 - i), i % 30));
    EXPECT_LT(10U, make(modelWith(services)).size());
}

TEST_F(MakeSdt, OfTheLoopSizeOnly16BitsCountForTheNumberOfSections)
{
    std::vector<PlainProgram> services(65, serviceOf(1009));
    services.push_back(serviceOf(10)); // 65595 bytes, of which 59 count, all are told
    const std::vector<Bytes> sdt = make(modelWith(services));
    EXPECT_EQ(1U, sdt.size());
    log.clear();
    setPsiMakeRPTLevel(3);
    EXPECT_EQ(0, sdtaMakeSection(model));
    EXPECT_LOG(log, info("psiMake", "sdtaMakeSection: progInfo loopLen = 65595"),
               info("psiMake", "sdtaMakeSection: lastSectionNumber = 0"),
               info("psiMake", "sdtaMakeSection: section make OK! sectionNo=0, sectionLen=1024"));
}

TEST_F(MakeSdt, SaysWhatItMadeAtInfoLevel)
{
    fillModel(model, modelWith({serviceOf(500), serviceOf(509, 2)}));
    setPsiMakeRPTLevel(3);
    EXPECT_EQ(0, sdtaMakeSection(model));
    EXPECT_LOG(log, info("psiMake", "sdtaMakeSection: progInfo loopLen = 1009"),
               info("psiMake", "sdtaMakeSection: lastSectionNumber = 1"),
               info("psiMake", "sdtaMakeSection: section make OK! sectionNo=0, sectionLen=1024"),
               info("psiMake", "sdtaMakeSection: section make OK! sectionNo=1, sectionLen=15"));
}

__attribute__((format(printf, 5, 0))) void growNames(void *user, u32 /*kind*/, const char * /*file*/, u32 /*line*/,
                                                     const char *message, va_list /*args*/)
{
    if (std::string(message).find("section make OK") != std::string::npos)
        static_cast<progInfo *>(user)->snameLen = 255;
}

TEST_F(MakeSdt, ANameThatGrewSinceItWasCountedCostsItsDescriptorAndNothingElse)
{
    fillModel(model, modelWith({service(0x0102, 4)}));
    setPsiMakeRPTLevel(3);
    psiLogHookSet(growNames, model->progList);
    EXPECT_EQ(0, sdtaMakeSection(model));
    psiLogHookSet(nullptr, nullptr);
    EXPECT_EQ(sealed({0x42, 0xB0, 17, 0x10, 0x01, 0xCB, 0, 0, 0x23, 0x3A, 0xFF, 0x01, 0x02, 0x00, 0x80, 0}),
              sections(PSI_SDT_ACTUAL)[0]);
    model->progList->snameLen = 4;
}

TEST_F(MakeSdt, AServiceWithoutRoomIsNotBegun)
{
    Bytes room(8, 0xEE);
    psi::core::SectionWriter section(room.data(), 8);
    u8 *const fields = psi::core::beginService(section, 0x0102, 0xFF);
    ASSERT_EQ(room.data(), fields);
    EXPECT_EQ(nullptr, psi::core::beginService(section, 0x0304, 0xFF));
    EXPECT_EQ(5U, section.size());
    EXPECT_EQ(0xEE, room[5]);
}

TEST_F(MakeSdt, IsFiledUnderTheTransportStreamId)
{
    make(modelWith({serviceOf(500), serviceOf(510, 2)}));
    const std::vector<sectionData *> sdt = nodes(PSI_SDT_ACTUAL);
    ASSERT_EQ(2U, sdt.size());
    EXPECT_EQ(0x1001, sdt[1]->idExt);
    EXPECT_EQ(1, sdt[1]->sectionNo);
    EXPECT_EQ(0, sdt[1]->pid);
}

} // namespace
} // namespace psitest
