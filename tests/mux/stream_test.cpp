// Whole multiplexes, aligned and dense: the seam of a stream that is played again, clocks, marks and times.
#include <bitstream/mpeg/pes.h>
#include <bitstream/mpeg/ts.h>
#include <gtest/gtest.h>

#include <map>

#include "mux/description_json.h"
#include "mux/multiplexer.h"
#include "stream/probe.h"

namespace {

constexpr std::size_t kDatagram = 7 * mux::kPacketSize;

class Played : public testing::TestWithParam<mux::Packing> {
 protected:
    Played() {
        mDescription.packing = GetParam();
        mStream = mux::MakeMultiplex(mDescription, {.milliseconds = 5'000});
    }
    double Seconds(std::size_t bytes) const { return static_cast<double>(bytes) * 8 / mDescription.rate; }

    mux::Description mDescription = mux::LoadDescription(ZUL_EXAMPLES "/small.json");
    mux::Octets mStream;
};
INSTANTIATE_TEST_SUITE_P(Packing, Played, testing::Values(mux::Packing::kAligned, mux::Packing::kDense),
                         [](const auto& packing) {
                             return packing.param == mux::Packing::kAligned ? "Aligned" : "Dense";
                         });

TEST_P(Played, TwiceInARowIsAGoodStream) {
    EXPECT_NEAR(Seconds(mStream.size()), 5, 0.001);
    mux::Octets twice = mStream;
    twice.insert(twice.end(), mStream.begin(), mStream.end());
    zulctl::StreamProbe probe;
    for (std::size_t at = 0; at < twice.size(); at += kDatagram) {
        const auto due = std::chrono::duration<double>(Seconds(at));
        probe.Add(Bytes(twice).subspan(at, std::min(kDatagram, twice.size() - at)),
                  zulctl::StreamProbe::Time(std::chrono::duration_cast<std::chrono::nanoseconds>(due)));
    }
    for (const zulctl::Finding& finding : zulctl::Judge(probe.Report())) EXPECT_FALSE(finding.fault) << finding.text;
    EXPECT_EQ(probe.Report().continuityErrors, 0u);
    EXPECT_LE(probe.Report().pat.interval.Most(), 0.14);
    for (const auto& [number, programme] : probe.Report().programmes)
        EXPECT_LE(programme.pmt.interval.Most(), 0.14) << number;

    // The judge doesn't look into the tables of A/65: each has come twice or more, and unchanged.
    std::map<std::uint16_t, common::SectionGatherer> gatherers;
    std::map<std::pair<std::uint16_t, std::uint8_t>, int> tables;  // by PID and table_id
    for (std::size_t at = 0; at < twice.size(); at += mux::kPacketSize) {
        const Bytes packet = Bytes(twice).subspan(at, mux::kPacketSize);
        const std::uint16_t pid = common::PidOf(packet);
        if (pid < mux::kPidEit0 || pid == mux::kPidNull) continue;
        gatherers[pid].Add(common::PayloadOf(packet), common::UnitStarts(packet), [&](Bytes section) {
            EXPECT_TRUE(common::CrcIsRight(section)) << pid;
            ++tables[{pid, section[0]}];
        });
    }
    for (const auto& [table, count] : tables) EXPECT_GE(count, 2) << table.first << " " << int{table.second};
    EXPECT_GE(tables.size(), 7u) << "MGT, VCT, STT, an EIT and its ETT, and those of a later window";
}

TEST_P(Played, ClocksAreExactUnitsAreInTimeAndScrambledStreamsAreMarked) {
    const auto& last = mDescription.programmes[2];
    ASSERT_TRUE(last.scrambled);
    std::map<std::uint16_t, double> clocks;  // last PCR of each programme, seconds
    std::map<std::uint16_t, double> due;     // when the unit in progress is presented
    for (std::size_t at = 0; at < mStream.size(); at += mux::kPacketSize) {
        std::uint8_t* const packet = &mStream[at];
        const std::uint16_t pid = ts_get_pid(packet);
        const bool scrambled = (pid == last.video->pid || pid == last.audio[0].pid) && ts_has_payload(packet);
        ASSERT_EQ(ts_get_scrambling(packet), scrambled ? 2 : 0) << pid;
        const double now = Seconds(at);
        if (ts_has_adaptation(packet) && ts_get_adaptation(packet) > 0 && tsaf_has_pcr(packet)) {
            const double pcr = static_cast<double>(tsaf_get_pcr(packet) * 300 + tsaf_get_pcrext(packet)) / 27e6;
            EXPECT_NEAR(pcr, Seconds(at + 10), 0.000'000'5);
            EXPECT_EQ(tsaf_has_discontinuity(packet), !clocks.contains(pid)) << "only where the clock begins";
            EXPECT_LE(pcr - (clocks.contains(pid) ? clocks[pid] : pcr), 0.045) << pid;
            clocks[pid] = pcr;
        }
        if (pid != mDescription.programmes[0].video->pid && pid != mDescription.programmes[1].audio[0].pid) continue;
        if (!ts_has_payload(packet)) continue;
        ASSERT_TRUE(!due.contains(pid) || now < due[pid]) << pid << " at " << now;
        if (!ts_get_unitstart(packet)) continue;
        const std::uint8_t* const pes = ts_payload(packet);
        ASSERT_TRUE(pes_validate(pes) && pes_validate_header(pes) && pes_validate_pts(pes));
        due[pid] = static_cast<double>(pes_get_pts(pes)) / 90'000;
        EXPECT_LT(due[pid] - now, 0.3) << pid;
    }
    ASSERT_EQ(clocks.size(), 3u);
    for (const auto& [pid, pcr] : clocks) EXPECT_GT(pcr, 4.9) << pid;
    EXPECT_EQ(due.size(), 2u);
}

TEST(Multiplex, MayBeSmallOrHaveAllThatThereIs) {
    EXPECT_FALSE(mux::MakeMultiplex({}, {.milliseconds = 2'000}).empty());
    EXPECT_FALSE(mux::MakeMultiplex(mux::LoadDescription(ZUL_EXAMPLES "/small.json"), {.milliseconds = 500}).empty());
    EXPECT_FALSE(mux::MakeMultiplex(mux::LoadDescription(ZUL_EXAMPLES "/example.json"), {}).empty());
}

}  // namespace
