// Descriptors of PMT and VCT.
#include "descriptors.h"

#include <bitstream/atsc/a52.h>

#include <iterator>

namespace mux {
namespace {

Octets Descriptor(std::uint8_t tag, const ByteWriter& fields) {
    const std::size_t size = fields.Bytes().size();
    if (size > 255) Fail("descriptor {} is longer than 255 bytes", tag);
    return ByteWriter().U8(tag).U8(size).Raw(fields.Bytes()).Bytes();
}

}  // namespace

Octets RegistrationDescriptor() { return Descriptor(0x05, ByteWriter().Letters("GA94")); }

Octets LanguageDescriptor(const Audio& audio) {
    return Descriptor(0x0A, ByteWriter().Letters(audio.language).U8(audio.audioType));
}

//     byte  0     sample_rate_code (3 bits; 0: 48 kHz), bsid (5)
//     byte  1     bit_rate_code (6 bits; bit 5 clear: exact), surround_mode (2; 1: not Dolby surround)
//     byte  2     bsmod (3 bits), num_channels (4; 2: 2/0), full_svc (1)
//     byte  3     langcod, 0xFF: not used
//     byte  4     mainid (3 bits), priority (2; 1: primary), reserved (3)
//     byte  5     textlen (7 bits), text_code (1)
//     byte  6     language_flag (1 bit), language_flag_2 (1), reserved (6)
//     bytes 7-9   ISO 639 language
Octets Ac3Descriptor(const Audio& audio) {
    unsigned code = 0;
    const auto rates = static_cast<unsigned>(std::size(a52_bitrate_tab) / 2);
    while (code + 1 < rates && a52_bitrate_tab[2 * code] * 1000u < audio.bitRate) ++code;
    ByteWriter writer;
    writer.U8(0u << 5 | A52_BSID).U8(code << 2 | 1u).U8(0u << 5 | 2u << 1 | 1u).U8(0xFF);
    writer.U8(0u << 5 | 1u << 3 | 7u).U8(0x01).U8(0xBF).Letters(audio.language);
    return Descriptor(0x81, writer);
}

//     byte  0     reserved (3 bits), number_of_services (5)
// A service:
//     bytes 0-2   language
//     byte  3     digital_cc (1 bit), reserved (1), caption_service_number (6); line 21: reserved (5), line21_field (1)
//     bytes 4-5   easy_reader (1 bit), wide_aspect_ratio (1), reserved (14)
Octets CaptionDescriptor(std::span<const CaptionService> services) {
    if (services.size() > 31) Fail("more than 31 caption services");
    ByteWriter writer;
    writer.U8(0xE0u | services.size());
    for (const CaptionService& service : services) {
        writer.Letters(service.language).U8((service.digital ? 0xC0u : 0x7Eu) | service.service);
        writer.U16((service.easyReader ? 0x8000u : 0) | (service.wideAspect ? 0x4000u : 0) | 0x3FFFu);
    }
    return Descriptor(0x86, writer);
}

//     bytes 0-1   reserved (3 bits), PCR_PID (13)
//     byte  2     number_elements
// An element:
//     byte  0     stream_type
//     bytes 1-2   reserved (3 bits), elementary_PID (13)
//     bytes 3-5   language, or three zero bytes
Octets ServiceLocationDescriptor(const Programme& programme) {
    ByteWriter writer;
    writer.U16(0xE000u | PcrPid(programme)).U8(programme.audio.size() + programme.video.has_value());
    if (programme.video) writer.U8(kStreamMpeg2Video).U16(0xE000u | programme.video->pid).U24(0);
    for (const Audio& audio : programme.audio) writer.U8(kStreamAc3).U16(0xE000u | audio.pid).Letters(audio.language);
    return Descriptor(0xA1, writer);
}

std::uint16_t PcrPid(const Programme& programme) {
    if (programme.video) return programme.video->pid;
    return programme.audio.empty() ? kPidNull : programme.audio.front().pid;
}

}  // namespace mux
