/// The module's view of the player's shared status block, and the CPU load for the status replies.
#pragma once

#include <cstdint>

struct sVPLAYER_SM_STRUCT;

/// Typed access to the fields of the player's block that the module uses. The player writes them while they are read:
/// each value is one 32-bit word, read once. Without a usable block the accessors give 0 and store nothing.
class SharedMem {
 public:
    /// The one instance; the first call makes it and must come before other threads use it.
    static SharedMem* Self();

    /// Files and replies show strength 0 to 5 as 0 to 255.
    static constexpr unsigned kStrengthStep = 51;
    /// \return strength of the tuner's signal, 0 to 5; also stored in Statistics
    int GetSignalStrengthTransmitter();
    /// \return programme number that the player shows
    int GetProgramReceivedReceiver();
    /// \return code of the video type for the status reply: 0, 1 or 2
    int GetVideoTypeReceiver();
    /// \return code of the audio type for the status reply: 0, 1, 2 or 3
    int GetAudioTypeReceiver();

    /// Stores the code of the infrared remote to obey: below 256 with its complement in the high byte, otherwise
    /// unchanged.
    void IrModeCode(std::uint16_t code);
    /// \return low 8 bits of the stored code
    std::uint16_t IrModeCode();

    int GetAudioStatus() { return 1; }  ///< \return 1, always
    int GetCcStatus() { return 1; }     ///< \return 1, always

    /// Measures the CPU load over one second, and blocks meanwhile. Command thread only.
    /// \return percent; 0 when it can't be measured
    int GetCpuUtilization();

 private:
    SharedMem();

    bool mInitialized = false;
    void* mSharedAddress = nullptr;
    sVPLAYER_SM_STRUCT* mpPlayerStatusSharedStruct = nullptr;
};
