/// Why a television is dark: a receiver, the stream that it plays, its sender, and the first fault on the path.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "doctor/diagnosis.h"
#include "doctor/senders.h"
#include "protocol/status.h"

namespace zulctl {

/// What is known of a receiver and of the stream that it plays.
struct ScreenView {
    std::string receiver;
    std::string silence;  ///< why the receiver doesn't answer; empty when it does
    ReceiverStatus status{};
    std::vector<Sender> transmitters{};  ///< all that are named or heard
    Heard heard{};
    std::vector<Diagnosis> surroundings{};  ///< possible later causes, such as a missing querier
};

/// Queries what a receiver plays, and joins that stream for some time. Throws Failure(kUsage) when the join fails.
ScreenView LookAtScreen(const Session& session, const Target& receiver, std::vector<Sender> transmitters,
                        std::chrono::milliseconds howLong);

/// \return the findings in order from receiver to transmitter; the last one is the first fault
std::vector<Diagnosis> ExamineScreen(const ScreenView& view);

/// Listens for a second, and warns when nothing arrives, or a programme is missing or scrambled.
/// \param programmes  empty: the stream's first, which a player takes
void WarnOfStream(Session& session, const Endpoint& group, std::set<std::uint16_t> programmes);

}  // namespace zulctl
