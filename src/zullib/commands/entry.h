/// Shared by the entry points, the module's construction and its handlers.
#pragma once

#include <atomic>

class TsFilter;

/// Receiver only: whether `Zul_Filter` analyses sections; false while the channel changes.
extern std::atomic<bool> process_pat;

/// Passes the host's data to a fully constructed filter; null, the initial state, drops it.
void LetDataReach(TsFilter* filter, char type);
