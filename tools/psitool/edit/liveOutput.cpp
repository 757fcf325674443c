#include "edit/liveOutput.h"

#include "demux/input.h"
#include "demux/liveSocket.h"
#include "demux/rtp.h"
#include "demux/transportPacket.h"

#include <chrono>
#include <optional>
#include <thread>
#include <vector>

namespace psitool {

namespace {

using Clock = std::chrono::steady_clock;

/** Sends packets, seven in a datagram: the most that fit into an Ethernet frame. */
class DatagramOutput : public LiveOutput {
public:
    explicit DatagramOutput(const std::string &url) : sender_(url)
    {
        if (psi::demux::isRtpUrl(url))
            header_.emplace();
    }

    void packet(const u8 *data, std::size_t size) override
    {
        if (packets_ == 0 && header_) {
            const std::chrono::duration<double> time = Clock::now().time_since_epoch();
            const auto header = header_->next(time.count());
            waiting_.assign(header.begin(), header.end());
        }
        waiting_.insert(waiting_.end(), data, data + size);
        if (++packets_ == packetsOfDatagram)
            flush();
    }
    bool passOn() override { return true; }
    void finish() override { flush(); }
    void flush() final
    {
        if (packets_ > 0 && !sender_.send(waiting_.data(), waiting_.size()))
            lost_ += packets_;
        waiting_.clear();
        packets_ = 0;
    }
    bool isLive() const override { return true; }
    std::uint64_t lost() const override { return lost_; }

private:
    static constexpr unsigned packetsOfDatagram = 7;

    psi::demux::LiveSender sender_;
    std::optional<psi::demux::RtpHeader> header_;
    std::vector<u8> waiting_;
    unsigned packets_ = 0;
    std::uint64_t lost_ = 0;
};

/** Writes to a file or a pipe. What a slow reader leaves behind waits, but not without end. */
class WrittenOutput : public LiveOutput {
public:
    WrittenOutput(const std::string &name, Output &output) : file_(name, output) {}

    void packet(const u8 *data, std::size_t size) override
    {
        if (waiting() + size > mostWaiting && !dropping_) {
            reportError(file_.name() + ": packets are dropped, its reader takes them too slowly");
            dropping_ = true;
        }
        dropping_ = dropping_ && waiting() > mostWaiting / 2; // in one piece rather than here and there
        packetSize_ = size;
        if (dropping_)
            ++lost_;
        else
            bytes_.insert(bytes_.end(), data, data + size);
    }

    bool passOn() override
    {
        gone_ += file_.writeSome(bytes_.data() + gone_, waiting());
        if (gone_ == bytes_.size() || gone_ > mostGone) {
            bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(gone_));
            gone_ = 0;
        }
        return !file_.readerGone();
    }

    void flush() override {}
    void finish() override
    {
        constexpr std::chrono::seconds patience(1);
        constexpr std::chrono::milliseconds step(10);
        const Clock::time_point end = Clock::now() + patience;
        while (passOn() && waiting() > 0 && Clock::now() < end)
            std::this_thread::sleep_for(step);
        if (!file_.readerGone())
            lost_ += (waiting() + packetSize_ - 1) / packetSize_;
        if (lost_ > 0)
            reportError(file_.name() + ": " + droppedText(lost_) + ", its reader took them too slowly");
        file_.commit();
    }

    bool isLive() const override { return false; }
    std::uint64_t lost() const override { return lost_; }

private:
    static constexpr std::size_t mostWaiting = 16U << 20;
    static constexpr std::size_t mostGone = 4U << 20;

    std::size_t waiting() const { return bytes_.size() - gone_; }

    OutputFile file_;
    std::vector<u8> bytes_;
    std::size_t gone_ = 0; // of them, these are written
    std::size_t packetSize_ = psi::demux::kPacketBytes;
    bool dropping_ = false;
    std::uint64_t lost_ = 0;
};

} // namespace

std::string droppedText(std::uint64_t packets)
{
    return std::to_string(packets) + (packets == 1 ? " packet was dropped" : " packets were dropped");
}

std::unique_ptr<LiveOutput> openLiveOutput(const std::string &name, Output &output)
{
    if (psi::demux::isLiveUrl(name))
        return std::make_unique<DatagramOutput>(name);
    return std::make_unique<WrittenOutput>(name, output);
}

} // namespace psitool
