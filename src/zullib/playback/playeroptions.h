/// The options of the player's language.
#pragma once

#include <cstdint>
#include <string_view>

#include "kbl_interprocess.h"
#include "playback/playerwords.h"

/// A record with room behind it, as the longest orders copy past its end.
struct PaddedRecord {
    sMSG_COMMON_FORMAT record;
    char padding[8];
};

constexpr int kEndOfLine = -1;  ///< nothing more of the line is read

/// One option of the player's language.
struct PlayerOption {
    std::string_view word;
    std::int32_t cmmdId;
    int size;  ///< bytes sent of the record, from its byte 4 on; file orders add their name's length
    /// Reads the option's words and sends its order.
    /// \param record  cleared
    /// \param at      place of the option word
    /// \return place of the word that the scan goes on with, or kEndOfLine
    int (*run)(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
};

/// \return the option of a word, or null
const PlayerOption* FindOption(std::string_view word);

/// Sends a record to the player's queue.
void SendToPlayer(const PlayerOption& option, const PaddedRecord& record, int size);

// Options by what stands behind them: control_options.cpp, stream_options.cpp, host_options.cpp.
int RunPlain(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunHelp(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunExit(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunMount(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunImage(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunRtp(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunUdp(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunDebug(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunTrick(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunResolution(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunLayer(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunVideo(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunPicture(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunBrowser(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunMessage(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunTuner(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunScan(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunHostIp(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
int RunHostName(const PlayerOption& option, PaddedRecord& record, const Words& words, int at);
