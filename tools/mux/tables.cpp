// PAT and PMT (ISO/IEC 13818-1, 2.4.4), and VCT, MGT and STT (ATSC A/65, 6.1 to 6.3).
#include "tables.h"

#include <bitstream/atsc/a52.h>

#include <iterator>

namespace mux {
namespace {

// stream_type of our streams.
constexpr std::uint8_t kStreamMpeg2Video = 0x02;
constexpr std::uint8_t kStreamAc3 = 0x81;

// Characters of a channel's name, in UTF-16.
constexpr std::size_t kNameUnits = 7;

// PID of a programme's clock: the video's, or else the first audio's; without either there is none.
std::uint16_t PcrPid(const Programme& programme) {
    if (programme.video) return programme.video->pid;
    return programme.audio.empty() ? kPidNull : programme.audio.front().pid;
}

Octets Descriptor(std::uint8_t tag, const ByteWriter& fields) {
    const std::size_t size = fields.Bytes().size();
    if (size > 255) Fail("descriptor {} is longer than 255 bytes", tag);
    return ByteWriter().U8(tag).U8(size).Raw(fields.Bytes()).Bytes();
}

// registration_descriptor (ISO/IEC 13818-1, 2.6.8) of ATSC programmes.
Octets RegistrationDescriptor() { return Descriptor(0x05, ByteWriter().Letters("GA94")); }

// ISO_639_language_descriptor (ISO/IEC 13818-1, 2.6.18) of one language.
Octets LanguageDescriptor(const Audio& audio) {
    return Descriptor(0x0A, ByteWriter().Letters(audio.language).U8(audio.audioType));
}

// AC-3 audio_stream_descriptor (A/52, A4.3) of a complete main service in stereo; the bit rate is rounded up to one of
// A/52.
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

// caption_service_descriptor (A/65, 6.9.2).
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

// service_location_descriptor (A/65, 6.9.5).
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

//     bytes 0-1   program_number
//     bytes 2-3   reserved (3 bits), program_map_PID (13)
Section WritePat(const Description& description) {
    ByteWriter body;
    for (const Programme& programme : description.programmes)
        body.U16(programme.number).U16(0xE000u | programme.pmtPid);
    return MakeSection({0x00, description.transportStreamId, description.version}, body.Bytes());
}

//     byte  0     stream_type
//     bytes 1-2   reserved (3 bits), elementary_PID (13)
//     bytes 3-4   reserved (4 bits), ES_info_length (12)
//     bytes 5-    descriptors
void PutStream(ByteWriter& body, std::uint8_t type, std::uint16_t pid, const Octets& descriptors) {
    body.U8(type).U16(0xE000u | pid).U16(0xF000u | descriptors.size()).Raw(descriptors);
}

Section WritePmt(const Description& description, const Programme& programme) {
    const Octets registration = RegistrationDescriptor();
    ByteWriter body;
    body.U16(0xE000u | PcrPid(programme)).U16(0xF000u | registration.size()).Raw(registration);
    if (programme.video) {
        const bool captions = !programme.captions.empty();
        PutStream(body, kStreamMpeg2Video, programme.video->pid,
                  captions ? CaptionDescriptor(programme.captions) : Octets{});
    }
    for (const Audio& audio : programme.audio) {
        PutStream(body, kStreamAc3, audio.pid,
                  ByteWriter().Raw(LanguageDescriptor(audio)).Raw(Ac3Descriptor(audio)).Bytes());
    }
    return MakeSection({0x02, programme.number, description.version}, body.Bytes());
}

//     bytes 0-13   short_name, 7 UTF-16 units
//     bytes 14-16  reserved (4 bits), major_channel_number (10), minor_channel_number (10)
//     byte  17     modulation_mode
//     bytes 18-21  carrier_frequency
//     bytes 22-23  channel_TSID
//     bytes 24-25  program_number
//     bytes 26-27  ETM_location (2 bits), access_controlled (1), hidden (1), TVCT: reserved (2), CVCT: path_select (1),
//                  out_of_band (1), then hide_guide (1), reserved (3), service_type (6)
//     bytes 28-29  source_id
//     bytes 30-31  reserved (6 bits), descriptors_length (10)
//     bytes 32-    descriptors
Octets WriteChannel(const Description& description, const Programme& programme) {
    std::u16string name = Utf16(programme.name);
    if (name.size() > kNameUnits) Fail("channel name \"{}\": at most 7 characters fit", programme.name);
    name.resize(kNameUnits);
    const Octets location = ServiceLocationDescriptor(programme);
    const unsigned serviceType = programme.video ? 2 : 3;  // television, audio
    ByteWriter entry;
    for (const char16_t unit : name) entry.U16(unit);
    entry.U24(0xF00000u | unsigned{programme.major} << 10 | programme.minor).U8(programme.modulation);
    entry.U32(programme.carrierFrequency).U16(description.transportStreamId).U16(programme.number);
    entry.U16((programme.text.empty() ? 0 : 0x4000u) | (programme.scrambled ? 0x2000u : 0) |
              (programme.hidden ? 0x1000u : 0) | (description.cable ? 0 : 0x0C00u) | 0x01C0u | serviceType);
    entry.U16(programme.sourceId).U16(0xFC00u | location.size()).Raw(location);
    return entry.Bytes();
}

std::vector<Section> WriteVct(const Description& description) {
    std::vector<Octets> entries;
    for (const Programme& programme : description.programmes) entries.push_back(WriteChannel(description, programme));
    const auto additional = ByteWriter().U16(0xFC00).Bytes();  // reserved (6 bits), additional_descriptors_length (10)
    const std::uint8_t tableId = description.cable ? 0xC9 : 0xC8;
    return MakeCountedSections({tableId, description.transportStreamId, description.version}, entries, additional);
}

// After protocol_version:
//     bytes 0-3   system_time
//     byte  4     GPS_UTC_offset
//     bytes 5-6   DS_status (1 bit), reserved (2), DS_day_of_month (5), DS_hour (8)
Table MakeSttTable(const Description& description, std::uint32_t milliseconds) {
    Table table{kPidPsip, description.repetition.at("stt"), {}};
    for (std::uint32_t second = 0; second * 1000 <= milliseconds; ++second) {
        ByteWriter body;
        body.U8(0).U32(description.start + second).U8(description.gpsUtcOffset);
        body.U16(description.daylightSaving ? 0xE000u : 0x6000u);
        table.editions.push_back({second * 1000, {MakeSection({0xCD}, body.Bytes())}});
    }
    return table;
}

std::vector<Section> MakeChannelEtts(const Description& description) {
    std::vector<Section> sections;
    for (const Programme& programme : description.programmes) {
        if (programme.text.empty()) continue;
        sections.push_back(WriteEtt(sections.size(), description.version, std::uint32_t{programme.sourceId} << 16,
                                    MultipleString(programme.text)));
    }
    return sections;
}

// After protocol_version: tables_defined (16 bits), the entries, reserved (4), descriptors_length (12). An entry:
//     bytes 0-1   table_type
//     bytes 2-3   reserved (3 bits), table_type_PID (13)
//     byte  4     reserved (3 bits), table_type_version_number (5)
//     bytes 5-8   number_bytes
//     bytes 9-10  reserved (4 bits), table_type_descriptors_length (12)
Section WriteMgt(const Description& description, const std::vector<Table>& listed) {
    ByteWriter entries;
    std::size_t count = 0;
    for (const Table& table : listed) {
        std::size_t size = 0;
        for (const Section& section : table.editions[0].sections) size += section.size();
        if (size == 0) continue;
        entries.U16(table.type).U16(0xE000u | table.pid).U8(0xE0u | description.version).U32(size).U16(0xF000);
        ++count;
    }
    return MakeSection({0xC7, 0, description.version},
                       ByteWriter().U8(0).U16(count).Raw(entries.Bytes()).U16(0xF000).Bytes());
}

}  // namespace

std::vector<Table> MakeTables(const Description& description, std::uint32_t milliseconds) {
    const Repetition& repetition = description.repetition;
    std::vector<Table> tables{{kPidPat, repetition.at("pat"), {{0, {WritePat(description)}}}}};
    for (const Programme& programme : description.programmes)
        tables.push_back({programme.pmtPid, repetition.at("pmt"), {{0, {WritePmt(description, programme)}}}});
    std::vector<Table> listed;  // in the MGT
    const auto add = [&](std::size_t type, std::size_t pid, const char* period, std::vector<Section> sections) {
        listed.push_back({static_cast<std::uint16_t>(pid),
                          repetition.at(period),
                          {{0, std::move(sections)}},
                          static_cast<std::uint16_t>(type)});
    };
    add(description.cable ? 0x0002 : 0x0000, kPidPsip, "vct", WriteVct(description));
    if (auto texts = MakeChannelEtts(description); !texts.empty())
        add(0x0004, kPidChannelEtt, "channel_ett", std::move(texts));
    const auto guide = MakeGuide(description);
    for (std::size_t k = 0; k < guide.size(); ++k) {
        add(0x0100 + k, kPidEit0 + k, k == 0 ? "eit0" : k == 1 ? "eit1" : "eit_later", guide[k].eit);
        add(0x0200 + k, kPidEtt0 + k, k == 0 ? "ett0" : "ett_later", guide[k].ett);
    }
    tables.push_back({kPidPsip, repetition.at("mgt"), {{0, {WriteMgt(description, listed)}}}});
    tables.insert(tables.end(), listed.begin(), listed.end());
    tables.push_back(MakeSttTable(description, milliseconds));
    return tables;
}

}  // namespace mux
