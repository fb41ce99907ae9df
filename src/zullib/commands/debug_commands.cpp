// Commands for the bench: the log channel of CALLBACK, and FILTER, which feeds the filter from the network.
#include <cstring>

#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/texthelpers.h"
#include "core/udpcom.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"

namespace {

constexpr unsigned kFilterRead = 4096;  ///< bytes of one datagram of the debug input

}  // namespace

/// CALLBACK: opens or closes the log channel by the one character behind the keyword, then switches the forwarding.
char* CommandManager::ProcessCallback(char* cmd) {
    if (cmd[8] == '1') {
        OpenLogChannel(mpServer->GetLastClientPort(), mpServer->GetLastClientIpAddress());
        LOG("Setting TunerForwarding for transmitter for %c\n", mMyType);
        mpTunerManager->SetTunerForwarding(mpServer.get());
    } else {
        CloseLogChannel();
    }
    return ProcessIrAndUartForward(cmd);
}

/// FILTER: walks what arrives on a UDP port, in place of the host's data, until a datagram without bytes.
/// \param cmd  "FILTER,port"; serves no other command meanwhile
char* CommandManager::ProcessFilterDebug(char* cmd) {
    static UdpServer filter_udp_rcv;
    char* position = nullptr;
    const char* const address = strtok_r(cmd, ",", &position);
    const char* const portText = strtok_r(nullptr, ",", &position);
    if (portText == nullptr) return mKo;
    const int port = Decimal(portText);
    LOG("Starting Filter for port %d ip %s\n", port, address);
    // The keyword stands where the address would, so this is never a multicast group.
    filter_udp_rcv.Connect(static_cast<std::uint16_t>(port), address);
    mpTsf->FilterActive(true);
    for (;;) {
        const int received = filter_udp_rcv.Receive(cmd, kFilterRead, 0);
        if (received <= 0) return mKo;
        mpTsf->Filter(reinterpret_cast<unsigned char*>(cmd), received);
    }
}
