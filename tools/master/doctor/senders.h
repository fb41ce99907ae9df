/// Who sends to a group: what transmitters say, and what comes to this machine.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "net/session.h"
#include "protocol/status.h"
#include "stream/probe.h"

namespace zulctl {

/// A transmitter, and what it says it sends.
struct Sender {
    std::string name;  ///< escaped
    std::uint32_t address = 0;
    std::optional<TransmitterStatus> status{};  ///< nothing: it doesn't answer

    bool SendsTo(const Endpoint& group) const;
};

/// Asks transmitters what they send. \return one for each target, silent ones too
std::vector<Sender> AskSenders(const Session& session, const std::vector<Target>& transmitters);

/// What came to a group.
struct Heard {
    std::set<std::uint32_t> sources{};  ///< addresses that it came from
    StreamReport report{};
};

/// Joins a group for some time. Throws Failure(kUsage) where it can't be joined.
Heard Listen(const Endpoint& group, int interfaceIndex, std::chrono::milliseconds howLong);

/// \return what all transmitters but `ours` say they send
std::vector<Sender> AskOthers(Session& session, const std::set<Endpoint>& ours);
/// Throws Failure(kRefused) where one of the others says that it sends to the group, or anybody but `ours` is heard
/// there.
void RefuseTakenGroup(const Session& session, const Endpoint& group, const std::vector<Sender>& others,
                      const std::set<Endpoint>& ours);

}  // namespace zulctl
