// Descriptions of multiplexes, read from JSON.
#include "description_json.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "json_reader.h"

namespace mux {
namespace {

constexpr std::int64_t kFirstPid = 0x10;
constexpr std::int64_t kLastPid = 0x1FFE;

// Begin of a description that doesn't say: a Sunday evening.
constexpr const char* kUsualStart = "2026-03-01T18:00:00Z";

std::uint16_t ReadPid(JsonObject& object, const std::string& key,
                      std::optional<std::uint16_t> otherwise = std::nullopt) {
    return object.Get<std::uint16_t>(key, otherwise, kFirstPid, kLastPid);
}

std::string ReadLanguage(JsonObject& object) {
    const std::string language = object.String("language", "eng");
    if (language.size() != 3) object.Expected("language", "three letters");
    return language;
}

Video ReadVideo(JsonObject object, std::uint16_t pid) {
    Video video;
    video.pid = ReadPid(object, "pid", pid);
    video.bitRate = object.Get<unsigned>("bit_rate", video.bitRate, 100'000, 80'000'000);
    const std::string size = object.String("size", "352x240");
    int used = 0;
    const bool whole = std::sscanf(size.c_str(), "%4ux%4u%n", &video.width, &video.height, &used) == 2 &&
                       static_cast<std::size_t>(used) == size.size();
    const auto good = [](unsigned pixels) { return pixels >= 16 && pixels <= 1920 && pixels % 2 == 0; };
    if (!whole || !good(video.width) || !good(video.height)) object.Expected("size", "even numbers as in \"704x480\"");
    video.pattern = object.String("pattern", video.pattern);
    object.CheckKeys();
    return video;
}

Audio ReadAudio(JsonObject object, std::uint16_t pid) {
    Audio audio;
    audio.pid = ReadPid(object, "pid", pid);
    audio.language = ReadLanguage(object);
    audio.audioType = object.Get<std::uint8_t>("audio_type", std::uint8_t{0});
    audio.bitRate = object.Get<unsigned>("bit_rate", audio.bitRate, 32'000, 640'000);
    audio.tone = object.Get<unsigned>("tone", audio.tone, 20, 20'000);
    object.CheckKeys();
    return audio;
}

CaptionService ReadCaption(JsonObject object) {
    CaptionService caption;
    caption.language = ReadLanguage(object);
    caption.digital = object.Bool("digital", true);
    caption.service = object.Get<std::uint8_t>("service", std::uint8_t{1}, 0, caption.digital ? 63 : 1);
    caption.easyReader = object.Bool("easy_reader", false);
    caption.wideAspect = object.Bool("wide_aspect", false);
    object.CheckKeys();
    return caption;
}

void ReadChannelNumber(JsonObject& object, Programme& programme) {
    const std::string channel = object.String("channel");
    unsigned major = 0;
    unsigned minor = 0;
    int used = 0;
    const bool whole = std::sscanf(channel.c_str(), "%4u.%4u%n", &major, &minor, &used) == 2 &&
                       static_cast<std::size_t>(used) == channel.size();
    if (!whole || major > 1023 || minor > 1023) object.Expected("channel", "two numbers up to 1023, as in \"7.1\",");
    programme.major = static_cast<std::uint16_t>(major);
    programme.minor = static_cast<std::uint16_t>(minor);
}

std::uint8_t ReadModulation(JsonObject& object, std::uint8_t otherwise) {
    static constexpr std::uint8_t kModes[] = {kModulation8Vsb, kModulationQam64, kModulationQam256};
    std::size_t usual = 0;
    while (kModes[usual] != otherwise) ++usual;
    return kModes[object.Choice("modulation", {"8vsb", "qam64", "qam256"}, usual)];
}

// PIDs that aren't given lie at 16 a programme from 0x30 on: PMT, video, then sound four further.
Programme ReadProgramme(JsonObject object, JsonObject& multiplex, std::size_t index, std::int64_t startUtc) {
    Programme programme;
    const auto next = static_cast<std::uint16_t>(index + 1);
    const auto base = static_cast<std::uint16_t>(0x30 + 16 * index);
    programme.number = object.Get<std::uint16_t>("number", next, 1);
    programme.pmtPid = ReadPid(object, "pmt_pid", base);
    programme.name = object.String("name");
    ReadChannelNumber(object, programme);
    programme.sourceId = object.Get<std::uint16_t>("source_id", next, 1);
    programme.modulation = ReadModulation(object, ReadModulation(multiplex, kModulation8Vsb));
    const auto frequency = multiplex.Get<std::uint32_t>("frequency", 0u);
    programme.carrierFrequency = object.Get<std::uint32_t>("frequency", frequency);
    programme.scrambled = object.Bool("scrambled", false);
    programme.hidden = object.Bool("hidden", false);
    if (object.Has("video")) programme.video = ReadVideo(object.Object("video"), static_cast<std::uint16_t>(base + 1));
    for (const JsonObject& audio : object.Objects("audio")) {
        const std::size_t track = programme.audio.size();
        programme.audio.push_back(ReadAudio(audio, static_cast<std::uint16_t>(base + 4 + track)));
    }
    for (const JsonObject& caption : object.Objects("captions")) programme.captions.push_back(ReadCaption(caption));
    programme.text = ParseText(object, "text");
    programme.events = ParseGuide(object.Object("guide"), startUtc);
    object.CheckKeys();
    return programme;
}

Repetition ReadRepetition(JsonObject object) {
    Repetition repetition;
    const struct {
        const char* key;
        unsigned Repetition::*period;
    } kPeriods[] = {
        {"pat", &Repetition::pat},
        {"pmt", &Repetition::pmt},
        {"mgt", &Repetition::mgt},
        {"vct", &Repetition::vct},
        {"stt", &Repetition::stt},
        {"eit0", &Repetition::eit0},
        {"eit1", &Repetition::eit1},
        {"eit_later", &Repetition::eitLater},
        {"channel_ett", &Repetition::channelEtt},
        {"ett0", &Repetition::ett0},
        {"ett_later", &Repetition::ettLater},
    };
    for (const auto& [key, period] : kPeriods)
        repetition.*period = object.Get<unsigned>(key, repetition.*period, 10, 600'000);
    object.CheckKeys();
    return repetition;
}

Description ReadDescription(JsonObject object, std::optional<std::uint32_t> start) {
    Description description;
    description.rate = object.Get<unsigned>("rate", description.rate, 100'000, 200'000'000);
    description.transportStreamId = object.Get<std::uint16_t>("transport_stream_id", std::uint16_t{1});
    description.cable = object.Choice("vct", {"terrestrial", "cable"}, 0) == 1;
    description.gpsUtcOffset = object.Get<std::uint8_t>("gps_utc_offset", description.gpsUtcOffset);
    description.daylightSaving = object.Bool("daylight_saving", false);
    description.version = object.Get<std::uint8_t>("version", std::uint8_t{0}, 0, 31);
    description.packing = object.Choice("sections", {"aligned", "dense"}, 0) == 1 ? Packing::kDense : Packing::kAligned;
    description.repetition = ReadRepetition(object.Object("repetition"));
    const std::int64_t utc = ParseUtc(object.String("start", kUsualStart));
    description.start = start ? *start : static_cast<std::uint32_t>(utc - kGpsEpoch + description.gpsUtcOffset);
    const std::int64_t startUtc = description.start + kGpsEpoch - description.gpsUtcOffset;
    for (const JsonObject& programme : object.Objects("programmes")) {
        description.programmes.push_back(ReadProgramme(programme, object, description.programmes.size(), startUtc));
    }
    // Also where no programme has read them.
    ReadModulation(object, kModulation8Vsb);
    object.Get<std::uint32_t>("frequency", 0u);
    object.String("comment", "");
    object.CheckKeys();
    CheckDescription(description);
    return description;
}

TextString ReadTextString(JsonObject object) {
    TextString string;
    string.text = object.String("text");
    string.language = ReadLanguage(object);
    const std::size_t compression = object.Choice("compression", {"none", "title", "description", "smallest"}, 3);
    if (compression < 3) string.compression = static_cast<Compression>(compression);
    if (object.Has("mode")) string.mode = object.Get<std::uint8_t>("mode");
    object.CheckKeys();
    return string;
}

}  // namespace

Text ParseText(JsonObject& object, const std::string& key) {
    if (!object.Has(key)) return {};
    const nlohmann::json& value = object.Value(key);
    if (value.is_string()) return {{.text = value.get<std::string>()}};
    if (value.is_object()) return {ReadTextString({value, object.PathOf(key)})};
    if (!value.is_array()) object.Expected(key, "a text, an object or an array of objects");
    Text text;
    for (const JsonObject& string : object.Objects(key)) text.push_back(ReadTextString(string));
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
    nlohmann::json document;
    try {
        document = nlohmann::json::parse(json, nullptr, true, true);  // comments are welcome
    } catch (const nlohmann::json::parse_error& error) {
        throw Error(error.what());
    }
    return ReadDescription({document, ""}, start);
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
