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

}  // namespace mux
