#include "services/streamFormats.h"

#include <algorithm>

namespace psitool {

namespace {

using psi::demux::AudioFormat;
using psi::demux::Codec;
using psi::demux::PidUse;
using psi::demux::Ratio;
using psi::demux::StreamFormat;
using psi::demux::StreamProbe;
using psi::demux::VideoFormat;

/** More than any multiplex has: each costs some KiB. */
constexpr std::size_t mostStreams = 1000;

Json orNull(const std::string &text)
{
    return text.empty() ? Json(nullptr) : Json(text);
}

Json ratioJson(const Ratio &ratio, const char *separator)
{
    return ratio.known() ? Json(std::to_string(ratio.numerator) + separator + std::to_string(ratio.denominator))
                         : Json(nullptr);
}

void addVideo(Json &object, const VideoFormat &video)
{
    const char *transfer = psi::demux::transferName(video.transfer);
    object["width"] = video.width;
    object["height"] = video.height;
    object["interlaced"] = video.interlaced;
    object["frame_rate"] = ratioJson(video.frameRate, "/");
    object["aspect_ratio"] = ratioJson(video.aspect, ":");
    object["chroma"] = psi::demux::chromaName(video.chroma);
    object["bit_depth"] = video.bitDepth;
    object["dynamic_range"] = transfer ? transfer : "SDR";
}

void addAudio(Json &object, const AudioFormat &audio)
{
    object["channels"] = orNull(psi::demux::channelsText(audio));
    object["sample_rate"] = audio.sampleRate;
    object["bit_rate"] = audio.bitRate > 0 ? Json(audio.bitRate) : Json(nullptr);
    object["frame_rate"] = ratioJson(audio.frameRate, "/");
}

} // namespace

StreamFormats::StreamFormats(psi::demux::Collector &collector)
{
    collector.watchStreams(
        [this](u16 pid, const PidUse &use) {
            return use.codec != Codec::unknown && probes_.size() < mostStreams &&
                   probes_.try_emplace(pid, use.codec, use.opusChannels).second;
        },
        [this](u16 pid, const u8 *data, std::size_t size, bool start) {
            return probes_.at(pid).take(data, size, start);
        });
}

const StreamFormat *StreamFormats::of(u16 pid) const
{
    const auto probe = probes_.find(pid);
    return probe != probes_.end() && probe->second.format() ? &*probe->second.format() : nullptr;
}

bool StreamFormats::complete() const
{
    return std::all_of(probes_.begin(), probes_.end(), [](const auto &probe) { return probe.second.done(); });
}

Json formatJson(const StreamFormat &format)
{
    Json object{{"text", psi::demux::formatText(format)},
                {"coding", format.coding},
                {"profile", orNull(format.profile)},
                {"level", orNull(format.level)}};
    if (format.video)
        addVideo(object, *format.video);
    if (format.audio)
        addAudio(object, *format.audio);
    return object;
}

} // namespace psitool
