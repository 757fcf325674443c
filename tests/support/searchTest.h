/**
 * @file searchTest.h
 * @brief What the tests of searches share: a fixture, the callbacks of a search as text, the stored sections.
 */
#ifndef PSITEST_SEARCH_TEST_H
#define PSITEST_SEARCH_TEST_H

#include "support/libraryFixture.h"
#include "support/scriptedHost.h"

#include <iosfwd>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace psitest {

/** @brief The lines of @p lines that name one source file ("psiSch"). */
LogLines fromFile(const LogLines &lines, const std::string &file);

/** @brief What a loop says of a read that got so many packets. */
LogLine packetsRead(unsigned count);

/** @name Joining expected lines @{ */
LogLines operator+(LogLines lines, const LogLines &more);
LogLines operator+(LogLines lines, const LogLine &more);
/** @} */

/** @brief The callbacks of a search, one line each. */
using Calls = std::vector<std::string>;

/**
 * @brief Calls since the last look: "arm 0x0011 0x4A section 1 idExt 0x0005 long", "read", "sleep 20".
 *
 * Fails the test when a record does not name the object, has a reserved field set, or when a read has another record
 * than the one that was armed last.
 */
Calls callsOf(ScriptedHost &host);

/** @brief The calls of the search callback only. */
Calls armsOf(const Calls &calls);

/** @name Lines of callsOf() @{ */
std::string arm(u16 pid, u8 tableId, u8 sectionNo = 0, std::optional<u16> idExt = {}, bool longSection = false);
extern const std::string readCall;
extern const std::string sleepCall;
/** @} */

/** @brief A node of a section list, without its link. */
struct Stored {
    u8 psiType = 0;
    u16 pid = 0;
    u8 sectionNo = 0;
    u16 idExt = 0;
    Bytes bytes;
};

bool operator==(const Stored &a, const Stored &b);
std::ostream &operator<<(std::ostream &os, const Stored &stored);

/** @brief Expected node: number and table_id_extension are those of the section. */
Stored stored(u32 psiType, u16 pid, const Bytes &section);
std::vector<Stored> storedSections(const tsInfo &model);

/** @brief Fails the test unless every name and payload is null with length 0 or lies inside a section of the list. */
void expectNoDanglingBytes(const tsInfo &model);

/** @brief Fails the test unless every name and payload is null with length 0 or a pool block of its length. */
void expectOwnedBytes(const tsInfo &model);

/** @brief What is known of a table type, written down independently of the library. */
struct TypeFacts {
    u32 psiType;
    const char *name;
    u16 pid;
    u8 tableId;
    u16 timeOutMs;
    const char *loop; /**< prefix of its loop's messages */
    bool longSection;
};

/** @brief All types with a table, in the order of their codes. */
const std::vector<TypeFacts> &typesWithTable();
const TypeFacts &factsOf(u32 psiType);

/** @brief A one-section table of a type that a search of it takes; the PMT is that of program 5. */
Bytes sampleSection(u32 psiType);

/** @brief The library with a search object, everything logged. At the end the object's mutex is free. */
class SearchTest : public LibraryTest {
protected:
    void SetUp() override;
    void TearDown() override;

    /** @brief Lines of psiSch.cpp since the last look at the log. */
    LogLines searchLog() { return fromFile(log.take(), "psiSch"); }
    /** @brief Add a program to the model, as the analysis of a PAT does. */
    progInfo *addProgram(u16 progNo, u16 pmtPid);
    tsInfo &model() { return *host->model(); }

    std::optional<ScriptedHost> host;
};

/** @brief Sets a global of the library for the length of a scope. */
template <typename T> class Replaced {
public:
    Replaced(T &variable, T value) : variable_(variable), saved_(std::exchange(variable, value)) {}
    ~Replaced() { variable_ = saved_; }
    Replaced(const Replaced &) = delete;
    Replaced &operator=(const Replaced &) = delete;

private:
    T &variable_;
    T saved_;
};

/**
 * @brief The host's tick, but one that jumps by ten seconds with every look while `racing`.
 *
 * Installs itself for its lifetime; one at a time.
 */
class RacingTick {
public:
    RacingTick();
    ~RacingTick();
    RacingTick(const RacingTick &) = delete;
    RacingTick &operator=(const RacingTick &) = delete;

    bool racing = false;
};

/**
 * @brief Answers the filters of searches from a set of sections, over and over, as a broadcast does.
 *
 * A section fits a filter by PID and table_id, and by table_id_extension where the filter asks for one; which one of
 * the fitting comes next does not depend on section_number, unless that is wanted. Without any it says PSI_NO_TABLE.
 * Usable from threads.
 */
class Carousel {
public:
    /**
     * @param msPerRead how far the clock moves with every read
     * @param bySectionNumber whether a section has to fit by section_number too
     */
    explicit Carousel(u32 msPerRead = 100, bool bySectionNumber = false)
        : msPerRead_(msPerRead), bySectionNumber_(bySectionNumber)
    {
    }
    Carousel &add(u16 pid, const Bytes &section);
    /** @brief Begin anew, so that the same searches meet the same sections again. */
    void rewind();
    /** @brief The next fitting section, in packets that were made when it was added. */
    Answer next(const psiSchInfo &filter);
    /** @brief The same as a section, for callers that change it. */
    Answer nextSection(const psiSchInfo &filter);
    /** @brief Let a host answer from this carousel, which must outlive its searches. */
    void drive(ScriptedHost &host);

private:
    struct Entry {
        u16 pid;
        Bytes section;
        Bytes packets;
    };
    /** @brief The entry whose turn it is, or null. The caller holds the lock. */
    const Entry *pick(const psiSchInfo &filter);

    u32 msPerRead_;
    bool bySectionNumber_;
    std::mutex lock_;
    std::vector<Entry> entries_;
    std::size_t turn_ = 0;
};

/** @name A small stream with all tables of a standard @{ */
void fillDvb(Carousel &carousel);
void fillAtsc(Carousel &carousel);
/** @} */

} // namespace psitest

#endif // PSITEST_SEARCH_TEST_H
