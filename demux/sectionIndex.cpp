#include "demux/sectionIndex.h"
#include "demux/transportPacket.h"

#include <cstring>
#include <limits>

namespace psi::demux {

namespace {

constexpr size_t kBlockBytes = 64U << 10;
/** What a distinct section costs beside its bytes: record, hash entry, groups, occurrences. Measured, rounded up. */
constexpr uint64_t kSectionOverhead = 512;

/** One number for all that a filter compares; bit 48 tells those that ask for an extension. */
uint64_t groupKey(const Filter &filter)
{
    const uint64_t key = uint64_t{filter.pid} << 32 | uint64_t{filter.tableId} << 24 | uint64_t{filter.sectionNo} << 16;
    return filter.useIdExt ? key | uint64_t{1} << 48 | filter.tableIdExt : key;
}

std::string_view viewOf(const u8 *section, u16 length)
{
    return {reinterpret_cast<const char *>(section), length};
}

} // namespace

Filter Filter::of(const psiSchInfo &info)
{
    Filter filter;
    filter.pid = info.pid;
    filter.tableId = info.tableId;
    filter.sectionNo = info.sectionNo;
    filter.useIdExt = info.useIdExt == 1;
    filter.tableIdExt = info.tableIdExt;
    filter.maxLength = info.longSection == 1 ? 4096 : 1024;
    return filter;
}

bool Filter::passes(u16 sectionPid, const u8 *section, u16 length) const
{
    return sectionPid == pid && section[0] == tableId && section[6] == sectionNo && length <= maxLength &&
           isCurrent(section) && (!useIdExt || tableIdExtension(section) == tableIdExt);
}

bool SectionIndex::add(u16 pid, const u8 *section, u16 length, uint64_t packet)
{
    // A repetition needs no CRC: it is the same as a section that was found right.
    const auto found = known.find({pid, viewOf(section, length)});
    if (found == known.end())
        return psiCalculateCrc(section, length) == 0 && store(pid, section, length, packet);

    StoredSection &old = stored[found->second];
    ++old.count;
    old.lastPacket = packet;
    if (occurrenceCount < kMaxOccurrences)
        enter(found->second);
    return true;
}

/** Keeps a new section, when there is room for it. */
bool SectionIndex::store(u16 pid, const u8 *section, u16 length, uint64_t packet)
{
    const uint64_t cost = length + kSectionOverhead;
    uint64_t &ofPid = bytesOfPid[pid];
    if (bytesUsed + cost > byteLimit || ofPid + cost > byteLimit / 8) {
        ++leftOut;
        return true;
    }
    bytesUsed += cost;
    ofPid += cost;
    const u32 number = static_cast<u32>(stored.size());
    const u8 *bytes = copy(section, length);
    stored.push_back({bytes, length, pid, packet, packet, 1});
    known.emplace(Key{pid, viewOf(bytes, length)}, number);
    enter(number);
    return true;
}

const u8 *SectionIndex::copy(const u8 *section, u16 length)
{
    if (blocks.empty() || blockFree + length > kBlockBytes) {
        blocks.emplace_back(new u8[kBlockBytes]); // pages that no section needs stay untouched
        blockFree = 0;
    }
    u8 *bytes = blocks.back().get() + blockFree;
    std::memcpy(bytes, section, length);
    blockFree += length;
    return bytes;
}

void SectionIndex::enter(u32 section)
{
    const StoredSection &entry = stored[section];
    Filter asking;
    asking.pid = entry.pid;
    asking.tableId = entry.bytes[0];
    asking.sectionNo = entry.bytes[6];
    const Occurrence occurrence = {nextPlace, section};
    groups[groupKey(asking)].push_back(occurrence);
    asking.useIdExt = true;
    asking.tableIdExt = tableIdExtension(entry.bytes);
    groups[groupKey(asking)].push_back(occurrence);
    ++nextPlace;
    ++occurrenceCount;
}

const SectionIndex::Occurrences &SectionIndex::matching(const Filter &filter) const
{
    static const Occurrences none;
    const auto found = groups.find(groupKey(filter));
    return found == groups.end() ? none : found->second;
}

} // namespace psi::demux
