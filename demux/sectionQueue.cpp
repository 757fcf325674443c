#include "demux/sectionQueue.h"

#include "demux/transportPacket.h"

#include <algorithm>

namespace psi::demux {

namespace {

/** A filter that nobody reads for so long has been given up. A search reads every 20 ms. */
constexpr std::chrono::milliseconds kIdleTime(500);

} // namespace

void SectionQueue::arm(const Filter &newFilter, Clock::time_point now)
{
    if (newFilter.pid != filter.pid || newFilter.tableId != filter.tableId || now - lastUse > kIdleTime)
        clear();
    filter = newFilter;
    lastUse = now;
    armed = true;
}

void SectionQueue::clear()
{
    waiting.clear();
    versions.clear();
    armed = false;
}

void SectionQueue::offer(u16 pid, const u8 *section, u16 length, Clock::time_point now)
{
    if (!armed || pid != filter.pid || section[0] != filter.tableId || length > filter.maxLength || !isCurrent(section))
        return;
    const auto same = std::find_if(waiting.begin(), waiting.end(), [=](const Waiting &one) {
        return std::equal(one.bytes.begin(), one.bytes.end(), section, section + length);
    });
    if (same != waiting.end()) {
        same->again = true;
        return;
    }
    const u32 subTable = subTableOf(section, length);
    const Clock::time_point since = replaceOlder(subTable, section, now);
    if (waiting.size() == kMostWaiting) {
        waiting.pop_front();
        ++dropped;
    }
    waiting.push_back({{section, section + length}, subTable, since});
}

/** Of a sub-table that was not begun the last version counts. @return since when something of it has been here */
SectionQueue::Clock::time_point SectionQueue::replaceOlder(u32 subTable, const u8 *section, Clock::time_point now)
{
    Clock::time_point since = now;
    for (const Waiting &one : waiting)
        if (one.subTable == subTable)
            since = std::min(since, one.since);
    if (!versions.began(subTable)) {
        const auto isOlder = [=](const Waiting &one) {
            return one.subTable == subTable && versionOf(one.bytes.data()) != versionOf(section);
        };
        waiting.erase(std::remove_if(waiting.begin(), waiting.end(), isOlder), waiting.end());
    }
    return since;
}

bool SectionQueue::take(Captured &section, Clock::time_point now)
{
    lastUse = now;
    const auto found =
        std::find_if(waiting.begin(), waiting.end(), [&](const Waiting &one) { return passes(one, now); });
    if (found == waiting.end())
        return false;
    versions.handOut(found->bytes.data(), found->length());
    section.length = found->length();
    std::copy(found->bytes.begin(), found->bytes.end(), section.bytes.begin());
    waiting.erase(found);
    return true;
}

bool SectionQueue::passes(const Waiting &one, Clock::time_point now) const
{
    return filter.passes(filter.pid, one.bytes.data(), one.length()) &&
           versions.allows(one.bytes.data(), one.length(), true) &&
           (versions.began(one.subTable) || isReady(one.subTable, now));
}

bool SectionQueue::isReady(u32 subTable, Clock::time_point now) const
{
    std::bitset<256> numbers;
    size_t wanted = 0;
    for (const Waiting &one : waiting) {
        if (one.subTable != subTable)
            continue;
        if (one.again || now - one.since >= kPatience)
            return true;
        numbers.set(one.bytes[6]);
        wanted = one.bytes[7] + size_t{1};
    }
    return numbers.count() >= wanted;
}

} // namespace psi::demux
