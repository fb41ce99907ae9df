// Guide replies.
#include "protocol/guide_reply.h"

#include "protocol/text_modes.h"
#include "protocol/text_walk.h"

namespace zulctl {

namespace {

constexpr int kLongestText = 4096;
/// A board replaces each byte of a title below 0x20 by '*', whatever the mode. In UTF-16 that hits the high byte of
/// most alphabets: such a character is lost, and better shown as lost than as another one (U+2A00 to U+2AFF).
void HideReplacedBytes(std::string& units) {
    for (std::size_t n = 0; n + 1 < units.size(); n += 2) {
        if (units[n] == '*') units[n] = '\xFF', units[n + 1] = '\xFD';
    }
}

/// Takes "S4,00[News]" or the same after L.
std::string TakeText(TextWalk& walk, std::string_view letter, std::uint8_t& mode) {
    walk.Take(letter);
    const auto length = static_cast<std::size_t>(walk.Small(kLongestText));
    walk.Take(",");
    mode = static_cast<std::uint8_t>(walk.Small(255, 16));
    walk.Take("[");
    std::string text;
    if (mode == kModeLatin) {
        text = walk.Exactly(length);
    } else {
        for (std::size_t n = 0; n < length && walk.Ok(); ++n) {
            if (n > 0) walk.Take(" ");
            text += static_cast<char>(walk.Number(16, 2));
        }
    }
    walk.Take("]");
    if (letter == "S" && mode == kModeUtf16) HideReplacedBytes(text);
    return walk.Ok() ? ShownText(mode, text) : std::string();
}

std::optional<GuideEvent> TakeEvent(TextWalk& reply) {
    TextWalk walk = reply;
    GuideEvent event;
    walk.Take("EITI ");
    const std::uint32_t day = walk.Number(16, 8);
    walk.Take(" ");
    const std::uint32_t hhmm = walk.Number(10, 4);
    walk.Take(" ");
    const int duration = walk.Small(2359);
    walk.Take(" ");
    event.title = TakeText(walk, "S", event.titleMode);
    event.text = TakeText(walk, "L", event.textMode);
    walk.Take("\r\n");
    const auto start = MomentOf(day, hhmm);
    if (!walk.Ok() || !start) return std::nullopt;
    event.start = *start;
    event.duration = std::chrono::hours(duration / 100) + std::chrono::minutes(duration % 100);
    reply = walk;
    return event;
}

}  // namespace

std::optional<GuideReply> ParseGuideReply(std::string_view text) {
    if (!text.starts_with("EITI ")) return std::nullopt;
    GuideReply reply;
    TextWalk walk(text);
    if (text == "EITI OK\r\n") {
        reply.whole = true;
        return reply;
    }
    while (auto event = TakeEvent(walk)) reply.events.push_back(*std::move(event));
    walk.Take("OK\r\n");
    reply.whole = walk.AtEnd();
    return reply;
}

}  // namespace zulctl
