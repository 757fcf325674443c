#include "services/serviceForms.h"

#include "demux/input.h"
#include "describe/text.h"
#include "output/lines.h"

#include <algorithm>
#include <filesystem>
#include <tuple>

namespace psitool {

namespace {

constexpr std::size_t numberWidth = 15; // of "0x1FFF (8191)" and two blanks
constexpr std::size_t kindWidth = 26;

bool contains(const std::string &text, const char *word)
{
    return text.find(word) != std::string::npos;
}

std::vector<std::string> languagesOf(const Service &service)
{
    std::vector<std::string> all;
    for (const ServiceStream &stream : service.streams)
        for (const std::string &language : stream.languages)
            if (std::find(all.begin(), all.end(), language) == all.end())
                all.push_back(language);
    return all;
}

/** "teletext fra, DSM-CC sections (7)" */
std::string streamsText(const std::vector<const ServiceStream *> &streams, const char *separator)
{
    std::vector<std::string> titles;
    titles.reserve(streams.size());
    for (const ServiceStream *stream : streams)
        titles.push_back(streamTitle(stream->kind, stream->languages));
    return joined(counts(titles), separator);
}

/** "News One": digital television, "Provider", free */
std::string headline(const Service &service)
{
    std::vector<std::string> parts;
    if (!service.channel.empty())
        parts.push_back("channel " + service.channel);
    if (!service.type.empty())
        parts.push_back(service.type);
    if (!service.provider.empty())
        parts.push_back("\"" + service.provider + "\"");
    if (service.scrambled)
        parts.emplace_back(*service.scrambled ? "scrambled" : "free");
    if (!service.inPat)
        parts.emplace_back("not in the PAT");
    else if (!service.hasPmt)
        parts.emplace_back("PMT not found");
    const std::string name = service.name.empty() ? "(no name)" : "\"" + service.name + "\"";
    return name + (parts.empty() ? "" : ": " + joined(parts, ", "));
}

std::string serviceText(const Service &service, const Look &look)
{
    const std::string indent(numberWidth, ' ');
    const std::string head = padded(hexDec(service.number), numberWidth) + headline(service);
    std::string text;
    std::vector<const ServiceStream *> run; // of streams that have no more than a title, in the PMT's order
    const auto endRun = [&] {
        if (!run.empty())
            text += indent + streamsText(run, ", ") + "\n";
        run.clear();
    };
    for (const ServiceStream &stream : service.streams) {
        if (!stream.format) {
            run.push_back(&stream);
            continue;
        }
        endRun();
        text += indent + padded(streamTitle(stream.kind, stream.languages), kindWidth) + "  " +
                psi::demux::formatText(*stream.format) + "\n";
    }
    endRun();
    if (!service.now.name.empty() || !service.next.name.empty())
        text += indent + "now \"" + service.now.name + "\", next \"" + service.next.name + "\"\n";
    return fitted(head, look, Tone::heading) + fitted(text, look);
}

Json streamsJson(const Service &service)
{
    Json array = Json::array();
    for (const ServiceStream &stream : service.streams)
        array.push_back({{"pid", stream.pid},
                         {"kind", stream.kind},
                         {"languages", stream.languages},
                         {"scrambled", stream.scrambled},
                         {"format", stream.format ? formatJson(*stream.format) : Json(nullptr)}});
    return array;
}

/** In quotation marks, those within it doubled. */
std::string csvText(const std::string &text)
{
    std::string quotedText = "\"";
    for (const char letter : text)
        quotedText += letter == '"' ? "\"\"" : std::string(1, letter);
    return quotedText + "\"";
}

/** Formats of video or of audio: "MPEG-1 audio eng: stereo 48 kHz". */
std::string formatsText(const Service &service, bool video)
{
    std::vector<std::string> parts;
    for (const ServiceStream &stream : service.streams)
        if (stream.format && stream.format->video.has_value() == video)
            parts.push_back(streamTitle(stream.kind, stream.languages) + ": " + psi::demux::formatText(*stream.format));
    return joined(parts, "; ");
}

std::vector<const ServiceStream *> allStreams(const Service &service)
{
    std::vector<const ServiceStream *> all;
    all.reserve(service.streams.size());
    for (const ServiceStream &stream : service.streams)
        all.push_back(&stream);
    return all;
}

const char *yesOrNo(std::optional<bool> value)
{
    return !value ? "" : *value ? "yes" : "no";
}

/** A service of which nothing is known may be anything. */
bool isPlayable(const Service &service)
{
    return service.streams.empty() ||
           std::any_of(service.streams.begin(), service.streams.end(), [](const ServiceStream &stream) {
               return contains(stream.kind, "video") || contains(stream.kind, "audio");
           });
}

/** Players want an '@' in front of the group that they are to receive, and know nothing of an interface. */
std::string playerUrl(const std::string &input)
{
    const std::size_t scheme = input.find("://");
    if (!psi::demux::isLiveUrl(input) || scheme == std::string::npos)
        return std::filesystem::absolute(input).string();
    const std::string address = input.substr(scheme + 3, input.find('?') - scheme - 3);
    return input.substr(0, scheme + 3) + (contains(address, "@") ? "" : "@") + address;
}

/** What an attribute of a playlist may hold. */
std::string attribute(const char *key, std::string value)
{
    std::replace(value.begin(), value.end(), '"', '\'');
    return value.empty() ? "" : std::string(" ") + key + "=\"" + value + "\"";
}

/** "5.1" as two numbers; what has none goes last. */
std::tuple<bool, unsigned long, unsigned long> channelKey(const Service &service)
{
    const std::size_t point = service.channel.find('.');
    const bool none = service.channel.empty();
    return {none, none ? 0 : std::stoul(service.channel),
            point == std::string::npos ? 0 : std::stoul(service.channel.substr(point + 1))};
}

} // namespace

void sortServices(std::vector<Service> &services, ServiceOrder order)
{
    const auto sort = [&](const auto &key) {
        std::stable_sort(services.begin(), services.end(),
                         [&](const Service &a, const Service &b) { return key(a) < key(b); });
    };
    if (order == ServiceOrder::number)
        sort([](const Service &service) { return service.number; });
    else if (order == ServiceOrder::channel)
        sort(channelKey);
    else if (order == ServiceOrder::name)
        sort([](const Service &service) { return std::pair(service.name.empty(), service.name); });
}

std::string servicesText(const std::vector<Service> &services, const Look &look)
{
    std::string text;
    for (const Service &service : services)
        text += serviceText(service, look);
    return text;
}

Json serviceJson(const Service &service)
{
    return {{"number", service.number},
            {"in_pat", service.inPat},
            {"name", service.name},
            {"provider", service.provider},
            {"type", service.type},
            {"channel", service.channel},
            {"scrambled", service.scrambled ? Json(*service.scrambled) : Json(nullptr)},
            {"languages", languagesOf(service)},
            {"streams", streamsJson(service)},
            {"now", service.now.name},
            {"now_start", service.now.start},
            {"next", service.next.name},
            {"next_start", service.next.start}};
}

std::string servicesJson(const std::string &input, const std::vector<Service> &services)
{
    constexpr int schemaVersion = 1;
    Json object;
    object["psitool"] = {{"schema", "services"}, {"schema_version", schemaVersion}};
    object["input"] = {{"name", input}};
    object["services"] = Json::array();
    for (const Service &service : services)
        object["services"].push_back(serviceJson(service));
    return jsonText(object);
}

std::string servicesM3u(const std::string &input, const std::vector<Service> &services)
{
    const std::string url = safeText(playerUrl(input));
    std::string text = "#EXTM3U\n";
    for (const Service &service : services) {
        if (!service.inPat || !isPlayable(service))
            continue;
        const std::string name = service.name.empty() ? "Program " + std::to_string(service.number) : service.name;
        text += "#EXTINF:-1" + attribute("tvg-chno", service.channel) + attribute("tvg-name", name) +
                attribute("group-title", service.provider) + "," + name + "\n";
        text += "#EXTVLCOPT:program=" + std::to_string(service.number) + "\n" + url + "\n";
    }
    return text;
}

std::string servicesCsv(const std::vector<Service> &services)
{
    std::string text = "number,channel,name,provider,type,scrambled,in PAT,languages,streams,now,next,video,audio\r\n";
    for (const Service &service : services)
        text += std::to_string(service.number) + "," + service.channel + "," + csvText(service.name) + "," +
                csvText(service.provider) + "," + csvText(service.type) + "," + yesOrNo(service.scrambled) + "," +
                yesOrNo(service.inPat) + "," + csvText(joined(languagesOf(service), " ")) + "," +
                csvText(streamsText(allStreams(service), "; ")) + "," + csvText(service.now.name) + "," +
                csvText(service.next.name) + "," + csvText(formatsText(service, true)) + "," +
                csvText(formatsText(service, false)) + "\r\n";
    return text;
}

} // namespace psitool
