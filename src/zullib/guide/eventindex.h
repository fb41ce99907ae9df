/// An index of the guide events of one programme, kept with the list that defines their order.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

class Event;

/// Finds events by id and by time with the results of a walk of their list, but in a time that hardly depends on its
/// length, as the stream's thread waits meanwhile. The events belong to the programme.
class EventIndex {
 public:
    /// Allocates the memory that `Append` needs for this event_id.
    void MakeRoom(std::uint16_t eventId);

    /// Adds an event that was appended to the list. It isn't found by time before `SetTime`. REQUIRES: `MakeRoom`
    void Append(Event* event);

    /// Sets an event's start and duration and indexes it under them. When memory runs out, the event may be found under
    /// neither its old nor its new time until the next call.
    void SetTime(Event& event, std::uint32_t start, std::uint32_t duration);

    /// \return the event with this event_id, or null
    Event* FindId(std::uint16_t eventId) const;

    /// \return the first event in list order with start <= moment <= start + duration, or null. The sum wraps at
    ///         32 bits: an event that passes the end of 32-bit time is never found.
    Event* FindEventPlayingAtDtime(std::uint32_t moment) const;

 private:
    static constexpr unsigned kPageBits = 8;
    static constexpr std::size_t kPageSize = 1u << kPageBits;
    using Page = std::array<Event*, kPageSize>;

    static constexpr std::size_t kBlockSize = 64;

    /// One event's time. Spans are sorted by start, those with the same start in list order.
    struct Span {
        std::uint32_t start;
        std::uint32_t end;
        std::uint32_t place;
        Event* event;
        bool operator<(const Span& other) const {
            return start != other.start ? start < other.start : place < other.place;
        }
    };

    /// A run of spans: insertions move only those of one block, and a search skips blocks.
    struct Block {
        explicit Block(std::vector<Span> run) : spans(std::move(run)) { Summarize(); }
        void Summarize();

        std::vector<Span> spans;  ///< 1 to kBlockSize
        std::uint32_t firstStart = 0;
        std::uint32_t lastEnd = 0;     ///< latest of all
        std::uint32_t firstPlace = 0;  ///< lowest of all
    };

    std::vector<Block>::iterator BlockOf(const Span& span);
    void Insert(const Span& span);
    void Erase(const Span& span);

    std::array<std::unique_ptr<Page>, kPageSize> mById;  ///< by the high byte of the id, then by the low one
    std::uint32_t mCount = 0;
    std::vector<Block> mByTime;
};
