/// Sends a firmware image to a board.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "net/board_client.h"

namespace zulctl {

inline constexpr std::size_t kSmallestImage = 11;
inline constexpr std::size_t kLargestImage = 1000000000;
inline constexpr std::size_t kImagePiece = kLargestRequest - 5;  ///< bytes after "UPGR:"

/// An image file, opened and measured.
class Image {
 public:
    /// Throws Failure(kUsage) for a file that can't be read or that a board would refuse for its size.
    explicit Image(const std::string& path);
    ~Image();
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    std::size_t Size() const { return mSize; }
    /// \return the SHA-256 of the file in hexadecimal
    const std::string& Sha256() const { return mSha256; }
    /// Reads a piece; it is shorter than a whole one only at the end. Throws Failure when the file has changed its
    /// size.
    std::string Piece(std::size_t offset) const;

 private:
    int mFd;
    std::size_t mSize;
    std::string mSha256;
};

/// Sends an image piece by piece, each after the reply to the one before. A piece has no number, so that one whose
/// reply is lost can't be repeated: the state is queried, and unless the board is already burning, the transfer
/// restarts from byte 0 with a new announcement, up to `restarts` times. Throws Failure with the board's text when it
/// refuses.
/// \param progress  called with the bytes that the board has; false gives up, and leaves the download open
/// \return false when `progress` gave up
bool SendImage(Client& client, const Image& image, int restarts,
               const std::function<bool(std::size_t sent, int attempt)>& progress);

}  // namespace zulctl
