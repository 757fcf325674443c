// Records of the syntax trees: create, destroy, the order in which they are emptied, and failures while they are.
#include "support/faultInjection.h"
#include "support/libraryFixture.h"

#include "psiInternal.h"

#include <array>
#include <cstring>

using namespace psi::core;

namespace psitest {
namespace {

/* ------------------------------------------------------------------------------------------------------------------
 * What all records have in common
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief Pool exhausted, null record, freed. */
using RecordTexts = std::array<const char *, 3>;

template <typename RecordType, RecordType *(*creat)(), i32 (*destroyRecord)(RecordType *), const RecordTexts &texts>
struct RecordLife {
    using Record = RecordType;
    static Record *create() { return creat(); }
    static i32 destroy(Record *record) { return destroyRecord(record); }
    static LogLine noMemory() { return error("psiMem", texts[0]); }
    static LogLine isNull() { return error("psiMem", texts[1]); }
    static LogLine destroyed() { return info("psiMem", texts[2]); }
};

constexpr RecordTexts patTexts = {"psiPatSectionCreat: buddy_malloc patSection  failed",
                                  "psiPatSectionDestroy: ERROR! patSection is NULL!",
                                  "psiPatSectionDestroy: free patSection OK!"};
constexpr RecordTexts pmtTexts = {"psiPmtSectionCreat: buddy_malloc pmtSection  failed",
                                  "psiPmtSectionDestroy: ERROR! pmtSection is NULL!",
                                  "psiPmtSectionDestroy: free pmtSection OK!"};
constexpr RecordTexts catTexts = {"psiCatSectionCreat: buddy_malloc catSection  failed",
                                  "psiCatSectionDestroy: ERROR! catSection is NULL!",
                                  "psiCatSectionDestroy: free catSection OK!"};
constexpr RecordTexts nitTexts = {"psiNitSectionCreat: buddy_malloc nitSection  failed",
                                  "psiNitSectionDestroy: ERROR! nitSection is NULL!",
                                  "psiNitSectionDestroy: free nitSection OK!"};
constexpr RecordTexts sdtTexts = {"psiSdtSectionCreat: buddy_malloc sdtSection  failed",
                                  "psiSdtSectionDestroy: ERROR! sdtSection is NULL!",
                                  "psiSdtSectionDestroy: free sdtSection OK!"};
constexpr RecordTexts batTexts = {"psiBatSectionCreat: buddy_malloc batSection  failed",
                                  "psiBatSectionDestroy: ERROR! batSection is NULL!",
                                  "psiBatSectionDestroy: free batSection OK!"};
constexpr RecordTexts mgtTexts = {"psipMgtSectionCreat: buddy_malloc mgtSection  failed",
                                  "psiMgtSectionDestroy: ERROR! mgtSection is NULL!",
                                  "psiMgtSectionDestroy: free mgtSection OK!"};
constexpr RecordTexts ebitTexts = {"psiEbitSectionCreat: buddy_malloc ebitSection  failed",
                                   "psiEbitSectionDestroy: ERROR! ebitSection is NULL!",
                                   "psiEbitSectionDestroy: free ebitSection OK!"};
constexpr RecordTexts ebctTexts = {"psiEbctSectionCreat: buddy_malloc ebctSection  failed",
                                   "psiEbctSectionDestroy: ERROR! ebctSection is NULL!",
                                   "psiEbctSectionDestroy: free ebctSection OK!"};
constexpr RecordTexts ebcatTexts = {"psiEbcatSectionCreat: buddy_malloc ebcatSection  failed",
                                    "psiEbcatSectionDestroy: ERROR! ebcatSection is NULL!",
                                    "psiEbcatSectionDestroy: free ebcatSection OK!"};
constexpr RecordTexts ebcctTexts = {"psiEbcctSectionCreat: buddy_malloc ebcctSection  failed",
                                    "psiEbcctSectionDestroy: ERROR! ebcctSection is NULL!",
                                    "psiEbcctSectionDestroy: free ebcctSection OK!"};

using PatLife = RecordLife<patSection, psiPatSectionCreat, psiPatSectionDestroy, patTexts>;
using PmtLife = RecordLife<pmtSection, psiPmtSectionCreat, psiPmtSectionDestroy, pmtTexts>;
using CatLife = RecordLife<catSection, psiCatSectionCreat, psiCatSectionDestroy, catTexts>;
using NitLife = RecordLife<nitSection, psiNitSectionCreat, psiNitSectionDestroy, nitTexts>;
using SdtLife = RecordLife<sdtSection, psiSdtSectionCreat, psiSdtSectionDestroy, sdtTexts>;
using BatLife = RecordLife<batSection, psiBatSectionCreat, psiBatSectionDestroy, batTexts>;
using MgtLife = RecordLife<mgtSection, psipMgtSectionCreat, psipMgtSectionDestroy, mgtTexts>;
using EbitLife = RecordLife<ebitSection, psiEbitSectionCreat, psiEbitSectionDestroy, ebitTexts>;
using EbctLife = RecordLife<ebctSection, psiEbctSectionCreat, psiEbctSectionDestroy, ebctTexts>;
using EbcatLife = RecordLife<ebcatSection, psiEbcatSectionCreat, psiEbcatSectionDestroy, ebcatTexts>;
using EbcctLife = RecordLife<ebcctSection, psiEbcctSectionCreat, psiEbcctSectionDestroy, ebcctTexts>;

template <typename Life> class RecordLifeCycle : public LibraryTest {
protected:
    /** @brief The bytes of the record that was freed last, behind the words in which the pool may keep links. */
    static Bytes lastFreed()
    {
        constexpr u32 size = sizeof(typename Life::Record);
        u8 *block = static_cast<u8 *>(blockAsLeft(size));
        const Bytes bytes(block + 2 * sizeof(void *), block + size);
        psi_buddy_free(block);
        return bytes;
    }
};

using Records = testing::Types<PatLife, PmtLife, CatLife, NitLife, SdtLife, BatLife, MgtLife, EbitLife, EbctLife,
                               EbcatLife, EbcctLife>;
TYPED_TEST_SUITE(RecordLifeCycle, Records);

TYPED_TEST(RecordLifeCycle, CreateGivesAZeroedRecord)
{
    using Record = typename TypeParam::Record;
    void *soiled = psi_buddy_malloc(sizeof(Record));
    std::memset(soiled, 0xEE, sizeof(Record));
    psi_buddy_free(soiled);
    Record *record = TypeParam::create();
    ASSERT_NE(nullptr, record);
    const u8 *bytes = reinterpret_cast<const u8 *>(record);
    EXPECT_EQ(repeated(sizeof *record, 0), Bytes(bytes, bytes + sizeof *record));
    EXPECT_EQ(1U, this->liveBlocks());
    EXPECT_EQ(0, TypeParam::destroy(record));
    EXPECT_NO_LOG(this->log);
}

TYPED_TEST(RecordLifeCycle, CreateReportsAnExhaustedPool)
{
    const FaultPlan plan(Call::Malloc, 1);
    EXPECT_EQ(nullptr, TypeParam::create());
    EXPECT_LOG(this->log, TypeParam::noMemory());
}

TYPED_TEST(RecordLifeCycle, DestroyRefusesNull)
{
    EXPECT_EQ(-1, TypeParam::destroy(nullptr));
    EXPECT_LOG(this->log, TypeParam::isNull());
}

TYPED_TEST(RecordLifeCycle, AnEmptyRecordIsFreedAtOnce)
{
    setPsiSchRPTLevel(3);
    auto *record = TypeParam::create();
    const FaultPlan noListIsTouched(Call::Delete, 1);
    EXPECT_EQ(0, TypeParam::destroy(record));
    EXPECT_EQ(0U, this->liveBlocks());
    EXPECT_LOG(this->log, TypeParam::destroyed());
}

TYPED_TEST(RecordLifeCycle, LevelZeroSilencesEverything)
{
    setPsiSchRPTLevel(0);
    EXPECT_EQ(-1, TypeParam::destroy(nullptr));
    const FaultPlan plan(Call::Malloc, 1);
    EXPECT_EQ(nullptr, TypeParam::create());
    EXPECT_NO_LOG(this->log);
}

/** @brief Records that own a signature. */
template <typename Life> class EmergencyRecord : public RecordLifeCycle<Life> {
};

using EmergencyRecords = testing::Types<EbitLife, EbctLife, EbcatLife, EbcctLife>;
TYPED_TEST_SUITE(EmergencyRecord, EmergencyRecords);

TYPED_TEST(EmergencyRecord, DestroyFreesTheSignatureAndWipesTheRecord)
{
    using Record = typename TypeParam::Record;
    Record *record = TypeParam::create();
    std::memset(static_cast<void *>(&record->CRC_32), 0xEE, sizeof record->CRC_32);
    record->signature = static_cast<u8 *>(psi_buddy_malloc(100));
    record->signature_length = 100;
    EXPECT_EQ(0, TypeParam::destroy(record));
    EXPECT_EQ(0U, this->liveBlocks());
    const Bytes left = this->lastFreed();
    EXPECT_EQ(repeated(left.size(), 0), left);
}

/** @brief Records that are freed as they are. */
template <typename Life> class TableRecord : public RecordLifeCycle<Life> {
};

using TableRecords = testing::Types<PatLife, PmtLife, CatLife, NitLife, SdtLife, BatLife, MgtLife>;
TYPED_TEST_SUITE(TableRecord, TableRecords);

TYPED_TEST(TableRecord, DestroyDoesNotWipeIt)
{
    auto *record = TypeParam::create();
    std::memset(static_cast<void *>(&record->CRC_32), 0xEE, sizeof record->CRC_32);
    EXPECT_EQ(0, TypeParam::destroy(record));
    const Bytes left = this->lastFreed();
    EXPECT_NE(repeated(left.size(), 0), left);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Records with contents
 * ---------------------------------------------------------------------------------------------------------------- */

const LogLine ownDescFreed = info("psiMem", "descInfoDestroy: free descInfo OK!");
const LogLine ownDescKept = error("psiMem", "descInfoDestroy: descInfo zlst_delete failed!");
const LogLine progFreed = info("psiMem", "psiPatProgDestroy: free progInfo OK!");
const LogLine esFreed = info("psiMem", "psiPmtEsDestroy: free esInfo OK!");
const LogLine ownStreamFreed = info("psiMem", "psiStreamInfoDestroy: free streamInfo OK!");
const LogLine serviceFreed = info("psiMem", "psiSdtServiceDestroy: free serviceInfo OK!");
const LogLine tableFreed = info("psiMem", "mgtTableInfoDestroy: free mgtTableInfo OK!");
const LogLine calistFreed = info("psiMem", "ebcatCalistDestroy: free caList OK!");
const LogLine ctFreed = info("psiMem", "ebcatCtDestroy: free ct OK!");

u8 *ownBytes()
{
    return static_cast<u8 *>(psi_buddy_malloc(10));
}

void addDescriptor(descInfo **head)
{
    descInfo *node = descInfoCreat(head);
    node->descData = ownBytes();
    node->descLen = 10;
}

class RecordContents : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        setPsiSchRPTLevel(3);
    }

    /** @brief What is logged when a record is destroyed whose n-th zlst_delete() fails (0: none), and the result. */
    template <typename Life> LogLines destroyLines(typename Life::Record *record, unsigned failing, i32 expected)
    {
        const FaultPlan plan(Call::Delete, failing);
        EXPECT_EQ(expected, Life::destroy(record));
        return log.take();
    }

    /** @brief Make a list fail at its first node, the record stays; then destroy the record and expect this order. */
    struct Failure {
        unsigned failing;
        LogLines lines;
    };
    template <typename Life, typename Fill>
    void expectOrder(Fill fill, const LogLines &inOrder, const std::vector<Failure> &failures)
    {
        for (const Failure &failure : failures) {
            SCOPED_TRACE(testing::Message() << "failing call " << failure.failing);
            auto *record = Life::create();
            fill(*record);
            EXPECT_EQ(failure.lines, destroyLines<Life>(record, failure.failing, -1));
            EXPECT_EQ(sizeof *record, buddy_size(psiMp, record)) << "the record is not freed";
            EXPECT_EQ(Life::destroyed(), destroyLines<Life>(record, 0, 0).back());
            EXPECT_EQ(0U, liveBlocks());
        }
        auto *record = Life::create();
        fill(*record);
        EXPECT_EQ(inOrder, destroyLines<Life>(record, 0, 0));
        EXPECT_EQ(0U, liveBlocks());
    }
};

TEST_F(RecordContents, OfAPat)
{
    expectOrder<PatLife>(
        [](patSection &pat) {
            psiPatProgCreat(&pat.prog_info);
            psiPatProgCreat(&pat.prog_info);
        },
        {progFreed, progFreed, PatLife::destroyed()},
        {{1,
          {error("psiMem", "psiPatProgDestroy: progInfo zlst_delete failed!"),
           error("psiMem", "psiPatSectionDestroy: progInfo failed!")}},
         {2,
          {progFreed, error("psiMem", "psiPatProgDestroy: progInfo zlst_delete failed!"),
           error("psiMem", "psiPatSectionDestroy: progInfo failed!")}}});
}

TEST_F(RecordContents, OfAPmt)
{
    expectOrder<PmtLife>(
        [](pmtSection &pmt) {
            addDescriptor(&pmt.prog_descriptor);
            addDescriptor(&psiPmtEsCreat(&pmt.es_info)->es_descriptor);
        },
        {ownDescFreed, ownDescFreed, esFreed, PmtLife::destroyed()},
        {{1, {ownDescKept, error("psiMem", "psiPmtSectionDestroy: prog_descriptor descInfoDestroy failed!")}},
         {2,
          {ownDescFreed, error("psiMem", "psiPmtEsDestroy: esInfo zlst_delete failed!"),
           error("psiMem", "psiPmtSectionDestroy: esInfo psiPmtEsDestroy failed!")}}});
}

TEST_F(RecordContents, OfACat)
{
    expectOrder<CatLife>([](catSection &cat) { addDescriptor(&cat.cat_descriptor); },
                         {ownDescFreed, CatLife::destroyed()},
                         {{1, {ownDescKept, error("psiMem", "psiCatSectionDestroy: cat descInfoDestroy failed!")}}});
}

TEST_F(RecordContents, OfANit)
{
    expectOrder<NitLife>(
        [](nitSection &nit) {
            addDescriptor(&nit.net_descriptor);
            addDescriptor(&psiStreamInfoCreat(&nit.stream_info)->descriptor);
        },
        {ownDescFreed, ownDescFreed, ownStreamFreed, NitLife::destroyed()},
        {{1, {ownDescKept, error("psiMem", "psiNitSectionDestroy: nit descInfoDestroy failed!")}},
         {2,
          {ownDescFreed, error("psiMem", "psiStreamInfoDestroy: streamInfo zlst_delete failed!"),
           error("psiMem", "psiNitSectionDestroy: nit psiStreamInfoDestroy failed!")}}});
}

TEST_F(RecordContents, OfAnSdt)
{
    expectOrder<SdtLife>(
        [](sdtSection &sdt) { addDescriptor(&psiSdtServiceCreat(&sdt.service_info)->service_descriptor); },
        {ownDescFreed, serviceFreed, SdtLife::destroyed()},
        {{1,
          {error("psiMem", "psiSdtServiceDestroy: serviceInfo zlst_delete failed!"),
           error("psiMem", "psiSdtSectionDestroy: sdt psiSdtServiceDestroy failed!")}}});
}

TEST_F(RecordContents, OfABat)
{
    expectOrder<BatLife>(
        [](batSection &bat) {
            addDescriptor(&bat.bouquet_descriptor);
            addDescriptor(&psiStreamInfoCreat(&bat.stream_info)->descriptor);
        },
        {ownDescFreed, ownDescFreed, ownStreamFreed, BatLife::destroyed()},
        {{1, {ownDescKept, error("psiMem", "psiBatSectionDestroy: bat descInfoDestroy failed!")}},
         {2,
          {ownDescFreed, error("psiMem", "psiStreamInfoDestroy: streamInfo zlst_delete failed!"),
           error("psiMem", "psiSdtSectionDestroy: bat psiStreamInfoDestroy failed!")}}});
}

TEST_F(RecordContents, OfAnMgt)
{
    expectOrder<MgtLife>(
        [](mgtSection &mgt) {
            addDescriptor(&mgt.mgt_desc_info);
            mgtTableInfoCreat(&mgt.table_info);
        },
        {ownDescFreed, tableFreed, MgtLife::destroyed()},
        {{1, {ownDescKept, error("psiMem", "psiMgtSectionDestroy: mgt descInfoDestroy failed!")}},
         {2,
          {ownDescFreed, error("psiMem", "mgtTableInfoDestroy: mgtTableInfo zlst_delete failed!"),
           error("psiMem", "psiMgtSectionDestroy: bat mgtTableInfoDestroy failed!")}}});
}

TEST_F(RecordContents, OfAnEbit)
{
    expectOrder<EbitLife>(
        [](ebitSection &ebit) {
            ebitMessageCreat(&ebit.message);
            ebit.signature = ownBytes();
        },
        {info("psiMem", "ebitMessgeDestroy: free ebm OK!"), EbitLife::destroyed()},
        {{1,
          {error("psiMem", "ebitMessgeDestroy: ebm zlst_delete failed!"),
           error("psiMem", "psiEbitSectionDestroy: ebitSection ebitMessageDestroy failed")}}});
}

TEST_F(RecordContents, OfAnEbct)
{
    expectOrder<EbctLife>(
        [](ebctSection &ebct) {
            ebctContentCreat(&ebct.content)->message_text = ownBytes();
            ebct.signature = ownBytes();
        },
        {info("psiMem", "ebctContentDestroy: free content OK!"), EbctLife::destroyed()},
        {{1,
          {error("psiMem", "ebctContentDestroy: content zlst_delete failed!"),
           error("psiMem", "psiEbctSectionDestroy: ebctSection ebctContentDestroy failed")}}});
}

TEST_F(RecordContents, OfAnEbcat)
{
    expectOrder<EbcatLife>(
        [](ebcatSection &ebcat) {
            ebcatCalistCreat(&ebcat.calist)->ca_data = ownBytes();
            ebcatCtCreat(&ebcat.ct)->ct_data = ownBytes();
            ebcat.signature = ownBytes();
        },
        {calistFreed, ctFreed, EbcatLife::destroyed()},
        {{1,
          {error("psiMem", "ebcatCalistDestroy: caList zlst_delete failed!"),
           error("psiMem", "psiEbcatSectionDestroy: ebcatSection ebcatCalistDestroy failed")}},
         {2,
          {calistFreed, error("psiMem", "ebcatCtDestroy: ct zlst_delete failed!"),
           error("psiMem", "psiEbcatSectionDestroy: ebcatSection ebcatCtDestroy failed")}}});
}

TEST_F(RecordContents, OfAnEbcct)
{
    expectOrder<EbcctLife>(
        [](ebcctSection &ebcct) {
            ebcctCmdCreat(&ebcct.cmd)->cmd_data = ownBytes();
            ebcct.signature = ownBytes();
        },
        {info("psiMem", "ebcctCmdDestroy: free cmd OK!"), EbcctLife::destroyed()},
        {{1,
          {error("psiMem", "ebcctCmdDestroy: cmd zlst_delete failed!"),
           error("psiMem", "psiEbcctSectionDestroy: ebcctSection ebcctCmdDestroy failed")}}});
}

} // namespace
} // namespace psitest
