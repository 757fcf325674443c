/**
 * @file libraryFixture.h
 * @brief An initialised library with a clock that the test moves.
 */
#ifndef PSITEST_LIBRARY_FIXTURE_H
#define PSITEST_LIBRARY_FIXTURE_H

#include "support/logCapture.h"
#include "support/sectionBuilder.h"

#include "platform.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace psitest {

/** @brief The clock behind psiMsSleep and getMsTimeCnt: it stands still until somebody sleeps or moves it. */
namespace fakeClock {
u32 now();
void set(u32 tick);
void advance(u32 ms);
/** @brief Callback psiMsSleep: moves the clock and remembers @p ms. */
void sleep(u32 ms);
/** @brief What sleep() was called with since the last look. */
std::vector<u32> takeSleeps();
/** @brief Called by sleep() in the sleeping thread, on top of the rest. */
void onSleep(std::function<void(u32 ms)> observer);
} // namespace fakeClock

/** @brief Occupancy of the library's pool. */
psi::core::BuddyStat poolStat();

/** @brief Bytes asked for when the block at @p data was allocated, 0 when no live block of the pool starts there. */
u32 poolBlockSize(const void *data);

/** @brief A block of the library's pool with the bytes that were left in it; other fresh blocks are filled with 0xA5.
 */
void *blockAsLeft(u32 size);

/** @brief Whether another thread could take the mutex at this moment. */
bool mutexIsFree(psiSemId mutex);

/** @brief A record for psiSch_Init() with the fake clock and a pool of @p poolBytes. */
psiInitRegisterInfo initRecord(u32 poolBytes = 4U << 20);

/** @brief Whether psiSch_Init() has been called in this process; it works once. */
bool moduleWasInitialised();

/**
 * @brief The library, initialised; `log` takes what it prints.
 *
 * At the end no block of the pool is live, no free was refused, and the report levels are back at 2.
 */
class LibraryTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /** @brief Blocks that are live now and were not before the test. */
    u32 liveBlocks() const;

    LogCapture log;
};

/**
 * @brief For tests of the start-up itself: nothing is initialised.
 *
 * Skips when something in this process already was; ctest gives every test a process of its own.
 */
class FreshProcessTest : public testing::Test {
protected:
    void SetUp() override;
    LogCapture log;
};

/** @brief A section node outside the pool, for analysePsi(). The bytes must outlive it. */
sectionData sectionNode(u8 psiType, u8 *bytes, std::size_t len);

/** @brief Add a section node with a pool copy of the bytes, as an acquisition does. */
sectionData *storeSection(sectionData **list, u8 psiType, const Bytes &bytes);

/** @brief The nodes of a list, in its order. */
template <typename Node> std::vector<Node *> nodesOf(Node *head)
{
    std::vector<Node *> nodes;
    for (Node *node = head; node != nullptr; node = static_cast<Node *>(node->link.next))
        nodes.push_back(node);
    return nodes;
}

/** @brief A payload or a name of the model as bytes. */
inline Bytes bytesAt(const u8 *data, std::size_t len)
{
    return data == nullptr ? Bytes() : Bytes(data, data + len);
}

/** @brief All fields of a model, one behind the other: of the padding between them nobody says what it holds. */
Bytes modelFields(const tsInfo &info);

/** @brief A model that belongs to no object; its lists are emptied at the end. */
class LooseModel {
public:
    /** @param ioFlag how sections are analysed into it: 0 reference, 1 copy (then it owns what they point to) */
    explicit LooseModel(u32 ioFlag = 0) : ioFlag_(ioFlag) {}
    ~LooseModel() { clear(); }
    LooseModel(const LooseModel &) = delete;
    LooseModel &operator=(const LooseModel &) = delete;

    tsInfo *operator->() { return &info_; }
    tsInfo *get() { return &info_; }
    const tsInfo *get() const { return &info_; }
    /** @brief Empty it. */
    void clear();

private:
    u32 ioFlag_;
    tsInfo info_ = {};
};

} // namespace psitest

#endif // PSITEST_LIBRARY_FIXTURE_H
