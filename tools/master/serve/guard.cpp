// Host, Origin, token.
#include "serve/guard.h"

#include <httplib.h>
#include <nettle/memops.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

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

/// \return the name in a Host header, without the port
std::string_view NameIn(std::string_view host) {
    const std::size_t colon = host.rfind(':');
    const bool hasPort = colon != std::string_view::npos && colon + 1 < host.size() &&
                         host.find_first_not_of("0123456789", colon + 1) == std::string_view::npos;
    return hasPort ? host.substr(0, colon) : host;
}

}  // namespace

std::set<std::string> OwnNames(const std::vector<std::string>& hosts, const Endpoint& listen) {
    std::set<std::string> names = {"localhost", "127.0.0.1"};
    for (const std::string& host : hosts) names.insert(Lower(host));
    if (listen.address != 0) {
        names.insert(AddressText(listen.address));
        return names;
    }
    for (const Interface& item : Interfaces()) names.insert(AddressText(item.address));
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) == 0 && name[0] != '\0') names.insert(Lower(name));
    return names;
}

std::optional<Refusal> WhyNot(const httplib::Request& request, const std::set<std::string>& names,
                              const std::string& token) {
    const std::string host = Lower(request.get_header_value("Host"));
    if (request.get_header_value_count("Host") != 1 || !names.contains(std::string(NameIn(host))))
        return Refusal{421, "this service isn't called that; \"zulctl serve --host NAME\" gives it a name"};
    if (request.method == "GET" || request.method == "HEAD") return std::nullopt;
    if (request.method != "POST") return Refusal{405, "GET and POST are understood"};
    if (token.empty()) return Refusal{403, "this service is read-only; \"zulctl serve --control\" takes orders"};
    // A browser sends Origin with every POST. Programs that aren't browsers needn't.
    const std::string origin = Lower(request.get_header_value("Origin")),
                      site = request.get_header_value("Sec-Fetch-Site");
    if ((!origin.empty() && origin != "http://" + host) || (!site.empty() && site != "same-origin"))
        return Refusal{403, "orders come from this service's own page"};
    if (!Lower(request.get_header_value("Content-Type")).starts_with("application/json"))
        return Refusal{403, "an order is application/json"};
    const std::string given = request.get_header_value("X-Zulctl-Token");
    // This takes the same time wherever the texts differ.
    if (given.size() != token.size() || memeql_sec(given.data(), token.data(), token.size()) == 0)
        return Refusal{403, "the token is missing or wrong"};
    return std::nullopt;
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
