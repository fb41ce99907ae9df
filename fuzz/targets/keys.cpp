// Messages of the infrared service: each a byte for its size, one for the time that passed, then its bytes.
#include "bridges/ircontrol.h"
#include "core/udpcom.h"
#include "fast_machine.h"
#include "world.h"

/// Opens the bridge's inside, as to the tests of its room.
class IrControlTest {
 public:
    static void Turn(IrControl& control) {
        const int key = control.ReceiveKey();
        if (key >= 0) control.RouteKey(key);
    }
};

namespace {

/// A server whose last client is the master.
UdpServer& ServerOfMaster() {
    constexpr std::uint16_t kPort = 4999;
    static UdpServer server;
    static const bool asked = [] {
        char byte[2];
        server.Connect(kPort);
        fuzz::SendFromMaster(kPort, {});
        return server.Receive(byte, 1, 0) == 0;
    }();
    fuzz::Promise(asked, "the master is heard");
    return server;
}

}  // namespace

/// \param flags  1 the master gets the keys, 2 the browser is up
void fuzz::Keys(Input& input, unsigned flags) {
    constexpr int kKeyQueue = 1250;
    IrControl control;
    control.SetIrForwarding((flags & 1) != 0 ? &ServerOfMaster() : nullptr);
    control.BrowserRunning((flags & 2) != 0);
    std::uint32_t tick = 0;
    for (int keys = 0; keys < 200 && !input.Empty(); ++keys) {
        const std::size_t size = input.Byte() % 32u;
        fast_machine::SetTick(tick += input.Byte() * 4u);
        Post(kKeyQueue, 1, input.Take(size));
        IrControlTest::Turn(control);
    }
}
