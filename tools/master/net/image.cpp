// Firmware images.
#include "net/image.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <nettle/sha2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "output/escape.h"
#include "output/failure.h"
#include "protocol/status.h"

namespace zulctl {

namespace {

std::string HashOf(int fd) {
    sha256_ctx context;
    sha256_init(&context);
    std::uint8_t block[65536];
    for (off_t at = 0;;) {
        const ssize_t got = pread(fd, block, sizeof block, at);
        if (got <= 0) break;
        sha256_update(&context, static_cast<std::size_t>(got), block);
        at += got;
    }
    std::uint8_t digest[SHA256_DIGEST_SIZE];
    sha256_digest(&context, sizeof digest, digest);
    return HexText({reinterpret_cast<const char*>(digest), sizeof digest});
}

enum class Outcome { kSent, kGivenUp, kLost };

/// A refusal with its reason: "KO CR LF, blank, text".
[[noreturn]] void Refused(const Client& client, const std::string& answer) {
    throw Failure(kRefused, "{} refuses the image: {}", EndpointText(client.Board()),
                  Escaped(answer.size() > 5 ? answer.substr(5) : answer));
}

/// One attempt from byte 0. \return kLost when an answer is missing
Outcome Attempt(Client& client, const Image& image, const std::function<bool(std::size_t)>& progress) {
    try {
        const std::string announced = client.Ask(fmt::format("UPGR{}", image.Size()));
        if (!IsOk(announced)) Refused(client, announced);
        for (std::size_t sent = 0; sent < image.Size();) {
            if (!progress(sent)) return Outcome::kGivenUp;
            const std::string piece = image.Piece(sent);
            const std::string answer = client.Ask("UPGR:" + piece);
            if (!IsOk(answer)) Refused(client, answer);
            sent += piece.size();
        }
    } catch (const Failure& failure) {
        if (failure.code != kNoAnswer || Interrupted()) throw;
        return Outcome::kLost;
    }
    return Outcome::kSent;
}

}  // namespace

Image::Image(const std::string& path) : mFd(open(path.c_str(), O_RDONLY | O_CLOEXEC)), mSize(0) {
    struct stat info {};
    if (mFd < 0 || fstat(mFd, &info) != 0) throw Failure(kUsage, "{}: {}", path, std::strerror(errno));
    mSize = static_cast<std::size_t>(info.st_size);
    if (!S_ISREG(info.st_mode) || mSize < kSmallestImage || mSize > kLargestImage) {
        close(mFd);
        throw Failure(kUsage, "{} isn't a file of {} to {} bytes, which a board takes", path, kSmallestImage,
                      kLargestImage);
    }
    mSha256 = HashOf(mFd);
}

Image::~Image() { close(mFd); }

std::string Image::Piece(std::size_t offset) const {
    std::string piece(std::min(kImagePiece, mSize - offset), '\0');
    if (pread(mFd, piece.data(), piece.size(), static_cast<off_t>(offset)) != static_cast<ssize_t>(piece.size())) {
        throw Failure(kUsage, "the image file has become shorter while it was sent");
    }
    return piece;
}

bool SendImage(Client& client, const Image& image, int restarts,
               const std::function<bool(std::size_t, int)>& progress) {
    for (int attempt = 0; attempt <= restarts; ++attempt) {
        const Outcome outcome = Attempt(client, image, [&](std::size_t sent) { return progress(sent, attempt); });
        if (outcome != Outcome::kLost) return outcome == Outcome::kSent;
        // The reply to the state query also proves that no older reply is pending: a board serves one request at a
        // time.
        const auto state = ParseUpgradeState(client.Ask("UPGR?"));
        if (state == kBurning) return true;
        if (state == kBurnFailed)
            throw Failure(kRefused, EndpointText(client.Board()) + " has the image, but can't burn it");
    }
    throw Failure(kNoAnswer, "{} loses answers; {} attempts from the first byte have failed",
                  EndpointText(client.Board()), restarts + 1);
}

}  // namespace zulctl
