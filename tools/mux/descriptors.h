/// Descriptors of PMT and VCT, each complete: descriptor_tag, descriptor_length, fields.
#pragma once

#include <span>
#include <string>

#include "multiple_string.h"
#include "section.h"

namespace mux {

/// One service of a caption_service_descriptor (A/65, 6.9.2).
struct CaptionService {
    std::string language = "eng";
    bool digital = true;       ///< digital_cc; false: line 21 data
    std::uint8_t service = 1;  ///< caption_service_number 1 to 63; for line 21 data 0 or 1, the field
    bool easyReader = false;
    bool wideAspect = false;
};

/// registration_descriptor (ISO/IEC 13818-1, 2.6.8) with a format_identifier of four letters.
Octets RegistrationDescriptor(std::string_view identifier);

/// ISO_639_language_descriptor (ISO/IEC 13818-1, 2.6.18) of one language. \param audioType  0 to 255
Octets LanguageDescriptor(std::string_view language, std::uint8_t audioType);

/// AC-3 audio_stream_descriptor (A/52, A4.3) of a complete main service in stereo.
/// \param bitRate  bits per second, rounded up to a rate of A/52
Octets Ac3Descriptor(std::string_view language, unsigned bitRate);

/// caption_service_descriptor (A/65, 6.9.2). Throws Error for more than 31 services or a service out of range.
Octets CaptionDescriptor(std::span<const CaptionService> services);

/// service_location_descriptor (A/65, 6.9.5).
struct ServiceElement {
    std::uint8_t streamType = 0;
    std::uint16_t pid = 0;
    std::string language{};  ///< empty: none
};
Octets ServiceLocationDescriptor(std::uint16_t pcrPid, std::span<const ServiceElement> elements);

/// extended_channel_name_descriptor (A/65, 6.9.4).
Octets ExtendedChannelNameDescriptor(const Text& name);

}  // namespace mux
