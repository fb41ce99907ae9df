/// All tables of a multiplex, with PID, repetition and start time.
#pragma once

#include <cstdint>
#include <vector>

#include "description.h"
#include "section.h"

namespace mux {

/// Sections of a table from some time of the stream.
struct Edition {
    std::uint32_t from = 0;  ///< milliseconds of the stream
    std::vector<Section> sections{};
};

struct Table {
    std::uint16_t pid = 0;
    unsigned period = 0;              ///< longest interval in milliseconds
    std::vector<Edition> editions{};  ///< ascending, the first from 0
    std::uint16_t type = 0;           ///< table_type in the MGT, of a table that it lists
};

/// The tables of `description`, for a stream of `milliseconds`.
/// Throws std::runtime_error for a field that is too long for its table.
std::vector<Table> MakeTables(const Description& description, std::uint32_t milliseconds);

/// EIT-k and ETT-k of the guide: the events of a window of three hours (ATSC A/65, 6.5).
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
