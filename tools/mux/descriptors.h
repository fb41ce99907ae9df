/// Descriptors of PMT and VCT, each complete: descriptor_tag, descriptor_length, fields.
#pragma once

#include <span>

#include "description.h"
#include "section.h"

namespace mux {

/// stream_type of our streams.
inline constexpr std::uint8_t kStreamMpeg2Video = 0x02;
inline constexpr std::uint8_t kStreamAc3 = 0x81;

/// registration_descriptor (ISO/IEC 13818-1, 2.6.8) of ATSC programmes.
Octets RegistrationDescriptor();

/// ISO_639_language_descriptor (ISO/IEC 13818-1, 2.6.18) of one language.
Octets LanguageDescriptor(const Audio& audio);

/// AC-3 audio_stream_descriptor (A/52, A4.3) of a complete main service in stereo; the bit rate is rounded up to one of
/// A/52.
Octets Ac3Descriptor(const Audio& audio);

/// caption_service_descriptor (A/65, 6.9.2). Throws std::runtime_error for more than 31 services.
Octets CaptionDescriptor(std::span<const CaptionService> services);

/// service_location_descriptor (A/65, 6.9.5). Throws std::runtime_error where it has no room for all streams.
Octets ServiceLocationDescriptor(const Programme& programme);

/// PID of a programme's clock: the video's, or else the first audio's; without either there is none.
std::uint16_t PcrPid(const Programme& programme);

}  // namespace mux
