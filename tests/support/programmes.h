/// The programmes of a store, as tests look into them.
#pragma once

#include <vector>

#include "guide/tunermanager.h"

/// \return the programmes of the current channel, in order; they stay until a scan empties the store
inline std::vector<ScalProgramDesc*> ProgrammesOf(TunerManager& tuner) {
    std::vector<ScalProgramDesc*> programmes;
    tuner.Store().VisitCurrent([&](ScalProgramDesc& programme) {
        programmes.push_back(&programme);
        return true;
    });
    return programmes;
}
