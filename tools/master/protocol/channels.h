/// The channel list, as SCAL reports it, and searches in it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/endpoint.h"

namespace zulctl {

/// A programme that a scan has found.
struct Channel {
    int number = 0;  ///< major * 10 + minor; 0 where the broadcast gives none
    ProgrammeId id{};
    int tunerChannel = 0;  ///< 0 to 158
    int signal = 0;        ///< 0 to 255
    int videoType = 0;     ///< stream_type of ISO/IEC 13818-1; 0 for none
    int audioType = 0;
    bool scrambled = false;
    std::string name{};  ///< UTF-8 without blanks at its end; not escaped
    int index = 0;       ///< position in the list, from 1, by which commands take it too

    /// \return "7.1", or an empty text where there is no number
    std::string NumberText() const;
};

/// Reads the datagrams of a report, joined: lines such as
/// "SCAL 071 1a2b 3c4d [11:0:ff:02:81] C A NEWS CR LF", then "ffff CR LF OK CR LF" and a zero byte.
/// A name marked A is up to seven bytes of any value but 0; one marked U is seven groups of four hexadecimal digits.
/// \return nothing unless the whole text is such a report
std::optional<std::vector<Channel>> ParseScalReport(std::string_view text);

/// \return true for the datagram that ends a report
bool EndsScalReport(std::string_view datagram);

/// Finds the channel meant by "7.1", an index as `zulctl channels` shows it (from 1), "1a2b:3c4d", a name or the
/// beginning of one, without regard to case. Throws Failure(kUsage) when none or several match.
const Channel& FindChannel(const std::vector<Channel>& channels, const std::string& text);

/// \return whether the name contains a text, without regard to case, or the number begins with it
bool Matches(const Channel& channel, const std::string& text);

/// \return name, or number, or ids: whichever is best for people; not escaped
std::string CallName(const Channel& channel);

}  // namespace zulctl
