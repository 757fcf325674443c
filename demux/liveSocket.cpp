#include "demux/liveSocket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ifaddrs.h>
#include <linux/sock_diag.h>
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

bool hasOnly(const std::string &text, const char *characters)
{
    return text.find_first_not_of(characters) == std::string::npos;
}

/** "ff15::1%2" for "ff15::1%eth0": the system takes names for some kinds of addresses only. */
std::string withScopeNumber(const std::string &url, const std::string &host)
{
    const size_t percent = host.find('%');
    const std::string scope = percent == std::string::npos ? "" : host.substr(percent + 1);
    if (scope.empty() || hasOnly(scope, "0123456789"))
        return host;
    const unsigned index = if_nametoindex(scope.c_str());
    if (index == 0)
        refuse(url, "no interface \"" + scope + "\"");
    return host.substr(0, percent + 1) + std::to_string(index);
}

AddressList resolve(const std::string &url, const LiveAddress &address)
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo *found = nullptr;
    const std::string host = withScopeNumber(url, address.host);
    const int error = getaddrinfo(host.empty() ? nullptr : host.c_str(), address.port.c_str(), &hints, &found);
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
        refuse(url, "no interface \"" + interface + "\"");
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

/** Let what is sent pass so many routers, and one less. */
bool limitHops(int descriptor, int family, bool group, int hops)
{
    if (family == AF_INET6)
        return setsockopt(descriptor, IPPROTO_IPV6, group ? IPV6_MULTICAST_HOPS : IPV6_UNICAST_HOPS, &hops,
                          sizeof hops) == 0;
    return setsockopt(descriptor, IPPROTO_IP, group ? IP_MULTICAST_TTL : IP_TTL, &hops, sizeof hops) == 0;
}

/** Interface of "[ff02::1%eth0]", 0 when it names none. */
unsigned scopeOf(const addrinfo &address)
{
    if (address.ai_family != AF_INET6)
        return 0;
    sockaddr_in6 in6 = {};
    std::memcpy(&in6, address.ai_addr, sizeof in6);
    return in6.sin6_scope_id;
}

unsigned interfaceFor(const std::string &url, const LiveAddress &parts, const addrinfo &address)
{
    return parts.interface.empty() ? scopeOf(address) : wantedInterface(url, parts.interface);
}

/** Of an address that is good on one link only, say on which. RFC 4291 2.5.6, 2.7 */
void nameLink(addrinfo &address, const std::string &url, const LiveAddress &parts)
{
    if (address.ai_family != AF_INET6 || address.ai_addrlen != sizeof(sockaddr_in6))
        return;
    sockaddr_in6 in6 = {};
    std::memcpy(&in6, address.ai_addr, sizeof in6);
    const bool ofLink = IN6_IS_ADDR_LINKLOCAL(&in6.sin6_addr) || IN6_IS_ADDR_MC_LINKLOCAL(&in6.sin6_addr) ||
                        IN6_IS_ADDR_MC_NODELOCAL(&in6.sin6_addr);
    if (!ofLink || in6.sin6_scope_id != 0)
        return;
    in6.sin6_scope_id = wantedInterface(url, parts.interface);
    if (in6.sin6_scope_id == 0)
        refuse(url, "every interface has this address: say which ([" + parts.host + "%eth0])");
    std::memcpy(address.ai_addr, &in6, sizeof in6);
}

/** A group on one interface only, whoever else listens to it on another one: ip(7) IP_MULTICAST_ALL. */
void hearOwnGroupOnly(int descriptor, int family)
{
    const int off = 0;
    if (family == AF_INET)
        setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof off);
#ifdef IPV6_MULTICAST_ALL
    else
        setsockopt(descriptor, IPPROTO_IPV6, IPV6_MULTICAST_ALL, &off, sizeof off);
#endif
}

/** The group is joined by interface index, which is the same for IPv4 and IPv6 (RFC 3678). */
void join(int descriptor, const addrinfo &address, const std::string &url, const LiveAddress &parts)
{
    group_source_req request = {};
    request.gsr_interface = interfaceFor(url, parts, address);
    std::memcpy(&request.gsr_group, address.ai_addr, address.ai_addrlen);
    const int level = address.ai_family == AF_INET ? IPPROTO_IP : IPPROTO_IPV6;
    int joined = 0;
    if (parts.source.empty()) {
        group_req any = {};
        any.gr_interface = request.gsr_interface;
        any.gr_group = request.gsr_group;
        joined = setsockopt(descriptor, level, MCAST_JOIN_GROUP, &any, sizeof any);
    } else {
        const AddressList source = resolve(url, {parts.source, parts.port, {}, {}, 0});
        if (source->ai_family != address.ai_family)
            refuse(url, "source and group are addresses of different kinds");
        std::memcpy(&request.gsr_source, source->ai_addr, source->ai_addrlen);
        joined = setsockopt(descriptor, level, MCAST_JOIN_SOURCE_GROUP, &request, sizeof request);
    }
    if (joined != 0)
        fail(url, "cannot join the group: " + std::generic_category().message(errno));
}

/** A number of 1 to `most` in decimal digits, 0 for anything else. */
unsigned long numberOf(const std::string &digits, unsigned long most)
{
    constexpr size_t mostDigits = 5;
    const bool plain = !digits.empty() && digits.size() <= mostDigits && hasOnly(digits, "0123456789");
    const unsigned long value = plain ? std::stoul(digits) : 0;
    return value <= most ? value : 0;
}

void takeOption(const std::string &url, const std::string &option, LiveAddress &address)
{
    const std::string value = option.substr(std::min(option.find('=') + 1, option.size()));
    if (option.compare(0, 6, "iface=") == 0 && !value.empty())
        address.interface = value;
    else if (option.compare(0, 4, "ttl=") == 0 && numberOf(value, 255) > 0)
        address.ttl = static_cast<unsigned>(numberOf(value, 255));
    else
        refuse(url, "unknown option \"" + option + "\" (iface=NAME and ttl=1..255 are known)");
}

/** "239.1.1.1", "[ff02::1]" without the brackets. */
std::string withoutBrackets(const std::string &host)
{
    const bool bracketed = host.size() >= 2 && host.front() == '[' && host.back() == ']';
    return bracketed ? host.substr(1, host.size() - 2) : host;
}

/** "239.1.1.1", "ff02::1", "ff02::1%eth0", or what a name may look like: who knows it is asked later. */
bool isHost(const std::string &host)
{
    in6_addr address = {};
    const std::string plain = host.substr(0, host.find('%'));
    if (host.find(':') != std::string::npos)
        return inet_pton(AF_INET6, plain.c_str(), &address) == 1 && host.back() != '%';
    if (hasOnly(host, "0123456789."))
        return inet_pton(AF_INET, host.c_str(), &address) == 1;
    return host.find_first_of(" !\"#$%&'()*+,/:;<=>?@[\\]^`{|}~") == std::string::npos;
}

void checkHost(const std::string &url, const std::string &host)
{
    if (!host.empty() && !isHost(host))
        refuse(url, "\"" + host + "\" is no address");
}

} // namespace

uint64_t steadyMilliseconds()
{
    const auto since = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(since).count());
}

LiveAddress parseLiveUrl(const std::string &url)
{
    LiveAddress address;
    std::string rest = url.substr(url.find("://") + 3);
    const size_t query = rest.find('?');
    if (query != std::string::npos) {
        for (size_t at = query; at != std::string::npos;) {
            const size_t next = rest.find('&', at + 1);
            takeOption(url, rest.substr(at + 1, next == std::string::npos ? next : next - at - 1), address);
            at = next;
        }
        rest.resize(query);
    }
    const size_t source = rest.find('@');
    if (source != std::string::npos) {
        address.source = withoutBrackets(rest.substr(0, source));
        rest.erase(0, source + 1);
    }
    const size_t colon = rest.rfind(':');
    const bool bracketed = !rest.empty() && rest.front() == '[';
    if (colon == std::string::npos || (bracketed && (colon == 0 || rest[colon - 1] != ']')))
        refuse(url, "no port");
    address.host = withoutBrackets(rest.substr(0, colon));
    address.port = rest.substr(colon + 1);
    if (numberOf(address.port, 65535) == 0)
        refuse(url, "\"" + address.port + "\" is no port");
    checkHost(url, address.host);
    checkHost(url, address.source);
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

/** The kernel gives as much as it is allowed to, and counts what it keeps besides as well. @return bytes granted */
static uint64_t enlargeBuffer(int descriptor, uint32_t wanted)
{
    const int bytes = static_cast<int>(wanted);
    if (setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0) // for those who may
        setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    int doubled = 0;
    socklen_t size = sizeof doubled;
    getsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &doubled, &size);
    return static_cast<uint64_t>(doubled) / 2;
}

LiveSocket::LiveSocket(const std::string &url, uint32_t bufferBytes)
{
    const LiveAddress address = parseLiveUrl(url);
    const AddressList list = resolve(url, address);
    nameLink(*list, url, address);
    const addrinfo &local = *list;
    descriptor = socket(local.ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        fail(url, std::generic_category().message(errno));
    try {
        const int on = 1;
        const bool group = isMulticast(local.ai_addr);
        if (!group && !address.source.empty())
            refuse(url, "a source is for a group, and " + (address.host.empty() ? "there" : address.host) + " is none");
        if (group)
            setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        setsockopt(descriptor, SOL_SOCKET, SO_RXQ_OVFL, &on, sizeof on);
        granted = enlargeBuffer(descriptor, bufferBytes);
        if (bind(descriptor, local.ai_addr, local.ai_addrlen) != 0)
            fail(url, std::generic_category().message(errno));
        if (group) {
            hearOwnGroupOnly(descriptor, local.ai_family);
            join(descriptor, local, url, address);
        }
    } catch (...) {
        close(descriptor);
        throw;
    }
}

LiveSocket::~LiveSocket()
{
    close(descriptor);
}

/** With the kernel's count of datagrams that found no room, socket(7) SO_RXQ_OVFL. */
// NOLINTNEXTLINE(readability-non-const-parameter): the kernel writes there
ssize_t LiveSocket::receiveNow(u8 *buffer, size_t size)
{
    iovec part = {buffer, size};
    alignas(cmsghdr) std::array<u8, CMSG_SPACE(sizeof(uint32_t)) + 64> control = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t got = recvmsg(descriptor, &message, MSG_DONTWAIT);
    if (got < 0)
        return got;
    for (cmsghdr *one = CMSG_FIRSTHDR(&message); one != nullptr; one = CMSG_NXTHDR(&message, one))
        if (one->cmsg_level == SOL_SOCKET && one->cmsg_type == SO_RXQ_OVFL) {
            uint32_t count = 0;
            std::memcpy(&count, CMSG_DATA(one), sizeof count);
            dropped = count;
        }
    return got;
}

/** What came with the datagrams tells of losses in front of the last one; the socket knows of those behind it too. */
uint64_t LiveSocket::lost() const
{
    std::array<uint32_t, SK_MEMINFO_VARS> memory = {};
    socklen_t size = sizeof memory;
    const bool known = getsockopt(descriptor, SOL_SOCKET, SO_MEMINFO, memory.data(), &size) == 0 &&
                       size > SK_MEMINFO_DROPS * sizeof(uint32_t);
    return known ? std::max<uint32_t>(memory[SK_MEMINFO_DROPS], dropped) : dropped.load();
}

size_t LiveSocket::receive(u8 *buffer, size_t size, int waitMs)
{
    ssize_t got = receiveNow(buffer, size);
    if (got < 0) {
        pollfd waiting = {descriptor, POLLIN, 0};
        if (poll(&waiting, 1, waitMs) <= 0)
            return 0;
        got = receiveNow(buffer, size);
    }
    return got > 0 ? static_cast<size_t>(got) : 0;
}

LiveSender::LiveSender(const std::string &url)
{
    const LiveAddress parts = parseLiveUrl(url);
    if (parts.host.empty())
        refuse(url, "no address to send to");
    const AddressList list = resolve(url, parts);
    nameLink(*list, url, parts);
    const auto *bytes = reinterpret_cast<const u8 *>(list->ai_addr);
    address.assign(bytes, bytes + list->ai_addrlen);
    const bool group = isMulticast(list->ai_addr);
    const unsigned index = group ? interfaceFor(url, parts, *list) : 0;
    descriptor = socket(list->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        fail(url, std::generic_category().message(errno));
    const bool through = index == 0 || sendThrough(descriptor, list->ai_family, index);
    if (!through || (parts.ttl != 0 && !limitHops(descriptor, list->ai_family, group, static_cast<int>(parts.ttl)))) {
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
