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

/// \param request  "?" to query the current number, or the new number
/// \return mKo when the agent doesn't answer or refuses; the player isn't touched then
char* CommandManager::ProcessResolution(Request request) {
    const char* const stored = mpSnmp->SnmpGet(Oid(VIDEO_RESOLUTION));
    if (stored == nullptr) return mKo;
    const int resolution_old = Decimal(stored);
    if (request.text[0] == '?') {
        request.Reply().Add("RESOLUTION%d OK\r\n", resolution_old);
        return request.text;
    }
    const int resolution_new = Decimal(request.text);
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

/// Stops the player, waits for the change, and plays the same stream again. Neither is saved.
void CommandManager::ReplayLastUnit() {
    char buffer[sizeof mPlayback.mLastUnitCommand];
    char stop[] = "UNIT0";
    CopyText(buffer, mPlayback.mLastUnitCommand);
    SelectChannels(stop, false);
    platform::Sleep(kChangeWait);
    if (buffer[0] != '\0') SelectChannels(buffer, false);
}
