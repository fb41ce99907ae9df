// The guide's tables: which events each window of three hours has, before and after each cancellation.
#include "guide.h"

#include <algorithm>
#include <set>

#include "eit_writer.h"
#include "ett_writer.h"

namespace mux {
namespace {

// An event whose texts are coded once, whatever number of tables it comes to stand in.
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

// An event of no length stands in the window that it starts in.
bool InWindow(const CodedEvent& coded, std::int64_t from) {
    return coded.start < from + kWindow && coded.start + std::max<std::int64_t>(1, coded.event->seconds) > from;
}

GuideWindow MakeWindow(const Description& description, const std::vector<const CodedEvent*>& events,
                       std::uint8_t version) {
    GuideWindow window;
    for (const Programme& programme : description.programmes) {
        Eit eit{.sourceId = programme.sourceId, .version = version, .events = {}};
        for (const CodedEvent* coded : events) {
            if (coded->sourceId != programme.sourceId) continue;
            eit.events.push_back({.id = coded->event->id,
                                  .start = static_cast<std::uint32_t>(coded->start),
                                  .seconds = coded->event->seconds,
                                  .etmLocation = static_cast<std::uint8_t>(coded->text.empty() ? 0 : 1),
                                  .title = coded->title,
                                  .descriptors = {}});
            if (coded->text.empty()) continue;
            window.ett.push_back(WriteEtt({.extension = static_cast<std::uint16_t>(window.ett.size()),
                                           .version = version,
                                           .etmId = EventEtmId(coded->sourceId, coded->event->id),
                                           .message = coded->text}));
        }
        const auto sections = WriteEit(eit);
        window.eit.insert(window.eit.end(), sections.begin(), sections.end());
    }
    return window;
}

}  // namespace

std::vector<GuideEdition> MakeGuide(const Description& description) {
    const auto events = CodeEvents(description);
    if (events.empty()) return {};
    std::set<std::uint32_t> changes{0};
    for (const CodedEvent& coded : events) {
        if (coded.event->cancelled) changes.insert(*coded.event->cancelled);
    }
    const std::int64_t first = FirstWindow(description);
    const std::size_t windows = CountWindows(events, first);
    std::vector<GuideEdition> editions;
    std::vector<std::vector<const CodedEvent*>> before(windows);
    for (const std::uint32_t from : changes) {
        GuideEdition edition;
        edition.from = from;
        for (std::size_t k = 0; k < windows; ++k) {
            std::vector<const CodedEvent*> here;
            for (const CodedEvent& coded : events) {
                const bool cancelled = coded.event->cancelled && *coded.event->cancelled <= from;
                if (!cancelled && InWindow(coded, first + static_cast<std::int64_t>(k * kWindow)))
                    here.push_back(&coded);
            }
            if (!editions.empty() && here == before[k]) {
                edition.windows.push_back(editions.back().windows[k]);
                edition.versions.push_back(editions.back().versions[k]);
                continue;
            }
            const unsigned version = editions.empty() ? description.version : editions.back().versions[k] + 1u;
            edition.versions.push_back(static_cast<std::uint8_t>(version & 31u));
            edition.windows.push_back(MakeWindow(description, here, edition.versions.back()));
            before[k] = std::move(here);
        }
        editions.push_back(std::move(edition));
    }
    return editions;
}

}  // namespace mux
