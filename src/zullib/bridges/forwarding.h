/// What the bridges share: a sender that is aimed at the master who asked for forwarding.
#pragma once

#include <memory>

#include "core/udpcom.h"

/// Aims a bridge's sender at the last client, and makes it where there is none. An address that isn't one is reported,
/// and sends fail from then on.
void AimAtLastClient(std::unique_ptr<UdpSender>& sender, UdpServer& server);
