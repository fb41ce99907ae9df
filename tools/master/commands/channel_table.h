/// The channel lists of boards as one table.
#pragma once

#include <string>
#include <vector>

#include "commands/order.h"

namespace zulctl {

/// \return the channels of all boards, with a column for the board where there are several; empty where there are none
std::string ChannelTable(const Output& out, const std::vector<Outcome<Done>>& outcomes, bool several);

}  // namespace zulctl
