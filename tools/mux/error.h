/// The one exception of the multiplexer: what was asked can't be written.
#pragma once

#include <stdexcept>

namespace mux {

/// A description, a table or a stream that has no valid form on the air. what() tells which value and why.
class Error : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

}  // namespace mux
