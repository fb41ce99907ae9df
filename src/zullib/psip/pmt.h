/// The elementary stream loop of a PMT (ISO/IEC 13818-1, 2.4.4.8).
#pragma once

#include "bytes.h"

/// One elementary stream.
///     byte  0     stream_type
///     bytes 1-2   reserved (3 bits), elementary_PID (13)
///     bytes 3-4   reserved (4 bits), ES_info_length (12)
///     bytes 5-    descriptors, ES_info_length bytes
struct EsEntry {
    std::uint8_t streamType;
    std::uint16_t pid;  ///< 0 to 0x1FFF
    Bytes descriptors;  ///< still coded
};

/// Takes the next entry off an elementary stream loop.
/// \return the entry, or nothing when its fixed part isn't whole; bytes that stay in `loop` are then a cut one.
constexpr std::optional<EsEntry> TakeEsEntry(Bytes& loop) {
    Bytes rest = loop;
    const auto fixed = TakeFront(rest, 5);
    if (!fixed) return std::nullopt;
    const Bytes descriptors = TakeAtMost(rest, Be16(*fixed, 3) & 0x0FFFu);
    loop = rest;
    return EsEntry{(*fixed)[0], static_cast<std::uint16_t>(Be16(*fixed, 1) & 0x1FFFu), descriptors};
}
