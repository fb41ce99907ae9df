// Event Information Table. An event's entry:
//     bytes 0-1   reserved (2 bits), event_id (14)
//     bytes 2-5   start_time
//     bytes 6-8   reserved (2 bits), ETM_location (2), length_in_seconds (20)
//     byte  9     title_length
//     bytes 10-   title_text, title_length bytes
//     then        reserved (4 bits), descriptors_length (12), descriptors
#include "eit_writer.h"

#include <string>

#include "error.h"
#include "split.h"

namespace mux {
namespace {

void Limit(const EitEvent& event, const char* field, std::size_t value, std::size_t most) {
    if (value <= most) return;
    throw Error("event " + std::to_string(event.id) + ": " + field + " is " + std::to_string(value) + ", at most " +
                std::to_string(most) + " fits");
}

Octets WriteEvent(const EitEvent& event) {
    Limit(event, "event_id", event.id, 0x3FFF);
    Limit(event, "length_in_seconds", event.seconds, 0xFFFFF);
    Limit(event, "title_length", event.title.size(), 255);
    Limit(event, "descriptors_length", event.descriptors.size(), 4095);
    ByteWriter entry;
    entry.U16(0xC000u | event.id).U32(event.start);
    entry.U24(0xC00000u | (event.etmLocation & 3u) << 20 | event.seconds);
    entry.U8(static_cast<std::uint8_t>(event.title.size())).Raw(event.title);
    entry.U16(0xF000u | static_cast<std::uint16_t>(event.descriptors.size())).Raw(event.descriptors);
    return entry.Bytes();
}

}  // namespace

std::vector<Section> WriteEit(const Eit& eit) {
    std::vector<Octets> entries;
    for (const EitEvent& event : eit.events) entries.push_back(WriteEvent(event));
    return MakeCountedSections({.tableId = 0xCB, .extension = eit.sourceId, .version = eit.version}, entries, {},
                               kMaxLongSection);
}

}  // namespace mux
