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
/// EITs that go out even when no event is in them, as A/65 asks.
inline constexpr std::size_t kMinWindows = 4;

/// EIT-k and ETT-k as they are at one moment of the stream.
struct GuideWindow {
    std::vector<Section> eit{};  ///< of all programmes
    std::vector<Section> ett{};  ///< of all their events with a text
};

/// A part of the stream in which the guide stays the same.
struct GuideEdition {
    std::uint32_t from = 0;  ///< milliseconds of the stream
    std::vector<GuideWindow> windows{};
    /// version_number of each window's tables: the description's first, one up at each change.
    std::vector<std::uint8_t> versions{};
};

/// All editions, ascending from 0; none when no programme has an event. All have the same number of windows.
std::vector<GuideEdition> MakeGuide(const Description& description);

}  // namespace mux
