// The judge of streams, on packets made by hand from ISO/IEC 13818-1.
#include "stream/probe.h"

#include <gtest/gtest.h>

#include <random>

namespace zulctl {
namespace {

using namespace std::chrono_literals;
using Packet = std::array<std::uint8_t, kTsPacketSize>;

std::uint32_t Crc(Bytes bytes) {  // Annex A, bit by bit
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes) {
        for (int bit = 7; bit >= 0; --bit) crc = crc << 1 ^ (((crc >> 31) ^ (byte >> bit & 1)) != 0 ? 0x04C11DB7u : 0u);
    }
    return crc;
}

Packet Payload(std::uint16_t pid, int counter, std::uint8_t fill = 0x55) {
    Packet packet;
    packet.fill(fill);
    packet[0] = 0x47;
    packet[1] = static_cast<std::uint8_t>(pid >> 8);
    packet[2] = static_cast<std::uint8_t>(pid);
    packet[3] = static_cast<std::uint8_t>(0x10 | (counter & 0x0F));
    return packet;
}

Packet Section(std::uint16_t pid, int counter, std::vector<std::uint8_t> section) {
    const std::size_t length = section.size() - 3 + 4;
    section[1] = static_cast<std::uint8_t>(0xB0 | length >> 8);
    section[2] = static_cast<std::uint8_t>(length);
    const std::uint32_t crc = Crc(section);
    for (int shift = 24; shift >= 0; shift -= 8) section.push_back(static_cast<std::uint8_t>(crc >> shift));
    Packet packet = Payload(pid, counter, 0xFF);
    packet[1] |= 0x40;
    packet[4] = 0;
    std::copy(section.begin(), section.end(), packet.begin() + 5);
    return packet;
}

/// Programme 3 with its PMT on PID 0x100, and an entry that a board has blanked.
Packet Pat(int counter, std::uint8_t version = 1) {
    const auto versionByte = static_cast<std::uint8_t>(0xC1 | version << 1);
    return Section(0, counter,
                   {0x00, 0, 0, 0x1A, 0x2B, versionByte, 0, 0, 0x00, 0x03, 0xE1, 0x00, 0x00, 0x00, 0xE2, 0x00});
}
/// MPEG-2 video on 0x101, AC-3 in English on 0x102.
Packet Pmt(int counter) {
    return Section(0x100, counter,
                   {0x02, 0,    0,    0x00, 0x03, 0xC1, 0,    0,    0xE1, 0x01, 0xF0, 0x00, 0x02, 0xE1,
                    0x01, 0xF0, 0x00, 0x81, 0xE1, 0x02, 0xF0, 0x06, 0x0A, 0x04, 'e',  'n',  'g',  0x00});
}

/// Feeds packets to a judge, one datagram of seven every 10 ms.
class Feeder {
 public:
    void Add(const Packet& packet) {
        mBytes.insert(mBytes.end(), packet.begin(), packet.end());
        if (mBytes.size() >= 7 * kTsPacketSize) Flush();
    }
    void Flush() { Raw(std::exchange(mBytes, {})); }
    void Raw(const std::vector<std::uint8_t>& bytes) {
        probe.Add(bytes, mNow);
        mNow += 10ms;
    }
    void Wait(std::chrono::milliseconds pause) { mNow += pause; }
    std::string Faults() const {
        std::string text;
        for (const Finding& finding : Judge(probe.Report())) text += finding.fault ? finding.text + "\n" : "";
        return text;
    }
    std::string Notes() const {
        std::string text;
        for (const Finding& finding : Judge(probe.Report())) text += finding.fault ? "" : finding.text + "\n";
        return text;
    }
    StreamProbe probe;

 private:
    std::vector<std::uint8_t> mBytes;
    StreamProbe::Time mNow = StreamProbe::Time(100s);
};

/// A good stream of one programme: a group of 7 packets every 10 ms, tables every 100 ms.
void FeedGood(Feeder& feeder, int groups, int from = 0) {
    for (int n = from; n < from + groups; ++n) {
        const bool tables = n % 10 == 0;
        if (tables) feeder.Add(Pat(n / 10)), feeder.Add(Pmt(n / 10));
        const int video = tables ? 4 : 6;
        for (int k = 0; k < video; ++k)
            feeder.Add(Payload(0x101, (n / 10) * (9 * 6 + 4) + (n % 10 == 0 ? 0 : 4 + (n % 10 - 1) * 6) + k));
        feeder.Add(Payload(0x102, n));
    }
}

TEST(StreamProbe, AGoodStreamHasNoFaults) {
    Feeder feeder;
    FeedGood(feeder, 300);
    const StreamReport& report = feeder.probe.Report();
    EXPECT_EQ(feeder.Faults(), "");
    EXPECT_EQ(report.packets, 2100u);
    EXPECT_EQ(report.pids.at(0x102).packets, 300u);
    EXPECT_EQ(report.transportId, 0x1A2B);
    EXPECT_EQ(report.blankedEntries, 1u) << "an entry numbered 0 is no fault";
    ASSERT_EQ(report.programmes.size(), 1u);
    EXPECT_EQ(report.pat.version, 1);
    EXPECT_NEAR(report.pat.interval.Mean(), 0.1, 0.001);
    EXPECT_EQ(report.PidPurpose(0x102), "AC-3 audio of 3 (eng)");
    EXPECT_EQ(report.PidPurpose(0x100), "PMT of 3");
    EXPECT_EQ(report.perSecond.size(), 3u);
    EXPECT_EQ(report.perSecond[1].bytes, 100 * 7 * kTsPacketSize);
    EXPECT_NEAR(report.BitRate(), 700 * 188 * 8, 5000);
    EXPECT_EQ(report.datagramSize.Most(), 1316);
}

TEST(StreamProbe, ContinuityByRows) {
    const auto adaptationOnly = [](int counter, bool discontinuity) {
        Packet packet = Payload(0x101, counter, 0xFF);
        packet[3] = static_cast<std::uint8_t>(0x20 | counter);
        packet[4] = 183;
        packet[5] = discontinuity ? 0x80 : 0;
        return packet;
    };
    Packet announced = Payload(0x101, 9);
    announced[3] |= 0x20, announced[4] = 1, announced[5] = 0x80;
    Packet damaged = Payload(0x101, 7);
    damaged[1] |= 0x80;
    struct Row {
        const char* what;
        std::vector<Packet> packets;
        std::uint64_t errors, duplicates;
    };
    const Row rows[] = {
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
    for (const Row& row : rows) {
        Feeder feeder;
        for (const Packet& packet : row.packets) feeder.Add(packet);
        feeder.Flush();
        const StreamReport& report = feeder.probe.Report();
        EXPECT_EQ(report.ContinuityErrors(), row.errors) << row.what;
        EXPECT_EQ(report.pids.begin()->second.duplicates, row.duplicates) << row.what;
    }
}

TEST(StreamProbe, PacketsMayBeSplitOverDatagramsAnywhere) {
    std::vector<std::uint8_t> whole;
    for (int n = 0; n < 100; ++n) {
        const Packet packet = n == 0 ? Pat(0) : Payload(0x101, n);
        whole.insert(whole.end(), packet.begin(), packet.end());
    }
    for (const std::size_t size : {1u, 100u, 187u, 188u, 189u, 1000u, 18799u}) {
        Feeder feeder;
        for (std::size_t at = 0; at < whole.size(); at += size) {
            feeder.Raw({whole.begin() + static_cast<std::ptrdiff_t>(at),
                        whole.begin() + static_cast<std::ptrdiff_t>(std::min(whole.size(), at + size))});
        }
        EXPECT_EQ(feeder.probe.Report().packets, 100u) << size;
        EXPECT_EQ(feeder.probe.Report().syncLosses, 0u) << size;
        EXPECT_EQ(feeder.probe.Report().ContinuityErrors(), 0u) << size;
    }
}

TEST(StreamProbe, FindsItsStepAgainAfterLostBytes) {
    std::vector<std::uint8_t> bytes;
    for (int n = 0; n < 40; ++n) {
        const Packet packet = Payload(0x101, n);
        bytes.insert(bytes.end(), packet.begin(), packet.end());
    }
    bytes.erase(bytes.begin() + 10 * 188 + 50, bytes.begin() + 12 * 188 + 90);
    Feeder feeder;
    feeder.Raw(bytes);
    EXPECT_EQ(feeder.probe.Report().syncLosses, 1u);
    // Packet 10 takes the rest of 12 and the head of 13 for its own; 11, 12 and 13 are gone.
    EXPECT_EQ(feeder.probe.Report().packets, 37u);
    EXPECT_EQ(feeder.probe.Report().ContinuityErrors(), 1u);
    EXPECT_NE(feeder.Faults().find("1 losses of packet sync"), std::string::npos);
}

TEST(StreamProbe, TablesThatStayOutOrAreDamagedAreFaults) {
    Feeder silent;
    FeedGood(silent, 100);
    silent.Wait(600ms);
    FeedGood(silent, 100, 100);
    EXPECT_NE(silent.Faults().find("the PAT stayed out for 700 ms"), std::string::npos) << silent.Faults();
    EXPECT_NE(silent.Faults().find("the PMT of programme 3 stayed out"), std::string::npos);

    Feeder stops;  // the tables end, the rest goes on
    FeedGood(stops, 100);
    for (int n = 0; n < 700; ++n) stops.Add(Payload(0x103, n));
    EXPECT_NE(stops.Faults().find("the PAT stayed out for"), std::string::npos) << stops.Faults();

    Feeder bad;
    FeedGood(bad, 100);
    Packet pat = Pat(10);
    pat[20] ^= 1;
    bad.Add(pat), bad.Flush();
    EXPECT_NE(bad.Faults().find("the PAT: 1 sections with a wrong CRC"), std::string::npos) << bad.Faults();

    Feeder none;
    for (int n = 0; n < 1000; ++n) none.Add(Payload(0x101, n));
    EXPECT_NE(none.Faults().find("the PAT never came"), std::string::npos) << none.Faults();
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
    const Packet last = Payload(0x105, 0);
    feeder.Raw({last.begin(), last.end()});
    feeder.Raw({last.begin(), last.end()});
    const Packet stuffing = Payload(kNullPid, 0);
    feeder.Raw({stuffing.begin(), stuffing.end()});
    feeder.Raw({stuffing.begin(), stuffing.end()});
    const StreamReport& report = feeder.probe.Report();
    EXPECT_EQ(report.pat.versionChanges, 1u);
    EXPECT_EQ(report.pat.version, 2);
    EXPECT_EQ(report.pids.at(0x104).scrambled, 1u);
    EXPECT_EQ(report.repeatedDatagrams, 1u) << "stuffing is all alike";
    EXPECT_EQ(feeder.Faults(), "");
    EXPECT_NE(feeder.Notes().find("scrambled"), std::string::npos);
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

TEST(StreamProbe, AnythingAtAllIsSurvived) {
    std::mt19937 random(42);
    Feeder feeder;
    FeedGood(feeder, 20);
    for (int round = 0; round < 3000; ++round) {
        Packet packet = round % 3 == 0 ? Pat(round) : round % 3 == 1 ? Pmt(round) : Payload(0x101, round);
        for (unsigned change = random() % 4; change > 0; --change)
            packet[random() % packet.size()] = static_cast<std::uint8_t>(random());
        std::vector<std::uint8_t> bytes(packet.begin(),
                                        packet.begin() + static_cast<std::ptrdiff_t>(random() % (packet.size() + 1)));
        feeder.Raw(bytes);
    }
    std::uint64_t packets = 0;
    for (const auto& [pid, item] : feeder.probe.Report().pids) packets += item.packets;
    EXPECT_EQ(packets, feeder.probe.Report().packets);
    EXPECT_FALSE(Judge(feeder.probe.Report()).empty());
}

}  // namespace
}  // namespace zulctl
