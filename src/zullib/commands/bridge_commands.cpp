// CALLBACK, REMOTE, UART and SUART: the log channel, the remote control and the serial port.
#include "bridges/ircontrol.h"
#include "bridges/uart.h"
#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/sharedmem.h"
#include "core/snmplocal.h"
#include "core/texthelpers.h"
#include "core/udpcom.h"
#include "guide/tunermanager.h"

namespace {

constexpr unsigned kFirstRemote = 0x01;
constexpr unsigned kLastRemote = 0xfe;
constexpr std::size_t kNumberSize = 10;  ///< characters read of CALLBACK's number

}  // namespace

/// CALLBACK: opens or closes the log channel according to the first character, then switches the forwarding.
char* CommandManager::ProcessCallback(Request request) {
    if (request.text[0] == '1') {
        OpenLogChannel(mpServer->GetLastClientPort(), mpServer->GetLastClientIpAddress());
        LOG("Setting TunerForwarding for transmitter for %c\n", mMyType);
        mpTunerManager->SetTunerForwarding(mpServer.get());
    } else {
        CloseLogChannel();
    }
    return ProcessIrAndUartForward(request.text);
}

/// On a receiver, starts or stops forwarding keys and serial bytes to the sender of this command.
/// \param number  1 turns the forwarding on; ten characters are read
char* CommandManager::ProcessIrAndUartForward(char* number) {
    if (mMyType != 'R') return mOk;
    number[kNumberSize] = '\0';
    const bool on = Decimal(number) == 1;
    LOG(on ? "ZULXAPP cmdmgr turn ON Ir and Uart forwarding" : "ZULXAPP cmdmgr turn OFF Ir and Uart forwarding");
    UdpServer* const target = on ? mpServer.get() : nullptr;
    mpIrControl->SetIrForwarding(target);
    mpSnmp->SnmpSet("%s i %d", Oid(IR_CONTROL), kIrControlOn);
    mpUart->SetUartForwarding(target);
    mIrForwarding = on;
    return mOk;
}

/// REMOTE: sets the code of the infrared remote that the board obeys.
/// \param request  the code in hexadecimal, 01 to fe
char* CommandManager::ProcessRemoteCommand(Request request) {
    const unsigned remote = hatoi(request.text);
    if (remote < kFirstRemote || remote > kLastRemote) {
        LOG("Invalid IR mode code received: %d.\n", static_cast<int>(remote));
        return mKo;
    }
    LOG("Setting IR mode code to %.4x. Previous was %.4x\n", remote, SharedMem::Self()->IrModeCode());
    SharedMem::Self()->IrModeCode(static_cast<std::uint16_t>(remote));
    return mOk;
}

/// UART: writes bytes to the serial port.
char* CommandManager::ProcessUart(Request request) {
    return mpUart->ProcessUartCommand(request.text, request.length) ? mOk : mKo;
}

/// SUART: sets the parameters of the serial port.
char* CommandManager::ProcessUartParameters(Request request) {
    return mpUart->ProcessUartSetParameters(request.text, mpSnmp.get()) ? mOk : mKo;
}
