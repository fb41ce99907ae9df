/// Texts of the requests that set something: what a board would refuse, or would take for something else, throws
/// Failure(kUsage). Channels and slots are in range.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "protocol/status.h"

namespace zulctl {

inline constexpr int kStreamSlots = 8;

/// A requested stream.
struct StreamRequest {
    Endpoint to;
    int channel = 0;                      ///< of the tuner, 0 to 158
    std::vector<ProgrammeId> programmes;  ///< empty: all of the channel
    std::optional<int> slot;              ///< 0 to 7; nothing: replaces all running streams
};

/// UNIT1 or UNIT4: starts a stream. UNIT0 or UNIT5: stops all, or that of a slot.
std::string StartText(const StreamRequest& request);
std::string StopText(std::optional<int> slot);

/// UNIT1 or UNIT3: plays a stream.
std::string PlayText(const Endpoint& stream, std::optional<std::uint16_t> programme);

/// URL: fields that aren't given keep the board's values.
struct PageRequest {
    std::string url;
    std::array<std::optional<int>, 6>
        fields;  ///< x, y, width, height on a plane of 1280 by 768, alpha of the page, of the video
};
std::string PageText(const PageRequest& request);
/// SUBS: "off" or a caption service from 1 to 6.
std::string CaptionsText(const std::string& service);

/// LANG: languages as in "eng" or "eng:3", with the audio type in hexadecimal.
std::string LanguageText(const std::string& primary, const std::string& secondary);

/// DHCP0: fixed addresses, which must be consistent.
std::string FixedAddressText(const std::string& address, const std::string& gateway, const std::string& netmask);

/// SUART: port settings as in "9600,8,N,1".
std::string SerialText(const std::string& settings);

/// REMOTE: the code of the remote control, 01 to fe in hexadecimal.
std::string RemoteText(const std::string& code);

}  // namespace zulctl
