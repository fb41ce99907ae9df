/// Program specific information of a transport stream: sections, PAT and PMT (ISO/IEC 13818-1, 2.4.4).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "bytes.h"

namespace common {

/// Reassembles the sections of one PID.
class SectionGatherer {
 public:
    using OnSection = std::function<void(std::span<std::uint8_t> section)>;

    SectionGatherer() = default;
    SectionGatherer(const SectionGatherer&) = delete;
    SectionGatherer& operator=(const SectionGatherer&) = delete;
    ~SectionGatherer() { Drop(); }

    /// Takes the payload of one packet.
    /// \param unitStarts  payload_unit_start_indicator: the payload begins with a pointer_field
    /// \param onSection   called with each complete section, CRC_32 included and not yet checked
    void Add(Bytes payload, bool unitStarts, const OnSection& onSection);
    /// Drops a partial section, as after a lost packet.
    void Drop();

 private:
    void Gather(Bytes bytes, const OnSection& onSection);

    std::uint8_t* mPartial = nullptr;  ///< null between sections
    std::uint16_t mUsed = 0;
};

/// \return whether the CRC_32 at the section's end is right (2.4.4, Annex A)
bool CrcIsRight(Bytes section);

/// One section of a PAT.
struct PatSection {
    struct Entry {
        std::uint16_t programme;  ///< 0 for the network PID, or where a private PAT blanks a programme
        std::uint16_t pid;
    };
    std::uint16_t transportId;
    std::uint8_t version;
    std::uint8_t section;
    std::vector<Entry> entries;
};
/// Reads a section whose CRC_32 need not be right. \return nothing for one that isn't a current PAT
std::optional<PatSection> ParsePat(Bytes section);

/// A PMT.
struct PmtSection {
    struct Stream {
        std::uint8_t type;
        std::uint16_t pid;
        std::string language;  ///< of the last ISO 639 language descriptor, or empty
    };
    std::uint16_t programme;
    std::uint8_t version;
    std::uint16_t pcrPid;
    std::vector<Stream> streams;  ///< an entry that exceeds the section is truncated
};
/// Reads a section whose CRC_32 need not be right. \return nothing for one that isn't a current PMT
std::optional<PmtSection> ParsePmt(Bytes section);

/// \return "MPEG-2 video" and the like, or "type 0x.." for an unknown stream_type
std::string StreamTypeName(std::uint8_t type);

}  // namespace common
