// The counters' report, and the rates between two of them.
#include "core/statistics.h"

#include <gtest/gtest.h>

#include "fast_machine.h"

TEST(Statistics, TheReportTellsRatesSinceTheLastOrTheReset) {
    Statistics& statistics = *Statistics::Self();
    fast_machine::SetTick(100000);
    statistics.Reset();
    statistics.SetSignalStrength(4);
    statistics.SetBuffersAvail(9);
    for (const unsigned id : {0u, 254u, 255u, 300u}) statistics.AddGoodSections(id);
    statistics.AddDroppedSections(254);
    statistics.mPatCounter += 5;
    statistics.mPmtCounter += 12;
    for (const auto& [tick, rates] : {std::pair{102000u, "PAT 2.500000/s, PMT 6.000000/s"},
                                      {103000u, "PAT 0.000000/s, PMT 0.000000/s"},
                                      {103000u, "PAT 0.000000/s, PMT 0.000000/s"}}) {
        fast_machine::SetTick(tick);
        testing::internal::CaptureStdout();
        statistics.DumpStats();
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "\n======== STATISTICS =========\nSignal Strength 4\nTotal Rx-ed 0\nTotal Tx-ed 0\nTotal Dr-ed 0\n"
                  "Diff (bug if != 0) 0\nBuffersAvail 9\nNo Sync 0\nRecent table frequency: " +
                      std::string(rates) +
                      "\n=== sections ====\nSECTION 0x0: good 1, dropped 0\nSECTION 0xfe: good 1, dropped 1\n"
                      "== end sections ==\n=============================\n\n");
    }
}
