/// The tables of a stream that is played: PAT, and PMT of one programme (ISO/IEC 13818-1, 2.4.4).
#pragma once

#include <cstdint>
#include <map>
#include <span>

#include "common/psi.h"

namespace board {

/// What the PMT of the played programme says.
struct ProgrammeStreams {
    int programme = 0;
    int videoType = 0;  ///< stream_type of the first video, 0 for none
    int audioType = 0;  ///< stream_type of the audio that is played, 0 for none

    bool operator==(const ProgrammeStreams&) const = default;
};

class PsiReader {
 public:
    using OnSection = common::SectionGatherer::OnSection;

    /// \param programme  number, 0 for the first that the PAT has
    /// \param audioPid   PID of the audio to play, 0 for the first
    /// \param onSection  called with each valid section of the PAT and of the programme's PMT
    PsiReader(int programme, int audioPid, OnSection onSection);

    /// Takes one transport packet of 188 bytes.
    void Take(Bytes packet);

    /// Plays another programme or audio of the same stream from now on.
    void Choose(int programme, int audioPid);

    const ProgrammeStreams& Streams() const { return mStreams; }

 private:
    /// A section in progress on one PID.
    struct Partial {
        common::SectionGatherer sections;
        int continuity = -1;  ///< of its last packet; -1 before the first
    };

    void TakeSection(int pid, std::span<std::uint8_t> section);
    void TakePat(const common::PatSection& pat);
    void TakePmt(const common::PmtSection& pmt);

    int mProgramme;
    int mAudioPid;
    const OnSection mOnSection;
    int mPmtPid = 0;  ///< 0 before the first PAT
    ProgrammeStreams mStreams;
    std::map<int, Partial> mPartial;  ///< by PID
};

}  // namespace board
