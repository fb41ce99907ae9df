// PAT and PMT, by the accessors of biTStream.
#include "psi_writer.h"

#include <bitstream/mpeg/psi/pat.h>
#include <bitstream/mpeg/psi/pmt.h>

#include <algorithm>

#include "error.h"

namespace mux {
namespace {

constexpr std::size_t kProgrammesInSection = (kMaxShortSection - kSectionOverhead) / PAT_PROGRAM_SIZE;

// The accessors narrow int to short: all such calls are here.
std::uint16_t Short(std::size_t value) { return static_cast<std::uint16_t>(value); }

std::uint8_t* Append(Section& section, OctetView bytes) {
    const std::size_t at = section.size();
    section.insert(section.end(), bytes.begin(), bytes.end());
    return section.data() + at;
}

}  // namespace

std::vector<Section> WritePat(const Pat& pat) {
    const std::size_t count =
        std::max<std::size_t>(1, (pat.programmes.size() + kProgrammesInSection - 1) / kProgrammesInSection);
    if (count > 256) throw Error("PAT: too many programmes");
    std::vector<Section> sections;
    for (std::size_t number = 0; number < count; ++number) {
        const std::size_t first = number * kProgrammesInSection;
        const std::size_t entries = std::min(kProgrammesInSection, pat.programmes.size() - first);
        Section section(kSectionOverhead + entries * PAT_PROGRAM_SIZE);
        std::uint8_t* const bytes = section.data();
        pat_init(bytes);
        pat_set_length(bytes, Short(entries * PAT_PROGRAM_SIZE));
        pat_set_tsid(bytes, pat.transportStreamId);
        psi_set_version(bytes, pat.version & 31);
        psi_set_current(bytes);
        psi_set_section(bytes, static_cast<std::uint8_t>(number));
        psi_set_lastsection(bytes, static_cast<std::uint8_t>(count - 1));
        for (std::size_t i = 0; i < entries; ++i) {
            std::uint8_t* const entry = pat_get_program(bytes, static_cast<std::uint8_t>(i));
            patn_init(entry);
            patn_set_program(entry, pat.programmes[first + i].number);
            patn_set_pid(entry, pat.programmes[first + i].pid);
        }
        psi_set_crc(bytes);
        sections.push_back(std::move(section));
    }
    return sections;
}

Section WritePmt(const Pmt& pmt) {
    Section section(PMT_HEADER_SIZE);
    pmt_init(section.data());
    pmt_set_program(section.data(), pmt.programme);
    psi_set_version(section.data(), pmt.version & 31);
    psi_set_current(section.data());
    pmt_set_pcrpid(section.data(), pmt.pcrPid);
    pmt_set_desclength(section.data(), Short(pmt.descriptors.size()));
    Append(section, pmt.descriptors);
    for (const PmtStream& stream : pmt.streams) {
        std::uint8_t* const entry = Append(section, Octets(PMT_ES_SIZE));
        pmtn_init(entry);
        pmtn_set_streamtype(entry, stream.streamType);
        pmtn_set_pid(entry, stream.pid);
        pmtn_set_desclength(entry, Short(stream.descriptors.size()));
        Append(section, stream.descriptors);
    }
    section.resize(section.size() + PSI_CRC_SIZE);
    if (section.size() > kMaxShortSection) {
        throw Error("PMT of programme " + std::to_string(pmt.programme) + ": larger than 1024 bytes");
    }
    psi_set_length(section.data(), Short(section.size() - PSI_HEADER_SIZE));
    psi_set_crc(section.data());
    return section;
}

}  // namespace mux
