// Audio languages and caption services of the programmes; those that are no longer sent age and are removed.
#include <cstring>

#include "core/log.h"
#include "guide/programmestore.h"

namespace {

constexpr int LANG_CNT = 30;  ///< walks past an entry until it is removed

}  // namespace

bool ProgrammeStore::SetLanguageForProgram(std::uint16_t transportId, std::uint16_t progamId, const char* langCode,
                                           Language::LanguageModeEnum langMode, int langType, std::uint16_t pid,
                                           int captionServiceNum) {
    const platform::MutexLock lock(mMutex);
    ScalProgramDesc* const program = FindProgramme(progamId);
    if (program == nullptr) return false;
    auto& entries = program->language;
    // Entries before the match age. The entry after a removed one is compared without ageing.
    for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
        if (--entry->languageCount <= 0) {
            LOG("=== Removing no longer transmitted language %.3s\n", entry->language);
            entry = entries.erase(entry);
            if (entry == entries.end()) break;
        }
        if (entry->IsIn(langCode) && entry->audioType == langType && entry->audioPid == pid) {
            entry->languageCount = LANG_CNT;
            return false;
        }
    }
    LOG("=== Add new lang %.3s mode %d for trid %x prid %x pid %x\n", langCode, langMode, transportId, progamId, pid);
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
