/**
 * @file scriptedHost.h
 * @brief A host whose demultiplexer plays a script.
 */
#ifndef PSITEST_SCRIPTED_HOST_H
#define PSITEST_SCRIPTED_HOST_H

#include "support/packetBuilder.h"

#include <deque>
#include <functional>
#include <iosfwd>
#include <mutex>
#include <optional>
#include <vector>

namespace psitest {

/** @brief What a read callback gives. */
struct Answer {
    i32 result = PSI_DATA_NO_READY;
    Bytes section;                                  /**< delivered in packets, when not empty */
    std::optional<u16> pid;                         /**< of those packets; none: what the filter asks for */
    Bytes packets;                                  /**< copied to the library's buffer, as far as they fit */
    std::optional<u8> tsNum;                        /**< instead of the number of packets */
    u32 advanceMs = 0;                              /**< the clock moves by that much first */
    std::function<void(const psiSchInfo &)> action; /**< done first, for example a psiSchStop() */

    Answer after(u32 ms) const;
    Answer doing(std::function<void(const psiSchInfo &)> what) const;
};

/** @brief Answers of a script. */
namespace answer {
/** @brief A section in packets of @p pid; of the PID that the filter asks for when there is none. */
Answer section(const Bytes &bytes, std::optional<u16> pid = {});
Answer packets(const Bytes &bytes, std::optional<u8> tsNum = {});
Answer notReady();
Answer dataError();
Answer noTable();
/** @brief Any result, without data. */
Answer result(i32 code);
} // namespace answer

/** @brief A callback that the library made. */
struct HostCall {
    enum class Kind { Arm, Read, Sleep };
    Kind kind = Kind::Arm;
    psiSchInfo info = {}; /**< copy of the filter record */
    u32 ms = 0;           /**< of Sleep */
    u32 tick = 0;         /**< the clock when the call was made */
};

std::ostream &operator<<(std::ostream &os, const HostCall &call);

/**
 * @brief A search object with its callbacks scripted and recorded.
 *
 * Several may live at once and be searched by threads of their own; a call goes to the host whose object it names.
 * When the script is at its end, the fallback answers; it says PSI_DATA_NO_READY, so that the library sleeps, the
 * clock runs and the search times out. The object is destroyed at the end unless it was before. A sleep is recorded
 * with the host whose read came last in that thread.
 */
class ScriptedHost {
public:
    explicit ScriptedHost(u32 privateValue = 0);
    ~ScriptedHost();
    ScriptedHost(const ScriptedHost &) = delete;
    ScriptedHost &operator=(const ScriptedHost &) = delete;

    psiObjId id() const { return objId_; }
    tableObj *object() const;
    tsInfo *model() const;

    /** @brief Append answers to the script. */
    ScriptedHost &play(const std::vector<Answer> &answers);
    /** @brief Answer from this when the script is at its end. */
    void setFallback(std::function<Answer(const psiSchInfo &)> fallback);
    /** @brief Answers that nobody has asked for yet. */
    std::size_t unplayed() const;

    /** @brief All calls since the last look. */
    std::vector<HostCall> takeCalls();
    /** @brief The filter records of one kind of calls since the last look, which is then over. */
    std::vector<psiSchInfo> takeRecords(HostCall::Kind kind);

    /** @brief Destroy the search object. @return result of psiSchDestroy() */
    i32 destroy();

private:
    static i32 searchCallback(psiSchInfo *info);
    static i32 readCallback(psiSchInfo *info, u8 *tsBuf, u8 *tsNum);
    Answer nextAnswer(const psiSchInfo &info);
    void record(HostCall::Kind kind, const psiSchInfo &info, u32 ms);

    psiObjId objId_ = 0;
    mutable std::mutex lock_;
    std::deque<Answer> script_;
    std::function<Answer(const psiSchInfo &)> fallback_;
    std::vector<HostCall> calls_;
};

/** @brief Expected filter record. */
psiSchInfo filterRecord(psiObjId objId, u16 pid, u8 tableId, u8 sectionNo = 0);

} // namespace psitest

/** @name For EXPECT_EQ on filter records, whose namespace is the global one @{ */
bool operator==(const psiSchInfo &a, const psiSchInfo &b);
void PrintTo(const psiSchInfo &info, std::ostream *os);
/** @} */

#endif // PSITEST_SCRIPTED_HOST_H
