/// The datagram size that a master set, on the settings partition.
#pragma once

/// Saves the datagram size.
/// \param packetSize  bytes
/// \return false when it can't be saved; reported
bool SavePacketSize(int packetSize);
