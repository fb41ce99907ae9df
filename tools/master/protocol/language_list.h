/// The listings of LAN? and SUB?.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/endpoint.h"

namespace zulctl {

struct LanguageEntry {
    std::string code;  ///< three characters of the broadcast; not escaped
    int type = 0;      ///< audio_type of ISO/IEC 13818-1, 2.6.18; 0 for captions
};

struct ProgrammeLanguages {
    ProgrammeId id{};
    std::vector<LanguageEntry> entries;
};

/// Reads "LANG 1a2b 3c4d eng00,spa00 CR LF", a line a programme, or the same with SUB and no types, then "OK CR LF".
/// \return nothing unless the whole text is such a listing
std::optional<std::vector<ProgrammeLanguages>> ParseAudioLanguages(std::string_view reply);
std::optional<std::vector<ProgrammeLanguages>> ParseCaptionLanguages(std::string_view reply);

/// \return "undefined", "clean effects", "hearing impaired", "visual impaired commentary" or the number
std::string AudioTypeName(int type);

}  // namespace zulctl
