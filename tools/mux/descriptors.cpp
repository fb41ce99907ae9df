// Descriptors of PMT and VCT.
#include "descriptors.h"

#include <bitstream/atsc/a52.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "error.h"

namespace mux {
namespace {

constexpr std::uint8_t kTagRegistration = 0x05;
constexpr std::uint8_t kTagLanguage = 0x0A;
constexpr std::uint8_t kTagAc3 = 0x81;
constexpr std::uint8_t kTagCaption = 0x86;
constexpr std::uint8_t kTagExtendedChannelName = 0xA0;
constexpr std::uint8_t kTagServiceLocation = 0xA1;

Octets Descriptor(std::uint8_t tag, const ByteWriter& fields) {
    if (fields.Size() > 255) throw Error("descriptor " + std::to_string(tag) + " is longer than 255 bytes");
    return ByteWriter().U8(tag).U8(static_cast<std::uint8_t>(fields.Size())).Raw(fields.Bytes()).Bytes();
}

void PutLanguage(ByteWriter& writer, std::string_view language) {
    if (language.size() != 3) {
        throw Error("language \"" + std::string(language) + "\": three letters were expected");
    }
    for (const char letter : language) writer.U8(static_cast<std::uint8_t>(letter));
}

}  // namespace

Octets RegistrationDescriptor(std::string_view identifier) {
    if (identifier.size() != 4) throw Error("a format_identifier has four letters");
    ByteWriter writer;
    for (const char letter : identifier) writer.U8(static_cast<std::uint8_t>(letter));
    return Descriptor(kTagRegistration, writer);
}

Octets LanguageDescriptor(std::string_view language, std::uint8_t audioType) {
    ByteWriter writer;
    PutLanguage(writer, language);
    return Descriptor(kTagLanguage, writer.U8(audioType));
}

//     byte  0     sample_rate_code (3 bits; 0: 48 kHz), bsid (5)
//     byte  1     bit_rate_code (6 bits; bit 5 clear: exact), surround_mode (2; 1: not Dolby surround)
//     byte  2     bsmod (3 bits), num_channels (4; 2: 2/0), full_svc (1)
//     byte  3     langcod, 0xFF: not used
//     byte  4     mainid (3 bits), priority (2; 1: primary), reserved (3)
//     byte  5     textlen (7 bits), text_code (1)
//     byte  6     language_flag (1 bit), language_flag_2 (1), reserved (6)
//     bytes 7-9   ISO 639 language
Octets Ac3Descriptor(std::string_view language, unsigned bitRate) {
    unsigned code = 0;
    const auto rates = static_cast<unsigned>(std::size(a52_bitrate_tab) / 2);
    while (code + 1 < rates && a52_bitrate_tab[2 * code] * 1000u < bitRate) ++code;
    ByteWriter writer;
    writer.U8(0u << 5 | A52_BSID).U8(code << 2 | 1u).U8(0u << 5 | 2u << 1 | 1u).U8(0xFF);
    writer.U8(0u << 5 | 1u << 3 | 7u).U8(0x01).U8(0xBF);
    PutLanguage(writer, language);
    return Descriptor(kTagAc3, writer);
}

//     byte  0     reserved (3 bits), number_of_services (5)
// A service:
//     bytes 0-2   language
//     byte  3     digital_cc (1 bit), reserved (1), caption_service_number (6); line 21: reserved (5), line21_field (1)
//     bytes 4-5   easy_reader (1 bit), wide_aspect_ratio (1), reserved (14)
Octets CaptionDescriptor(std::span<const CaptionService> services) {
    if (services.size() > 31) throw Error("more than 31 caption services");
    ByteWriter writer;
    writer.U8(0xE0u | static_cast<std::uint8_t>(services.size()));
    for (const CaptionService& service : services) {
        if (service.service > (service.digital ? 63 : 1)) {
            throw Error("caption service " + std::to_string(service.service) + " is out of range");
        }
        PutLanguage(writer, service.language);
        writer.U8((service.digital ? 0xC0u : 0x7Eu) | service.service);
        writer.U16((service.easyReader ? 0x8000u : 0) | (service.wideAspect ? 0x4000u : 0) | 0x3FFFu);
    }
    return Descriptor(kTagCaption, writer);
}

//     bytes 0-1   reserved (3 bits), PCR_PID (13)
//     byte  2     number_elements
// An element:
//     byte  0     stream_type
//     bytes 1-2   reserved (3 bits), elementary_PID (13)
//     bytes 3-5   language, or three zero bytes
Octets ServiceLocationDescriptor(std::uint16_t pcrPid, std::span<const ServiceElement> elements) {
    ByteWriter writer;
    writer.U16(0xE000u | pcrPid).U8(static_cast<std::uint8_t>(elements.size()));
    for (const ServiceElement& element : elements) {
        writer.U8(element.streamType).U16(0xE000u | element.pid);
        if (element.language.empty()) {
            writer.U24(0);
        } else {
            PutLanguage(writer, element.language);
        }
    }
    return Descriptor(kTagServiceLocation, writer);
}

Octets ExtendedChannelNameDescriptor(const Text& name) {
    return Descriptor(kTagExtendedChannelName, ByteWriter().Raw(MultipleString(name)));
}

}  // namespace mux
