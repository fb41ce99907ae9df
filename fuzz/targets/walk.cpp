// Transport stream by Zul_Filter: buffers cut at odd places, with the stream table changed between two.
#include <map>

#include "board.h"

namespace fuzz {

namespace {

/// Numbers that follow from a seed.
class Sequence {
 public:
    explicit Sequence(unsigned seed) : mState(seed) {}
    unsigned Next(unsigned below) {
        mState = mState * 1664525u + 1013904223u;
        return (mState >> 16) % below;
    }

 private:
    unsigned mState;
};

/// Sizes of buffers around those at which the walk's behaviour changes.
constexpr std::size_t kSizes[] = {1, 2, 3, 4, 5, 187, 188, 189, 190, 376, 377, 1316, 32712};

std::size_t NextSize(Sequence& sequence, bool cut) {
    if (!cut) return 5000;
    return sequence.Next(2) == 0 ? sequence.Next(600) : kSizes[sequence.Next(std::size(kSizes))];
}

/// One operation of the command thread.
void Change(Board& board, Sequence& sequence) {
    TsFilter& filter = board.filter;
    const int id = static_cast<int>(sequence.Next(kStreams));
    switch (sequence.Next(10)) {
        case 0: filter.AddStream(id, "239.1.1.2", 5001); break;
        case 1: filter.AddProgramToStream(id, kTransport, kProgramme); break;
        case 2: filter.AddAllProgramsToStream(id); break;
        case 3: filter.RemoveStream(id); break;
        case 4: filter.SetLanguageFilter("eng", 0, "spa", 0); break;
        case 5: filter.RemoveAllProgramsFromStream(id); break;
        case 6: filter.FilterActive(sequence.Next(4) != 0); break;
        case 7: filter.CleanPacketIdMap(); break;
        case 8: filter.StopMulticast(id, true); break;
        default: board.tuner.CleanScalProgramDescriptors(); break;
    }
}

}  // namespace

/// \param flags  1 the buffers are cut, 2 the stream table changes, 4 the programme is known at the start, 8 and 16
/// store
///               and PID table are asked at the end
void Walk(Input& input, unsigned flags) {
    Sequence sequence(input.Byte());
    Board board('T');
    if ((flags & 4) != 0) board.KnowProgramme();
    while (!input.Empty()) {
        Block buffer = input.Take(NextSize(sequence, (flags & 1) != 0));
        Zul_Filter(buffer.data(), static_cast<unsigned>(buffer.size()));
        if ((flags & 2) != 0 && sequence.Next(4) == 0) Change(board, sequence);
    }
    if ((flags & 8) != 0) board.AskStore();
    if ((flags & 16) != 0) board.AskTable();
}

/// Puts sync bytes a packet apart, counts the packets of each PID on, and seals sections that lie whole in one.
void RepairPackets(std::span<std::uint8_t> input) {
    constexpr std::size_t kHead = 5;  // with the pointer_field
    std::map<unsigned, unsigned> continuity;
    for (std::size_t at = 1; at < input.size(); at += kPacketSize) {
        input[at] = kSyncByte;
        if (input.size() - at < kPacketSize) return;
        const auto packet = input.subspan(at, kPacketSize);
        packet[3] = static_cast<std::uint8_t>((packet[3] & 0xF0) | (++continuity[Be16(packet, 1) & 0x1FFFu] & 0x0F));
        const std::size_t start = kHead + packet[4];
        if ((packet[1] & 0x40) == 0 || (packet[3] & 0x30) != 0x10 || start + kSectionHead > packet.size()) continue;
        const std::size_t size = kSectionHead + SectionLength(packet.subspan(start));
        if (start + size <= packet.size()) Seal(packet.subspan(start, size));
    }
}

}  // namespace fuzz
