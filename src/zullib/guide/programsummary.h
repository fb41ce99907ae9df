/// What the results file and the SCAL report tell of a programme: a copy that is taken under the store's lock, so that
/// the text is made outside it.
#pragma once

#include <array>
#include <cstdint>

#include "guide/tunermanager.h"

constexpr unsigned kStrengthStep = 51;  ///< file and report show strength 0 to 5 as 0 to 255

struct ProgramSummary {
    explicit ProgramSummary(const ScalProgramDesc& program);

    int channelNo;
    std::uint16_t transportId;
    std::uint16_t programId;
    unsigned channelId;
    unsigned strength;  ///< 0 to 255
    char encryption;
    std::uint32_t videoType;
    std::uint32_t audioType;
    std::array<std::uint8_t, ScalProgramDesc::kNameBytes> shortName;
};
