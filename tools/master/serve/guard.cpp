// Host, Origin, token.
#include "serve/guard.h"

#include <fmt/format.h>
#include <nettle/memops.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <fstream>

#include "output/escape.h"
#include "output/failure.h"

namespace zulctl::serve {

namespace {

constexpr std::size_t kShortestToken = 16;

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

/// Takes the same time wherever the texts differ.
bool SameSecret(std::string_view a, std::string_view b) {
    return a.size() == b.size() && memeql_sec(a.data(), b.data(), a.size()) != 0;
}

/// \return the name in a Host header, without the port and in lower case
std::string HostName(std::string_view host) {
    const std::size_t colon = host.rfind(':');
    const bool hasPort = colon != std::string_view::npos && colon + 1 < host.size() &&
                         host.find_first_not_of("0123456789", colon + 1) == std::string_view::npos;
    return Lower(hasPort ? host.substr(0, colon) : host);
}

}  // namespace

Guard::Guard(std::vector<std::string> hosts, std::string token) : mToken(std::move(token)) {
    for (const std::string& host : hosts) mHosts.push_back(Lower(host));
}

bool Guard::Knows(std::string_view host) const { return std::ranges::find(mHosts, HostName(host)) != mHosts.end(); }

std::string Guard::WhyNot(const Source& source) const {
    if (mToken.empty()) return "this service is read-only; \"zulctl serve --control\" takes orders";
    // A browser sends Origin with every POST. Programs that aren't browsers needn't.
    if (!source.origin.empty() && Lower(source.origin) != "http://" + Lower(source.host))
        return "orders come from this service's own page";
    if (!source.site.empty() && source.site != "same-origin") return "orders come from this service's own page";
    if (Lower(source.contentType).substr(0, 16) != "application/json") return "an order is application/json";
    if (!SameSecret(source.token, mToken)) return "the token is missing or wrong";
    return {};
}

std::string NewToken() {
    char bytes[16];
    if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes) throw Failure(kUsage, "this machine gives no random bytes");
    return HexText({bytes, sizeof bytes});
}

std::string ReadToken(const std::string& path) {
    struct stat status {};
    std::ifstream file(path);
    std::string token;
    if (stat(path.c_str(), &status) != 0 || !std::getline(file, token))
        throw Failure(kUsage, "{}: no token can be read", path);
    if ((status.st_mode & (S_IWGRP | S_IRWXO)) != 0)
        throw Failure(kUsage, "{}: others may read the token; chmod 600 keeps it secret", path);
    const auto allowed = [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '_'; };
    if (token.size() < kShortestToken || !std::ranges::all_of(token, allowed)) {
        throw Failure(kUsage, "{}: a token has {} or more letters, digits, - and _ on one line", path, kShortestToken);
    }
    return token;
}

}  // namespace zulctl::serve
