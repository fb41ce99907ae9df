// Constructs the device objects in order, and determines the role.
#include "commands/commandmanager.h"

#include <cstdio>
#include <cstdlib>

#include "bridges/ircontrol.h"
#include "bridges/uart.h"
#include "commands/entry.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/sharedmem.h"
#include "core/snmplocal.h"
#include "core/texthelpers.h"
#include "core/udpcom.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"

char CommandManager::mOk[8] = "OK\r\n";
char CommandManager::mKo[8] = "KO\r\n";

namespace {

// A board's version: family, then kind of board, in the two upper bytes.
constexpr unsigned kFamilyMask = 0xff000000;
constexpr unsigned kFamilyQvan710 = 0x04000000;
constexpr unsigned kKindMask = 0x00ff0000;
constexpr unsigned kKindTransmitter = 0x000e0000;
constexpr unsigned kKindTransmitter2 = 0x000f0000;

}  // namespace

CommandManager::CommandManager(char type) : mMyType(type), mCommand(std::make_unique<char[]>(kCommandSize)) {
    LOG("Initialize error module\n");
    AllocateErrorBuffer();
    LOG("Initialize Snmp module\n");
    mpSnmp = std::make_unique<SnmpLocal>();
    if (type == 'A') mMyType = AutoDetectType();
    LOG("Initialize UDP module\n");
    mpServer = std::make_unique<UdpServer>();
    mpSnmp->SnmpSet("%s i %d", Oid(IR_CONTROL), 0);

    switch (mMyType) {
        case 'R':
            CopyText(mTunerMode, "ERROR");
            mCommandPort = kReceiverPort;
            LOG("Initialize IR module\n");
            mpIrControl = std::make_unique<IrControl>();
            LOG("Initialize UART module\n");
            mpUart = std::make_unique<Uart>();
            LOG("Initialized TsFilter module for Receiver\n");
            break;
        case 'T':
            mCommandPort = kTransmitterPort;
            CopyText(mTunerMode, "ATSC");
            break;
        default: PANIC("Invalid type: %c\n", mMyType); std::exit(-1);
    }

    LOG("Initialize SharedMem module\n");
    SharedMem::Self();
    LOG("Initialize TunerManager module for %c\n", mMyType);
    mpTunerManager = std::make_unique<TunerManager>(mMyType);
    LOG("Initialize TsFilter module for %c\n", mMyType);
    mpTsf = std::make_unique<TsFilter>(mMyType, mpTunerManager.get());
    LetDataReach(mpTsf.get(), mMyType);
}

CommandManager::~CommandManager() {
    LetDataReach(nullptr, mMyType);
    mpTsf.reset();
    mpSnmp.reset();
    mpServer.reset();
    mpIrControl.reset();
    mpUart.reset();
}

char CommandManager::AutoDetectType() {
    const char* const answer = mpSnmp->SnmpGet(Oid(QVAN_VERSION));
    std::printf("pBuf is %s\n", answer != nullptr ? answer : "(null)");
    if (answer == nullptr) {
        PANIC("snmp");
        std::exit(-1);
    }
    const unsigned br_version = static_cast<unsigned>(Decimal(answer));
    std::printf("br_version is %.8x\n", br_version);
    if ((br_version & kFamilyMask) != kFamilyQvan710) {
        PANIC("ZulXapp: Detected board type NOT QVAN710; exiting");
        std::exit(-1);
    }
    const unsigned sub = br_version & kKindMask;
    const char role = sub == kKindTransmitter || sub == kKindTransmitter2 ? 'T' : 'R';
    LOG("ZulXapp: Type autodetected as %c", role);
    return role;
}
