/// The hand-over from the module's construction to its entry points.
#pragma once

class TsFilter;

/// Lets `Zul_Filter` reach a filter that is whole; before this call its data goes nowhere.
void LetDataReach(TsFilter* filter, char type);
