/// The channels of the tuner's modes.
#pragma once

#include <optional>

#include "guide/tunermanager.h"

/// First and last tuner channel of a walk, both included.
struct ChannelRange {
    int first;
    int last;
};

/// Channels a scan walks in the given tuner mode.
/// \return the inclusive range, or nothing for a mode the tuner doesn't have
constexpr std::optional<ChannelRange> ScanRange(TunerManager::TunerModeEnum mode) {
    switch (mode) {
        case TunerManager::eATSC: return ChannelRange{2, 69};
        case TunerManager::eQAM64:
        case TunerManager::eQAM256: return ChannelRange{1, 158};
        default: return std::nullopt;
    }
}

/// Channels that can be tuned: those of ATSC, or of QAM in any other mode.
constexpr ChannelRange TuneRange(TunerManager::TunerModeEnum mode) {
    return *ScanRange(mode == TunerManager::eATSC ? mode : TunerManager::eQAM256);
}
