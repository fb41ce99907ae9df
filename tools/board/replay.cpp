// Reading records, and what of a datagram varies by nature.
#include "replay.h"

#include <algorithm>
#include <ctime>
#include <istream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace board {

namespace {

constexpr std::size_t kLongestLine = 1 << 20;  ///< a datagram of the largest size, as text and in hexadecimal

/// One line of a record.
struct Line {
    int number;
    std::int64_t milliseconds;  ///< of the wall clock
    bool sent;
    std::string address;
    int port;
    std::string bytes;
};

std::string FromHex(const std::string& digits) {
    std::string bytes;
    if (digits.size() % 2 != 0) throw std::invalid_argument("half a byte in \"hex\"");
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        std::size_t used = 0;
        bytes += static_cast<char>(std::stoi(digits.substr(at, 2), &used, 16));
        if (used != 2) throw std::invalid_argument("no digits in \"hex\"");
    }
    return bytes;
}

/// Reads a time as in 2026-03-01T19:30:00.123Z.
std::int64_t FromUtc(const std::string& text) {
    std::tm fields{};
    const char* const rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &fields);
    if (rest == nullptr) throw std::invalid_argument("\"" + text + "\" is no time");
    return std::int64_t{timegm(&fields)} * 1000 + (*rest == '.' ? std::stoi(rest + 1) : 0);
}

Line ReadLine(int number, const std::string& text) try {
    if (text.size() > kLongestLine) throw std::invalid_argument("too long");
    const auto json = nlohmann::json::parse(text);
    const std::string peer = json.at("peer");
    const std::string direction = json.at("direction");
    if (direction != "sent" && direction != "received") throw std::invalid_argument("no such direction");
    const std::size_t colon = peer.find(':');
    if (colon == std::string::npos) throw std::invalid_argument("\"peer\" has no port");
    return {number,
            FromUtc(json.at("time")),
            direction == "sent",
            peer.substr(0, colon),
            std::stoi(peer.substr(colon + 1)),
            FromHex(json.at("hex"))};
} catch (const std::exception& error) {
    throw std::runtime_error("line " + std::to_string(number) + " of the record: " + error.what());
}

std::string OnlyBoard(const std::vector<Line>& lines, int port) {
    std::set<std::string> boards;
    for (const Line& line : lines) {
        if (!line.sent && line.port == port) boards.insert(line.address);
    }
    if (boards.size() == 1) return *boards.begin();
    std::string known;
    for (const std::string& each : boards) known += " " + each;
    throw std::runtime_error(boards.empty() ? "no board of this role answers in the record"
                                            : "which board? The record has" + known);
}

/// Makes one of the requests that were repeated until their answer changed.
void JoinWaits(std::vector<RecordedRequest>& requests) {
    std::vector<RecordedRequest> joined;
    for (auto next = requests.begin(); next != requests.end();) {
        const auto end = std::find_if(next, requests.end(),
                                      [&](const RecordedRequest& each) { return each.request != next->request; });
        const bool isWait = std::any_of(next, end, [&](const RecordedRequest& each) {
            return each.answers != next->answers || each.messages != next->messages;
        });
        if (!isWait) {
            joined.insert(joined.end(), std::make_move_iterator(next), std::make_move_iterator(end));
        } else {
            const auto answered = std::find_if(
                std::reverse_iterator(end), std::reverse_iterator(next),
                [](const RecordedRequest& each) { return !each.answers.empty() || !each.messages.empty(); });
            joined.push_back(*answered);
            joined.back().pause = next->pause;
            joined.back().isWait = true;
        }
        next = end;
    }
    requests = std::move(joined);
}

}  // namespace

std::vector<RecordedRequest> ReadRecord(std::istream& record, int port, const std::string& address) {
    std::vector<Line> lines;
    int number = 0;
    for (std::string text; std::getline(record, text);) {
        ++number;
        if (!text.empty()) lines.push_back(ReadLine(number, text));
    }
    const std::string board = address.empty() ? OnlyBoard(lines, port) : address;
    std::vector<RecordedRequest> requests;
    std::int64_t last = 0;
    for (const Line& line : lines) {
        if (line.address != board || (line.sent && line.port != port)) continue;
        if (!line.sent && line.port != port && ComesUnasked(line.bytes)) continue;
        const Milliseconds pause(last == 0 ? 0 : std::max<std::int64_t>(line.milliseconds - last, 0));
        last = line.milliseconds;
        if (line.sent) {
            requests.push_back({line.number, line.bytes, pause, {}, {}, false});
        } else if (!requests.empty()) {
            (line.port == port ? requests.back().answers : requests.back().messages).push_back(Comparable(line.bytes));
        }
    }
    if (requests.empty()) throw std::runtime_error("the record asks nothing of " + board);
    JoinWaits(requests);
    return requests;
}

bool ComesUnasked(const std::string& bytes) {
    const std::string_view text = bytes;
    return text.starts_with("ZULB<") || text.starts_with("LOG:") || text.starts_with(std::string_view("REMOTE\1\4")) ||
           (text.size() == 5 && text.starts_with("UART"));
}

std::string Comparable(const std::string& datagram) {
    using std::regex;
    static const std::pair<regex, const char*> kVarying[] = {
        {regex("^(STATUS .*[^0-9])[0-9]+%( ?OK)"), "$01*%$2"},
        {regex("^TIME [0-9a-f]{4} [0-9]{4} OK"), "TIME * * OK"},
        {regex("^(DHCP:. )MAC:[^ ]* IP:[^ ]* GW:[^ ]* NM:[^ ]* "), "$01MAC:* IP:* GW:* NM:* "},
        {regex("^(ZULB<Device-UUID=[A-Z_]*-)[0-9a-f]{12}>"), "$01*>"},
    };
    constexpr char kUnderWay = 2;
    if (datagram.size() == 4 && datagram[0] == 0 && datagram[3] == kUnderWay) return "scan under way";
    std::string text = datagram;
    for (const auto& [pattern, same] : kVarying) text = std::regex_replace(text, pattern, same);
    return text;
}

}  // namespace board
