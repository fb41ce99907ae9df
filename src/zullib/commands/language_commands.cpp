// LAN?, SUB?, LANG and SUBS: available languages, the audio language, the caption service.
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

/// Reads two languages with their types, up to the first missing field.
void ParseLanguages(CommaFields fields, WantedLanguage& primary, WantedLanguage& secondary) {
    const char* field = fields.Next();
    if (field == nullptr) return;
    CopyText(primary.code, field);
    LOG("ProcessSetLanguage - PriLang: %s\n", primary.code);
    if ((field = fields.Next()) == nullptr) return;
    primary.type = static_cast<int>(hatoi(field));
    LOG("ProcessSetLanguage - PriLangType: %d\n", primary.type);
    if ((field = fields.Next()) == nullptr) return;
    CopyText(secondary.code, field);
    LOG("ProcessSetLanguage - SecLang: %s\n", secondary.code);
    if ((field = fields.Next()) == nullptr) return;
    secondary.type = static_cast<int>(hatoi(field));
    LOG("ProcessSetLanguage - SecLangType: %d\n", secondary.type);
}

}  // namespace

/// LAN? and SUB?: the languages of the current channel's programmes, sent to the forwarding peer.
char* CommandManager::ProcessLanguageList(Language::LanguageModeEnum mode, Request request) {
    mpTunerManager->SetTunerForwarding(mpServer.get());
    return mpTunerManager->GetLanguagesOrSubtitles(mode, request.text);
}

/// LANG: a transmitter sends only the audio of these languages; a receiver plays it.
/// \param request  primary language and type, secondary language and type
char* CommandManager::ProcessSetLanguage(Request request) {
    WantedLanguage primary, secondary;
    Playback& play = mPlayback;
    play.mAudioLanguagePri = play.mAudioLanguageSec = 0;
    ParseLanguages(CommaFields(request.text), primary, secondary);
    if (mMyType == 'T') {
        return mpTsf->SetLanguageFilter(primary.code, primary.type, secondary.code, secondary.type) ? mOk : mKo;
    }
    play.mAudioLanguagePri = mpTunerManager->GetAudioPid(primary.code, primary.type);
    play.mAudioLanguageSec = mpTunerManager->GetAudioPid(secondary.code, secondary.type);
    LOG("Rx: Languages translated to the following pids: Pri 0x%x, Sec 0x%x\n",
        static_cast<unsigned>(play.mAudioLanguagePri), static_cast<unsigned>(play.mAudioLanguageSec));
    if (play.mAudioLanguagePri < 1) play.mAudioLanguagePri = play.mAudioLanguageSec;
    if (play.mMulticastIpReceived[0] == '\0' || play.mMulticastPortReceived == 0)
        return mOk;  // the PIDs apply to the next play
    const int currentProgram = SharedMem::Self()->GetProgramReceivedReceiver();
    return PlayLayer(play.mMulticastIpReceived, play.mMulticastPortReceived, currentProgram, play.mAudioLanguagePri)
               ? mOk
               : mKo;
}

/// SUBS: the caption service of a receiver. \param request  1 to 6; anything else turns captions off
char* CommandManager::ProcessSetSubtitles(Request request) {
    if (mMyType == 'T') {
        LOG("Can't filter subtitles on the transmitter");
        return mOk;
    }
    const char* const field = CommaFields(request.text).Next();
    if (field == nullptr) return mKo;
    const int index = Decimal(field);
    const bool on = strncasecmp(field, "OFF", 3) != 0 && index >= kFirstCaption && index <= kLastCaption;
    mPlayback.mCCIndex = on ? index : 0;
    if (mpSnmp->SnmpSet("%s i %d", Oid(CLOSE_CAPTION), mPlayback.mCCIndex) != nullptr) return mOk;
    PANIC("close caption play");
    return mKo;
}
