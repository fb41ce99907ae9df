// Requests by datagram, as any host of the network can send them: each is served completely, with its reply.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <thread>

#include "core/texthelpers.h"
#include "manager.h"

namespace fuzz {

namespace {

constexpr std::uint8_t kSeparator = 0x1E;  ///< between two requests
constexpr std::uint8_t kAnswer = '=';      ///< begins the settings agent's answers to the requests after it

/// Ends FILTER, which serves nothing but its port until a datagram without bytes comes.
class FilterFeed {
 public:
    FilterFeed(std::uint16_t port, const Block& data)
        : mThread([this, port, data] {
              while (!mDone) {
                  SendFromMaster(port, data);
                  SendFromMaster(port, {});
                  std::this_thread::yield();
              }
          }) {}
    ~FilterFeed() {
        mDone = true;
        mThread.join();
    }

 private:
    std::atomic<bool> mDone{false};
    std::thread mThread;
};

/// \return the port of a FILTER request, 0 where it has none or leaves the choice to the system
std::uint16_t FilterPort(const Block& request) {
    std::vector<char> text = Text(request);
    char* position = nullptr;
    strtok_r(text.data(), ",", &position);
    const char* const port = strtok_r(nullptr, ",", &position);
    return port != nullptr ? static_cast<std::uint16_t>(Decimal(port)) : std::uint16_t{0};
}

void Serve(Manager& manager, const Block& request) {
    const std::vector<char> text = Text(request);
    if (strncasecmp(text.data(), "FILTER", 6) != 0 || std::strchr(text.data(), ',') == nullptr) {
        manager.Serve(request);
        return;
    }
    const std::uint16_t port = FilterPort(request);
    if (port == 0 || port == Manager::kPort) return;  // the feed couldn't find it, or would take the next requests
    const FilterFeed feed(port, request);
    manager.Serve(request);
}

}  // namespace

void Dispatcher(Input& input, unsigned flags) {
    Manager manager(flags);
    while (!input.Empty()) {
        Block request = input.TakeTo(kSeparator);
        if (!request.empty() && request[0] == kAnswer) {
            request.erase(request.begin());
            manager.agentAnswer = request;
            continue;
        }
        Serve(manager, request);
    }
}

void PrintKeywords() {
    for (const auto& row : CommandManagerTest::Keywords()) std::printf("\"%s\"\n", std::string(row.keyword).c_str());
    for (const char* word : {"\\x1e",  "\\x1f",     "=",      ",",         "\\x0d\\x0a", "UNIT1,", "UNIT4,",
                             "UNIT5,", "239.1.1.1", "5000",   "0055,0003", "EITI",       "EITN",   "EITL",
                             "URLkey", "UPGR:",     "UPGR20", "BLIND99",   "eng",        "-udp",   "OFF"}) {
        std::printf("\"%s\"\n", word);
    }
}

}  // namespace fuzz
