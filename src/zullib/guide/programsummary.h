/// What the results file and the SCAL report show of a programme: a copy taken under the store's lock, so that the text
/// is made outside it.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "core/sharedmem.h"
#include "guide/programme.h"

struct ProgramSummary {
    explicit ProgramSummary(const ScalProgramDesc& program)
        : channelNo(program.channelNo),
          transportId(program.transportId),
          programId(program.programId),
          channelId(static_cast<unsigned>(program.channelId)),
          strength(static_cast<unsigned>(program.signalStrength) * SharedMem::kStrengthStep),
          encryption(program.encryption),
          videoType(program.videoType),
          audioType(program.audioType) {
        std::memcpy(shortName.data(), program.channelShortName, shortName.size());
    }

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
