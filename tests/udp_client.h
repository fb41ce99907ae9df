/// A UDP socket for tests: a master, or the peer of a sender.
#pragma once

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

/// Sends to ports of this machine or to a group, and keeps what comes back.
class Client {
 public:
    Client() : mSocket(socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in address = At(0, "0.0.0.0");
        bind(mSocket, reinterpret_cast<sockaddr*>(&address), sizeof address);
        socklen_t size = sizeof address;
        getsockname(mSocket, reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
    }
    ~Client() { close(mSocket); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void Send(std::uint16_t to, const std::string& text, const char* host = "127.0.0.1") const {
        const sockaddr_in address = At(to, host);
        sendto(mSocket, text.data(), text.size(), 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }

    /// \return the datagrams that are there; waits up to `milliseconds` for the first
    std::vector<std::string> Take(int milliseconds = 0) const {
        std::vector<std::string> datagrams;
        for (std::string text; Receive(text, datagrams.empty() ? milliseconds : 0);) datagrams.push_back(text);
        return datagrams;
    }

    /// \return the next datagram, or "(nothing)" when none comes within `milliseconds`
    std::string Hear(int milliseconds = 10000) const {
        std::string text = "(nothing)";
        Receive(text, milliseconds);
        return text;
    }

    /// Takes datagrams until there are `count`, or none comes for two seconds.
    std::vector<std::string> TakeCount(std::size_t count) const {
        std::vector<std::string> all;
        while (all.size() < count) {
            std::vector<std::string> more = Take(2000);
            if (more.empty()) break;
            for (std::string& text : more) all.push_back(std::move(text));
        }
        return all;
    }

    std::uint16_t port = 0;

 private:
    bool Receive(std::string& text, int milliseconds) const {
        pollfd entry{mSocket, POLLIN, 0};
        if (poll(&entry, 1, milliseconds) != 1) return false;
        char data[65536];
        const ssize_t size = recv(mSocket, data, sizeof data, 0);
        text.assign(data, size > 0 ? static_cast<std::size_t>(size) : 0);
        return true;
    }

    static sockaddr_in At(std::uint16_t port, const char* host) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        inet_pton(AF_INET, host, &address.sin_addr);
        return address;
    }

    int mSocket;
};
