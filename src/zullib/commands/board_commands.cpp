// VERS, RESET and TIME: version, restart, broadcast time.
#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/snmplocal.h"
#include "core/version.h"
#include "filter/tsfilter.h"

/// VERS: the module's version.
char* CommandManager::ProcessVersion(Request request) {
    request.Reply().Add("VERS%d.%d.%dOK\r\n", version_get_major(), version_get_minor(), version_get_build());
    return request.text;
}

/// RESET: asks the settings agent to restart the board.
char* CommandManager::ProcessReset() {
    if (mpSnmp->SnmpSet("%s i %d", Oid(REBOOT), 0) != nullptr) return mOk;
    PANIC("reset");
    return mKo;
}

/// TIME: the broadcast time.
char* CommandManager::ProcessTime(Request request) {
    request.Reply().Add("TIME %s OK\r\n", mpTsf->GetMjdDateTime());
    return request.text;
}
