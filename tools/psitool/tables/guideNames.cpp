#include "tables/guideNames.h"

#include "output/lines.h"

#include <algorithm>

namespace psitool {

namespace {

bool isTable(const TableSection &section, u8 first, u8 last)
{
    return section.kind && section.kind->standard == Standard::atsc && section.kind->tableId >= first &&
           section.kind->tableId <= last;
}

bool isText(const TableSection &section)
{
    constexpr u8 ett = 0xCC;
    return isTable(section, ett, ett);
}

std::string textOf(const Fields &record, std::string_view key)
{
    const Field *field = findField(record, key);
    return field ? "\"" + field->text + "\"" : "";
}

u32 channelText(u64 sourceId)
{
    return static_cast<u32>(sourceId) << 16;
}

u32 eventText(u64 sourceId, u64 eventId)
{
    constexpr u32 ofEvent = 2;
    return channelText(sourceId) | static_cast<u32>(eventId) << 2 | ofEvent;
}

const std::vector<Fields> &entries(const Fields &fields, std::string_view key)
{
    static const std::vector<Fields> none;
    const Field *list = findField(fields, key);
    return list ? list->items : none;
}

} // namespace

GuideNames::GuideNames(const TablesResult &result)
{
    constexpr u8 terrestrialVct = 0xC8;
    constexpr u8 cableVct = 0xC9;
    constexpr u8 eit = 0xCB;
    if (std::none_of(result.sections.begin(), result.sections.end(), isText))
        return;
    for (const TableSection &section : result.sections) {
        if (!isTable(section, terrestrialVct, cableVct) && !isTable(section, eit, eit))
            continue;
        const Fields fields = describeSection(section.view(), section.kind, result.usual).fields;
        for (const Fields &channel : entries(fields, "channels"))
            names_[channelText(numberOf(channel, "source_id", 0))] =
                std::to_string(numberOf(channel, "major_channel_number", 0)) + "." +
                std::to_string(numberOf(channel, "minor_channel_number", 0)) + " " + textOf(channel, "short_name");
        for (const Fields &event : entries(fields, "events"))
            names_[eventText(numberOf(fields, "source_id", 0), numberOf(event, "event_id", 0))] =
                textOf(event, "title");
    }
}

std::string GuideNames::ownerOf(const TableSection &section, const Fields &fields) const
{
    const Field *id = isText(section) ? findField(fields, "ETM_id") : nullptr;
    if (!id)
        return "";
    const u32 channelId = channelText(id->number >> 16);
    const auto event = names_.find(static_cast<u32>(id->number));
    const auto channel = names_.find(channelId);
    std::string text;
    if (id->number != channelId && event != names_.end())
        text = " event " + event->second;
    if (channel != names_.end())
        text += (text.empty() ? " channel " : " on channel ") + channel->second;
    return text.empty() ? "" : "text of" + text;
}

} // namespace psitool
