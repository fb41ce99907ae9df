// Sections: head and CRC_32 by the accessors of biTStream, and the distribution of entries over sections.
#include "section.h"

#include <bitstream/mpeg/psi/psi.h>

#include <algorithm>

namespace mux {
namespace {

/// Bytes of a section around its body.
constexpr std::size_t kOverhead = PSI_HEADER_SIZE_SYNTAX1 + PSI_CRC_SIZE;

/// \return the largest size of a complete section: PAT, PMT, VCT and STT have a section_length up to 1021; MGT, EIT and
/// ETT up to 4093
std::size_t MostOf(std::uint8_t tableId) {
    const bool isLong = tableId == 0xC7 || tableId == 0xCB || tableId == 0xCC;
    return PSI_HEADER_SIZE + (isLong ? PSI_PRIVATE_MAX_SIZE : PSI_MAX_SIZE);
}

}  // namespace

Section MakeSection(const SectionHead& head, OctetView body) {
    const std::size_t size = kOverhead + body.size();
    const std::size_t most = MostOf(head.tableId);
    if (size > most) Fail("table {}: a section of {} bytes, at most {} are allowed", head.tableId, size, most);
    Section section(size);
    std::uint8_t* const bytes = section.data();
    psi_init(bytes, true);
    if (head.tableId < 0x40) bytes[1] &= 0xBF;  // private_indicator: PAT and PMT have a 0 there
    psi_set_tableid(bytes, head.tableId);
    psi_set_length(bytes, static_cast<std::uint16_t>(size - PSI_HEADER_SIZE));
    psi_set_tableidext(bytes, head.extension);
    psi_set_version(bytes, head.version);
    psi_set_current(bytes);
    psi_set_section(bytes, static_cast<std::uint8_t>(head.number));
    psi_set_lastsection(bytes, static_cast<std::uint8_t>(head.last));
    std::copy(body.begin(), body.end(), section.begin() + PSI_HEADER_SIZE_SYNTAX1);
    psi_set_crc(bytes);
    return section;
}

std::vector<Section> MakeCountedSections(SectionHead head, std::span<const Octets> entries, OctetView tail) {
    const std::size_t room = MostOf(head.tableId) - kOverhead - 2 - tail.size();
    std::vector<ByteWriter> bodies;
    do {
        std::size_t count = 0;
        for (std::size_t used = 0; count < std::min<std::size_t>(entries.size(), 255); ++count) {
            used += entries[count].size();
            if (count > 0 && used > room) break;
        }
        ByteWriter& body = bodies.emplace_back().U8(0).U8(count);
        for (const Octets& entry : entries.first(count)) body.Raw(entry);
        body.Raw(tail);
        entries = entries.subspan(count);
    } while (!entries.empty());
    if (bodies.size() > 256) Fail("table {}: {} sections, at most 256 are allowed", head.tableId, bodies.size());
    head.last = bodies.size() - 1;
    std::vector<Section> sections;
    for (const ByteWriter& body : bodies) {
        head.number = sections.size();
        sections.push_back(MakeSection(head, body.Bytes()));
    }
    return sections;
}

}  // namespace mux
