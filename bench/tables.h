/// Tables like a broadcast's, in packets, for benchmarks of their path to the store.
#pragma once

#include <string>
#include <vector>

#include "psip_sections.h"

namespace bench {

using transport::Blob;

constexpr unsigned kGuidePid = 0x1D00;
constexpr std::uint16_t kSource = 1;
constexpr unsigned kVersions = 32;

/// "The Evening News and Sports Tonight" by C.5.
const Blob kTitle{0x42, 0xD4, 0xF4, 0x55, 0xB2, 0xF2, 0xCC, 0x7D, 0x25, 0x81, 0x63, 0x78, 0xC3, 0xD0};
/// 128 characters by C.7.
const Blob kDescription{0xD7, 0xF1, 0xD1, 0xE7, 0xBD, 0x5B, 0x4F, 0xD1, 0xF6, 0xCC, 0x8D, 0xDE, 0x03, 0xFF,
                        0x53, 0xF1, 0x64, 0xD7, 0x3A, 0xEE, 0x6F, 0xF5, 0x6D, 0x3F, 0x44, 0x8B, 0xBE, 0x10,
                        0x13, 0xEF, 0x88, 0x90, 0xF4, 0xF7, 0x66, 0xAE, 0xB1, 0x9D, 0xEC, 0xC5, 0x5F, 0x7D,
                        0x3F, 0x3B, 0x7B, 0xB2, 0xDB, 0x77, 0xA7, 0xED, 0x8E, 0x42, 0xFF, 0x4F, 0x53, 0x40};

/// A text of one compressed segment. \param compression  1 for C.5, 2 for C.7. \param mode  sets one text apart from
/// another
inline Blob Coded(std::uint8_t compression, unsigned mode, const Blob& bytes) {
    Blob structure{
        1, 'e', 'n', 'g', 1, compression, static_cast<std::uint8_t>(mode), static_cast<std::uint8_t>(bytes.size())};
    transport::Append(structure, bytes);
    return structure;
}

enum Table { kMgt, kVct, kStt, kPmt, kEit, kEttPlain, kEttCoded };
constexpr const char* kNames[] = {"MGT", "VCT", "STT", "PMT", "EIT", "ETT plain", "ETT coded"};

constexpr unsigned PmtPid(unsigned programme) { return 0x30 + (programme - 1) * 16; }

constexpr unsigned Pid(Table table) {
    if (table == kPmt) return PmtPid(1);
    return table >= kEit ? kGuidePid : 0x1FFB;
}

/// A programme of MPEG-2 video and two languages of AC-3 audio.
inline Blob PmtOf(unsigned programme, unsigned version = 0) {
    const unsigned pid = PmtPid(programme) + 1;
    return transport::Pmt(
        programme,
        {{0x02, pid, {}}, {0x81, pid + 1, {0x0A, 4, 'e', 'n', 'g', 0}}, {0x81, pid + 2, {0x0A, 4, 'f', 'r', 'a', 0}}},
        version);
}

/// A section of a table. Each version has new content.
inline Blob Section(Table table, unsigned version) {
    std::vector<Blob> entries;
    switch (table) {
        case kMgt:
            for (unsigned i = 0; i < 24; ++i) {
                entries.push_back(transport::MgtTable(i < 12 ? 0x100 + i : 0x200 + i - 12, kGuidePid + i));
            }
            return transport::Mgt(entries, version);
        case kVct:
            for (unsigned i = 1; i <= 6; ++i) entries.push_back(transport::VctChannel(i, 7, i, i, Blob(20, 0)));
            return transport::Vct(0xC8, 1, entries, version);
        case kStt: return transport::Stt(1400000000, 18, version);
        case kPmt: return PmtOf(1, version);
        case kEit:
            for (unsigned i = 1; i <= 12; ++i) {
                entries.push_back(
                    transport::EitEvent(i, 1400000000 + i * 1800, 1800, Coded(1, version, kTitle), Blob(16, 0)));
            }
            return transport::Eit(kSource, entries, version);
        case kEttPlain:
            return transport::Ett(kSource, 1 << 2 | 2,
                                  transport::Plain(std::string(500, static_cast<char>('@' + version))), version);
        case kEttCoded: return transport::Ett(kSource, 2 << 2 | 2, Coded(2, version, kDescription), version);
    }
    return {};
}

/// kVersions sections in packets; repeated in a loop the continuity counter stays in step.
/// \param newVersions  each has a new version, else all are the same
inline Blob Packets(Table table, bool newVersions) {
    Blob packets;
    unsigned continuity = 0;
    for (unsigned i = 0; i < kVersions; ++i) {
        transport::Append(packets,
                          transport::SectionPackets(Pid(table), continuity, Section(table, newVersions ? i : 1)));
    }
    return packets;
}

}  // namespace bench
