// Virtual Channel Tables. A channel's entry:
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
#include "vct_writer.h"

#include "error.h"
#include "multiple_string.h"
#include "split.h"

namespace mux {
namespace {

constexpr std::size_t kNameUnits = 7;

Octets WriteChannel(const VctChannel& channel, bool cable) {
    std::u16string name = Utf16(channel.shortName);
    if (name.size() > kNameUnits) {
        throw Error("channel name \"" + channel.shortName + "\": at most 7 characters fit");
    }
    if (channel.major > 1023 || channel.minor > 1023) {
        throw Error("channel \"" + channel.shortName + "\": a number above 1023");
    }
    name.resize(kNameUnits);
    ByteWriter entry;
    for (const char16_t unit : name) entry.U16(unit);
    entry.U24(0xF00000u | static_cast<std::uint32_t>(channel.major) << 10 | channel.minor).U8(channel.modulation);
    entry.U32(channel.carrierFrequency).U16(channel.channelTsid).U16(channel.programme);
    const unsigned path = cable ? (channel.pathSelect ? 0x0800u : 0) | (channel.outOfBand ? 0x0400u : 0) : 0x0C00u;
    entry.U16(static_cast<unsigned>(channel.etmLocation & 3) << 14 | (channel.accessControlled ? 0x2000u : 0) |
              (channel.hidden ? 0x1000u : 0) | path | (channel.hideGuide ? 0x0200u : 0) | 0x01C0u |
              (channel.serviceType & 63u));
    entry.U16(channel.sourceId);
    if (channel.descriptors.size() > 1023) {
        throw Error("channel \"" + channel.shortName + "\": descriptors longer than 1023 bytes");
    }
    entry.U16(0xFC00u | static_cast<std::uint16_t>(channel.descriptors.size())).Raw(channel.descriptors);
    return entry.Bytes();
}

}  // namespace

std::vector<Section> WriteVct(const Vct& vct) {
    std::vector<Octets> entries;
    for (const VctChannel& channel : vct.channels) entries.push_back(WriteChannel(channel, vct.cable));
    const auto additional = ByteWriter().U16(0xFC00).Bytes();  // reserved (6 bits), additional_descriptors_length (10)
    const SectionHead head{.tableId = static_cast<std::uint8_t>(vct.cable ? 0xC9 : 0xC8),
                           .extension = vct.transportStreamId,
                           .version = vct.version};
    return MakeCountedSections(head, entries, additional, kMaxShortSection);
}

}  // namespace mux
