// EIT, LANG and SUBS: guide queries, the audio language, the caption service.
#include <strings.h>

#include <cstring>

#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/sharedmem.h"
#include "core/snmplocal.h"
#include "core/texthelpers.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"

namespace {

constexpr int kFirstCaption = 1;
constexpr int kLastCaption = 6;

/// A language and its audio type, as LANG names them.
struct WantedLanguage {
    char code[4] = "";
    int type = 0;
};

/// Reads two languages with their types; the first field that is missing ends it.
void ParseLanguages(char* fields, WantedLanguage& primary, WantedLanguage& secondary) {
    char* position = nullptr;
    const char* field = strtok_r(fields, ",", &position);
    if (field == nullptr) return;
    CopyText(primary.code, field);
    LOG("ProcessSetLanguage - PriLang: %s\n", primary.code);
    if ((field = strtok_r(nullptr, ",", &position)) == nullptr) return;
    primary.type = static_cast<int>(hatoi(field));
    LOG("ProcessSetLanguage - PriLangType: %d\n", primary.type);
    if ((field = strtok_r(nullptr, ",", &position)) == nullptr) return;
    CopyText(secondary.code, field);
    LOG("ProcessSetLanguage - SecLang: %s\n", secondary.code);
    if ((field = strtok_r(nullptr, ",", &position)) == nullptr) return;
    secondary.type = static_cast<int>(hatoi(field));
    LOG("ProcessSetLanguage - SecLangType: %d\n", secondary.type);
}

}  // namespace

/// EIT: EITI at a moment, EITN now and next, EITL a listing from now.
/// \param cmd  "EIT", the letter, both ids in hexadecimal, then by the letter date and time, nothing, or a span
char* CommandManager::ProcessEpgData(char* cmd, int /*len*/) {
    const char cmmd = cmd[3];
    mpTunerManager->SetTunerForwarding(mpServer.get());
    // The cut begins one character in: hatoi skips the letters that follow, but would count the E.
    char* position = nullptr;
    const char* const transport = strtok_r(cmd + 1, ",", &position);
    const char* const programme = strtok_r(nullptr, ",", &position);
    const char* const tmp1 = strtok_r(nullptr, ",", &position);
    const char* const tmp2 = strtok_r(nullptr, ",", &position);
    const auto transportId = static_cast<std::uint16_t>(transport != nullptr ? hatoi(transport) : 0);
    const auto programId = static_cast<std::uint16_t>(programme != nullptr ? hatoi(programme) : 0);
    const int span = tmp1 != nullptr ? Decimal(tmp1) : 0;
    switch (cmmd) {
        case 'I':
        case 'i':
            return mpTunerManager->ProcessEpgData(cmd, transportId, programId, tmp1 != nullptr ? hatoi(tmp1) : 0,
                                                  static_cast<std::uint32_t>(tmp2 != nullptr ? Decimal(tmp2) : 0), 0,
                                                  'i');
        case 'L':
        case 'l':
            return mpTunerManager->ProcessEpgData(cmd, transportId, programId, 0, 0,
                                                  static_cast<std::uint32_t>(span / 100 * 60 + span % 100), 'l');
        case 'N':
        case 'n': return mpTunerManager->ProcessEpgData(cmd, transportId, programId, 0, 0, 0, 'n');
        default: PANIC("Unknown EIT command: %c", cmmd); return mKo;
    }
}

/// LANG: a transmitter sends only the audio of these languages; a receiver plays it.
/// \param cmd  "LANG", then primary language and type, secondary language and type
char* CommandManager::ProcessSetLanguage(char* cmd, int /*len*/) {
    WantedLanguage primary, secondary;
    mAudioLanguagePri = mAudioLanguageSec = 0;
    ParseLanguages(cmd + 4, primary, secondary);
    if (mMyType == 'T') {
        return mpTsf->SetLanguageFilter(primary.code, primary.type, secondary.code, secondary.type) ? mOk : mKo;
    }
    mAudioLanguagePri = mpTunerManager->GetAudioPid(primary.code, primary.type);
    mAudioLanguageSec = mpTunerManager->GetAudioPid(secondary.code, secondary.type);
    LOG("Rx: Languages translated to the following pids: Pri 0x%x, Sec 0x%x\n",
        static_cast<unsigned>(mAudioLanguagePri), static_cast<unsigned>(mAudioLanguageSec));
    if (mAudioLanguagePri < 1) mAudioLanguagePri = mAudioLanguageSec;
    if (mMulticastIpReceived[0] == '\0' || mMulticastPortReceived == 0) return mOk;  // they wait for the next play
    const int currentProgram = SharedMem::Self()->GetProgramReceivedReceiver();
    return PlayLayer(mMulticastIpReceived, mMulticastPortReceived, currentProgram, mAudioLanguagePri) ? mOk : mKo;
}

/// SUBS: the caption service of a receiver. \param cmd  "SUBS", then 1 to 6; anything else turns captions off
char* CommandManager::ProcessSetSubtitles(char* cmd, int /*len*/) {
    if (mMyType == 'T') {
        LOG("Can't filter subtitles on the transmitter");
        return mOk;
    }
    char* position = nullptr;
    const char* const field = strtok_r(cmd + 4, ",", &position);
    if (field == nullptr) return mKo;
    const int index = Decimal(field);
    const bool on = strncasecmp(field, "OFF", 3) != 0 && index >= kFirstCaption && index <= kLastCaption;
    mCCIndex = on ? index : 0;
    if (mpSnmp->SnmpSet("%s i %d", Oid(CLOSE_CAPTION), mCCIndex) != nullptr) return mOk;
    PANIC("close caption play");
    return mKo;
}
