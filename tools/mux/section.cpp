// Sections: byte writer, head and CRC_32, by the accessors of biTStream.
#include "section.h"

#include <bitstream/mpeg/psi/psi.h>

#include <algorithm>
#include <string>

#include "error.h"

namespace mux {

static_assert(kSectionOverhead == PSI_HEADER_SIZE_SYNTAX1 + PSI_CRC_SIZE);
static_assert(kMaxShortSection == PSI_MAX_SIZE + PSI_HEADER_SIZE);
static_assert(kMaxLongSection == PSI_PRIVATE_MAX_SIZE + PSI_HEADER_SIZE);

ByteWriter& ByteWriter::U8(std::uint32_t value) {
    mBytes.push_back(static_cast<std::uint8_t>(value));
    return *this;
}

ByteWriter& ByteWriter::U16(std::uint32_t value) { return U8(value >> 8).U8(value); }

ByteWriter& ByteWriter::U24(std::uint32_t value) { return U8(value >> 16).U16(value); }

ByteWriter& ByteWriter::U32(std::uint32_t value) { return U16(value >> 16).U16(value); }

ByteWriter& ByteWriter::Raw(OctetView bytes) {
    mBytes.insert(mBytes.end(), bytes.begin(), bytes.end());
    return *this;
}

Section MakeSection(const SectionHead& head, OctetView body, std::size_t most) {
    const std::size_t size = kSectionOverhead + body.size();
    if (size > most) {
        throw Error("table " + std::to_string(head.tableId) + ": a section of " + std::to_string(size) +
                    " bytes, at most " + std::to_string(most) + " are allowed");
    }
    Section section(size);
    std::uint8_t* const bytes = section.data();
    psi_init(bytes, true);
    psi_set_tableid(bytes, head.tableId);
    psi_set_length(bytes, static_cast<std::uint16_t>(size - PSI_HEADER_SIZE));
    psi_set_tableidext(bytes, head.extension);
    psi_set_version(bytes, head.version & 31);
    if (head.current) psi_set_current(bytes);
    psi_set_section(bytes, head.number);
    psi_set_lastsection(bytes, head.last);
    std::copy(body.begin(), body.end(), section.begin() + PSI_HEADER_SIZE_SYNTAX1);
    SealSection(section);
    return section;
}

Section MakePsipSection(const SectionHead& head, OctetView body, std::size_t most) {
    ByteWriter writer;
    writer.U8(0).Raw(body);  // protocol_version
    return MakeSection(head, writer.Bytes(), most);
}

void SealSection(Section& section) { psi_set_crc(section.data()); }

}  // namespace mux
