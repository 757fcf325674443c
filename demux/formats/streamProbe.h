/**
 * @file streamProbe.h
 * @brief Finds out what an elementary stream is, from the payload of its packets.
 */
#ifndef PSI_DEMUX_STREAM_PROBE_H
#define PSI_DEMUX_STREAM_PROBE_H

#include "demux/formats/streamFormat.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace psi::demux {

/** @brief How a stream is coded, as far as there are readers for it. */
enum class Codec : u8 { unknown, mpegVideo, h264, h265, mpegAudio, adts, latm, ac3, dts, ac4, opus };

/**
 * @brief What a PMT says a stream is coded in. ISO/IEC 13818-1 Table 2-34, EN 300 468 6.2, A/52 A.2
 * @param program descriptors of its program @param stream its own
 */
Codec codecOf(u8 streamType, const descInfo *program, const descInfo *stream);

/** @brief Channels by the channel_config_code of a stream of Opus, whose headers do not have them. @return 0: not told
 */
u8 opusChannels(const descInfo *stream);

/**
 * @brief Takes the payload of the packets of one PID until a header of its codec came, or for so long that none will.
 *
 * Keeps at most some KiB. A header of sound counts when another frame follows it where it says.
 */
class StreamProbe {
public:
    /** @param channels opusChannels() */
    explicit StreamProbe(Codec codec, u8 channels = 0);
    ~StreamProbe();
    StreamProbe(StreamProbe &&) noexcept;
    StreamProbe &operator=(StreamProbe &&) noexcept;

    /**
     * @brief Take the payload of one packet.
     * @param start a PES packet begins with it
     * @return false when there is no need for more
     */
    bool take(const u8 *data, size_t size, bool start);

    /** @brief What was found; nothing: no header came. */
    const std::optional<StreamFormat> &format() const { return found; }
    /** @brief True when it knows, or gave up. */
    bool done() const { return found || taken >= limit; }

    class Search;

private:
    size_t skipHeader(const u8 *data, size_t size, bool start);

    std::unique_ptr<Search> search;
    std::optional<StreamFormat> found;
    std::vector<u8> header; /**< of the PES packet, while it is not whole */
    bool inHeader = false;
    bool inPayload = false;
    uint64_t taken = 0;
    uint64_t limit;
    u8 opus;
};

} // namespace psi::demux

#endif // PSI_DEMUX_STREAM_PROBE_H
