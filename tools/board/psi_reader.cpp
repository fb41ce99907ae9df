// PAT and PMT out of transport packets, by the field's own header library.
#include "psi_reader.h"

#include <bitstream/mpeg/psi.h>
#include <bitstream/mpeg/ts.h>

#include <utility>

namespace board {

namespace {

/// stream_type values of video and sound (ISO/IEC 13818-1, table 2-34; A/53, part 3).
bool IsVideo(int type) { return type == 0x01 || type == 0x02 || type == 0x1B || type == 0x24 || type == 0x80; }
bool IsAudio(int type) { return type == 0x03 || type == 0x04 || type == 0x0F || type == 0x81 || type == 0x87; }

}  // namespace

/// A section in progress on one PID.
struct PsiReader::Assembly {
    Assembly() { psi_assemble_init(&buffer, &used); }
    ~Assembly() { psi_assemble_reset(&buffer, &used); }
    Assembly(const Assembly&) = delete;
    Assembly& operator=(const Assembly&) = delete;

    std::uint8_t* buffer = nullptr;
    std::uint16_t used = 0;
    int continuity = -1;
};

PsiReader::PsiReader(int programme, int audioPid, OnSection onSection)
    : mProgramme(programme), mAudioPid(audioPid), mOnSection(std::move(onSection)) {}

PsiReader::~PsiReader() = default;

void PsiReader::Choose(int programme, int audioPid) {
    mProgramme = programme;
    mAudioPid = audioPid;
    mPmtPid = 0;
}

void PsiReader::Take(std::span<const std::uint8_t> packet) {
    if (!ts_validate(packet.data())) return;
    const int pid = ts_get_pid(packet.data());
    if (pid != PAT_PID && (mPmtPid == 0 || pid != mPmtPid)) return;
    if (!ts_has_payload(packet.data())) return;
    auto& assembly = mAssemblies[pid];
    if (!assembly) assembly = std::make_unique<Assembly>();

    const int continuity = ts_get_cc(packet.data());
    if (assembly->continuity == continuity) return;  // sent twice
    if (assembly->continuity != -1 && ((assembly->continuity + 1) & 0xF) != continuity) {
        psi_assemble_reset(&assembly->buffer, &assembly->used);
    }
    assembly->continuity = continuity;

    const std::uint8_t* next = ts_section(const_cast<std::uint8_t*>(packet.data()));
    auto left = static_cast<std::uint8_t>(packet.data() + packet.size() - next);
    // What stands in front of a first section is the end of the one in progress, if there is one.
    if (psi_assemble_empty(&assembly->buffer, &assembly->used)) {
        next = ts_next_section(const_cast<std::uint8_t*>(packet.data()));
        left = static_cast<std::uint8_t>(packet.data() + packet.size() - next);
    }
    while (left > 0) {
        std::uint8_t* section = psi_assemble_payload(&assembly->buffer, &assembly->used, &next, &left);
        if (section == nullptr) continue;
        TakeSection(pid, section);
        free(section);
    }
}

void PsiReader::TakeSection(int pid, std::uint8_t* section) {
    if (!psi_validate(section) || !psi_get_current(section)) return;
    const bool isPat = pid == PAT_PID && pat_validate(section);
    const bool isPmt = pid == mPmtPid && pmt_validate(section) && pmt_get_program(section) == mStreams.programme;
    if (!isPat && !isPmt) return;
    if (isPat) TakePat(section);
    if (isPmt) TakePmt(section);
    mOnSection({section, psi_get_length(section) + std::size_t{PSI_HEADER_SIZE}});
}

void PsiReader::TakePat(const std::uint8_t* section) {
    const std::uint8_t* entry = nullptr;
    for (std::uint8_t i = 0; (entry = pat_get_program(const_cast<std::uint8_t*>(section), i)) != nullptr; ++i) {
        const int number = patn_get_program(entry);
        if (number == 0 || (mProgramme != 0 && number != mProgramme)) continue;
        mPmtPid = patn_get_pid(entry);
        if (mStreams.programme != number) mStreams = {number};
        return;
    }
}

void PsiReader::TakePmt(const std::uint8_t* section) {
    ProgrammeStreams streams{mStreams.programme};
    const std::uint8_t* es = nullptr;
    for (std::uint8_t i = 0; (es = pmt_get_es(const_cast<std::uint8_t*>(section), i)) != nullptr; ++i) {
        const int type = pmtn_get_streamtype(es);
        if (IsVideo(type) && streams.videoType == 0) streams.videoType = type;
        const bool chosen = mAudioPid == 0 ? streams.audioType == 0 : pmtn_get_pid(es) == mAudioPid;
        if (IsAudio(type) && chosen) streams.audioType = type;
    }
    mStreams = streams;
}

}  // namespace board
