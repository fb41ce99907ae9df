/// The guide's tables: events sorted into windows of three hours (ATSC A/65, 6.5), with their titles and texts coded.
#pragma once

#include <cstdint>
#include <vector>

#include "description.h"
#include "section.h"

namespace mux {

/// Length of the window that one EIT-k covers, seconds. Windows begin at 0, 3, 6... hours UTC.
inline constexpr std::uint32_t kWindow = 10'800;
inline constexpr std::size_t kMaxWindows = 128;
/// EITs that are sent even without an event, as A/65 requires.
inline constexpr std::size_t kMinWindows = 4;

/// EIT-k and ETT-k.
struct GuideWindow {
    std::vector<Section> eit{};  ///< of all programmes
    std::vector<Section> ett{};  ///< of all their events with a text
};

/// The windows of the guide, from the one in which the stream begins; none when no programme has an event.
std::vector<GuideWindow> MakeGuide(const Description& description);

}  // namespace mux
