// The way through: what a description says, the module knows when the multiplex has passed its filter.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "broadcasttime.h"
#include "fast_machine.h"
#include "filter/tsfilter.h"
#include "mux/multiplexer.h"
#include "tunermanager.h"
#include "udpcom.h"

namespace {

// Last character of every channel's text, and of no other.
constexpr char kTextEnd = '\x7F';

class Maker {
 public:
    explicit Maker(unsigned seed) : mRandom(seed) {}

    mux::Description Make() {
        mux::Description description;
        description.rate = 8'000'000;
        description.transportStreamId = static_cast<std::uint16_t>(1 + Below(65'535));
        description.start = 1'456'000'000 + Below(20'000);
        description.gpsUtcOffset = static_cast<std::uint8_t>(Below(40));
        description.cable = Flag();
        description.version = static_cast<std::uint8_t>(Below(32));
        const auto count = static_cast<std::uint16_t>(1 + Below(6));
        for (std::uint16_t number = 1; number <= count; ++number)
            description.programmes.push_back(MakeProgramme(number));
        return description;
    }

 private:
    std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(mRandom() % limit); }
    bool Flag() { return Below(2) == 1; }

    // Characters that the store keeps as they are. Any coding of A/65 that has them may be chosen.
    mux::Text MakeText(std::uint32_t most) {
        mux::TextString string;
        for (auto left = 1 + Below(most); left > 0; --left) string.text += static_cast<char>(32 + Below(95));
        if (Flag()) string.compression = static_cast<mux::Compression>(Below(3));
        return {string};
    }

    std::string MakeLanguage() { return {"engspafradeurus", 3 * Below(5), 3}; }

    mux::Programme MakeProgramme(std::uint16_t number) {
        mux::Programme programme;
        programme.number = number;
        programme.pmtPid = static_cast<std::uint16_t>(0x20 + 16 * number);
        programme.name = std::string(1 + Below(7), static_cast<char>('A' + Below(26)));
        programme.major = static_cast<std::uint16_t>(Below(1024));
        programme.minor = static_cast<std::uint16_t>(Below(1024));
        programme.sourceId = static_cast<std::uint16_t>(number + 7 * Below(1000));
        programme.carrierFrequency = Below(1'000'000'000);
        programme.scrambled = Flag();
        programme.video = mux::Video{.pid = static_cast<std::uint16_t>(programme.pmtPid + 1), .bitRate = 300'000};
        const auto tracks = static_cast<std::uint16_t>(Below(4));
        for (std::uint16_t i = 0; i < tracks; ++i) {
            const auto pid = static_cast<std::uint16_t>(programme.pmtPid + 4 + i);
            programme.audio.push_back({pid, MakeLanguage(), static_cast<std::uint8_t>(i), 64'000});
        }
        if (Flag())
            programme.captions = {{.language = MakeLanguage(), .service = static_cast<std::uint8_t>(1 + Below(63))}};
        programme.text = MakeText(100);
        programme.text[0].text += kTextEnd;
        const auto events = static_cast<std::uint16_t>(Below(40));
        for (std::uint16_t id = 1; id <= events; ++id) programme.events.push_back(MakeEvent(id));
        return programme;
    }

    mux::GuideEvent MakeEvent(std::uint16_t id) {
        mux::GuideEvent event{.id = id, .start = static_cast<std::int64_t>(Below(200'000)), .seconds = Below(20'000)};
        event.title = MakeText(60);
        if (Flag()) event.text = MakeText(800);
        return event;
    }

    std::mt19937 mRandom;
};

// A text as the store has it, without the terminators that stay in it behind decompressed segments.
std::string Plain(const char* text, std::size_t size) {
    std::string plain(text, size);
    std::erase(plain, '\0');
    return plain;
}

std::string Utf16Name(const char* bytes) {
    std::string name;
    for (std::size_t i = 1; i < ScalProgramDesc::kNameBytes; i += 2) name += bytes[i];
    std::erase(name, '\0');
    return name;
}

using Lines = std::vector<std::string>;

// The first line that isn't the same, as both have it; empty when all are.
std::string Difference(const Lines& known, const Lines& told) {
    for (std::size_t i = 0; i < std::max(known.size(), told.size()); ++i) {
        const std::string a = i < known.size() ? known[i] : "none";
        const std::string b = i < told.size() ? told[i] : "none";
        if (a != b) return "known: " + a + "\ntold:  " + b;
    }
    return "";
}

std::string EventLine(unsigned id, std::int64_t start, unsigned seconds, const std::string& title,
                      const std::string& text) {
    return std::to_string(id) + ": " + std::to_string(start) + "+" + std::to_string(seconds) + " " + title + " / " +
           text;
}

Lines Told(const mux::Description& description, const mux::Programme& programme) {
    Lines lines{std::to_string(description.transportStreamId) + " " + std::to_string(programme.number),
                programme.name,
                std::to_string(programme.major) + "." + std::to_string(programme.minor),
                std::to_string(programme.sourceId),
                std::to_string(programme.carrierFrequency),
                programme.scrambled ? "E" : "C",
                programme.text[0].text};
    for (const mux::GuideEvent& event : programme.events) {
        lines.push_back(EventLine(event.id, description.start + event.start, event.seconds, event.title[0].text,
                                  event.text.empty() ? "" : event.text[0].text));
    }
    return lines;
}

Lines Known(ScalProgramDesc& programme) {
    // The store ends a channel's text on its last byte: a character, unless it was compressed and has a terminator.
    std::string text = Plain(programme.channelLongName.get(), programme.channelLongNameSize);
    if (!text.ends_with(kTextEnd)) text += kTextEnd;
    Lines lines{std::to_string(programme.transportId) + " " + std::to_string(programme.programId),
                Utf16Name(programme.channelShortName),
                std::to_string(programme.channelMajorNo) + "." + std::to_string(programme.channelMinorNo),
                std::to_string(programme.sourceId),
                std::to_string(programme.channelFreq),
                std::string(1, programme.encryption),
                text};
    std::map<std::uint32_t, std::string> events;
    for (const Event* event = programme.mEvents.begin(0); event != nullptr; event = programme.mEvents.next(0)) {
        events[event->eventId] =
            EventLine(event->eventId, event->startTime, event->duration, Plain(event->titleShort, event->titleLen),
                      event->pLongInfo ? Plain(event->pLongInfo.get(), event->longInfoSize) : "");
    }
    for (const auto& [id, line] : events) lines.push_back(line);
    return lines;
}

// Audio and captions, sorted. The store has one entry a language and type.
Lines ToldLanguages(const mux::Programme& programme) {
    Lines all;
    for (const mux::Audio& audio : programme.audio)
        all.push_back(audio.language + " " + std::to_string(audio.audioType) + " " + std::to_string(audio.pid));
    for (const auto& caption : programme.captions)
        all.push_back(caption.language + " #" + std::to_string(caption.service));
    std::sort(all.begin(), all.end());
    return all;
}

Lines KnownLanguages(const ScalProgramDesc& programme) {
    Lines all;
    for (const Language& language : programme.language) {
        const std::string code = language.language;
        if (language.languageMode == Language::eAudio) {
            all.push_back(code + " " + std::to_string(language.audioType) + " " + std::to_string(language.audioPid));
        } else {
            all.push_back(code + " #" + std::to_string(language.captionServiceNum));
        }
    }
    std::sort(all.begin(), all.end());
    return all;
}

TEST(Module, KnowsWhatTheDescriptionSays) {
    global_debug_flag = 0;
    fast_machine::RecordShell(true);
    for (unsigned seed = 0; seed < 40; ++seed) {
        SCOPED_TRACE(seed);
        const mux::Description description = Maker(seed).Make();
        mux::Octets stream = mux::MakeMultiplex(description, {.milliseconds = 1'500, .seed = seed});
        TunerManager tuner('T');
        TsFilter filter('T', &tuner);
        ASSERT_TRUE(tuner.TuneToChannel(5));
        filter.FilterActive(true);
        // First without its PAT, since the module learns whether a PID is scrambled before its PMT speaks of it, and
        // never later. Then twice: tables that came before the MGT told of them come again.
        mux::Octets headless = stream;
        for (std::size_t at = 0; at < headless.size(); at += mux::kPacketSize) {
            if ((headless[at + 1] & 0x1F) != 0 || headless[at + 2] != 0) continue;
            headless[at + 1] |= 0x1F;
            headless[at + 2] = 0xFF;
        }
        for (mux::Octets* bytes : {&headless, &stream, &stream}) {
            EXPECT_TRUE(filter.Filter(bytes->data(), static_cast<int>(bytes->size())));
        }
        auto& known = *tuner.GetScalProgramDesc(5);
        ASSERT_EQ(known.size(), description.programmes.size());
        auto programme = known.begin();
        for (const mux::Programme& told : description.programmes) {
            EXPECT_EQ(Difference(Known(*programme), Told(description, told)), "");
            EXPECT_EQ(KnownLanguages(*programme), ToldLanguages(told));
            ++programme;
        }
        EXPECT_EQ(Time::Self()->GetSystemTime(), description.start + 1);
    }
}

}  // namespace
