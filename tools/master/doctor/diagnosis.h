/// Findings about a network and its boards, each with advice.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "doctor/multicast_view.h"
#include "output/output.h"
#include "protocol/endpoint.h"

namespace zulctl {

struct Diagnosis {
    enum class Level { kGood, kNote, kFault };
    std::string check;  ///< one word, such as "querier"
    Level level = Level::kGood;
    std::string finding;   ///< escaped
    std::string advice{};  ///< empty when there is nothing to do

    bool IsGood() const { return level == Level::kGood; }
    bool IsFault() const { return level == Level::kFault; }
};

/// Interfaces used by joins and sends, interfering routes and filters, the local port, the receive buffer.
/// \param chosen  index of --interface, or 0
std::vector<Diagnosis> ExamineMachine(std::uint32_t group, int chosen, std::uint16_t localPort);

/// Finding on the queriers heard. \param listened  for how long
Diagnosis ExamineQuerier(bool mayListen, const std::optional<std::uint32_t>& querier, const std::string& interfaceName,
                         std::chrono::seconds listened);

/// Listens, from construction on, for a querier on the interface that a join of a group uses.
class QuerierSearch {
 public:
    QuerierSearch(std::uint32_t group, int interfaceIndex);

    /// Waits until one is heard or the time since the start is up.
    /// \param progress  called about once a second with the time left
    /// \return the finding; nothing when no interface can join
    std::optional<Diagnosis> Finish(std::chrono::milliseconds howLong,
                                    const std::function<void(std::chrono::seconds left)>& progress) const;

 private:
    Clock::time_point mStart = Clock::now();
    std::string mInterfaceName;
    std::unique_ptr<QuerierEar> mEar;
};

/// A board as observed from this machine.
struct BoardHealth {
    std::string name;
    Endpoint at;
    std::optional<int> beaconTtl{};  ///< of its beacon, if heard
    std::vector<double> replies{};   ///< seconds, one for each answer
    std::string silence{};           ///< why it doesn't answer; empty when it does
    std::string messages{};          ///< why scan, guide and language messages don't come; empty when they do
};
inline constexpr int kBoardTtl = 4;  ///< TTL of a board's multicast

std::vector<Diagnosis> ExamineBoards(const std::vector<BoardHealth>& boards, bool askedForNone);

/// A finding as in zulctl.doctor/1.
void to_json(Json& json, const Diagnosis& finding);
/// The findings as a list, wrapped at `width`.
std::string Findings(const std::vector<Diagnosis>& findings, std::size_t width, bool colour);

}  // namespace zulctl
