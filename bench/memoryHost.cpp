#include "memoryHost.h"

#include "measure.h"

#include "support/packetBuilder.h"

#include <cstring>

namespace psibench {
namespace {

MemoryHost *current = nullptr;

/** @brief One word of all that a filter looks at. */
uint64_t keyOf(u16 pid, u8 tableId, u8 number, u16 idExt)
{
    return static_cast<uint64_t>(pid) << 32 | static_cast<uint64_t>(tableId) << 24 | static_cast<uint64_t>(idExt) << 8 |
           number;
}

void noSleep(u32) {}

u32 standingClock()
{
    return 0;
}

} // namespace

MemoryHost::MemoryHost()
{
    const psiSchRegisterInfo info = {0, 0, arm, read};
    object_ = psiSchCreate(&info);
    require(object_ != 0 && current == nullptr);
    current = this;
}

MemoryHost::~MemoryHost()
{
    psiSchDestroy(object_);
    current = nullptr;
}

void MemoryHost::carry(u16 pid, const Bytes &section)
{
    // Only PMTs are asked for by their table_id_extension.
    const u8 tableId = section[0];
    const u16 idExt = tableId == 0x02 ? static_cast<u16>(section[3] << 8 | section[4]) : u16{0};
    turns_[keyOf(pid, tableId, section[6], idExt)].sections.push_back(psitest::packetsOf(section, pid));
}

void MemoryHost::clear()
{
    require(clearTableInfo(object_) == 0);
    ++round_;
}

i32 MemoryHost::arm(psiSchInfo *)
{
    return 0;
}

i32 MemoryHost::read(psiSchInfo *filter, u8 *packets, u8 *count)
{
    const u16 idExt = filter->useIdExt != 0 ? filter->tableIdExt : u16{0};
    const auto found = current->turns_.find(keyOf(filter->pid, filter->tableId, filter->sectionNo, idExt));
    if (found == current->turns_.end())
        return PSI_NO_TABLE;
    Turn &turn = found->second;
    if (turn.round != current->round_) {
        turn.round = current->round_;
        turn.next = 0;
    }
    if (turn.next == turn.sections.size())
        return PSI_NO_TABLE;
    const Bytes &bytes = turn.sections[turn.next++];
    memcpy(packets, bytes.data(), bytes.size());
    *count = static_cast<u8>(bytes.size() / psitest::packetSize);
    return PSI_DATA_OK;
}

void initialiseLibrary(u32 poolBytes)
{
    const psiInitRegisterInfo info = {0, poolBytes, 0, noSleep, standingClock};
    setPsiSchRPTLevel(1);
    setPsiMakeRPTLevel(1);
    require(psiSch_Init(&info) == 0);
}

} // namespace psibench
