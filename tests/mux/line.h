/// What a test compares, as text: it shows itself where it differs.
#pragma once

#include <sstream>
#include <string>

/// \return the parts with a blank behind each
template <class... Parts>
std::string Line(const Parts&... parts) {
    std::ostringstream line;
    ((line << parts << ' '), ...);
    return line.str();
}
