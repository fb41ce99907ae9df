/// Sections of ISO/IEC 13818-1 (2.4.4) and ATSC A/65: a byte writer for their fields, head and CRC_32 around a body.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace mux {

using Octets = std::vector<std::uint8_t>;
using OctetView = std::span<const std::uint8_t>;

/// A whole section, from table_id to CRC_32.
using Section = Octets;

/// Appends big-endian numbers and bytes.
class ByteWriter {
 public:
    ByteWriter& U8(std::uint32_t value);
    ByteWriter& U16(std::uint32_t value);
    ByteWriter& U24(std::uint32_t value);
    ByteWriter& U32(std::uint32_t value);
    ByteWriter& Raw(OctetView bytes);

    std::size_t Size() const { return mBytes.size(); }
    const Octets& Bytes() const { return mBytes; }

 private:
    Octets mBytes;
};

/// The fields before a section's body. The defaults are those of a current table of one section.
struct SectionHead {
    std::uint8_t tableId = 0;
    std::uint16_t extension = 0;  ///< table_id_extension
    std::uint8_t version = 0;     ///< 0 to 31
    std::uint8_t number = 0;
    std::uint8_t last = 0;
    bool current = true;
};

/// Bytes of a section around its body: 8 before it, and the CRC_32.
inline constexpr std::size_t kSectionOverhead = 12;

/// Largest complete sections: PAT, PMT, VCT and STT have a section_length up to 1021, the other tables of A/65 up to
/// 4093.
inline constexpr std::size_t kMaxShortSection = 1024;
inline constexpr std::size_t kMaxLongSection = 4096;

/// A section of the private syntax (private_indicator and reserved bits one) around `body`.
/// Throws Error when it would be larger than `most` bytes.
Section MakeSection(const SectionHead& head, OctetView body, std::size_t most);

/// A PSIP section of A/65: as above, with protocol_version 0 before the body.
Section MakePsipSection(const SectionHead& head, OctetView body, std::size_t most);

/// Writes the CRC_32 of a section again, after a change of its bytes. REQUIRES: section_length is right.
void SealSection(Section& section);

}  // namespace mux
