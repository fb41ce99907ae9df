// PAT and PMT, over the section code of biTStream.
#include "common/psi.h"

#include <bitstream/mpeg/psi.h>
#include <bitstream/mpeg/ts.h>

#include <algorithm>

#include "common/byte_text.h"

namespace common {

namespace {

/// The head that PAT and PMT share: table_id, section_syntax_indicator, length, current_next_indicator.
bool IsCurrent(Bytes section, std::uint8_t tableId) {
    if (section.size() < PSI_HEADER_SIZE_SYNTAX1 + PSI_CRC_SIZE) return false;
    const std::uint8_t* const psi = section.data();
    const std::size_t length = psi_get_length(psi);
    return psi_get_tableid(psi) == tableId && psi_get_syntax(psi) && psi_get_current(psi) && length <= PSI_MAX_SIZE &&
           section.size() == PSI_HEADER_SIZE + length;
}

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

void SectionGatherer::Add(Bytes payload, bool unitStarts, const OnSection& onSection) {
    if (!unitStarts) {
        if (mPartial != nullptr) Gather(payload, onSection);
        return;
    }
    const auto pointer = TakeFront(payload, 1);
    const Bytes tail = TakeAtMost(payload, pointer ? (*pointer)[0] : 0);
    if (mPartial != nullptr) Gather(tail, onSection);
    Drop();
    Gather(payload, onSection);
}

void SectionGatherer::Drop() { psi_assemble_reset(&mPartial, &mUsed); }

void SectionGatherer::Gather(Bytes bytes, const OnSection& onSection) {
    const std::uint8_t* next = bytes.data();
    auto left = static_cast<std::uint8_t>(bytes.size());  // of one packet
    while (left > 0) {
        std::uint8_t* const section = psi_assemble_payload(&mPartial, &mUsed, &next, &left);
        if (section == nullptr) continue;
        onSection({section, psi_get_length(section) + std::size_t{PSI_HEADER_SIZE}});
        free(section);
    }
}

bool CrcIsRight(Bytes section) { return section.size() > PSI_CRC_SIZE && psi_check_crc(section.data()); }

std::optional<PatSection> ParsePat(Bytes section) {
    if (!IsCurrent(section, PAT_TABLE_ID)) return std::nullopt;
    const std::uint8_t* const head = section.data();
    PatSection pat{pat_get_tsid(head), psi_get_version(head), psi_get_section(head), {}};
    Bytes loop = WithoutCrc(section).subspan(PAT_HEADER_SIZE);
    while (const auto entry = TakeFront(loop, PAT_PROGRAM_SIZE)) {
        pat.entries.push_back({patn_get_program(entry->data()), patn_get_pid(entry->data())});
    }
    return pat;
}

std::optional<PmtSection> ParsePmt(Bytes section) {
    if (!IsCurrent(section, PMT_TABLE_ID)) return std::nullopt;
    const std::uint8_t* const head = section.data();
    Bytes loop = WithoutCrc(section);
    if (!TakeFront(loop, PMT_HEADER_SIZE)) return std::nullopt;
    PmtSection pmt{pmt_get_program(head), psi_get_version(head), pmt_get_pcrpid(head), {}};
    TakeAtMost(loop, pmt_get_desclength(head));
    while (const auto entry = TakeFront(loop, PMT_ES_SIZE)) {
        const std::uint8_t* const es = entry->data();
        const Bytes descriptors = TakeAtMost(loop, pmtn_get_desclength(es));
        pmt.streams.push_back({pmtn_get_streamtype(es), pmtn_get_pid(es), LanguageOf(descriptors)});
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
        default: return "type 0x" + HexText({reinterpret_cast<const char*>(&type), 1});
    }
}

}  // namespace common
