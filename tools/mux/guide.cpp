// Event Information Tables and Extended Text Tables.
#include <algorithm>

#include "tables.h"

namespace mux {
namespace {

// Length of the window that one EIT-k covers, seconds. Windows begin at 0, 3, 6... hours UTC.
constexpr std::uint32_t kWindow = 10'800;
constexpr std::size_t kMinWindows = 4;
constexpr std::size_t kMaxWindows = 128;

// An event with its coded texts, which several windows may carry.
struct CodedEvent {
    const GuideEvent* event;
    std::uint16_t sourceId;
    std::int64_t start;  ///< GPS seconds
    std::int64_t end;    ///< one of no length belongs to the window in which it starts
    Octets title;
    Octets text;
};

std::vector<CodedEvent> CodeEvents(const Description& description) {
    std::vector<CodedEvent> coded;
    for (const Programme& programme : description.programmes) {
        for (const GuideEvent& event : programme.events) {
            const std::int64_t start = description.start + event.start;
            coded.push_back({&event, programme.sourceId, start, start + std::max(event.seconds, 1u),
                             event.title.empty() ? Octets{} : MultipleString(event.title),
                             event.text.empty() ? Octets{} : MultipleString(event.text)});
        }
    }
    std::ranges::stable_sort(coded, {}, &CodedEvent::start);
    return coded;
}

std::int64_t FirstWindow(const Description& description) {
    const std::int64_t utc = static_cast<std::int64_t>(description.start) - description.gpsUtcOffset;
    return utc / kWindow * kWindow + description.gpsUtcOffset;
}

std::size_t CountWindows(const std::vector<CodedEvent>& events, std::int64_t first) {
    std::int64_t end = first;
    for (const CodedEvent& coded : events) end = std::max(end, coded.end);
    const auto windows = static_cast<std::size_t>((end - first + kWindow - 1) / kWindow);
    return std::clamp(windows, kMinWindows, kMaxWindows);
}

//     bytes 0-1   reserved (2 bits), event_id (14)
//     bytes 2-5   start_time
//     bytes 6-8   reserved (2 bits), ETM_location (2), length_in_seconds (20)
//     byte  9     title_length
//     bytes 10-   title_text, title_length bytes
//     then        reserved (4 bits), descriptors_length (12)
Octets WriteEvent(const CodedEvent& coded) {
    const GuideEvent& event = *coded.event;
    if (event.seconds > 0xFFFFF)
        Fail("event {}: length_in_seconds is {}, at most 1048575 fits", event.id, event.seconds);
    if (coded.title.size() > 255) Fail("event {}: title_length is {}, at most 255 fits", event.id, coded.title.size());
    ByteWriter entry;
    entry.U16(0xC000u | event.id).U32(static_cast<std::uint32_t>(coded.start));
    entry.U24(0xC00000u | (coded.text.empty() ? 0 : 0x100000u) | event.seconds);
    return entry.U8(coded.title.size()).Raw(coded.title).U16(0xF000).Bytes();
}

GuideWindow MakeWindow(const Description& description, const std::vector<CodedEvent>& events, std::int64_t from) {
    GuideWindow window;
    for (const Programme& programme : description.programmes) {
        std::vector<Octets> entries;
        for (const CodedEvent& coded : events) {
            const bool within = coded.start < from + kWindow && coded.end > from;
            if (coded.sourceId != programme.sourceId || !within) continue;
            entries.push_back(WriteEvent(coded));
            if (coded.text.empty()) continue;
            const auto etmId = std::uint32_t{coded.sourceId} << 16 | unsigned{coded.event->id} << 2 | 2u;
            window.ett.push_back(WriteEtt(window.ett.size(), description.version, etmId, coded.text));
        }
        const auto sections = MakeCountedSections({0xCB, programme.sourceId, description.version}, entries);
        window.eit.insert(window.eit.end(), sections.begin(), sections.end());
    }
    return window;
}

}  // namespace

std::vector<GuideWindow> MakeGuide(const Description& description) {
    const auto events = CodeEvents(description);
    if (events.empty()) return {};
    std::vector<GuideWindow> windows;
    const std::int64_t first = FirstWindow(description);
    for (std::size_t k = 0; k < CountWindows(events, first); ++k) {
        windows.push_back(MakeWindow(description, events, first + static_cast<std::int64_t>(k * kWindow)));
    }
    return windows;
}

Section WriteEtt(std::size_t extension, std::uint8_t version, std::uint32_t etmId, OctetView message) {
    return MakeSection({0xCC, static_cast<std::uint16_t>(extension), version},
                       ByteWriter().U8(0).U32(etmId).Raw(message).Bytes());  // after protocol_version
}

}  // namespace mux
