/// A request as passed to its handler: its text, and room for a reply.
#pragma once

#include <cstddef>

#include "core/replytext.h"

/// The text of a request in the command buffer, or its tail. A reply may be built over it.
struct Request {
    /// Zero bytes that follow the text: a fixed offset after a short command reads an empty text.
    static constexpr std::size_t kGuard = 64;

    char* text;
    int length;        ///< bytes of `text`, which may be binary
    std::size_t room;  ///< bytes from `text` to the end of the command buffer

    /// \return the request without its first `count` characters. REQUIRES: `count` <= kGuard
    Request After(std::size_t count) const { return {text + count, length - static_cast<int>(count), room - count}; }

    /// \return an empty reply over `text`
    ReplyText Reply() const { return {text, room}; }
};
