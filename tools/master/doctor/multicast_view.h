/// Multicast state of this machine: routes, joins, and IGMP queriers.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "net/udp_socket.h"

namespace zulctl {

/// A row of /proc/net/route.
struct RouteRow {
    std::string interfaceName;
    std::uint32_t mask = 0;  ///< host order
    std::uint32_t metric = 0;
};
/// \return the route that the text of /proc/net/route has for an address: the longest mask, then the least metric
std::optional<RouteRow> RouteFor(std::string_view table, std::uint32_t address);

/// \return name of the interface that a join uses; nothing when the join fails
std::optional<std::string> InterfaceOfJoin(std::uint32_t group, int interfaceIndex);
/// \return address from which the system sends to a group; nothing where there is no route
std::optional<std::uint32_t> SourceTowards(std::uint32_t group, int interfaceIndex);

/// \return the text of a small file such as those of /proc, or an empty one
std::string SystemText(const std::string& path);

/// Hears the queries of an IGMP querier (RFC 2236 and RFC 3376, type 0x11) on one interface. Reading such packets needs
/// CAP_NET_RAW.
class QuerierEar {
 public:
    /// Begins to listen, joins an unused group and leaves it, upon which a querier asks for remaining members (RFC
    /// 2236, 3). \return nothing where the system refuses
    static std::unique_ptr<QuerierEar> Open(int interfaceIndex);
    ~QuerierEar();
    QuerierEar(const QuerierEar&) = delete;
    QuerierEar& operator=(const QuerierEar&) = delete;

    /// \return the querier's address, or nothing at the deadline or after an interrupt
    std::optional<std::uint32_t> Wait(Clock::time_point deadline) const;

 private:
    explicit QuerierEar(int fd) : mFd(fd) {}

    int mFd;
};

}  // namespace zulctl
