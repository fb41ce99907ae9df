/// The channel list as a table.
#pragma once

#include <string>
#include <vector>

#include "output/output.h"
#include "protocol/scal_report.h"

namespace zulctl {

std::string ChannelTable(const Output& out, const std::vector<Channel>& channels);

}  // namespace zulctl
