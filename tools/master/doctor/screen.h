/// Why a television is dark: a receiver, what it plays, who sends that, and the first thing that is wrong on the way.
#pragma once

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
    std::vector<Diagnosis> surroundings{};  ///< what may darken it later, such as a missing querier
};

/// Asks a receiver what it plays, and joins that for some time. Throws Failure(kUsage) where it can't be joined.
ScreenView LookAtScreen(const Session& session, const Target& receiver, std::vector<Sender> transmitters,
                        std::chrono::milliseconds howLong);

/// \return the findings in the order of the way from receiver to transmitter; the first fault is the last of them
std::vector<Diagnosis> ExamineScreen(const ScreenView& view);

}  // namespace zulctl
