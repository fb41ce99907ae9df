/// Sends a request to a board and waits for its reply.
///
/// All requests leave from one fixed local port, because a board sends its scan, guide and language messages to the
/// first peer that ever asked for them, until it restarts. Every request has its own socket on that port, which
/// receives only from the board's command port; an Ear receives from the board's other ports. The kernel prefers the
/// more specific match, so that many processes share the port without receiving each other's replies. Requests to the
/// same board take turns, and so do its ears.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "net/udp_socket.h"
#include "output/failure.h"
#include "protocol/beacon.h"
#include "protocol/requests.h"

namespace zulctl {

inline constexpr std::uint16_t kLocalPort = 52440;

/// Settings of a client: this machine, and the operator's options.
struct ClientOptions {
    std::uint16_t localPort = kLocalPort;
    std::uint32_t localAddress = 0;                    ///< 0: as the routing table says
    std::optional<std::chrono::milliseconds> timeout;  ///< overrides the patience of each kind
    bool waitsForBoot = false;  ///< where nobody listens, a query is repeated within its patience
    std::shared_ptr<Recorder> recorder;
};

/// Timed out: another process used the board all the time. Says nothing about the board itself.
struct TurnTaken : Failure {
    explicit TurnTaken(const std::string& text) : Failure(kNoAnswer, text) {}
};

/// Holds one named turn for its lifetime. The name is a socket of the abstract namespace: like the ports it belongs to
/// this network namespace, it works across users, and it is released however its process ends.
class PortLock {
 public:
    /// Waits for the turn until the deadline. Throws TurnTaken with the name of the blocking process on time-out.
    PortLock(const std::string& name, Clock::time_point deadline);
    ~PortLock();
    PortLock(const PortLock&) = delete;
    PortLock& operator=(const PortLock&) = delete;

 private:
    int mFd;
};

/// Receives a board's forwarded messages for its lifetime; at most one ear per board on this machine. Throws Failure
/// when another process is listening.
class Ear {
 public:
    Ear(std::uint32_t board, const ClientOptions& options, Clock::time_point deadline);
    UdpSocket& Socket() { return mSocket; }

 private:
    PortLock mTurn;
    UdpSocket mSocket;
};

/// A board's command service.
class Client {
 public:
    Client(const Endpoint& board, ClientOptions options);

    const Endpoint& Board() const { return mBoard; }
    const ClientOptions& Options() const { return mOptions; }

    using IsLast = std::function<bool(std::string_view datagram)>;

    /// Sends a request and returns the reply, whatever it says. Retries only where its kind allows.
    /// \param ear     receives forwarded replies; null: one is created for the request
    /// \param isLast  whether a datagram ends a reply of several, which are joined; null: the first one does
    /// Throws Failure(kNoAnswer) with the reason, as far as known.
    std::string Ask(std::string_view request, Ear* ear = nullptr, const IsLast& isLast = nullptr);
    /// As Ask; throws Failure(kRefused) unless the answer is "OK".
    void Order(std::string_view request, const std::string& what);
    /// Sends a request and doesn't wait: its effect is seen elsewhere.
    void Tell(std::string_view request);

    /// Waits for its turn, sends a request and passes on every reply, in any form, until the time is up.
    void Listen(std::string_view request, Clock::duration howLong, const std::function<bool(const Datagram&)>& take);

    std::chrono::milliseconds Patience(const RequestKind& kind) const {
        return mOptions.timeout.value_or(kind.patience);
    }

 private:
    /// A turn at the board: the lock and the socket of one request.
    struct Turn {
        Turn(const Endpoint& board, const ClientOptions& options, Clock::time_point deadline);
        PortLock lock;
        UdpSocket socket;
        bool refused = false;  ///< nobody listened
    };
    std::optional<Datagram> Await(Turn& turn, Ear* ear, std::string_view request, Clock::time_point deadline);
    [[noreturn]] void ExplainSilence(const RequestKind& kind);
    /// Throws when a board of the other role is at this address.
    void CheckRole();
    [[noreturn]] void NobodyListens();

    Endpoint mBoard;
    ClientOptions mOptions;
};

/// A command for one role was given a board of the other.
Failure WrongRole(const std::string& board, Role is, Role wanted);

}  // namespace zulctl
