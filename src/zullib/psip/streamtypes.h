/// Elementary streams: whether video or audio, and whether scrambled.
#pragma once

#include <cstdint>

/// \return whether a stream_type is video: MPEG-1, MPEG-2 or H.264 (ISO/IEC 13818-1, table 2-34)
constexpr bool IsVideoStreamType(std::uint8_t streamType) {
    return streamType == 0x01 || streamType == 0x02 || streamType == 0x1B;
}

/// \return whether a stream_type is audio: MPEG-1, MPEG-2, AAC (ISO/IEC 13818-1, table 2-34) or AC-3 (ATSC A/53)
constexpr bool IsAudioStreamType(std::uint8_t streamType) {
    return streamType == 0x03 || streamType == 0x04 || streamType == 0x0F || streamType == 0x81;
}

/// What the transport_scrambling_control of a stream's packets has shown so far.
enum PacketScrambleEnum { eNotKnown = 0, eClear = 1, eScrambled = 2 };
