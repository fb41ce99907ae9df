/// Tables whose entries are distributed over sections.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "section.h"

namespace mux {

/// \return sections, each with the number of its entries, the entries, and `tail`
/// \param head   of the first section; number and last are set here
/// \param most   bytes of a section; each takes as many entries as fit, up to 255
/// Throws Error for an entry larger than a section, and for more than 256 sections.
std::vector<Section> MakeCountedSections(SectionHead head, std::span<const Octets> entries, OctetView tail,
                                         std::size_t most);

}  // namespace mux
