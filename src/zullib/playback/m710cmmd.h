/// Orders to the player: a text language and the binary messages that it becomes. `m710cmmd` and `Main` are in zul.h.
#pragma once

#include "zul.h"

/// Puts one message on a queue of another process; never waits.
/// \param msgQID     key of the queue, which must exist
/// \param TypeId     message type
/// \param cmmdId     command number in front of the parameters
/// \param pParam     parameters, or null with `paramSize` 0
/// \param paramSize  bytes of `pParam`, 0 to 384
/// \return 1 when the message was queued, else 0
int send_msg(unsigned int msgQID, unsigned int TypeId, unsigned int cmmdId, const void* pParam, int paramSize);
