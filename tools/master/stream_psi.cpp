// Sections, PAT and PMT of a stream under judgement.
#include "stream_psi.h"

#include <fmt/format.h>

#include <array>

namespace zulctl {

namespace {

constexpr std::size_t kLongHead = 8;  // of a section with section_syntax_indicator set
constexpr std::size_t kLargestPsiLength = 1021;
constexpr std::uint8_t kStuffing = 0xFF;

constexpr std::array<std::uint32_t, 256> kCrcTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t n = 0; n < 256; ++n) {
        std::uint32_t value = n << 24;
        for (int bit = 0; bit < 8; ++bit) value = value << 1 ^ (value & 0x80000000u ? 0x04C11DB7u : 0u);
        table[n] = value;
    }
    return table;
}();

/// The head that PAT and PMT share: table_id, syntax, length, CRC, current_next_indicator.
bool IsCurrent(Bytes section, std::uint8_t tableId) {
    return section.size() >= kLongHead + kCrcSize && section[0] == tableId && (section[1] & 0x80) != 0 &&
           SectionLength(section) <= kLargestPsiLength && section.size() == kSectionHead + SectionLength(section) &&
           (section[5] & 1) != 0;
}

std::uint8_t Version(Bytes section) { return section[5] >> 1 & 0x1F; }

/// The last language of the last ISO 639 language descriptor (2.6.18).
std::string LanguageOf(Bytes descriptors) {
    std::string language;
    while (const auto head = TakeFront(descriptors, 2)) {
        const Bytes body = TakeAtMost(descriptors, (*head)[1]);
        if ((*head)[0] == 0x0A && body.size() >= 4) language.assign(body.begin(), body.begin() + 3);
    }
    return language;
}

}  // namespace

void SectionGatherer::Add(Bytes payload, bool unitStarts, const std::function<void(Bytes)>& whole) {
    if (!unitStarts) {
        if (mGathering) Gather(payload, whole);
        return;
    }
    const auto pointer = TakeFront(payload, 1);
    if (!pointer) return Drop();
    const Bytes tail = TakeAtMost(payload, (*pointer)[0]);
    if (mGathering) Gather(tail, whole);
    Drop();
    mGathering = true;
    Gather(payload, whole);
}

void SectionGatherer::Gather(Bytes bytes, const std::function<void(Bytes)>& whole) {
    mSection.insert(mSection.end(), bytes.begin(), bytes.end());
    for (;;) {
        if (!mSection.empty() && mSection[0] == kStuffing) return Drop();
        if (mSection.size() < kSectionHead) return;
        const std::size_t size = kSectionHead + SectionLength(mSection);
        if (mSection.size() < size) return;
        whole(Bytes(mSection).first(size));
        mSection.erase(mSection.begin(), mSection.begin() + static_cast<std::ptrdiff_t>(size));
    }
}

bool CrcIsRight(Bytes section) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : section) crc = crc << 8 ^ kCrcTable[crc >> 24 ^ byte];
    return crc == 0;
}

std::optional<PatSection> ParsePat(Bytes section) {
    if (!IsCurrent(section, 0)) return std::nullopt;
    PatSection pat{Be16(section, 3), Version(section), section[6], {}};
    Bytes loop = WithoutCrc(section).subspan(kLongHead);
    while (const auto entry = TakeFront(loop, 4)) {
        pat.entries.push_back({Be16(*entry, 0), static_cast<std::uint16_t>(Be16(*entry, 2) & 0x1FFF)});
    }
    return pat;
}

std::optional<PmtSection> ParsePmt(Bytes section) {
    if (!IsCurrent(section, 2)) return std::nullopt;
    Bytes body = WithoutCrc(section).subspan(kLongHead);
    const auto fixed = TakeFront(body, 4);
    if (!fixed) return std::nullopt;
    PmtSection pmt{Be16(section, 3), Version(section), static_cast<std::uint16_t>(Be16(*fixed, 0) & 0x1FFF), {}};
    TakeAtMost(body, Be16(*fixed, 2) & 0x0FFFu);
    while (const auto entry = TakeFront(body, 5)) {
        const Bytes descriptors = TakeAtMost(body, Be16(*entry, 3) & 0x0FFFu);
        pmt.streams.push_back(
            {(*entry)[0], static_cast<std::uint16_t>(Be16(*entry, 1) & 0x1FFF), LanguageOf(descriptors)});
    }
    return pmt;
}

std::string StreamTypeName(std::uint8_t type) {
    switch (type) {
        case 0x01: return "MPEG-1 video";
        case 0x02: return "MPEG-2 video";
        case 0x03: return "MPEG-1 audio";
        case 0x04: return "MPEG-2 audio";
        case 0x05: return "private sections";
        case 0x06: return "private data";
        case 0x0F: return "AAC audio";
        case 0x1B: return "H.264 video";
        case 0x24: return "H.265 video";
        case 0x81: return "AC-3 audio";
        case 0x87: return "E-AC-3 audio";
        default: return fmt::format("type 0x{:02x}", type);
    }
}

}  // namespace zulctl
