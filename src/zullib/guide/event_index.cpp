// The index over a programme's guide events: pages by id, blocks of spans by time.
#include "guide/eventindex.h"

#include <algorithm>

#include "guide/programme.h"

void EventIndex::MakeRoom(std::uint16_t eventId) {
    std::unique_ptr<Page>& page = mById[eventId >> kPageBits];
    if (page == nullptr) page = std::make_unique<Page>();
}

void EventIndex::Append(Event* event) {
    event->place = mCount++;
    const auto id = static_cast<std::uint16_t>(event->eventId);
    (*mById[id >> kPageBits])[id % kPageSize] = event;
}

Event* EventIndex::FindId(std::uint16_t eventId) const {
    const std::unique_ptr<Page>& page = mById[eventId >> kPageBits];
    return page != nullptr ? (*page)[eventId % kPageSize] : nullptr;
}

void EventIndex::SetTime(Event& event, std::uint32_t start, std::uint32_t duration) {
    Erase({event.startTime, event.startTime + event.duration, event.place, &event});
    event.startTime = start;
    event.duration = duration;
    Insert({start, start + duration, event.place, &event});
}

Event* EventIndex::FindEventPlayingAtDtime(std::uint32_t moment) const {
    Event* first = nullptr;
    for (const Block& block : mByTime) {
        if (block.firstStart > moment) break;
        if (block.lastEnd < moment || (first != nullptr && first->place < block.firstPlace)) continue;
        for (const Span& span : block.spans) {
            if (span.start > moment) break;
            if (span.end >= moment && (first == nullptr || span.place < first->place)) first = span.event;
        }
    }
    return first;
}

void EventIndex::Block::Summarize() {
    firstStart = spans.front().start;
    lastEnd = 0;
    firstPlace = UINT32_MAX;
    for (const Span& span : spans) {
        lastEnd = std::max(lastEnd, span.end);
        firstPlace = std::min(firstPlace, span.place);
    }
}

/// The block that holds a span, or into which it would be inserted. REQUIRES: there is a block.
std::vector<EventIndex::Block>::iterator EventIndex::BlockOf(const Span& span) {
    const auto behind = std::upper_bound(mByTime.begin(), mByTime.end(), span,
                                         [](const Span& a, const Block& b) { return a < b.spans.front(); });
    return behind == mByTime.begin() ? behind : behind - 1;
}

void EventIndex::Insert(const Span& span) {
    if (mByTime.empty()) {
        mByTime.emplace_back(std::vector<Span>{span});
        return;
    }
    const auto block = BlockOf(span);
    std::vector<Span>& spans = block->spans;
    spans.insert(std::upper_bound(spans.begin(), spans.end(), span), span);
    block->Summarize();  // first, as the split may run out of memory
    if (spans.size() <= kBlockSize) return;
    const auto middle = spans.begin() + kBlockSize / 2;
    const auto upper = mByTime.insert(block + 1, Block(std::vector<Span>(middle, spans.end())));
    Block& lower = *(upper - 1);
    lower.spans.erase(lower.spans.begin() + kBlockSize / 2, lower.spans.end());
    lower.Summarize();
}

/// Removes a span, if it is there.
void EventIndex::Erase(const Span& span) {
    if (mByTime.empty()) return;
    const auto block = BlockOf(span);
    std::vector<Span>& spans = block->spans;
    const auto found = std::lower_bound(spans.begin(), spans.end(), span);
    if (found == spans.end() || found->event != span.event) return;
    spans.erase(found);
    if (spans.empty()) {
        mByTime.erase(block);
    } else {
        block->Summarize();
    }
}
