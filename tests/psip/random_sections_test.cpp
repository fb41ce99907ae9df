// Sections rebuilt from random streams: well-formed and hostile ones.
#include <random>

#include "psip/collector_fixture.h"

namespace {

using namespace collector;

/// Random numbers, the same in every run.
class Dice {
 public:
    explicit Dice(unsigned seed) : mEngine(seed) {}
    /// \return 0 to `sides` - 1
    unsigned operator()(unsigned sides) { return static_cast<unsigned>(mEngine() % sides); }

 private:
    std::mt19937 mEngine;
};

/// One PID's sections in sequence, cut into payloads of random sizes, as in packets with adaptation fields. A section
/// that begins and ends in a packet is followed by stuffing: one start per packet.
std::vector<Step> Packetized(const std::vector<Blob>& sections, std::uint16_t pid, Dice& random) {
    std::vector<Step> steps;
    int counter = static_cast<int>(random(16));
    Blob rest;  // of the section in progress
    std::size_t next = 0;
    const Blob* inProgress = nullptr;
    while (next < sections.size() || !rest.empty()) {
        const std::size_t room = 10 + random(174);
        counter = (counter + 1) % 16;
        Blob body = Part(rest, 0, std::min(room, rest.size()));
        const bool ends = !rest.empty() && body.size() == rest.size();
        rest = Part(rest, body.size(), rest.size());
        const bool starts = rest.empty() && next < sections.size() && room >= body.size() + 2;
        if (!starts) {
            if (!body.empty()) {
                body.resize(room, 0xFF);
                steps.push_back({body, kGoesOn, counter, ends ? *inProgress : kNothing, pid});
            }
            continue;
        }
        const Blob& section = sections[next++];
        Blob piece = Part(section, 0, std::min(section.size(), room - body.size()));
        rest = Part(section, piece.size(), section.size());
        piece.resize(room - body.size(), 0xFF);
        if (!body.empty()) steps.push_back({body + piece, kGoesOn, counter, ends ? *inProgress : kNothing, pid});
        const int counted = body.empty() ? 0 : kCounted;
        steps.push_back({piece, kStart, counter + counted, rest.empty() ? section : kNothing, pid});
        inProgress = &section;
    }
    return steps;
}

TEST_F(CollectorTest, EverySectionOfARandomStreamArrivesOnce) {
    Dice random(3);
    for (int round = 0; round < 30; ++round) {
        std::vector<std::vector<Step>> pids;
        for (std::uint16_t pid = 0x100; pid < 0x108; ++pid) {
            std::vector<Blob> sections;
            for (int i = 0; i < 20; ++i) {
                sections.push_back(Section(0xC7 + random(6), 12 + random(i % 5 == 0 ? 1000 : 200), random(32),
                                           random(4), random(256)));
            }
            pids.push_back(Packetized(sections, pid, random));
        }
        std::vector<std::size_t> at(pids.size());
        for (std::size_t left = pids.size(); left > 0;) {  // PIDs in random order
            const std::size_t pid = random(8);
            if (at[pid] == pids[pid].size()) continue;
            const Step& step = pids[pid][at[pid]];
            ASSERT_EQ(Collect(step), step.delivered) << "round " << round << ", PID " << pid << ", step " << at[pid];
            if (++at[pid] == pids[pid].size()) --left;
        }
    }
}

TEST_F(CollectorTest, WhateverComesOnlySectionsWithAGoodCrcAreDelivered) {
    Dice random(4);
    const Blob good = Section(0xC7, 100);
    for (int round = 0; round < 60000; ++round) {
        Blob piece(random(185));
        for (auto& byte : piece) byte = static_cast<std::uint8_t>(random(256));
        if (piece.size() > 2 && random(2) == 0) piece[1] &= 0x0Fu;  // of a size that fits a buffer
        if (random(8) == 0) piece = Part(good, 0, std::min<std::size_t>(good.size(), random(120)));
        const bool start = random(2) == 0;
        if (start && piece.size() > 2 && (piece[1] & 0x0F) == 0x0F) piece[1] = 0;  // "too large" is tested above
        if (start && piece.size() > 2 && (piece[1] << 8 | piece[2]) % 0x1000 == 0) piece[2] = 9;
        const Blob whole =
            Collect({piece, start, static_cast<int>(random(16)), {}, static_cast<std::uint16_t>(random(4))});
        if (whole.empty()) continue;
        ASSERT_GE(whole.size(), kCrcSize);
        const auto covered = static_cast<std::uint32_t>(whole.size() - kCrcSize);
        EXPECT_EQ(Be32(whole, covered), crc32(whole.data(), covered)) << "round " << round;
    }
    EXPECT_LE(mCollector->GetStats().size(), TableCollector::kMaxSections);
}

}  // namespace
