// Programmes of a channel: the PAT adds them, PMT and VCT fill them.
#include <algorithm>
#include <cstring>
#include <utility>

#include "core/log.h"
#include "guide/programmestore.h"
#include "psip/streamtypes.h"

/// \return the programme of the current channel with this number, or null
ScalProgramDesc* ProgrammeStore::FindProgramme(std::uint16_t programId) {
    for (ScalProgramDesc& program : CurrentList()) {
        if (program.programId == programId) return &program;
    }
    return nullptr;
}

bool ProgrammeStore::AddProgramToScanResults(std::uint16_t transportId, std::uint16_t programId) {
    const platform::MutexLock lock(mMutex);
    const int channel = CurrentChannel();
    if (channel < 0 || channel >= kChannels) return true;  // the list of other channels stays empty
    if (FindProgramme(programId) != nullptr) return true;
    ScalProgramDesc& program = CurrentList().emplace_back();
    CountGuideChange();
    program.channelId = channel;
    program.transportId = transportId;
    program.programId = programId;
    program.signalStrength = mCurrentStrength.load(std::memory_order_relaxed);
    const int total = mProgramsOnChannel.fetch_add(1, std::memory_order_relaxed) + 1;
    LOG("AddProgramToScanResults: trid %.4x prid %.4x, total %d\n", transportId, programId, total);
    return true;
}

bool ProgrammeStore::SetInfoForProgram(std::uint16_t transportId, std::uint16_t programId, std::uint8_t streamType,
                                       int scrambling) {
    const platform::MutexLock lock(mMutex);
    ProgramList& list = CurrentList();
    // A receiver ignores the transport stream's id.
    const auto found = std::find_if(list.begin(), list.end(), [&](const ScalProgramDesc& program) {
        return program.programId == programId && (mRole.IsReceiver() || program.transportId == transportId);
    });
    if (found == list.end()) return true;
    found->signalStrength = mCurrentStrength.load(std::memory_order_relaxed);
    found->transportId = transportId;
    if (scrambling == eScrambled) found->encryption = 'E';
    if (IsVideoStreamType(streamType)) found->videoType = streamType;
    if (IsAudioStreamType(streamType)) found->audioType = streamType;
    LOG("=== SetInfoForProgram 0x%x: streamType 0x%x, scrambling %d\n", programId, streamType, scrambling);
    return true;
}

bool ProgrammeStore::SetPsipInfoForProgram(std::uint16_t transportId, std::uint16_t programId, const char* shortName,
                                           std::uint16_t majorChanNo, std::uint16_t minorChanNo,
                                           std::uint8_t modulationMode, std::uint32_t carrierFreq,
                                           std::uint16_t channelTsid, std::uint16_t sourceId) {
    const platform::MutexLock lock(mMutex);
    ScalProgramDesc* const program = FindProgramme(programId);
    if (program == nullptr) return false;
    std::memcpy(program->channelShortName, shortName, ScalProgramDesc::kNameBytes);
    program->channelShortName[ScalProgramDesc::kNameBytes] = '\0';
    program->channelMajorNo = majorChanNo;
    program->channelMinorNo = minorChanNo;
    program->modulationMode = modulationMode;
    program->channelFreq = carrierFreq;
    program->channelTsid = channelTsid;
    if (std::exchange(program->sourceId, sourceId) != sourceId) CountGuideChange();
    program->channelNo = majorChanNo * 10 + minorChanNo;
    if (program->mWasSet) return true;
    program->mWasSet = true;
    char name[ScalProgramDesc::kNameBytes / 2 + 1] = "";
    for (std::size_t i = 0; i < sizeof name - 1; ++i) name[i] = shortName[2 * i + 1];
    LOG("SetPsipInfo: chanId %d trId 0x%.4x prId 0x%.4x name %s, chanNo: %d:%d\n", program->channelId, transportId,
        programId, name, majorChanNo, minorChanNo);
    return true;
}
