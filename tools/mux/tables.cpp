// All tables of a multiplex, made from its description.
#include "tables.h"

#include "error.h"
#include "ett_writer.h"
#include "guide.h"
#include "mgt_writer.h"
#include "psi_writer.h"
#include "stt_writer.h"

namespace mux {
namespace {

Octets Joined(std::initializer_list<Octets> descriptors) {
    ByteWriter all;
    for (const Octets& descriptor : descriptors) all.Raw(descriptor);
    return all.Bytes();
}

std::uint32_t Size(const std::vector<Section>& sections) {
    std::size_t size = 0;
    for (const Section& section : sections) size += section.size();
    return static_cast<std::uint32_t>(size);
}

// The PCR is on the video's PID, or else on the first audio's; without either there is none.
std::uint16_t PcrPid(const Programme& programme) {
    if (programme.video) return programme.video->pid;
    return programme.audio.empty() ? kPidNull : programme.audio.front().pid;
}

Octets ServiceLocation(const Programme& programme) {
    std::vector<ServiceElement> elements;
    if (programme.video) elements.push_back({kStreamMpeg2Video, programme.video->pid, ""});
    for (const Audio& audio : programme.audio) elements.push_back({kStreamAc3, audio.pid, audio.language});
    return ServiceLocationDescriptor(PcrPid(programme), elements);
}

Table MakePatTable(const Description& description) {
    Pat pat{.transportStreamId = description.transportStreamId, .version = description.version, .programmes = {}};
    for (const Programme& programme : description.programmes)
        pat.programmes.push_back({programme.number, programme.pmtPid});
    return {"PAT", kPidPat, description.repetition.pat, {{0, WritePat(pat)}}};
}

Table MakeSttTable(const Description& description, std::uint32_t milliseconds) {
    Table table{"STT", kPidPsip, description.repetition.stt, {}};
    for (std::uint32_t second = 0; second * 1000 <= milliseconds; ++second) {
        const Stt stt{.systemTime = description.start + second,
                      .gpsUtcOffset = description.gpsUtcOffset,
                      .daylightSaving = description.daylightSaving};
        table.editions.push_back({second * 1000, {WriteStt(stt)}});
    }
    return table;
}

std::vector<Section> MakeChannelEtts(const Description& description) {
    std::vector<Section> sections;
    for (const Programme& programme : description.programmes) {
        if (programme.text.empty()) continue;
        sections.push_back(WriteEtt({.extension = static_cast<std::uint16_t>(sections.size()),
                                     .version = description.version,
                                     .etmId = ChannelEtmId(programme.sourceId),
                                     .message = MultipleString(programme.text)}));
    }
    return sections;
}

Table MakeEitTable(const std::vector<GuideWindow>& guide, std::size_t k, const Repetition& repetition) {
    const unsigned period = k == 0 ? repetition.eit0 : k == 1 ? repetition.eit1 : repetition.eitLater;
    return {"EIT-" + std::to_string(k), static_cast<std::uint16_t>(kPidEit0 + k), period, {{0, guide[k].eit}}};
}

Table MakeEttTable(const std::vector<GuideWindow>& guide, std::size_t k, const Repetition& repetition) {
    const unsigned period = k == 0 ? repetition.ett0 : repetition.ettLater;
    return {"ETT-" + std::to_string(k), static_cast<std::uint16_t>(kPidEtt0 + k), period, {{0, guide[k].ett}}};
}

Table MakeMgtTable(const Description& description, const std::vector<Section>& vct, const std::vector<Section>& texts,
                   const std::vector<GuideWindow>& guide) {
    Mgt mgt{.version = description.version, .tables = {}, .descriptors = {}};
    const auto add = [&](std::size_t type, std::size_t pid, const std::vector<Section>& sections) {
        if (sections.empty()) return;
        mgt.tables.push_back({static_cast<std::uint16_t>(type),
                              static_cast<std::uint16_t>(pid),
                              description.version,
                              Size(sections),
                              {}});
    };
    add(description.cable ? kTypeCvct : kTypeTvct, kPidPsip, vct);
    add(kTypeChannelEtt, kPidChannelEtt, texts);
    for (std::size_t k = 0; k < guide.size(); ++k) {
        add(kTypeEit0 + k, kPidEit0 + k, guide[k].eit);
        add(kTypeEtt0 + k, kPidEtt0 + k, guide[k].ett);
    }
    return {"MGT", kPidPsip, description.repetition.mgt, {{0, {WriteMgt(mgt)}}}};
}

}  // namespace

Vct MakeVct(const Description& description) {
    Vct vct{.cable = description.cable,
            .transportStreamId = description.transportStreamId,
            .version = description.version,
            .channels = {}};
    for (const Programme& programme : description.programmes) {
        VctChannel channel{.shortName = programme.name, .major = programme.major, .minor = programme.minor};
        channel.modulation = programme.modulation;
        channel.carrierFrequency = programme.carrierFrequency;
        channel.channelTsid = description.transportStreamId;
        channel.programme = programme.number;
        channel.etmLocation = programme.text.empty() ? 0 : 1;
        channel.accessControlled = programme.scrambled;
        channel.hidden = programme.hidden;
        channel.serviceType = programme.video ? 2 : 3;
        channel.sourceId = programme.sourceId;
        channel.descriptors = ServiceLocation(programme);
        vct.channels.push_back(std::move(channel));
    }
    return vct;
}

Section MakePmt(const Description& description, const Programme& programme) {
    Pmt pmt{.programme = programme.number,
            .version = description.version,
            .pcrPid = PcrPid(programme),
            .descriptors = RegistrationDescriptor("GA94"),
            .streams = {}};
    if (programme.video) {
        const bool captions = !programme.captions.empty();
        pmt.streams.push_back(
            {kStreamMpeg2Video, programme.video->pid, captions ? CaptionDescriptor(programme.captions) : Octets{}});
    }
    for (const Audio& audio : programme.audio) {
        pmt.streams.push_back({kStreamAc3, audio.pid,
                               Joined({LanguageDescriptor(audio.language, audio.audioType),
                                       Ac3Descriptor(audio.language, audio.bitRate)})});
    }
    return WritePmt(pmt);
}

std::vector<Table> MakeTables(const Description& description, std::uint32_t milliseconds) {
    CheckDescription(description);
    const Repetition& repetition = description.repetition;
    const auto vct = WriteVct(MakeVct(description));
    const auto texts = MakeChannelEtts(description);
    const auto guide = MakeGuide(description);
    std::vector<Table> tables{MakePatTable(description)};
    for (const Programme& programme : description.programmes) {
        tables.push_back({"PMT", programme.pmtPid, repetition.pmt, {{0, {MakePmt(description, programme)}}}});
    }
    tables.push_back(MakeMgtTable(description, vct, texts, guide));
    tables.push_back({"VCT", kPidPsip, repetition.vct, {{0, vct}}});
    tables.push_back(MakeSttTable(description, milliseconds));
    if (!texts.empty()) tables.push_back({"channel ETT", kPidChannelEtt, repetition.channelEtt, {{0, texts}}});
    for (std::size_t k = 0; k < guide.size(); ++k) {
        tables.push_back(MakeEitTable(guide, k, repetition));
        tables.push_back(MakeEttTable(guide, k, repetition));
    }
    return tables;
}

}  // namespace mux
