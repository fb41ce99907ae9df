/// Which requests are answered: what a page of another site, a rebound name or a stranger could send is refused before
/// anything is done.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zulctl::serve {

/// What a request says of where it comes from; an empty text for a header that it doesn't have.
struct Source {
    std::string host;         ///< Host
    std::string origin;       ///< Origin
    std::string site;         ///< Sec-Fetch-Site
    std::string contentType;  ///< Content-Type
    std::string token;        ///< X-Zulctl-Token
};

/// \return what is asked for in a Host header, without the port and in lower case
std::string HostName(std::string_view host);

class Guard {
 public:
    /// \param hosts  names and addresses that this service is called by
    /// \param token  what an order must carry; empty: no orders at all
    Guard(std::vector<std::string> hosts, std::string token);

    /// \return whether a name is one that this service is called by. Any other one has been made to point here by
    /// somebody else's name server
    bool Knows(std::string_view host) const;
    /// \return why an order is refused, or an empty text
    std::string WhyNot(const Source& source) const;
    bool TakesOrders() const { return !mToken.empty(); }

 private:
    std::vector<std::string> mHosts;
    std::string mToken;
};

/// \return 32 hexadecimal digits that nobody can guess. Throws Failure
std::string NewToken();
/// Reads a token from a file that only its owner may read. Throws Failure(kUsage)
std::string ReadToken(const std::string& path);

}  // namespace zulctl::serve
