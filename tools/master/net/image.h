/// Sends a firmware image to a board.
#pragma once

#include <functional>
#include <string>

#include "net/board_client.h"

namespace zulctl {

struct Image {
    std::string bytes;
    std::string sha256;  ///< in hexadecimal
};
/// Throws Failure(kUsage) for a file that can't be read or that a board would refuse for its size.
Image ReadImage(const std::string& path);

/// Sends an image piece by piece, each after the reply to the one before. A piece has no number, so that one whose
/// reply is lost can't be repeated: the state is queried, and unless the board is already burning, the transfer
/// restarts from byte 0 with a new announcement, up to `restarts` times. Throws Failure with the board's text when it
/// refuses.
/// \param progress  called with the bytes that the board has; false gives up, and leaves the download open
/// \return false when `progress` gave up
bool SendImage(Client& client, const Image& image, int restarts,
               const std::function<bool(std::size_t sent, int attempt)>& progress);

}  // namespace zulctl
