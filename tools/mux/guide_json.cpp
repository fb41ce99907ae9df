// The guide of a programme, read from JSON: events one by one, and rules that make days of them.
#include <algorithm>
#include <cstdio>
#include <set>

#include "description_json.h"
#include "json_reader.h"

namespace mux {
namespace {

constexpr std::int64_t kDay = 86'400;
constexpr std::uint16_t kLastEventId = 0x3FFF;

// "+1:30" or "-0:10", hours and minutes from the begin of the stream; or a moment.
std::int64_t ReadStart(JsonObject& object, const std::string& key, std::int64_t startUtc) {
    const std::string text = object.String(key);
    char sign[2] = "";
    unsigned hours = 0;
    unsigned minutes = 0;
    int used = 0;
    const bool relative = std::sscanf(text.c_str(), "%1[+-]%5u:%2u%n", sign, &hours, &minutes, &used) == 3;
    if (relative && static_cast<std::size_t>(used) == text.size()) {
        const std::int64_t distance = hours * 3600 + minutes * 60;
        return sign[0] == '-' ? -distance : distance;
    }
    try {
        return ParseUtc(text) - startUtc;
    } catch (const Error&) {
        object.Expected(key, "a moment, or hours and minutes as \"+1:30\",");
    }
}

GuideEvent ReadEvent(JsonObject object, std::int64_t startUtc) {
    GuideEvent event;
    event.id = object.Get<std::uint16_t>("id", std::uint16_t{0}, 0, kLastEventId);
    event.start = ReadStart(object, "start", startUtc);
    event.seconds = object.Has("seconds") ? object.Get<std::uint32_t>("seconds", std::nullopt, 0, 0xFFFFF)
                                          : object.Get<std::uint32_t>("minutes", 30u, 0, 0xFFFFF / 60) * 60;
    event.title = ParseText(object, "title");
    event.text = ParseText(object, "text");
    object.CheckKeys();
    return event;
}

// "{n}" in a text of a rule stands for the event's count, "{day}" for the day's.
std::string Filled(std::string text, const std::string& mark, std::size_t number) {
    for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at)) {
        text.replace(at, mark.size(), std::to_string(number));
    }
    return text;
}

// A rule: its lists are gone through again and again, each at its own pace.
struct Rule {
    std::int64_t from = 0;
    std::int64_t until = 0;
    std::vector<std::int64_t> minutes;
    std::vector<Text> titles;
    std::vector<Text> texts;
    std::size_t textEvery = 1;     ///< events from one with a text to the next
    std::size_t overlapEvery = 0;  ///< events from one that runs into its follower to the next, 0: none does

    GuideEvent Make(std::size_t n, std::int64_t start) const;
};

std::vector<Text> ReadTexts(JsonObject& object, const std::string& key) {
    if (!object.Has(key)) return {};
    const nlohmann::json& list = object.Value(key);
    if (!list.is_array()) object.Expected(key, "an array");
    std::vector<Text> texts;
    for (const auto& element : list) {
        const nlohmann::json wrapped = {{"text", element}};
        JsonObject entry(wrapped, object.PathOf(key) + "[" + std::to_string(texts.size()) + "]");
        texts.push_back(ParseText(entry, "text"));
    }
    return texts;
}

Rule ReadRule(JsonObject object, std::int64_t startUtc) {
    Rule rule;
    rule.from = ReadStart(object, "from", startUtc);
    rule.until = rule.from + object.Get<std::int64_t>("hours", std::nullopt, 1, 24 * 366) * 3600;
    rule.minutes = object.Numbers("minutes", 1, 0xFFFFF / 60);
    if (rule.minutes.empty()) object.Expected("minutes", "an array with at least one length");
    rule.titles = ReadTexts(object, "titles");
    rule.texts = ReadTexts(object, "texts");
    rule.textEvery = object.Get<std::uint16_t>("text_every", std::uint16_t{1}, 1);
    rule.overlapEvery = object.Get<std::uint16_t>("overlap_every", std::uint16_t{0});
    object.CheckKeys();
    return rule;
}

GuideEvent Rule::Make(std::size_t n, std::int64_t start) const {
    const auto every = [n](std::size_t step) { return step != 0 && n % step == step - 1; };
    const auto fill = [&](Text text) {
        for (TextString& string : text) {
            string.text = Filled(Filled(std::move(string.text), "{n}", n + 1), "{day}",
                                 static_cast<std::size_t>((start - from) / kDay + 1));
        }
        return text;
    };
    GuideEvent event;
    event.start = start;
    event.seconds = static_cast<std::uint32_t>(minutes[n % minutes.size()] * 60);
    if (every(overlapEvery)) event.seconds += event.seconds / 2;
    if (!titles.empty()) event.title = fill(titles[n % titles.size()]);
    if (!texts.empty() && n % textEvery == 0) event.text = fill(texts[n / textEvery % texts.size()]);
    return event;
}

// Events without an id get the lowest that nobody has.
void GiveIds(std::vector<GuideEvent>& events, const JsonObject& guide) {
    std::set<std::uint16_t> taken;
    for (const GuideEvent& event : events) taken.insert(event.id);
    std::uint16_t next = 1;
    for (GuideEvent& event : events) {
        if (event.id != 0) continue;
        while (taken.contains(next)) ++next;
        if (next > kLastEventId) guide.Expected("rules", "fewer than 16384 events");
        event.id = next++;
    }
}

}  // namespace

std::vector<GuideEvent> ParseGuide(JsonObject guide, std::int64_t startUtc) {
    std::vector<GuideEvent> events;
    for (const JsonObject& event : guide.Objects("events")) events.push_back(ReadEvent(event, startUtc));
    for (const JsonObject& object : guide.Objects("rules")) {
        const Rule rule = ReadRule(object, startUtc);
        std::size_t n = 0;
        for (std::int64_t start = rule.from; start < rule.until;
             start += rule.minutes[n++ % rule.minutes.size()] * 60) {
            events.push_back(rule.Make(n, start));
        }
    }
    guide.CheckKeys();
    GiveIds(events, guide);
    return events;
}

}  // namespace mux
