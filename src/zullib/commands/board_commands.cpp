// Commands that the board answers for itself: version, broadcast time, reset.
#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/snmplocal.h"
#include "core/version.h"
#include "filter/tsfilter.h"

/// VERS: the module's version.
char* CommandManager::ProcessVersion(char* cmd) {
    ReplyText(cmd, kCommandSize)
        .Add("VERS%d.%d.%dOK\r\n", version_get_major(), version_get_minor(), version_get_build());
    return cmd;
}

/// RESET: asks the settings agent to restart the board.
char* CommandManager::ProcessReset() {
    if (mpSnmp->SnmpSet("%s i %d", Oid(REBOOT), 0) != nullptr) return mOk;
    PANIC("reset");
    return mKo;
}

/// TIME: the broadcast's clock.
char* CommandManager::ProcessTime(char* cmd) {
    ReplyText(cmd, kCommandSize).Add("TIME %s OK\r\n", mpTsf->GetMjdDateTime());
    return cmd;
}
