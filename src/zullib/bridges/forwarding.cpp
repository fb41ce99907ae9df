// Destination of the bridges' senders.
#include "bridges/forwarding.h"
#include "core/log.h"

void AimAtLastClient(std::unique_ptr<UdpSender>& sender, UdpServer& server) {
    const auto port = static_cast<std::uint16_t>(server.GetLastClientPort());
    if (sender) {
        sender->Disconnect();
        if (!sender->Connect(port, server.GetLastClientIpAddress())) PANIC("Can't connect 1");
    } else {
        sender = std::make_unique<UdpSender>();
        if (!sender->Connect(port, server.GetLastClientIpAddress())) PANIC("Can't connect");
    }
}
