#include "support/scriptedHost.h"

#include "support/libraryFixture.h"
#include "support/logCapture.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <tuple>
#include <utility>

namespace psitest {
namespace {

std::mutex registryLock;
std::map<psiObjId, ScriptedHost *> registry;
thread_local ScriptedHost *lastReader = nullptr;

ScriptedHost *hostOf(psiObjId objId)
{
    const std::lock_guard<std::mutex> guard(registryLock);
    const auto found = registry.find(objId);
    return found == registry.end() ? nullptr : found->second;
}

std::size_t capacityOf(const psiSchInfo &info)
{
    return (info.longSection != 0 ? 24U : 7U) * packetSize;
}

auto fieldsOf(const psiSchInfo &info)
{
    return std::tie(info.objId, info.pid, info.tableIdExt, info.tableId, info.sectionNo, info.useIdExt,
                    info.longSection, info.reserved);
}

} // namespace

Answer Answer::after(u32 ms) const
{
    Answer changed = *this;
    changed.advanceMs = ms;
    return changed;
}

Answer Answer::doing(std::function<void(const psiSchInfo &)> what) const
{
    Answer changed = *this;
    changed.action = std::move(what);
    return changed;
}

Answer answer::section(const Bytes &bytes, std::optional<u16> pid)
{
    Answer made;
    made.result = PSI_DATA_OK;
    made.section = bytes;
    made.pid = pid;
    return made;
}

Answer answer::packets(const Bytes &bytes, std::optional<u8> tsNum)
{
    Answer made;
    made.result = PSI_DATA_OK;
    made.packets = bytes;
    made.tsNum = tsNum;
    return made;
}

Answer answer::notReady()
{
    return result(PSI_DATA_NO_READY);
}

Answer answer::dataError()
{
    return result(PSI_DATA_ERROR);
}

Answer answer::noTable()
{
    return result(PSI_NO_TABLE);
}

Answer answer::result(i32 code)
{
    Answer made;
    made.result = code;
    return made;
}

ScriptedHost::ScriptedHost(u32 privateValue) : fallback_([](const psiSchInfo &) { return answer::notReady(); })
{
    psiSchRegisterInfo info = {};
    info.privateValue = privateValue;
    info.psiSearchHandle = searchCallback;
    info.readPsiHandle = readCallback;
    objId_ = psiSchCreate(&info);
    EXPECT_NE(psiObjId{0}, objId_);
    const std::lock_guard<std::mutex> guard(registryLock);
    registry[objId_] = this;
    fakeClock::onSleep([](u32 ms) {
        if (lastReader != nullptr)
            lastReader->record(HostCall::Kind::Sleep, {}, ms);
    });
}

ScriptedHost::~ScriptedHost()
{
    if (lastReader == this)
        lastReader = nullptr;
    if (objId_ != 0) {
        EXPECT_EQ(0, destroy());
    }
}

tableObj *ScriptedHost::object() const
{
    return getTableObj(objId_);
}

tsInfo *ScriptedHost::model() const
{
    return getSchObjDataInfo(objId_);
}

ScriptedHost &ScriptedHost::play(const std::vector<Answer> &answers)
{
    const std::lock_guard<std::mutex> guard(lock_);
    script_.insert(script_.end(), answers.begin(), answers.end());
    return *this;
}

void ScriptedHost::setFallback(std::function<Answer(const psiSchInfo &)> fallback)
{
    const std::lock_guard<std::mutex> guard(lock_);
    fallback_ = std::move(fallback);
}

std::size_t ScriptedHost::unplayed() const
{
    const std::lock_guard<std::mutex> guard(lock_);
    return script_.size();
}

std::vector<HostCall> ScriptedHost::takeCalls()
{
    const std::lock_guard<std::mutex> guard(lock_);
    return std::exchange(calls_, {});
}

std::vector<psiSchInfo> ScriptedHost::takeRecords(HostCall::Kind kind)
{
    std::vector<psiSchInfo> records;
    for (const HostCall &call : takeCalls()) {
        if (call.kind == kind)
            records.push_back(call.info);
    }
    return records;
}

i32 ScriptedHost::destroy()
{
    {
        const std::lock_guard<std::mutex> guard(registryLock);
        registry.erase(objId_);
    }
    return psiSchDestroy(std::exchange(objId_, 0));
}

i32 ScriptedHost::searchCallback(psiSchInfo *info)
{
    if (ScriptedHost *host = hostOf(info->objId))
        host->record(HostCall::Kind::Arm, *info, 0);
    else
        ADD_FAILURE() << "armed for an unknown object";
    return 0;
}

i32 ScriptedHost::readCallback(psiSchInfo *info, u8 *tsBuf, u8 *tsNum)
{
    ScriptedHost *host = hostOf(info->objId);
    if (host == nullptr) {
        ADD_FAILURE() << "read for an unknown object";
        return PSI_NO_TABLE;
    }
    lastReader = host;
    host->record(HostCall::Kind::Read, *info, 0);
    const Answer next = host->nextAnswer(*info);
    fakeClock::advance(next.advanceMs);
    if (next.action)
        next.action(*info);
    if (next.result == PSI_DATA_OK) {
        const Bytes data = next.section.empty() ? next.packets : packetsOf(next.section, next.pid.value_or(info->pid));
        std::copy_n(data.begin(), std::min(data.size(), capacityOf(*info)), tsBuf);
        *tsNum = next.tsNum.value_or(static_cast<u8>(data.size() / packetSize));
    }
    return next.result;
}

Answer ScriptedHost::nextAnswer(const psiSchInfo &info)
{
    std::unique_lock<std::mutex> guard(lock_);
    if (script_.empty()) {
        const auto fallback = fallback_;
        guard.unlock();
        return fallback(info);
    }
    Answer next = std::move(script_.front());
    script_.pop_front();
    return next;
}

void ScriptedHost::record(HostCall::Kind kind, const psiSchInfo &info, u32 ms)
{
    const std::lock_guard<std::mutex> guard(lock_);
    calls_.push_back({kind, info, ms, fakeClock::now()});
}

psiSchInfo filterRecord(psiObjId objId, u16 pid, u8 tableId, u8 sectionNo)
{
    psiSchInfo info = {};
    info.objId = objId;
    info.pid = pid;
    info.tableId = tableId;
    info.sectionNo = sectionNo;
    return info;
}

std::ostream &operator<<(std::ostream &os, const HostCall &call)
{
    const char *const names[] = {"arm", "read", "sleep"};
    os << names[static_cast<int>(call.kind)] << " at " << call.tick;
    if (call.kind == HostCall::Kind::Sleep)
        return os << " for " << call.ms;
    PrintTo(call.info, &os);
    return os;
}

} // namespace psitest

bool operator==(const psiSchInfo &a, const psiSchInfo &b)
{
    return psitest::fieldsOf(a) == psitest::fieldsOf(b);
}

void PrintTo(const psiSchInfo &info, std::ostream *os)
{
    *os << psitest::format("{pid 0x%04X, tableId 0x%02X, sectionNo %u, useIdExt %u, tableIdExt 0x%04X, longSection %u}",
                           info.pid, info.tableId, info.sectionNo, info.useIdExt, info.tableIdExt, info.longSection);
}
