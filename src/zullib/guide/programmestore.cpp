// The store's current channel, and how it is emptied.
#include "guide/programmestore.h"

#include "core/log.h"

ProgrammeStore::ProgrammeStore(Role role) : mRole(role) {
    LOG("Initialized mutex for TunerManager; ret %d\n", mMutex.InitResult());
}

ProgrammeStore::ProgramList& ProgrammeStore::CurrentList() {
    const int channel = CurrentChannel();
    return channel >= 0 && channel < kChannels ? mScalProgramDescriptors[channel] : mChanProgramDescriptors;
}

void ProgrammeStore::SetCurrentChannel(int channel) {
    const platform::MutexLock lock(mMutex);
    mCurrentChannel.store(channel, std::memory_order_relaxed);
    CountGuideChange();
}

void ProgrammeStore::BeginChannel(int channel) {
    const platform::MutexLock lock(mMutex);
    mProgramsOnChannel.store(0, std::memory_order_relaxed);
    mCurrentChannel.store(channel, std::memory_order_relaxed);
    CountGuideChange();
}

void ProgrammeStore::Clear() {
    SetStrength(0);
    const platform::MutexLock lock(mMutex);
    mCurrentChannel.store(0, std::memory_order_relaxed);
    for (ProgramList& list : mScalProgramDescriptors) list.clear();
    mScalRestart.store(true, std::memory_order_relaxed);  // the report must not continue from a removed programme
    ++mGeneration;
    CountGuideChange();
}

void ProgrammeStore::CleanScalProgramDescriptors() {
    const platform::MutexLock lock(mMutex);
    for (ScalProgramDesc& program : CurrentList()) program.language.clear();
}

bool ProgrammeStore::ClearScanResults(int /*channelNo*/) {
    mRole.RequireTransmitter();
    return false;
}
