#include "asan.h"
#include "psi.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace {

struct Node {
    zlstNode link;
    int value;
};

Node *nextOf(const Node *node)
{
    return static_cast<Node *>(node->link.next);
}

std::vector<const Node *> nodesOf(const Node *head)
{
    std::vector<const Node *> nodes;
    for (; head != nullptr; head = nextOf(head)) {
        nodes.push_back(head);
    }
    return nodes;
}

void fillSpareWords(Node &node, int byte)
{
    std::memset(node.link.spare, byte, sizeof node.link.spare);
}

/** Longer than what the library looks through before it asks its cache. */
constexpr std::size_t longList = 100;

/** A list of so many nodes, made by zlst_push(). */
class PushedList {
public:
    explicit PushedList(std::size_t size) : nodes_(size)
    {
        for (Node &node : nodes_) {
            EXPECT_EQ(zlst_push(&head, &node), 0);
        }
    }
    Node &operator[](std::size_t index) { return nodes_[index]; }
    std::vector<const Node *> all(std::size_t from = 0) const { return allBut(from, {}); }
    std::vector<const Node *> allBut(std::size_t from, const std::vector<std::size_t> &left) const
    {
        std::vector<const Node *> result;
        for (std::size_t i = from; i < nodes_.size(); i++) {
            if (std::find(left.begin(), left.end(), i) == left.end()) {
                result.push_back(&nodes_[i]);
            }
        }
        return result;
    }
    std::size_t size() const { return nodes_.size(); }

    Node *head = nullptr;

private:
    std::vector<Node> nodes_;
};

std::vector<const Node *> operator+(std::vector<const Node *> left, const std::vector<const Node *> &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

using Nodes = std::vector<const Node *>;

/** Everything below holds for a short list and for one that is longer than what is looked through. */
class Zlst : public testing::TestWithParam<std::size_t> {};

INSTANTIATE_TEST_SUITE_P(Lengths, Zlst, testing::Values(5, 15, 16, 17, 18, longList),
                         testing::PrintToStringParamName());

TEST(ZlstArguments, NullIsRefused)
{
    Node *head = nullptr;
    Node node = {};
    EXPECT_NE(zlst_push(nullptr, &node), 0);
    EXPECT_NE(zlst_push(&head, nullptr), 0);
    EXPECT_EQ(head, nullptr);
    EXPECT_EQ(zlst_delete(nullptr, &node), 0);
    EXPECT_EQ(zlst_delete(&head, &node), 0);
    EXPECT_EQ(zlst_push(&head, &node), 0);
    EXPECT_EQ(zlst_delete(&head, nullptr), 0);
    EXPECT_EQ(head, &node);
}

TEST_P(Zlst, PushKeepsTheOrderOfThePushes)
{
    const PushedList list(GetParam());
    EXPECT_EQ(nodesOf(list.head), list.all());
}

TEST_P(Zlst, PushRefusesANodeThatIsOnTheListAlready)
{
    PushedList list(GetParam());
    for (std::size_t i = 0; i < list.size(); i++) {
        EXPECT_NE(zlst_push(&list.head, &list[i]), 0) << i;
    }
    EXPECT_EQ(nodesOf(list.head), list.all());
}

TEST_P(Zlst, DeleteTakesOutEveryPosition)
{
    for (std::size_t i = 0; i < GetParam(); i++) {
        PushedList list(GetParam());
        EXPECT_NE(zlst_delete(&list.head, &list[i]), 0) << i;
        EXPECT_EQ(nodesOf(list.head), list.allBut(0, {i})) << i;
        EXPECT_EQ(zlst_delete(&list.head, &list[i]), 0) << i;
    }
}

TEST_P(Zlst, DeleteClearsTheLinkWords)
{
    PushedList list(GetParam());
    const zlstNode cleared = {};
    for (std::size_t i = list.size(); i-- > 0;) {
        ASSERT_NE(zlst_delete(&list.head, &list[i]), 0);
        EXPECT_EQ(std::memcmp(&list[i].link, &cleared, sizeof cleared), 0) << i;
    }
    EXPECT_EQ(list.head, nullptr);
}

TEST_P(Zlst, DeletingTheFirstUntilEmptyWorks)
{
    PushedList list(GetParam());
    for (std::size_t i = 0; i < list.size(); i++) {
        ASSERT_EQ(nodesOf(list.head), list.all(i));
        ASSERT_NE(zlst_delete(&list.head, list.head), 0);
    }
    EXPECT_EQ(list.head, nullptr);
}

TEST_P(Zlst, PushAfterDeletingTheLastAppends)
{
    PushedList list(GetParam());
    ASSERT_NE(zlst_delete(&list.head, &list[list.size() - 1]), 0);
    Node more = {};
    ASSERT_EQ(zlst_push(&list.head, &more), 0);
    EXPECT_EQ(nodesOf(list.head), list.allBut(0, {list.size() - 1}) + Nodes{&more});
}

TEST_P(Zlst, ForeignNodeIsNotDeleted)
{
    PushedList list(GetParam());
    PushedList other(GetParam());
    Node loose = {};
    EXPECT_EQ(zlst_delete(&list.head, &loose), 0);
    EXPECT_EQ(zlst_delete(&list.head, &other[0]), 0);
    EXPECT_EQ(zlst_delete(&list.head, &other[other.size() - 1]), 0);
    EXPECT_EQ(nodesOf(list.head), list.all());
    EXPECT_EQ(nodesOf(other.head), other.all());
}

TEST_P(Zlst, NodesMayHoldGarbageBeforeThePush)
{
    Node *head = nullptr;
    std::vector<Node> nodes(GetParam());
    Nodes expected;
    for (Node &node : nodes) {
        std::memset(&node, 0xA5, sizeof node);
        ASSERT_EQ(zlst_push(&head, &node), 0);
        expected.push_back(&node);
    }
    EXPECT_EQ(nodesOf(head), expected);
}

TEST_P(Zlst, CopiedHeadServesTheSameList)
{
    PushedList list(GetParam());
    Node *copy = list.head;
    list.head = nullptr;
    Node more = {};
    ASSERT_EQ(zlst_push(&copy, &more), 0);
    EXPECT_EQ(nodesOf(copy), list.all() + Nodes{&more});
    ASSERT_NE(zlst_delete(&copy, &list[list.size() / 2]), 0);
    EXPECT_EQ(nodesOf(copy), list.allBut(0, {list.size() / 2}) + Nodes{&more});
}

TEST_P(Zlst, ResetHeadStartsANewListWithTheOldNodes)
{
    PushedList list(GetParam());
    list.head = nullptr;
    Nodes expected;
    for (std::size_t i = list.size(); i-- > 0;) {
        ASSERT_EQ(zlst_push(&list.head, &list[i]), 0) << i;
        expected.push_back(&list[i]);
    }
    EXPECT_EQ(nodesOf(list.head), expected);
}

TEST_P(Zlst, OldNodesMayJoinAnotherListAfterAReset)
{
    PushedList list(GetParam());
    PushedList other(GetParam());
    other.head = nullptr;
    for (std::size_t i = 0; i < other.size(); i++) {
        ASSERT_EQ(zlst_push(&list.head, &other[i]), 0) << i;
    }
    EXPECT_EQ(nodesOf(list.head), list.all() + other.all());
}

TEST_P(Zlst, HeadMayMoveOnByHand)
{
    for (std::size_t steps = 1; steps < 4; steps++) {
        PushedList list(GetParam());
        for (std::size_t i = 0; i < steps; i++) {
            list.head = nextOf(list.head);
            std::memset(&list[i], 0xDD, sizeof(Node));
        }
        Node more = {};
        ASSERT_EQ(zlst_push(&list.head, &more), 0);
        EXPECT_EQ(nodesOf(list.head), list.all(steps) + Nodes{&more});
    }
}

TEST_P(Zlst, DeleteWorksAfterTheHeadMovedOnByHand)
{
    for (std::size_t i = 1; i < GetParam(); i++) {
        PushedList list(GetParam());
        list.head = nextOf(list.head);
        std::memset(&list[0], 0xDD, sizeof(Node));
        EXPECT_EQ(zlst_delete(&list.head, &list[0]), 0);
        EXPECT_NE(zlst_delete(&list.head, &list[i]), 0);
        EXPECT_EQ(nodesOf(list.head), list.allBut(1, {i}));
    }
}

TEST_P(Zlst, FirstNodeMayMoveToTheEndOfItsOwnList)
{
    PushedList list(GetParam());
    list.head = nextOf(list.head);
    ASSERT_EQ(zlst_push(&list.head, &list[0]), 0);
    EXPECT_EQ(nodesOf(list.head), list.all(1) + Nodes{&list[0]});
}

TEST_P(Zlst, PushAppendsBehindJoinedLists)
{
    PushedList list(GetParam());
    PushedList other(GetParam());
    list[list.size() - 1].link.next = other.head;
    Node more = {};
    ASSERT_EQ(zlst_push(&list.head, &more), 0);
    EXPECT_EQ(nodesOf(list.head), list.all() + other.all() + Nodes{&more});
}

TEST_P(Zlst, DeleteWorksOnBothPartsOfJoinedLists)
{
    for (std::size_t i = 0; i < GetParam(); i++) {
        PushedList list(GetParam());
        PushedList other(GetParam());
        list[list.size() - 1].link.next = other.head;
        ASSERT_NE(zlst_delete(&list.head, &other[i]), 0) << i;
        ASSERT_EQ(nodesOf(list.head), list.all() + other.allBut(0, {i})) << i;
        ASSERT_NE(zlst_delete(&list.head, &list[i]), 0) << i;
        ASSERT_EQ(nodesOf(list.head), list.allBut(0, {i}) + other.allBut(0, {i})) << i;
    }
}

TEST_P(Zlst, LastNodeOfTheFrontPartOfJoinedListsLeavesNoTrace)
{
    PushedList list(GetParam());
    PushedList other(GetParam());
    {
        const auto joint = std::make_unique<Node>();
        ASSERT_EQ(zlst_push(&list.head, joint.get()), 0);
        joint->link.next = other.head;
        ASSERT_NE(zlst_delete(&list.head, joint.get()), 0);
    }
    Node more = {};
    ASSERT_EQ(zlst_push(&list.head, &more), 0);
    EXPECT_EQ(nodesOf(list.head), list.all() + other.all() + Nodes{&more});
}

TEST_P(Zlst, SingleNodePutInFrontByHandLeavesNoTrace)
{
    PushedList list(GetParam());
    Node *head = nullptr;
    {
        const auto single = std::make_unique<Node>();
        ASSERT_EQ(zlst_push(&head, single.get()), 0);
        single->link.next = list.head;
        ASSERT_NE(zlst_delete(&head, single.get()), 0);
    }
    Node more = {};
    ASSERT_EQ(zlst_push(&head, &more), 0);
    EXPECT_EQ(nodesOf(head), list.all() + Nodes{&more});
}

TEST_P(Zlst, ListCopiedNodeByNodeIsAListOfItsOwn)
{
    PushedList list(GetParam());
    std::vector<Node> copies;
    for (std::size_t i = 0; i < list.size(); i++) {
        copies.push_back(list[i]);
    }
    Nodes expected;
    for (std::size_t i = 0; i < copies.size(); i++) {
        copies[i].link.next = i + 1 < copies.size() ? &copies[i + 1] : nullptr;
        expected.push_back(&copies[i]);
    }
    Node *head = copies.data();
    Node more = {};
    ASSERT_EQ(zlst_push(&head, &more), 0);
    EXPECT_EQ(nodesOf(head), expected + Nodes{&more});
    EXPECT_EQ(nodesOf(list.head), list.all());
}

TEST_P(Zlst, NodesChainedByHandArePushedBehindAndDeleted)
{
    for (const int byte : {0x00, 0xFF, 0xA5}) {
        std::vector<Node> nodes(GetParam());
        Nodes expected;
        for (std::size_t i = 0; i < nodes.size(); i++) {
            fillSpareWords(nodes[i], byte);
            nodes[i].link.next = i + 1 < nodes.size() ? &nodes[i + 1] : nullptr;
            expected.push_back(&nodes[i]);
        }
        Node *head = nodes.data();
        EXPECT_NE(zlst_push(&head, &nodes.back()), 0);
        EXPECT_NE(zlst_push(&head, &nodes[1]), 0);
        Node more = {};
        ASSERT_EQ(zlst_push(&head, &more), 0);
        EXPECT_EQ(nodesOf(head), expected + Nodes{&more});
        fillSpareWords(nodes.back(), byte);
        ASSERT_NE(zlst_delete(&head, &nodes.back()), 0);
        expected.pop_back();
        EXPECT_EQ(nodesOf(head), expected + Nodes{&more});
    }
}

TEST_P(Zlst, NodePutInFrontByHandIsTheFirst)
{
    PushedList list(GetParam());
    Node front = {};
    fillSpareWords(front, 0xA5);
    front.link.next = list.head;
    list.head = &front;
    Node more = {};
    ASSERT_EQ(zlst_push(&list.head, &more), 0);
    EXPECT_EQ(nodesOf(list.head), Nodes{&front} + list.all() + Nodes{&more});
    ASSERT_NE(zlst_delete(&list.head, &front), 0);
    EXPECT_EQ(nodesOf(list.head), list.all() + Nodes{&more});
}

TEST_P(Zlst, NodePutIntoTheMiddleByHandIsKeptAndDeleted)
{
    PushedList list(GetParam());
    const std::size_t after = list.size() - 3;
    Node middle = {};
    fillSpareWords(middle, 0xA5);
    middle.link.next = list[after].link.next;
    list[after].link.next = &middle;
    ASSERT_NE(zlst_delete(&list.head, &list[after + 1]), 0);
    ASSERT_NE(zlst_delete(&list.head, &middle), 0);
    EXPECT_EQ(nodesOf(list.head), list.allBut(0, {after + 1}));
}

TEST_P(Zlst, LastNodeCutOffByHandIsOffTheList)
{
    PushedList list(GetParam());
    const std::size_t last = list.size() - 1;
    list[last - 1].link.next = nullptr;
    EXPECT_EQ(zlst_delete(&list.head, &list[last]), 0);
    Node more = {};
    ASSERT_EQ(zlst_push(&list.head, &more), 0);
    ASSERT_EQ(zlst_push(&list.head, &list[last]), 0);
    EXPECT_EQ(nodesOf(list.head), (list.allBut(0, {last}) + Nodes{&more, &list[last]}));
}

TEST_P(Zlst, NodeSkippedByHandIsOffTheList)
{
    PushedList list(GetParam());
    const std::size_t skipped = list.size() - 2;
    list[skipped - 1].link.next = &list[skipped + 1];
    EXPECT_EQ(zlst_delete(&list.head, &list[skipped]), 0);
    ASSERT_NE(zlst_delete(&list.head, &list[skipped + 1]), 0);
    EXPECT_EQ(nodesOf(list.head), list.allBut(0, {skipped, skipped + 1}));
    ASSERT_EQ(zlst_push(&list.head, &list[skipped]), 0);
    EXPECT_EQ(nodesOf(list.head), list.allBut(0, {skipped, skipped + 1}) + Nodes{&list[skipped]});
}

TEST_P(Zlst, CopiedNodeIsNotTakenForTheOriginal)
{
    PushedList list(GetParam());
    Node copy = list[list.size() - 1];
    EXPECT_EQ(zlst_delete(&list.head, &copy), 0);
    Node *head = nullptr;
    ASSERT_EQ(zlst_push(&head, &copy), 0);
    EXPECT_EQ(nodesOf(head), Nodes{&copy});
    EXPECT_EQ(nodesOf(list.head), list.all());
}

TEST_P(Zlst, WordsWipedByTheHostAreMadeUpFor)
{
    PushedList list(GetParam());
    for (std::size_t i = 0; i < list.size(); i += 2) {
        fillSpareWords(list[i], 0);
    }
    ASSERT_NE(zlst_delete(&list.head, &list[list.size() - 2]), 0);
    Node more = {};
    ASSERT_EQ(zlst_push(&list.head, &more), 0);
    EXPECT_EQ(nodesOf(list.head), list.allBut(0, {list.size() - 2}) + Nodes{&more});
}

/** What no look at the first node and the last one tells; the header says so, and what a host has to do. */
TEST_P(Zlst, ListCutByHandIsTwoListsOnceTheWordsOfItsFirstNodeAreZeroed)
{
    for (std::size_t cut = 1; cut < GetParam(); cut++) {
        PushedList list(GetParam());
        list[cut - 1].link.next = nullptr;
        fillSpareWords(list[0], 0);
        Node *rest = &list[cut];
        EXPECT_EQ(zlst_delete(&list.head, &list[cut]), 0);
        EXPECT_EQ(zlst_delete(&list.head, &list[list.size() - 1]), 0);
        Node more = {};
        ASSERT_EQ(zlst_push(&list.head, &more), 0);
        EXPECT_EQ(nodesOf(list.head).size(), cut + 1);
        EXPECT_EQ(nodesOf(list.head).back(), &more);
        EXPECT_EQ(nodesOf(rest), list.all(cut));
        Node last = {};
        ASSERT_EQ(zlst_push(&rest, &last), 0);
        EXPECT_EQ(nodesOf(rest), list.all(cut) + Nodes{&last});
        EXPECT_EQ(nodesOf(list.head).back(), &more);
    }
}

TEST_P(Zlst, NodeChainedInByHandIsKnownOnceTheWordsOfTheFirstNodeAreZeroed)
{
    for (std::size_t after = 0; after + 1 < GetParam(); after++) {
        PushedList list(GetParam());
        Node middle = {};
        fillSpareWords(middle, 0xA5);
        middle.link.next = list[after].link.next;
        list[after].link.next = &middle;
        fillSpareWords(list[0], 0);
        EXPECT_NE(zlst_push(&list.head, &middle), 0) << after;
        EXPECT_EQ(nodesOf(list.head).size(), list.size() + 1);
    }
}

TEST_P(Zlst, NodeChainedBehindTheLastByHandIsKnown)
{
    PushedList list(GetParam());
    Node last = {};
    fillSpareWords(last, 0xA5);
    last.link.next = nullptr;
    list[list.size() - 1].link.next = &last;
    EXPECT_NE(zlst_push(&list.head, &last), 0);
    EXPECT_EQ(nodesOf(list.head), list.all() + Nodes{&last});
}

TEST_P(Zlst, RemainsOfANodeThatWasFreedAreNotFollowed)
{
    PushedList list(GetParam());
    const std::size_t last = list.size() - 1;
    list[last - 1].link.next = nullptr;
    list[last].link.spare[0] = 1; // an allocator's own word
    Node more = {};
    ASSERT_EQ(zlst_push(&list.head, &more), 0);
    EXPECT_EQ(nodesOf(list.head), list.allBut(0, {last}) + Nodes{&more});
}

/* ---------------------------------------------------------------------------------------------------------------- */

/** A long list that ends in its middle for anyone who walks it. */
class CutInTheMiddle {
public:
    explicit CutInTheMiddle(PushedList &list) : node_(list[list.size() / 2].link), next_(node_.next)
    {
        node_.next = nullptr;
    }
    ~CutInTheMiddle() { node_.next = next_; }
    CutInTheMiddle(const CutInTheMiddle &) = delete;
    CutInTheMiddle &operator=(const CutInTheMiddle &) = delete;

private:
    zlstNode &node_;
    void *next_;
};

/** Both calls work at the far end of the list without having walked there; `left` are the nodes not on it. */
void expectConstantTime(PushedList &list, std::vector<std::size_t> left)
{
    const std::size_t last = list.size() - 1;
    Node more = {};
    {
        const CutInTheMiddle cut(list);
        EXPECT_EQ(zlst_push(&list.head, &more), 0);
        EXPECT_NE(zlst_delete(&list.head, &list[last]), 0);
        EXPECT_NE(zlst_delete(&list.head, &list[last - 1]), 0);
        EXPECT_NE(zlst_delete(&list.head, &more), 0);
        EXPECT_EQ(zlst_push(&list.head, &more), 0);
    }
    left.insert(left.end(), {last, last - 1});
    EXPECT_EQ(nodesOf(list.head), list.allBut(0, left) + Nodes{&more});
    EXPECT_NE(zlst_delete(&list.head, &more), 0);
}

TEST(ZlstConstantTime, OnAPushedList)
{
    PushedList list(longList);
    expectConstantTime(list, {});
}

TEST(ZlstConstantTime, AfterDeletesAnywhere)
{
    PushedList list(longList);
    for (const std::size_t i : {0U, 1U, 30U, 70U}) {
        ASSERT_NE(zlst_delete(&list.head, &list[i]), 0);
    }
    expectConstantTime(list, {0, 1, 30, 70});
}

TEST(ZlstConstantTime, OfDeletesNextToEachOther)
{
    PushedList list(longList);
    {
        const CutInTheMiddle cut(list);
        for (std::size_t i = 80; i < 90; i++) {
            EXPECT_NE(zlst_delete(&list.head, &list[i]), 0) << i;
        }
    }
    EXPECT_EQ(nodesOf(list.head), list.allBut(0, {80, 81, 82, 83, 84, 85, 86, 87, 88, 89}));
}

TEST(ZlstConstantTime, AgainAfterAPushBehindAHeadMovedByHand)
{
    PushedList list(longList);
    list.head = nextOf(list.head);
    Node more = {};
    ASSERT_EQ(zlst_push(&list.head, &more), 0);
    ASSERT_NE(zlst_delete(&list.head, &more), 0);
    expectConstantTime(list, {0});
}

TEST(ZlstConstantTime, AgainAfterADeleteBehindAHeadMovedByHand)
{
    PushedList list(longList);
    list.head = nextOf(list.head);
    ASSERT_NE(zlst_delete(&list.head, &list[60]), 0);
    expectConstantTime(list, {0, 60});
}

TEST(ZlstConstantTime, AgainAfterAPushBehindJoinedLists)
{
    PushedList front(3);
    PushedList list(longList);
    front[2].link.next = list.head;
    list.head = front.head;
    Node more = {};
    ASSERT_EQ(zlst_push(&list.head, &more), 0);
    {
        const CutInTheMiddle cut(list);
        EXPECT_NE(zlst_delete(&list.head, &list[80]), 0);
        EXPECT_NE(zlst_delete(&list.head, &more), 0);
    }
    EXPECT_EQ(nodesOf(list.head), front.all() + list.allBut(0, {80}));
}

TEST(ZlstConstantTime, AgainAfterAPushBehindNodesChainedByHand)
{
    PushedList list(longList);
    for (std::size_t i = 40; i < longList; i++) {
        fillSpareWords(list[i], 0xA5);
    }
    Node more = {};
    ASSERT_EQ(zlst_push(&list.head, &more), 0);
    ASSERT_NE(zlst_delete(&list.head, &more), 0);
    expectConstantTime(list, {});
}

TEST(ZlstConstantTime, AgainAfterADeleteAmongNodesChainedByHand)
{
    PushedList list(longList);
    for (std::size_t i = 40; i < longList; i++) {
        fillSpareWords(list[i], 0xA5);
    }
    ASSERT_NE(zlst_delete(&list.head, &list[60]), 0);
    expectConstantTime(list, {60});
}

/* ---------------------------------------------------------------------------------------------------------------- */

#ifdef PSI_ASAN
constexpr bool freedMemoryIsSeen = true;
#else
constexpr bool freedMemoryIsSeen = false;
#endif

/** Nodes come from malloc(), so that AddressSanitizer sees whoever touches one that was freed. */
class HostileHost {
public:
    explicit HostileHost(unsigned seed, std::size_t most) : random_(seed), most_(most) {}
    ~HostileHost()
    {
        while (!model_.empty()) {
            dropFirst();
        }
    }
    HostileHost(const HostileHost &) = delete;
    HostileHost &operator=(const HostileHost &) = delete;

    void step()
    {
        using Action = void (HostileHost::*)();
        static constexpr std::array<Action, 16> actions = {
            &HostileHost::push,         &HostileHost::push,       &HostileHost::push,       &HostileHost::push,
            &HostileHost::push,         &HostileHost::push,       &HostileHost::erase,      &HostileHost::erase,
            &HostileHost::erase,        &HostileHost::eraseFirst, &HostileHost::foreign,    &HostileHost::dropFirst,
            &HostileHost::chainInFront, &HostileHost::join,       &HostileHost::moveToCopy, &HostileHost::skip,
        };
        (this->*actions[random_() % actions.size()])();
        if (model_.size() > most_) {
            clear();
        }
    }

    void check() const { ASSERT_EQ(nodesOf(head_), Nodes(model_.begin(), model_.end())); }

private:
    static Node *make()
    {
        auto *node = static_cast<Node *>(std::malloc(sizeof(Node)));
        std::memset(node, 0xA5, sizeof *node);
        return node;
    }

    std::list<Node *>::iterator pick()
    {
        return std::next(model_.begin(), static_cast<long>(random_() % model_.size()));
    }

    void push()
    {
        Node *node = make();
        ASSERT_EQ(zlst_push(&head_, node), 0);
        model_.push_back(node);
    }

    void erase()
    {
        if (model_.empty()) {
            return;
        }
        const auto at = pick();
        if (model_.size() <= 16) { // in a longer one it may stand where the host chained by hand
            ASSERT_NE(zlst_push(&head_, *at), 0);
        }
        ASSERT_NE(zlst_delete(&head_, *at), 0);
        std::free(*at);
        model_.erase(at);
    }

    void eraseFirst()
    {
        if (!model_.empty()) {
            ASSERT_NE(zlst_delete(&head_, head_), 0);
            std::free(model_.front());
            model_.pop_front();
        }
    }

    void foreign()
    {
        const std::unique_ptr<Node, decltype(&std::free)> node(make(), &std::free);
        ASSERT_EQ(zlst_delete(&head_, node.get()), 0);
    }

    void dropFirst()
    {
        if (!model_.empty()) {
            head_ = nextOf(head_);
            std::free(model_.front());
            model_.pop_front();
        }
    }

    void chainInFront()
    {
        Node *node = make();
        node->link.next = head_;
        head_ = node;
        model_.push_front(node);
    }

    /** A second list of any length is hung behind the first through the last node's link. */
    void join()
    {
        Node *other = nullptr;
        for (std::size_t i = random_() % 50; i > 0; i--) {
            Node *node = make();
            ASSERT_EQ(zlst_push(&other, node), 0);
        }
        if (model_.empty()) {
            head_ = other;
        } else {
            model_.back()->link.next = other;
        }
        for (; other != nullptr; other = nextOf(other)) {
            model_.push_back(other);
        }
    }

    /** The head is copied and reset; some nodes of the copy come back one by one. */
    void moveToCopy()
    {
        Node *copy = head_;
        head_ = nullptr;
        if (random_() % 2 != 0) {
            head_ = copy;
            return;
        }
        model_.clear();
        while (copy != nullptr) {
            Node *next = nextOf(copy);
            ASSERT_EQ(zlst_push(&head_, copy), 0);
            model_.push_back(copy);
            copy = next;
        }
    }

    /** Far down a list, the neighbours of a node taken out by hand are seen only by what it holds, or by the sanitizer.
     */
    void discard(Node *node)
    {
        if (freedMemoryIsSeen) {
            std::free(node);
        } else {
            std::memset(node, 0xDD, sizeof *node);
            discarded_.emplace_back(node, &std::free);
        }
    }

    /** A node is taken out by hand, through its predecessor's link. */
    void skip()
    {
        if (model_.size() < 2) {
            return;
        }
        auto at = pick();
        if (at == model_.begin()) {
            return;
        }
        (*std::prev(at))->link.next = (*at)->link.next;
        discard(*at);
        model_.erase(at);
    }

    void clear()
    {
        while (!model_.empty()) {
            eraseFirst();
        }
    }

    std::mt19937 random_;
    std::size_t most_;
    Node *head_ = nullptr;
    std::list<Node *> model_;
    std::vector<std::unique_ptr<Node, decltype(&std::free)>> discarded_;
};

class ZlstRandom : public testing::TestWithParam<std::size_t> {};

INSTANTIATE_TEST_SUITE_P(MostNodes, ZlstRandom, testing::Values(10, 30, 200), testing::PrintToStringParamName());

TEST_P(ZlstRandom, AgreesWithStdListWhateverTheHostDoes)
{
    for (unsigned seed = 1; seed <= 20; seed++) {
        SCOPED_TRACE(seed);
        HostileHost host(seed, GetParam());
        for (int step = 0; step < 1000; step++) {
            host.step();
            host.check();
            if (HasFatalFailure()) {
                return;
            }
        }
    }
}

TEST(ZlstThreads, ListsOfDifferentThreadsDoNotMeet)
{
    std::vector<std::thread> threads;
    std::array<bool, 4> good = {};
    for (bool &result : good) {
        threads.emplace_back([&result] {
            bool fine = true;
            for (int round = 0; round < 50; round++) {
                PushedList list(longList);
                fine = fine && nodesOf(list.head) == list.all();
                for (std::size_t i = list.size(); i-- > 0;) {
                    fine = zlst_delete(&list.head, &list[i]) != 0 && fine;
                }
                fine = fine && list.head == nullptr;
            }
            result = fine;
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, (std::array<bool, 4>{true, true, true, true}));
}

} // namespace
