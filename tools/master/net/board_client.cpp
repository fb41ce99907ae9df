// Requests, replies, retries, and the explanation of a missing reply.
#include "net/board_client.h"

#include <fmt/format.h>

#include <algorithm>

#include <utility>

#include "output/escape.h"

namespace zulctl {

namespace {

/// Longer than a request of the status page, which takes a second or more.
constexpr std::chrono::seconds kTurnPatience{10};

std::string LockName(const char* what, const ClientOptions& options, std::uint32_t address, std::uint16_t port) {
    return fmt::format("zulctl/{}/{}/{}:{}", what, options.localPort, AddressText(address), port);
}

/// \return a bound socket on the fixed local port that receives from this peer
UdpSocket SharedSocket(const Endpoint& peer, const ClientOptions& options) {
    UdpSocket socket(options.recorder);
    socket.ShareAddress();
    socket.Bind(options.localPort, options.localAddress);
    socket.OnlyFrom(peer);
    return socket;
}

}  // namespace

Failure WrongRole(const std::string& board, Role is, Role wanted) {
    return {kUsage, "{} is a {}, and this is for a {}", board, RoleName(is), RoleName(wanted)};
}

Ear::Ear(std::uint32_t board, const ClientOptions& options, Clock::time_point deadline)
    : mTurn(LockName("ear", options, board, 0), deadline), mSocket(SharedSocket({board, 0}, options)) {}

Client::Turn::Turn(const Endpoint& board, const ClientOptions& options, Clock::time_point deadline)
    : lock(LockName("turn", options, board.address, board.port), deadline), socket(SharedSocket(board, options)) {}

Client::Client(const Endpoint& board, ClientOptions options) : mBoard(board), mOptions(std::move(options)) {}

std::optional<Datagram> Client::Await(Turn& turn, Ear* ear, std::string_view request, Clock::time_point deadline) {
    constexpr std::chrono::milliseconds kBootPoll{500};
    const RequestKind& kind = KindOf(request);
    UdpSocket* const sockets[] = {&turn.socket, ear != nullptr ? &ear->Socket() : &turn.socket};
    while (const auto ready = WaitForAny({sockets, ear != nullptr ? 2u : 1u}, deadline)) {
        bool refused = false;
        auto datagram = sockets[*ready]->Take(&refused);
        if (refused) {
            if (!turn.refused) CheckRole();
            turn.refused = true;
            if (!mOptions.waitsForBoot || kind.tries == 1) NobodyListens();
            SleepUntil(std::min(deadline, Clock::now() + kBootPoll));
            turn.socket.Send(request, mBoard);
            continue;
        }
        if (!datagram || !kind.Accepts(datagram->bytes)) continue;
        // A plain OK on the command port can't answer a forwarded request: it is a late reply.
        if (kind.route == Route::kForwarded && *ready == 0 && !IsKo(datagram->bytes) &&
            !datagram->bytes.starts_with("BLIND")) {
            continue;
        }
        return datagram;
    }
    return std::nullopt;
}

std::string Client::Ask(std::string_view request, Ear* ear, const IsLast& isLast) {
    const RequestKind& kind = KindOf(request);
    const auto patience = Patience(kind);
    std::optional<Ear> own;
    if (kind.route == Route::kForwarded && ear == nullptr)
        ear = &own.emplace(mBoard.address, mOptions, Clock::now() + patience);
    {
        Turn turn(mBoard, mOptions, Clock::now() + patience);
        for (int tries = kind.tries; tries > 0 && !Interrupted(); --tries) {
            while (turn.socket.Take()) continue;  // late answers to the previous try
            turn.socket.Send(request, mBoard);
            std::string answer;
            while (const auto piece = Await(turn, ear, request, Clock::now() + patience)) {
                answer += piece->bytes;
                if (!isLast || isLast(piece->bytes) || IsKo(piece->bytes)) return answer;
            }
        }
        if (turn.refused && !Interrupted()) NobodyListens();
    }
    if (Interrupted()) throw Failure(kNoAnswer, "interrupted");
    ExplainSilence(kind);
}

void Client::ExplainSilence(const RequestKind& kind) {
    const auto isAlive = [&] {
        try {
            return !Ask("VERS").empty();
        } catch (const Failure&) {
            return false;
        }
    };
    if (kind.route == Route::kForwarded && isAlive()) {
        throw Failure(
            kNoAnswer,
            "{} is alive, but its answer ({}) went elsewhere: a board sends scan, guide and language messages "
            "to the first peer that asked it after its start, and that wasn't local port {} of this machine. "
            "Give that peer's port with --local-port, or restart the board (zulctl reset).",
            EndpointText(mBoard), kind.note, mOptions.localPort);
    }
    CheckRole();
    throw Failure(kNoAnswer, "{} doesn't answer ({}; {} {} of {:.1f} s)", EndpointText(mBoard), kind.note, kind.tries,
                  kind.tries == 1 ? "try" : "tries", std::chrono::duration<double>(Patience(kind)).count());
}

void Client::CheckRole() {
    constexpr std::chrono::milliseconds kPatience{500};
    if (mBoard.port != kTransmitterPort && mBoard.port != kReceiverPort) return;
    const Role wanted = mBoard.port == kTransmitterPort ? Role::kTransmitter : Role::kReceiver;
    const Role other = wanted == Role::kReceiver ? Role::kTransmitter : Role::kReceiver;
    UdpSocket socket(mOptions.recorder);
    socket.Bind(0, mOptions.localAddress);
    socket.Send("ZUL", {mBoard.address, CommandPort(other)});
    const auto datagram = socket.Next(Clock::now() + std::min(kPatience, mOptions.timeout.value_or(kPatience)));
    const auto beacon = datagram ? ParseBeacon(datagram->bytes) : std::nullopt;
    if (beacon && beacon->role == other) throw WrongRole(AddressText(mBoard.address), other, wanted);
}

void Client::NobodyListens() {
    throw Failure(kNoAnswer, "nobody listens at {}; the board may be booting", EndpointText(mBoard));
}

void Client::Order(std::string_view request, const std::string& what) {
    const std::string answer = Ask(request);
    if (!IsOk(answer)) throw Failure(kRefused, "{} refuses {}", EndpointText(mBoard), what);
}

void Client::Tell(std::string_view request) {
    Turn turn(mBoard, mOptions, Clock::now() + Patience(KindOf(request)));
    turn.socket.Send(request, mBoard);
}

void Client::Listen(std::string_view request, Clock::duration howLong,
                    const std::function<bool(const Datagram&)>& take) {
    const auto turnBy = Clock::now() + std::max<Clock::duration>(howLong, kTurnPatience);
    Ear ear(mBoard.address, mOptions, turnBy);
    Turn turn(mBoard, mOptions, turnBy);
    turn.socket.Send(request, mBoard);
    const auto deadline = Clock::now() + howLong;
    UdpSocket* const sockets[] = {&turn.socket, &ear.Socket()};
    while (const auto ready = WaitForAny(sockets, deadline)) {
        bool refused = false;
        const auto datagram = sockets[*ready]->Take(&refused);
        if (refused) CheckRole(), NobodyListens();
        if (datagram && !take(*datagram)) return;
    }
}

}  // namespace zulctl
