/// The player's status block in shared memory, by the offsets of player and module.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace board {

class StatusBlock {
 public:
    enum class Segment {
        kUsable,
        kTooSmall,  ///< occupies the key, so that the block can't be created
    };

    /// Creates and attaches segment 2000. Throws std::system_error when the system refuses.
    explicit StatusBlock(Segment segment = Segment::kUsable);
    /// Removes the segment; attached memory remains.
    ~StatusBlock();
    StatusBlock(const StatusBlock&) = delete;
    StatusBlock& operator=(const StatusBlock&) = delete;

    /// \param strength  0 no signal to 5
    void TunerStrength(int strength) { Put(kTunerStrength, static_cast<std::uint32_t>(strength)); }
    void Programme(std::uint32_t number) { Put(kProgramme, number); }
    void VideoType(std::uint32_t type) { Put(kVideoType, type); }
    void AudioType(std::uint32_t type) { Put(kAudioType, type); }
    /// \param layer  0 or 1. \param item  what it shows, at most 255 characters
    void Layer(int layer, int status, const std::string& item);

    int TunerStrength() const { return static_cast<int>(Word(kTunerStrength)); }
    /// \return the control word of the infrared driver: the code, and its complement above it
    std::uint32_t IrSystemCode() const { return Word(kIrSystemCode); }

 private:
    // Bytes from the start of the segment; the player's struct is at 0x6000.
    static constexpr std::size_t kStruct = 0x6000;
    static constexpr std::size_t kIrSystemCode = kStruct + 636;
    static constexpr std::size_t kLayerCount = kStruct + 640;
    static constexpr std::size_t kLayers = kStruct + 648;  ///< two of `status` and 256 bytes of item
    static constexpr std::size_t kLayerSize = 260;
    static constexpr std::size_t kTunerStrength = kStruct + 1168;
    static constexpr std::size_t kProgramme = kStruct + 1172;
    static constexpr std::size_t kVideoType = kStruct + 1176;
    static constexpr std::size_t kAudioType = kStruct + 1180;

    std::uint32_t Word(std::size_t offset) const;
    void Put(std::size_t offset, std::uint32_t value);

    int mId = -1;
    char* mBytes = nullptr;  ///< null without a usable block
};

}  // namespace board
