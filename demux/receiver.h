/**
 * @file receiver.h
 * @brief Receives datagrams in a thread of its own, so that nothing is lost while others work.
 */
#ifndef PSI_DEMUX_RECEIVER_H
#define PSI_DEMUX_RECEIVER_H

#include "demux/liveSocket.h"

#include <atomic>
#include <functional>
#include <thread>

namespace psi::demux {

/** @brief Called in the receiver's thread with each datagram, the bytes valid during the call; with none when nothing
 * comes for a while. */
using DatagramHandler = std::function<void(const u8 *datagram, size_t size)>;

/** @brief A live input's socket and the thread that reads it, from construction to destruction. */
class Receiver {
public:
    /** @brief Throws InputError. @param url "udp://..." or "rtp://..." @param bufferBytes asked of the kernel */
    Receiver(const std::string &url, uint32_t bufferBytes, DatagramHandler onDatagram);
    ~Receiver();
    Receiver(const Receiver &) = delete;
    Receiver &operator=(const Receiver &) = delete;

    /** @brief Put in what the socket knows. */
    void addTo(Statistics &statistics) const
    {
        statistics.datagramsLost = socket.lost();
        statistics.receiveBuffer = socket.bufferBytes();
    }

private:
    void receive();

    LiveSocket socket;
    DatagramHandler handler;
    std::atomic<bool> quit{false};
    std::thread thread;
};

} // namespace psi::demux

#endif // PSI_DEMUX_RECEIVER_H
