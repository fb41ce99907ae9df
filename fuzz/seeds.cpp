// Makes files of the corpus that can't be written by hand: the sections of a transport stream, its first packets, and
// the tables of the tests.
//   fuzz_seeds NAME STREAM CORPUS
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>

#include "core/log.h"
#include "filter/tsfilter.h"
#include "psip/tablecollector.h"
#include "psip_sections.h"

namespace {

using namespace transport;

std::filesystem::path corpus;

void Write(const std::string& target, const std::string& name, unsigned first, const Blob& bytes) {
    std::filesystem::create_directories(corpus / target);
    std::ofstream file(corpus / target / name, std::ios::binary);
    file.put(static_cast<char>(first));
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::string TargetOf(unsigned tableId) {
    static const std::map<unsigned, std::string> targets = {{0x00, "pat"}, {0x02, "pmt"}, {0xC7, "mgt"}, {0xC8, "vct"},
                                                            {0xC9, "vct"}, {0xCB, "eit"}, {0xCC, "ett"}, {0xCD, "stt"}};
    const auto found = targets.find(tableId);
    return found != targets.end() ? found->second : "";
}

/// Every kind of section of a stream, a few of each, by each way into the module; and packets of each kind for the
/// walk.
void WriteStream(const std::string& name, const Blob& stream) {
    constexpr unsigned kOfEach = 3;
    TableCollector collector;
    std::map<std::string, unsigned> written;
    std::map<unsigned, unsigned> packetsOf;
    std::set<std::string> seen;
    Blob walk;
    for (std::size_t at = 0; at + kPacket <= stream.size(); at += kPacket) {
        const Blob packet(stream.begin() + static_cast<std::ptrdiff_t>(at),
                          stream.begin() + static_cast<std::ptrdiff_t>(at + kPacket));
        const auto pid = static_cast<std::uint16_t>((packet[1] & 0x1F) << 8 | packet[2]);
        const bool tables = pid % 16 == 0 || pid >= 0x1D00;  // as zul-mux assigns them
        if (packetsOf[pid]++ < (tables ? 6 : 1) && walk.size() < 30 * kPacket) Append(walk, packet);
        const unsigned payload = TsFilter::GetTsPayloadIndex(packet.data(), pid);
        if (payload < 4 || payload >= kPacket - 8) continue;
        const bool start = (packet[1] & 0x40) != 0 && packet[payload] == 0;
        const Blob piece(packet.begin() + payload + (start ? 1 : 0), packet.end());
        if (start && TargetOf(piece[0]).empty()) continue;
        const Bytes whole = collector.CollectPsipSection(pid, piece, start, packet[3] & 0xF);
        const Blob section(whole.begin(), whole.end());
        const std::string target = section.empty() ? "" : TargetOf(section[0]);
        if (target.empty() || section.size() > 1100 || !seen.emplace(section.begin(), section.end()).second ||
            written[target] >= kOfEach)
            continue;
        const unsigned number = written[target]++;
        const unsigned ways[] = {4u | 0u, 12u | 2u, 12u | 3u};  // flush, twice in packets, from the host
        Write(target, name + "-" + std::to_string(number), ways[number] * 3 + number, section);
    }
    for (const unsigned flags : {8u, 29u, 15u}) {
        Blob input{static_cast<std::uint8_t>(flags)};
        Append(input, walk);
        Write("walk", name + "-" + std::to_string(flags), flags * 3 + flags % 3, input);
    }
}

/// Sections in pieces for the target `collector`, all on one PID.
Blob Steps(const std::vector<Blob>& sections) {
    constexpr std::size_t kPiece = 183;
    Blob steps;
    unsigned continuity = 0;
    for (const Blob& section : sections) {
        for (std::size_t at = 0; at < section.size(); at += kPiece) {
            const std::size_t size = std::min(kPiece, section.size() - at);
            Append(steps, {static_cast<std::uint8_t>((at == 0 ? 0x80 : 0) | 3),
                           static_cast<std::uint8_t>(continuity++ % 16), static_cast<std::uint8_t>(size)});
            steps.insert(steps.end(), section.begin() + static_cast<std::ptrdiff_t>(at),
                         section.begin() + static_cast<std::ptrdiff_t>(at + size));
        }
    }
    return steps;
}

/// The tables of the tests, with what zul-mux doesn't write.
void WriteTables() {
    const Blob languages{0x0A, 8, 'e', 'n', 'g', 0, 's', 'p', 'a', 1};
    const Blob captions{0x86, 13, 0xC2, 'e', 'n', 'g', 0xC1, 0x3F, 0xFF, 's', 'p', 'a', 0xC2, 0x3F, 0xFF};
    Blob coded{1, 'e', 'n', 'g', 3, 1, 0, 3, 0x51, 0x22, 0x33, 2, 0, 3, 0x99, 0x88, 0x77, 0, 0x3F, 4, 0, 'A', 0, 'B'};
    constexpr unsigned kAsk = 4;
    const struct {
        const char* target;
        unsigned way;
        Blob section;
    } tables[] = {
        {"pat", 2, Pat(0x55, 1, {{0, 0x10}, {3, 0x30}, {4, 0x40}})},
        {"pmt", 0,
         Pmt(3, {{0x02, 0x31, captions}, {0x81, 0x34, languages}, {0x0F, 0x35, {0x0A, 3, 'f', 'r', 'a'}}}, 0,
             languages)},
        {"mgt", 0,
         Mgt({MgtTable(0, 0x1FFB), MgtTable(0x100, 0x1D00), MgtTable(0x200, 0x1E00, {0x80, 1, 2}),
              MgtTable(0x1400, 0x50), MgtTable(0x500, 0x51), MgtTable(0x301, 0x52), MgtTable(0x900, 0x53)})},
        {"vct", 1, Vct(0xC9, 0x55, {VctChannel(3, 11, 1, 0x0102, captions), VctChannel(4, 11, 2, 0x0103)})},
        {"stt", 1, Stt(1388534400, 16)},
        {"eit", 0,
         Eit(0x0102, {EitEvent(1, 1388534000, 1800, Plain("News")), EitEvent(2, 1388535801, 3600, coded, languages),
                      EitEvent(3, 1388540000, 60, {})})},
        {"eit", 2, Eit(0x0102, {EitEvent(1, 1388534000, 1800, Plain(std::string(200, 'x')))})},
        {"ett", 0, Ett(0x0102, 1 << 2 | 2, coded)},
        {"ett", 1, Ett(0x0102, 0, Plain("The first channel."))},
    };
    std::vector<Programme> programmes;  // more than a PAT of the largest accepted size has
    for (unsigned number = 1; number <= 600; ++number) programmes.push_back({number, 0x30 + number});
    for (const unsigned way : {0u, 3u})
        Write("pat", "long-" + std::to_string(way), (way | kAsk) * 3, Pat(0x55, 1, programmes));
    programmes.resize(253);
    for (const unsigned way : {0u, 2u})
        Write("pat", "full-" + std::to_string(way), (way | kAsk) * 3, Pat(0x55, 1, programmes));
    std::vector<Blob> many, wide;  // more events than a block of the index takes, more text than a listing takes
    for (unsigned id = 1; id <= 150; ++id) many.push_back(EitEvent(id, 1388534400 + 60 * (id % 7) - id, 59, {}));
    Blob title = Plain(std::string(60, 't'));
    title[6] = 0x3F;  // UTF-16
    for (unsigned id = 1; id <= 45; ++id) wide.push_back(EitEvent(id, 1388534400 - 60 + 60 * id, 59, title));
    Write("eit", "many", (0 | kAsk) * 3, Eit(0x0102, many));
    Write("eit", "wide", (0 | kAsk) * 3, Eit(0x0102, wide));
    Blob ids;  // every table that the analysis knows, and an unknown one
    unsigned continuityOfIds = 0;
    for (const unsigned id :
         {0xC0, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xCB, 0xCC, 0xCD, 0xD3}) {
        Append(ids, SectionPackets(0x1FFB, continuityOfIds, Sealed(Head(id, 0))));
    }
    ids.insert(ids.begin(), 0);
    Write("walk", "tables", 12, ids);
    unsigned number = 0;
    for (const auto& [target, way, section] : tables) {
        Write(target, "test-" + std::to_string(number), (way | kAsk) * 3 + number % 3, section);
        ++number;
    }
    Write("strings", "mixed", 0, coded);
    Write("strings", "plain", 0, Plain(std::string(450, 'p')));
    for (unsigned decoder = 0; decoder < 4; ++decoder) {
        Write("huffman", std::to_string(decoder), decoder * 3,
              {200, 0x51, 0x22, 0x33, 0x8C, 0x7E, 0x01, 0xFF, 0x00, 0xAA});
    }
    const Blob steps = Steps({Stt(1388534400, 16), Mgt({MgtTable(0x100, 0x1D00)}),
                              Eit(0x0102, {EitEvent(1, 1, 60, Plain(std::string(250, 'e')))})});
    for (const auto& [id, size] :
         {std::pair{0xC8, 1024u}, {0xC8, 1025u}, {0xC8, 1200u}, {0xCB, 4096u}}) {  // the largest, and more
        Blob section = Head(static_cast<unsigned>(id), 0x55);
        section.resize(size - kCrcSize);
        Write("collector", std::to_string(id) + "-" + std::to_string(size), 0, Steps({Sealed(section)}));
    }
    Write("collector", "three", 0, steps);
    Write("collector", "three-logged", 1, steps);
    Write("collector", "full", 4, steps);
}

}  // namespace

int main(int count, char** words) {
    if (count != 4) return 2;
    global_debug_flag = 0;
    corpus = words[3];
    std::ifstream file(words[2], std::ios::binary);
    const std::string stream((std::istreambuf_iterator<char>(file)), {});
    WriteStream(words[1], Blob(stream.begin(), stream.end()));
    WriteTables();
    return 0;
}
