// Counters of the data path, and their report.
#include "core/statistics.h"

#include <cstdio>

Statistics* Statistics::Self() {
    static auto* const statistics = new Statistics;
    return statistics;
}

void Statistics::Reset() {
    for (Counter* counter :
         {&mTotalIn, &mTotalOut, &mBuffersAvail, &mTotalDropped, &mNoSync, &mPatCounter, &mPmtCounter}) {
        counter->store(0, std::memory_order_relaxed);
    }
    mStrength.store(0, std::memory_order_relaxed);
    for (Counter& counter : mGoodSections) counter.store(0, std::memory_order_relaxed);
    for (Counter& counter : mDroppedSections) counter.store(0, std::memory_order_relaxed);
    mpTime = Time::Self();
    mTodOrigin.store(Time::GetTodInMs(), std::memory_order_relaxed);
}

void Statistics::AddGoodSections(unsigned int tableId) {
    if (tableId < kTableIds) mGoodSections[tableId].fetch_add(1, std::memory_order_relaxed);
}

void Statistics::AddDroppedSections(unsigned int tableId) {
    if (tableId < kTableIds) mDroppedSections[tableId].fetch_add(1, std::memory_order_relaxed);
}

void Statistics::DumpStats() {
    const std::uint32_t in = mTotalIn;
    const std::uint32_t out = mTotalOut;
    const std::uint32_t dropped = mTotalDropped;
    std::puts("\n======== STATISTICS =========");
    std::printf("Signal Strength %d\n", mStrength.load());
    std::printf("Total Rx-ed %u\n", in);
    std::printf("Total Tx-ed %u\n", out);
    std::printf("Total Dr-ed %u\n", dropped);
    std::printf("Diff (bug if != 0) %u\n", in - out - dropped);
    std::printf("BuffersAvail %u\n", mBuffersAvail.load());
    std::printf("No Sync %u\n", mNoSync.load());
    PrintTableRates();
    std::puts("=== sections ====");
    for (unsigned id = 0; id < kTableIds; ++id) {
        const std::uint32_t good = mGoodSections[id];
        const std::uint32_t bad = mDroppedSections[id];
        if (good != 0 || bad != 0) std::printf("SECTION 0x%x: good %u, dropped %u\n", id, good, bad);
    }
    std::puts("== end sections ==");
    std::puts("=============================\n");
    std::fflush(stdout);
}

void Statistics::PrintTableRates() {
    static std::uint32_t numPats = 0;  // at the last dump; not reset
    static std::uint32_t numPmts = 0;
    const std::uint32_t pats = mPatCounter;
    const std::uint32_t pmts = mPmtCounter;
    const std::uint32_t newPats = pats - numPats;
    const std::uint32_t newPmts = pmts - numPmts;
    numPats = pats;
    numPmts = pmts;
    const std::uint32_t now = Time::GetTodInMs();
    const std::uint32_t periodms = now - mTodOrigin.load();
    mTodOrigin = now;
    const auto rate = [periodms](std::uint32_t count) {
        return periodms == 0 ? 0.0f : static_cast<float>(count) / static_cast<float>(periodms) * 1000.0f;
    };
    std::printf("Recent table frequency: PAT %f/s, PMT %f/s\n", static_cast<double>(rate(newPats)),
                static_cast<double>(rate(newPmts)));
}
