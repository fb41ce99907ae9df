// The record of datagrams as JSON lines.
#include "net/recorder.h"

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "output/escape.h"
#include "output/failure.h"

namespace zulctl {

Recorder::Recorder(const std::string& path) : mpFile(std::fopen(path.c_str(), "we"), std::fclose) {
    if (!mpFile) throw Failure(kUsage, "can't write the record " + path + ": " + std::strerror(errno));
}

void Recorder::Note(Direction direction, const Endpoint& peer, std::string_view bytes) {
    const nlohmann::ordered_json line = {{"time", UtcNow()},
                                         {"direction", direction == Direction::kSent ? "sent" : "received"},
                                         {"peer", EndpointText(peer)},
                                         {"text", Escaped(bytes)},
                                         {"hex", HexText(bytes)}};
    const std::string text = line.dump(-1, ' ', true) + "\n";
    const std::lock_guard lock(mMutex);
    std::fwrite(text.data(), 1, text.size(), mpFile.get());
    std::fflush(mpFile.get());  // keeps the record complete up to a crash
}

}  // namespace zulctl
