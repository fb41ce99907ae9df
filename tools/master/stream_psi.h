/// The PSI of a stream under judgement: sections put together from packets, PAT and PMT (ISO/IEC 13818-1, 2.4.4).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "bytes.h"

namespace zulctl {

/// Puts the sections of one PID together.
class SectionGatherer {
 public:
    /// Takes the payload of one packet.
    /// \param unitStarts  payload_unit_start_indicator: the payload begins with a pointer_field
    /// \param whole       called with each complete section, CRC_32 included and not yet tested
    void Add(Bytes payload, bool unitStarts, const std::function<void(Bytes)>& whole);
    /// Forgets a section in progress, as after a lost packet.
    void Drop() { mSection.clear(), mGathering = false; }

 private:
    void Gather(Bytes bytes, const std::function<void(Bytes)>& whole);

    std::vector<std::uint8_t> mSection;
    bool mGathering = false;
};

/// \return true when the CRC_32 at the section's end is right (2.4.4, Annex A)
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
/// \return nothing for a section that isn't a current PAT
std::optional<PatSection> ParsePat(Bytes section);

/// A PMT.
struct PmtSection {
    struct Stream {
        std::uint8_t type;
        std::uint16_t pid;
        std::string language;  ///< of the ISO 639 language descriptor, or empty
    };
    std::uint16_t programme;
    std::uint8_t version;
    std::uint16_t pcrPid;
    std::vector<Stream> streams;
};
std::optional<PmtSection> ParsePmt(Bytes section);

/// \return "MPEG-2 video" and the like, or "type 0x.." for a stream_type that isn't known
std::string StreamTypeName(std::uint8_t type);

}  // namespace zulctl
