// RESOLUTION: the output resolution of a receiver.
#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/snmplocal.h"
#include "core/texthelpers.h"
#include "platform/machine.h"

namespace {

constexpr std::int64_t kChangeWait = 5 * platform::kSecond;

}  // namespace

/// \param cmd  "?" for the present number, or the number wanted
/// \return mKo when the agent doesn't answer or refuses; the player isn't touched then
char* CommandManager::ProcessResolution(char* cmd, int /*len*/) {
    if (mMyType != 'R') return mKo;
    const char* const stored = mpSnmp->SnmpGet(Oid(VIDEO_RESOLUTION));
    if (stored == nullptr) return mKo;
    const int resolution_old = Decimal(stored);
    if (cmd[0] == '?') {
        ReplyText(cmd, kCommandSize - 10).Add("RESOLUTION%d OK\r\n", resolution_old);
        return cmd;
    }
    const int resolution_new = Decimal(cmd);
    if (resolution_new == resolution_old) {
        LOG("Same resolution %d, nothing to do\n", resolution_old);
        return mOk;
    }
    LOG("Setting resolution to %d\n", resolution_new);
    const char* const answer = mpSnmp->SnmpSet("%s i %d", Oid(VIDEO_RESOLUTION), resolution_new);
    if (answer == nullptr || Decimal(answer) != resolution_new) {
        PANIC("Failed to set resolution: %d, reply: %s", resolution_new, answer != nullptr ? answer : "(null)");
        return mKo;
    }
    mpSnmp->SnmpSet("%s i %d", Oid(CONFIG_SAVE), 1);
    ReplayLastUnit();
    return mOk;
}

/// Stops the player before the mode changes under it, and plays the same stream again, without saving either.
void CommandManager::ReplayLastUnit() {
    char buffer[kSavedUnitSize];
    char stop[] = "UNIT0";
    CopyText(buffer, mLastUnitCommand.get());
    ProcessSelectChannelsToPlay(stop, false);
    platform::Sleep(kChangeWait);
    if (buffer[0] != '\0') ProcessSelectChannelsToPlay(buffer, false);
}
