/// What the player shows, and a picture of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kbl_interprocess.h"

namespace board {

/// One display layer: its place and its content.
struct Layer {
    sKBL_LAYER_INFO place{};
    std::string item{};  ///< stream, page or file; empty: nothing

    bool IsVisible() const { return place.alpha > 0 && place.width > 0 && place.height > 0 && !item.empty(); }
};

/// The layers, the lowest first, and what is on them.
struct Screen {
    Layer video;
    Layer browser;
    Layer picture;
    int programme = 0;                      ///< number of the programme that is shown; 0: none
    std::vector<std::uint8_t> videoBytes;   ///< its last seconds, as transport packets
    std::vector<std::string> browserLines;  ///< text of the page below its address, such as received keys
};

/// Draws a screen of 1280 by 768 with ffmpeg and saves it as PNG. A page is a panel with its address: there is no
/// browser here.
/// \param folder  for the files that ffmpeg reads; created if needed
/// \return false when ffmpeg fails
bool DrawScreen(const Screen& screen, const std::string& file, const std::string& folder);

}  // namespace board
