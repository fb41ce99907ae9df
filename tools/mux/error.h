/// The exception of the multiplexer.
#pragma once

#include <stdexcept>

namespace mux {

/// A description, table or stream that can't be broadcast. what() names the value and the reason.
class Error : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

}  // namespace mux
