// The service over HTTP: what it reports of boards that a test plays, what it refuses, and what orders become.
#include "serve/service.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <list>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <thread>

#include "master/played_board.h"
#include "output/failure.h"

namespace zulctl::serve {
namespace {

using namespace std::chrono_literals;
using Json = nlohmann::json;

const std::string kName = "<s>\"&'>";
const std::string kToken = "0123456789abcdef0123456789abcdef";

struct Reply {
    int status = 0;  ///< 0: the connection was closed without an answer
    std::string head, body;
};

/// A connection to the service from one of this machine's addresses, closed with the object.
class Connection {
 public:
    explicit Connection(std::uint16_t port, std::uint32_t from = kHere) : mFd(socket(AF_INET, SOCK_STREAM, 0)) {
        const sockaddr_in own = Endpoint{from, 0}.Sockaddr(), to = Endpoint{kHere, port}.Sockaddr();
        const timeval limit{30, 0};
        setsockopt(mFd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        bind(mFd, reinterpret_cast<const sockaddr*>(&own), sizeof own);
        EXPECT_EQ(connect(mFd, reinterpret_cast<const sockaddr*>(&to), sizeof to), 0);
    }
    ~Connection() { close(mFd); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void Send(const std::string& bytes) const { send(mFd, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    /// Takes what comes until the service closes.
    std::string Take() const {
        std::string all;
        char piece[4096];
        for (ssize_t size = 0; (size = recv(mFd, piece, sizeof piece, 0)) > 0;)
            all.append(piece, static_cast<std::size_t>(size));
        return all;
    }
    bool IsClosed() const {
        char byte = 0;
        return recv(mFd, &byte, 1, MSG_DONTWAIT) == 0;
    }

 private:
    int mFd;
};

/// Sends a request to the service and takes all that comes until it closes.
Reply Send(std::uint16_t port, const std::string& request, std::uint32_t from = kHere) {
    const Connection connection(port, from);
    connection.Send(request);
    const std::string all = connection.Take();
    const std::size_t end = all.find("\r\n\r\n");
    if (!all.starts_with("HTTP/1.1 ") || end == std::string::npos) return {};
    return {std::stoi(all.substr(9, 3)), all.substr(0, end), all.substr(end + 4)};
}

Reply Get(std::uint16_t port, const std::string& path) {
    return Send(port, "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
}

Reply Post(std::uint16_t port, const std::string& path, const std::string& body, const std::string& headers) {
    return Send(port, "POST " + path + " HTTP/1.1\r\nHost: localhost\r\n" + headers +
                          "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}

const std::string kOrderHeaders = "Content-Type: application/json; charset=utf-8\r\nX-Zulctl-Token: " + kToken + "\r\n";

class ServiceTest : public testing::Test {
 protected:
    void Serve(const std::string& token = "") {
        options.listen = {kHere, 0};
        options.hosts = {"Wall.Hotel.example"};
        options.token = token;
        options.stillsEvery = 0;
        options.watch.only = {{"", {kHere, 5000}, Role::kTransmitter}, {"", {kHere, 2008}, Role::kReceiver}};
        if (another) options.watch.only.push_back({"", *another, Role::kTransmitter});
        options.watch.discovery.client.timeout = 10s;
        options.plan[{kHere, 5000}] = {"sends nothing", {}};
        mService.emplace(options);
        port = mService->Start();
    }
    /// Asks until the answer contains a part, for 30 s at most.
    std::string Await(const std::string& path, const std::string& part) {
        std::string body;
        for (int turn = 0; turn < 600; ++turn) {
            mService->Follow();
            body = Get(port, path).body;
            if (body.find(part) != std::string::npos) return body;
            std::this_thread::sleep_for(50ms);
        }
        ADD_FAILURE() << path << " stays " << body;
        return body;
    }

    ServiceOptions options;
    std::uint16_t port = 0;
    std::optional<Endpoint> another;  ///< a second transmitter

 private:
    std::optional<Service> mService;
};

TEST_F(ServiceTest, ReportsBoardsAndStreamsAsJsonAndAsMetrics) {
    PlayedBoard transmitter(5000, TransmitterAnswers(kName));
    Serve();
    Await("/api/guide?board=127.0.0.1:5000", "<s>");
    Await("/api/overview", "\"stream\":\"239.1.1.1:5000\"");
    const auto json = [&](const std::string& path) { return Json::parse(Get(port, path).body); };
    const Json status = json("/api/status"), overview = json("/api/overview");
    EXPECT_EQ(status["schema"], "zulctl.status/1");
    ASSERT_EQ(status["boards"].size(), 2u);
    EXPECT_EQ(status["boards"][1]["transmitter"]["streams"][0]["group"], "239.1.1.1") << status;
    EXPECT_FALSE(status["boards"][0]["answered"]) << "nobody is at the receiver's port";
    EXPECT_EQ(json("/api/channels?board=127.0.0.1:5000")["channels"][0]["name"], kName);
    EXPECT_EQ(json("/api/guide?board=127.0.0.1:5000")["guide"][0]["events"][0]["title"], kName);
    EXPECT_EQ(json("/api/probe?stream=239.1.1.1:5000")["schema"], "zulctl.probe/1");
    EXPECT_EQ(overview["takes_orders"], false);
    EXPECT_EQ(overview["boards"][1]["plan"]["differences"], Json({"all slots, 239.1.1.1:5000: not in the plan"}));
    EXPECT_EQ(overview["streams"][0]["sources"][0]["programmes"][0]["name"], kName);

    Await("/metrics", "zul_stream_bits_per_second{");
    const std::string text = Await("/metrics", "zul_board_as_planned{");
    for (const char* wanted :
         {"zul_board_up{board=\"127.0.0.1:5000\",name=\"127.0.0.1\",role=\"transmitter\"} 1\n",
          "zul_board_up{board=\"127.0.0.1:2008\",name=\"127.0.0.1\",role=\"receiver\"} 0\n", "zul_board_load_ratio{",
          "zul_board_signal_ratio{board=\"127.0.0.1:5000\",name=\"127.0.0.1\",role=\"transmitter\"} 1\n",
          "zul_board_as_planned{board=\"127.0.0.1:5000\",name=\"127.0.0.1\",role=\"transmitter\"} 0\n",
          "zul_stream_info{stream=\"239.1.1.1:5000\",board=\"127.0.0.1:5000\",slot=\"0\"} 1\n",
          "zul_stream_continuity_errors_total{stream=\"239.1.1.1:5000\"} 0\n"})
        EXPECT_NE(text.find(wanted), std::string::npos) << wanted << "isn't in\n" << text;
}

TEST_F(ServiceTest, RefusesWhatNoPageOfItsOwnWouldAsk) {
    Serve();
    options.listen.port = port;
    EXPECT_THROW(Service(options).Start(), Failure) << "the port is taken";
    const std::string get = "GET / HTTP/1.1\r\n", host = "Host: localhost\r\n", end = "\r\n";
    struct {
        const char* what;
        std::string request;
        std::set<int> statuses;
    } const kRequests[] = {
        {"the page", get + host + end, {200}},
        {"its head", "HEAD / HTTP/1.1\r\n" + host + end, {200}},
        {"a name that was pointed here", get + "Host: evil.example\r\n" + end, {421}},
        {"no name", get + end, {421}},
        {"two names", get + host + "Host: evil.example\r\n" + end, {421}},
        {"a path outside", "GET /../../etc/passwd HTTP/1.1\r\n" + host + end, {404}},
        {"a board that isn't watched", "GET /api/channels?board=10.9.9.9:5000 HTTP/1.1\r\n" + host + end, {404}},
        {"another method", "DELETE / HTTP/1.1\r\n" + host + end, {405}},
        {"a preflight", "OPTIONS /api/play HTTP/1.1\r\n" + host + "Origin: http://evil.example\r\n" + end, {405}},
        {"an order, read-only",
         "POST /api/play HTTP/1.1\r\n" + host + kOrderHeaders + "Content-Length: 2\r\n\r\n{}",
         {403}},
        {"headers without end", get + host + std::string(40000, 'a') + end, {0, 400}},
    };
    for (const auto& [what, request, statuses] : kRequests) {
        const Reply reply = Send(port, request);
        EXPECT_TRUE(statuses.contains(reply.status)) << what << ": " << reply.status;
        if (reply.status == 0 || reply.status == 400) continue;
        EXPECT_EQ(reply.head.find("Access-Control"), std::string::npos) << what;
        EXPECT_NE(reply.head.find("default-src 'none'"), std::string::npos) << what;
    }
    const auto statusFor = [&](const std::string& name) {
        return Send(port, get + "Host: " + name + end + end).status;
    };
    for (const char* own : {"LOCALHOST:8410", "127.0.0.1:1", "wall.hotel.example", "WALL.hotel.EXAMPLE:80"})
        EXPECT_EQ(statusFor(own), 200) << own;
    for (const char* foreign : {"", ":8410", "localhost.evil.example", "127.0.0.1.evil.example:8410", "127.0.0.2",
                                "localhost:80:80", "localhost:x", "[::1]", "localhost, evil.example"})
        EXPECT_EQ(statusFor(foreign), 421) << foreign;
    const auto began = Clock::now();
    EXPECT_NE(Send(port, get + "Host: local").status, 200) << "half a request";
    EXPECT_LT(Clock::now() - began, 25s);
}

TEST_F(ServiceTest, AClientThatHoldsConnectionsLosesItsOldestIdleOnesAndHoldsUpNobody) {
    Serve();
    constexpr int kHeld = 500, kWaiting = 64;
    bool bounded = false;
    for (int turn = 0; turn < 5 && !bounded; ++turn) {  // on a busy machine their deadline may come first
        std::list<Connection> held;
        for (int n = 0; n < kHeld; ++n) held.emplace_back(port).Send(n % 2 == 0 ? "GET / HTTP/1.1\r\n" : "");
        const int status = Send(port, "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n", kHere + 1).status;
        const auto closed =
            std::count_if(held.begin(), held.end(), [](const Connection& one) { return one.IsClosed(); });
        bounded = status == 200 && closed == kHeld - kWaiting && held.front().IsClosed();
    }
    EXPECT_TRUE(bounded);
}

TEST_F(ServiceTest, OrdersReachTheBoardWithTheTokenAlone) {
    PlayedBoard transmitter(5000, TransmitterAnswers(kName));
    auto answers = TransmitterAnswers(kName);
    answers["SCA?"] = std::string("\0\2\0\2", 4);
    answers["STATUS"] = "STATUS 1 0 239.1.1.5:5000 0:1:ff:[0001] F:0 E:0 C:\"NO CAM\" 7% OK\r\n";
    PlayedBoard second(5001, answers);
    another = {kHere, 5001};
    PlayedBoard receiver(2008, {{"STATUS", "STATUS 0 :0 0:0000 2 3 0 0 0%OK\r\n"},
                                {"UPGR?", "UPGRSTATUS0 OK\r\n"},
                                {"VERS", "VERS0.82.14OK\r\n"},
                                {"UNIT", "OK\r\n"}});
    Serve(kToken);
    const std::string play = R"({"board": "127.0.0.1:2008", "stream": "239.1.1.1:5000", "programme": 1})";
    const std::string json = "Content-Type: application/json\r\n", token = "X-Zulctl-Token: ", end = "\r\n";
    for (const std::string& headers :
         {json, json + token + kToken.substr(1) + end, json + token + kToken + "0" + end,
          json + token + "0123456789abcdef0123456789abcdee" + end, token + kToken + end,
          token + kToken + end + "Content-Type: text/plain\r\n", kOrderHeaders + "Origin: http://evil.example\r\n",
          kOrderHeaders + "Origin: https://localhost\r\n", kOrderHeaders + "Origin: http://localhost:8411\r\n",
          kOrderHeaders + "Origin: null\r\n", kOrderHeaders + "Sec-Fetch-Site: cross-site\r\n",
          kOrderHeaders + "Sec-Fetch-Site: same-site\r\n", kOrderHeaders + "Sec-Fetch-Site: none\r\n"})
        EXPECT_EQ(Post(port, "/api/play", play, headers).status, 403) << headers;
    const std::string expects = "Expect: 100-continue\r\n";
    EXPECT_EQ(Post(port, "/api/reset", "{}", kOrderHeaders + expects).head, "HTTP/1.1 100 Continue");
    EXPECT_EQ(Post(port, "/api/reset", "{}", expects).status, 403) << "not continued";
    for (const std::string& headers : {kOrderHeaders, kOrderHeaders + expects})
        EXPECT_EQ(Post(port, "/api/play", std::string(5000, ' '), headers).status, 413) << headers;
    EXPECT_EQ(receiver.Asked("UNIT1,239.1.1.1,5000,0,1"), 0);

    const std::string page = "Origin: http://LOCALHOST\r\nSec-Fetch-Site: same-origin\r\n";
    const Reply played = Post(port, "/api/play", play, kOrderHeaders + page);
    EXPECT_EQ(played.status, 200) << played.body;
    const Json done = Json::parse(played.body);
    EXPECT_EQ(done["schema"], "zulctl.order/1");
    EXPECT_EQ(receiver.Asked(done["request"]), 1) << done;

    const auto start = [&](const std::string& to, const std::string& channel) {
        const Json body = {{"board", "127.0.0.1:5000"}, {"to", to}, {"channels", {channel}}, {"slot", nullptr}};
        return Post(port, "/api/stream/start", body.dump(), kOrderHeaders);
    };
    EXPECT_EQ(start("10.0.0.1:5000", "2.1").status, 400) << "no group";
    EXPECT_EQ(start("239.1.1.1:5000", "9.9").status, 400) << "no such channel";
    Await("/api/overview", "239.1.1.5:5000");
    EXPECT_EQ(start("239.1.1.5:5000", "2.1").status, 409) << "taken by another transmitter";
    EXPECT_EQ(start("239.1.1.2:5000", "2.1").status, 200);
    EXPECT_EQ(transmitter.Asked("UNIT4,1,239.1.1.2,5000,2,201,1"), 1);
    EXPECT_EQ(Post(port, "/api/stream/stop", R"({"board": "127.0.0.1:5000", "slot": 0})", kOrderHeaders).status, 200);
    EXPECT_EQ(transmitter.Asked("UNIT5,0"), 1);
    const char* const ofScanning = R"({"board": "127.0.0.1:5001", "slot": 0})";
    EXPECT_EQ(Post(port, "/api/stream/stop", ofScanning, kOrderHeaders).status, 409);
    EXPECT_EQ(second.Asked("UNIT5,0"), 0);
    for (const char* body : {"", "[]", "{", "{\"board\": 7}", "null", R"({"board": "10.9.9.9:5000"})",
                             R"({"board": "127.0.0.1:5000", "slot": 8})"})
        EXPECT_EQ(Post(port, "/api/stream/stop", body, kOrderHeaders).status, 400) << body;
    EXPECT_EQ(Post(port, "/api/reset", "{}", kOrderHeaders).status, 404);
}

}  // namespace
}  // namespace zulctl::serve
