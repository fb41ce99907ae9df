/// The command server, as its last client left it.
#pragma once

#include <gtest/gtest.h>

#include "core/udpcom.h"
#include "udp_client.h"

/// A server whose last client is a given one.
class CommandServer {
 public:
    CommandServer() { EXPECT_TRUE(server.Connect(kPort)); }

    /// Makes a client the last one. \return the server
    UdpServer* After(const Client& client) {
        client.Send(kPort, "CALLBACK1");
        char text[32];
        EXPECT_EQ(server.Receive(text, sizeof text - 1, 0), 9);
        return &server;
    }

    UdpServer server;

 private:
    static constexpr std::uint16_t kPort = 2008;
};
