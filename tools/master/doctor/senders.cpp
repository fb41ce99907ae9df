// The status of transmitters, and source addresses of datagrams.
#include "doctor/senders.h"

#include <fmt/format.h>

#include "net/fetch.h"
#include "output/escape.h"

namespace zulctl {

bool Sender::SendsTo(const Endpoint& group) const { return status && status->SendsTo(group); }

std::vector<Sender> AskSenders(const Session& session, const std::vector<Target>& transmitters) {
    const auto outcomes = OnEach(transmitters, [&](const Target& target) {
        Client client = session.Connect(target);
        return FetchStatus(client);
    });
    std::vector<Sender> senders;
    for (const auto& [target, status, failure] : outcomes)
        senders.push_back({Escaped(target.name), target.at.address, status});
    return senders;
}

Heard Listen(const Endpoint& group, int interfaceIndex, std::chrono::milliseconds howLong,
             const std::function<void(const StreamReport&)>& each) {
    UdpSocket socket = StreamSocket(group, interfaceIndex);
    Heard heard;
    StreamProbe probe;
    const auto deadline = Clock::now() + howLong;
    for (auto datagram = socket.Next(deadline); datagram && Clock::now() < deadline; datagram = socket.Next(deadline)) {
        heard.sources.insert(datagram->from.address);
        probe.Add({reinterpret_cast<const std::uint8_t*>(datagram->bytes.data()), datagram->bytes.size()},
                  datagram->arrived);
        probe.Report().lostHere = datagram->lost;
        if (each) each(probe.Report());
    }
    heard.report = probe.Report();
    return heard;
}

std::vector<Sender> AskOthers(Session& session, const std::set<Endpoint>& ours) {
    std::vector<Target> others = session.Everybody(Role::kTransmitter);
    std::erase_if(others, [&](const Target& other) { return ours.contains(other.at); });
    return AskSenders(session, others);
}

void RefuseTakenGroup(const Session& session, const Endpoint& group, const std::vector<Sender>& others,
                      const std::set<Endpoint>& ours) {
    constexpr std::chrono::milliseconds kEnough{500};
    const auto refuse = [&](const std::string& other) {
        throw Failure(kRefused,
                      "{} sends to {} already, and two senders spoil the picture of both; "
                      "--force starts another one",
                      other, EndpointText(group));
    };
    for (const Sender& sender : others) {
        if (sender.SendsTo(group)) refuse(sender.name);
    }
    std::set<std::uint32_t> sources;
    try {
        sources = Listen(group, session.InterfaceIndex(), kEnough).sources;
    } catch (const Failure&) {  // this machine may have no route for groups
    }
    for (const Endpoint& own : ours) sources.erase(own.address);
    if (!sources.empty()) refuse(AddressText(*sources.begin()));
}

}  // namespace zulctl
