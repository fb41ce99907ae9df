// Descriptions of multiplexes, read from JSON.
#include "description_json.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>

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
    members.Choose("modulation", programme.modulation,
                   {{"8vsb", kModulation8Vsb}, {"qam64", kModulationQam64}, {"qam256", kModulationQam256}});
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
    for (const json& audio : members.List("audio"))
        programme.audio.push_back(ReadAudio(audio, static_cast<std::uint16_t>(base + 4 + programme.audio.size())));
    for (const json& caption : members.List("captions")) programme.captions.push_back(ReadCaption(caption));
    if (const auto* const text = members.Find("text")) programme.text = ReadText(*text);
    if (const auto* const guide = members.Find("guide")) programme.events = ReadGuide(*guide, startUtc);
    members.CheckAllRead();
    return programme;
}

void ReadRepetition(const json& value, Repetition& repetition) {
    Members members(value);
    for (const auto& [key, period] : {std::pair("pat", &repetition.pat),
                                      {"pmt", &repetition.pmt},
                                      {"mgt", &repetition.mgt},
                                      {"vct", &repetition.vct},
                                      {"stt", &repetition.stt},
                                      {"eit0", &repetition.eit0},
                                      {"eit1", &repetition.eit1},
                                      {"eit_later", &repetition.eitLater},
                                      {"channel_ett", &repetition.channelEtt},
                                      {"ett0", &repetition.ett0},
                                      {"ett_later", &repetition.ettLater}}) {
        members.Read(key, *period, 10, 600'000);
    }
    members.CheckAllRead();
}

Description ReadDescription(const json& value, std::optional<std::uint32_t> start) {
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
    if (const auto* const repetition = members.Find("repetition")) ReadRepetition(*repetition, description.repetition);
    std::string moment = kUsualStart;
    members.Read("start", moment);
    const std::int64_t utc = ParseUtc(moment);
    description.start = start ? *start : static_cast<std::uint32_t>(utc - kGpsEpoch + description.gpsUtcOffset);
    const std::int64_t startUtc = description.start + kGpsEpoch - description.gpsUtcOffset;
    Programme usual;
    usual.modulation = kModulation8Vsb;
    ReadCarrier(members, usual);
    for (const json& programme : members.List("programmes")) {
        description.programmes.push_back(ReadProgramme(programme, usual, description.programmes.size(), startUtc));
    }
    members.CheckAllRead();
    CheckDescription(description);
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

Text ReadText(const nlohmann::json& value) {
    if (value.is_string()) return {{.text = value.get<std::string>()}};
    if (value.is_object()) return {ReadTextString(value)};
    if (!value.is_array()) Expected("text", "a text, an object or an array of objects", value);
    Text text;
    for (const json& string : value) text.push_back(ReadTextString(string));
    return text;
}

std::int64_t ParseUtc(const std::string& text) {
    using namespace std::chrono;
    if (text == "now") return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
    int y = 0, used = 0;
    unsigned mo = 0, d = 0, h = 0, mi = 0, s = 0;
    const int fields = std::sscanf(text.c_str(), "%4d-%2u-%2uT%2u:%2u:%2uZ%n", &y, &mo, &d, &h, &mi, &s, &used);
    const year_month_day date{year(y), month(mo), day(d)};
    const bool good =
        fields == 6 && static_cast<std::size_t>(used) == text.size() && date.ok() && h < 24 && mi < 60 && s < 60;
    const auto utc = sys_days(date).time_since_epoch() + hours(h) + minutes(mi) + seconds(s);
    const std::int64_t unixTime = duration_cast<seconds>(utc).count();
    if (!good || unixTime < kGpsEpoch || unixTime - kGpsEpoch > UINT32_MAX - 255) {
        throw Error("\"" + text + "\": a moment as \"" + kUsualStart + "\" or \"now\" was expected");
    }
    return unixTime;
}

Description ParseDescription(const std::string& json, std::optional<std::uint32_t> start) {
    try {
        return ReadDescription(nlohmann::json::parse(json, nullptr, true, true), start);  // comments are allowed
    } catch (const nlohmann::json::exception& error) {
        throw Error(error.what());
    }
}

Description LoadDescription(const std::string& file, std::optional<std::uint32_t> start) {
    std::ifstream stream(file);
    std::stringstream text;
    text << stream.rdbuf();
    if (!stream) throw Error(file + ": it can't be read");
    try {
        return ParseDescription(text.str(), start);
    } catch (const Error& error) {
        throw Error(file + ": " + error.what());
    }
}

}  // namespace mux
