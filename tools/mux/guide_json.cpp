// The guide of a programme, read from JSON: single events, and rules that make series of them.
#include <algorithm>
#include <cstdio>
#include <set>

#include "description_json.h"
#include "json_members.h"

namespace mux {
namespace {

using nlohmann::json;

constexpr std::int64_t kDay = 86'400;
constexpr std::uint16_t kLastEventId = 0x3FFF;

// "+1:30" or "-0:10", hours and minutes from the start of the stream; or a moment.
std::int64_t ReadStart(const std::string& text, std::int64_t startUtc) {
    char sign[2] = "";
    unsigned hours = 0;
    unsigned minutes = 0;
    int used = 0;
    const bool relative = std::sscanf(text.c_str(), "%1[+-]%5u:%2u%n", sign, &hours, &minutes, &used) == 3;
    if (!relative || static_cast<std::size_t>(used) != text.size()) return ParseUtc(text) - startUtc;
    const std::int64_t distance = hours * 3600 + minutes * 60;
    return sign[0] == '-' ? -distance : distance;
}

GuideEvent ReadEvent(const json& value, std::int64_t startUtc) {
    GuideEvent event;
    Members members(value);
    members.Read("id", event.id, 0, kLastEventId);
    event.start = ReadStart(members.At("start").get<std::string>(), startUtc);
    std::uint32_t minutes = 30;
    members.Read("minutes", minutes, 0, 0xFFFFF / 60);
    event.seconds = minutes * 60;
    members.Read("seconds", event.seconds, 0, 0xFFFFF);
    if (const auto* const title = members.Find("title")) event.title = ReadText(*title);
    if (const auto* const text = members.Find("text")) event.text = ReadText(*text);
    members.CheckAllRead();
    return event;
}

// Replaces a mark, "{n}" or "{day}", by a number.
std::string Filled(std::string text, const std::string& mark, std::size_t number) {
    for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at)) {
        text.replace(at, mark.size(), std::to_string(number));
    }
    return text;
}

std::vector<Text> ReadTexts(Members& members, const std::string& key) {
    std::vector<Text> texts;
    members.Each(key, [&](const json& text) { texts.push_back(ReadText(text)); });
    return texts;
}

// Adds the events of a rule, which cycles through each of its lists.
void ApplyRule(const json& value, std::int64_t startUtc, std::vector<GuideEvent>& events) {
    Members members(value);
    const std::int64_t from = ReadStart(members.At("from").get<std::string>(), startUtc);
    std::int64_t hours = 1;
    members.Read("hours", hours, 1, 24 * 366);
    const auto minutes = members.At("minutes").get<std::vector<std::int64_t>>();
    const auto bad = [](std::int64_t length) { return length < 1 || length > 0xFFFFF / 60; };
    if (minutes.empty() || std::any_of(minutes.begin(), minutes.end(), bad))
        Expected("minutes", "an array of lengths", minutes);
    const std::vector<Text> titles = ReadTexts(members, "titles");
    const std::vector<Text> texts = ReadTexts(members, "texts");
    std::size_t textEvery = 1;     // one event in this many has a text
    std::size_t overlapEvery = 0;  // one event in this many overlaps its successor; 0: none
    members.Read("text_every", textEvery, 1, 0xFFFF);
    members.Read("overlap_every", overlapEvery, 0, 0xFFFF);
    members.CheckAllRead();
    std::int64_t start = from;
    for (std::size_t n = 0; start < from + hours * 3600; ++n) {
        const auto fill = [&](Text text) {
            for (TextString& string : text) {
                string.text = Filled(Filled(std::move(string.text), "{n}", n + 1), "{day}",
                                     static_cast<std::size_t>((start - from) / kDay + 1));
            }
            return text;
        };
        const auto seconds = static_cast<std::uint32_t>(minutes[n % minutes.size()] * 60);
        const bool overlaps = overlapEvery != 0 && n % overlapEvery == overlapEvery - 1;
        GuideEvent event{.start = start, .seconds = overlaps ? seconds + seconds / 2 : seconds};
        if (!titles.empty()) event.title = fill(titles[n % titles.size()]);
        if (!texts.empty() && n % textEvery == 0) event.text = fill(texts[n / textEvery % texts.size()]);
        events.push_back(std::move(event));
        start += seconds;
    }
}

// Events without an id get the lowest free one.
void GiveIds(std::vector<GuideEvent>& events) {
    std::set<std::uint16_t> taken;
    for (const GuideEvent& event : events) taken.insert(event.id);
    std::uint16_t next = 1;
    for (GuideEvent& event : events) {
        if (event.id != 0) continue;
        while (taken.contains(next)) ++next;
        if (next > kLastEventId) Fail("guide: more than 16383 events");
        event.id = next++;
    }
}

}  // namespace

std::vector<GuideEvent> ReadGuide(const nlohmann::json& value, std::int64_t startUtc) {
    std::vector<GuideEvent> events;
    Members members(value);
    members.Each("events", [&](const json& event) { events.push_back(ReadEvent(event, startUtc)); });
    members.Each("rules", [&](const json& rule) { ApplyRule(rule, startUtc, events); });
    members.CheckAllRead();
    GiveIds(events);
    return events;
}

}  // namespace mux
