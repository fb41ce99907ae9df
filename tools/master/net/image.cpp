// Firmware images.
#include "net/image.h"

#include <fmt/format.h>
#include <nettle/sha2.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "output/escape.h"
#include "output/failure.h"
#include "protocol/status.h"

namespace zulctl {

namespace {

constexpr std::size_t kSmallestImage = 11, kLargestImage = 1000000000;
constexpr std::size_t kPiece = kLargestRequest - 5;  // bytes after "UPGR:"

enum class Outcome { kSent, kGivenUp, kLost };

/// A refusal has its reason: "KO CR LF, blank, text".
void Order(Client& client, const std::string& request) {
    const std::string answer = client.Ask(request);
    if (IsOk(answer)) return;
    throw Failure(kRefused, "{} refuses the image: {}", EndpointText(client.Board()),
                  Escaped(answer.size() > 5 ? answer.substr(5) : answer));
}

/// One attempt from byte 0. \return kLost when an answer is missing
Outcome Attempt(Client& client, const Image& image, const std::function<bool(std::size_t)>& progress) {
    try {
        Order(client, fmt::format("UPGR{}", image.bytes.size()));
        for (std::size_t sent = 0; sent < image.bytes.size(); sent += kPiece) {
            if (!progress(sent)) return Outcome::kGivenUp;
            Order(client, "UPGR:" + image.bytes.substr(sent, kPiece));
        }
    } catch (const Failure& failure) {
        if (failure.code != kNoAnswer || Interrupted()) throw;
        return Outcome::kLost;
    }
    return Outcome::kSent;
}

}  // namespace

Image ReadImage(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw Failure(kUsage, "{}: {}", path, std::strerror(errno));
    std::error_code ignored;
    const auto size = std::filesystem::is_regular_file(path, ignored) ? std::filesystem::file_size(path, ignored) : 0;
    if (size < kSmallestImage || size > kLargestImage) {
        throw Failure(kUsage, "{} isn't a file of {} to {} bytes, which a board takes", path, kSmallestImage,
                      kLargestImage);
    }
    Image image{std::string(size, '\0'), {}};
    if (!file.read(image.bytes.data(), static_cast<std::streamsize>(size)))
        throw Failure(kUsage, "{} can't be read", path);
    sha256_ctx context;
    sha256_init(&context);
    sha256_update(&context, size, reinterpret_cast<const std::uint8_t*>(image.bytes.data()));
    char digest[SHA256_DIGEST_SIZE];
    sha256_digest(&context, sizeof digest, reinterpret_cast<std::uint8_t*>(digest));
    image.sha256 = HexText({digest, sizeof digest});
    return image;
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
