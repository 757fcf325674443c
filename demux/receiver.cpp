#include "demux/receiver.h"

#include <csignal>
#include <vector>

namespace psi::demux {

namespace {

constexpr int kReceiveWaitMs = 50;

} // namespace

/** Signals stay with the program's own threads. */
Receiver::Receiver(const std::string &url, uint32_t bufferBytes, DatagramHandler onDatagram)
    : socket(url, bufferBytes), handler(std::move(onDatagram))
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread = std::thread([this] { receive(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Receiver::~Receiver()
{
    quit = true;
    thread.join();
}

void Receiver::receive()
{
    std::vector<u8> datagram(kDatagramBytes);
    while (!quit) {
        const size_t size = socket.receive(datagram.data(), datagram.size(), kReceiveWaitMs);
        handler(datagram.data(), size);
    }
}

} // namespace psi::demux
