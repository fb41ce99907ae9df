// What commands ask of the languages: the listings, the PID or service of a language, the dump.
#include <cstring>
#include <optional>
#include <vector>

#include "core/log.h"
#include "core/replytext.h"
#include "core/sharedmem.h"
#include "guide/tunermanager.h"
#include "platform/machine.h"

namespace {

constexpr char kEnd[] = "OK\r\n";
constexpr int kTries = 3;
constexpr std::int64_t kTryWait = platform::kSecond;

/// Adds a programme's line of the listing. \return false when it had to be cut
bool AddLine(ReplyText& reply, const ScalProgramDesc& program, Language::LanguageModeEnum mode) {
    const bool captions = mode == Language::eCaption;
    bool whole = reply.Add("%s %.4x %.4x ", captions ? "SUB" : "LANG", program.transportId, program.programId);
    const char* separator = "";
    for (const Language& entry : program.language) {
        LOG("itl->languageMode %d, mode %d, lang %.3s, pid %x\n", entry.languageMode, mode, entry.language,
            static_cast<unsigned>(entry.audioPid));
        if (entry.languageMode != mode) continue;
        whole = (captions ? reply.Add("%s%.3s", separator, entry.language)
                          : reply.Add("%s%.3s%.2d", separator, entry.language, entry.audioType)) &&
                whole;
        separator = ",";
    }
    return reply.Add("\r\n") && whole;
}

}  // namespace

char* TunerManager::GetLanguagesOrSubtitles(Language::LanguageModeEnum mode, char* buffer) {
    ReplyText reply(buffer, kReplySize - (sizeof kEnd - 1));
    {
        const platform::MutexLock lock(mMutex);
        for (const ScalProgramDesc& program : CurrentList()) {
            if (program.channelId != GetCurrentChannel()) continue;
            const std::size_t before = reply.Length();
            if (AddLine(reply, program, mode)) continue;
            reply.CutTo(before);  // the listing ends on a whole line
            break;
        }
    }
    std::memcpy(buffer + reply.Length(), kEnd, sizeof kEnd);
    LOG("\n%s\n", buffer);
    SendToPeer(buffer, std::strlen(buffer));
    return nullptr;
}

/// Looks for a language of the programme being received, with time for its PMT to come.
/// \param audioType  of audio; not looked at for captions
std::optional<Language> TunerManager::FindLanguage(Language::LanguageModeEnum mode, const char* language,
                                                   int audioType) {
    char code[4] = "";  // the text may be shorter than the three characters that are compared
    CopyText(code, language);
    const int programId = SharedMem::Self()->GetProgramReceivedReceiver();
    for (int attempt = 0; attempt < kTries; ++attempt) {
        if (mode == Language::eAudio) {
            LOG("Trying to find pid for audio language %c%c%c, type %d for programId 0x%x, attempt %d\n", code[0],
                code[1], code[2], audioType, static_cast<unsigned>(programId), attempt);
        }
        if (auto found = FindLanguageNow(mode, code, audioType, programId)) return found;
        platform::Sleep(kTryWait);
    }
    return std::nullopt;
}

std::optional<Language> TunerManager::FindLanguageNow(Language::LanguageModeEnum mode, const char* language,
                                                      int audioType, int programId) {
    const platform::MutexLock lock(mMutex);
    for (const ScalProgramDesc& program : CurrentList()) {
        if (program.channelId != GetCurrentChannel() || program.programId != programId) continue;
        for (const Language& entry : program.language) {
            if (entry.languageMode != mode || !entry.IsIn(language)) continue;
            if (mode == Language::eCaption || entry.audioType == audioType) return entry;
        }
    }
    return std::nullopt;
}

int TunerManager::GetSubtitleIndex(const char* language) {
    const auto found = FindLanguage(Language::eCaption, language, 0);
    if (!found) return -1;
    LOG("Found caption in %s, service_number %d\n", language, found->captionServiceNum);
    return found->captionServiceNum;
}

int TunerManager::GetAudioPid(const char* language, int audioType) {
    const auto found = FindLanguage(Language::eAudio, language, audioType);
    if (!found) return 0;
    LOG("Found audio in %s, pid 0x%x\n", language, static_cast<unsigned>(found->audioPid));
    return found->audioPid;
}

void TunerManager::DumpLanguageInfo() {
    struct Programme {
        std::uint16_t transportId, programId;
        std::vector<Language> languages;
    };
    std::vector<Programme> programmes;
    {
        const platform::MutexLock lock(mMutex);
        for (const ScalProgramDesc& program : CurrentList()) {
            if (program.channelId != GetCurrentChannel()) continue;
            programmes.push_back(
                {program.transportId, program.programId, {program.language.begin(), program.language.end()}});
        }
    }
    for (const Programme& programme : programmes) {
        LOG("\n=== LANGUAGE LIST for trid 0x%x, prid 0x%x ===\n", programme.transportId, programme.programId);
        for (const Language& entry : programme.languages) {
            const bool audio = entry.languageMode == Language::eAudio;
            LOG("=== language %.3s, %s 0x%x, %s 0x%x\n", entry.language, "type",
                static_cast<unsigned>(audio ? entry.audioType : entry.captionType), audio ? "pid" : "service",
                static_cast<unsigned>(audio ? entry.audioPid : entry.captionServiceNum));
        }
        LOG("\n");
    }
}
