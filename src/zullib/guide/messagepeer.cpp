// The peer of the messages, taken from the command socket's last client.
#include "guide/messagepeer.h"

#include <cstdint>

#include "core/log.h"

void MessagePeer::Set(UdpServer* pUdp) {
    const platform::MutexLock lock(mMutex);
    if (pUdp == nullptr) {
        mpUdp.reset();
        return;
    }
    if (mpUdp) return;
    mpUdp = std::make_unique<UdpSender>();
    const auto port = static_cast<std::uint16_t>(pUdp->GetLastClientPort());
    if (!mpUdp->Connect(port, pUdp->GetLastClientIpAddress())) PANIC("Can't connect");
}

void MessagePeer::Send(std::string_view text) {
    const platform::MutexLock lock(mMutex);
    if (mpUdp) mpUdp->Send(text.data(), static_cast<int>(text.size()));
}
