/// All tables of a multiplex, with PID, repetition and start time.
#pragma once

#include <cstdint>
#include <string>
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
    std::string name{};
    std::uint16_t pid = 0;
    unsigned period = 0;              ///< longest interval in milliseconds
    std::vector<Edition> editions{};  ///< ascending, the first from 0
};

/// The tables of `description`, for a stream of `milliseconds`.
std::vector<Table> MakeTables(const Description& description, std::uint32_t milliseconds);

/// The VCT and PMT of a description, alone.
Vct MakeVct(const Description& description);
Section MakePmt(const Description& description, const Programme& programme);

}  // namespace mux
