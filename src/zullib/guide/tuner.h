/// The tuner, driven by the board's command-line tool.
#pragma once

#include <atomic>

#include "guide/programmestore.h"
#include "guide/role.h"

/// The tuner and its mode. What it tunes becomes the store's current channel.
class Tuner {
 public:
    enum TunerModeEnum { eATSC = 0, eQAM64 = 1, eQAM256 = 2, eModeMax = 3 };

    Tuner(Role role, ProgrammeStore& store) : mRole(role), mStore(store) {}

    void SetMode(TunerModeEnum mode);
    TunerModeEnum Mode() const { return mMode.load(std::memory_order_relaxed); }

    bool StartTuner();  ///< \return true; nothing to do at start
    bool StopTuner();   ///< Stops the tuner's video. \return true
    /// Tunes, waits 3 s and reads the signal. \return false when the mode has no such channel; nothing changes then
    bool TuneToChannel(int channelNo);
    /// Reads the signal strength, with which later programmes are filed. \return strength, 0 to 5
    int ReadStrength();

 private:
    [[gnu::format(printf, 2, 3)]] void M710CmmdSet(const char* format, ...);

    const Role mRole;
    ProgrammeStore& mStore;
    std::atomic<TunerModeEnum> mMode{eATSC};
};
