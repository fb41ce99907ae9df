/// Channels of the tuner's modes.
#pragma once

#include <optional>

#include "guide/tuner.h"

/// First and last tuner channel, both included.
struct ChannelRange {
    int first;
    int last;
};

/// Channels that a scan covers in a tuner mode.
/// \return their range, or nothing for a mode that the tuner doesn't have
constexpr std::optional<ChannelRange> ScanRange(Tuner::TunerModeEnum mode) {
    switch (mode) {
        case Tuner::eATSC: return ChannelRange{2, 69};
        case Tuner::eQAM64:
        case Tuner::eQAM256: return ChannelRange{1, 158};
        default: return std::nullopt;
    }
}

/// Channels that can be tuned: those of ATSC, or of QAM in any other mode.
constexpr ChannelRange TuneRange(Tuner::TunerModeEnum mode) {
    return *ScanRange(mode == Tuner::eATSC ? mode : Tuner::eQAM256);
}
