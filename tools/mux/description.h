/// What a multiplex carries, as plain data. description_json.h reads it from a file; tests fill it in directly.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "multiple_string.h"

namespace mux {

/// MPEG-2 video of one programme.
struct Video {
    std::uint16_t pid = 0;
    unsigned bitRate = 1'500'000;  ///< bits a second, of the elementary stream
    unsigned width = 352;
    unsigned height = 240;
    std::string pattern = "testsrc2";  ///< name of a test source of ffmpeg
};

/// One AC-3 track.
struct Audio {
    std::uint16_t pid = 0;
    std::string language = "eng";
    std::uint8_t audioType = 0;  ///< ISO 639 descriptor: 1 clean effects, 2 hearing impaired, 3 visually impaired
    unsigned bitRate = 128'000;  ///< bits a second
    unsigned tone = 440;         ///< Hz
};

/// One service of a caption_service_descriptor (A/65, 6.9.2).
struct CaptionService {
    std::string language = "eng";
    bool digital = true;       ///< digital_cc; false: line 21 data
    std::uint8_t service = 1;  ///< caption_service_number 1 to 63; for line 21 data 0 or 1, the field
    bool easyReader = false;
    bool wideAspect = false;
};

/// One event of a programme's guide.
struct GuideEvent {
    std::uint16_t id = 0;          ///< 1 to 0x3FFF, unique in the programme
    std::int64_t start = 0;        ///< seconds from the start of the stream, may be negative
    std::uint32_t seconds = 1800;  ///< length
    Text title{};                  ///< no string: title_length 0
    Text text{};                   ///< no string: no ETT
};

struct Programme {
    std::uint16_t number = 0;
    std::uint16_t pmtPid = 0;
    std::string name{};  ///< short name, up to 7 characters
    std::uint16_t major = 0;
    std::uint16_t minor = 0;
    std::uint16_t sourceId = 0;
    std::uint8_t modulation = 4;         ///< modulation_mode: 2 64-QAM, 3 256-QAM, 4 8-VSB
    std::uint32_t carrierFrequency = 0;  ///< Hz
    bool scrambled = false;              ///< payloads are randomised and marked as scrambled
    bool hidden = false;
    std::optional<Video> video{};
    std::vector<Audio> audio{};
    std::vector<CaptionService> captions{};
    Text text{};  ///< the channel's own ETT
    std::vector<GuideEvent> events{};
};

/// How the sections of one table follow each other.
enum class Packing {
    kAligned,  ///< each section starts a packet, and stuffing fills the one before
    kDense,    ///< sections are contiguous, with a pointer_field where one starts; a packet may hold several
};

/// Repetition of the tables: longest interval in milliseconds.
using Repetition = std::map<std::string, unsigned>;

struct Description {
    unsigned rate = 19'392'658;  ///< bits a second of the whole multiplex
    std::uint16_t transportStreamId = 1;
    bool cable = false;       ///< CVCT instead of TVCT
    std::uint32_t start = 0;  ///< system_time at the stream's first packet, GPS seconds
    std::uint8_t gpsUtcOffset = 18;
    bool daylightSaving = false;
    std::uint8_t version = 0;  ///< first version_number of every table but the STT
    Packing packing = Packing::kAligned;
    Repetition repetition = {{"pat", 100},           {"pmt", 100},    {"mgt", 150},         {"vct", 400},
                             {"stt", 1'000},         {"eit0", 500},   {"eit1", 3'000},      {"eit_later", 10'000},
                             {"channel_ett", 3'000}, {"ett0", 3'000}, {"ett_later", 30'000}};
    std::vector<Programme> programmes{};
};

/// Seconds from the Unix epoch to the GPS epoch.
inline constexpr std::int64_t kGpsEpoch = 315'964'800;

/// PIDs with a fixed meaning.
inline constexpr std::uint16_t kPidPat = 0x0000;
inline constexpr std::uint16_t kPidPsip = 0x1FFB;
inline constexpr std::uint16_t kPidNull = 0x1FFF;

/// PIDs of the guide's tables: EIT-k and the event ETT-k, k up to 127, and the channel ETT.
inline constexpr std::uint16_t kPidEit0 = 0x1D00;
inline constexpr std::uint16_t kPidEtt0 = 0x1E00;
inline constexpr std::uint16_t kPidChannelEtt = 0x1D80;

}  // namespace mux
