/// The requests of the board's text protocol for a client: the reply's route, delay and form, and whether a request may
/// be repeated.
#pragma once

#include <chrono>
#include <string_view>

namespace zulctl {

/// UDP ports of a board's command service.
inline constexpr unsigned short kTransmitterPort = 5000;
inline constexpr unsigned short kReceiverPort = 2008;

/// A request is at most this long; a board drops the rest.
inline constexpr std::size_t kLargestRequest = 2040;

/// The route of a reply.
enum class Route {
    kDirect,     ///< from the command port, to the requester
    kForwarded,  ///< from another port, to the first peer that ever asked this board; a refusal comes directly
};

/// One row of the table of requests. The first row whose keyword begins the request decides.
struct RequestKind {
    std::string_view keyword;  ///< compared without regard to case
    Route route;
    std::chrono::milliseconds patience;  ///< for one try, with room for what the board does before it answers
    int tries;                           ///< 1 for what must not be repeated: a lost answer isn't a lost request
    std::string_view answer, orElse;     ///< how an answer begins, unless it is KO
    std::string_view note;               ///< what an answer is, for messages
    std::size_t size = 0;                ///< of the answer; 0 for any

    bool Accepts(std::string_view reply) const;
};

/// \return the row of a request; the last row, which takes anything, for a text that no keyword begins
const RequestKind& KindOf(std::string_view request);

/// Replies that are one word. Errors of an upgrade have text after the word.
bool IsOk(std::string_view reply);
bool IsKo(std::string_view reply);

/// Compares the start of a text without regard to case.
bool BeginsWith(std::string_view text, std::string_view prefix);

}  // namespace zulctl
