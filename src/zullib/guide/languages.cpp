// Audio languages and caption services of the programmes, which age when they are no longer sent.
#include <cstring>
#include <string>
#include <vector>

#include "platform/machine.h"
#include "replytext.h"
#include "sharedmem.h"
#include "tunermanager.h"
#include "udpcom.h"

namespace {

constexpr int LANG_CNT = 30;
constexpr char kEnd[] = "OK\r\n";
constexpr int kTries = 3;
constexpr std::int64_t kTryWait = platform::kSecond;

bool SameLanguage(const char* one, const char* other) { return std::memcmp(one, other, 3) == 0; }

/// Adds a programme's line of the listing. \return false when it had to be cut
bool AddLine(ReplyText& reply, const ScalProgramDesc& program, Language::LanguageModeEnum mode) {
    const bool captions = mode == Language::eCaption;
    bool whole = reply.Add("%s %.4x %.4x ", captions ? "SUB" : "LANG", program.transportId, program.programId);
    const char* separator = "";
    for (const Language& entry : program.language) {
        LOG("itl->languageMode %d, mode %d, lang %s, pid %x\n", entry.languageMode, mode, entry.language,
            static_cast<unsigned>(entry.audioPid));
        if (entry.languageMode != mode) continue;
        whole = (captions ? reply.Add("%s%s", separator, entry.language)
                          : reply.Add("%s%s%.2d", separator, entry.language, entry.audioType)) &&
                whole;
        separator = ",";
    }
    return reply.Add("\r\n") && whole;
}

}  // namespace

bool TunerManager::SetLanguageForProgram(std::uint16_t transportId, std::uint16_t progamId, const char* langCode,
                                         Language::LanguageModeEnum langMode, int langType, std::uint16_t pid,
                                         int captionServiceNum) {
    const platform::MutexLock lock(mMutex);
    ScalProgramDesc* const program = FindProgramme(progamId);
    if (program == nullptr) return false;
    auto& entries = program->language;
    // Entries in front of the match age; the one behind an entry that falls out is compared without ageing.
    for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
        if (--entry->languageCount <= 0) {
            LOG("=== Removing no longer transmitted language %s\n", entry->language);
            entry = entries.erase(entry);
            if (entry == entries.end()) break;
        }
        if (SameLanguage(entry->language, langCode) && entry->audioType == langType && entry->audioPid == pid) {
            entry->languageCount = LANG_CNT;
            return false;
        }
    }
    LOG("=== Add new lang %s mode %d for trid %x prid %x pid %x\n", langCode, langMode, transportId, progamId, pid);
    Language& added = entries.emplace_back();
    std::memcpy(added.language, langCode, sizeof added.language);
    added.audioType = langType;
    added.audioPid = pid;
    added.languageCount = LANG_CNT;
    added.languageMode = langMode;
    added.captionType = langType;
    added.captionServiceNum = captionServiceNum;
    return true;
}

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

/// Looks for a language of a programme, with time for its PMT to come.
/// \param audioType  of audio; not looked at for captions
/// \param missing    the answer when three tries find nothing
/// \return the PID of audio, the service number of captions
int TunerManager::FindLanguage(Language::LanguageModeEnum mode, const char* language, int audioType, std::uint16_t programId,
                               int missing) {
    for (int attempt = 0; attempt < kTries; ++attempt) {
        if (mode == Language::eAudio) {
            LOG("Trying to find pid for audio language %c%c%c, type %d for programId 0x%x, attempt %d\n", language[0],
                language[1], language[2], audioType, programId, attempt);
        }
        {
            const platform::MutexLock lock(mMutex);
            for (const ScalProgramDesc& program : CurrentList()) {
                if (program.channelId != GetCurrentChannel() || program.programId != programId) continue;
                for (const Language& entry : program.language) {
                    if (entry.languageMode != mode || !SameLanguage(entry.language, language)) continue;
                    if (mode == Language::eCaption) return entry.captionServiceNum;
                    if (entry.audioType == audioType) return entry.audioPid;
                }
            }
        }
        platform::Sleep(kTryWait);
    }
    return missing;
}

namespace {

/// The language as four bytes: a text may be shorter than the three that are compared.
struct LanguageKey {
    explicit LanguageKey(const char* text) { CopyText(code, text); }
    char code[4] = "";
};

}  // namespace

int TunerManager::GetSubtitleIndex(const char* language) {
    constexpr int kNone = -1;
    const LanguageKey key(language);
    const auto programId = static_cast<std::uint16_t>(SharedMem::Self()->GetProgramReceivedReceiver());
    const int number = FindLanguage(Language::eCaption, key.code, 0, programId, kNone);
    if (number != kNone) LOG("Found caption in %s, service_number %d\n", language, number);
    return number;
}

int TunerManager::GetAudioPid(const char* language, int audioType) {
    constexpr int kNone = 0;
    const LanguageKey key(language);
    const auto programId = static_cast<std::uint16_t>(SharedMem::Self()->GetProgramReceivedReceiver());
    const int pid = FindLanguage(Language::eAudio, key.code, audioType, programId, kNone);
    if (pid != kNone) LOG("Found audio in %s, pid 0x%x\n", language, static_cast<unsigned>(pid));
    return pid;
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
            programmes.push_back({program.transportId, program.programId, {program.language.begin(), program.language.end()}});
        }
    }
    for (const Programme& programme : programmes) {
        LOG("\n=== LANGUAGE LIST for trid 0x%x, prid 0x%x ===\n", programme.transportId, programme.programId);
        for (const Language& entry : programme.languages) {
            const bool audio = entry.languageMode == Language::eAudio;
            LOG("=== language %s, %s 0x%x, %s 0x%x\n", entry.language, "type",
                static_cast<unsigned>(audio ? entry.audioType : entry.captionType), audio ? "pid" : "service",
                static_cast<unsigned>(audio ? entry.audioPid : entry.captionServiceNum));
        }
        LOG("\n");
    }
}
