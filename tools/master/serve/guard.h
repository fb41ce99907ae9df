/// Access control: requests that a page of another site, a rebound name or a stranger could send are refused before any
/// action.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "protocol/endpoint.h"

namespace httplib {
struct Request;
}

namespace zulctl::serve {

/// \param hosts  names that the service is given
/// \return in lower case all its names, and addresses of this machine on which it listens
std::set<std::string> OwnNames(const std::vector<std::string>& hosts, const Endpoint& listen);

struct Refusal {
    int status;  ///< of HTTP
    std::string why;
};

/// Judges a request by its headers.
/// \param names  of this service; any other one was pointed here by a foreign name server
/// \param token  what an order must carry; empty: no orders at all
std::optional<Refusal> WhyNot(const httplib::Request& request, const std::set<std::string>& names,
                              const std::string& token);

/// \return 32 unpredictable hexadecimal digits. Throws Failure
std::string NewToken();
/// Reads a token from a file that only its owner may read. Throws Failure(kUsage)
std::string ReadToken(const std::string& path);

}  // namespace zulctl::serve
