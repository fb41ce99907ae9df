// Descriptions of multiplexes, read from JSON.
#include "description_json.h"

#include <cstdio>
#include <ctime>
#include <fstream>
#include <map>

#include "json_members.h"

namespace mux {
namespace {

using nlohmann::json;

constexpr std::int64_t kFirstPid = 0x10;
constexpr std::int64_t kLastPid = 0x1FFE;

// Start of a description without one: a Sunday evening.
constexpr const char* kUsualStart = "2026-03-01T18:00:00Z";

void ReadLanguage(Members& members, std::string& language) {
    members.Read("language", language);
    if (language.size() != 3) Expected("language", "three letters", language);
}

/// Reads two numbers with a character between them, as "704x480". \return whether that is all of the text
bool ReadPair(const std::string& text, const char* format, unsigned& first, unsigned& second) {
    int used = 0;
    return std::sscanf(text.c_str(), format, &first, &second, &used) == 2 &&
           static_cast<std::size_t>(used) == text.size();
}

Video ReadVideo(const json& value, std::uint16_t pid) {
    Video video{.pid = pid};
    Members members(value);
    members.Read("pid", video.pid, kFirstPid, kLastPid);
    members.Read("bit_rate", video.bitRate, 100'000, 80'000'000);
    std::string size = "352x240";
    members.Read("size", size);
    const auto good = [](unsigned pixels) { return pixels >= 16 && pixels <= 1920 && pixels % 2 == 0; };
    if (!ReadPair(size, "%4ux%4u%n", video.width, video.height) || !good(video.width) || !good(video.height))
        Expected("size", "even numbers as in \"704x480\"", size);
    members.Read("pattern", video.pattern);
    members.CheckAllRead();
    return video;
}

Audio ReadAudio(const json& value, std::uint16_t pid) {
    Audio audio{.pid = pid};
    Members members(value);
    members.Read("pid", audio.pid, kFirstPid, kLastPid);
    ReadLanguage(members, audio.language);
    members.Read("audio_type", audio.audioType);
    members.Read("bit_rate", audio.bitRate, 32'000, 640'000);
    members.Read("tone", audio.tone, 20, 20'000);
    members.CheckAllRead();
    return audio;
}

CaptionService ReadCaption(const json& value) {
    CaptionService caption;
    Members members(value);
    ReadLanguage(members, caption.language);
    members.Read("digital", caption.digital);
    members.Read("service", caption.service, 0, caption.digital ? 63 : 1);
    members.Read("easy_reader", caption.easyReader);
    members.Read("wide_aspect", caption.wideAspect);
    members.CheckAllRead();
    return caption;
}

void ReadChannelNumber(const std::string& channel, Programme& programme) {
    unsigned major = 0;
    unsigned minor = 0;
    if (!ReadPair(channel, "%4u.%4u%n", major, minor) || major > 1023 || minor > 1023)
        Expected("channel", "two numbers up to 1023, as in \"7.1\",", channel);
    programme.major = static_cast<std::uint16_t>(major);
    programme.minor = static_cast<std::uint16_t>(minor);
}

void ReadCarrier(Members& members, Programme& programme) {
    members.Choose<std::uint8_t>("modulation", programme.modulation, {{"8vsb", 4}, {"qam64", 2}, {"qam256", 3}});
    members.Read("frequency", programme.carrierFrequency);
}

// Default PIDs are spaced by 16 from 0x30: PMT, then video, then sound four above the PMT.
// \param usual  defaults of all programmes
Programme ReadProgramme(const json& value, const Programme& usual, std::size_t index, std::int64_t startUtc) {
    Programme programme = usual;
    const auto base = static_cast<std::uint16_t>(0x30 + 16 * index);
    programme.number = programme.sourceId = static_cast<std::uint16_t>(index + 1);
    programme.pmtPid = base;
    Members members(value);
    members.Read("number", programme.number);
    members.Read("pmt_pid", programme.pmtPid, kFirstPid, kLastPid);
    programme.name = members.At("name").get<std::string>();
    ReadChannelNumber(members.At("channel").get<std::string>(), programme);
    members.Read("source_id", programme.sourceId, 1, 0xFFFF);
    ReadCarrier(members, programme);
    members.Read("scrambled", programme.scrambled);
    members.Read("hidden", programme.hidden);
    if (const auto* const video = members.Find("video"))
        programme.video = ReadVideo(*video, static_cast<std::uint16_t>(base + 1));
    members.Each("audio", [&](const json& audio) {
        programme.audio.push_back(ReadAudio(audio, static_cast<std::uint16_t>(base + 4 + programme.audio.size())));
    });
    members.Each("captions", [&](const json& caption) { programme.captions.push_back(ReadCaption(caption)); });
    if (const auto* const text = members.Find("text")) programme.text = ReadText(*text);
    if (const auto* const guide = members.Find("guide")) programme.events = ReadGuide(*guide, startUtc);
    members.CheckAllRead();
    return programme;
}

// Numbers, PIDs, source ids and event ids are unique, and no PID is that of a table.
void CheckUnique(const Description& description) {
    std::map<std::pair<std::string, unsigned>, std::string> owners;
    const auto take = [&owners](const std::string& kind, unsigned number, const std::string& owner) {
        const auto [at, added] = owners.emplace(std::pair(kind, number), owner);
        if (!added) Fail("{} {}: both {} and {}", kind, number, at->second, owner);
    };
    take("PID", kPidPat, "the PAT");
    take("PID", kPidPsip, "the PSIP tables");
    take("PID", kPidNull, "null packets");
    take("PID", kPidChannelEtt, "the channel texts");
    for (unsigned k = 0; k < 128; ++k) {
        take("PID", kPidEit0 + k, fmt::format("EIT-{}", k));
        take("PID", kPidEtt0 + k, fmt::format("ETT-{}", k));
    }
    for (const Programme& programme : description.programmes) {
        const std::string owner = fmt::format("programme {}", programme.number);
        if (programme.number == 0) Fail("programme number 0 names the network information, no programme");
        take("programme number", programme.number, owner);
        take("source_id", programme.sourceId, owner);
        take("PID", programme.pmtPid, "the PMT of " + owner);
        if (programme.video) take("PID", programme.video->pid, "the video of " + owner);
        for (const Audio& audio : programme.audio) take("PID", audio.pid, "the audio of " + owner);
        for (const GuideEvent& event : programme.events) {
            take("event id of " + owner, event.id,
                 event.title.empty() ? "an event" : "\"" + event.title.front().text + "\"");
        }
    }
}

Description ReadDescription(const json& value, const std::string& start) {
    Description description;
    Members members(value);
    members.Find("comment");
    members.Read("rate", description.rate, 100'000, 200'000'000);
    members.Read("transport_stream_id", description.transportStreamId);
    members.Choose("vct", description.cable, {{"terrestrial", false}, {"cable", true}});
    members.Read("gps_utc_offset", description.gpsUtcOffset);
    members.Read("daylight_saving", description.daylightSaving);
    members.Read("version", description.version, 0, 31);
    members.Choose("sections", description.packing, {{"aligned", Packing::kAligned}, {"dense", Packing::kDense}});
    if (const auto* const repetition = members.Find("repetition")) {
        Members periods(*repetition);
        for (auto& [table, period] : description.repetition) periods.Read(table, period, 10, 600'000);
        periods.CheckAllRead();
    }
    std::string moment = kUsualStart;
    members.Read("start", moment);
    const std::int64_t startUtc = ParseUtc(start.empty() ? moment : start);
    description.start = static_cast<std::uint32_t>(startUtc - kGpsEpoch + description.gpsUtcOffset);
    Programme usual;
    ReadCarrier(members, usual);
    members.Each("programmes", [&](const json& programme) {
        description.programmes.push_back(ReadProgramme(programme, usual, description.programmes.size(), startUtc));
    });
    members.CheckAllRead();
    CheckUnique(description);
    return description;
}

TextString ReadTextString(const json& value) {
    TextString string;
    Members members(value);
    string.text = members.At("text").get<std::string>();
    ReadLanguage(members, string.language);
    members.Choose("compression", string.compression,
                   {{"none", Compression::kNone},
                    {"title", Compression::kTitle},
                    {"description", Compression::kDescription},
                    {"smallest", std::nullopt}});
    if (members.Find("mode") != nullptr) members.Read("mode", string.mode.emplace());
    members.CheckAllRead();
    return string;
}

}  // namespace

Text ReadText(const json& value) {
    if (value.is_string()) return {{.text = value.get<std::string>()}};
    if (value.is_object()) return {ReadTextString(value)};
    if (!value.is_array()) Expected("text", "a text, an object or an array of objects", value);
    Text text;
    for (const json& string : value) text.push_back(ReadTextString(string));
    return text;
}

std::int64_t ParseUtc(const std::string& text) {
    if (text == "now") return std::time(nullptr);
    std::tm moment{};
    const char* const end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &moment);
    const int day = moment.tm_mday;
    const std::int64_t utc = timegm(&moment);  // makes 30 February a day of March
    if (end == nullptr || *end != '\0' || moment.tm_mday != day || utc < kGpsEpoch ||
        utc - kGpsEpoch > UINT32_MAX - 255) {
        Fail("\"{}\": a moment as \"{}\" or \"now\" was expected", text, kUsualStart);
    }
    return utc;
}

Description ParseDescription(const std::string& text, const std::string& start) {
    return ReadDescription(json::parse(text, nullptr, true, true), start);  // comments are allowed
}

Description LoadDescription(const std::string& file, const std::string& start) try {
    std::ifstream stream(file);
    if (!stream) Fail("it can't be read");
    return ParseDescription(std::string(std::istreambuf_iterator<char>(stream), {}), start);
} catch (const std::exception& error) {
    Fail("{}: {}", file, error.what());
}

}  // namespace mux
