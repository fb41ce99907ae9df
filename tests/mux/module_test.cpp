// The round trip: the module reads from the multiplex what the description says.
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <sstream>
#include <string>

#include "core/broadcasttime.h"
#include "core/log.h"
#include "fast_machine.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "mux/multiplexer.h"
#include "support/programmes.h"

namespace {

/// \return the parts as text, each followed by a blank
template <class... Parts>
std::string Line(const Parts&... parts) {
    std::ostringstream line;
    ((line << parts << ' '), ...);
    return line.str();
}

// Last character of every channel's text and of no other text.
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
    std::uint16_t Below(std::uint32_t limit) { return static_cast<std::uint16_t>(mRandom() % limit); }
    bool Flag() { return Below(2) == 1; }

    // Characters that the store keeps unchanged, in any coding of A/65.
    mux::Text MakeText(std::uint32_t most) {
        mux::TextString string;
        for (auto left = 1 + Below(most); left > 0; --left) string.text += static_cast<char>(32 + Below(95));
        if (Flag()) string.compression = static_cast<mux::Compression>(Below(3));
        return {string};
    }

    std::string MakeLanguage() { return {"engspafradeurus", 3u * Below(5), 3}; }

    mux::Programme MakeProgramme(std::uint16_t number) {
        mux::Programme programme;
        programme.number = number;
        programme.pmtPid = static_cast<std::uint16_t>(0x20 + 16 * number);
        programme.name = std::string(1 + Below(7), static_cast<char>('A' + Below(26)));
        programme.major = Below(1024);
        programme.minor = Below(1024);
        programme.modulation = static_cast<std::uint8_t>(2 + number % 3);
        programme.sourceId = static_cast<std::uint16_t>(number + 7 * Below(1000));
        programme.carrierFrequency = static_cast<std::uint32_t>(mRandom());
        programme.scrambled = Flag();
        programme.video = mux::Video{.pid = static_cast<std::uint16_t>(programme.pmtPid + 1), .bitRate = 300'000};
        const std::uint16_t tracks = Below(4);
        for (std::uint16_t i = 0; i < tracks; ++i) {
            const auto pid = static_cast<std::uint16_t>(programme.pmtPid + 4 + i);
            programme.audio.push_back({pid, MakeLanguage(), static_cast<std::uint8_t>(i), 64'000});
        }
        if (Flag())
            programme.captions = {{.language = MakeLanguage(), .service = static_cast<std::uint8_t>(1 + Below(63))}};
        programme.text = MakeText(100);
        programme.text[0].text += kTextEnd;
        const std::uint16_t events = Below(40);
        for (std::uint16_t id = 1; id <= events; ++id) programme.events.push_back(MakeEvent(id));
        return programme;
    }

    mux::GuideEvent MakeEvent(std::uint16_t id) {
        mux::GuideEvent event{
            .id = id, .start = static_cast<std::int64_t>(mRandom() % 200'000), .seconds = Below(20'000)};
        event.title = MakeText(60);
        if (Flag()) event.text = MakeText(800);
        return event;
    }

    std::mt19937 mRandom;
};

// A stored text without the terminators of its decompressed segments.
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

/// A programme's line and those of its events and languages, in no particular order.
std::string Joined(std::string programme, const std::multiset<std::string>& lines) {
    for (const std::string& line : lines) programme += "\n" + line;
    return programme;
}

std::string Told(const mux::Description& description, const mux::Programme& told) {
    std::multiset<std::string> lines;
    for (const mux::GuideEvent& event : told.events) {
        lines.insert(Line("event", event.id, description.start + event.start, event.seconds, event.title[0].text, '/',
                          event.text.empty() ? "" : event.text[0].text));
    }
    for (const mux::Audio& audio : told.audio)
        lines.insert(Line("audio", audio.language, int{audio.audioType}, audio.pid));
    for (const auto& caption : told.captions) lines.insert(Line("captions", caption.language, int{caption.service}));
    return Joined(Line(description.transportStreamId, told.number, told.name, told.major, told.minor, told.sourceId,
                       told.carrierFrequency, int{told.modulation}, description.transportStreamId,
                       told.scrambled ? 'E' : 'C', told.text[0].text),
                  lines);
}

std::string Known(ScalProgramDesc& known) {
    std::multiset<std::string> lines;
    for (const Event* event = known.mEvents.begin(0); event != nullptr; event = known.mEvents.next(0)) {
        lines.insert(Line("event", event->eventId, event->startTime, event->duration,
                          Plain(event->titleShort, event->titleLen), '/',
                          event->pLongInfo ? Plain(event->pLongInfo.get(), event->longInfoSize) : ""));
    }
    for (const Language& language : known.language) {
        const std::string code = language.language;
        lines.insert(language.languageMode == Language::eAudio
                         ? Line("audio", code, int{language.audioType}, language.audioPid)
                         : Line("captions", code, int{language.captionServiceNum}));
    }
    // The store ends a channel's text on its last byte: a character, unless it was compressed and has a terminator.
    EXPECT_EQ(known.channelLongName[known.channelLongNameSize - 1], '\0');
    std::string text = Plain(known.channelLongName.get(), known.channelLongNameSize);
    if (!text.ends_with(kTextEnd)) text += kTextEnd;
    return Joined(Line(known.transportId, known.programId, Utf16Name(known.channelShortName), known.channelMajorNo,
                       known.channelMinorNo, known.sourceId, known.channelFreq, int{known.modulationMode},
                       known.channelTsid, known.encryption, text),
                  lines);
}

TEST(Module, KnowsWhatTheDescriptionSays) {
    global_debug_flag = 0;
    fast_machine::RecordShell(true);
    for (unsigned seed = 0; seed < 50; ++seed) {
        SCOPED_TRACE(seed);
        const mux::Description description = Maker(seed).Make();
        mux::Octets stream = mux::MakeMultiplex(description, {.milliseconds = 1'500, .seed = seed});
        TunerManager tuner('T');
        TsFilter filter('T', &tuner);
        ASSERT_TRUE(tuner.TuneToChannel(5));
        filter.FilterActive(true);
        // First without the PAT, as the module notes whether a PID is scrambled only before its PMT lists it. Then
        // twice, for tables that precede the MGT.
        mux::Octets headless = stream;
        for (std::size_t at = 0; at < headless.size(); at += mux::kPacketSize) {
            if ((headless[at + 1] & 0x1F) != 0 || headless[at + 2] != 0) continue;
            headless[at + 1] |= 0x1F;
            headless[at + 2] = 0xFF;
        }
        for (mux::Octets* bytes : {&headless, &stream, &stream}) {
            EXPECT_TRUE(filter.Filter(bytes->data(), static_cast<int>(bytes->size())));
        }
        const auto known = ProgrammesOf(tuner);
        ASSERT_EQ(known.size(), description.programmes.size());
        auto programme = known.begin();
        for (const mux::Programme& told : description.programmes) {
            EXPECT_EQ(Known(**programme), Told(description, told));
            ++programme;
        }
        EXPECT_EQ(Time::Self()->GetSystemTime(), description.start + 1);
    }
}

}  // namespace
