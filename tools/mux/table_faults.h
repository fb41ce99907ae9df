/// Faults of whole tables: changes of their editions.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "fault.h"
#include "tables.h"

namespace mux {

/// Gives the tables of `description` those of the faults that are kVersionWrap, kPmtMove or kBadHuffman, in order. The
/// MGT goes on telling the versions and sizes that are sent. Other faults are passed over. Throws Error where there is
/// nothing that could have the fault: no programme, no compressed text.
void ApplyTableFaults(std::vector<Table>& tables, const Description& description, std::span<const Fault> faults,
                      std::uint64_t seed);

}  // namespace mux
