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

// A programme without video has its clock on the first sound, one without either none.
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

// EIT-k or ETT-k over all editions; a table without sections in any of them isn't sent, nor told by the MGT.
Table MakeWindowTable(const std::vector<GuideEdition>& guide, std::size_t k, bool texts, const Repetition& repetition) {
    Table table;
    table.name = (texts ? "ETT-" : "EIT-") + std::to_string(k);
    table.pid = static_cast<std::uint16_t>((texts ? kPidEtt0 : kPidEit0) + k);
    if (texts) {
        table.period = k == 0 ? repetition.ett0 : repetition.ettLater;
    } else {
        table.period = k == 0 ? repetition.eit0 : k == 1 ? repetition.eit1 : repetition.eitLater;
    }
    for (const GuideEdition& edition : guide) {
        const auto& sections = texts ? edition.windows[k].ett : edition.windows[k].eit;
        // A change elsewhere in the guide is none here.
        if (!table.editions.empty() && table.editions.back().sections == sections) continue;
        table.editions.push_back({edition.from, sections});
    }
    return table;
}

MgtTable Entry(std::size_t type, std::uint16_t pid, std::size_t version, const std::vector<Section>& sections) {
    return {static_cast<std::uint16_t>(type), pid, static_cast<std::uint8_t>(version), Size(sections), {}};
}

Table MakeMgtTable(const Description& description, const std::vector<Section>& vct, const std::vector<Section>& texts,
                   const std::vector<GuideEdition>& guide) {
    Table table{"MGT", kPidPsip, description.repetition.mgt, {}};
    Mgt mgt{.version = description.version, .tables = {}, .descriptors = {}};
    mgt.tables.push_back(Entry(description.cable ? kTypeCvct : kTypeTvct, kPidPsip, description.version, vct));
    if (!texts.empty()) mgt.tables.push_back(Entry(kTypeChannelEtt, kPidChannelEtt, description.version, texts));
    const auto base = mgt.tables;
    if (guide.empty()) table.editions.push_back({0, {WriteMgt(mgt)}});
    for (const GuideEdition& edition : guide) {
        mgt.tables = base;
        for (std::size_t k = 0; k < edition.windows.size(); ++k) {
            const auto& window = edition.windows[k];
            const auto pid = static_cast<std::uint16_t>(k);
            mgt.tables.push_back(Entry(kTypeEit0 + k, kPidEit0 + pid, edition.versions[k], window.eit));
            if (window.ett.empty()) continue;
            mgt.tables.push_back(Entry(kTypeEtt0 + k, kPidEtt0 + pid, edition.versions[k], window.ett));
        }
        table.editions.push_back({edition.from, {WriteMgt(mgt)}});
        mgt.version = (mgt.version + 1) & 31;
    }
    return table;
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
    const std::size_t windows = guide.empty() ? 0 : guide.front().windows.size();
    for (std::size_t k = 0; k < windows; ++k) {
        tables.push_back(MakeWindowTable(guide, k, false, repetition));
        tables.push_back(MakeWindowTable(guide, k, true, repetition));
    }
    return tables;
}

}  // namespace mux
