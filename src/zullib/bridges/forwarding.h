/// Shared by the bridges: a sender to the master that asked for forwarding.
#pragma once

#include <memory>

#include "core/udpcom.h"

/// Directs a bridge's sender to the last client, creating it if needed. An invalid address is reported, and later sends
/// fail.
void AimAtLastClient(std::unique_ptr<UdpSender>& sender, UdpServer& server);
