/// The PID table: what the filter knows of each PID.
#pragma once

#include <cstdint>
#include <memory>

#include "filter/streamerlist.h"
#include "psip/streamtypes.h"

/// How packets of a PID are treated.
enum PidStatusEnum : std::int8_t {
    ePidUnknown = 0,  ///< each is analysed
    ePidKnown = 1,    ///< forwarded without analysis
    ePidIgnored = 2,  ///< no analysis, and not part of the whole multiplex
};

/// What a PID carries.
enum PidTypeEnum : std::int8_t {
    ePidNone = 0,
    ePidElementary = 1,
    ePidPat = 2,
    ePidPmt = 3,
    ePidVct = 6,
    ePidRrt = 7,
    ePidEit = 9,
    ePidEtt = 10,
    ePidDcc = 11,
};

/// One row of the PID table. It fills one cache line: routing a packet reads no other.
struct alignas(64) PacketIdMapType {
    std::uint8_t channelId = 0;     ///< tuner channel on which a PAT named the PID
    std::int8_t status = 0;         ///< PidStatusEnum
    std::int8_t type = 0;           ///< PidTypeEnum
    std::uint8_t streamType = 0;    ///< stream_type of the PMT
    std::uint16_t transportId = 0;  ///< transport_stream_id, 0 while unidentified
    std::uint16_t programId = 0;    ///< program_number, 0 while unidentified
    std::uint16_t programMapPid = 0;
    bool block = false;                       ///< packets are never forwarded
    std::unique_ptr<StreamerList> streamers;  ///< null while no stream is attached
    std::uint32_t count = 0;                  ///< packets seen
    char audioLanguage[4] = "";               ///< ISO 639 code, terminated
    int audioLangType = 0;                    ///< audio_type
    char captionLanguage[4] = "";
    PacketScrambleEnum scrambling = eNotKnown;
    std::uint8_t dbg1 = 0;  ///< counts descriptors, wraps freely
};
static_assert(sizeof(PacketIdMapType) == 64);
