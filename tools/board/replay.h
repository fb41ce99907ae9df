/// A master's record of what it asked a board, played to a board again: a report from the field becomes a test.
///
/// The record holds JSON lines as `zulctl --record` writes them. What is compared, and what isn't:
/// - Each request waits as long as it did in the record behind the datagram before it, at most 15 s, and until all that
///   came before it in the record has come here too. Then its answers from the command port, and the messages from the
///   board's other ports, must be those of the record, each kind in its order.
/// - The CPU load, the broadcast's time, the channel that a running scan has reached, and the addresses of the board's
///   network settings and beacon vary by nature: any value stands for any other.
/// - Beacons, lines of the log channel, keys and serial bytes come unasked and aren't compared.
/// - A request repeated until its answer changed was a wait, or one of them was lost. It is repeated here until the
///   last recorded answer comes.
/// - A request without an answer is expected to stay without one.
#pragma once

#include <chrono>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "journal.h"

namespace board {

/// A request of a record, with what came back before the next one.
struct RecordedRequest {
    int line = 0;  ///< of the record, from 1
    std::string request;
    Milliseconds pause{};               ///< since the datagram before it
    std::vector<std::string> answers;   ///< from the command port, as Comparable makes them
    std::vector<std::string> messages;  ///< from the board's other ports, the same
    bool isWait = false;                ///< asked over and over in the record, until this came
};

/// Reads what a record tells of one board.
/// \param port     of the board's command service
/// \param address  of the board; empty where the record has one alone that answers at that port
/// Throws std::runtime_error where a line is no datagram, and where the record doesn't tell which board is meant.
std::vector<RecordedRequest> ReadRecord(std::istream& record, int port, const std::string& address);

/// \return a datagram with a star for what varies by nature
std::string Comparable(const std::string& datagram);

/// \return whether a board sends this without having been asked
bool ComesUnasked(const std::string& bytes);

/// Plays a record to the board of this machine, once that serves.
/// \param port  of the board's command service
/// \param tell  told each difference, in words
/// \return how many requests were answered otherwise than recorded
/// Throws std::runtime_error when the board doesn't serve for a minute.
int Replay(const std::vector<RecordedRequest>& record, int port, const std::function<void(const std::string&)>& tell);

}  // namespace board
