/// The program specific information of a stream that is played: PAT sections, and the PMT of one programme
/// (ISO/IEC 13818-1, 2.4.4).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>

namespace board {

/// What the PMT of the played programme tells.
struct ProgrammeStreams {
    int programme = 0;
    int videoType = 0;  ///< stream_type of the first video, 0 for none
    int audioType = 0;  ///< stream_type of the audio that is played, 0 for none

    bool operator==(const ProgrammeStreams&) const = default;
};

class PsiReader {
 public:
    using OnSection = std::function<void(std::span<std::uint8_t> section)>;

    /// \param programme  number, 0 for the first that the PAT has
    /// \param audioPid   PID of the audio to play, 0 for the first
    /// \param onSection  called with each sound section of the PAT and of the programme's PMT
    PsiReader(int programme, int audioPid, OnSection onSection);
    ~PsiReader();

    /// Takes one transport packet of 188 bytes.
    void Take(std::span<const std::uint8_t> packet);

    /// Plays another programme or audio of the same stream from now on.
    void Choose(int programme, int audioPid);

    const ProgrammeStreams& Streams() const { return mStreams; }

 private:
    struct Assembly;

    void TakeSection(int pid, std::uint8_t* section);
    void TakePat(const std::uint8_t* section);
    void TakePmt(const std::uint8_t* section);

    int mProgramme;
    int mAudioPid;
    const OnSection mOnSection;
    int mPmtPid = 0;  ///< 0 before a PAT told it
    ProgrammeStreams mStreams;
    std::map<int, std::unique_ptr<Assembly>> mAssemblies;  ///< by PID
};

}  // namespace board
