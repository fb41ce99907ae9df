/// Tables whose entries are shared out over sections.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "section.h"

namespace mux {

/// Sections, in each a byte with the number of its entries, the entries, and `tail`.
/// \param head   of the first section; number and last are set here
/// \param most   bytes of a section; each takes as many entries as that and the count's eight bits allow
/// Throws Error for an entry that no section has room for, and for more than 256 sections.
std::vector<Section> MakeCountedSections(SectionHead head, std::span<const Octets> entries, OctetView tail,
                                         std::size_t most);

}  // namespace mux
