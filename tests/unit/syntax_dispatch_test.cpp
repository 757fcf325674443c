// syntaxAnalysePsi() and syntaxDestroyPsiSection(): arguments, dispatch by type, and what a failure leaves behind.
#include "support/faultInjection.h"
#include "support/fullSection.h"
#include "support/libraryFixture.h"
#include "support/syntaxTree.h"

namespace psitest {
namespace {

class SyntaxDispatch : public LibraryTest {
protected:
    /** @brief A call that has to fail: it allocates nothing that stays and leaves the caller's pointer alone. */
    void expectRefused(u32 type, const u8 *buf, u32 bufLen)
    {
        int before = 0;
        void *tree = &before;
        EXPECT_EQ(-1, syntaxAnalysePsi(type, &tree, buf, bufLen));
        EXPECT_EQ(&before, tree);
        EXPECT_EQ(0U, liveBlocks());
    }

    const Bytes pat = fullSection(PSI_PAT);
    const u32 patLen = static_cast<u32>(pat.size());
};

TEST_F(SyntaxDispatch, BadArgumentsAreRefusedInTheirOrder)
{
    EXPECT_EQ(-1, syntaxAnalysePsi(PSI_NO_TYPE, nullptr, nullptr, 0));
    EXPECT_LOG(log, error("psiAnalyse", "syntaxAnalysePsi: pointer is NULL!"));
    expectRefused(PSI_NO_TYPE, nullptr, 0);
    EXPECT_LOG(log, error("psiAnalyse", "syntaxAnalysePsi: buf is NULL!"));
    expectRefused(PSI_NO_TYPE, pat.data(), 0);
    EXPECT_LOG(log, error("psiAnalyse", "syntaxAnalysePsi: bufLen = 0!"));
}

TEST_F(SyntaxDispatch, TypesWithoutAParserAreWarnedOfWithoutAnAllocation)
{
    for (const u32 type : {8U, 10U, 11U, 16U, 17U, 256U, 0xFFFFFFFFU}) {
        EXPECT_EQ(0U, countCalls(Call::Malloc, [&] { expectRefused(type, pat.data(), patLen); }));
        EXPECT_LOG(log, warning("psiAnalyse", "syntaxAnalysePsi psiType = " + std::to_string(type) + ", not support!"));
    }
}

TEST_F(SyntaxDispatch, TypesWithoutAParserAreNotDestroyed)
{
    for (const u32 type : {8U, 10U, 11U, 16U, 17U, 256U, 0xFFFFFFFFU}) {
        ParsedTree tree(PSI_PAT, pat);
        EXPECT_EQ(-1, syntaxDestroyPsiSection(type, const_cast<patSection *>(tree.as<patSection>())));
        EXPECT_LOG(log, warning("psiAnalyse",
                                "syntaxDestroyPsiSection: psiType = " + std::to_string(type) + ", not support!"));
    }
}

TEST_F(SyntaxDispatch, DestroyingNullIsReportedWithALineEndOfItsOwn)
{
    for (const u32 type : {0U, 8U, 15U}) {
        EXPECT_EQ(-1, syntaxDestroyPsiSection(type, nullptr));
        const std::string printed = log.takeRaw();
        const std::string text = " error: syntaxDestroyPsiSection pointer is NULL\r\n\r\n";
        ASSERT_GT(printed.size(), text.size());
        EXPECT_EQ(text, printed.substr(printed.size() - text.size()));
        EXPECT_EQ(0U, printed.find("[../../psiAnalyse.cpp]line"));
    }
}

TEST_F(SyntaxDispatch, NothingIsPrintedBelowTheLevels)
{
    setPsiSchRPTLevel(0);
    EXPECT_EQ(-1, syntaxAnalysePsi(PSI_PAT, nullptr, nullptr, 0));
    EXPECT_EQ(-1, syntaxDestroyPsiSection(PSI_PAT, nullptr));
    setPsiSchRPTLevel(1);
    expectRefused(PSI_VCT, pat.data(), patLen);
    int other = 0;
    EXPECT_EQ(-1, syntaxDestroyPsiSection(PSI_VCT, &other));
    EXPECT_NO_LOG(log);
}

TEST_F(SyntaxDispatch, EveryTypeHasItsOwnTree)
{
    for (const u32 type : parsedTypes()) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        const Bytes section = fullSection(type);
        void *tree = nullptr;
        ASSERT_EQ(0, syntaxAnalysePsi(type, &tree, section.data(), static_cast<u32>(section.size())));
        ASSERT_NE(nullptr, tree);
        EXPECT_EQ(section[0], *static_cast<u8 *>(tree)) << "table_id";
        EXPECT_EQ(0, syntaxDestroyPsiSection(type, tree));
        EXPECT_EQ(0U, liveBlocks());
    }
    EXPECT_NO_LOG(log);
}

TEST_F(SyntaxDispatch, ActualAndOtherShareOneTree)
{
    const u32 pairs[][2] = {{PSI_SDT_ACTUAL, PSI_SDT_OTHER}, {PSI_NIT_ACTUAL, PSI_NIT_OTHER}};
    for (const auto &pair : pairs) {
        for (const u32 written : pair) {
            const Bytes section = fullSection(written);
            std::string first;
            for (const u32 parsedAs : pair) {
                void *tree = nullptr;
                ASSERT_EQ(0, syntaxAnalysePsi(parsedAs, &tree, section.data(), static_cast<u32>(section.size())));
                const std::string text = describeTree(parsedAs, tree);
                EXPECT_EQ(first.empty() ? text : first, text);
                first = text;
                EXPECT_EQ(0, syntaxDestroyPsiSection(parsedAs == pair[0] ? pair[1] : pair[0], tree));
            }
        }
    }
    EXPECT_EQ(0U, liveBlocks());
}

TEST_F(SyntaxDispatch, AFailedParseLeavesNothingAndThePointerAsItWas)
{
    for (const u32 type : parsedTypes()) {
        Bytes section = fullSection(type);
        section.back() ^= 1;
        expectRefused(type, section.data(), static_cast<u32>(section.size()));
    }
}

TEST_F(SyntaxDispatch, TheResultOfADestroyIsHandedOn)
{
    for (const u32 type : parsedTypes()) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        const Bytes section = fullSection(type);
        void *tree = nullptr;
        ASSERT_EQ(0, syntaxAnalysePsi(type, &tree, section.data(), static_cast<u32>(section.size())));
        {
            const FaultPlan plan(Call::Delete, 1);
            EXPECT_EQ(-1, syntaxDestroyPsiSection(type, tree));
        }
        EXPECT_EQ(0, syntaxDestroyPsiSection(type, tree));
    }
}

} // namespace
} // namespace psitest
