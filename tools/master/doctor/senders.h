/// Who sends to a group: as reported by transmitters, and as received by this machine.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "net/session.h"
#include "protocol/status.h"
#include "stream/probe.h"

namespace zulctl {

/// A transmitter, and the streams that it reports.
struct Sender {
    std::string name;  ///< escaped
    std::uint32_t address = 0;
    std::optional<TransmitterStatus> status{};  ///< nothing: it doesn't answer

    bool SendsTo(const Endpoint& group) const;
};

/// Queries what transmitters send. \return one for each target, including silent ones
std::vector<Sender> AskSenders(const Session& session, const std::vector<Target>& transmitters);

/// What was received on a group.
struct Heard {
    std::set<std::uint32_t> sources{};  ///< source addresses
    StreamReport report{};
};

/// Joins a group for some time. Throws Failure(kUsage) when the join fails.
/// \param each  called after each datagram
Heard Listen(const Endpoint& group, int interfaceIndex, std::chrono::milliseconds howLong,
             const std::function<void(const StreamReport&)>& each = {});

/// \return what all transmitters except `ours` report to send
std::vector<Sender> AskOthers(Session& session, const std::set<Endpoint>& ours);
/// Throws Failure(kRefused) when one of the others reports sending to the group, or a source other than `ours` is heard
/// there.
void RefuseTakenGroup(const Session& session, const Endpoint& group, const std::vector<Sender>& others,
                      const std::set<Endpoint>& ours);

}  // namespace zulctl
