// The judge of streams, on packets made by hand from ISO/IEC 13818-1.
#include "stream/probe.h"

#include <gtest/gtest.h>

#include "transport.h"

namespace zulctl {
namespace {

using namespace std::chrono_literals;
using Packet = transport::Blob;

Packet Payload(unsigned pid, int counter, std::uint8_t fill = 0x55) {
    return transport::Filled(pid, static_cast<unsigned>(counter), fill);
}
/// Programme 3 with its PMT on PID 0x100, and an entry that a board has blanked.
Packet Pat(int counter, unsigned version = 1) {
    return transport::SectionPacket(0, static_cast<unsigned>(counter),
                                    transport::Pat(0x1A2B, version, {{3, 0x100}, {0, 0x200}}));
}
/// MPEG-2 video on 0x101, AC-3 in English on 0x102.
Packet Pmt(int counter) {
    return transport::SectionPacket(0x100, static_cast<unsigned>(counter),
                                    transport::Pmt(3, {{0x02, 0x101, {}}, {0x81, 0x102, {0x0A, 4, 'e', 'n', 'g', 0}}}));
}

/// Feeds packets to a judge, one datagram of seven every 10 ms.
class Feeder {
 public:
    void Add(const Packet& packet) {
        transport::Append(mBytes, packet);
        if (mBytes.size() >= 7 * kTsPacketSize) Flush();
    }
    void Flush() { Raw(std::exchange(mBytes, {})); }
    void Raw(const Packet& bytes) {
        probe.Add(bytes, mNow);
        mNow += 10ms;
    }
    void Wait(std::chrono::milliseconds pause) { mNow += pause; }
    /// The texts of all faults, or of all notes, with a line end after each.
    std::string Faults(bool faults = true) const {
        std::string text;
        for (const Finding& finding : Judge(probe.Report())) text += finding.fault == faults ? finding.text + "\n" : "";
        return text;
    }
    bool Finds(const std::string& words) const { return Faults().find(words) != std::string::npos; }

    StreamProbe probe;

 private:
    Packet mBytes;
    StreamProbe::Time mNow = StreamProbe::Time(100s);
};

/// A good stream of one programme: a group of 7 packets every 10 ms, tables every 100 ms.
void FeedGood(Feeder& feeder, int groups, int from = 0) {
    for (int n = from; n < from + groups; ++n) {
        const bool tables = n % 10 == 0;
        if (tables) feeder.Add(Pat(n / 10)), feeder.Add(Pmt(n / 10));
        // Of each ten groups, the one with tables has two packets of video less.
        for (int k = tables ? 2 : 0; k < 6; ++k) feeder.Add(Payload(0x101, n * 6 - n / 10 * 2 - 2 + k));
        feeder.Add(Payload(0x102, n));
    }
}

TEST(StreamProbe, AGoodStreamHasNoFaults) {
    Feeder feeder;
    FeedGood(feeder, 300);
    const StreamReport& report = feeder.probe.Report();
    EXPECT_EQ(feeder.Faults(), "");
    EXPECT_EQ(report.pids.at(0x102).packets, 300u);
    EXPECT_EQ(report.transportId, 0x1A2B);
    EXPECT_EQ(report.blankedEntries, 1u) << "an entry numbered 0 is no fault";
    EXPECT_EQ(report.programmes.size(), 1u);
    EXPECT_NEAR(report.pat.interval.Mean(), 0.1, 0.001);
    EXPECT_EQ(report.PidPurpose(0x102), "AC-3 audio of 3 (eng)");
    EXPECT_EQ(report.perSecond.size(), 3u);
    EXPECT_EQ(report.perSecond[1].bytes, 100 * 7 * kTsPacketSize);
    EXPECT_NEAR(report.BitRate(), 700 * 188 * 8, 5000);
}

TEST(StreamProbe, ContinuityByRows) {
    const auto adaptationOnly = [](int counter, bool discontinuity) {
        Packet packet = Payload(0x101, counter, 0xFF);
        packet[3] ^= 0x30, packet[4] = 183, packet[5] = discontinuity ? 0x80 : 0;
        return packet;
    };
    Packet announced = Payload(0x101, 9);
    announced[3] |= 0x20, announced[4] = 1, announced[5] = 0x80;
    Packet damaged = Payload(0x101, 7);
    damaged[1] |= 0x80;
    const struct {
        const char* what;
        std::vector<Packet> packets;
        std::uint64_t errors, duplicates;
    } rows[] = {
        {"in step, over the wrap", {Payload(0x101, 14), Payload(0x101, 15), Payload(0x101, 0)}, 0, 0},
        {"one lost", {Payload(0x101, 1), Payload(0x101, 3)}, 1, 0},
        {"sent twice", {Payload(0x101, 1), Payload(0x101, 1), Payload(0x101, 2)}, 0, 1},
        {"sent three times", {Payload(0x101, 1), Payload(0x101, 1), Payload(0x101, 1)}, 1, 1},
        {"equal counter, other content", {Payload(0x101, 1), Payload(0x101, 1, 0x66)}, 1, 0},
        {"no payload, counter stands", {Payload(0x101, 1), adaptationOnly(1, false), Payload(0x101, 2)}, 0, 0},
        {"no payload, counter moves", {Payload(0x101, 1), adaptationOnly(2, false)}, 1, 0},
        {"announced", {Payload(0x101, 1), announced, Payload(0x101, 10)}, 0, 0},
        {"announced without payload", {Payload(0x101, 1), adaptationOnly(7, true), Payload(0x101, 8)}, 0, 0},
        {"a damaged packet isn't believed", {Payload(0x101, 1), damaged, Payload(0x101, 2)}, 0, 0},
        {"stuffing has no order", {Payload(kNullPid, 1), Payload(kNullPid, 9)}, 0, 0},
    };
    for (const auto& row : rows) {
        Feeder feeder;
        for (const Packet& packet : row.packets) feeder.Raw(packet);
        const StreamReport& report = feeder.probe.Report();
        EXPECT_EQ(report.continuityErrors, row.errors) << row.what;
        EXPECT_EQ(report.pids.begin()->second.duplicates, row.duplicates) << row.what;
        EXPECT_EQ(report.pids.begin()->second.packets, row.packets.size()) << row.what;
    }
}

Packet Numbered(int packets) {
    Packet bytes;
    for (int n = 0; n < packets; ++n) transport::Append(bytes, Payload(0x101, n));
    return bytes;
}

TEST(StreamProbe, PacketsMayBeSplitOverDatagramsAnywhere) {
    const Packet whole = Numbered(100);
    for (const std::size_t size : {1u, 187u, 188u, 189u, 18799u}) {
        Feeder feeder;
        for (std::size_t at = 0; at < whole.size(); at += size) {
            const auto begin = whole.begin() + static_cast<std::ptrdiff_t>(at);
            feeder.Raw({begin, begin + static_cast<std::ptrdiff_t>(std::min(whole.size() - at, size))});
        }
        EXPECT_EQ(feeder.probe.Report().packets, 100u) << size;
        EXPECT_EQ(feeder.probe.Report().syncLosses + feeder.probe.Report().continuityErrors, 0u) << size;
    }
}

TEST(StreamProbe, FindsItsStepAgainAfterLostBytes) {
    Packet bytes = Numbered(40);
    bytes.erase(bytes.begin() + 10 * 188 + 50, bytes.begin() + 12 * 188 + 90);
    Feeder feeder;
    feeder.Raw(bytes);
    // Packet 10 takes the rest of 12 and the head of 13 for its own; 11, 12 and 13 are gone.
    EXPECT_EQ(feeder.probe.Report().packets, 37u);
    EXPECT_EQ(feeder.probe.Report().continuityErrors, 1u);
    EXPECT_TRUE(feeder.Finds("1 losses of packet sync")) << feeder.Faults();
}

TEST(StreamProbe, TablesThatStayOutOrAreDamagedAreFaults) {
    Feeder silent;
    FeedGood(silent, 100);
    silent.Wait(600ms);
    FeedGood(silent, 100, 100);
    EXPECT_TRUE(silent.Finds("the PAT stayed out for 700 ms")) << silent.Faults();
    EXPECT_TRUE(silent.Finds("the PMT of programme 3 stayed out")) << silent.Faults();

    Feeder stops;  // the tables end, the rest goes on
    FeedGood(stops, 100);
    for (int n = 0; n < 700; ++n) stops.Add(Payload(0x103, n));
    EXPECT_TRUE(stops.Finds("the PAT stayed out for")) << stops.Faults();

    Feeder bad;
    FeedGood(bad, 100);
    Packet pat = Pat(10);
    pat[20] ^= 1;
    bad.Add(pat), bad.Flush();
    EXPECT_TRUE(bad.Finds("the PAT: 1 sections with a wrong CRC")) << bad.Faults();

    Feeder none;
    for (int n = 0; n < 1000; ++n) none.Add(Payload(0x101, n));
    EXPECT_TRUE(none.Finds("the PAT never came")) << none.Faults();
    EXPECT_EQ(Judge(StreamReport{}).front().text, "nothing arrived");
}

TEST(StreamProbe, CountsVersionsScramblingAndRepeatedDatagrams) {
    Feeder feeder;
    FeedGood(feeder, 10);
    feeder.Add(Pat(1, 2));
    Packet scrambled = Payload(0x104, 0);
    scrambled[3] |= 0x80;
    feeder.Add(scrambled);
    feeder.Flush();
    for (const Packet& twice : {Payload(0x105, 0), Payload(kNullPid, 0)}) feeder.Raw(twice), feeder.Raw(twice);
    const StreamReport& report = feeder.probe.Report();
    EXPECT_EQ(report.pat.versionChanges, 1u);
    EXPECT_EQ(report.pat.version, 2);
    EXPECT_EQ(report.pids.at(0x104).scrambled, 1u);
    EXPECT_EQ(report.repeatedDatagrams, 1u) << "stuffing is all alike";
    EXPECT_EQ(feeder.Faults(), "");
    EXPECT_NE(feeder.Faults(false).find("scrambled"), std::string::npos);
}

TEST(StreamProbe, ANewReportKnowsWhatCameBeforeIt) {
    Feeder feeder;
    FeedGood(feeder, 100);
    feeder.probe.StartOver();
    FeedGood(feeder, 100, 100);
    const StreamReport& report = feeder.probe.Report();
    EXPECT_EQ(report.packets, 700u);
    EXPECT_NEAR(report.seconds, 1, 0.011);
    EXPECT_EQ(feeder.Faults(), "") << "the streams are known and their counters go on";
    feeder.probe.StartOver();
    EXPECT_EQ(report.PidPurpose(0x102), "AC-3 audio of 3 (eng)");
    FeedGood(feeder, 100, 201);
    EXPECT_EQ(report.pids.at(0x102).continuityErrors, 1u) << "what is lost between two reports is lost";
}

}  // namespace
}  // namespace zulctl
