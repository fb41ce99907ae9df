// Queries on the languages: the listings, the PID or caption service of a language, and the dump.
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

/// Adds a programme's line to the listing. \return false when it was cut
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

/// \return the entry of a language in the programme with this number, if there is one
std::optional<Language> FindLanguageNow(ProgrammeStore& store, Language::LanguageModeEnum mode, const char* language,
                                        int audioType, int programId) {
    std::optional<Language> found;
    store.VisitCurrent([&](const ScalProgramDesc& program) {
        if (program.programId != programId) return true;
        for (const Language& entry : program.language) {
            if (entry.languageMode != mode || !entry.IsIn(language)) continue;
            if (mode == Language::eAudio && entry.audioType != audioType) continue;
            found = entry;
            return false;
        }
        return true;
    });
    return found;
}

/// Looks for a language of the programme being received, and waits for its PMT if the language isn't known yet.
/// \param audioType  of audio; ignored for captions
std::optional<Language> FindLanguage(ProgrammeStore& store, Language::LanguageModeEnum mode, const char* language,
                                     int audioType) {
    char code[4] = "";  // three characters are compared, and the argument may have fewer
    CopyText(code, language);
    const int programId = SharedMem::Self()->GetProgramReceivedReceiver();
    for (int attempt = 0; attempt < kTries; ++attempt) {
        if (mode == Language::eAudio) {
            LOG("Trying to find pid for audio language %c%c%c, type %d for programId 0x%x, attempt %d\n", code[0],
                code[1], code[2], audioType, static_cast<unsigned>(programId), attempt);
        }
        if (auto found = FindLanguageNow(store, mode, code, audioType, programId)) return found;
        platform::Sleep(kTryWait);
    }
    return std::nullopt;
}

}  // namespace

char* TunerManager::GetLanguagesOrSubtitles(Language::LanguageModeEnum mode, char* buffer) {
    ReplyText reply(buffer, kReplySize - (sizeof kEnd - 1));
    mStore.VisitCurrent([&](const ScalProgramDesc& program) {
        const std::size_t before = reply.Length();
        if (AddLine(reply, program, mode)) return true;
        reply.CutTo(before);  // the listing ends on a whole line
        return false;
    });
    std::memcpy(buffer + reply.Length(), kEnd, sizeof kEnd);
    LOG("\n%s\n", buffer);
    mPeer.Send(buffer);
    return nullptr;
}

int TunerManager::GetSubtitleIndex(const char* language) {
    const auto found = FindLanguage(mStore, Language::eCaption, language, 0);
    if (!found) return -1;
    LOG("Found caption in %s, service_number %d\n", language, found->captionServiceNum);
    return found->captionServiceNum;
}

int TunerManager::GetAudioPid(const char* language, int audioType) {
    const auto found = FindLanguage(mStore, Language::eAudio, language, audioType);
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
    mStore.VisitCurrent([&](const ScalProgramDesc& program) {
        programmes.push_back(
            {program.transportId, program.programId, {program.language.begin(), program.language.end()}});
        return true;
    });
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
