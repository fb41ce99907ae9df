// Sorts events into windows and codes them.
#include "guide.h"

#include <algorithm>

#include "eit_writer.h"
#include "ett_writer.h"

namespace mux {
namespace {

// An event with its coded texts, which several windows may carry.
struct CodedEvent {
    const GuideEvent* event;
    std::uint16_t sourceId;
    std::int64_t start;  ///< GPS seconds
    Octets title;
    Octets text;
};

std::vector<CodedEvent> CodeEvents(const Description& description) {
    std::vector<CodedEvent> coded;
    for (const Programme& programme : description.programmes) {
        for (const GuideEvent& event : programme.events) {
            coded.push_back({&event, programme.sourceId, description.start + event.start,
                             event.title.empty() ? Octets{} : MultipleString(event.title),
                             event.text.empty() ? Octets{} : MultipleString(event.text)});
        }
    }
    std::stable_sort(coded.begin(), coded.end(),
                     [](const CodedEvent& a, const CodedEvent& b) { return a.start < b.start; });
    return coded;
}

std::int64_t FirstWindow(const Description& description) {
    const std::int64_t utc = static_cast<std::int64_t>(description.start) - description.gpsUtcOffset;
    return utc / kWindow * kWindow + description.gpsUtcOffset;
}

std::size_t CountWindows(const std::vector<CodedEvent>& events, std::int64_t first) {
    std::int64_t end = first;
    for (const CodedEvent& coded : events) {
        end = std::max(end, coded.start + std::max<std::int64_t>(1, coded.event->seconds));
    }
    const auto windows = static_cast<std::size_t>((end - first + kWindow - 1) / kWindow);
    return std::clamp(windows, kMinWindows, kMaxWindows);
}

// An event of no length belongs to the window in which it starts.
bool InWindow(const CodedEvent& coded, std::int64_t from) {
    return coded.start < from + kWindow && coded.start + std::max<std::int64_t>(1, coded.event->seconds) > from;
}

GuideWindow MakeWindow(const Description& description, const std::vector<CodedEvent>& events, std::int64_t from) {
    GuideWindow window;
    for (const Programme& programme : description.programmes) {
        Eit eit{.sourceId = programme.sourceId, .version = description.version, .events = {}};
        for (const CodedEvent& coded : events) {
            if (coded.sourceId != programme.sourceId || !InWindow(coded, from)) continue;
            eit.events.push_back({.id = coded.event->id,
                                  .start = static_cast<std::uint32_t>(coded.start),
                                  .seconds = coded.event->seconds,
                                  .etmLocation = static_cast<std::uint8_t>(coded.text.empty() ? 0 : 1),
                                  .title = coded.title,
                                  .descriptors = {}});
            if (coded.text.empty()) continue;
            window.ett.push_back(WriteEtt({.extension = static_cast<std::uint16_t>(window.ett.size()),
                                           .version = description.version,
                                           .etmId = EventEtmId(coded.sourceId, coded.event->id),
                                           .message = coded.text}));
        }
        const auto sections = WriteEit(eit);
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

}  // namespace mux
