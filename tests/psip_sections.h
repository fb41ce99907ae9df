/// The tables of ATSC A/65 for tests and benchmarks, written by hand from the standard, with all reserved bits set.
#pragma once

#include <string>
#include <vector>

#include "bytes.h"
#include "transport.h"

namespace transport {

/// Head of a PSIP table, with its protocol_version.
inline Blob Head(unsigned tableId, unsigned extension, unsigned version = 1) {
    Blob head = Start(tableId, extension, version);
    head.push_back(0);
    return head;
}

/// Closes a section with private_indicator set too.
inline Blob Sealed(Blob section) {
    section = Closed(section);
    section.resize(section.size() - kCrcSize);
    section[1] |= 0xF0;
    Put32(section, crc32(section.data(), static_cast<std::uint32_t>(section.size())));
    return section;
}

inline Blob MgtTable(unsigned type, unsigned pid, const Blob& descriptors = {}) {
    Blob entry;
    Put16(entry, type);
    Put16(entry, 0xE000 | pid);
    Append(entry, {0xE1, 0, 0, 0, 0});
    Put16(entry, 0xF000 | static_cast<unsigned>(descriptors.size()));
    Append(entry, descriptors);
    return entry;
}

inline Blob Mgt(const std::vector<Blob>& entries, unsigned version = 1) {
    Blob section = Head(0xC7, 0, version);
    Put16(section, static_cast<unsigned>(entries.size()));
    for (const Blob& entry : entries) Append(section, entry);
    Put16(section, 0xF000);
    return Sealed(section);
}

inline Blob VctChannel(unsigned program, unsigned major, unsigned minor, unsigned source,
                       const Blob& descriptors = {}) {
    Blob entry{0, 'N', 0, 'E', 0, 'W', 0, 'S', 0, static_cast<std::uint8_t>('0' + program), 0, 0, 0, 0};
    const unsigned numbers = 0xF00000 | major << 10 | minor;
    Append(entry, {static_cast<std::uint8_t>(numbers >> 16)});
    Put16(entry, numbers & 0xFFFF);
    Append(entry, {4});
    Put32(entry, 57000000);
    Put16(entry, 0xABCD);
    Put16(entry, program);
    Append(entry, {0x1D, 0xC2});  // hidden
    Put16(entry, source);
    Put16(entry, 0xFC00 | static_cast<unsigned>(descriptors.size()));
    Append(entry, descriptors);
    return entry;
}

inline Blob Vct(unsigned tableId, unsigned transportId, const std::vector<Blob>& channels, unsigned version = 1) {
    Blob section = Head(tableId, transportId, version);
    Append(section, {static_cast<std::uint8_t>(channels.size())});
    for (const Blob& channel : channels) Append(section, channel);
    Put16(section, 0xFC00);
    return Sealed(section);
}

inline Blob Plain(const std::string& text) {
    Blob structure{1, 'e', 'n', 'g', static_cast<std::uint8_t>(text.size() / 200 + 1)};
    for (std::size_t at = 0; at <= text.size(); at += 200) {
        const std::string piece = text.substr(at, 200);
        Append(structure, {0, 0, static_cast<std::uint8_t>(piece.size())});
        Append(structure, Blob(piece.begin(), piece.end()));
    }
    return structure;
}

inline Blob EitEvent(unsigned id, std::uint32_t start, unsigned seconds, const Blob& title,
                     const Blob& descriptors = {}) {
    Blob event;
    Put16(event, 0xC000 | id);
    Put32(event, start);
    Append(event, {static_cast<std::uint8_t>(0xC0 | seconds >> 16)});
    Put16(event, seconds & 0xFFFF);
    Append(event, {static_cast<std::uint8_t>(title.size())});
    Append(event, title);
    Put16(event, 0xF000 | static_cast<unsigned>(descriptors.size()));
    Append(event, descriptors);
    return event;
}

inline Blob Eit(unsigned source, const std::vector<Blob>& events, unsigned version = 1) {
    Blob section = Head(0xCB, source, version);
    Append(section, {static_cast<std::uint8_t>(events.size())});
    for (const Blob& event : events) Append(section, event);
    return Sealed(section);
}

inline Blob Ett(unsigned idHi, unsigned idLo, const Blob& text, unsigned version = 1) {
    Blob section = Head(0xCC, 0, version);
    Put16(section, idHi);
    Put16(section, idLo);
    Append(section, text);
    return Sealed(section);
}

inline Blob Stt(std::uint32_t systemTime, unsigned gpsUtcOffset, unsigned version = 1) {
    Blob section = Head(0xCD, 0, version);
    Put32(section, systemTime);
    Append(section, {static_cast<std::uint8_t>(gpsUtcOffset), 0x60, 0x00});
    return Sealed(section);
}

/// A section in its own packets, after a pointer_field of 0. \param continuity  of the first packet; counted up
inline Blob SectionPackets(unsigned pid, unsigned& continuity, const Blob& section) {
    Blob packets, body{0};
    Append(body, section);
    for (std::size_t at = 0; at < body.size(); at += 184) {
        const std::size_t end = std::min(at + 184, body.size());
        Append(packets, Packet(pid, continuity++, Blob(body.data() + at, body.data() + end), at == 0));
    }
    return packets;
}

}  // namespace transport
