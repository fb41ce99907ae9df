// Streams with faults on purpose: each fault is there, from its moment on, and nothing else is.
#include <gtest/gtest.h>

#include "mux/error.h"
#include "mux/fault.h"
#include "mux/multiplexer.h"
#include "stream_reader.h"

namespace {

using mux::FaultKind;

constexpr std::uint32_t kLength = 2'000;
constexpr std::uint32_t kAt = 1'000;

const std::vector<std::uint16_t> kSectionPids = {mux::kPidPat, mux::kPidPsip, 0x30, 0x40, mux::kPidEit0, mux::kPidEtt0};

mux::Octets Make(std::vector<mux::Fault> faults, std::uint64_t seed = 1) {
    mux::Description description = MakeDescription(4'000'000, 2);
    description.version = 5;
    description.repetition.eit0 = description.repetition.ett0 = 200;
    for (mux::Programme& programme : description.programmes) {
        programme.events = {{.id = 1,
                             .title = {{.text = "The Late News", .compression = mux::Compression::kTitle}},
                             .text = {{.text = "A storm delays the ferry.", .compression = mux::Compression::kNone}}}};
    }
    return mux::MakeMultiplex(description, {.milliseconds = kLength, .seed = seed, .faults = std::move(faults)});
}

double Milliseconds(std::size_t packets) { return static_cast<double>(packets) * 1504 * 1000 / 4'000'000; }

// Indexes of the packets that differ.
std::vector<std::size_t> Differences(const mux::Octets& a, const mux::Octets& b) {
    std::vector<std::size_t> packets;
    for (std::size_t at = 0; at < a.size(); at += mux::kPacketSize) {
        if (!std::equal(&a[at], &a[at] + mux::kPacketSize, &b[at])) packets.push_back(at / mux::kPacketSize);
    }
    return packets;
}

// A fault of one packet: that packet alone differs, soon behind the fault's moment. Each seed chooses its own.
TEST(PacketFaults, ChangeOnePacketEach) {
    const struct {
        FaultKind kind;
        const char* found;  // the first complaint of a reader
        int bits;           // that differ, -1: any number
    } kCases[] = {{FaultKind::kCcGap, "counter", -1},
                  {FaultKind::kDuplicate, "counter", -1},
                  {FaultKind::kCrc, "wrong CRC", 1},
                  {FaultKind::kLongSection, "a section wasn't whole", -1}};
    for (const auto& fault : kCases) {
        for (const std::uint64_t seed : {1u, 2u, 3u}) {
            SCOPED_TRACE(std::string(NameOf(fault.kind)) + " seed " + std::to_string(seed));
            const mux::Octets good = Make({}, seed);
            const mux::Octets bad = Make({{fault.kind, kAt}}, seed);
            const auto differences = Differences(good, bad);
            ASSERT_EQ(differences.size(), 1u);
            EXPECT_GE(Milliseconds(differences[0]), kAt - 1);
            EXPECT_LT(Milliseconds(differences[0]), kAt + 400);
            int bits = 0;
            for (std::size_t i = 0; i < good.size(); ++i)
                bits += __builtin_popcount(static_cast<unsigned>(good[i] ^ bad[i]));
            EXPECT_TRUE(fault.bits < 0 || bits == fault.bits) << bits;
            const StreamReader reader(bad, kSectionPids);
            ASSERT_FALSE(reader.Faults().empty());
            EXPECT_NE(reader.Faults()[0].find(fault.found), std::string::npos) << reader.Faults()[0];
            const std::uint8_t* const packet = &bad[differences[0] * mux::kPacketSize];
            EXPECT_EQ(ts_get_pid(packet) == mux::kPidNull, fault.kind == FaultKind::kCcGap);
            if (fault.kind != FaultKind::kDuplicate) continue;
            const std::uint8_t* before = packet - mux::kPacketSize;
            while (ts_get_pid(before) != ts_get_pid(packet)) before -= mux::kPacketSize;
            EXPECT_TRUE(std::equal(packet, packet + mux::kPacketSize, before)) << "a duplicate follows its packet";
        }
    }
}

// PID: version, as the MGT tells it. Entries have no descriptors.
std::map<unsigned, unsigned> Told(const mux::Section& mgt) {
    std::map<unsigned, unsigned> versions;
    for (std::size_t at = 11; at + 11 < mgt.size() - 4; at += 11) {
        versions[(mgt[at + 2] & 31u) << 8 | mgt[at + 3]] = mgt[at + 4] & 31u;
    }
    return versions;
}

std::vector<mux::Section> Sections(const SeenPid& seen, std::uint8_t tableId) {
    std::vector<mux::Section> sections;
    for (const SeenSection& section : seen.sections) {
        if (section.bytes[0] == tableId) sections.push_back(section.bytes);
    }
    return sections;
}

// Versions of the sections of a table, each once, in order.
std::vector<unsigned> Versions(const SeenPid& seen, std::uint8_t tableId) {
    std::vector<unsigned> versions;
    for (const mux::Section& section : Sections(seen, tableId)) versions.push_back(psi_get_version(section.data()));
    versions.erase(std::unique(versions.begin(), versions.end()), versions.end());
    return versions;
}

using Changes = std::vector<unsigned>;

TEST(TableFaults, VersionsWrapFrom31To0) {
    StreamReader reader(Make({{FaultKind::kVersionWrap, kAt}}), kSectionPids);
    EXPECT_EQ(reader.Faults(), std::vector<std::string>{});
    const std::pair<std::uint16_t, std::uint8_t> kTables[] = {
        {mux::kPidPat, 0},    {0x30, 2}, {0x40, 2}, {mux::kPidPsip, 0xC7}, {mux::kPidPsip, 0xC8}, {mux::kPidEit0, 0xCB},
        {mux::kPidEtt0, 0xCC}};
    for (const auto& [pid, tableId] : kTables) {
        EXPECT_EQ(Versions(reader.Pid(pid), tableId), (Changes{31, 0})) << "table_id " << int{tableId};
    }
    EXPECT_EQ(Versions(reader.Pid(mux::kPidPsip), 0xCD), Changes{0}) << "an STT has no version";
    for (const auto& [pid, version] : Told(Sections(reader.Pid(mux::kPidPsip), 0xC7).back()))
        EXPECT_EQ(version, 0u) << pid;
    for (const auto& [pid, version] : Told(Sections(reader.Pid(mux::kPidPsip), 0xC7).front()))
        EXPECT_EQ(version, 31u) << pid;
}

TEST(TableFaults, APmtMovesAndThePatSaysSo) {
    const mux::Octets stream = Make({{FaultKind::kPmtMove, kAt}});
    StreamReader first(stream, kSectionPids);
    EXPECT_EQ(first.Faults(), std::vector<std::string>{});
    const mux::Section pat = Sections(first.Pid(mux::kPidPat), 0).back();
    EXPECT_EQ(Versions(first.Pid(mux::kPidPat), 0), (Changes{5, 6}));
    int moved = 0;
    for (const std::size_t at : {8u, 12u}) {
        const auto number = static_cast<std::uint16_t>(pat[at] << 8 | pat[at + 1]);
        const auto pid = static_cast<std::uint16_t>((pat[at + 2] & 31) << 8 | pat[at + 3]);
        const auto old = static_cast<std::uint16_t>(0x20 + 16 * number);
        if (pid == old) continue;
        ++moved;
        StreamReader reader(stream, {pid, old});
        EXPECT_LT(Milliseconds(reader.Pid(old).sections.back().packet), kAt + 100);
        EXPECT_GT(Milliseconds(reader.Pid(pid).sections.front().packet), kAt - 1);
        EXPECT_EQ(reader.Pid(pid).sections.front().bytes, reader.Pid(old).sections.front().bytes) << "the same PMT";
    }
    EXPECT_EQ(moved, 1);
}

TEST(TableFaults, CompressedTextsAreBrokenInGoodSections) {
    StreamReader good(Make({}), kSectionPids);
    StreamReader bad(Make({{FaultKind::kBadHuffman, kAt}}), kSectionPids);
    EXPECT_EQ(bad.Faults(), std::vector<std::string>{});
    EXPECT_EQ(Versions(bad.Pid(mux::kPidEit0), 0xCB), (Changes{5, 6}));
    EXPECT_EQ(Versions(bad.Pid(mux::kPidPsip), 0xC7), (Changes{5, 6}));
    EXPECT_EQ(Versions(bad.Pid(mux::kPidEtt0), 0xCC), Changes{5}) << "plain texts stay";
    auto told = Told(Sections(bad.Pid(mux::kPidPsip), 0xC7).back());
    EXPECT_EQ(told[mux::kPidEit0], 6u);
    EXPECT_EQ(told[mux::kPidEtt0], 5u);
    mux::Section before = Sections(good.Pid(mux::kPidEit0), 0xCB).back();
    mux::Section after = Sections(bad.Pid(mux::kPidEit0), 0xCB).back();
    ASSERT_EQ(before.size(), after.size());
    // Head and event to title_length, then a string's head: all as it was but for the version.
    constexpr std::size_t kText = 8 + 2 + 10 + 1 + 4 + 3;
    before[5] = after[5];
    EXPECT_TRUE(std::equal(before.begin(), before.begin() + kText, after.begin()));
    EXPECT_FALSE(std::equal(before.begin() + kText, before.end() - 6, after.begin() + kText));
    EXPECT_TRUE(std::equal(before.end() - 6, before.end() - 4, after.end() - 6)) << "descriptors_length";
}

TEST(Faults, AreTheSameForTheSameSeed) {
    const auto all = mux::ParseFaults("cc-gap,crc,long-section,version-wrap,pmt-move,dup,bad-huffman@0.5");
    ASSERT_EQ(all.size(), mux::kFaultNames.size());
    EXPECT_EQ(all[5].kind, FaultKind::kDuplicate);
    EXPECT_EQ(all[5].at, 500u);
    EXPECT_EQ(Make(all, 7), Make(all, 7));
    EXPECT_NE(Make(all, 7), Make(all, 8));
    EXPECT_NE(Make({}, 7), Make({}, 8));
}

TEST(Faults, WhatCannotBeIsRefused) {
    for (const char* text :
         {"", "crc", "crc@", "crc@x", "crc@-1", "crc@1s", "crc@86401", "@1", "crc,@1", "crcs@1", "cr@1", "crc@nan"}) {
        EXPECT_THROW(mux::ParseFaults(text), mux::Error) << text;
    }
    EXPECT_THROW(Make({{FaultKind::kCcGap, kLength}}), mux::Error) << "behind the end";
    const mux::MuxOptions options{.milliseconds = 500, .faults = {{FaultKind::kPmtMove, 100}}};
    EXPECT_THROW(mux::MakeMultiplex({}, options), mux::Error) << "no programme";
    EXPECT_THROW(mux::MakeMultiplex({}, {.milliseconds = 500, .faults = {{FaultKind::kBadHuffman, 1}}}), mux::Error);
}

}  // namespace
