// The SCAL report: one line of text for each programme, from the first channel to the last.
#include <cstddef>
#include <optional>

#include "core/log.h"
#include "core/replytext.h"
#include "guide/programmestore.h"
#include "guide/programsummary.h"

namespace {

/// Adds the channel's name, seven UTF-16 characters: as text if the first one's high byte is 0, else in hexadecimal.
void AddName(ReplyText& line, const decltype(ProgramSummary::shortName)& name) {
    if (name[0] != 0) {
        for (std::size_t i = 0; i < name.size(); i += 2) {
            line.Add("%s%.2x%.2x", i == 0 ? "U " : " ", name[i], name[i + 1]);
        }
        return;
    }
    line.Add("A ");
    for (std::size_t i = 1; i < name.size() && name[i] != 0; i += 2) line.Add("%c", name[i]);
}

}  // namespace

bool ProgrammeStore::RewindScan() {
    mRole.RequireTransmitter();
    mScalRestart.store(true, std::memory_order_relaxed);
    return true;
}

/// Advances the report. \return its next programme, or null at the end
const ScalProgramDesc* ProgrammeStore::NextOfReport() {
    if (mScalRestart.exchange(false, std::memory_order_relaxed)) {
        mScalChannel = 0;
        mScalIt = mScalProgramDescriptors[mScalChannel].begin();
    }
    while (mScalIt == mScalProgramDescriptors[mScalChannel].end()) {
        if (mScalChannel == kChannels - 1) {
            mScalRestart.store(true, std::memory_order_relaxed);
            return nullptr;
        }
        mScalIt = mScalProgramDescriptors[++mScalChannel].begin();
    }
    return &*mScalIt++;
}

int ProgrammeStore::GetNextProgramScalFormatted(char* buffer, std::size_t size) {
    mRole.RequireTransmitter();
    std::optional<ProgramSummary> program;
    {
        const platform::MutexLock lock(mMutex);
        if (const ScalProgramDesc* const next = NextOfReport()) program.emplace(*next);
    }
    if (!program) return 0;
    ReplyText line(buffer, size);
    line.Add("SCAL %.3d %.4x %.4x [%.2x:0:%.2x:%.2x:%.2x] %c ", program->channelNo, program->transportId,
             program->programId, program->channelId, program->strength, program->videoType, program->audioType,
             program->encryption);
    AddName(line, program->shortName);
    if (!line.Add("\r\n")) PANIC("sprintf encountered an error\n");
    return static_cast<int>(line.Length());
}
