// Random models of every size: what is written, split, left out and refused is what the rules say.
#include "support/makeFixture.h"
#include "support/randomModel.h"

namespace psitest {
namespace {

/** @brief The sections of both standards; of the MGT only the rules of its own are interesting. */
struct Expected {
    Expected(const PlainModel &plain, Standard standard)
        : pat(expectedPat(plain)), cat(expectedCat(plain)),
          services(standard == dvb ? expectedSdt(plain) : expectedVct(plain))
    {
        for (const PlainProgram &program : plain.programs) {
            const Bytes pmt = expectedPmt(program);
            if (isMade(pmt, program))
                pmts.push_back(pmt);
            else
                ++refusedPmts;
        }
    }
    std::vector<Bytes> pat, pmts, cat, services;
    std::size_t refusedPmts = 0;
};

class MakeRandom : public MakeTest {
protected:
    void expectSections(const Expected &expected, Standard standard)
    {
        ASSERT_EQ(0, AutoMakeSection(id, standard));
        ASSERT_EQ(expected.pat, sections(PSI_PAT));
        ASSERT_EQ(expected.pmts, sections(PSI_PMT));
        ASSERT_EQ(expected.cat, sections(PSI_CAT));
        ASSERT_EQ(expected.services, sections(standard == dvb ? PSI_SDT_ACTUAL : PSI_VCT));
        ASSERT_EQ(2 * expected.refusedPmts, ofKind(log.take(), Kind::Error).size()) << "nothing else was refused";
    }
    /** @brief No section passes its limit; each is whole and numbered. */
    void expectLimits() const
    {
        for (const sectionData *node : nodesOf(model->sectionList)) {
            ASSERT_GE(node->psiType == PSI_PMT ? 4096 : 1024, node->len);
            ASSERT_EQ(0, psiCheckCrc(node->buf, node->len));
            ASSERT_EQ(node->sectionNo, node->buf[6]);
        }
    }
    void expectModel(const PlainModel &plain, Standard standard)
    {
        fillModel(model, plain);
        const std::string before = textOf(*model);
        const Expected expected(plain, standard);
        expectSections(expected, standard);
        expectLimits();
        expectSections(expected, standard); // a second time gives the same
        ASSERT_EQ(before, textOf(*model)) << "the model is only read";
        ASSERT_EQ(0, clearMakeTableInfo(id));
        ASSERT_EQ(emptyBlocks, liveBlocks());
        refusedPmts += expected.refusedPmts;
        splitTables += (expected.cat.size() > 1 ? 1U : 0U) + (expected.services.size() > 1 ? 1U : 0U);
    }
    void expectModels(const ModelLimits &limits, unsigned count)
    {
        RandomModels models(815, limits);
        for (const Standard standard : {dvb, atsc}) {
            for (unsigned i = 0; i < count && !HasFatalFailure(); ++i) {
                SCOPED_TRACE(testing::Message() << "standard " << standard << ", model " << i);
                PlainModel plain = models.next(standard);
                for (PlainProgram &program : plain.programs) {
                    if (standard == atsc)
                        program.name = counting(models.below(256));
                }
                expectModel(plain, standard);
            }
        }
    }

    std::size_t refusedPmts = 0; /**< in all models so far */
    std::size_t splitTables = 0;
};

TEST_F(MakeRandom, FewProgramsWithDescriptorsAndNamesOfEveryLength)
{
    expectModels({6, 8, 6, 255, 251, 255, 255}, 100);
    EXPECT_LT(50U, refusedPmts);
    EXPECT_LT(100U, splitTables);
}

TEST_F(MakeRandom, ManyProgramsWithFewDescriptors)
{
    expectModels({120, 3, 1, 60, 30, 40, 60}, 40);
    EXPECT_LT(60U, splitTables);
}

TEST_F(MakeRandom, ProgramsOfManyStreams)
{
    expectModels({2, 900, 0, 0, 0, 10, 10}, 40);
    EXPECT_LT(5U, refusedPmts);
}

TEST_F(MakeRandom, TablesOfManyDescriptors)
{
    expectModels({1, 1, 60, 255, 251, 0, 0}, 40);
    EXPECT_LT(70U, splitTables);
}

TEST_F(MakeRandom, SixHundredProgramsInBothStandards)
{
    RandomModels models(600, {1, 2, 1, 30, 12, 20, 20});
    for (const Standard standard : {dvb, atsc}) {
        PlainModel plain = models.next(standard);
        for (u16 number = 2; plain.programs.size() < 600; ++number) {
            plain.programs.push_back(models.next(standard).programs[0]);
            plain.programs.back().progNo = static_cast<u16>(number * 100);
        }
        plain.programs[0].progNo = 100;
        expectModel(plain, standard);
    }
}

} // namespace
} // namespace psitest
