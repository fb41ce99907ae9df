// Whole multiplexes: counters, clock, repetition, and the seam of a stream that is played again.
#include <bitstream/mpeg/pes.h>
#include <gtest/gtest.h>

#include <map>

#include "mux/multiplexer.h"
#include "stream_reader.h"

namespace {

constexpr double kRate = 6'000'000;

mux::Description MakeDescription() {
    mux::Description description = ::MakeDescription(static_cast<unsigned>(kRate), 3);
    for (mux::Programme& programme : description.programmes) {
        programme.captions = {{}};
        programme.text = {{.text = "A channel"}};
        for (std::uint16_t id = 1; id <= 20; ++id) {
            programme.events.push_back({.id = id,
                                        .start = (id - 1) * 1800,
                                        .title = {{.text = "Event"}},
                                        .text = {{.text = std::string(300, 't')}}});
        }
    }
    description.programmes[2].scrambled = true;
    return description;
}

std::vector<std::uint16_t> SectionPids(const mux::Description& description) {
    std::vector<std::uint16_t> pids{mux::kPidPat, mux::kPidPsip, mux::kPidChannelEtt};
    for (const auto& programme : description.programmes) pids.push_back(programme.pmtPid);
    for (std::uint16_t k = 0; k < 128; ++k) {
        pids.push_back(mux::kPidEit0 + k);
        pids.push_back(mux::kPidEtt0 + k);
    }
    return pids;
}

double Seconds(std::size_t packets) { return static_cast<double>(packets) * 1504 / kRate; }

// Longest time between two sections of a table on a PID, before the first, and after the last.
double LongestGap(const SeenPid& seen, std::uint8_t tableId, std::size_t packets) {
    std::size_t before = 0;
    std::size_t longest = 0;
    for (const SeenSection& section : seen.sections) {
        if (section.bytes[0] != tableId || section.bytes[6] != 0) continue;
        longest = std::max(longest, section.packet - before);
        before = section.packet;
    }
    return Seconds(std::max(longest, packets - before));
}

class Played : public testing::TestWithParam<mux::Packing> {
 protected:
    Played() {
        mDescription.packing = GetParam();
        mStream = mux::MakeMultiplex(mDescription, {.milliseconds = 5'000});
    }
    mux::Description mDescription = MakeDescription();
    mux::Octets mStream;
};

TEST_P(Played, TwiceInARowHasNoFaultAndTablesKeepTheirRepetition) {
    mux::Octets twice = mStream;
    twice.insert(twice.end(), mStream.begin(), mStream.end());
    StreamReader reader(twice, SectionPids(mDescription));
    EXPECT_EQ(reader.Faults(), std::vector<std::string>{});
    EXPECT_NEAR(Seconds(mStream.size() / mux::kPacketSize), 5.0, 0.001);
    for (const auto& [pid, seen] : reader.Pids()) EXPECT_EQ(seen.payloads / 2 % 16, 0u) << pid;
    const struct {
        std::uint16_t pid;
        std::uint8_t tableId;
        double most;
    } kCases[] = {
        {mux::kPidPat, 0x00, 0.100},    {mDescription.programmes[1].pmtPid, 0x02, 0.100},
        {mux::kPidPsip, 0xC7, 0.150},   {mux::kPidPsip, 0xC8, 0.400},
        {mux::kPidPsip, 0xCD, 1.0},     {mux::kPidEit0, 0xCB, 0.5},
        {mux::kPidEit0 + 1, 0xCB, 3.0}, {mux::kPidChannelEtt, 0xCC, 3.0},
        {mux::kPidEtt0, 0xCC, 3.0},     {mux::kPidEit0 + 3, 0xCB, 5.0},
    };
    // A transmission may be a few packets late while another is sent on its PID.
    for (const auto& [pid, tableId, most] : kCases)
        EXPECT_LE(LongestGap(reader.Pid(pid), tableId, reader.Packets()), most + 0.04) << pid;
}

TEST_P(Played, ClocksAreExactAndScrambledStreamsAreMarked) {
    const auto& last = mDescription.programmes[2];
    std::map<std::uint16_t, double> clocks;  // last PCR of each programme, seconds
    for (std::size_t at = 0; at < mStream.size(); at += mux::kPacketSize) {
        const std::uint8_t* const packet = &mStream[at];
        const std::uint16_t pid = ts_get_pid(packet);
        const bool scrambled = (pid == last.video->pid || pid == last.audio[0].pid) && ts_has_payload(packet);
        ASSERT_EQ(ts_get_scrambling(packet), scrambled ? 2 : 0) << pid;
        if (!ts_has_adaptation(packet) || ts_get_adaptation(packet) == 0 || !tsaf_has_pcr(packet)) continue;
        const double pcr = static_cast<double>(tsaf_get_pcr(packet) * 300 + tsaf_get_pcrext(packet)) / 27e6;
        EXPECT_NEAR(pcr, static_cast<double>(at + 10) * 8 / kRate, 0.000'000'5);
        EXPECT_EQ(tsaf_has_discontinuity(packet), !clocks.contains(pid)) << "only where the clock begins";
        EXPECT_LE(pcr - (clocks.contains(pid) ? clocks[pid] : pcr), 0.045) << pid;
        clocks[pid] = pcr;
    }
    ASSERT_EQ(clocks.size(), 3u);
    for (const auto& [pid, pcr] : clocks) EXPECT_GT(pcr, 4.9) << pid;
}

INSTANTIATE_TEST_SUITE_P(Packing, Played, testing::Values(mux::Packing::kAligned, mux::Packing::kDense),
                         [](const auto& packing) {
                             return packing.param == mux::Packing::kAligned ? "Aligned" : "Dense";
                         });

// Each unit arrives before its time by the clock of its programme, and less than 0.3 s before.
TEST(Multiplex, PresentationTimesLieAheadOfArrival) {
    const mux::Description description = MakeDescription();
    const mux::Octets stream = mux::MakeMultiplex(description, {.milliseconds = 4'000});
    for (const std::uint16_t pid : {description.programmes[0].video->pid, description.programmes[1].audio[0].pid}) {
        double due = -1;
        int units = 0;
        for (std::size_t at = 0; at < stream.size(); at += mux::kPacketSize) {
            mux::Packet packet;
            std::copy_n(stream.begin() + static_cast<std::ptrdiff_t>(at), packet.size(), packet.begin());
            if (ts_get_pid(packet.data()) != pid || !ts_has_payload(packet.data())) continue;
            const double now = static_cast<double>(at) * 8 / kRate;
            ASSERT_TRUE(due < 0 || now < due) << pid << " unit " << units << " at " << now;
            if (!ts_get_unitstart(packet.data())) continue;
            const std::uint8_t* const pes = ts_payload(packet.data());
            ASSERT_TRUE(pes_validate(pes) && pes_validate_header(pes) && pes_validate_pts(pes));
            due = static_cast<double>(pes_get_pts(pes)) / 90'000;
            EXPECT_LT(due - now, 0.3) << pid;
            ++units;
        }
        EXPECT_EQ(units, pid == description.programmes[0].video->pid ? 119 : 125);
    }
}

// An empty multiplex, and one as short as possible.
TEST(Multiplex, HasNoLeastSize) {
    const StreamReader empty(mux::MakeMultiplex({}, {.milliseconds = 2'000}), {mux::kPidPat, mux::kPidPsip});
    EXPECT_EQ(empty.Faults(), std::vector<std::string>{});
    const StreamReader brief(mux::MakeMultiplex(MakeDescription(), {.milliseconds = 500}),
                             SectionPids(MakeDescription()));
    EXPECT_EQ(brief.Faults(), std::vector<std::string>{});
}

}  // namespace
