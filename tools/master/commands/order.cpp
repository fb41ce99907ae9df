// Commands that consist of one request, answered by OK.
#include "commands/order.h"

#include <fmt/format.h>

#include "net/stream_order.h"
#include "protocol/stream_request.h"

namespace zulctl {

void RunOrder(Session& session, std::optional<Role> role, const std::string& request, const std::string& what,
              const std::string& done) {
    const Target target = session.OneBoard(role);
    Client client = session.Connect(target);
    RefuseDuringUpgrade(client);
    session.out.Progress(fmt::format("asking {}...", target.name));
    client.Order(request, what);
    session.out.Emit("zulctl.order/1", {{"board", target.name}, {"request", request}, {"done", true}},
                     [&] { return done + "\n"; });
}

}  // namespace zulctl
