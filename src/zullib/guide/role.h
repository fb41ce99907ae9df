/// The board's role, as the parts of the guide check it.
#pragma once

#include "core/log.h"

class Role {
 public:
    /// \param type  'T' transmitter, 'R' receiver
    explicit Role(char type) : mType(type) {}

    bool IsReceiver() const { return mType == 'R'; }

    /// Reports a call that is meant for transmitters; the caller continues in any role.
    void RequireTransmitter() const {
        if (mType != 'T') PANIC("Bad type %c\n", mType);
    }

 private:
    char mType;
};
