#include "demux/liveSocket.h"

#include <cerrno>
#include <cstring>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace psi::demux {

namespace {

using AddressList = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

[[noreturn]] void fail(const std::string &url, const std::string &why)
{
    throw InputError(url + ": " + why);
}

[[noreturn]] void refuse(const std::string &url, const std::string &why)
{
    throw WrongName(url + ": " + why);
}

AddressList resolve(const std::string &url, const LiveAddress &address)
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo *found = nullptr;
    const char *host = address.host.empty() ? nullptr : address.host.c_str();
    const int error = getaddrinfo(host, address.port.c_str(), &hints, &found);
    if (error != 0)
        fail(url, gai_strerror(error));
    return {found, freeaddrinfo};
}

bool isMulticast(const sockaddr *address)
{
    if (address->sa_family == AF_INET) {
        sockaddr_in in = {};
        std::memcpy(&in, address, sizeof in);
        return IN_MULTICAST(ntohl(in.sin_addr.s_addr));
    }
    sockaddr_in6 in6 = {};
    std::memcpy(&in6, address, sizeof in6);
    return IN6_IS_ADDR_MULTICAST(&in6.sin6_addr);
}

std::string numericName(const sockaddr *address)
{
    char text[NI_MAXHOST] = "";
    const socklen_t length = address->sa_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    getnameinfo(address, length, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
    return text;
}

/** Index of an interface by its name or one of its addresses, 0 when there is none. */
unsigned interfaceIndex(const std::string &wanted)
{
    unsigned index = if_nametoindex(wanted.c_str());
    ifaddrs *all = nullptr;
    if (index != 0 || getifaddrs(&all) != 0)
        return index;
    for (const ifaddrs *one = all; one != nullptr && index == 0; one = one->ifa_next) {
        const bool internet =
            one->ifa_addr != nullptr && (one->ifa_addr->sa_family == AF_INET || one->ifa_addr->sa_family == AF_INET6);
        if (internet && numericName(one->ifa_addr) == wanted)
            index = if_nametoindex(one->ifa_name);
    }
    freeifaddrs(all);
    return index;
}

/** 0 when none is wanted: the system's choice. */
unsigned wantedInterface(const std::string &url, const std::string &interface)
{
    const unsigned index = interface.empty() ? 0 : interfaceIndex(interface);
    if (index == 0 && !interface.empty())
        fail(url, "no interface \"" + interface + "\"");
    return index;
}

/** Send to a group through that interface. */
bool sendThrough(int descriptor, int family, unsigned index)
{
    if (family != AF_INET)
        return setsockopt(descriptor, IPPROTO_IPV6, IPV6_MULTICAST_IF, &index, sizeof index) == 0;
    ip_mreqn request = {};
    request.imr_ifindex = static_cast<int>(index);
    return setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_IF, &request, sizeof request) == 0;
}

/** The group is joined by interface index, which is the same for IPv4 and IPv6 (RFC 3678). */
void join(int descriptor, const addrinfo &address, const std::string &url, const std::string &interface)
{
    group_req request = {};
    request.gr_interface = wantedInterface(url, interface);
    std::memcpy(&request.gr_group, address.ai_addr, address.ai_addrlen);
    const int level = address.ai_family == AF_INET ? IPPROTO_IP : IPPROTO_IPV6;
    if (setsockopt(descriptor, level, MCAST_JOIN_GROUP, &request, sizeof request) != 0)
        fail(url, "cannot join the group: " + std::generic_category().message(errno));
}

} // namespace

LiveAddress parseLiveUrl(const std::string &url)
{
    LiveAddress address;
    std::string rest = url.substr(url.find("://") + 3);
    const size_t query = rest.find('?');
    if (query != std::string::npos) {
        const std::string option = rest.substr(query + 1);
        if (option.compare(0, 6, "iface=") != 0 || option.size() == 6)
            refuse(url, "unknown option \"" + option + "\" (iface=NAME is known)");
        address.interface = option.substr(6);
        rest.resize(query);
    }
    const size_t colon = rest.rfind(':');
    const bool bracketed = !rest.empty() && rest.front() == '[';
    if (colon == std::string::npos || (bracketed && (colon == 0 || rest[colon - 1] != ']')))
        refuse(url, "no port");
    address.host = bracketed ? rest.substr(1, colon - 2) : rest.substr(0, colon);
    address.port = rest.substr(colon + 1);
    if (!address.host.empty() && address.host.front() == '@')
        address.host.erase(0, 1);
    const bool digits = address.port.find_first_not_of("0123456789") == std::string::npos;
    if (address.port.empty() || address.port.size() > 5 || !digits || std::stoul(address.port) - 1 > 65534)
        refuse(url, "\"" + address.port + "\" is no port");
    return address;
}

/** True for one of this machine's own addresses: only those can be bound. */
static bool isOwnAddress(const addrinfo &address)
{
    const int probe = socket(address.ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (probe < 0)
        return false;
    sockaddr_storage anyPort = {};
    std::memcpy(&anyPort, address.ai_addr, address.ai_addrlen);
    if (address.ai_family == AF_INET)
        static_cast<sockaddr_in *>(static_cast<void *>(&anyPort))->sin_port = 0;
    else
        static_cast<sockaddr_in6 *>(static_cast<void *>(&anyPort))->sin6_port = 0;
    const bool bound =
        bind(probe, static_cast<const sockaddr *>(static_cast<const void *>(&anyPort)), address.ai_addrlen) == 0;
    close(probe);
    return bound;
}

bool feedsItself(const std::string &input, const std::string &output)
{
    const LiveAddress from = parseLiveUrl(input);
    const LiveAddress to = parseLiveUrl(output);
    if (std::stoul(from.port) != std::stoul(to.port) || to.host.empty())
        return false;
    const AddressList fromList = resolve(input, from);
    const AddressList toList = resolve(output, to);
    if (!from.host.empty())
        return numericName(fromList->ai_addr) == numericName(toList->ai_addr);
    return !isMulticast(toList->ai_addr) && isOwnAddress(*toList);
}

LiveSocket::LiveSocket(const std::string &url, uint32_t bufferBytes)
{
    const LiveAddress address = parseLiveUrl(url);
    const AddressList list = resolve(url, address);
    const addrinfo &local = *list;
    descriptor = socket(local.ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        fail(url, std::generic_category().message(errno));
    try {
        const int on = 1;
        const int bytes = static_cast<int>(bufferBytes);
        setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        // The kernel gives as much as it is allowed to.
        setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
        if (bind(descriptor, local.ai_addr, local.ai_addrlen) != 0)
            fail(url, std::generic_category().message(errno));
        if (isMulticast(local.ai_addr))
            join(descriptor, local, url, address.interface);
    } catch (...) {
        close(descriptor);
        throw;
    }
}

LiveSocket::~LiveSocket()
{
    close(descriptor);
}

size_t LiveSocket::receive(u8 *buffer, size_t size, int waitMs)
{
    ssize_t got = recv(descriptor, buffer, size, MSG_DONTWAIT);
    if (got < 0) {
        pollfd waiting = {descriptor, POLLIN, 0};
        if (poll(&waiting, 1, waitMs) <= 0)
            return 0;
        got = recv(descriptor, buffer, size, MSG_DONTWAIT);
    }
    return got > 0 ? static_cast<size_t>(got) : 0;
}

LiveSender::LiveSender(const std::string &url)
{
    const LiveAddress parts = parseLiveUrl(url);
    if (parts.host.empty())
        fail(url, "no address to send to");
    const AddressList list = resolve(url, parts);
    const auto *bytes = reinterpret_cast<const u8 *>(list->ai_addr);
    address.assign(bytes, bytes + list->ai_addrlen);
    const unsigned index = isMulticast(list->ai_addr) ? wantedInterface(url, parts.interface) : 0;
    descriptor = socket(list->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        fail(url, std::generic_category().message(errno));
    if (index != 0 && !sendThrough(descriptor, list->ai_family, index)) {
        const std::string why = std::generic_category().message(errno);
        close(descriptor);
        fail(url, why);
    }
}

LiveSender::~LiveSender()
{
    close(descriptor);
}

bool LiveSender::send(const u8 *data, size_t size)
{
    // Memory of a vector is aligned for everything.
    const auto *to = static_cast<const sockaddr *>(static_cast<const void *>(address.data()));
    return sendto(descriptor, data, size, 0, to, static_cast<socklen_t>(address.size())) == static_cast<ssize_t>(size);
}

} // namespace psi::demux
