/**
 * @file psiPrograms.cpp
 * @brief The program that a section speaks of, found without a walk when sections come in the order of the list.
 *
 * The first program of a number counts, and the list is the host's to change, so what is remembered of a list is used
 * only where it can be checked at once:
 *
 *  - Which list it is: its token, which it shares with no other nor keeps through a repair, and its tail. A program
 *    that came is another tail; one that came at the old tail's address was preceded by a shortening.
 *  - That no two of its programs had one number, so that whichever has the number is the first. Programs that go leave
 *    that as it is.
 *  - That the program at hand is a live block of the pool, is on that list, as zlst_delete() sees it, and has the
 * number now.
 *
 * Everything else is answered by the walk: short lists, programs that no pool has given, numbers that repeat, requests
 * in any other order. Not seen is a program that was given, by hand, the number of one behind it: psi.h says so.
 */
#include "list/zlstWords.h"
#include "psiInternal.h"

using namespace psi::core;

namespace {

/** @brief Programs to walk past before it pays to remember anything. */
constexpr u32 shortWalk = 32;
/** @brief Programs in a row of which a run of sections may say nothing: their PMTs are not there. */
constexpr u32 mostSkipped = 16;

/** @brief What tells a list, but for nodes that are gone, from all others and from itself at another time. */
struct ListState {
    uintptr_t token;
    uintptr_t tail;
    u32 shortenings;

    bool operator==(const ListState &other) const
    {
        return token == other.token && tail == other.tail && shortenings == other.shortenings;
    }
};

ListState stateOf(const progInfo *list)
{
    const uintptr_t(&words)[4] = list->link.spare;
    return {words[tokenWord], words[tailWord], __atomic_load_n(&shortenings, __ATOMIC_RELAXED)};
}

enum class Numbers : u8 { unknown, differ, repeat };

/** @brief What is remembered of a list, under the pool's mutex. */
struct KnownList {
    ListState state;
    progInfo *expected; /**< behind the program that was found last; never followed unchecked */
    Numbers numbers;
};

/** @brief Each list has one place here, which the last one that needs it takes. Initialised without code. */
KnownList knownLists[4] = {};

KnownList &placeOf(const ListState &list)
{
    return knownLists[list.token >> 8 & 3]; // blocks begin with bits that are alike
}

/** @brief Whether all programs have numbers of their own; a window of numbers at a time, for little memory. */
bool numbersDiffer(const progInfo *list)
{
    constexpr u32 window = 4096;
    for (u32 from = 0; from < 0x10000; from += window) {
        u32 seen[window / 32] = {};
        static_assert(sizeof(seen) == window / 8, "a bit for each number");
        for (const progInfo *prog = list; prog; prog = nextOf(prog)) {
            const u32 at = prog->progNo - from;
            if (at >= window)
                continue;
            if (seen[at / 32] >> at % 32 & 1)
                return false;
            seen[at / 32] |= 1U << at % 32;
        }
    }
    return true;
}

bool isOnList(const progInfo *list, progInfo *prog)
{
    return buddy_size(psiMp, prog) == sizeof(progInfo) && isCached(&list->link, &prog->link);
}

/** @brief The program of a number, if it is the expected one or one of the next. */
progInfo *findExpected(const progInfo *list, progInfo *expected, u16 progNo)
{
    progInfo *prog = isOnList(list, expected) ? expected : nullptr;
    for (u32 i = 0; i < mostSkipped && prog; ++i, prog = nextOf(prog))
        if (prog->progNo == progNo)
            return isOnList(list, prog) ? prog : nullptr;
    return nullptr;
}

bool isFar(const progInfo *list, const progInfo *prog)
{
    for (u32 i = 0; i < shortWalk && list != prog; ++i)
        list = nextOf(list);
    return list != prog;
}

/** @brief A walk went far: remember the list, and when that happens again, whether its numbers differ. */
void learn(KnownList &known, const ListState &now, const progInfo *list)
{
    if (!(known.state == now))
        known = {now, nullptr, Numbers::unknown};
    else if (known.numbers == Numbers::unknown)
        known.numbers = numbersDiffer(list) ? Numbers::differ : Numbers::repeat;
}

} // namespace

progInfo *psi::core::findAnalysed(const PoolGuard &pool, tsInfo *model, u16 progNo)
{
    progInfo *const list = model->progList;
    if (!poolInPlace || !pool || !list || !hasFirstWords(&list->link)) // builds for size walk
        return getProgInfo(model, progNo);
    const ListState now = stateOf(list);
    KnownList &known = placeOf(now);
    progInfo *prog = nullptr;
    if (known.numbers == Numbers::differ && known.state == now)
        prog = findExpected(list, known.expected, progNo);
    if (!prog) {
        prog = getProgInfo(model, progNo);
        if (prog && isFar(list, prog))
            learn(known, now, list);
    }
    if (prog && known.state == now)
        known.expected = nextOf(prog) ? nextOf(prog) : list;
    return prog;
}
