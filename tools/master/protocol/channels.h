/// Searches a channel list.
#pragma once

#include <string>
#include <vector>

#include "protocol/scal_report.h"

namespace zulctl {

/// Finds the channel meant by "7.1", an index as `zulctl channels` shows it (from 1), "1a2b:3c4d", a name or the
/// beginning of one, without regard to case. Throws Failure(kUsage) when none or several match.
const Channel& FindChannel(const std::vector<Channel>& channels, const std::string& text);

/// \return whether the name contains a text, without regard to case, or the number begins with it
bool Matches(const Channel& channel, const std::string& text);

/// \return name, or number, or ids: whichever is best for people; not escaped
std::string CallName(const Channel& channel);

}  // namespace zulctl
