// The SCAL report: one line of text for each programme, from the first channel to the last.
#include <cstdio>

#include "replytext.h"
#include "tunermanager.h"
#include "udpcom.h"

namespace {

constexpr int kStrengthStep = 51;  ///< the report's strength runs from 0 to 255

/// Adds the channel's name: seven UTF-16 characters, as text where the first one's high byte is 0, else in hexadecimal.
void AddName(ReplyText& line, const char* shortName) {
    const auto name = reinterpret_cast<const unsigned char*>(shortName);
    if (name[0] != 0) {
        for (std::size_t i = 0; i < ScalProgramDesc::kNameBytes; i += 2) {
            line.Add("%s%.2x%.2x", i == 0 ? "U " : " ", name[i], name[i + 1]);
        }
        return;
    }
    line.Add("A ");
    for (std::size_t i = 1; i < ScalProgramDesc::kNameBytes && name[i] != 0; i += 2) line.Add("%c", name[i]);
}

}  // namespace

bool TunerManager::RewindScan() {
    RequireTransmitter();
    mScalRestart.store(true, std::memory_order_relaxed);
    return true;
}

int TunerManager::GetNextProgramScalFormatted(char* buffer, std::size_t size) {
    RequireTransmitter();
    const platform::MutexLock lock(mMutex);
    if (mScalRestart.exchange(false, std::memory_order_relaxed)) {
        mScalChannel = 0;
        mScalIt = mScalProgramDescriptors[0].begin();
    }
    while (mScalIt == mScalProgramDescriptors[mScalChannel].end()) {
        if (mScalChannel == kChannels - 1) {
            mScalRestart.store(true, std::memory_order_relaxed);
            return 0;
        }
        mScalIt = mScalProgramDescriptors[++mScalChannel].begin();
    }
    const ScalProgramDesc& program = *mScalIt++;
    ReplyText line(buffer, size);
    line.Add("SCAL %.3d %.4x %.4x [%.2x:0:%.2x:%.2x:%.2x] %c ", program.channelNo, program.transportId, program.programId,
             static_cast<unsigned>(program.channelId), static_cast<unsigned>(program.signalStrength * kStrengthStep),
             program.videoType, program.audioType, program.encryption);
    AddName(line, program.channelShortName);
    if (!line.Add("\r\n")) PANIC("sprintf encountered an error\n");
    return static_cast<int>(line.Length());
}
