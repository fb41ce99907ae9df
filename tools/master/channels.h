/// The channel list of a board, fetched and searched.
#pragma once

#include <string>
#include <vector>

#include "board_client.h"
#include "scal_report.h"

namespace zulctl {

/// Asks a transmitter for its channel list. A lost datagram in the middle of a long list shows nowhere, so a list of
/// several is asked for again until two in a row are equal. Throws Failure.
std::vector<Channel> FetchChannels(Client& client);

/// Finds the channel meant by "7.1", an index as `zulctl channels` shows it (from 1), "1a2b:3c4d", a name or the
/// beginning of one, without regard to case. Throws Failure(kUsage) where none or several fit.
const Channel& FindChannel(const std::vector<Channel>& channels, const std::string& text);

/// \return name, or number, or ids: what a person would call it; not escaped
std::string CallName(const Channel& channel);

}  // namespace zulctl
