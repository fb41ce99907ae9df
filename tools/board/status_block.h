/// The player's status block in shared memory.
#pragma once

#include <cstdint>
#include <string>

#include "kbl_interprocess.h"

namespace board {

class StatusBlock {
 public:
    static constexpr int kKey = 2000;

    enum class Segment {
        kUsable,
        kTooSmall,  ///< occupies the key, so that the block can't be created
    };

    /// Creates and attaches the segment. Throws std::system_error when the system refuses.
    explicit StatusBlock(Segment segment = Segment::kUsable);
    /// Removes the segment; attached memory remains.
    ~StatusBlock();
    StatusBlock(const StatusBlock&) = delete;
    StatusBlock& operator=(const StatusBlock&) = delete;

    /// \param strength  0 no signal to 5
    void TunerStrength(int strength);
    void Programme(std::uint32_t number);
    void VideoType(std::uint32_t type);
    void AudioType(std::uint32_t type);
    /// \param layer  0 or 1. \param item  what it shows, at most 255 characters
    void Layer(int layer, int status, const std::string& item);

    int TunerStrength() const;
    /// \return the control word of the infrared driver: the code, and its complement above it
    std::uint32_t IrSystemCode() const;

 private:
    int mId = -1;
    sVPLAYER_SM_STRUCT mUnused{};
    sVPLAYER_SM_STRUCT* mpStruct = &mUnused;  ///< that of the segment, if it is usable
};

}  // namespace board
