/**
 * @file makeFixture.h
 * @brief A make object whose sections a test can look at.
 */
#ifndef PSITEST_MAKE_FIXTURE_H
#define PSITEST_MAKE_FIXTURE_H

#include "support/faultInjection.h"
#include "support/libraryFixture.h"
#include "support/plainModel.h"

namespace psitest {

/** @brief The sections of one type on a section list, in its order. */
inline std::vector<sectionData *> sectionNodes(const tsInfo *model, u8 type)
{
    std::vector<sectionData *> nodes;
    for (sectionData *node : nodesOf(model->sectionList)) {
        if (node->psiType == type)
            nodes.push_back(node);
    }
    return nodes;
}

/** @brief Their bytes. */
inline std::vector<Bytes> sectionsOf(const tsInfo *model, u8 type)
{
    std::vector<Bytes> sections;
    for (const sectionData *node : sectionNodes(model, type))
        sections.push_back(bytesAt(node->buf, node->len));
    return sections;
}

/** @brief The sections of a list in its order; without the MGT, as expectedSections() gives them. */
inline std::vector<std::pair<u8, Bytes>> madeSections(const tsInfo *model)
{
    std::vector<std::pair<u8, Bytes>> all;
    for (const sectionData *node : nodesOf(model->sectionList)) {
        if (node->psiType != PSI_MGT)
            all.emplace_back(node->psiType, bytesAt(node->buf, node->len));
    }
    return all;
}

/**
 * @brief A make object, emptied and destroyed at the end.
 *
 * The report level of the other side is 0, so `log` has what the make side says, under its own level.
 */
class MakeTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        setPsiSchRPTLevel(0);
        id = psiMakeCreate();
        model = getMakeObjDataInfo(id);
        ASSERT_NE(nullptr, model);
        emptyBlocks = liveBlocks();
    }
    void TearDown() override
    {
        if (id != 0) {
            EXPECT_EQ(0, psiMakeDestroy(id));
        }
        LibraryTest::TearDown();
    }

    std::vector<Bytes> sections(u8 type) const { return sectionsOf(model, type); }
    std::vector<sectionData *> nodes(u8 type) const { return sectionNodes(model, type); }

    /** @brief Fill the model, generate, and hold the sections of the type against the expected ones. @return these */
    std::vector<Bytes> makeFrom(const PlainModel &plain, i32 (*generate)(tsInfo *), u8 type,
                                const std::vector<Bytes> &expected)
    {
        fillModel(model, plain);
        EXPECT_EQ(0, generate(model));
        EXPECT_EQ(expected, sections(type));
        return sections(type);
    }

    psiObjId id = 0;
    tsInfo *model = nullptr;
    u32 emptyBlocks = 0; /**< live blocks of an empty make object */
};

} // namespace psitest

#endif // PSITEST_MAKE_FIXTURE_H
