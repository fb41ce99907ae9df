/// Process-wide counters of the data path.
#pragma once

#include <atomic>
#include <cstdint>

#include "core/broadcasttime.h"

/// Counts what the filter, the streamers and the analysers do. Writers are the host's thread and the command
/// thread; each word is read without a lock, so the figures of one report may be of different moments.
class Statistics {
 public:
    using Counter = std::atomic<std::uint32_t>;
    static constexpr unsigned kTableIds = 255;

    /// The one instance, made at the first call and never freed.
    static Statistics* Self();

    /// Zeroes all counters and the signal strength, and restarts the period of the table rates.
    void Reset();

    void AddInBytes(unsigned int bytes) { mTotalIn.fetch_add(bytes, std::memory_order_relaxed); }
    void AddOutBytes(unsigned int bytes) { mTotalOut.fetch_add(bytes, std::memory_order_relaxed); }
    void AddDroppedBytes(unsigned int bytes) { mTotalDropped.fetch_add(bytes, std::memory_order_relaxed); }
    void AddNoSync() { mNoSync.fetch_add(1, std::memory_order_relaxed); }
    void SetBuffersAvail(int buffers) {
        mBuffersAvail.store(static_cast<std::uint32_t>(buffers), std::memory_order_relaxed);
    }
    void SetSignalStrength(int strength) { mStrength.store(strength, std::memory_order_relaxed); }

    /// Counts a section by its table_id; ids of 255 and above are ignored.
    void AddGoodSections(unsigned int tableId);
    void AddDroppedSections(unsigned int tableId);

    int SignalStrength() const { return mStrength.load(std::memory_order_relaxed); }

    /// Prints everything on standard output; the table rates count from the last dump or reset.
    void DumpStats();

 private:
    Statistics() { Reset(); }
    void PrintTableRates();

    Counter mTotalIn{0};
    Counter mTotalOut{0};
    Counter mBuffersAvail{0};
    Counter mTotalDropped{0};
    Counter mNoSync{0};
    Counter mGoodSections[kTableIds]{};
    Counter mDroppedSections[kTableIds]{};
    std::atomic<int> mStrength{0};
    Time* mpTime = nullptr;

 public:
    Counter mPatCounter{0};  ///< PAT sections analysed in full since the last reset
    Counter mPmtCounter{0};  ///< PMT sections analysed since the last reset

 private:
    Counter mTodOrigin{0};  ///< `Time::GetTodInMs` at the last reset or dump
};
