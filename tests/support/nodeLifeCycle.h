/**
 * @file nodeLifeCycle.h
 * @brief The tests that every create and destroy operation of a list node has to pass.
 *
 * For a node type, write a traits struct and instantiate the suite:
 * @code
 * struct DescInfoLife {
 *     using Node = descInfo;
 *     static Node *create(Node **head) { return descInfoCreat(head); }
 *     static i32 destroy(Node **head, Node *node) { return descInfoDestroy(head, node, 0); }
 *     static NodeLines lines() { return nodeLines({"descInfoCreat: ERROR! headDescInfo is NULL!", ...}); }
 * };
 * INSTANTIATE_TYPED_TEST_SUITE_P(Model, NodeLifeCycle, testing::Types<DescInfoLife>);
 * @endcode
 */
#ifndef PSITEST_NODE_LIFE_CYCLE_H
#define PSITEST_NODE_LIFE_CYCLE_H

#include "support/faultInjection.h"
#include "support/libraryFixture.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace psitest {

/** @brief What the operations of a node type log. */
struct NodeLines {
    LogLine creatNoHead;
    LogLine creatNoMemory;
    LogLine creatNoPush;
    LogLine destroyNoHead;
    LogLine destroyEmpty;
    LogLine destroyNoNode;
    LogLine destroyNoDelete;
    LogLine destroyed;
};

/**
 * @brief The lines of a type of psiMem.
 * @param texts in the order of NodeLines
 * @param badArgument kind of the lines about null arguments and an empty list
 */
inline NodeLines nodeLines(const std::array<const char *, 8> &texts, Kind badArgument = Kind::Error)
{
    const auto argument = [&](std::size_t i) {
        LogLine line = error("psiMem", texts[i]);
        line.kind = badArgument;
        return line;
    };
    return {argument(0), error("psiMem", texts[1]), error("psiMem", texts[2]), argument(3), argument(4),
            argument(5), error("psiMem", texts[6]), info("psiMem", texts[7])};
}

template <typename Life> class NodeLifeCycle : public LibraryTest {
protected:
    using Node = typename Life::Node;

    void TearDown() override
    {
        log.clear();
        while (head != nullptr && Life::destroy(&head, head) == 0) {
        }
        LibraryTest::TearDown();
    }

    /** @brief Leave rubbish in the blocks that the pool will hand out next. */
    static void soilPool()
    {
        std::array<void *, 8> blocks = {};
        for (void *&block : blocks) {
            block = psi_buddy_malloc(sizeof(Node));
            std::memset(block, 0xEE, sizeof(Node));
        }
        for (void *block : blocks)
            psi_buddy_free(block);
    }

    const NodeLines lines = Life::lines();
    Node *head = nullptr;
};

TYPED_TEST_SUITE_P(NodeLifeCycle);

TYPED_TEST_P(NodeLifeCycle, CreateAppendsAZeroedNode)
{
    this->soilPool();
    auto *first = TypeParam::create(&this->head);
    auto *second = TypeParam::create(&this->head);
    ASSERT_NE(nullptr, second);
    EXPECT_EQ((std::vector{first, second}), nodesOf(this->head));
    const u8 *bytes = reinterpret_cast<const u8 *>(second);
    EXPECT_EQ(repeated(sizeof *second - sizeof(zlstNode), 0), Bytes(bytes + sizeof(zlstNode), bytes + sizeof *second));
    EXPECT_EQ(2U, this->liveBlocks());
    EXPECT_NO_LOG(this->log);
}

TYPED_TEST_P(NodeLifeCycle, CreateRefusesANullHead)
{
    EXPECT_EQ(nullptr, TypeParam::create(nullptr));
    EXPECT_LOG(this->log, this->lines.creatNoHead);
}

TYPED_TEST_P(NodeLifeCycle, CreateReportsAnExhaustedPool)
{
    const FaultPlan plan(Call::Malloc, 1);
    EXPECT_EQ(nullptr, TypeParam::create(&this->head));
    EXPECT_EQ(nullptr, this->head);
    EXPECT_LOG(this->log, this->lines.creatNoMemory);
}

TYPED_TEST_P(NodeLifeCycle, CreateFreesTheNodeThatCannotBePushed)
{
    const FaultPlan plan(Call::Push, 1);
    EXPECT_EQ(nullptr, TypeParam::create(&this->head));
    EXPECT_EQ(nullptr, this->head);
    EXPECT_EQ(0U, this->liveBlocks());
    EXPECT_LOG(this->log, this->lines.creatNoPush);
}

TYPED_TEST_P(NodeLifeCycle, DestroyUnlinksAndFreesAnyNode)
{
    auto *first = TypeParam::create(&this->head);
    auto *middle = TypeParam::create(&this->head);
    auto *last = TypeParam::create(&this->head);
    setPsiSchRPTLevel(3);
    EXPECT_EQ(0, TypeParam::destroy(&this->head, middle));
    EXPECT_EQ((std::vector{first, last}), nodesOf(this->head));
    EXPECT_EQ(0, TypeParam::destroy(&this->head, last));
    EXPECT_EQ(0, TypeParam::destroy(&this->head, first));
    EXPECT_EQ(nullptr, this->head);
    EXPECT_EQ(0U, this->liveBlocks());
    EXPECT_LOG(this->log, this->lines.destroyed, this->lines.destroyed, this->lines.destroyed);
}

TYPED_TEST_P(NodeLifeCycle, DestroyIsSilentAtTheLevelOfTheStart)
{
    auto *node = TypeParam::create(&this->head);
    EXPECT_EQ(0, TypeParam::destroy(&this->head, node));
    EXPECT_NO_LOG(this->log);
}

TYPED_TEST_P(NodeLifeCycle, DestroyRefusesBadArguments)
{
    EXPECT_EQ(-1, TypeParam::destroy(nullptr, nullptr));
    EXPECT_LOG(this->log, this->lines.destroyNoHead);

    typename TypeParam::Node stranger = {};
    EXPECT_EQ(-1, TypeParam::destroy(&this->head, &stranger)) << "the list is empty, the node is not null";
    EXPECT_EQ(-1, TypeParam::destroy(&this->head, nullptr));
    EXPECT_LOG(this->log, this->lines.destroyEmpty, this->lines.destroyEmpty);

    auto *node = TypeParam::create(&this->head);
    EXPECT_EQ(-1, TypeParam::destroy(&this->head, nullptr));
    EXPECT_LOG(this->log, this->lines.destroyNoNode);
    EXPECT_EQ(-1, TypeParam::destroy(&this->head, &stranger));
    EXPECT_LOG(this->log, this->lines.destroyNoDelete);
    EXPECT_EQ(std::vector{node}, nodesOf(this->head));
}

TYPED_TEST_P(NodeLifeCycle, DestroyKeepsTheNodeThatCannotBeUnlinked)
{
    auto *node = TypeParam::create(&this->head);
    const FaultPlan plan(Call::Delete, 1);
    EXPECT_EQ(-1, TypeParam::destroy(&this->head, node));
    EXPECT_EQ(std::vector{node}, nodesOf(this->head));
    EXPECT_EQ(1U, this->liveBlocks());
    EXPECT_LOG(this->log, this->lines.destroyNoDelete);
}

TYPED_TEST_P(NodeLifeCycle, LevelZeroSilencesEverything)
{
    setPsiSchRPTLevel(0);
    EXPECT_EQ(nullptr, TypeParam::create(nullptr));
    EXPECT_EQ(-1, TypeParam::destroy(nullptr, nullptr));
    EXPECT_EQ(-1, TypeParam::destroy(&this->head, nullptr));
    auto *node = TypeParam::create(&this->head);
    EXPECT_EQ(0, TypeParam::destroy(&this->head, node));
    EXPECT_NO_LOG(this->log);
}

REGISTER_TYPED_TEST_SUITE_P(NodeLifeCycle, CreateAppendsAZeroedNode, CreateRefusesANullHead,
                            CreateReportsAnExhaustedPool, CreateFreesTheNodeThatCannotBePushed,
                            DestroyUnlinksAndFreesAnyNode, DestroyIsSilentAtTheLevelOfTheStart,
                            DestroyRefusesBadArguments, DestroyKeepsTheNodeThatCannotBeUnlinked,
                            LevelZeroSilencesEverything);

} // namespace psitest

#endif // PSITEST_NODE_LIFE_CYCLE_H
