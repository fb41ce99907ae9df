// The tables of the programme that is played.
#include "psi_reader.h"

#include <utility>

#include "common/ts_packet.h"

namespace board {

namespace {

/// stream_type values of video and sound (ISO/IEC 13818-1, table 2-34; A/53, part 3).
bool IsVideo(int type) { return type == 0x01 || type == 0x02 || type == 0x1B || type == 0x24 || type == 0x80; }
bool IsAudio(int type) { return type == 0x03 || type == 0x04 || type == 0x0F || type == 0x81 || type == 0x87; }

}  // namespace

PsiReader::PsiReader(int programme, int audioPid, OnSection onSection)
    : mProgramme(programme), mAudioPid(audioPid), mOnSection(std::move(onSection)) {}

void PsiReader::Choose(int programme, int audioPid) {
    mProgramme = programme;
    mAudioPid = audioPid;
    mPmtPid = 0;
}

void PsiReader::Take(Bytes packet) {
    const int pid = common::PidOf(packet);
    if (pid != 0 && (mPmtPid == 0 || pid != mPmtPid)) return;
    if (packet[0] != common::kSync || !common::HasPayload(packet)) return;
    Partial& partial = mPartial[pid];
    const int continuity = common::ContinuityOf(packet);
    if (partial.continuity == continuity) return;  // sent twice
    if (partial.continuity != -1 && ((partial.continuity + 1) & 0xF) != continuity) partial.sections.Drop();
    partial.continuity = continuity;
    partial.sections.Add(common::PayloadOf(packet), common::UnitStarts(packet),
                         [this, pid](std::span<std::uint8_t> section) { TakeSection(pid, section); });
}

void PsiReader::TakeSection(int pid, std::span<std::uint8_t> section) {
    if (!common::CrcIsRight(section)) return;
    if (const auto pat = common::ParsePat(section); pat && pid == 0) {
        TakePat(*pat);
        mOnSection(section);
    }
    if (const auto pmt = common::ParsePmt(section); pmt && pid == mPmtPid && pmt->programme == mStreams.programme) {
        TakePmt(*pmt);
        mOnSection(section);
    }
}

void PsiReader::TakePat(const common::PatSection& pat) {
    for (const auto& [programme, pid] : pat.entries) {
        if (programme == 0 || (mProgramme != 0 && programme != mProgramme)) continue;
        mPmtPid = pid;
        if (mStreams.programme != programme) mStreams = {programme};
        return;
    }
}

void PsiReader::TakePmt(const common::PmtSection& pmt) {
    ProgrammeStreams streams{mStreams.programme};
    for (const auto& stream : pmt.streams) {
        if (IsVideo(stream.type) && streams.videoType == 0) streams.videoType = stream.type;
        const bool chosen = mAudioPid == 0 ? streams.audioType == 0 : stream.pid == mAudioPid;
        if (IsAudio(stream.type) && chosen) streams.audioType = stream.type;
    }
    mStreams = streams;
}

}  // namespace board
