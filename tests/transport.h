/// Transport packets and sections for tests, written by hand from ISO/IEC 13818-1.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

#include "psip/crc32.h"

namespace transport {

using Blob = std::vector<std::uint8_t>;

constexpr std::size_t kPacket = 188;

inline void Append(Blob& to, const Blob& from) { std::copy(from.begin(), from.end(), std::back_inserter(to)); }

inline void Put16(Blob& to, unsigned value) {
    Append(to, {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)});
}
inline void Put32(Blob& to, std::uint32_t value) {
    Put16(to, value >> 16);
    Put16(to, value & 0xFFFF);
}

/// A packet with payload only: head, `body`, and `fill` up to 188 bytes.
inline Blob Packet(unsigned pid, unsigned continuity, const Blob& body, bool unitStart = false,
                   std::uint8_t fill = 0xFF) {
    Blob packet{0x47, static_cast<std::uint8_t>((unitStart ? 0x40 : 0) | pid >> 8), static_cast<std::uint8_t>(pid),
                static_cast<std::uint8_t>(0x10 | (continuity & 0xF))};
    Append(packet, body);
    packet.resize(kPacket, fill);
    return packet;
}

/// A packet whose payload is one byte over and over.
inline Blob Filled(unsigned pid, unsigned continuity, std::uint8_t fill) {
    return Packet(pid, continuity, {}, false, fill);
}

/// Closes a section: section_length in bytes 1 and 2 (top bits set), CRC_32 at the end.
inline Blob Closed(Blob section) {
    const std::size_t length = section.size() - 3 + 4;
    section[1] = static_cast<std::uint8_t>(0xB0 | length >> 8);
    section[2] = static_cast<std::uint8_t>(length);
    Put32(section, crc32(section.data(), static_cast<std::uint32_t>(section.size())));
    return section;
}

/// The eight bytes that every section with a version begins with; Closed gives it the length.
inline Blob Start(unsigned tableId, unsigned extension, unsigned version) {
    Blob start{static_cast<std::uint8_t>(tableId), 0, 0};
    Put16(start, extension);
    Append(start, {static_cast<std::uint8_t>(0xC1 | version << 1), 0, 0});
    return start;
}

struct Programme {
    unsigned number;
    unsigned pmtPid;
};

inline Blob Pat(unsigned transportId, unsigned version, const std::vector<Programme>& programmes) {
    Blob section = Start(0x00, transportId, version);
    for (const Programme& programme : programmes) {
        Put16(section, programme.number);
        Put16(section, 0xE000 | programme.pmtPid);
    }
    return Closed(section);
}

struct Stream {
    unsigned type;
    unsigned pid;
    Blob descriptors;
};

inline Blob Pmt(unsigned programme, const std::vector<Stream>& streams, unsigned version = 0, const Blob& info = {}) {
    Blob section = Start(0x02, programme, version);
    Put16(section, 0xFFFF);
    Put16(section, 0xF000 | static_cast<unsigned>(info.size()));
    Append(section, info);
    for (const Stream& stream : streams) {
        section.push_back(static_cast<std::uint8_t>(stream.type));
        Put16(section, 0xE000 | stream.pid);
        Put16(section, 0xF000 | static_cast<unsigned>(stream.descriptors.size()));
        Append(section, stream.descriptors);
    }
    return Closed(section);
}

/// A short section in one packet, after a pointer_field of 0.
inline Blob SectionPacket(unsigned pid, unsigned continuity, const Blob& section) {
    Blob body{0};
    Append(body, section);
    return Packet(pid, continuity, body, true);
}

}  // namespace transport
