/// Commands that consist of one request, answered by OK.
#pragma once

#include <string>

#include "net/session.h"

namespace zulctl {

/// Refuses during an upgrade, sends the request, throws Failure unless the board replies OK, and prints what was done.
void RunOrder(Session& session, std::optional<Role> role, const std::string& request, const std::string& what,
              const std::string& done);

}  // namespace zulctl
