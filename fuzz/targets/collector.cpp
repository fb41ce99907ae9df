// Pieces of sections straight into the collector, which packets can't give it in every size and order.
#include "board.h"

namespace fuzz {

namespace {

// A piece: PID and start in byte 0, continuity in byte 1, bytes in byte 2, then these bytes.
constexpr std::size_t kPieceHead = 3;

/// Makes so many objects that the next section takes the place of an older one; each second one is in progress.
void Fill(TableCollector& collector) {
    for (unsigned i = 0; i < TableCollector::kMaxSections; ++i) {
        const std::uint8_t size = i % 2 == 0 ? 9 : 100;
        const Block head{0xC0, 0xF0, size, 0, 0, 0xC1, static_cast<std::uint8_t>(i), 0, 1, 2, 3, 4};
        collector.CollectPsipSection(static_cast<std::uint16_t>(i / 256), head, true, 0);
    }
}

}  // namespace

/// \param flags  1 of 16: the collector has all the objects that it may have
void Collector(Input& input, unsigned flags) {
    TableCollector collector;
    if (flags % 16 == 1) Fill(collector);  // takes its time
    while (!input.Empty()) {
        const std::uint8_t head = input.Byte();
        const std::uint8_t continuity = input.Byte();
        const Block piece = input.Take(std::min<std::size_t>(input.Byte(), 184));
        const Bytes section = collector.CollectPsipSection(head % 8, piece, head >= 128, continuity);
        if (section.empty()) continue;
        Promise(section.size() >= kCrcSize && section.size() == kSectionHead + SectionLength(section),
                "a section is as long as it says");
    }
    TableCollector::PrintStats(collector.GetStats());
}

/// Seals the sections that lie whole in their first piece.
void RepairSteps(std::span<std::uint8_t> input) {
    while (input.size() > kPieceHead) {
        const std::size_t size = std::min<std::size_t>(input[2], input.size() - kPieceHead);
        if (input[0] >= 128) Seal(input.subspan(kPieceHead, size));
        input = input.subspan(kPieceHead + size);
    }
}

}  // namespace fuzz
