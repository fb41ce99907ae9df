/// The guide's tables: events sorted into windows of three hours (ATSC A/65, 6.5), with their titles and texts coded.
#pragma once

#include <cstdint>
#include <vector>

#include "description.h"
#include "section.h"

namespace mux {

/// EIT-k and ETT-k.
struct GuideWindow {
    std::vector<Section> eit{};  ///< of all programmes
    std::vector<Section> ett{};  ///< of all their events with a text
};

/// The windows of the guide, from the one in which the stream begins: at least 4, as A/65 requires, and at most 128;
/// none when no programme has an event. Throws std::runtime_error for a field that is too long.
std::vector<GuideWindow> MakeGuide(const Description& description);

/// An Extended Text Table (A/65, 6.6), always one section.
/// \param extension  ETT_table_id_extension: distinguishes the ETTs of one PID
/// \param message    a coded multiple_string_structure
/// Throws std::runtime_error when it is larger than 4096 bytes.
Section WriteEtt(std::size_t extension, std::uint8_t version, std::uint32_t etmId, OctetView message);

}  // namespace mux
