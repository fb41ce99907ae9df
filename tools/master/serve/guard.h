/// Access control: requests that a page of another site, a rebound name or a stranger could send are refused before any
/// action.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zulctl::serve {

/// The headers that show a request's origin; a missing one is empty.
struct Source {
    std::string host;         ///< Host
    std::string origin;       ///< Origin
    std::string site;         ///< Sec-Fetch-Site
    std::string contentType;  ///< Content-Type
    std::string token;        ///< X-Zulctl-Token
};

class Guard {
 public:
    /// \param hosts  names and addresses of this service
    /// \param token  what an order must carry; empty: no orders at all
    Guard(std::vector<std::string> hosts, std::string token);

    /// \return whether a name belongs to this service. Any other one was pointed here by a foreign name server
    bool Knows(std::string_view host) const;
    /// \return why an order is refused, or an empty text
    std::string WhyNot(const Source& source) const;

 private:
    std::vector<std::string> mHosts;
    std::string mToken;
};

/// \return 32 unpredictable hexadecimal digits. Throws Failure
std::string NewToken();
/// Reads a token from a file that only its owner may read. Throws Failure(kUsage)
std::string ReadToken(const std::string& path);

}  // namespace zulctl::serve
