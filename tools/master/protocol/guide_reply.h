/// Replies that list the programme guide, or languages.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/channels.h"
#include "protocol/status.h"

namespace zulctl {

struct GuideEvent {
    Minutes start{};
    std::chrono::minutes duration{};  ///< modulo a day, as the protocol shows it
    std::string title, text;          ///< UTF-8, not escaped

    Minutes End() const { return start + duration; }
};

struct ChannelGuide {
    Channel channel;
    std::vector<GuideEvent> events;
};

/// Reads "EITI d3a4 1930 1015 S4,00[News]L0,00[] CR LF", a line an event, then "OK CR LF"; "EITI OK CR LF" is an empty
/// one. The texts are taken by their length fields, since they may hold any byte. In mode 0 the text is unchanged;
/// in another mode each byte is two hexadecimal digits with a blank between.
/// \return nothing for a text that isn't a guide reply, or a damaged one
std::optional<std::vector<GuideEvent>> ParseGuideReply(std::string_view reply);

struct LanguageEntry {
    std::string code;  ///< three characters of the broadcast; not escaped
    int type = 0;      ///< audio_type of ISO/IEC 13818-1, 2.6.18; 0 for captions
};

using LanguageList = std::map<ProgrammeId, std::vector<LanguageEntry>>;

/// Reads "LANG 1a2b 3c4d eng00,spa00 CR LF", a line a programme, or the same with SUB and no types, then "OK CR LF".
/// \return nothing unless the whole text is such a listing
std::optional<LanguageList> ParseAudioLanguages(std::string_view reply);
std::optional<LanguageList> ParseCaptionLanguages(std::string_view reply);

}  // namespace zulctl
