// Construction of the store, its accessors, and the peer of its messages.
#include "guide/tunermanager.h"

#include "core/log.h"
#include "core/udpcom.h"

TunerManager::TunerManager(char type) : mMyType(type) {
    LOG("Initialized mutex for TunerManager; ret %d\n", mMutex.InitResult());
}

TunerManager::~TunerManager() {
    SetTunerForwarding(nullptr);
    const platform::MutexLock lock(mMutex);
    for (ProgramList& list : mScalProgramDescriptors) list.clear();
}

/// Reports a call that only a transmitter should see; the caller goes on all the same.
void TunerManager::RequireTransmitter() const {
    if (mMyType != 'T') PANIC("Bad type %c\n", mMyType);
}

int TunerManager::GetTotalChannelsFound() {
    RequireTransmitter();
    return mTotalChannelsFound.load(std::memory_order_relaxed);
}

void TunerManager::SetMode(TunerModeEnum mode) {
    RequireTransmitter();
    mTunerMode.store(mode, std::memory_order_relaxed);
}

/// The list of the current channel. Behind the last channel it is the one that is always empty.
TunerManager::ProgramList& TunerManager::CurrentList() {
    const int channel = GetCurrentChannel();
    return channel >= 0 && channel < kChannels ? mScalProgramDescriptors[channel] : mChanProgramDescriptors;
}

std::list<ScalProgramDesc>* TunerManager::GetScalProgramDesc(int channel) NO_THREAD_SAFETY_ANALYSIS {
    if (channel >= kChannels) return nullptr;
    return channel < 0 ? &CurrentList() : &mScalProgramDescriptors[channel];
}

bool TunerManager::GetChannelProgramsRange() {
    mChannelStartIt = CurrentList().begin();
    mChannelEndIt = CurrentList().end();
    return false;
}

void TunerManager::CleanScalProgramDescriptors() {
    const platform::MutexLock lock(mMutex);
    for (ScalProgramDesc& program : CurrentList()) {
        if (program.channelId == GetCurrentChannel()) program.language.clear();
    }
}

void TunerManager::SetTunerForwarding(UdpServer* pUdp) {
    const platform::MutexLock sending(mSenderMutex);
    const platform::MutexLock lock(mMutex);
    if (pUdp == nullptr) {
        mReportScanResults.store(false, std::memory_order_relaxed);
        mpUdp.reset();
        return;
    }
    if (mpUdp) return;  // the first peer stays
    mpUdp = std::make_unique<UdpSender>();
    const auto port = static_cast<std::uint16_t>(pUdp->GetLastClientPort());
    if (!mpUdp->Connect(port, pUdp->GetLastClientIpAddress())) PANIC("Can't connect");
    mReportScanResults.store(true, std::memory_order_relaxed);
}

/// Sends one datagram to the forwarding peer, if there is one.
void TunerManager::SendToPeer(const char* text, std::size_t length) {
    const platform::MutexLock sending(mSenderMutex);
    if (mpUdp) mpUdp->Send(text, static_cast<int>(length));
}
