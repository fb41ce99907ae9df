// The data path as a host sees it, and the way of a section into it.
#include "board.h"

#include "commands/commandmanager.h"
#include "core/broadcasttime.h"
#include "core/statistics.h"
#include "psip_sections.h"

namespace fuzz {

namespace {

constexpr std::size_t kLongestSection = 4096;

}  // namespace

Board::Board(char role) : tuner(role), filter(role, &tuner), mRole(role) {
    LetDataReach(&filter, role);
    process_pat = true;
    if (role != 'T') return;
    filter.FilterActive(true);
    filter.AddStream(0, "239.1.1.1", 5000);
}

Board::~Board() {
    LetDataReach(nullptr, mRole);
    filter.SetDebugOutput(nullptr);
}

void Board::KnowProgramme() {
    tuner.AddProgramToScanResults(kTransport, kProgramme);
    tuner.SetPsipInfoForProgram(kTransport, kProgramme, "\0A\0B\0C\0D\0E\0F\0G\0", 7, 1, 4, 1, 2, kSource);
    const std::vector<char> longText(1000, 'l');  // shown as 3,000 characters
    tuner.SetExtendedText(kSource, 1 << 2 | 2, longText.data(), static_cast<std::uint32_t>(longText.size()), 0x3F);
    constexpr int kWalks = 28;  // of 30: an entry is about to be removed
    tuner.SetLanguageForProgram(kTransport, kProgramme, "old", Language::eAudio, 0, 0x34, 0);
    for (int i = 0; i < kWalks; ++i)
        tuner.SetLanguageForProgram(kTransport, kProgramme, "eng", Language::eAudio, 0, 0x34, 0);
    PacketIdMapType& pmt = TsFilterTest::Row(filter, kPmtPid);
    pmt.type = ePidPmt;
    pmt.transportId = kTransport;
    pmt.programId = kProgramme;
    TsFilterTest::Row(filter, kGuidePid).type = ePidEit;
    if (mRole == 'T') TsFilterTest::Attach(filter, kPmtPid);
}

void Board::AskStore() {
    if (mRole == 'T') tuner.RewindScan();
    std::vector<char> line(256);
    while (mRole == 'T') {
        const int size = tuner.GetNextProgramScalFormatted(line.data(), line.size());
        if (size <= 0) break;
        Promise(size < static_cast<int>(line.size()), "a SCAL line fits");
    }
    std::vector<char> reply(TunerManager::kReplySize);
    constexpr std::uint32_t kDate = 0xE25B, kMinutes = 100000;
    tuner.ProcessEpgData(reply.data(), kTransport, kProgramme, kDate, 1200, 0, 'i');
    tuner.ProcessEpgData(reply.data(), kTransport, kProgramme, 0, 0, 0, 'n');
    tuner.ProcessEpgData(reply.data(), kTransport, kProgramme, 0, 0, kMinutes, 'l');
    tuner.GetLanguagesOrSubtitles(Language::eAudio, reply.data());
    tuner.GetLanguagesOrSubtitles(Language::eCaption, reply.data());
    tuner.DumpEitInfo();
    tuner.DumpLanguageInfo();
    Statistics::Self()->DumpStats();
}

void Board::AskTable() {
    filter.SetLanguageFilter("eng", 0, "spa", 1);
    filter.DumpPids();
    filter.DumpLanguagesAndCaptions();
    filter.DumpCollectionStats();
    filter.StatusOfStreams();
}

Block Packets(unsigned pid, Bytes section, unsigned continuity) {
    Block packets = transport::SectionPackets(pid, continuity, Block(section.begin(), section.end()));
    transport::Append(packets, {kSyncByte});
    return packets;
}

void Seal(std::span<std::uint8_t> section) {
    if (section.size() < 8 + kCrcSize || section.size() > kLongestSection) return;
    const std::size_t length = section.size() - kSectionHead;
    section[1] = static_cast<std::uint8_t>((section[1] & 0xF0) | length >> 8);
    section[2] = static_cast<std::uint8_t>(length);
    const std::size_t covered = section.size() - kCrcSize;
    PutBe32(&section[covered], crc32(section.data(), static_cast<std::uint32_t>(covered)));
}

void RepairSection(std::span<std::uint8_t> input) { Seal(input); }

void EnterTable(Input& input, unsigned flags, std::initializer_list<std::uint8_t> tables, unsigned pid) {
    enum { kFlush, kInPackets, kTwice, kReceiver };
    const unsigned way = flags % 4;
    Block section = input.Rest();
    section.resize(std::min(section.size(), kLongestSection));
    section.shrink_to_fit();
    if (section.size() < kCrcSize) return;
    if (std::find(tables.begin(), tables.end(), section[0]) == tables.end()) section[0] = *tables.begin();

    const bool fromHost = way == kReceiver && (section[0] == 0x00 || section[0] == 0x02);
    Board board(fromHost ? 'R' : 'T');
    board.KnowProgramme();
    if (way == kInPackets || way == kTwice) {
        Block packets = Packets(pid, section, 0);
        if (way == kTwice) {
            packets.pop_back();
            const Block again = Packets(pid, section, static_cast<unsigned>(packets.size() / kPacketSize));
            packets.insert(packets.end(), again.begin(), again.end());
        }
        packets.shrink_to_fit();
        Zul_Filter(packets.data(), static_cast<unsigned>(packets.size()));
    } else {
        // The caller has cut the section to its own length.
        const std::size_t length = section.size() - kSectionHead;
        section[1] = static_cast<std::uint8_t>((section[1] & 0xF0) | length >> 8);
        section[2] = static_cast<std::uint8_t>(length);
        if (fromHost) {
            Zul_Filter(section.data(), 0);
        } else {
            TsFilterTest::Analyse(board.filter, section, pid);
        }
    }
    if ((flags & 4) != 0) board.AskStore();
    if ((flags & 8) != 0) board.AskTable();
}

}  // namespace fuzz
