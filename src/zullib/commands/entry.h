/// What the module's construction and its handlers share with the entry points.
#pragma once

#include <atomic>

class TsFilter;

/// Receiver only: whether `Zul_Filter` analyses sections; false while the channel changes.
extern std::atomic<bool> process_pat;

/// Gives the host's data to a complete filter; null drops it, as before the first call.
void LetDataReach(TsFilter* filter, char type);
